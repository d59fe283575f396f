// Segment deletion: against `exiftool -all=` over real files, and the edges of the marker walk
// on built files. A refusal leaves the file byte for byte.
#include <set>

#include "exif/exif_document.h"
#include "frame/error_stack.h"
#include "tests/support/tiff_builder.h"
#include "tests/tools/tools_support.h"
#include "tools/segment_delete.h"

namespace {
namespace fs = std::filesystem;
using testsupport::ReadBytes;

// Every APPn segment gone leaves what `exiftool -all=` leaves, with two named differences: a
// comment (0xFE) is no application segment and stays; ExifTool keeps the Adobe APP14 segment
// (it says how to read the colours), which bit 14 removes.
TEST(Strip, AllApplicationSegmentsMatchExiftoolAll) {
  TOOLS_REQUIRE_PEERS();
  testsupport::ScratchDir scratch;
  auto files = toolstest::CopyCameraFiles(scratch / "ours");
  for (const fs::path& file : testsupport::FilesUnder(testsupport::SharedSub("corpus/jpeg"))) {
    files.push_back(scratch / "ours" / file.filename());
    fs::copy_file(file, files.back());
  }
  fs::copy(scratch / "ours", scratch / "peer");
  std::set<std::string> refused;  // a marker walk that fails leaves the file as it was
  for (const fs::path& file : files) {
    const auto before = ReadBytes(file);
    if (SegmentDeleteApp(file.string(), file.string(), 0xFFFF)) continue;
    refused.insert(file.filename().string());
    EXPECT_EQ(ReadBytes(file), before);
  }
  EXPECT_LE(refused.size(), 1u);
  testsupport::RunCommand("exiftool -q -q -overwrite_original -all= " + testsupport::ShellQuote((scratch / "peer").string()) +
                          " 2>/dev/null");
  auto mine = toolstest::ExiftoolRead(scratch / "ours");
  auto peer = toolstest::ExiftoolRead(scratch / "peer");
  int compared = 0;
  for (const fs::path& file : files) {
    const std::string name = file.filename().string();
    nlohmann::json a = mine[name], b = peer[name];
    if (refused.contains(name) || b.contains("IFD0:Make") || b.contains("IFD0:XResolution")) continue;  // ExifTool would not write it
    a.erase("File:Comment");
    for (auto it = b.begin(); it != b.end();) it = it.key().rfind("Adobe:", 0) == 0 ? b.erase(it) : std::next(it);
    EXPECT_EQ(a, b) << name;
    ++compared;
  }
  EXPECT_GT(compared, 40);
}

TEST(Strip, MarkerWalkEdges) {
  using testsupport::BuildJpeg;
  testsupport::ScratchDir scratch;
  const std::vector<uint8_t> xmp = {'h', 't', 't', 'p', ':', '/', '/', 'n', 's', 0, 'x'};
  const std::vector<uint8_t> exif = testsupport::BuildExifPayload({});
  std::vector<uint8_t> jpeg = BuildJpeg({{0xE1, exif}, {0xE1, xmp}, {0xED, {1, 2, 3}}, {0xFE, {'c'}}});
  // An APP1 behind the first SOS is image data for this walk and stays.
  const std::vector<uint8_t> late = {0xFF, 0xE1, 0x00, 0x04, 0xAB, 0xCD};
  jpeg.insert(jpeg.end() - 2, late.begin(), late.end());
  const fs::path file = scratch / "a.jpg";
  testsupport::WriteBytes(file, jpeg);
  ASSERT_EQ(SegmentDeleteApp(file.string(), file.string(), 1u << 1), 1);
  const auto after = ReadBytes(file);
  const auto built = BuildJpeg({{0xED, {1, 2, 3}}, {0xFE, {'c'}}});
  ASSERT_GE(after.size(), built.size() - 2);
  EXPECT_TRUE(std::equal(built.begin(), built.end() - 2, after.begin())) << "both APP1 gone, APP13 and comment kept";
  EXPECT_TRUE(std::search(after.begin(), after.end(), late.begin(), late.end()) != after.end());
  EXPECT_EQ(SegmentDeleteDescribe(file.string(), 1u << 13), "APP13 at 2, 7 bytes\n");
  // Refusals: no start of image (1028), a byte where a marker belongs (1029), cut short (1025),
  // and a file without Exif for the Exif choice (31). The file stays as it was each time.
  const std::pair<std::vector<uint8_t>, uint32_t> broken[] = {
      {{0x00, 0xD8, 0xFF, 0xE1}, ErrNotJpeg},
      {{0xFF, 0xD8, 0x12, 0xE1, 0x00, 0x02}, ErrMarkerStructure},
      {{0xFF, 0xD8, 0xFF, 0xE1, 0x00, 0x40, 0x00}, ErrFileIo},
  };
  const fs::path target = scratch / "target.jpg";
  testsupport::WriteBytes(target, jpeg);
  for (const auto& [bytes, code] : broken) {
    testsupport::WriteBytes(scratch / "broken.jpg", bytes);
    ErrorClear();
    EXPECT_EQ(SegmentDeleteApp((scratch / "broken.jpg").string(), target.string(), 0xFFFF), 0);
    EXPECT_EQ(ErrorPop(), code);
    EXPECT_EQ(ReadBytes(target), jpeg);
  }
  uint32_t message = 0;
  testsupport::WriteBytes(file, BuildJpeg({{0xE0, {'J', 'F', 'I', 'F', 0}}}));
  EXPECT_EQ(SegmentDeleteExif(file.string(), target.string(), &message), 0);
  EXPECT_EQ(message, 31u);
  EXPECT_EQ(ReadBytes(target), jpeg);
  EXPECT_EQ(fs::directory_iterator(scratch.path()) == fs::directory_iterator(), false);
  for (const auto& entry : fs::directory_iterator(scratch.path())) EXPECT_NE(entry.path().extension(), ".tmp");
  EXPECT_EQ(SegmentDeleteCheck({1, 0}), 78u);
  EXPECT_EQ(SegmentDeleteCheck({0, 0}), 0u);
}

}  // namespace
