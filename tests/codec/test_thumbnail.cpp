// Shrinking camera files and making thumbnails: sizes as asked, the Exif as before apart from
// the corrections (read by ExifTool), thumbnails fresh, refusals leaving nothing behind.
#include "codec/thumbnail.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "codec/jpeg_decoder.h"
#include "makernote/makernote_install.h"
#include "shooting/camera_data_file.h"
#include "shooting/embed.h"
#include "shooting/engine_install.h"
#include "tests/support/peers.h"
#include "tests/support/test_support.h"

namespace fs = std::filesystem;

namespace {

bool Corrected(const std::string& key) {
  // What a shrink changes on purpose, and what describes the file rather than its Exif.
  for (const char* prefix : {"System:", "File:", "Composite:", "ExifTool:", "ExifIFD:ExifImageWidth",
                             "ExifIFD:ExifImageHeight", "IFD1:ThumbnailOffset", "IFD1:ThumbnailLength",
                             "IFD1:ThumbnailImage", "JFIF:",
                             "PreviewIFD:PreviewImageStart"})  // a pointer that moves with the note
    if (key.rfind(prefix, 0) == 0) return true;
  return false;
}

void ExpectSize(const std::string& path, int32_t width, int32_t height) {
  int32_t w = 0, h = 0;
  ASSERT_EQ(JpegProbeSize(path, &w, &h), 0) << path;
  EXPECT_EQ(w, width) << path;
  EXPECT_EQ(h, height) << path;
}

}  // namespace

TEST(Shrink, CameraFilesKeepTheirExifApartFromTheCorrections) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/nikon");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool not installed";
  MakerNoteInstall();
  testsupport::ScratchDir scratch;
  for (const char* name : {"nikon/digicam_D90_DSC_0003.JPG", "canon/mei_Canon_EOS_30D_4_.jpg"}) {
    const fs::path source = testsupport::SharedSub(std::string("corpus/makers/") + name);
    if (source.empty()) continue;
    SCOPED_TRACE(name);
    int32_t width = 0, height = 0;
    ASSERT_EQ(JpegProbeSize(source.string(), &width, &height), 0);
    const float factor = ScaleFactorFor(uint32_t(width), 640);
    const fs::path shrunk = scratch / ("small_" + source.filename().string());
    ASSERT_EQ(ShrinkJpegFile(source.string(), shrunk.string(), factor, 2, 5), 1);
    ExpectSize(shrunk.string(), 640, int32_t((uint64_t(height) * uint32_t(factor * 65536)) >> 16));
    auto before = testsupport::ExifToolArgs(source), after = testsupport::ExifToolArgs(shrunk);
    for (const auto& [key, value] : before) {
      if (!Corrected(key)) {
        EXPECT_EQ(after[key], value) << key;
      }
    }
    for (const auto& [key, value] : after) {
      if (!Corrected(key)) {
        EXPECT_TRUE(before.count(key)) << key << " is new: " << value;
      }
    }
    EXPECT_EQ(testsupport::ExifToolBinary(shrunk, "PreviewImage"), testsupport::ExifToolBinary(source, "PreviewImage"));
    // The thumbnail is new, made from the shrunk picture.
    const std::string thumbnail = testsupport::ExifToolBinary(shrunk, "ThumbnailImage");
    int32_t tw = 0, th = 0;
    JpegDecoder* decoder = nullptr;
    ASSERT_EQ(JpegDecoderOpen("", reinterpret_cast<const uint8_t*>(thumbnail.data()), thumbnail.size(), &decoder), 0);
    JpegDecoderSize(decoder, &tw, &th);
    JpegDecoderClose(decoder);
    const bool upright = width < height;
    EXPECT_EQ(tw, upright ? 120 : 160);
    EXPECT_EQ(th, upright ? 160 : 120);
  }
}

TEST(Shrink, ThumbnailsPlainFilesAndRefusals) {
  TAVEXON_REQUIRE_SHARED("corpus/jpeg/ljt_testorig.jpg");
  testsupport::ScratchDir scratch;
  const fs::path plain = testsupport::SharedSub("corpus/jpeg/ljt_testorig.jpg");  // no Exif
  // An upright picture gets an upright thumbnail; both are exact boxes.
  std::vector<uint8_t> thumbnail;
  ASSERT_EQ(GenerateExifThumbnail(plain.string(), nullptr, 0, thumbnail), 1);
  const fs::path thumbFile = scratch / "thumb.jpg";
  testsupport::WriteBytes(thumbFile, thumbnail);
  ExpectSize(thumbFile.string(), 160, 120);
  const fs::path upright = scratch / "upright.jpg";
  ASSERT_EQ(testsupport::RunCommand("convert " + testsupport::ShellQuote(plain.string()) + " -rotate 90 " +
                                    testsupport::ShellQuote(upright.string()) + " && echo ok"),
            "ok\n");
  ASSERT_EQ(GenerateExifThumbnail(upright.string(), nullptr, 0, thumbnail), 1);
  testsupport::WriteBytes(thumbFile, thumbnail);
  ExpectSize(thumbFile.string(), 120, 160);

  // A plain file shrinks to a plain file; a factor of 1.0 still re-encodes.
  const fs::path same = scratch / "same.jpg";
  ASSERT_EQ(ShrinkJpegFile(plain.string(), same.string(), 1.0f, 0, 0), 1);
  int32_t width = 0, height = 0;
  JpegProbeSize(plain.string(), &width, &height);
  ExpectSize(same.string(), width, height);
  EXPECT_NE(testsupport::ReadBytes(same), testsupport::ReadBytes(plain));
  const std::vector<unsigned char> bytes = testsupport::ReadBytes(same);
  EXPECT_FALSE(bytes[2] == 0xFF && bytes[3] == 0xE1);

  // A source that does not decode leaves no destination and no temporary file.
  const fs::path broken = scratch / "broken.jpg";
  testsupport::WriteBytes(broken, {0xFF, 0xD8, 0xFF, 0xC2, 0x00, 0x02});
  EXPECT_EQ(ShrinkJpegFile(broken.string(), (scratch / "out.jpg").string(), 0.5f, 0, 0), 0);
  size_t files = 0;
  for (const auto& entry : fs::directory_iterator(scratch.path())) files += entry.is_regular_file();
  EXPECT_EQ(files, 4u);  // thumb, upright, same, broken, and nothing else
}

// A scan without Exif: refused while no thumbnail maker is installed, and once the codec has
// installed its own, given a new document with the frame's data and a fresh thumbnail; the
// picture's own bytes are not touched.
TEST(Embedding, ScansWithoutExifGainADocumentAndAThumbnail) {
  TAVEXON_REQUIRE_SHARED("corpus/jpeg/ljt_testorig.jpg");
  TAVEXON_REQUIRE_SHARED("samples/mv1/real");
  EngineInstall();
  testsupport::ScratchDir scratch;
  const fs::path scan =
      testsupport::CopyWritable(testsupport::SharedSub("corpus/jpeg/ljt_testorig.jpg"), scratch / "scan_0001.jpg");
  const std::vector<unsigned char> plain = testsupport::ReadBytes(scan);
  const fs::path roll = testsupport::SharedSub("samples/mv1/real") / "f6-detailed-film022-3frames.txt";
  CameraDataFilePtr data = CameraDataFileCreate(roll.string().c_str());
  ASSERT_TRUE(data && CameraDataFileRead(data.get(), 0));

  EmbedInstallThumbnailMaker(nullptr);
  EXPECT_EQ(EmbedSingle("Nikon", "F6", "", data.get(), 0, scan.string(), scan.string(), EmbedMakerNote), 0);
  EXPECT_EQ(testsupport::ReadBytes(scan), plain);

  CodecInstall();
  ASSERT_EQ(EmbedSingle("Nikon", "F6", "", data.get(), 0, scan.string(), scan.string(), EmbedMakerNote), 1);
  std::map<std::string, std::string> tags = testsupport::ExifToolArgs(scan);
  int32_t width = 0, height = 0;
  JpegProbeSize(scan.string(), &width, &height);
  EXPECT_EQ(tags["IFD0:Make"], "Nikon");
  EXPECT_EQ(tags["IFD0:XResolution"], "72");
  EXPECT_EQ(tags["ExifIFD:ExifVersion"], "0210");
  EXPECT_EQ(tags["ExifIFD:ExifImageWidth"], std::to_string(width));
  EXPECT_EQ(tags["ExifIFD:ExifImageHeight"], std::to_string(height));
  EXPECT_FALSE(tags["ExifIFD:FNumber"].empty());
  EXPECT_FALSE(tags["Nikon:MakerNoteVersion"].empty());
  const fs::path thumbnail = scratch / "thumbnail.jpg";
  testsupport::RunCommand("exiftool -b -ThumbnailImage " + testsupport::ShellQuote(scan.string()) + " > " +
                          testsupport::ShellQuote(thumbnail.string()));
  ExpectSize(thumbnail.string(), 160, 120);
  // The picture decodes to the same pixels as before.
  const fs::path before = scratch / "before.jpg";
  testsupport::WriteBytes(before, plain);
  EXPECT_EQ(testsupport::RunCommand("djpeg " + testsupport::ShellQuote(before.string()) + " | md5sum"),
            testsupport::RunCommand("djpeg " + testsupport::ShellQuote(scan.string()) + " | md5sum"));
}
