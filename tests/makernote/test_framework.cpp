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

TEST(MakerNoteRecognition, CorpusNotesAreNeverGivenAnotherFamily) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  const std::map<std::string, uint32_t> folders{
      {"nikon", FamilyNikon},       {"canon", FamilyCanon},         {"pentax", FamilyPentax}, {"sony", FamilySony},
      {"fujifilm", FamilyFujifilm}, {"panasonic", FamilyPanasonic}, {"casio", FamilyCasio},   {"olympus", FamilyOlympus}};
  for (const auto& [folder, family] : folders) {
    int recognised = 0;
    for (const auto& file : testsupport::FilesUnder(testsupport::SharedSub("corpus/makers/" + folder))) {
      const uint32_t found = FamilyOfFile(file);
      // A Pentax camera of the Casio era writes a Casio-format note.
      const uint32_t expected = file.filename() == "libexif_pentax_makernote_variant_2.jpg" ? FamilyCasio : family;
      if (found != 0) {
        EXPECT_EQ(found, expected) << file.filename();
      }
      recognised += found == family;
    }
    EXPECT_GE(recognised, 1) << "no note of the " << folder << " folder recognised";
  }
}

TEST(MakerNoteRecognition, NotesOutsideTheRulesAreCarriedAsBytes) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  const char* refused[] = {
      "sony/mei_Sony_DSC-P12.jpg",               // an entry of unknown type (1032)
      "casio/exiftool_Casio.jpg",                // the older Casio note has no "QVC" header
      "casio/exiftool_Casio2.jpg",               // its preview lies behind the note's declared end
      "nikon/pel_nikon-coolscan-iv.jpg",         // the scanner writes a bare directory, no "Nikon" header
      "canon/mei_Canon_PowerShot_G2_1_.jpg",     // no footer
      "olympus/mei_Olympus_E-20.jpg",            // the older "OLYMP" header
  };
  for (const char* name : refused)
    EXPECT_EQ(FamilyOfFile(testsupport::SharedSub("corpus/makers") / name), 0u) << name;
}

TEST(MakerNoteRecognition, OtherMakersNotesStayUnrecognised) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/other");
  for (const auto& file : testsupport::FilesUnder(testsupport::SharedSub("corpus/makers/other")))
    EXPECT_EQ(FamilyOfFile(file), 0u) << file.filename();
}

TEST(MakerNoteRecognition, NikonNeedsItsWholeHeaderInsideTheSegment) {
  std::vector<uint8_t> note = Bytes("Nikon\0\2\0\0\0", 10);
  EXPECT_EQ(FamilyOf(MakeSynthetic(note, false)), FamilyNikon);
  note.pop_back();  // nine bytes left to the end of the segment
  EXPECT_EQ(FamilyOf(MakeSynthetic(note, false, 10)), 0u);
  EXPECT_EQ(FamilyOf(MakeSynthetic(Bytes("Nikon\0\2\x10\0\0", 10), true)), FamilyNikon);
}

TEST(MakerNoteRecognition, CanonIsJudgedByItsFooter) {
  // One SHORT entry inline, next-IFD 0, then the footer "II", 42, base 8.
  std::vector<uint8_t> note = {1, 0, 1, 0, 3, 0, 1, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(FamilyOf(MakeSynthetic(note, false)), 0u) << "no footer: carried as bytes";
  const uint8_t footer[8] = {'I', 'I', 42, 0, 8, 0, 0, 0};
  note.insert(note.end(), footer, footer + 8);
  EXPECT_EQ(FamilyOf(MakeSynthetic(note, false)), FamilyCanon);
  note[18 + 2] = 43;
  EXPECT_EQ(FamilyOf(MakeSynthetic(note, false)), 0u) << "42 is required in the footer";
}

TEST(MakerNoteRecognition, OutOfLineValuesMustLieInsideTheNote) {
  // Pentax: "AOC\0MM", one ASCII entry of 8 bytes whose value lies right behind the directory.
  auto pentax = [](uint32_t valueWord) {
    std::vector<uint8_t> note = Bytes("AOC\0MM", 6);
    const uint8_t entry[2 + 12 + 4] = {0, 1, 0, 2, 0, 2, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0};
    note.insert(note.end(), entry, entry + sizeof entry);
    ExifWriteU32(1, note.data() + 6 + 2 + 8, valueWord);
    note.resize(note.size() + 8, 'x');
    return note;
  };
  // The note starts at TIFF offset 8; its value area at note offset 24, so TIFF offset 32.
  EXPECT_EQ(FamilyOf(MakeSynthetic(pentax(32), true)), FamilyPentax);
  EXPECT_EQ(FamilyOf(MakeSynthetic(pentax(33), true)), 0u) << "one byte past the note's end";
  EXPECT_EQ(FamilyOf(MakeSynthetic(pentax(4), true)), 0u) << "before the note";
  // A note moved 100 bytes back by an earlier save reads again with the recorded bias.
  EXPECT_EQ(FamilyOf(MakeSynthetic(pentax(132), true)), 0u);
  EXPECT_EQ(FamilyOf(MakeSynthetic(pentax(132), true), uint32_t(-100)), FamilyPentax);
}

TEST(MakerNoteRecognition, PanasonicInTheWrongOrderNeedsABias) {
  // One LONG entry out of line (8 bytes) written big-endian inside a little-endian Exif.
  std::vector<uint8_t> note = Bytes("Panasonic\0\0\0", 12);
  const uint8_t directory[2 + 12 + 4] = {0, 1, 0, 1, 0, 4, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0};
  note.insert(note.end(), directory, directory + sizeof directory);
  ExifWriteU32(1, note.data() + 12 + 2 + 8, 8 + 30 + 50);  // 50 bytes later than it now lies
  note.resize(note.size() + 8, 0);
  EXPECT_EQ(FamilyOf(MakeSynthetic(note, false)), 0u);
  EXPECT_EQ(FamilyOf(MakeSynthetic(note, false), uint32_t(-50)), FamilyPanasonic);
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
