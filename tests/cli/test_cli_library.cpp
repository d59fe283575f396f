// Scans as photo libraries read them: the bundled roll embedded with the library options and
// read back by ExifTool and Python's strict date parser, the defaults byte for byte as before;
// and the tags of later Exif editions named in the dump of the camera corpus.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <numeric>
#include <set>
#include <string>
#include <vector>

#include "tests/cli/cli_runner.h"
#include "tests/support/test_support.h"

namespace {

namespace fs = std::filesystem;
using clitest::CliRun;
using clitest::Quoted;
using nlohmann::json;

fs::path Samples() { return fs::path(TAVEXON_SAMPLES_DIR); }

fs::path CopyScans(const testsupport::ScratchDir& scratch, const std::string& name) {
  fs::copy(Samples() / "scans", scratch / name);
  testsupport::RunCommand("chmod -R u+w " + Quoted(scratch / name));
  return scratch / name;
}

CliRun Embed(const testsupport::ScratchDir& scratch, const fs::path& roll, const std::string& options) {
  return clitest::RunCli("embed --data " + Quoted(Samples() / "f6-detailed-film032-36frames.txt") +
                             " --type f6-detailed --jpegs " + Quoted(roll) +
                             " --maker Nikon --camera F6 --film 'Kodak Portra 400' " + options,
                         scratch / "tvx1App.ini");
}

std::string Sha256(const std::string& shellFiles) {
  return testsupport::RunCommand("cat " + shellFiles + " | sha256sum").substr(0, 64);
}

// The tags of later Exif editions: the only dump rows whose name may differ from before.
bool LaterTag(const std::string& kind, uint32_t tag) {
  if (kind == "exif")
    return (tag >= 34864 && tag <= 34869) || (tag >= 36880 && tag <= 36882) || tag == 37396 ||
           (tag >= 37888 && tag <= 37893) || tag == 40964 || tag == 42016 || tag == 42240 ||
           (tag >= 42032 && tag <= 42044) || (tag >= 42080 && tag <= 42082);
  if (kind == "gps") return tag >= 27 && tag <= 31;
  return kind == "interop" && tag >= 4096 && tag <= 4098;
}

}  // namespace

TEST(CliLibrary, EmbeddedRollReadsCleanlyAndTheDefaultsStayByteIdentical) {
  if (!fs::exists(Samples() / "scans")) GTEST_SKIP() << "the bundled samples are absent";
  testsupport::ScratchDir scratch;
  // The 36 scans as the run wrote them before the options existed.
  const std::string kBefore = "180ce03a13812d32543e42f03d43e74c0a0fe3ab7b386364520090470d0d5e22";
  int index = 0;
  for (const char* options : {"", "--time-padding blanks --flash described --film-in none"}) {
    const fs::path roll = CopyScans(scratch, "plain" + std::to_string(index++));
    const CliRun run = Embed(scratch, roll, options);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(Sha256(Quoted(roll) + "/*.jpg"), kBefore) << options;
    const size_t hint = run.err.find("hint: the capture time");
    EXPECT_TRUE(hint != std::string::npos && hint == run.err.rfind("hint:")) << run.err;  // one hint line
  }
  const fs::path roll = CopyScans(scratch, "library");
  const CliRun run = Embed(scratch, roll, "--time-padding zeros --lens-tags --film-in description --flash omit");
  ASSERT_EQ(run.status, 0) << run.output;
  EXPECT_EQ(run.err.find("hint:"), std::string::npos) << run.err;
  if (!testsupport::HaveProgram("exiftool") || !testsupport::HaveProgram("python3"))
    GTEST_SKIP() << "exiftool and python3 read the result";
  const std::string files = Quoted(roll) + "/*.jpg";
  const std::string warnings = testsupport::RunCommand("exiftool -validate -warning -a " + files + " 2>&1");
  EXPECT_EQ(warnings.find("date/time"), std::string::npos) << warnings;
  const json tags = json::parse(testsupport::RunCommand(
      "exiftool -j -n -EXIF:DateTimeOriginal -EXIF:LensModel -EXIF:LensInfo -EXIF:ImageDescription -EXIF:Flash "
      "-EXIF:FocalLength " + files));
  ASSERT_EQ(tags.size(), 36u);
  std::string dates;  // one a line, for printf
  for (const json& file : tags) {
    dates += file.value("DateTimeOriginal", "") + "\\n";
    const bool wide = file.value("FocalLength", 0.0) == 35.0;  // the roll's 35 mm and 105 mm lenses
    EXPECT_EQ(file.value("LensModel", ""), wide ? "35mm F1.8" : "105mm F2.5");
    EXPECT_EQ(file.value("LensInfo", ""), wide ? "35 35 1.8 1.8" : "105 105 2.5 2.5");
    EXPECT_EQ(file.value("ImageDescription", ""), "Kodak Portra 400");
    EXPECT_FALSE(file.contains("Flash")) << "no frame of the roll had a speedlight on";
  }
  const std::string parsed = testsupport::RunCommand(
      "printf '" + dates + "' | python3 -c \"import sys, datetime; print(len([datetime.datetime.strptime(v, "
      "'%Y:%m:%d %H:%M:%S') for v in sys.stdin.read().splitlines()]))\"");
  EXPECT_EQ(parsed, "36\n");
}

TEST(CliLibrary, LaterExifTagsGainNamesAndNoOtherRowChanges) {
  TAVEXON_REQUIRE_SHARED("corpus");
  const fs::path corpus = testsupport::SharedSub("corpus");
  std::vector<std::string> rows;
  std::set<std::string> named;
  for (const fs::path& file : testsupport::FilesUnder(corpus)) {
    if (file.filename() == "README.md") continue;
    const json dump = json::parse(clitest::RunCli("dump --json " + Quoted(file)).out, nullptr, false);
    ASSERT_FALSE(dump.is_discarded()) << file;
    for (const json& document : dump) {
      // A partial read shows what was read before the failure; earlier builds showed nothing.
      if (document.value("partial", false)) continue;
      for (const json& ifd : document.value("ifds", json::array())) {
        const std::string kind = ifd.value("kind", "");
        if (std::string(" 0th 1st exif gps interop ").find(" " + kind + " ") == std::string::npos) continue;
        for (const json& tag : ifd["tags"]) {
          const std::string name = tag.value("name", "");
          if (LaterTag(kind, tag.value("tag", 0u))) {
            EXPECT_NE(name, "不明") << file << " " << tag.dump();
            named.insert(tag.value("tagName", ""));
            continue;
          }
          rows.push_back(fs::relative(file, corpus).generic_string() + "\t" + kind + "\t" +
                         std::to_string(tag.value("tag", 0u)) + "\t" + name + "\t" + tag.value("text", "") + "\n");
        }
      }
    }
  }
  for (const char* tagName : {"CameraOwnerName", "BodySerialNumber", "LensSpecification", "LensMake", "LensModel",
                              "LensSerialNumber", "OffsetTime", "OffsetTimeOriginal", "OffsetTimeDigitized"})
    EXPECT_TRUE(named.count(tagName)) << tagName;
  // Every other row of the five IFDs, sorted, as the dump gave it before the later tags had
  // rows (2,741 rows over the corpus).
  std::sort(rows.begin(), rows.end());
  testsupport::ScratchDir scratch;
  std::ofstream(scratch / "rows.txt", std::ios::binary) << std::accumulate(rows.begin(), rows.end(), std::string());
  EXPECT_EQ(rows.size(), 2741u);
  EXPECT_EQ(Sha256(Quoted(scratch / "rows.txt")), "4434f3af54b04dd19d175b023b0b3ca89ae204bf295740a066c3df3c514c5e8d");
}
