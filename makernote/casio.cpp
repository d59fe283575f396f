// The Casio note: "QVC" and three zero bytes, a directory in the Exif's byte order, and a
// preview held as the bytes of tag 8192, which tag 4 points at from the TIFF header.
#include "exif/tag_catalogue.h"
#include "makernote/header_note.h"
#include "makernote/makernote_recognise.h"

namespace {

constexpr HeaderNoteLayout kCasioLayout{.family = FamilyCasio,
                                        .header = "QVC\0\0\0",
                                        .headerSize = 6,
                                        .directoryAt = 6,
                                        .orderInNote = false,
                                        .retryFlipped = false,
                                        .subDirectoryTag = 0,
                                        .preview = HeaderNotePreview::InTag,
                                        .previewLimit = (320u << 16) | 240u};

constexpr MakerNoteTableName kCasioTables[] = {{257, "CASIO MakerNote"}};
constexpr MakerNoteProtectedTag kCasioProtected[] = {
    {257, HeaderNoteTagPreviewSize}, {257, HeaderNoteTagPreviewStart}, {257, HeaderNoteTagPreviewData}};

constexpr TagDefinition kCasioMainRows[] = {
    {2, TypeShort, 2, "サムネイル画像サイズ(横*高)", ""},
    {HeaderNoteTagPreviewSize, TypeLong, 1, "サムネイルデータサイズ", ""},
    {HeaderNoteTagPreviewStart, TypeLong, 1, "サムネイルへのオフセット", ""},
    {HeaderNoteTagPreviewData, TypeUndefined, 0, "サムネイルデータ", ""},
    {0, 0, 0, nullptr, nullptr},
};

const TagDefinition* CasioCatalogue(uint32_t table) { return table == 257 ? kCasioMainRows : nullptr; }

std::unique_ptr<MakerNoteContext> CasioCreate() { return HeaderNoteCreate(kCasioLayout); }

}  // namespace

const MakerNoteDescriptor kCasioNote{.family = FamilyCasio,
                                     .displayName = "CASIO",
                                     .recognise = MakerNoteRecogniseCasio,
                                     .create = CasioCreate,
                                     .tables = kCasioTables,
                                     .protectedTags = kCasioProtected,
                                     .catalogue = CasioCatalogue,
                                     .previewLimit = kCasioLayout.previewLimit};
