// The Sony note: "SONY DSC " and three zero bytes, a directory in the Exif's byte order, and a
// sub-directory (table 258) that tag 45096 links to by an inline word from the TIFF header.
#include "exif/tag_catalogue.h"
#include "makernote/header_note.h"
#include "makernote/makernote_recognise.h"

namespace {

constexpr HeaderNoteLayout kSonyLayout{.family = FamilySony,
                                       .header = "SONY DSC \0\0\0",
                                       .headerSize = 12,
                                       .directoryAt = 12,
                                       .orderInNote = false,
                                       .retryFlipped = false,
                                       .subDirectoryTag = 45096,
                                       .preview = HeaderNotePreview::None,
                                       .previewLimit = 0};

constexpr MakerNoteTableName kSonyTables[] = {{257, "Sony MakerNote Main IFD"}, {258, "Sony MakerNote Sub IFD"}};
constexpr MakerNoteProtectedTag kSonyProtected[] = {{257, 45096}};

constexpr TagDefinition kSonyMainRows[] = {
    {45096, TypeLong, 1, "SUB IFDへのオフセット", ""},
    {0, 0, 0, nullptr, nullptr},
};

const TagDefinition* SonyCatalogue(uint32_t table) { return table == 257 ? kSonyMainRows : nullptr; }

std::unique_ptr<MakerNoteContext> SonyCreate() { return HeaderNoteCreate(kSonyLayout); }

}  // namespace

const MakerNoteDescriptor kSonyNote{.family = FamilySony,
                                    .displayName = "SONY",
                                    .recognise = MakerNoteRecogniseSony,
                                    .create = SonyCreate,
                                    .tables = kSonyTables,
                                    .protectedTags = kSonyProtected,
                                    .catalogue = SonyCatalogue};
