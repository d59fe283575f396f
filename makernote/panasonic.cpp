// The Panasonic note: "Panasonic" and three zero bytes, a directory in the Exif's byte order,
// read once more in the other order when a moved note does not read; its tag 81 is the lens.
#include "exif/tag_catalogue.h"
#include "exif/value_format.h"
#include "makernote/header_note.h"
#include "makernote/makernote_recognise.h"

namespace {

constexpr uint16_t kPanasonicTagLens = 81;

constexpr HeaderNoteLayout kPanasonicLayout{.family = FamilyPanasonic,
                                            .header = "Panasonic\0\0\0",
                                            .headerSize = 12,
                                            .directoryAt = 12,
                                            .orderInNote = false,
                                            .retryFlipped = true,
                                            .subDirectoryTag = 0,
                                            .preview = HeaderNotePreview::None,
                                            .previewLimit = 0};

constexpr MakerNoteTableName kPanasonicTables[] = {{257, "Panasonic MakerNote"}};

constexpr TagDefinition kPanasonicMainRows[] = {
    {kPanasonicTagLens, 0, 0, "レンズ", ""},
    {0, 0, 0, nullptr, nullptr},
};

const TagDefinition* PanasonicCatalogue(uint32_t table) { return table == 257 ? kPanasonicMainRows : nullptr; }

std::unique_ptr<MakerNoteContext> PanasonicCreate() { return HeaderNoteCreate(kPanasonicLayout); }

// The lens line: the general text of tag 81.
int PanasonicLensText(MakerNoteContext* context, char* text, uint32_t room) {
  if (text == nullptr || room == 0) return 0;
  text[0] = '\0';
  IfdTable* main = context != nullptr ? context->Table(kMakerNoteMainTable) : nullptr;
  const TagEntry* lens = main != nullptr ? ExifFindInTable(main, kPanasonicTagLens) : nullptr;
  if (lens == nullptr) return 0;
  ExifFormatValue(lens, text, room, 0);
  return 1;
}

}  // namespace

const MakerNoteDescriptor kPanasonicNote{.family = FamilyPanasonic,
                                         .displayName = "Panasonic",
                                         .recognise = MakerNoteRecognisePanasonic,
                                         .create = PanasonicCreate,
                                         .tables = kPanasonicTables,
                                         .protectedTags = {},
                                         .catalogue = PanasonicCatalogue,
                                         .lensText = PanasonicLensText};
