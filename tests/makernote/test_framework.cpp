// Recognition of the eight families from made notes' bytes (the corpus: MakerNoteCorpus), the
// family table, the protected tags.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "makernote/header_note.h"
#include "makernote/makernote_families.h"
#include "makernote/makernote_recognise.h"
#include "tests/makernote/maker_listing.h"
#include "tests/support/test_support.h"

namespace {

// A payload "Exif\0\0" + TIFF header (order given) with the note at TIFF offset 8, and tag
// 37500's fields as a reader would hold them.
struct SyntheticNote {
  std::vector<uint8_t> payload;
  TagEntry tag;
};

SyntheticNote MakeSynthetic(const std::vector<uint8_t>& note, bool bigEndian, uint32_t declared = 0) {
  SyntheticNote made;
  made.payload = {'E', 'x', 'i', 'f', 0, 0};
  const uint8_t header[8] = {uint8_t(bigEndian ? 'M' : 'I'), uint8_t(bigEndian ? 'M' : 'I'), 0, 0, 0, 0, 0, 0};
  made.payload.insert(made.payload.end(), header, header + 8);
  ExifWriteU16(bigEndian, made.payload.data() + 8, 42);
  ExifWriteU32(bigEndian, made.payload.data() + 10, 8);
  made.payload.insert(made.payload.end(), note.begin(), note.end());
  made.tag.tag = TagMakerNote;
  made.tag.type = TypeUndefined;
  made.tag.count = declared != 0 ? declared : uint32_t(note.size());
  made.tag.sourceWord = 8;
  return made;
}

uint32_t FamilyOf(const SyntheticNote& made, uint32_t bias = 0) {
  return MakerNoteRecogniseFamily(made.payload.data(), uint32_t(made.payload.size()), &made.tag, bias);
}

std::vector<uint8_t> Bytes(const char* text, size_t length) { return {text, text + length}; }

}  // namespace

// Signatures: the Nikon header whole inside the segment, the Canon footer with its 42, out-of-line
// values inside the note (or inside it once the recorded bias is applied).
TEST(MakerNoteRecognition, SignaturesOfMadeNotes) {
  std::vector<uint8_t> canon = {1, 0, 1, 0, 3, 0, 1, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0};  // one SHORT entry inline
  std::vector<uint8_t> canonFooter = canon, canon43;
  canonFooter.insert(canonFooter.end(), {'I', 'I', 42, 0, 8, 0, 0, 0});
  canon43 = canonFooter;
  canon43[18 + 2] = 43;
  // Pentax: "AOC\0MM", one ASCII entry of 8 bytes whose value lies right behind the directory,
  // at note offset 24, so TIFF offset 32.
  auto pentax = [](uint32_t valueWord) {
    std::vector<uint8_t> note = Bytes("AOC\0MM", 6);
    note.insert(note.end(), {0, 1, 0, 2, 0, 2, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0});
    ExifWriteU32(1, note.data() + 6 + 2 + 8, valueWord);
    note.resize(note.size() + 8, 'x');
    return note;
  };
  // Panasonic: one LONG entry out of line written big-endian inside a little-endian Exif, 50
  // bytes later than it now lies.
  std::vector<uint8_t> panasonic = Bytes("Panasonic\0\0\0", 12);
  panasonic.insert(panasonic.end(), {0, 1, 0, 1, 0, 4, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0});
  ExifWriteU32(1, panasonic.data() + 12 + 2 + 8, 8 + 30 + 50);
  panasonic.resize(panasonic.size() + 8, 0);
  const struct {
    const char* what;
    std::vector<uint8_t> note;
    bool bigEndian;
    uint32_t declared;
    uint32_t bias;
    uint32_t family;
  } rows[] = {
      {"Nikon header", Bytes("Nikon\0\2\0\0\0", 10), false, 0, 0, FamilyNikon},
      {"Nikon header cut by the segment's end", Bytes("Nikon\0\2\0\0", 9), false, 10, 0, 0},
      {"Nikon header, big-endian", Bytes("Nikon\0\2\x10\0\0", 10), true, 0, 0, FamilyNikon},
      {"Canon without footer", canon, false, 0, 0, 0},
      {"Canon with footer", canonFooter, false, 0, 0, FamilyCanon},
      {"Canon footer without 42", canon43, false, 0, 0, 0},
      {"Pentax value inside", pentax(32), true, 0, 0, FamilyPentax},
      {"Pentax value one byte past the end", pentax(33), true, 0, 0, 0},
      {"Pentax value before the note", pentax(4), true, 0, 0, 0},
      {"Pentax moved 100 bytes back", pentax(132), true, 0, 0, 0},
      {"Pentax moved, with its bias", pentax(132), true, 0, uint32_t(-100), FamilyPentax},
      {"Panasonic in the other order", panasonic, false, 0, 0, 0},
      {"Panasonic in the other order, with its bias", panasonic, false, 0, uint32_t(-50), FamilyPanasonic},
  };
  for (const auto& row : rows)
    EXPECT_EQ(FamilyOf(MakeSynthetic(row.note, row.bigEndian, row.declared), row.bias), row.family) << row.what;
  // The handler reads that moved Panasonic note in the other order once (only a moved one).
  const SyntheticNote moved = MakeSynthetic(panasonic, false);
  for (uint32_t bias : {0u, uint32_t(-50)}) {
    std::unique_ptr<MakerNoteContext> context = MakerNoteFamilyFind(FamilyPanasonic)->create();
    EXPECT_EQ(context->Parse(moved.payload.data(), uint32_t(moved.payload.size()), bias, &moved.tag), bias != 0);
    EXPECT_EQ(static_cast<HeaderNoteContext*>(context.get())->flipped, bias != 0 ? 1u : 0u);
  }
  ErrorClear();
}

TEST(MakerNoteFamilies, RowsStandInRecognitionOrderAndMakeHandlersWhereTheyExist) {
  const uint32_t order[] = {FamilyNikon,     FamilyPentax, FamilyFujifilm, FamilySony,
                            FamilyPanasonic, FamilyCasio,  FamilyOlympus,  FamilyCanon};
  ASSERT_EQ(MakerNoteFamilies().size(), std::size(order));
  for (size_t i = 0; i < std::size(order); ++i) {
    const MakerNoteDescriptor* row = MakerNoteFamilies()[i];
    EXPECT_EQ(row->family, order[i]);
    EXPECT_EQ(MakerNoteFamilyFind(order[i]), row);
    EXPECT_FALSE(row->tables.empty()) << row->displayName;
    std::unique_ptr<MakerNoteHandler> handler;
    EXPECT_EQ(MakerNoteHandlerCreate(order[i], &handler), row->create != nullptr ? 1 : 0) << row->displayName;
    if (handler) {
      EXPECT_TRUE(handler->context && handler->descriptor == row);
    }
  }
  EXPECT_STREQ(MakerFamilyName(FamilyOlympus), "OLYMUPS");
  EXPECT_STREQ(MakerFamilyName(12345), "Unknown");
  std::unique_ptr<MakerNoteHandler> none;
  EXPECT_EQ(MakerNoteHandlerCreate(777, &none), 0);
}

TEST(MakerNoteFamilies, ProtectedTagsDependOnTable) {
  MakerNoteInstall();
  ExifDocumentPtr document;
  ASSERT_EQ(ExifCreateEmpty(document), 1);
  ASSERT_EQ(ExifCreateMakerNote(document.get()), 1);
  EXPECT_EQ(ExifMakerNoteTagEditable(document.get(), 257, 17), 0);
  EXPECT_EQ(ExifMakerNoteTagEditable(document.get(), 258, 17), 1);
  EXPECT_EQ(ExifMakerNoteTagEditable(document.get(), 258, 514), 0);
}
