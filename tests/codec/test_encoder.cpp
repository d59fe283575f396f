// The encoder's files, read back by an independent decoder (djpeg) and checked against the
// pictures they were made from.
#include "codec/jpeg_encoder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/test_support.h"

namespace {

// A bottom-up BGR picture with rows padded to 4 bytes: smooth colour gradients with a soft ring,
// or the same in grey.
std::vector<uint8_t> SyntheticPicture(uint32_t width, uint32_t height, bool grey) {
  const size_t stride = (size_t(width) * 3 + 3) & ~size_t(3);
  std::vector<uint8_t> pixels(stride * height, 0);
  for (uint32_t y = 0; y < height; ++y)
    for (uint32_t x = 0; x < width; ++x) {
      const double ring = 40 * std::sin(std::hypot(double(x) - width / 2.0, double(y) - height / 2.0) / 6.0);
      const int r = int(std::lround(110 + 100.0 * x / std::max(1u, width) + ring));
      const int g = int(std::lround(60 + 120.0 * y / std::max(1u, height) + ring / 2));
      const int b = int(std::lround(200 - 90.0 * (x + y) / std::max(1u, width + height)));
      uint8_t* at = &pixels[size_t(height - 1 - y) * stride + 3 * x];  // bottom-up
      if (grey) {
        at[0] = at[1] = at[2] = uint8_t(std::clamp((r + g + b) / 3, 0, 255));
      } else {
        at[0] = uint8_t(std::clamp(b, 0, 255));
        at[1] = uint8_t(std::clamp(g, 0, 255));
        at[2] = uint8_t(std::clamp(r, 0, 255));
      }
    }
  return pixels;
}

// PSNR of djpeg's top-down RGB decoding against the bottom-up BGR source.
double PsnrAgainst(const std::string& ppm, const std::vector<uint8_t>& source, uint32_t width, uint32_t height) {
  int w = 0, h = 0, consumed = 0;
  if (std::sscanf(ppm.c_str(), "P6 %d %d 255%n", &w, &h, &consumed) != 2 || w != int(width) || h != int(height)) return 0;
  const size_t at = size_t(consumed) + 1;
  if (ppm.size() - at != size_t(width) * height * 3) return 0;
  const size_t stride = (size_t(width) * 3 + 3) & ~size_t(3);
  double squares = 0;
  for (uint32_t y = 0; y < height; ++y)
    for (uint32_t x = 0; x < width; ++x)
      for (int c = 0; c < 3; ++c) {
        const double ours = static_cast<unsigned char>(ppm[at + (size_t(y) * width + x) * 3 + c]);
        const double theirs = source[size_t(height - 1 - y) * stride + 3 * x + (2 - c)];
        squares += (ours - theirs) * (ours - theirs);
      }
  const double mse = squares / (double(width) * height * 3);
  return mse == 0 ? 99 : 10 * std::log10(255.0 * 255.0 / mse);
}

std::vector<uint8_t> Encode(const std::vector<uint8_t>& pixels, uint32_t width, uint32_t height, int level,
                            int32_t restart, const std::vector<uint8_t>& exif = {}) {
  JpegEncoderPtr encoder = JpegEncoderCreate();
  EXPECT_EQ(JpegEncoderSetRestart(encoder.get(), restart), JpegEncoderOk);
  JpegEncoderSetLevel(encoder.get(), level);
  EXPECT_EQ(JpegEncoderEncode(encoder.get(), pixels.data(), width, height), JpegEncoderOk);
  if (!exif.empty()) {
    EXPECT_EQ(JpegEncoderSetExif(encoder.get(), exif.data(), uint32_t(exif.size())), JpegEncoderOk);
  }
  std::vector<uint8_t> file;
  EXPECT_EQ(JpegEncoderToMemory(encoder.get(), file), JpegEncoderOk);
  return file;
}

// The bytes from the first restart marker's search: how many RSTn markers the entropy data holds.
int RestartMarkers(const std::vector<uint8_t>& file) {
  int markers = 0;
  for (size_t i = 2; i + 1 < file.size(); ++i)
    if (file[i] == 0xFF && file[i + 1] >= 0xD0 && file[i + 1] <= 0xD7) ++markers;
  return markers;
}

}  // namespace

// Every level, with and without restart intervals, colour and grey, odd sizes and a width of 1:
// djpeg decodes each file, and the picture comes back within 30 dB of the source.
TEST(JpegEncoder, FilesDecodeInDjpegCloseToTheSource) {
  if (!testsupport::HaveProgram("djpeg")) GTEST_SKIP() << "djpeg (libjpeg-turbo-progs) not installed";
  testsupport::ScratchDir scratch;
  struct Case {
    uint32_t width, height;
    bool grey;
    int level;
    int32_t restart;
  };
  const Case cases[] = {
      {64, 48, false, 2, 0},  {97, 61, false, 4, 0}, {97, 61, false, 7, -1}, {33, 17, true, 9, 3},
      {1, 40, false, 4, 0},   {40, 1, true, 1, -1},  {16, 16, false, 10, 1}, {250, 130, false, 5, 7},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::to_string(c.width) + "x" + std::to_string(c.height) + " level " + std::to_string(c.level) +
                 " restart " + std::to_string(c.restart));
    const std::vector<uint8_t> pixels = SyntheticPicture(c.width, c.height, c.grey);
    const std::vector<uint8_t> file = Encode(pixels, c.width, c.height, c.level, c.restart);
    const auto path = scratch / "out.jpg";
    testsupport::WriteBytes(path, file);
    int status = 0;
    const std::string ppm =
        testsupport::RunCommand("djpeg -ppm " + testsupport::ShellQuote(path.string()) + " 2>/dev/null", &status);
    ASSERT_EQ(status, 0);
    EXPECT_GE(PsnrAgainst(ppm, pixels, c.width, c.height), 30.0);
  }
}

// Restart markers: one after each interval but never after the last MCU; -1 is one MCU row.
TEST(JpegEncoder, RestartMarkersAndHeader) {
  const std::vector<uint8_t> pixels = SyntheticPicture(64, 16, false);  // 2x1 sampling: 4 MCUs a row, 2 rows
  EXPECT_EQ(RestartMarkers(Encode(pixels, 64, 16, 4, 0)), 0);
  EXPECT_EQ(RestartMarkers(Encode(pixels, 64, 16, 4, -1)), 1);  // the last row ends the picture
  EXPECT_EQ(RestartMarkers(Encode(pixels, 64, 16, 4, 4)), 1);
  EXPECT_EQ(RestartMarkers(Encode(pixels, 64, 16, 4, 3)), 2);  // after MCU 3 and 6 of 8

  const std::vector<uint8_t> exif = {'E', 'x', 'i', 'f', 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0};
  const std::vector<uint8_t> file = Encode(pixels, 64, 16, 4, -1, exif);
  // SOI, APP1 with the payload, then the tables; no APP0.
  ASSERT_GT(file.size(), 2 + 4 + exif.size() + 589 + 6 + 14);
  EXPECT_EQ(std::vector<uint8_t>(file.begin(), file.begin() + 4), (std::vector<uint8_t>{0xFF, 0xD8, 0xFF, 0xE1}));
  EXPECT_EQ(file[4] * 256 + file[5], int(exif.size() + 2));
  EXPECT_TRUE(std::equal(exif.begin(), exif.end(), file.begin() + 6));
  const size_t dri = 2 + 4 + exif.size() + 589;
  EXPECT_EQ(std::vector<uint8_t>(file.begin() + dri, file.begin() + dri + 6),
            (std::vector<uint8_t>{0xFF, 0xDD, 0x00, 0x04, 0x00, 0x04}));
  EXPECT_EQ(std::vector<uint8_t>(file.end() - 2, file.end()), (std::vector<uint8_t>{0xFF, 0xD9}));
}

// Refusals: bad sampling and intervals, an empty Exif, an existing destination.
TEST(JpegEncoder, Refusals) {
  JpegEncoderPtr encoder = JpegEncoderCreate();
  EXPECT_EQ(JpegEncoderSetSampling(encoder.get(), 3, 1), JpegEncoderFailed);
  EXPECT_EQ(JpegEncoderSetSampling(encoder.get(), 1, 0), JpegEncoderFailed);
  EXPECT_EQ(JpegEncoderSetRestart(encoder.get(), 65535), JpegEncoderFailed);
  EXPECT_EQ(JpegEncoderSetRestart(encoder.get(), -1), JpegEncoderOk);
  EXPECT_EQ(JpegEncoderSetExif(encoder.get(), nullptr, 4), JpegEncoderFailed);
  std::vector<uint8_t> none;
  EXPECT_EQ(JpegEncoderToMemory(encoder.get(), none), JpegEncoderFailed);  // nothing encoded yet
  const std::vector<uint8_t> pixels = SyntheticPicture(8, 8, false);
  ASSERT_EQ(JpegEncoderEncode(encoder.get(), pixels.data(), 8, 8), JpegEncoderOk);
  testsupport::ScratchDir scratch;
  const auto path = (scratch / "taken.jpg").string();
  EXPECT_EQ(JpegEncoderToFile(encoder.get(), path), JpegEncoderOk);
  EXPECT_EQ(JpegEncoderToFile(encoder.get(), path), JpegEncoderFailed);
}
