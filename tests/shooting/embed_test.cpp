// Embedding end to end: a real F6 roll written into copies of real scanner and camera files,
// read back by exiftool; and every way a run can refuse or stop, with the files it must not
// touch compared byte for byte.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "exif/exif_reader.h"
#include "exif/jpeg_file.h"
#include "frame/cp932.h"
#include "frame/settings.h"
#include "frame/combo_history.h"
#include "shooting/embed.h"
#include "shooting/engine_install.h"
#include "shooting/shooting_fields.h"
#include "tests/support/peers.h"
#include "tests/support/prompt_script.h"
#include "tests/support/test_support.h"

namespace {

namespace fs = std::filesystem;
using testsupport::ScratchDir;

std::vector<std::string> SplitLine(const std::string& line, char separator) {
  std::vector<std::string> fields;
  std::stringstream stream(line);
  std::string field;
  while (std::getline(stream, field, separator)) fields.push_back(field);
  return fields;
}

// The frame lines of a data file, split into columns.
std::vector<std::vector<std::string>> FrameColumns(const fs::path& dataFile) {
  std::ifstream in(dataFile, std::ios::binary);
  std::vector<std::vector<std::string>> frames;
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (number > 3 && !line.empty()) frames.push_back(SplitLine(line, ','));
  }
  return frames;
}

std::string Trimmed(std::string text) {
  while (!text.empty() && (text.back() == ' ' || text.back() == '\n')) text.pop_back();
  return text;
}

// The scanner files of the corpus first, then its camera JPEGs, as many as asked for.
std::vector<fs::path> CorpusScans(size_t count) {
  const fs::path makers = testsupport::SharedSub("corpus/makers");
  std::vector<fs::path> scans{makers / "nikon/pel_nikon-coolscan-iv.jpg",
                              makers / "other/mei_Kodak_CLAS_Digital_Film_Scanner_HR200_1_.jpg"};
  for (const fs::path& file : testsupport::SharedJpegs({"corpus/makers"}))
    if (std::find(scans.begin(), scans.end(), file) == scans.end()) scans.push_back(file);
  scans.resize(std::min(scans.size(), count));
  return scans;
}

// The text of a tag as a file holds it; "<absent>" without the tag, "<unread>" without Exif.
std::string TagText(const fs::path& file, uint32_t kind, uint16_t tag) {
  ExifDocumentPtr document;
  if (!(ExifCheckFile(file.string(), document) & StatusJpeg)) return "<unread>";
  const TagEntry* entry = ExifFindTag(document.get(), kind, tag);
  return entry ? reinterpret_cast<const char*>(entry->Data()) : "<absent>";
}

// A JPEG without Exif: the corpus file with its APP1 segment cut out.
void WriteWithoutExif(const fs::path& source, const fs::path& destination) {
  ASSERT_EQ(JpegReplaceApp1(source.string(), destination.string(), nullptr, 0), 1);
}

class Embed : public ::testing::Test {
 protected:
  void SetUp() override {
    EngineInstall();
    SettingsSetFilePath((scratch_ / "tvx1App.ini").string());
    fs::create_directory(roll_);
  }

  // Copies of real scans named as a scanner names them; the originals behind them in order.
  std::vector<fs::path> MakeRoll(size_t count) {
    std::vector<fs::path> copies;
    sources_ = CorpusScans(count);
    for (const fs::path& source : sources_) {
      char name[32];
      std::snprintf(name, sizeof name, "scan_%04zu.jpg", copies.size() + 1);
      copies.push_back(testsupport::CopyWritable(source, roll_ / name));
    }
    return copies;
  }

  static std::vector<std::vector<unsigned char>> Contents(const std::vector<fs::path>& files) {
    std::vector<std::vector<unsigned char>> contents;
    for (const fs::path& file : files) contents.push_back(testsupport::ReadBytes(file));
    return contents;
  }

  // The run's ok; its result stays in last_.
  int Batch(const fs::path& dataFile, uint32_t dataType, EmbedFlags flags, const std::string& film = "") {
    last_ = EmbedBatch("Nikon", "F6", film, dataFile.string(), dataType, EmbedJpegPattern(roll_.string()), &progress_,
                      flags);
    return last_.ok;
  }

  EmbedResult last_;
  ScratchDir scratch_;
  fs::path roll_ = scratch_ / "roll";
  std::vector<fs::path> sources_;
  testsupport::PromptScript shown_;
  EmbedProgress progress_{nullptr, nullptr, &shown_.prompt};
};

fs::path RealRoll() { return testsupport::SharedSub("samples/mv1/real") / "f6-detailed-film032-36frames.txt"; }
fs::path RealThreeFrames() { return testsupport::SharedSub("samples/mv1/real") / "f6-detailed-film022-3frames.txt"; }

TEST_F(Embed, RealRollWritesEveryFrameIntoItsScan) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  TAVEXON_REQUIRE_SHARED("samples/mv1/real");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool reads the result";
  const std::vector<fs::path> scans = MakeRoll(36);
  ASSERT_EQ(scans.size(), 36u);
  ASSERT_EQ(Batch(RealRoll(), 0, EmbedMakerNote), 1) << (shown_.texts.empty() ? "" : shown_.texts[0]);
  EXPECT_EQ(last_.written, 36u);
  EXPECT_TRUE(shown_.ids.empty());
  const auto frames = FrameColumns(RealRoll());
  // One exiftool process reads the whole roll.
  const auto rows = testsupport::ExifToolTable(
      {"FileName", "ExposureTime", "FNumber", "FocalLength", "ExposureProgram", "MeteringMode", "DateTimeOriginal",
       "ExifIFD:ISO", "Nikon:Lens", "Nikon:FlashSetting", "IFD0:Software", "Nikon:MakerNoteVersion"},
      {roll_});
  ASSERT_EQ(rows.size(), 36u);
  for (size_t i = 0; i < scans.size(); ++i) {
    SCOPED_TRACE(sources_[i].string());
    const std::vector<std::string>& row = rows.at(scans[i].filename().string());
    const std::vector<std::string>& frame = frames[i];
    ASSERT_GE(row.size(), 12u);
    EXPECT_NEAR(std::stod(row[1]), 1.0 / std::stod(frame[1]), 1e-9);  // "100": 1/100 s
    EXPECT_EQ(row[2], frame[2].substr(1));                         // "F11"
    EXPECT_EQ(row[3], frame[3]);                                   // "35" mm
    EXPECT_EQ(row[4], "3");                                        // "A": aperture priority
    EXPECT_EQ(row[5], "5");                                        // matrix: pattern
    const std::string date = frame[15].substr(0, 4) + ":" + frame[15].substr(5, 2) + ":" + frame[15].substr(8, 2);
    EXPECT_EQ(row[6].substr(0, 16), date + " " + frame[16]);
    EXPECT_EQ(row[7], "400");
    const std::string maxAperture = frame[4].substr(1);
    EXPECT_EQ(row[8], frame[3] + " " + frame[3] + " " + maxAperture + " " + maxAperture);
    EXPECT_EQ(Trimmed(row[9]), "NORMAL");  // front curtain sync
    EXPECT_EQ(row[10], kEmbedSoftware);
    // A new note says 0210; a camera's own Nikon note keeps its version.
    EXPECT_NE(row[11], "-");
    if (sources_[i].parent_path().filename() == "canon") {
      EXPECT_EQ(row[11], "0210");
      EXPECT_EQ(testsupport::RunCommand("exiftool -q -Canon:all " + testsupport::ShellQuote(scans[i].string())), "")
          << "a Canon note is replaced by the Nikon note";
    }
  }
  // Without the option no private tag is written.
  EXPECT_EQ(TagText(scans[0], IfdExif, TagFrameNumber), "<absent>");
  EXPECT_EQ(TagText(scans[0], IfdExif, TagFilmName), "<absent>");
}

TEST_F(Embed, PrivateTagsReplaceTheInteropTableAndKeepSoftware) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  TAVEXON_REQUIRE_SHARED("samples/mv1/real");
  const std::vector<fs::path> scans = MakeRoll(3);
  std::vector<std::string> software;
  for (const fs::path& scan : scans) software.push_back(TagText(scan, IfdPrimary, 305));
  ASSERT_EQ(Batch(RealThreeFrames(), 0, EmbedMakerNote | EmbedPrivateTags | EmbedKeepSoftware, "Portra 400"), 1);
  const auto frames = FrameColumns(RealThreeFrames());
  for (size_t i = 0; i < scans.size(); ++i) {
    SCOPED_TRACE(sources_[i].string());
    EXPECT_EQ(TagText(scans[i], IfdExif, TagFrameNumber), frames[i][0]);
    EXPECT_EQ(TagText(scans[i], IfdExif, TagFilmName), "Portra 400");
    EXPECT_EQ(TagText(scans[i], IfdPrimary, 305), software[i]);
    ExifDocumentPtr document;
    ASSERT_NE(ExifCheckFile(scans[i].string(), document) & StatusJpeg, 0u);
    EXPECT_LE(ExifTagCount(document.get(), IfdInterop), 0);
  }
}

// 36 frames for 37 files (75); an F6 file read as F5 type A, no data file (73); a folder without
// JPEGs (74): each refused before any file changes.
TEST_F(Embed, RefusalsBeforeAnyFileChanges) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  TAVEXON_REQUIRE_SHARED("samples/mv1/real");
  const std::vector<fs::path> scans = MakeRoll(37);
  ASSERT_EQ(scans.size(), 37u);
  const auto before = Contents(scans);
  const struct {
    fs::path data, folder;
    uint32_t type, message;
  } refusals[] = {{RealRoll(), roll_, 0, 75},
                  {RealRoll(), roll_, 2, 73},
                  {scratch_ / "missing.txt", roll_, 0, 73},
                  {RealRoll(), scratch_.path(), 0, 74}};
  for (const auto& r : refusals) {
    shown_.Forget();
    EXPECT_EQ(EmbedBatch("Nikon", "F6", "", r.data.string(), r.type, EmbedJpegPattern(r.folder.string()), &progress_,
                         EmbedMakerNote).ok, 0) << r.message;
    ASSERT_EQ(shown_.ids, std::vector<uint32_t>{r.message});
    if (r.message == 75) {
      EXPECT_EQ(shown_.texts[0], "MV-1データ件数[36]とJpegファイル件数[37]が一致しません。\n");
    }
  }
  EXPECT_EQ(Contents(scans), before);
}

// A run that stops part way (at a scan without Exif; at a read-only scan, 117) keeps the files
// written before, leaves the rest byte for byte, and no temporary file behind.
TEST_F(Embed, StopMidRunKeepsEarlierFilesAndLeavesLaterOnesUntouched) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  TAVEXON_REQUIRE_SHARED("samples/mv1/real");
  for (size_t stop : {2u, 1u}) {
    SCOPED_TRACE(stop);
    const std::vector<fs::path> scans = MakeRoll(3);
    if (stop == 2) WriteWithoutExif(sources_[2], scans[2]);
    if (stop == 1) fs::permissions(scans[1], fs::perms::owner_read);
    const auto before = Contents(scans);
    shown_.Forget();
    EXPECT_EQ(Batch(RealThreeFrames(), 0, EmbedMakerNote), 0);
    EXPECT_EQ(last_.written, stop);
    EXPECT_EQ(shown_.ids, stop == 1 ? std::vector<uint32_t>{117} : shown_.ids);
    for (size_t i = 0; i < scans.size(); ++i) EXPECT_EQ(testsupport::ReadBytes(scans[i]) == before[i], i >= stop) << i;
    EXPECT_EQ(TagText(scans[0], IfdExif, TagDateTimeOriginal).substr(0, 16), "2015:11:28 14:40");
    for (const fs::path& entry : testsupport::FilesUnder(roll_))
      EXPECT_EQ(entry.extension(), ".jpg") << "no temporary file stays behind: " << entry;
  }
}

TEST_F(Embed, RunButtonChecksSettingsAndASingleFrame) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  TAVEXON_REQUIRE_SHARED("samples/mv1/real");
  EmbedRequest request;
  request.maker = "Nikon";
  request.camera = "F6";
  request.film = Cp932FromUtf8("フジ Velvia");
  EXPECT_EQ(EmbedRun(request, &progress_).ok, 0);
  request.dataFilePath = (scratch_ / "absent.txt").string();
  EXPECT_EQ(EmbedRun(request, &progress_).ok, 0);
  request.dataFilePath = RealThreeFrames().string();
  EXPECT_EQ(EmbedRun(request, &progress_).ok, 0);
  ASSERT_EQ(shown_.ids, (std::vector<uint32_t>{52, 46, 47}));
  EXPECT_NE(shown_.texts[1].find("absent.txt"), std::string::npos);

  shown_.Forget();
  const std::vector<fs::path> scans = MakeRoll(3);
  request.jpegPath = roll_.string() + "/";
  request.dataType = -1;  // none chosen reads as F6 detailed
  request.privateTags = true;
  EXPECT_EQ(EmbedRun(request, &progress_).ok, 1);
  EXPECT_EQ(shown_.ids, std::vector<uint32_t>{51});
  EXPECT_EQ(SettingsGetInt("MV1OPTION", "DATATYPE", 9), 0);
  EXPECT_EQ(LoadComboHistory("FILM"), std::vector<std::string>{request.film});
  EXPECT_EQ(TagText(scans[2], IfdExif, TagFilmName), request.film);

  // A single frame into a new file leaves the source.
  const auto before = testsupport::ReadBytes(scans[0]);
  CameraDataFilePtr data = CameraDataFileCreate(RealThreeFrames().string().c_str());
  ASSERT_TRUE(data);
  ASSERT_EQ(CameraDataFileRead(data.get(), 0), 1);
  const fs::path destination = scratch_ / "frame09.jpg";
  ASSERT_EQ(EmbedSingle("Nikon", "F6", "", data.get(), 2, scans[0].string(), destination.string(), EmbedMakerNote),
            1);
  EXPECT_EQ(testsupport::ReadBytes(scans[0]), before);
  EXPECT_EQ(TagText(destination, IfdExif, TagDateTimeOriginal).substr(0, 16), "2015:11:29 12:50");
  EXPECT_EQ(TagText(destination, IfdPrimary, 271), "Nikon");
}

TEST(EmbedText, CutsAtSixtyThreeBytesWithoutSplittingACharacter) {
  EXPECT_EQ(EmbedText(std::string(70, 'a')).size(), 63u);
  const std::string wide = Cp932FromUtf8("フ");
  ASSERT_EQ(wide.size(), 2u);
  EXPECT_EQ(EmbedText(std::string(62, 'a') + wide), std::string(62, 'a'));
}

}  // namespace
