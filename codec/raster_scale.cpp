#include "codec/raster_scale.h"

#include <algorithm>
#include <cmath>
#include <thread>

namespace {

constexpr uint32_t kOne = 65536;  // 1.0 in 16.16

// The memory row of a picture row counted from the top (rows are stored bottom-up).
inline const uint8_t* RowFromTop(const uint8_t* pixels, uint32_t width, uint32_t height, uint32_t y) {
  return pixels + size_t(height - 1 - y) * RasterRowBytes(width);
}
inline uint8_t* RowFromTop(uint8_t* pixels, uint32_t width, uint32_t height, uint32_t y) {
  return pixels + size_t(height - 1 - y) * RasterRowBytes(width);
}

// The running sums of one destination row: three channels a pixel and one pixel spare, which
// takes the last split's remainder.
class RowAccumulator {
 public:
  RowAccumulator(uint32_t sourceWidth, uint32_t columnRatio, uint32_t newWidth)
      : sourceWidth_(sourceWidth), sx_(columnRatio), sums_(size_t(newWidth + 1) * 3, 0) {}

  // Adds one source row with its row weight wy, splitting a pixel where the column share
  // reaches 1.0.
  void Add(const uint8_t* row, uint32_t wy) {
    uint32_t position = 0;
    size_t column = 0;
    const uint32_t wx = uint32_t((uint64_t(wy) * sx_) >> 16);
    for (uint32_t x = 0; x < sourceWidth_; ++x) {
      const uint8_t* pixel = row + 3 * size_t(x);
      if (position + sx_ >= kOne) {
        const uint32_t first = uint32_t((uint64_t(kOne - position) * wy) >> 16);
        for (int c = 0; c < 3; ++c) sums_[3 * column + c] += pixel[c] * first;
        ++column;
        for (int c = 0; c < 3; ++c) sums_[3 * column + c] += pixel[c] * (wx - first);
        position = position + sx_ - kOne;
      } else {
        for (int c = 0; c < 3; ++c) sums_[3 * column + c] += pixel[c] * wx;
        position += sx_;
      }
    }
  }

  // Rounds into the destination row and starts the next one.
  void Flush(uint8_t* row, uint32_t newWidth) {
    for (size_t i = 0; i < size_t(newWidth) * 3; ++i) {
      // The weights sum to just under 1.0, so no value reaches 256; the limit is a guard only.
      row[i] = uint8_t(std::min<uint32_t>((sums_[i] + 32768) >> 16, 255));
    }
    std::fill(sums_.begin(), sums_.end(), 0);
  }

 private:
  uint32_t sourceWidth_, sx_;
  std::vector<uint32_t> sums_;
};

int EnlargeStep(const uint8_t* pixels, uint32_t width, uint32_t height, float factor, RasterPixels& out) {
  const uint32_t f = uint32_t(std::min(factor, 2.0f) * kOne);
  if (f == 0) return 0;
  const uint32_t newWidth = uint32_t((uint64_t(width) * f) >> 16), newHeight = uint32_t((uint64_t(height) * f) >> 16);
  if (newWidth == 0 || newHeight == 0) return 0;
  // Work grid, top-down: a filled flag and three channels a cell.
  std::vector<uint8_t> grid(size_t(newWidth) * newHeight * 4, 0);
  auto cell = [&](uint32_t x, uint32_t y) { return &grid[(size_t(y) * newWidth + x) * 4]; };
  for (uint32_t y = 0; y < height; ++y) {
    const uint8_t* row = RowFromTop(pixels, width, height, y);
    const uint32_t gy = uint32_t((uint64_t(y) * f) >> 16);
    for (uint32_t x = 0; x < width; ++x) {
      uint8_t* target = cell(uint32_t((uint64_t(x) * f) >> 16), gy);
      target[0] = 1;
      std::copy_n(row + 3 * size_t(x), 3, target + 1);
    }
  }
  // Left, upper left, lower left, right, upper right, lower right, up, down.
  static constexpr int kNeighbours[8][2] = {{-1, 0}, {-1, -1}, {-1, 1}, {1, 0}, {1, -1}, {1, 1}, {0, -1}, {0, 1}};
  for (uint32_t y = 0; y < newHeight; ++y)
    for (uint32_t x = 0; x < newWidth; ++x) {
      uint8_t* here = cell(x, y);
      if (here[0]) continue;
      uint32_t sums[3] = {0, 0, 0}, count = 0;
      for (const auto& [dx, dy] : kNeighbours) {
        const int64_t nx = int64_t(x) + dx, ny = int64_t(y) + dy;
        if (nx < 0 || ny < 0 || nx >= newWidth || ny >= newHeight) continue;
        const uint8_t* near = cell(uint32_t(nx), uint32_t(ny));
        if (!near[0]) continue;
        for (int c = 0; c < 3; ++c) sums[c] += near[1 + c];
        ++count;
      }
      if (count == 0) continue;
      here[0] = 1;
      for (int c = 0; c < 3; ++c) here[1 + c] = uint8_t(std::min<uint32_t>(sums[c] / count, 255));
    }
  out.width = newWidth;
  out.height = newHeight;
  out.pixels.assign(size_t(RasterRowBytes(newWidth)) * newHeight, 0);
  for (uint32_t y = 0; y < newHeight; ++y) {
    uint8_t* row = RowFromTop(out.pixels.data(), newWidth, newHeight, y);
    for (uint32_t x = 0; x < newWidth; ++x) std::copy_n(cell(x, y) + 1, 3, row + 3 * size_t(x));
  }
  return 1;
}

}  // namespace

float ScaleFactorFor(uint32_t source, uint32_t target) {
  if (source == 0) return 1.0f;
  uint64_t f = std::min<uint64_t>(uint64_t(double(target) / source * kOne), kOne);
  // The smallest step whose product reaches the target; computed directly rather than by
  // counting up one step at a time, which a large enlargement would make slow.
  const uint64_t needed = ((uint64_t(target) << 16) + source - 1) / source;
  f = std::max(f, needed);
  return float(double(f) / kOne);
}

float FitRatio(uint32_t width, uint32_t height, uint32_t maxWidth, uint32_t maxHeight) {
  if (width < maxWidth && height < maxHeight) return 1.0f;
  if (width == 0 || height == 0) return 1.0f;
  const float rw = float(maxWidth) / float(width), rh = float(maxHeight) / float(height);
  return rh <= rw ? ScaleFactorFor(height, maxHeight) : ScaleFactorFor(width, maxWidth);
}

int ScaleRaster(const uint8_t* pixels, uint32_t width, uint32_t height, float factor, RasterPixels& out) {
  if (!pixels || width == 0 || height == 0 || !(factor > 0.0f)) return 0;
  const uint32_t s = uint32_t(std::min(factor, 1.0f) * kOne);
  const uint32_t newHeight = uint32_t((uint64_t(height) * s) >> 16), newWidth = uint32_t((uint64_t(width) * s) >> 16);
  if (newHeight == 0 || newWidth == 0) return 0;
  const uint32_t sy = uint32_t((uint64_t(newHeight) << 16) / height), sx = uint32_t((uint64_t(newWidth) << 16) / width);
  RasterPixels result;
  result.width = newWidth;
  result.height = newHeight;
  result.pixels.assign(size_t(RasterRowBytes(newWidth)) * newHeight, 0);
  RowAccumulator sums(width, sx, newWidth);
  uint32_t share = 0, row = 0;
  for (uint32_t y = 0; y < height && row < newHeight; ++y) {
    const uint8_t* source = RowFromTop(pixels, width, height, y);
    if (share + sy >= kOne) {  // the source row is split between two destination rows
      const uint32_t first = kOne - share;
      sums.Add(source, first);
      sums.Flush(RowFromTop(result.pixels.data(), newWidth, newHeight, row++), newWidth);
      share = sy - first;
      if (share && row < newHeight) sums.Add(source, share);
    } else {
      sums.Add(source, sy);
      share += sy;
    }
  }
  // The ratio is rounded down, so the last row may end just short of a full share.
  if (row < newHeight) sums.Flush(RowFromTop(result.pixels.data(), newWidth, newHeight, row), newWidth);
  out = std::move(result);
  return 1;
}

// The destination rows [rowBegin, rowEnd) of ScaleRaster: every source row is walked for the
// shares, but only those that reach the band are added, so bands can run side by side.
static void ScaleRasterBand(const uint8_t* pixels, uint32_t width, uint32_t height, uint32_t sx, uint32_t sy,
                            RasterPixels& result, uint32_t rowBegin, uint32_t rowEnd) {
  RowAccumulator sums(width, sx, result.width);
  uint32_t share = 0, row = 0;
  auto add = [&](const uint8_t* source, uint32_t weight) {
    if (row >= rowBegin && row < rowEnd) sums.Add(source, weight);
  };
  auto flush = [&] {
    if (row >= rowBegin && row < rowEnd) sums.Flush(RowFromTop(result.pixels.data(), result.width, result.height, row), result.width);
    ++row;
  };
  for (uint32_t y = 0; y < height && row < rowEnd; ++y) {
    const uint8_t* source = RowFromTop(pixels, width, height, y);
    if (share + sy >= kOne) {
      const uint32_t first = kOne - share;
      add(source, first);
      flush();
      share = sy - first;
      if (share && row < result.height) add(source, share);
    } else {
      add(source, sy);
      share += sy;
    }
  }
  if (row < result.height && row < rowEnd) flush();
}

int ScaleRasterThreads(const uint8_t* pixels, uint32_t width, uint32_t height, float factor, uint32_t threads,
                       RasterPixels& out) {
  if (!pixels || width == 0 || height == 0 || !(factor > 0.0f)) return 0;
  const uint32_t s = uint32_t(std::min(factor, 1.0f) * kOne);
  const uint32_t newHeight = uint32_t((uint64_t(height) * s) >> 16), newWidth = uint32_t((uint64_t(width) * s) >> 16);
  if (newHeight == 0 || newWidth == 0) return 0;
  const uint32_t sy = uint32_t((uint64_t(newHeight) << 16) / height), sx = uint32_t((uint64_t(newWidth) << 16) / width);
  RasterPixels result;
  result.width = newWidth;
  result.height = newHeight;
  result.pixels.assign(size_t(RasterRowBytes(newWidth)) * newHeight, 0);
  threads = std::clamp<uint32_t>(threads, 1, std::min<uint32_t>(newHeight, 16));
  std::vector<std::thread> bands;
  for (uint32_t band = 1; band < threads; ++band)
    bands.emplace_back(ScaleRasterBand, pixels, width, height, sx, sy, std::ref(result), newHeight * band / threads,
                       newHeight * (band + 1) / threads);
  ScaleRasterBand(pixels, width, height, sx, sy, result, 0, newHeight / threads);
  for (std::thread& thread : bands) thread.join();
  out = std::move(result);
  return 1;
}

int EnlargeRaster(const uint8_t* pixels, uint32_t width, uint32_t height, float factor, RasterPixels& out) {
  if (!pixels || width == 0 || height == 0) return 0;
  RasterPixels step;
  if (!EnlargeStep(pixels, width, height, factor, step)) return 0;
  if (factor > 2.0f) {
    RasterPixels rest;
    if (!EnlargeRaster(step.pixels.data(), step.width, step.height, factor / 2.0f, rest)) return 0;
    step = std::move(rest);
  }
  out = std::move(step);
  return 1;
}

int SharpenRaster(const uint8_t* pixels, uint32_t width, uint32_t height, int strength, RasterPixels& out) {
  if (!pixels || width == 0 || height == 0 || strength < 0 || strength > 2) return 0;
  const int shift = 4 - strength;
  const size_t rowBytes = RasterRowBytes(width);
  RasterPixels result;
  result.width = width;
  result.height = height;
  result.pixels.assign(pixels, pixels + rowBytes * height);
  for (uint32_t y = 0; y < height; ++y) {
    const uint8_t* row = pixels + y * rowBytes;
    for (uint32_t x = 0; x < width; ++x)
      for (int c = 0; c < 3; ++c) {
        const size_t at = 3 * size_t(x) + c;
        const int value = row[at];
        int d = 0, neighbours = 0;
        if (y > 0) d += row[at - rowBytes], ++neighbours;
        if (y + 1 < height) d += row[at + rowBytes], ++neighbours;
        if (x > 0) d += row[at - 3], ++neighbours;
        if (x + 1 < width) d += row[at + 3], ++neighbours;
        d -= neighbours * value;  // 4 inside, 3 on an edge, 2 in a corner
        result.pixels[y * rowBytes + at] = uint8_t(std::clamp(value - (d >> shift), 0, 255));
      }
  }
  out = std::move(result);
  return 1;
}

int FitIntoBox(const uint8_t* pixels, uint32_t width, uint32_t height, uint32_t boxWidth, uint32_t boxHeight,
               uint32_t fillRgb, RasterPixels& out) {
  if (!pixels || width == 0 || height == 0 || boxWidth == 0 || boxHeight == 0) return 0;
  RasterPixels scaled;
  const uint8_t* picture = pixels;
  if (boxWidth < width || boxHeight < height) {
    if (!ScaleRaster(pixels, width, height, FitRatio(width, height, boxWidth, boxHeight), scaled)) return 0;
    picture = scaled.pixels.data();
    width = scaled.width;
    height = scaled.height;
  }
  const uint32_t copyWidth = std::min(width, boxWidth), copyHeight = std::min(height, boxHeight);
  RasterPixels result;
  result.width = boxWidth;
  result.height = boxHeight;
  result.pixels.resize(size_t(boxWidth) * boxHeight * 3);
  const uint8_t fill[3] = {uint8_t(fillRgb), uint8_t(fillRgb >> 8), uint8_t(fillRgb >> 16)};
  for (size_t i = 0; i < result.pixels.size(); i += 3) std::copy_n(fill, 3, &result.pixels[i]);
  const uint32_t left = (boxWidth - copyWidth) / 2, top = (boxHeight - copyHeight) / 2;
  for (uint32_t y = 0; y < copyHeight; ++y) {
    // Both are bottom-up: row y from the top of the picture lands on row top + y of the box.
    const uint8_t* from = RowFromTop(picture, width, height, y);
    uint8_t* to = &result.pixels[(size_t(boxHeight - 1 - (top + y)) * boxWidth + left) * 3];
    std::copy_n(from, size_t(copyWidth) * 3, to);
  }
  out = std::move(result);
  return 1;
}
