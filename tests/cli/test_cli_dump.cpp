// tavexon-cli dump, set and delete as a script sees them: the JSON dump prints, the MakerNote
// tables, the held preview; what set and delete write, and the MakerNote questions. (Messages,
// refusals and exit statuses: the table of test_cli_messages.)
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/cli/cli_runner.h"
#include "tests/support/peers.h"
#include "tests/support/test_support.h"
#include "tests/support/tiff_builder.h"

namespace {

namespace fs = std::filesystem;
using clitest::CliRun;
using clitest::Quoted;
using clitest::RunCli;
using testsupport::ShellQuote;

std::string Corpus(const std::string& file) { return (testsupport::SharedSub("corpus") / file).string(); }

std::string ExiftoolTag(const fs::path& file, const std::string& tag) {
  return testsupport::RunCommand("exiftool -s3 -n -" + tag + " " + Quoted(file));
}

const nlohmann::json* FindTag(const nlohmann::json& file, const std::string& kind, int tag) {
  for (const auto& ifd : file["ifds"])
    if (ifd["kind"] == kind)
      for (const auto& t : ifd["tags"])
        if (t["tag"] == tag) return &t;
  return nullptr;
}

// The Pentax note of this file is carried as bytes; a long Artist once moved it, now it stays.
constexpr const char* kMovingNote = "other/exiv2_exiv2-sigma-d10.jpg";

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
  const fs::path file = clitest::CorpusCopy(scratch, "makers/nikon/exiftool_NikonD70.jpg");
  const CliRun quality = RunCli("set " + Quoted(file) + " --ifd 257 --tag 4 --type ASCII --value BASIC");
  ASSERT_EQ(quality.status, 0) << quality.err;
  EXPECT_EQ(testsupport::RunCommand("exiftool -s3 -Nikon:Quality " + Quoted(file)), "Basic\n");
  EXPECT_EQ(ExiftoolTag(file, "Nikon:ISO"), "0 200\n");
}

TEST(CliSet, SetAndDeleteWriteTheFile) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool reads the result";
  testsupport::ScratchDir scratch;
  const fs::path file = clitest::CorpusCopy(scratch, "makers/canon/exiftool_Canon1DmkIII.jpg");
  CliRun set = RunCli("set " + Quoted(file) + " --ifd 0th --tag 0x013b --type ASCII --value Tavexon");
  EXPECT_EQ(set.status, 0) << set.output;
  EXPECT_EQ(ExiftoolTag(file, "Artist"), "Tavexon\n");
  CliRun numbers = RunCli("set " + Quoted(file) + " --ifd exif --tag 34855 --type SHORT --value 400");
  EXPECT_EQ(numbers.status, 0) << numbers.output;
  EXPECT_EQ(ExiftoolTag(file, "ISO"), "400\n");
  CliRun removed = RunCli("delete " + Quoted(file) + " --ifd 1 --tag 315");
  EXPECT_EQ(removed.status, 0) << removed.output;
  EXPECT_EQ(ExiftoolTag(file, "Artist"), "");
}

TEST(CliSet, MakerNoteQuestionsAreAnsweredByOptionOrCancelled) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  testsupport::ScratchDir scratch;
  const fs::path file = clitest::CorpusCopy(scratch, std::string("makers/") + kMovingNote);
  const auto before = testsupport::ReadBytes(file);
  // Another byte order asks about the note carried as bytes (message 1): no handler reads a
  // Sigma note.
  const std::string artist =
      std::string(" --ifd 0th --tag 315 --type ASCII --byte-order MM --value ") + std::string(300, 'a');
  // A script that did not answer gets cancel: nothing is written unasked.
  CliRun unanswered = RunCli("set " + Quoted(file) + artist);
  EXPECT_EQ(unanswered.status, 1);
  EXPECT_NE(unanswered.output.find("処理を継続しますか"), std::string::npos) << unanswered.output;
  EXPECT_EQ(testsupport::ReadBytes(file), before);
  CliRun cancelled = RunCli("set " + Quoted(file) + artist + " --makernote cancel");
  EXPECT_EQ(cancelled.status, 1);
  EXPECT_EQ(testsupport::ReadBytes(file), before);
  // Keep: the note would stay in its old byte order, which a reader takes as the new one; the
  // last check refuses and names the tag, and the file stays as it was.
  CliRun kept = RunCli("set " + Quoted(file) + artist + " --makernote keep");
  EXPECT_EQ(kept.status, 1) << kept.output;
  EXPECT_NE(kept.output.find("37500"), std::string::npos) << kept.output;
  EXPECT_EQ(testsupport::ReadBytes(file), before);
}

TEST(CliSet, RebuildAndByteOrderOptions) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool reads the result";
  testsupport::ScratchDir scratch;
  const fs::path file = clitest::CorpusCopy(scratch, "makers/fujifilm/exiftool_FujiFilm.jpg");
  const fs::path out = scratch / "out.jpg";
  CliRun run = RunCli("set " + Quoted(file) + " --ifd 0th --tag 315 --type ASCII --value x --rebuild --byte-order MM"
                   " --makernote keep --out " + Quoted(out));
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_EQ(ExiftoolTag(out, "ExifByteOrder"), "MM\n");
  EXPECT_EQ(ExiftoolTag(out, "Artist"), "x\n");
  // A thumbnail 8 bytes past its segment is a warning (message 110); the rebuild keeps its bytes.
  testsupport::TiffLayout overrun;
  overrun.primary = {{271, 2, 5, testsupport::Text("ACME")}};
  overrun.thumbnailBytes.assign(64, 0xFF);
  std::vector<uint8_t> payload = testsupport::BuildExifPayload(overrun);
  payload.resize(payload.size() - 8);
  testsupport::WriteBytes(file, testsupport::BuildJpeg({{0xE1, payload}}));
  CliRun warned = RunCli("set " + Quoted(file) + " --ifd 0th --tag 315 --type ASCII --value x --rebuild");
  EXPECT_EQ(warned.status, 0) << warned.output;
  EXPECT_NE(warned.output.find("warning 774: EXIF解析中(1st IFD)"), std::string::npos) << warned.output;
  EXPECT_EQ(ExiftoolTag(file, "ThumbnailLength"), "56\n");
}
