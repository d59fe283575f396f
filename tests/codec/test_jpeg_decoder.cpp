// The decoder over real and built files: pixels against djpeg's integer transform with
// replication upsampling, the three paths byte for byte, refusals, and damaged streams.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <functional>

#include "codec/jpeg_decoder.h"
#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "frame/error_stack.h"
#include "tests/support/test_support.h"

namespace fs = std::filesystem;
using Bytes = std::vector<unsigned char>;
using testsupport::HaveProgram;
using testsupport::RunCommand;
using testsupport::ShellQuote;

namespace {

// A decode's outcome: statuses and the picture as top-down RGB.
struct Picture {
  int open = -1, decode = -1;
  int32_t width = 0, height = 0;
  JpegDecoderInfo info;
  Bytes rgb;
};

Picture Decode(const Bytes& jpeg, int path, bool half) {
  Picture p;
  JpegDecoder* raw = nullptr;
  p.open = JpegDecoderOpen("", jpeg.data(), jpeg.size(), &raw);
  JpegDecoderPtr decoder(raw);
  if (p.open != 0) return p;
  JpegDecoderForcePath(decoder.get(), JpegDecodePath(path));
  RasterImage image;
  p.decode = JpegDecoderDecode(decoder.get(), &image, half);
  JpegDecoderDescribe(decoder.get(), &p.info);
  if (p.decode != 0) return p;
  p.width = image.width;
  p.height = image.height;
  for (int32_t y = image.height - 1; y >= 0; --y)
    for (int32_t x = 0; x < image.width; ++x)
      for (int c = 2; c >= 0; --c) p.rgb.push_back(image.pixels[size_t(y) * size_t(image.stride) + size_t(x) * 3 + c]);
  return p;
}

// djpeg's reading (integer transform, replication), always as RGB.
Picture Djpeg(const fs::path& file) {
  Picture p;
  int status = 0;
  const std::string ppm = RunCommand("djpeg -dct int -nosmooth -rgb -ppm " + ShellQuote(file.string()) + " 2>/dev/null", &status);
  int consumed = 0;
  if (status != 0 || std::sscanf(ppm.c_str(), "P6 %d %d 255%n", &p.width, &p.height, &consumed) != 2) return p;
  p.decode = 0;
  p.rgb.assign(ppm.begin() + consumed + 1, ppm.end());
  return p;
}

double Psnr(const Bytes& a, const Bytes& b) {
  if (a.size() != b.size() || a.empty()) return 0;
  double error = 0;
  for (size_t i = 0; i < a.size(); ++i) error += double(int(a[i]) - int(b[i])) * (int(a[i]) - int(b[i]));
  return error == 0 ? 99 : 10 * std::log10(255.0 * 255.0 * double(a.size()) / error);
}

// The half-size picture from a full one: luminance at (2x, 2y); chroma where replication of
// the decimated chroma samples takes it, (2 hr (x / hr), 2 vr (y / vr)).
Bytes HalfReference(const Picture& full, int hr, int vr, int32_t width, int32_t height) {
  auto at = [&](int32_t x, int32_t y) { return full.rgb.data() + (size_t(y) * size_t(full.width) + size_t(x)) * 3; };
  Bytes out;
  for (int32_t y = 0; y < height; ++y)
    for (int32_t x = 0; x < width; ++x) {
      const unsigned char* l = at(2 * x, 2 * y);
      const unsigned char* c = at(std::min(2 * hr * (x / hr), full.width - 1), std::min(2 * vr * (y / vr), full.height - 1));
      const double luma = 0.299 * l[0] + 0.587 * l[1] + 0.114 * l[2];
      const double cb = -0.168736 * c[0] - 0.331264 * c[1] + 0.5 * c[2];
      const double cr = 0.5 * c[0] - 0.418688 * c[1] - 0.081312 * c[2];
      for (double v : {luma + 1.402 * cr, luma - 0.344136 * cb - 0.714136 * cr, luma + 1.772 * cb})
        out.push_back((unsigned char)std::clamp(std::lround(v), 0L, 255L));
    }
  return out;
}

// Every baseline JPEG, as a file and as the thumbnail inside it.
struct Sample {
  std::string name;
  fs::path file;
};

// The first frame header: its marker and component count (0 when none).
std::pair<int, int> FrameOf(const Bytes& b) {
  for (size_t at = 2; at + 9 < b.size() && b[at] == 0xFF;) {
    const int marker = b[at + 1];
    if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC)
      return {marker, b[at + 9]};
    at += 2 + size_t(b[at + 2] << 8 | b[at + 3]);
  }
  return {0, 0};
}

void CheckSample(const Sample& s) {
  SCOPED_TRACE(s.name);
  const Bytes jpeg = testsupport::ReadBytes(s.file);
  const auto [marker, components] = FrameOf(jpeg);
  const Picture single = Decode(jpeg, JpegPathSingle, false);
  if (marker != 0xC0 || (components != 1 && components != 3)) {
    EXPECT_TRUE(single.open != 0 || single.decode != 0) << "not baseline, yet decoded";
    return;
  }
  ASSERT_EQ(single.decode, 0);
  const Picture reference = Djpeg(s.file);
  ASSERT_EQ(reference.decode, 0) << "djpeg failed";
  EXPECT_GE(Psnr(single.rgb, reference.rgb), 40.0);
  const bool restarts = single.info.restartInterval > 0;
  for (bool half : {false, true}) {
    const Picture pipeline = Decode(jpeg, JpegPathPipeline, half);
    ASSERT_EQ(pipeline.decode, 0) << "half " << half;
    if (!half) {
      EXPECT_EQ(pipeline.rgb, single.rgb) << "pipeline";
    }
    if (restarts) {
      EXPECT_EQ(Decode(jpeg, JpegPathSegments, half).rgb, pipeline.rgb) << "segments, half " << half;
    }
    if (!half || !pipeline.info.halfSize) continue;
    const int hr = pipeline.info.hSampling[0] / pipeline.info.hSampling[1];
    const int vr = pipeline.info.vSampling[0] / pipeline.info.vSampling[1];
    EXPECT_GE(Psnr(pipeline.rgb, HalfReference(reference, hr, vr, pipeline.width, pipeline.height)), 40.0) << "half";
  }
}

bool HaveDjpeg() { return HaveProgram("djpeg") && HaveProgram("cjpeg"); }

// cjpeg's file, made with `options`, of a picture whose sample (x, y, channel) `pixel` gives.
fs::path Cjpeg(const testsupport::ScratchDir& scratch, int width, int height, const std::string& options,
               const std::function<int(int, int, int)>& pixel) {
  std::string ppm = "P6\n" + std::to_string(width) + " " + std::to_string(height) + "\n255\n";
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (int k = 0; k < 3; ++k) ppm.push_back(char(pixel(x, y, k)));
  testsupport::WriteBytes(scratch / "in.ppm", Bytes(ppm.begin(), ppm.end()));
  const fs::path out = scratch / (std::to_string(width) + "x" + std::to_string(height) + options + ".jpg");
  int status = 0;
  RunCommand("cjpeg " + options + " -outfile " + ShellQuote(out.string()) + " " + ShellQuote((scratch / "in.ppm").string()),
             &status);
  EXPECT_EQ(status, 0) << options;
  return out;
}

}  // namespace

TEST(JpegDecoder, CorpusAndThumbnailsMatchDjpegOnEveryPath) {
  TAVEXON_REQUIRE_SHARED("corpus");
  if (!HaveDjpeg()) GTEST_SKIP() << "djpeg/cjpeg not installed (libjpeg-turbo-progs)";
  testsupport::ScratchDir scratch;
  std::vector<Sample> samples;
  for (const fs::path& file : testsupport::SharedJpegs({"corpus/makers", "corpus/jpeg"})) {
    samples.push_back({file.filename().string(), file});
    ExifDocumentPtr document;
    ExifCheckFile(file.string(), document);
    ErrorClear();
    if (!document || ExifThumbnailSize(document.get()) == 0) continue;
    const unsigned char* thumb = ExifThumbnail(document.get());
    const fs::path out = scratch / ("thumb-" + file.filename().string());
    testsupport::WriteBytes(out, Bytes(thumb, thumb + ExifThumbnailSize(document.get())));
    samples.push_back({"thumbnail of " + file.filename().string(), out});
  }
  ASSERT_GT(samples.size(), 60u);
  for (const Sample& s : samples) CheckSample(s);
}

// Built streams: the layouts and sizes cameras rarely write, restart intervals that wrap
// across MCU rows, and grey.
TEST(JpegDecoder, BuiltLayoutsMatchDjpeg) {
  if (!HaveDjpeg()) GTEST_SKIP() << "djpeg/cjpeg not installed (libjpeg-turbo-progs)";
  testsupport::ScratchDir scratch;
  const struct {
    int width, height;
    const char* options;
  } kCases[] = {{67, 45, "-sample 2x2"},  {67, 45, "-sample 2x1 -restart 3B"}, {45, 67, "-sample 1x2 -restart 1"},
                {1, 9, "-sample 1x1"},    {33, 17, "-grayscale -restart 5B"},  {64, 48, "-sample 2x2 -restart 7B"},
                {50, 50, "-sample 4x1"}, {40, 40, "-sample 1x4 -quality 100"}};
  for (const auto& c : kCases)
    CheckSample({c.options, Cjpeg(scratch, c.width, c.height, c.options, [](int x, int y, int k) {
                   return 64 + ((x * 7 + y * 3 * (k + 1) + (x * y) % 23 * 5) & 127);
                 })});
}

namespace {

// A built 64-by-48 4:2:0 stream (cjpeg), optionally with a restart every MCU row.
Bytes BuiltStream(const testsupport::ScratchDir& scratch, const std::string& options) {
  return testsupport::ReadBytes(
      Cjpeg(scratch, 64, 48, "-sample 2x2" + options, [](int x, int y, int k) { return ((y * 64 + x) * 3 + k) * 13 % 251; }));
}

// Position of the first FF `marker`.
size_t MarkerAt(const Bytes& b, int marker) {
  for (size_t i = 0; i + 1 < b.size(); ++i)
    if (b[i] == 0xFF && b[i + 1] == marker) return i;
  return 0;
}

}  // namespace

TEST(JpegDecoder, RefusalsAndDamageEndInTheDescribedResult) {
  if (!HaveDjpeg()) GTEST_SKIP() << "cjpeg not installed (libjpeg-turbo-progs)";
  testsupport::ScratchDir scratch;
  const Bytes base = BuiltStream(scratch, "");
  const size_t sof = MarkerAt(base, 0xC0), dht = MarkerAt(base, 0xC4), sos = MarkerAt(base, 0xDA);
  const size_t data = sos + 2 + size_t(base[sos + 2] << 8 | base[sos + 3]), eoi = base.size() - 2;
  ASSERT_TRUE(sof && dht && sos && base[eoi + 1] == 0xD9);
  using Edit = std::function<void(Bytes&)>;
  auto set = [](size_t at, unsigned char v) -> Edit { return [=](Bytes& b) { b[at] = v; }; };
  const struct {
    const char* name;
    Edit edit;
    int single, pipeline;  // expected: 1 refused at open, -1 failed decode, 0 decoded
  } kCases[] = {
      {"progressive", set(sof + 1, 0xC2), 1, 1},
      {"lossless", set(sof + 1, 0xC3), 1, 1},
      {"arithmetic", set(sof + 1, 0xC9), 1, 1},
      {"12-bit", set(sof + 4, 12), 1, 1},
      {"four components", set(sof + 9, 4), 1, 1},
      {"sampling 0", set(sof + 11, 0x00), -1, -1},
      {"sampling 5", set(sof + 11, 0x51), -1, -1},
      {"height 0", [=](Bytes& b) { b[sof + 5] = b[sof + 6] = 0; }, -1, -1},
      {"beyond the size limit", [=](Bytes& b) { b[sof + 5] = b[sof + 6] = b[sof + 7] = b[sof + 8] = 0xFF; }, -1, -1},
      {"over-full Huffman table", set(dht + 5, 3), 1, 1},
      {"no quantisation table", set(sof + 12, 3), -1, -1},
      {"truncated", [=](Bytes& b) { b.resize(data + (eoi - data) / 2); }, -1, -1},
      {"ends early in EOI", [=](Bytes& b) {
         b.resize(data + (eoi - data) / 2);
         b.insert(b.end(), {0xFF, 0xD9});
       }, 0, 0},
      {"no EOI", [=](Bytes& b) { b.resize(eoi); }, 0, -1},
  };
  for (const auto& c : kCases) {
    Bytes b = base;
    c.edit(b);
    const Picture single = Decode(b, JpegPathSingle, false), pipeline = Decode(b, JpegPathPipeline, false);
    EXPECT_EQ(single.open != 0 ? 1 : single.decode, c.single) << c.name;
    EXPECT_EQ(pipeline.open != 0 ? 1 : pipeline.decode, c.pipeline) << c.name;
    if (c.single == 0 && std::string(c.name) == "ends early in EOI") {
      EXPECT_EQ(single.rgb.back(), 128) << "rows never reached are grey";
    }
  }

  // Restart markers out of sequence are accepted; the segment path places a segment by its
  // number, so a lost one leaves a grey gap and the rest land in place.
  const Bytes restarts = BuiltStream(scratch, " -restart 1");
  const size_t rst = MarkerAt(restarts, 0xD0);
  ASSERT_NE(rst, 0u);
  Bytes swapped = restarts;
  swapped[rst + 1] = 0xD5;
  for (int path : {JpegPathSingle, JpegPathPipeline, JpegPathSegments})
    EXPECT_EQ(Decode(swapped, path, false).decode, 0) << "out of sequence, path " << path;
  Bytes lost = restarts;
  const size_t data2 = MarkerAt(restarts, 0xDA) + 2 + size_t(restarts[MarkerAt(restarts, 0xDA) + 2] << 8 | restarts[MarkerAt(restarts, 0xDA) + 3]);
  lost.erase(lost.begin() + std::ptrdiff_t(data2), lost.begin() + std::ptrdiff_t(rst + 2));
  const Picture whole = Decode(restarts, JpegPathSegments, false), gap = Decode(lost, JpegPathSegments, false);
  ASSERT_EQ(gap.decode, 0);
  EXPECT_EQ(gap.rgb[0], 128);  // the first MCU row is lost
  EXPECT_TRUE(std::equal(gap.rgb.begin() + 64 * 16 * 3, gap.rgb.end(), whole.rgb.begin() + 64 * 16 * 3));
}

// Hostile files: every path ends in a status, never a crash (run under ASan/UBSan as well).
TEST(JpegDecoder, HostileFilesEndCleanly) {
  TAVEXON_REQUIRE_SHARED("corpus/hostile");
  for (const fs::path& file : testsupport::FilesUnder(testsupport::SharedSub("corpus/hostile"))) {
    const Bytes bytes = testsupport::ReadBytes(file);
    for (int path : {JpegPathSingle, JpegPathPipeline, JpegPathSegments})
      for (bool half : {false, true}) {
        const Picture p = Decode(bytes, path, half);
        if (p.decode == 0) {
          EXPECT_EQ(p.rgb.size(), size_t(p.width) * size_t(p.height) * 3) << file;
        }
      }
  }
}
