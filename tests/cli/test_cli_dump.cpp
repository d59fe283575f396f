// tavexon-cli dump as a script sees it: the JSON it prints, the MakerNote tables, the held
// preview; and a Nikon tag written by set. (Messages and exit statuses: test_cli_messages.)
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/cli/cli_runner.h"
#include "tests/support/peers.h"
#include "tests/support/test_support.h"

namespace {

namespace fs = std::filesystem;
using testsupport::RunCommand;
using testsupport::SharedSub;
using testsupport::ShellQuote;

using clitest::CliRun;
using clitest::RunCli;

std::string Corpus(const std::string& file) { return (SharedSub("corpus") / file).string(); }

fs::path WritableCopy(const testsupport::ScratchDir& scratch, const std::string& file) {
  return clitest::CorpusCopy(scratch, file);
}

const nlohmann::json* FindTag(const nlohmann::json& file, const std::string& kind, int tag) {
  for (const auto& ifd : file["ifds"])
    if (ifd["kind"] == kind)
      for (const auto& t : ifd["tags"])
        if (t["tag"] == tag) return &t;
  return nullptr;
}

}  // namespace

TEST(CliDump, JsonCarriesValuesNamesAndTextsAndAFailingFileDoesNotStopTheRun) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  const std::string good = Corpus("makers/nikon/exiftool_NikonD70.jpg");
  const std::string noExif = Corpus("jpeg/ljt_testorig.jpg");
  const CliRun run = RunCli("dump --json " + ShellQuote(noExif) + " " + ShellQuote(good));
  EXPECT_EQ(run.status, 1);
  // The failing file is named on standard error with its code and the program's message.
  EXPECT_NE(run.err.find(noExif + ": error 771: ファイルにEXIF情報が見つかりません。"), std::string::npos) << run.err;
  const nlohmann::json files = nlohmann::json::parse(run.out);
  ASSERT_EQ(files.size(), 2u);
  EXPECT_EQ(files[0]["status"], 512);
  EXPECT_EQ(files[0]["error"], 771);
  const nlohmann::json& d70 = files[1];
  EXPECT_EQ(d70["status"], 1);
  EXPECT_EQ(d70["byteOrder"], "MM");

  const nlohmann::json* make = FindTag(d70, "0th", 271);
  ASSERT_TRUE(make);
  EXPECT_EQ((*make)["value"], "NIKON CORPORATION");
  EXPECT_EQ((*make)["tagName"], "Maker");
  EXPECT_EQ((*make)["type"], 2);
  const nlohmann::json* exposure = FindTag(d70, "exif", 33434);
  ASSERT_TRUE(exposure);
  EXPECT_EQ((*exposure)["value"], "10/600");
  EXPECT_EQ((*exposure)["text"], "1/60");
  // The Nikon note's own tables follow the standard ones.
  const nlohmann::json* iso = FindTag(d70, "257", 2);
  ASSERT_TRUE(iso);
  EXPECT_EQ((*iso)["value"], nlohmann::json::array({0, 200}));
}

TEST(CliDump, ThePreviewHeldInANikonNoteIsWrittenOut) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool extracts the reference preview";
  testsupport::ScratchDir scratch;
  const std::string file = Corpus("makers/nikon/digicam_D90_DSC_0003.JPG");
  const fs::path out = scratch / "preview.jpg";
  const CliRun run = RunCli("dump --preview " + ShellQuote(out.string()) + " " + ShellQuote(file));
  ASSERT_EQ(run.status, 0) << run.err;
  const auto preview = testsupport::ReadBytes(out);
  EXPECT_EQ(std::string(preview.begin(), preview.end()), testsupport::ExifToolBinary(file, "PreviewImage"));
}

// A Nikon note's tag is written, and ExifTool reads the note as before around it.
TEST(CliSet, NikonTagsAreWritten) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool reads the result";
  testsupport::ScratchDir scratch;
  const fs::path file = WritableCopy(scratch, "makers/nikon/exiftool_NikonD70.jpg");
  const CliRun quality = RunCli("set " + ShellQuote(file.string()) + " --ifd 257 --tag 4 --type ASCII --value BASIC");
  ASSERT_EQ(quality.status, 0) << quality.err;
  EXPECT_EQ(RunCommand("exiftool -s3 -Nikon:Quality " + ShellQuote(file.string())), "Basic\n");
  EXPECT_EQ(RunCommand("exiftool -s3 -n -Nikon:ISO " + ShellQuote(file.string())), "0 200\n");
}
