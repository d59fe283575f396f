// Exif backups: the ".exf" bytes and the text dump on a built file, the length quirk read
// back, the refusals, and a backup put back into a stripped file reading as the original.
#include "frame/cp932.h"
#include "makernote/makernote_save.h"
#include "tests/support/tiff_builder.h"
#include "tests/tools/tools_support.h"
#include "tools/classify.h"
#include "tools/exif_backup.h"
#include "tools/segment_delete.h"

namespace {
namespace fs = std::filesystem;
using namespace testsupport;

// A little-endian payload with a Make, an Orientation, a resolution and, in the Exif table,
// a UserComment of `comment` bytes.
std::vector<uint8_t> Payload(uint32_t comment) {
  TiffLayout layout;
  layout.primary = {{271, 2, 8, Text("Tavexon")}, {274, 3, 1, U16s(false, {1})}, {282, 5, 1, U32s(false, {72, 1})}};
  layout.exif = {{37510, 7, comment, std::vector<uint8_t>(comment, 'x')}};
  return BuildExifPayload(layout);
}

fs::path WriteJpeg(const ScratchDir& scratch, const std::string& name, const std::vector<uint8_t>& payload) {
  const fs::path path = scratch / name;
  WriteBytes(path, BuildJpeg({{0xE1, payload}}));
  return path;
}

TEST(Backup, ExfAndTextDumpByteForByte) {
  EngineInstall();
  ScratchDir scratch;
  const std::vector<uint8_t> payload = Payload(9);
  const fs::path jpeg = WriteJpeg(scratch, "a.jpg", payload);
  uint32_t message = 0;
  ASSERT_EQ(ExfExport(jpeg.string(), ExfDefaultName(jpeg.string()), &message), 1);
  std::vector<uint8_t> expected = {'E', 'X', 'I', 'F', '_', 'B', 'A', 'C', 'K', '_', 'U', 'P', 0, 0, 0, 0, 0xFF, 0xE1,
                                   uint8_t((payload.size() + 2) >> 8), uint8_t(payload.size() + 2)};
  expected.insert(expected.end(), payload.begin(), payload.end());
  EXPECT_EQ(ReadBytes(scratch / "a.exf"), expected);
  std::string text;
  ASSERT_EQ(ExfDumpText(jpeg.string(), &text), 1);
  EXPECT_EQ(Utf8FromCp932(text),
            "◆Exif II 2A00 08000000\r\n\r\n"
            "●Primary(0th IFD)\r\n"
            "○画像入力機器ﾒｰｶｰ名\r\n[0F01 0200 08000000 3E000000]:Tavexon\r\n0000: 54 61 76 65 78 6F 6E 00-\r\n\r\n"
            "○画像方向\r\n[1201 0300 01000000 01000000]:0番目の行が上、0番目の列が左\r\n\r\n"
            "○画像の幅の解像度\r\n[1A01 0500 01000000 46000000]:72 \r\n0000: 48 00 00 00 01 00 00 00-\r\n\r\n"
            "○Exif IFD Pointer\r\n[6987 0400 01000000 4E000000]:78\r\n\r\n"
            "●Exif IFD\r\n"
            "○ﾕｰｻﾞｰｺﾒﾝﾄ\r\n[8692 0700 09000000 60000000]:78 78 78 78 78 78 78 78 78 \r\n"
            "0000: 78 78 78 78 78 78 78 78-78 \r\n\r\n");
  // Names: a chosen name gets ".exf" unless it has it in any case; a name with no point stays.
  EXPECT_EQ(ExfFixName("backup"), "backup.exf");
  EXPECT_EQ(ExfFixName("b.EXF"), "b.EXF");
  EXPECT_EQ(ExfDefaultName("/x.y/photo"), "/x.y/photo");
  EXPECT_EQ(ExfDefaultName("/x/photo.JPG"), "/x/photo.exf");
}

// Sizes whose low byte is 0xFE or 0xFF store a wrapped low length byte: such files import, as
// do a JPEG source and a backup of an ordinary size; broken sources give their messages.
TEST(Backup, UnusualLengthsImportAndBrokenSourcesAreRefused) {
  EngineInstall();
  ScratchDir scratch;
  const uint32_t base = uint32_t(Payload(100).size()) - 100;
  for (uint32_t size : {0x12FEu, 0x12FFu, 0x1234u}) {
    const std::vector<uint8_t> payload = Payload(size - base);
    ASSERT_EQ(payload.size(), size);
    const std::vector<uint8_t> exf = ExfBuild(payload.data(), size);
    EXPECT_EQ(exf[18], size == 0x1234 ? 0x12 : 0x13);  // the high byte carried
    EXPECT_EQ(exf[19], size == 0x12FE ? 0x00 : size == 0x12FF ? 0x01 : 0x36);  // the low byte did not
    WriteBytes(scratch / "b.exf", exf);
    std::vector<uint8_t> read;
    uint32_t message = 0;
    EXPECT_EQ(ExfReadSource((scratch / "b.exf").string(), &read, &message), 1) << size;
    EXPECT_EQ(read, payload);
    EXPECT_EQ(ExfReadSource(WriteJpeg(scratch, "s.jpg", payload).string(), &read, &message), 1);
    EXPECT_EQ(read, payload);
  }
  std::vector<uint8_t> lengthOne = ExfBuild(nullptr, 0);
  lengthOne[18] = 0, lengthOne[19] = 1;
  lengthOne.resize(40, 0);
  const std::pair<std::vector<uint8_t>, uint32_t> sources[] = {
      {lengthOne, 13},                                 // a negative size cannot be allocated
      {{'E', 'X', 'I', 'F'}, 35},                      // shorter than the magic
      {std::vector<uint8_t>(20, 'z'), 35},             // neither a backup nor a JPEG
      {BuildJpeg({{0xE0, {'J', 'F', 'I', 'F', 0}}}), 31},  // a JPEG without Exif
  };
  for (const auto& [bytes, expected] : sources) {
    WriteBytes(scratch / "bad", bytes);
    std::vector<uint8_t> read;
    uint32_t message = 0;
    EXPECT_EQ(ExfReadSource((scratch / "bad").string(), &read, &message), 0);
    EXPECT_EQ(message, expected);
  }
  uint32_t message = 0;
  WriteBytes(scratch / "plain.jpg", BuildJpeg({}));
  EXPECT_EQ(ExfExport((scratch / "plain.jpg").string(), (scratch / "plain.exf").string(), &message), 0);
  EXPECT_EQ(message, 31u);
  EXPECT_FALSE(fs::exists(scratch / "plain.exf"));
}

// Backup, strip, restore: as it stands, every camera file reads tag for tag as the original in
// `exiftool -j -G1 -a -u -n`. Named differences: IFD1:StripOffsets counts from the file's start
// and moves when the APP1 stood behind a comment (it returns behind the start of image and
// APP0); fitted, the pixel size follows the image's frame and ExifTool's Composite values
// derived from it follow too.
TEST(Backup, RestoredIntoTheStrippedFileReadsAsTheOriginal) {
  TOOLS_REQUIRE_PEERS();
  ScratchDir scratch;
  const auto files = toolstest::CopyCameraFiles(scratch / "original");
  fs::copy(scratch / "original", scratch / "asis");
  fs::copy(scratch / "original", scratch / "fit");
  int restored = 0;
  for (const fs::path& original : files) {
    const std::string name = original.filename().string();
    const std::string exf = (scratch / (name + ".exf")).string();
    uint32_t message = 0;
    if (!ExfExport(original.string(), exf, &message)) continue;  // no Exif to keep
    std::vector<uint8_t> payload;
    ASSERT_EQ(ExfReadSource(exf, &payload, &message), 1) << name;
    for (const char* folder : {"asis", "fit"}) {
      const std::string target = (scratch / folder / name).string();
      ASSERT_EQ(SegmentDeleteExif(target, target, &message), 1) << name;
      const int type = folder[0] == 'a' ? kExfImportAsIs : kExfImportFit;
      const auto stripped = ReadBytes(target);
      if (ExfImport(payload, target, target, type, nullptr, &message) == SaveWritten) continue;
      EXPECT_EQ(ReadBytes(target), stripped) << name;  // a refusal leaves the file as it was
      fs::copy_file(original, target, fs::copy_options::overwrite_existing);
      EXPECT_EQ(type, kExfImportFit) << name;  // only the fitting needs a readable frame
    }
    ++restored;
  }
  EXPECT_GT(restored, 40);
  auto originals = toolstest::ExiftoolRead(scratch / "original");
  auto asIs = toolstest::ExiftoolRead(scratch / "asis");
  auto fit = toolstest::ExiftoolRead(scratch / "fit");
  auto drop = [](nlohmann::json tags, bool fitted) {
    tags.erase("IFD1:StripOffsets");
    for (auto it = tags.begin(); it != tags.end();)
      it = fitted && (it.key().rfind("Composite:", 0) == 0 || it.key().rfind("ExifIFD:ExifImage", 0) == 0) ? tags.erase(it) : std::next(it);
    return tags;
  };
  for (auto& [name, tags] : originals) {
    EXPECT_EQ(drop(asIs[name], false), drop(tags, false)) << name;
    if (fit[name] == tags) continue;  // not fitted: refused, or nothing to change
    EXPECT_EQ(fit[name].value("ExifIFD:ExifImageWidth", 0), tags.value("File:ImageWidth", -1)) << name;
    EXPECT_EQ(drop(fit[name], true), drop(tags, true)) << name;
  }
}

// Every tool that reads a file ends on the hostile corpus with a result, and writes nothing
// into a file it refuses.
TEST(Backup, HostileFilesEndCleanly) {
  TAVEXON_REQUIRE_SHARED("corpus/hostile");
  EngineInstall();
  ScratchDir scratch;
  FileList list;
  for (const fs::path& file : FilesUnder(SharedSub("corpus/hostile"))) {
    const fs::path copy = scratch / file.filename();
    fs::copy_file(file, copy);
    const auto before = ReadBytes(copy);
    std::string text;
    std::vector<uint8_t> payload;
    uint32_t message = 0;
    ExfDumpText(copy.string(), &text);
    if (!ExfReadSource(copy.string(), &payload, &message)) {
      EXPECT_NE(message, 0u) << file;
    }
    SegmentDeleteDescribe(copy.string(), 0xFFFF);
    if (!SegmentDeleteApp(copy.string(), copy.string(), 0xFFFF)) {
      EXPECT_EQ(ReadBytes(copy), before) << file;
    }
    FileEntry entry;
    entry.path = copy.string();
    list.entries->push_back(entry);
  }
  ClassTree tree;
  ClassifyBegin(tree, {ClassifyKey{1, 272, 0}, ClassifyKey{3, 36867, 0}, ClassifyKey{kClassifyLensIfd, 1, 0}}, ClassifyOptions{});
  EXPECT_EQ(ClassifyFiles(tree, list, nullptr), int(list.entries->size()));
  EXPECT_EQ(ClassifyInOrder(tree).size(), list.entries->size());
}

}  // namespace
