// tavexon-cli set and delete: what lands in the file, and the MakerNote questions, as a script
// sees them. (Refusals and usage errors: the table of test_cli_messages.)
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/cli/cli_runner.h"
#include "tests/support/test_support.h"
#include "tests/support/tiff_builder.h"

namespace {

namespace fs = std::filesystem;

using clitest::CliRun;
using clitest::Quoted;
using clitest::RunCli;

fs::path CopyOf(const testsupport::ScratchDir& scratch, const std::string& makersFile) {
  return clitest::CorpusCopy(scratch, "makers/" + makersFile);
}

std::string ExiftoolTag(const fs::path& file, const std::string& tag) {
  return testsupport::RunCommand("exiftool -s3 -n -" + tag + " " + Quoted(file));
}

// The Pentax note of this file is carried as bytes; a long Artist once moved it, now it stays.
constexpr const char* kMovingNote = "other/exiv2_exiv2-sigma-d10.jpg";

}  // namespace

TEST(CliSet, SetAndDeleteWriteTheFile) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool reads the result";
  testsupport::ScratchDir scratch;
  const fs::path file = CopyOf(scratch, "canon/exiftool_Canon1DmkIII.jpg");
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
  const fs::path file = CopyOf(scratch, kMovingNote);
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
  const fs::path file = CopyOf(scratch, "fujifilm/exiftool_FujiFilm.jpg");
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
