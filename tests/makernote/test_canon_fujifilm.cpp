// The Canon and Fujifilm notes of the corpus: every entry as ExifTool lists it, before and after
// a rebuild in the other byte order; saves that rebuild the note read the same to ExifTool; the
// value texts of real files.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <sstream>
#include <string>

#include "exif/value_format.h"
#include "frame/cp932.h"
#include "makernote/canon.h"
#include "makernote/fujifilm.h"
#include "makernote/makernote_save.h"
#include "maker_listing.h"
#include "test_framework_support.h"
#include "tests/support/test_support.h"

namespace {

namespace fs = std::filesystem;

struct Family {
  const char* folder;
  uint32_t family;
  uint16_t editTag;  // an ASCII tag of table 257 the edit sweep sets
  const char* editName;
  bool otherOrder;  // the note may go into a payload of the other byte order
};
// A Canon note is read in the Exif's order by one independent reader and by its own footer,
// with blocks always little-endian, by the other: it goes only into a payload of its own order,
// other saves are refused. A Fujifilm note is little-endian in any payload.
constexpr Family kCanon{"corpus/makers/canon", FamilyCanon, 9, "OwnerName", false};
constexpr Family kFujifilm{"corpus/makers/fujifilm", FamilyFujifilm, 4096, "Quality", true};

PromptAnswer AnswerYes(void*, const PromptQuestion& question) {
  return question.buttons == PromptButtonsYesNoCancel ? PromptAnswerYes : PromptAnswerOk;
}

enum class Edit { LongArtist, OtherByteOrder, NoteTag };

// Saves `source` with one edit into `written`; 1 when written.
int SaveWith(const fs::path& source, const fs::path& written, const Family& family, Edit edit) {
  ExifDocumentPtr document = frameworktest::ReadDocument(source);
  if (!document) return 0;
  SaveLayout layout;
  layout.bigEndian = document->bigEndian ^ (edit == Edit::OtherByteOrder ? 1u : 0u);
  const char artist[] = "A much longer artist name than before, long enough to move every value behind it";
  const char note[] = "TAVEXON";
  if (edit == Edit::NoteTag)
    EXPECT_TRUE(ExifQueueEdit(document.get(), PendingSet, family.family | kMakerNoteMainTable, family.editTag,
                              TypeAscii, sizeof note, note));
  else
    EXPECT_TRUE(ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 315, TypeAscii, sizeof artist, artist));
  Prompt prompt{AnswerYes, nullptr};
  return ExifSaveFileWithLayout(source.string(), written.string(), document.get(), &prompt, SaveMode::PendingEdits, layout) == SaveWritten;
}

// Whether a save into the other byte order may write the file: the family's note is free of the
// Exif's order, or the note is already in the order the payload goes into.
bool GoesToOtherOrder(const fs::path& file, const Family& family) {
  ExifDocumentPtr document = frameworktest::ReadDocument(file);
  const MakerNoteContext* context = document ? ExifMakerNoteContext(document.get()) : nullptr;
  return family.otherOrder || (context != nullptr && context->bigEndian != document->bigEndian);
}

// Every entry of the note as Tavexon reads it equals ExifTool's listing; 1 when the file's note
// is one of the family's.
int ExpectEntriesMatch(const fs::path& file, const Family& family) {
  ExifDocumentPtr document = frameworktest::ReadDocument(file);
  if (!document || ExifMakerNoteFamily(document.get()) != family.family) return 0;
  const std::vector<makerlisting::Entry> ours = makerlisting::TavexonEntries(document.get(), kMakerNoteMainTable);
  const std::vector<makerlisting::Entry> theirs = makerlisting::ExifToolEntries(file);
  EXPECT_EQ(ours.size(), theirs.size()) << file;
  for (size_t i = 0; i < ours.size() && i < theirs.size(); ++i)
    EXPECT_EQ(ours[i], theirs[i]) << file << " entry " << i << ", tag " << ours[i].tag;
  return 1;
}

// Canon notes that end without the footer naming their byte order and base: not recognised,
// carried as bytes.
const std::set<std::string> kNoFooter{"digicam_PowerShot_S50_CRW_1910.THM", "exiv2_exiv2-bug876.jpg",
                                      "mei_Canon_PowerShot_G2_1_.jpg"};

void SweepEntries(const Family& family) {
  testsupport::ScratchDir scratch;
  int read = 0;
  for (const fs::path& file : testsupport::FilesUnder(testsupport::SharedSub(family.folder))) {
    const int ours = ExpectEntriesMatch(file, family);
    EXPECT_EQ(ours, kNoFooter.count(file.filename().string()) ? 0 : 1) << file;
    read += ours;
    // The same note rebuilt into a payload of the other byte order.
    const fs::path flipped = scratch / file.filename();
    if (ours && GoesToOtherOrder(file, family)) {
      ASSERT_EQ(SaveWith(file, flipped, family, Edit::OtherByteOrder), 1) << file;
      EXPECT_EQ(ExpectEntriesMatch(flipped, family), 1);
    }
  }
  EXPECT_GT(read, 0);
}

// `exiftool -j -G1 -a -u -n` as "Group:Name" -> value, without what says where things lie.
// ExifTool's reading without what says where things lie; warnings are compared by the
// validation below, as a rebuild may leave one out.
std::map<std::string, std::string> ExifToolReading(const fs::path& file) {
  static const std::set<std::string> kPlacement{"SourceFile", "ExifByteOrder", "ThumbnailOffset", "ExifOffset",
                                                "MPImageStart", "PreviewImageStart", "InteropOffset", "Warning"};
  std::map<std::string, std::string> reading = makerlisting::ExifToolJson(file);
  std::erase_if(reading, [](const auto& item) {
    return item.first.rfind("System:", 0) == 0 || kPlacement.count(item.first.substr(item.first.find(':') + 1));
  });
  return reading;
}

std::set<std::string> ValidationWarnings(const fs::path& file) {
  std::set<std::string> warnings;
  std::istringstream lines(testsupport::RunCommand("exiftool -validate -warning -a -s " +
                                                   testsupport::ShellQuote(file.string())));
  for (std::string line; std::getline(lines, line);)
    if (line.rfind("Validate", 0) != 0) warnings.insert(line);
  return warnings;
}

void SweepRebuilds(const Family& family) {
  testsupport::ScratchDir scratch;
  for (const fs::path& file : testsupport::FilesUnder(testsupport::SharedSub(family.folder))) {
    const auto before = ExifToolReading(file);
    const auto warnings = ValidationWarnings(file);
    ExifDocumentPtr document = frameworktest::ReadDocument(file);
    const bool editable = document && ExifMakerNoteEditable(document.get());
    for (Edit edit : {Edit::LongArtist, Edit::OtherByteOrder, Edit::NoteTag}) {
      const fs::path written = scratch / ("e" + std::to_string(int(edit)) + file.filename().string());
      if ((edit == Edit::NoteTag && !editable) || (edit == Edit::OtherByteOrder && !GoesToOtherOrder(file, family))) {
        // A note that cannot be written again whole is not edited; a note read in the Exif's
        // order does not go into the other one: the save is refused and nothing is written.
        EXPECT_EQ(SaveWith(file, written, family, edit), 0) << file;
        EXPECT_FALSE(fs::exists(written)) << file;
        continue;
      }
      ASSERT_EQ(SaveWith(file, written, family, edit), 1) << file << " edit " << int(edit);
      const std::string edited = edit == Edit::NoteTag ? family.editName : "Artist";
      const auto after = ExifToolReading(written);
      std::set<std::string> keys;
      for (const auto* reading : {&before, &after})
        for (const auto& item : *reading) keys.insert(item.first);
      for (const std::string& key : keys) {
        if (key.find(edited) != std::string::npos) continue;
        EXPECT_EQ(before.count(key) ? before.at(key) : "-", after.count(key) ? after.at(key) : "-") << file << ": " << key;
      }
      for (const std::string& warning : ValidationWarnings(written))
        EXPECT_TRUE(warnings.count(warning)) << file << " edit " << int(edit) << ": " << warning;
    }
  }
}

// The text of a tag of the open note.
std::string NoteText(ExifDocument* document, uint32_t family, uint16_t tag) {
  char text[256] = {};
  ExifTagText(document, family | kMakerNoteMainTable, tag, text, sizeof text);
  return text;
}

std::string LensText(ExifDocument* document) {
  char text[256] = {};
  const MakerNoteDescriptor* family = document->makerNote ? document->makerNote->descriptor : nullptr;
  if (family && family->lensText) family->lensText(ExifMakerNoteContext(document), text, sizeof text);
  return text;
}

ExifDocumentPtr Corpus(const char* path) { return frameworktest::ReadDocument(testsupport::SharedSub(path)); }

}  // namespace

// Every entry as ExifTool lists it (also after a save into the other byte order where the note
// may go there); a long Artist, the other byte order and an edit of one note tag read the same
// to ExifTool, with no new warning.
TEST(CanonNote, CorpusAgreesWithExifTool) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/canon");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool is needed as the independent reader";
  SweepEntries(kCanon);
  SweepRebuilds(kCanon);
}

TEST(FujifilmNote, CorpusAgreesWithExifTool) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/fujifilm");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool is needed as the independent reader";
  SweepEntries(kFujifilm);
  SweepRebuilds(kFujifilm);
}

// Modes, focal lengths and the lens of real files; the focal length divisor of one document
// does not leak into another open at the same time.
TEST(CanonNote, ValueTexts) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/canon");
  ExifDocumentPtr eos = Corpus("corpus/makers/canon/mei_Canon_EOS_30D_4_.jpg");
  ExifDocumentPtr compact = Corpus("corpus/makers/canon/exifpy_11-tests.jpg");
  ASSERT_TRUE(eos && compact);
  EXPECT_EQ(NoteText(eos.get(), FamilyCanon, 1),
            Cp932Text("撮影ﾓｰﾄﾞ:ｼｬｯﾀｰ速度優先AE-部分測光-AIﾌｫｰｶｽAF-1ｺﾏ撮影-ﾚﾝｽﾞ:75-300mm"));
  EXPECT_EQ(NoteText(compact.get(), FamilyCanon, 2), "5.8mm");
  EXPECT_EQ(NoteText(eos.get(), FamilyCanon, 2), "240mm");
  EXPECT_EQ(NoteText(compact.get(), FamilyCanon, 2), "5.8mm");
  EXPECT_NE(NoteText(compact.get(), FamilyCanon, 1).find(Cp932Text("ﾚﾝｽﾞ:5.8-17.4mm")), std::string::npos);
  EXPECT_EQ(NoteText(eos.get(), FamilyCanon, 160), Cp932Text("色温度:5200"));
  EXPECT_EQ(NoteText(eos.get(), FamilyCanon, 4).substr(0, 3), Cp932Text("ｵｰﾄ"));
  EXPECT_EQ(LensText(eos.get()), "EF75-300mm f/4-5.6");
  EXPECT_EQ(LensText(compact.get()), "");
}

TEST(FujifilmNote, ValueTexts) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/fujifilm");
  ExifDocumentPtr xt3 = Corpus("corpus/makers/fujifilm/exiv2_FujiTagsDRangeAutoRating1.jpg");
  ExifDocumentPtr f40 = Corpus("corpus/makers/fujifilm/mei_FujiFilm_FinePix_F40fd.jpg");
  ASSERT_TRUE(xt3 && f40);
  EXPECT_EQ(LensText(xt3.get()), "50mm F2");
  EXPECT_EQ(NoteText(xt3.get(), FamilyFujifilm, 5124), "50mm");
  EXPECT_EQ(NoteText(xt3.get(), FamilyFujifilm, 5127), "F2");
  EXPECT_EQ(NoteText(xt3.get(), FamilyFujifilm, 4145), Cp932Text("マニュアル"));
  EXPECT_EQ(NoteText(xt3.get(), FamilyFujifilm, 4144), "AUTO");
  EXPECT_EQ(NoteText(f40.get(), FamilyFujifilm, 4145), Cp932Text("ナチュラルフォト"));
  EXPECT_EQ(NoteText(f40.get(), FamilyFujifilm, 4097), "NORMAL");
  EXPECT_EQ(NoteText(f40.get(), FamilyFujifilm, 4099), "STD");
}
