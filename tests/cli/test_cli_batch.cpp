// tavexon-cli embed, date, restore-dates, rename, strip, backup and restore as a script runs
// them: dry runs write nothing, refusals leave every file as it was, and the exit statuses;
// embed's pairing and a run that writes and names its files. (Embed's refusals: the table of
// test_cli_messages.)
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/cli/cli_runner.h"
#include "tests/support/test_support.h"
#include "tests/support/tiff_builder.h"

namespace {
namespace fs = std::filesystem;
using clitest::CliRun;
using clitest::Quoted;
using clitest::RunCli;

fs::path ThreeFrames() { return testsupport::SharedSub("samples/mv1/real") / "f6-detailed-film022-3frames.txt"; }

// Real camera files as a scanned roll.
fs::path MakeRoll(const testsupport::ScratchDir& scratch, size_t count) {
  const fs::path roll = scratch / "roll";
  fs::create_directory(roll);
  const char* sources[] = {"nikon/pel_nikon-coolscan-iv.jpg", "canon/exiftool_Canon1DmkIII.jpg",
                           "sony/exiftool_Sony.jpg", "pentax/exiftool_Pentax.jpg"};
  for (size_t i = 0; i < count; ++i)
    clitest::CorpusCopy(scratch, std::string("makers/") + sources[i], "roll/scan_000" + std::to_string(i + 1) + ".jpg");
  return roll;
}

std::vector<std::vector<unsigned char>> Contents(const fs::path& folder) {
  std::vector<std::vector<unsigned char>> contents;
  for (const fs::path& file : testsupport::FilesUnder(folder)) contents.push_back(testsupport::ReadBytes(file));
  return contents;
}

TEST(CliBatch, DryRunsWriteNothingAndRealRunsDo) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  testsupport::ScratchDir scratch;
  fs::create_directories(scratch / "roll");
  const fs::path a = clitest::CorpusCopy(scratch, "makers/nikon/exiftool_NikonD70.jpg", "roll/a.jpg");
  const fs::path b = clitest::CorpusCopy(scratch, "makers/canon/exiftool_Canon1DmkIII.jpg", "roll/b.jpg");
  const auto before = testsupport::ReadBytes(a);
  const std::string roll = Quoted(scratch / "roll");
  const std::string dryRuns[] = {
      "date " + roll + " --shift +1:02:00:00 --dry-run", "restore-dates " + roll + " --dry-run",
      "rename " + roll + " --by DateTimeOriginal --date-format 6 --dry-run", "strip " + Quoted(a) + " --app 0,1 --dry-run",
      "backup " + Quoted(a) + " --dry-run", "restore " + Quoted(a) + " --from-jpeg " + Quoted(b) + " --dry-run"};
  for (const std::string& command : dryRuns) {
    const auto run = RunCli(command);
    EXPECT_EQ(run.status, 0) << command << "\n" << run.output;
    EXPECT_EQ(testsupport::ReadBytes(a), before) << command;
  }
  EXPECT_NE(RunCli(dryRuns[0]).out.find("2005:01:14 08:57:59 -> 2005:01:15 10:57:59"), std::string::npos);
  EXPECT_EQ(RunCli("date " + roll + " --set \"2004:02:29 12:00:00\"").status, 0);
  EXPECT_NE(testsupport::RunCommand("exiftool -s3 -DateTimeOriginal " + Quoted(a)).find("2004:02:29 12:00:00"), std::string::npos);
  EXPECT_EQ(RunCli("backup " + Quoted(a) + " -o " + Quoted(scratch / "a")).status, 0);
  EXPECT_TRUE(fs::exists(scratch / "a.exf"));
  EXPECT_EQ(RunCli("strip " + Quoted(a)).status, 0);
  EXPECT_EQ(RunCli("restore " + Quoted(a) + " --from " + Quoted(scratch / "a.exf") + " --as-is").status, 0);
  const auto run = RunCli("rename " + roll + " --by DateTimeOriginal --date-format 4 --number 01");
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_TRUE(fs::exists(scratch / "roll" / "20040229_01.jpg"));
}

TEST(CliBatch, RefusalsAndUsageErrors) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  testsupport::ScratchDir scratch;
  fs::create_directories(scratch / "roll");
  const fs::path a = clitest::CorpusCopy(scratch, "makers/nikon/exiftool_NikonD70.jpg", "roll/a.jpg");
  clitest::CorpusCopy(scratch, "makers/nikon/exiftool_NikonD70.jpg", "roll/b.jpg");
  const auto before = testsupport::ReadBytes(a);
  const auto duplicate = RunCli("rename " + Quoted(scratch / "roll") + " --by DateTimeOriginal");
  EXPECT_EQ(duplicate.status, 1);
  EXPECT_NE(duplicate.err.find("同一ファイル名"), std::string::npos);
  EXPECT_TRUE(fs::exists(a));
  const std::pair<std::string, int> runs[] = {
      {"date " + Quoted(a), 2}, {"date " + Quoted(a) + " --shift 1d", 2}, {"strip " + Quoted(a) + " --app 16", 2},
      {"restore " + Quoted(a), 2}, {"restore " + Quoted(a) + " --from " + Quoted(a.parent_path() / "b.jpg") + " --from-jpeg " + Quoted(a), 2},
      {"rename " + Quoted(scratch / "missing"), 1}, {"backup " + Quoted(testsupport::SharedSub("corpus/jpeg") / "ljt_testorig.jpg") + " -o " + Quoted(scratch / "x.exf"), 1}};
  for (const auto& [command, status] : runs) {
    EXPECT_EQ(RunCli(command).status, status) << command;
    EXPECT_EQ(testsupport::ReadBytes(a), before) << command;
  }
  EXPECT_FALSE(fs::exists(scratch / "x.exf"));
}


TEST(CliEmbed, DryRunShowsThePairingAndWritesNothing) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  TAVEXON_REQUIRE_SHARED("samples/mv1/real");
  testsupport::ScratchDir scratch;
  const fs::path roll = MakeRoll(scratch, 3);
  const auto before = Contents(roll);
  CliRun run = RunCli("embed --data " + Quoted(ThreeFrames()) + " --type f6-detailed --jpegs " +
                                   Quoted(roll) + " --dry-run", scratch / "tvx1App.ini");
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_NE(run.output.find("scan_0003.jpg"), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("2015:11:29 12:50"), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("frames: 3, files: 3"), std::string::npos) << run.output;
  EXPECT_EQ(Contents(roll), before);
}

TEST(CliEmbed, RunWritesEveryFileAndNamesIt) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  TAVEXON_REQUIRE_SHARED("samples/mv1/real");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool reads the result";
  testsupport::ScratchDir scratch;
  const fs::path roll = MakeRoll(scratch, 3);
  // A scan whose thumbnail runs 8 bytes past its APP1 does not stop the roll.
  testsupport::TiffLayout overrun;
  overrun.primary = {{271, 2, 5, testsupport::Text("ACME")}};
  overrun.thumbnailBytes.assign(64, 0xFF);
  std::vector<uint8_t> payload = testsupport::BuildExifPayload(overrun);
  payload.resize(payload.size() - 8);
  testsupport::WriteBytes(roll / "scan_0002.jpg", testsupport::BuildJpeg({{0xE1, payload}}));
  CliRun run = RunCli("embed --data " + Quoted(ThreeFrames()) + " --type 'F6 詳細' --jpegs " + Quoted(roll) +
                                   " --maker Nikon --camera F6", scratch / "tvx1App.ini");
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_EQ(testsupport::RunCommand("exiftool -s3 -n -Model " + Quoted(roll / "scan_0002.jpg")), "F6\n");
  EXPECT_NE(run.output.find("完了！"), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("written: " + (roll / "scan_0002.jpg").string()), std::string::npos) << run.output;
  const std::string values =
      testsupport::RunCommand("exiftool -s3 -n -Model -FocalLength " + Quoted(roll / "scan_0003.jpg"));
  EXPECT_EQ(values, "F6\n50\n");
}

}  // namespace
