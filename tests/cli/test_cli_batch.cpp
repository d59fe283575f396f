// tavexon-cli date, restore-dates, rename, strip, backup and restore as a script runs them:
// dry runs write nothing, refusals leave every file as it was, and the exit statuses.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/cli/cli_runner.h"
#include "tests/support/test_support.h"

namespace {
namespace fs = std::filesystem;
using clitest::Quoted;
using clitest::RunCli;

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

}  // namespace
