// Scaling, enlarging, sharpening and fitting: exact sizes on the edge ratios, and pictures whose
// right result is known (flat colours stay flat, an edge gets steeper).
#include "codec/raster_scale.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

RasterPixels Flat(uint32_t width, uint32_t height, uint8_t b, uint8_t g, uint8_t r) {
  RasterPixels picture;
  picture.width = width;
  picture.height = height;
  picture.pixels.assign(size_t(RasterRowBytes(width)) * height, 0);
  for (uint32_t y = 0; y < height; ++y)
    for (uint32_t x = 0; x < width; ++x) {
      uint8_t* at = &picture.pixels[y * RasterRowBytes(width) + 3 * x];
      at[0] = b, at[1] = g, at[2] = r;
    }
  return picture;
}

// Every pixel of the picture (padding excluded) equals b, g, r, or lies at most `slack` below:
// the reduction's weights sum to just under 1.0 when a ratio is not exact.
bool IsFlat(const RasterPixels& picture, uint32_t rowBytes, uint8_t b, uint8_t g, uint8_t r, int slack = 0) {
  const uint8_t wanted[3] = {b, g, r};
  for (uint32_t y = 0; y < picture.height; ++y)
    for (uint32_t x = 0; x < picture.width; ++x)
      for (int c = 0; c < 3; ++c) {
        const int value = picture.pixels[y * rowBytes + 3 * x + c];
        if (value > wanted[c] || value < wanted[c] - slack) return false;
      }
  return true;
}

}  // namespace

TEST(RasterScale, FactorsLandExactly) {
  struct Case {
    uint32_t source, target;
  };
  for (const Case c : {Case{6000, 1600}, Case{4000, 160}, Case{3, 2}, Case{7, 7}, Case{1, 1}, Case{65535, 1},
                       Case{100, 300}}) {
    const float f = ScaleFactorFor(c.source, c.target);
    EXPECT_EQ((uint64_t(c.source) * uint32_t(f * 65536)) >> 16, c.target) << c.source << " -> " << c.target;
  }
  EXPECT_EQ(FitRatio(100, 50, 160, 120), 1.0f);  // inside the box
  // Landscape fits by width, portrait by height, and a square by its height.
  RasterPixels out;
  struct Fit {
    uint32_t width, height, box, boxHeight, newWidth, newHeight;
  };
  for (const Fit c : {Fit{3000, 2000, 160, 120, 160, 106}, Fit{2000, 3000, 120, 160, 106, 160},
                      Fit{500, 500, 160, 120, 120, 120}, Fit{161, 2, 160, 120, 160, 1}}) {
    const RasterPixels picture = Flat(c.width, c.height, 1, 2, 3);
    ASSERT_EQ(ScaleRaster(picture.pixels.data(), c.width, c.height, FitRatio(c.width, c.height, c.box, c.boxHeight),
                          out),
              1);
    EXPECT_EQ(out.width, c.newWidth) << c.width << "x" << c.height;
    EXPECT_EQ(out.height, c.newHeight) << c.width << "x" << c.height;
  }
}

TEST(RasterScale, FlatPicturesStayFlat) {
  for (const uint8_t level : {uint8_t(255), uint8_t(0), uint8_t(77)}) {
    const RasterPixels picture = Flat(333, 217, level, level, 255 - level);
    RasterPixels out;
    for (const float factor : {0.5f, 0.33f, 0.9999f, 1.0f, ScaleFactorFor(217, 120)}) {
      ASSERT_EQ(ScaleRaster(picture.pixels.data(), 333, 217, factor, out), 1);
      EXPECT_TRUE(IsFlat(out, RasterRowBytes(out.width), level, level, 255 - level, factor < 1.0f ? 3 : 0)) << factor;
    }
    ASSERT_EQ(EnlargeRaster(picture.pixels.data(), 333, 217, 3.0f, out), 1);
    EXPECT_EQ(out.width, 999u);
    EXPECT_TRUE(IsFlat(out, RasterRowBytes(out.width), level, level, 255 - level));
    ASSERT_EQ(SharpenRaster(picture.pixels.data(), 333, 217, 2, out), 1);
    EXPECT_TRUE(IsFlat(out, RasterRowBytes(out.width), level, level, 255 - level));
    ASSERT_EQ(FitIntoBox(picture.pixels.data(), 333, 217, 160, 120, 0x000000, out), 1);
    EXPECT_EQ(out.width * out.height * 3, out.pixels.size());  // tightly packed
  }
  RasterPixels out;
  EXPECT_EQ(SharpenRaster(Flat(4, 4, 0, 0, 0).pixels.data(), 4, 4, 3, out), 0);
  EXPECT_EQ(ScaleRaster(Flat(4, 4, 0, 0, 0).pixels.data(), 4, 4, 0.1f, out), 0);  // nothing would be left
}

// A small picture centred on the fill colour; a dark-to-light edge gets steeper when sharpened.
TEST(RasterScale, BoxCentresAndSharpeningSteepens) {
  const RasterPixels small = Flat(2, 2, 10, 20, 30);
  RasterPixels box;
  ASSERT_EQ(FitIntoBox(small.pixels.data(), 2, 2, 4, 4, 0x0000FF, box), 1);  // red fill
  for (uint32_t y = 0; y < 4; ++y)
    for (uint32_t x = 0; x < 4; ++x) {
      const uint8_t* at = &box.pixels[(y * 4 + x) * 3];
      const bool inside = x >= 1 && x <= 2 && y >= 1 && y <= 2;
      EXPECT_EQ(at[0], inside ? 10 : 255) << x << "," << y;
      EXPECT_EQ(at[2], inside ? 30 : 0) << x << "," << y;
    }
  RasterPixels edge = Flat(8, 8, 100, 100, 100);
  for (uint32_t y = 0; y < 8; ++y)
    for (uint32_t x = 4; x < 8; ++x) std::fill_n(&edge.pixels[y * RasterRowBytes(8) + 3 * x], 3, 160);
  RasterPixels sharp;
  ASSERT_EQ(SharpenRaster(edge.pixels.data(), 8, 8, 0, sharp), 1);
  EXPECT_LT(sharp.pixels[3 * 3], 100);   // the dark side of the edge darker
  EXPECT_GT(sharp.pixels[3 * 4], 160);   // the light side lighter
  EXPECT_EQ(sharp.pixels[3 * 0], 100);   // away from the edge unchanged
}

TEST(RasterScale, ThreadedReductionGivesTheSameBytes) {
  RasterPixels picture;
  picture.width = 517;
  picture.height = 389;
  picture.pixels.resize(size_t(RasterRowBytes(517)) * 389);
  uint32_t seed = 12345;
  for (uint8_t& byte : picture.pixels) byte = uint8_t((seed = seed * 1103515245u + 12345u) >> 16);
  for (const float factor : {0.5f, 0.33f, 0.9999f, 1.0f, ScaleFactorFor(389, 120), ScaleFactorFor(517, 7)})
    for (const uint32_t threads : {1u, 2u, 3u, 8u}) {
      RasterPixels one, many;
      ASSERT_EQ(ScaleRaster(picture.pixels.data(), 517, 389, factor, one), 1);
      ASSERT_EQ(ScaleRasterThreads(picture.pixels.data(), 517, 389, factor, threads, many), 1);
      EXPECT_EQ(one.pixels, many.pixels) << factor << " on " << threads << " threads";
    }
  // A part of the reduction (a corner, the middle, the far corner) is that part of the whole.
  auto row = [](const RasterPixels& p, uint32_t y) { return &p.pixels[(p.height - 1 - y) * RasterRowBytes(p.width)]; };
  for (const float factor : {0.5f, 0.33f, ScaleFactorFor(389, 120)}) {
    RasterPixels whole, part;
    ASSERT_EQ(ScaleRaster(picture.pixels.data(), 517, 389, factor, whole), 1);
    for (const RasterRect rect : {RasterRect{0, 0, 1, 1}, RasterRect{3, 7, 40, 25},
                                  RasterRect{whole.width - 9, whole.height - 5, 9, 5}}) {
      ASSERT_EQ(ScaleRasterPart(picture.pixels.data(), 517, 389, factor, rect, 2, part), 1);
      for (uint32_t y = 0; y < rect.height; ++y)
        EXPECT_TRUE(std::equal(row(part, y), row(part, y) + 3 * rect.width, row(whole, rect.top + y) + 3 * rect.left))
            << factor << " row " << y << " of the part at " << rect.left << "," << rect.top;
    }
  }
}
