// The Pentax note: "AOC", a zero byte and its own "II" or "MM", a directory in that order, and
// a preview that tag 4 points at from the TIFF header, tag 3 its size.
#include "exif/tag_catalogue.h"
#include "makernote/header_note.h"
#include "makernote/makernote_recognise.h"

namespace {

constexpr HeaderNoteLayout kPentaxLayout{.family = FamilyPentax,
                                         .header = "AOC\0",
                                         .headerSize = 4,
                                         .directoryAt = 6,
                                         .orderInNote = true,
                                         .retryFlipped = false,
                                         .subDirectoryTag = 0,
                                         .preview = HeaderNotePreview::Behind,
                                         .previewLimit = (640u << 16) | 480u};

constexpr MakerNoteTableName kPentaxTables[] = {{257, "Pentax MakerNote"}};
constexpr MakerNoteProtectedTag kPentaxProtected[] = {{257, HeaderNoteTagPreviewSize},
                                                      {257, HeaderNoteTagPreviewStart}};

constexpr TagDefinition kPentaxMainRows[] = {
    {2, TypeShort, 2, "サムネイル画像サイズ(横*高)", ""},
    {HeaderNoteTagPreviewSize, TypeLong, 1, "サムネイルデータサイズ", ""},
    {HeaderNoteTagPreviewStart, TypeLong, 1, "サムネイルへのオフセット", ""},
    {0, 0, 0, nullptr, nullptr},
};

const TagDefinition* PentaxCatalogue(uint32_t table) { return table == 257 ? kPentaxMainRows : nullptr; }

std::unique_ptr<MakerNoteContext> PentaxCreate() { return HeaderNoteCreate(kPentaxLayout); }

}  // namespace

const MakerNoteDescriptor kPentaxNote{.family = FamilyPentax,
                                      .displayName = "Pentax",
                                      .recognise = MakerNoteRecognisePentax,
                                      .create = PentaxCreate,
                                      .tables = kPentaxTables,
                                      .protectedTags = kPentaxProtected,
                                      .catalogue = PentaxCatalogue,
                                      .previewLimit = kPentaxLayout.previewLimit};
