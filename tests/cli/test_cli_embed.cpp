// tavexon-cli embed as a script runs it: the dry run's pairing and a run that writes and names
// its files. (Refusals and their exit statuses: the table of test_cli_messages.)
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

CliRun RunCli(const testsupport::ScratchDir& scratch, const std::string& arguments) {
  return clitest::RunCli(arguments, scratch / "tvx1App.ini");
}

using clitest::Quoted;

fs::path ThreeFrames() { return testsupport::SharedSub("samples/mv1/real") / "f6-detailed-film022-3frames.txt"; }

// Three real camera files as a scanned roll.
fs::path MakeRoll(const testsupport::ScratchDir& scratch, size_t count) {
  const fs::path roll = scratch / "roll";
  fs::create_directory(roll);
  const char* sources[] = {"nikon/pel_nikon-coolscan-iv.jpg", "canon/exiftool_Canon1DmkIII.jpg",
                           "sony/exiftool_Sony.jpg", "pentax/exiftool_Pentax.jpg"};
  for (size_t i = 0; i < count; ++i) {
    const fs::path copy = roll / ("scan_000" + std::to_string(i + 1) + ".jpg");
    fs::copy_file(testsupport::SharedSub("corpus/makers") / sources[i], copy);
    fs::permissions(copy, fs::perms::owner_read | fs::perms::owner_write);
  }
  return roll;
}

std::vector<std::vector<unsigned char>> Contents(const fs::path& folder) {
  std::vector<std::vector<unsigned char>> contents;
  for (const fs::path& file : testsupport::FilesUnder(folder)) contents.push_back(testsupport::ReadBytes(file));
  return contents;
}

}  // namespace

TEST(CliEmbed, DryRunShowsThePairingAndWritesNothing) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  TAVEXON_REQUIRE_SHARED("samples/mv1/real");
  testsupport::ScratchDir scratch;
  const fs::path roll = MakeRoll(scratch, 3);
  const auto before = Contents(roll);
  CliRun run = RunCli(scratch, "embed --data " + Quoted(ThreeFrames()) + " --type f6-detailed --jpegs " +
                                   Quoted(roll) + " --dry-run");
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
  CliRun run = RunCli(scratch, "embed --data " + Quoted(ThreeFrames()) + " --type 'F6 詳細' --jpegs " + Quoted(roll) +
                                   " --maker Nikon --camera F6");
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_EQ(testsupport::RunCommand("exiftool -s3 -n -Model " + Quoted(roll / "scan_0002.jpg")), "F6\n");
  EXPECT_NE(run.output.find("完了！"), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("written: " + (roll / "scan_0002.jpg").string()), std::string::npos) << run.output;
  const std::string values =
      testsupport::RunCommand("exiftool -s3 -n -Model -FocalLength " + Quoted(roll / "scan_0003.jpg"));
  EXPECT_EQ(values, "F6\n50\n");
}
