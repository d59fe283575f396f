// Recognition of the eight families from the note's bytes, the family table, the protected
// tags.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "makernote/makernote_families.h"
#include "makernote/makernote_recognise.h"
#include "test_framework_support.h"
#include "tests/support/test_support.h"

namespace {

uint32_t FamilyOfFile(const std::filesystem::path& file) {
  ExifDocumentPtr document = frameworktest::ReadDocument(file);
  if (!document) return 0;
  const TagEntry* note = ExifFindTag(document.get(), IfdExif, TagMakerNote);
  if (note == nullptr) return 0;
  const TagEntry* schema = ExifFindTag(document.get(), IfdExif, TagOffsetSchema);
  return MakerNoteRecogniseFamily(document->raw.data(), document->rawSize, note, schema ? schema->U32(0) : 0);
}

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

// Every note of the corpus: recognised as its folder's family or carried as bytes, never given
// another family; the named notes outside the rules and the other makers' notes carried as bytes.
TEST(MakerNoteRecognition, CorpusNotesAreTheirFolderFamilyOrBytes) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  const std::map<std::string, uint32_t> folders{
      {"nikon", FamilyNikon},       {"canon", FamilyCanon},         {"pentax", FamilyPentax}, {"sony", FamilySony},
      {"fujifilm", FamilyFujifilm}, {"panasonic", FamilyPanasonic}, {"casio", FamilyCasio},   {"olympus", FamilyOlympus},
      {"other", 0}};
  const std::map<std::string, uint32_t> exceptions{
      {"libexif_pentax_makernote_variant_2.jpg", FamilyCasio},  // a Pentax of the Casio era
      {"mei_Sony_DSC-P12.jpg", 0},            // an entry of unknown type (1032)
      {"exiftool_Casio.jpg", 0},              // the older Casio note has no "QVC" header
      {"exiftool_Casio2.jpg", 0},             // its preview lies behind the note's declared end
      {"pel_nikon-coolscan-iv.jpg", 0},       // the scanner writes a bare directory, no "Nikon" header
      {"mei_Canon_PowerShot_G2_1_.jpg", 0},   // no footer
      {"mei_Olympus_E-20.jpg", 0}};           // the older "OLYMP" header
  for (const auto& [folder, family] : folders) {
    int recognised = 0;
    for (const auto& file : testsupport::FilesUnder(testsupport::SharedSub("corpus/makers/" + folder))) {
      const uint32_t found = FamilyOfFile(file);
      const auto exception = exceptions.find(file.filename().string());
      const uint32_t expected = exception != exceptions.end() ? exception->second : family;
      if (found != 0 || expected == 0) {
        EXPECT_EQ(found, expected) << file.filename();
      }
      recognised += found == family && family != 0;
    }
    if (family) {
      EXPECT_GE(recognised, 1) << "no note of the " << folder << " folder recognised";
    }
  }
}

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
