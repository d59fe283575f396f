// CSV export and import over copies of the camera corpus: the unchanged round trip, edits that
// land as typed (read back by exiftool), bad cells that stop the run with every file untouched,
// and the limits of a CP932 file.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "frame/cp932.h"
#include "frame/file_list.h"
#include "frame/settings.h"
#include "shooting/engine_install.h"
#include "tests/support/prompt_script.h"
#include "tests/support/test_support.h"
#include "tools/csv_export.h"
#include "tools/csv_import.h"

namespace {

namespace fs = std::filesystem;
using testsupport::ReadBytes;
using testsupport::PromptScript;
using testsupport::ScratchDir;

class CsvTest : public ::testing::Test {
 protected:
  void SetUp() override {
    EngineInstall();
    SettingsSetFilePath((scratch_ / "tvx1App.ini").string());
  }

  // Writable copies of the corpus JPEGs below `sub`, one folder, in a FileList.
  FileList CopyCorpus(const std::string& sub, size_t limit = 1000) {
    fs::create_directories(scratch_ / "jpeg");
    for (const fs::path& file : testsupport::SharedJpegs({"corpus/" + sub})) {
      if (limit-- == 0) break;
      testsupport::CopyWritable(file, scratch_ / "jpeg" / (file.parent_path().filename().string() + "_" + file.filename().string()));
    }
    FileList list;
    FileListScan(list, (scratch_ / "jpeg").string(), "jpg", kFileListFiles, 0);
    return list;
  }

  std::map<std::string, std::vector<unsigned char>> Snapshot(const FileList& list) {
    std::map<std::string, std::vector<unsigned char>> bytes;
    for (const FileEntry& entry : *list.entries) bytes[entry.path] = ReadBytes(entry.path);
    return bytes;
  }

  std::string Exiftool(const std::string& arguments) {
    return testsupport::RunCommand("exiftool " + arguments + " 2>&1");
  }

  ScratchDir scratch_;
};

TagSelection Pick(std::initializer_list<std::pair<uint32_t, uint32_t>> tags) {
  TagSelection selection;
  for (auto [ifd, tag] : tags) {
    TagPick pick;
    pick.ifd = ifd;
    pick.tag = tag;
    pick.type = TagSelectionCatalogueType(ifd, tag);
    selection.push_back(pick);
  }
  return selection;
}

// Writes rows as a CP932 CSV through the writer under test.
void WriteCsv(const fs::path& path, const std::vector<CsvRow>& rows) {
  CsvWriter writer;
  ASSERT_EQ(CsvWriterOpen(&writer, path.string(), kCsvRowCapacity, 1), 1);
  for (const CsvRow& row : rows) {
    for (const std::string& cell : row.cells) CsvWriterAddCell(&writer, cell);
    CsvWriterEndRow(&writer);
  }
  ASSERT_EQ(CsvWriterClose(&writer), 1);
}

std::vector<CsvRow> ReadCsv(const fs::path& path) {
  CsvReader reader;
  EXPECT_EQ(CsvReaderOpen(&reader, path.string()), 1);
  return reader.rows;
}

// Every selectable tag out, the same CSV in, out again: the CSVs match byte for byte, no file
// changes by a byte, and exiftool reads each file as before. The UTF-8 form reads back the same.
TEST_F(CsvTest, UnchangedRoundTripWritesNothing) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  FileList files = CopyCorpus("makers");
  ASSERT_GT(files.entries->size(), 30u);
  const auto before = Snapshot(files);
  const std::string folder = testsupport::ShellQuote((scratch_ / "jpeg").string());
  const std::string exifBefore = testsupport::HaveProgram("exiftool") ? Exiftool("-j -G1 -a -u -n " + folder) : "";
  const TagSelection everything = TagSelectionEverything();
  PromptScript script;
  const fs::path first = scratch_ / "first.csv", second = scratch_ / "second.csv", utf8 = scratch_ / "utf8.csv";
  ASSERT_EQ(CsvExportRun(files, everything, first.string(), {}, nullptr, &script.prompt), 1);
  CsvImportReport report;
  EXPECT_EQ(CsvImportRun(first.string(), {}, {}, nullptr, &script.prompt, nullptr, &report), CsvImportDone);
  EXPECT_EQ(report.rowsChecked, int(files.entries->size()));
  for (const CsvImportChange& change : report.files) EXPECT_TRUE(change.tags.empty()) << change.path;
  ASSERT_EQ(CsvExportRun(files, everything, second.string(), {}, nullptr, &script.prompt), 1);
  EXPECT_EQ(ReadBytes(first), ReadBytes(second));
  EXPECT_EQ(Snapshot(files), before);
  if (!exifBefore.empty()) {
    EXPECT_EQ(Exiftool("-j -G1 -a -u -n " + folder), exifBefore);
  }

  CsvExportOptions options;
  options.encoding = CsvUtf8;
  ASSERT_EQ(CsvExportRun(files, everything, utf8.string(), options, nullptr, &script.prompt), 1);
  const auto utf8Bytes = ReadBytes(utf8);
  ASSERT_GT(utf8Bytes.size(), 3u);
  EXPECT_EQ(std::string(utf8Bytes.begin(), utf8Bytes.begin() + 3), "\xEF\xBB\xBF");
  auto cp932Rows = ReadCsv(first), utf8Rows = ReadCsv(utf8);
  ASSERT_EQ(cp932Rows.size(), utf8Rows.size());
  for (size_t r = 0; r < cp932Rows.size(); ++r) EXPECT_EQ(cp932Rows[r].cells, utf8Rows[r].cells) << "row " << r + 1;
  CsvImportOptions dry;
  dry.dryRun = 1;
  EXPECT_EQ(CsvImportRun(utf8.string(), {}, dry, nullptr, &script.prompt, nullptr, &report), CsvImportDone);
  for (const CsvImportChange& change : report.files) EXPECT_TRUE(change.tags.empty()) << change.path;
  EXPECT_EQ(Snapshot(files), before);
}

// A Japanese caption with a comma and quotes, a RATIONAL exposure, an SRATIONAL bias and a date,
// edited in the CSV and saved into another folder: exiftool reads them as typed, the other
// values stay, and the originals are untouched. Python's csv module reads the caption as one cell.
TEST_F(CsvTest, EditsLandAsTyped) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  FileList files = CopyCorpus("makers/nikon", 2);
  ASSERT_EQ(files.entries->size(), 2u);
  const auto before = Snapshot(files);
  const TagSelection selection = Pick({{1, 0x010E}, {3, 0x829A}, {3, 0x9204}, {3, 0x9003}, {3, 0x927C}});
  PromptScript script;
  const fs::path exported = scratch_ / "out.csv", edited = scratch_ / "edited.csv";
  ASSERT_EQ(CsvExportRun(files, selection, exported.string(), {}, nullptr, &script.prompt), 1);
  std::vector<CsvRow> rows = ReadCsv(exported);
  ASSERT_EQ(rows.size(), 4u);
  const std::string caption = "夏の海, \"湘南\"\r\n二行目";
  rows[2].cells[1] = Cp932FromUtf8(caption);
  rows[2].cells[2] = "1/250";
  rows[2].cells[3] = "-0.7";
  rows[2].cells[4] = "2020:01:02 03:04:05";
  rows[2].cells[5] = "00 01";  // a MakerNote cell passes the check and is never written
  WriteCsv(edited, rows);

  const fs::path dest = scratch_ / "dest";
  fs::create_directories(dest);
  CsvImportOptions options;
  options.destination = dest.string();
  CsvImportReport report;
  ASSERT_EQ(CsvImportRun(edited.string(), {}, options, nullptr, &script.prompt, nullptr, &report), CsvImportDone);
  EXPECT_EQ(Snapshot(files), before);
  ASSERT_EQ(report.files.size(), 2u);
  EXPECT_EQ(report.files[0].tags.size(), 4u);
  EXPECT_TRUE(report.files[1].tags.empty());
  const fs::path changed = dest / fs::path(report.files[0].path).filename();
  EXPECT_EQ(ReadBytes(dest / fs::path(report.files[1].path).filename()), before.at(report.files[1].path));

  if (testsupport::HaveProgram("exiftool")) {
    const std::string quoted = testsupport::ShellQuote(changed.string());
    const std::string json = Exiftool("-j -n -ExposureTime -ExposureCompensation -DateTimeOriginal " + quoted);
    EXPECT_NE(json.find("\"ExposureTime\": 0.004"), std::string::npos) << json;
    EXPECT_NE(json.find("\"ExposureCompensation\": -0.7"), std::string::npos) << json;
    EXPECT_NE(json.find("\"DateTimeOriginal\": \"2020:01:02 03:04:05\""), std::string::npos) << json;
    EXPECT_EQ(Exiftool("-b -ImageDescription " + quoted), Cp932FromUtf8(caption));
  }
  if (testsupport::HaveProgram("python3")) {
    const std::string script =
        "import csv,sys; r=list(csv.reader(open(sys.argv[1],encoding='cp932',newline=''))); print(len(r[2]), r[2][1]==sys.argv[2])";
    EXPECT_EQ(testsupport::RunCommand("python3 -c " + testsupport::ShellQuote(script) + " " +
                                      testsupport::ShellQuote(edited.string()) + " " + testsupport::ShellQuote(caption)),
              "6 True\n");
  }
}

// Bad cells and rows stop the check pass with the message that names them; a row that fails
// while being applied asks message 106. In every case no file changes by a byte.
TEST_F(CsvTest, BadInputStopsWithNothingWritten) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  FileList files = CopyCorpus("makers/canon", 2);
  ASSERT_EQ(files.entries->size(), 2u);
  const auto before = Snapshot(files);
  // Orientation SHORT, ExposureTime RATIONAL, ImageDescription ASCII, ExposureBias SRATIONAL.
  const TagSelection selection = Pick({{1, 0x0112}, {3, 0x829A}, {1, 0x010E}, {3, 0x9204}});
  PromptScript exportScript;
  const fs::path base = scratch_ / "base.csv";
  ASSERT_EQ(CsvExportRun(files, selection, base.string(), {}, nullptr, &exportScript.prompt), 1);
  const std::vector<CsvRow> rows = ReadCsv(base);
  struct Case {
    const char* what;
    size_t row;   // 0-based row of the file
    int column;   // 1-based cell to change; 0 drops the row's last cell; -1 names a missing file
    std::string value;
    uint32_t message;
    const char* named;  // what the message must say
  };
  const std::vector<Case> cases = {
      {"letter in a SHORT", 3, 2, "1a", 104, "4行目、2列"},
      {"SHORT past its limit", 2, 2, "65536", 104, "3行目、2列"},
      {"negative RATIONAL", 2, 3, "-1/3", 104, "3行目、3列"},
      {"RATIONAL part too long", 3, 3, "1/0000000000000001", 104, "4行目、3列"},
      {"SRATIONAL out of range", 2, 5, "1/2147483648", 104, "3行目、5列"},
      {"count that does not fit", 3, 4, std::string(70000, 'x'), 106, "4行目"},
      {"missing file", 3, -1, "", 107, "4行目"},
      {"short row", 2, 0, "", 105, "3行目"},
      // The reading rules read two commas in quotes as one: such a cell is refused, never written.
      {"two commas in quotes", 2, 4, "a,,b", 104, "3行目"},
  };
  for (const Case& c : cases) {
    std::vector<CsvRow> broken = rows;
    CsvRow& row = broken[c.row];
    if (c.column > 0) row.cells[size_t(c.column - 1)] = c.value;
    if (c.column == 0) row.cells.pop_back();
    if (c.column == -1) row.cells[0] = (scratch_ / "gone.jpg").string();
    const fs::path csv = scratch_ / "broken.csv";
    WriteCsv(csv, broken);
    PromptScript script;
    script.answers[106] = PromptAnswerYes;  // stop
    CsvImportOptions overwrite;
    EXPECT_EQ(CsvImportRun(csv.string(), {}, overwrite, nullptr, &script.prompt), CsvImportFailed) << c.what;
    ASSERT_FALSE(script.ids.empty()) << c.what;
    EXPECT_EQ(script.ids.back(), c.message) << c.what;
    EXPECT_NE(script.texts.back().find(c.named), std::string::npos) << c.what << ": " << script.texts.back();
    EXPECT_EQ(Snapshot(files), before) << c.what;
  }
  // A value of 32 bytes or more is shown as its first 28 and "...".
  std::vector<CsvRow> longValue = rows;
  longValue[2].cells[1] = std::string(40, '9');
  WriteCsv(scratch_ / "long.csv", longValue);
  PromptScript script;
  EXPECT_EQ(CsvImportRun((scratch_ / "long.csv").string(), {}, {}, nullptr, &script.prompt), CsvImportFailed);
  EXPECT_NE(script.texts.back().find("入力データ形式:SHORT\n入力値:[" + std::string(28, '9') + "...]"),
            std::string::npos);
}

// The limits of the file format: a path CP932 cannot carry is refused before anything is
// written; the reading rules read two commas in quotes as one; the selection persists in its
// fixed-width form.
TEST_F(CsvTest, FileFormatLimits) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  FileList files = CopyCorpus("makers/sony", 1);
  ASSERT_EQ(files.entries->size(), 1u);
  const fs::path euro = scratch_ / "jpeg" / "price€.jpg";
  fs::copy_file(files.entries->front().path, euro);
  FileListScan(files, (scratch_ / "jpeg").string(), "jpg", kFileListFiles, 0);
  PromptScript script;
  const fs::path out = scratch_ / "out.csv";
  EXPECT_EQ(CsvExportRun(files, Pick({{1, 0x010E}}), out.string(), {}, nullptr, &script.prompt), 0);
  EXPECT_FALSE(fs::exists(out));
  ASSERT_FALSE(script.texts.empty());
  EXPECT_NE(script.texts.back().find("CP932"), std::string::npos);

  CsvReader reader;
  CsvReaderParse(&reader, "\"a,,b\",plain,,\"line\r\nbreak\"\r\n\r\n\"x,\"\"y\"");
  ASSERT_EQ(reader.rows.size(), 3u);
  EXPECT_EQ(reader.rows[0].cells, (std::vector<std::string>{"a,b", "plain", "", "line\r\nbreak"}));
  EXPECT_EQ(reader.rows[0].inexact, (std::vector<uint8_t>{1, 0, 0, 0}));
  EXPECT_EQ(reader.rows[1].cells, std::vector<std::string>{""});
  EXPECT_EQ(reader.rows[2].cells, std::vector<std::string>{"x,\"y"});
  EXPECT_EQ(reader.rows[2].inexact, std::vector<uint8_t>{1});

  const TagSelection stored = Pick({{3, 0x829A}, {65793, 0x0002}});
  ASSERT_EQ(TagSelectionSave(stored), 1);
  EXPECT_EQ(SettingsGetText("CSV", "TAGLIST"), "0x00000003829A5,0x000101010002" +
                                                   TagPickId(stored[1]).substr(14) + ",");
  const TagSelection loaded = TagSelectionLoad();
  ASSERT_EQ(loaded.size(), 2u);
  EXPECT_EQ(TagPickId(loaded[1]), TagPickId(stored[1]));
  EXPECT_EQ(loaded[0].name, nullptr);
}

}  // namespace
