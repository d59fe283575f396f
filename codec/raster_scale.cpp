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

// Where a walk of the reduction stands before source pixel (or row) i: the destination index it
// adds to and the share that index already has. The share grows by the ratio each step and
// wraps at 1.0, so both follow from i * ratio at once, without walking from the start.
struct ScaleStep {
  uint32_t index;
  uint32_t share;
};
inline ScaleStep ScaleStepAt(uint32_t i, uint32_t ratio) {
  const uint64_t at = uint64_t(i) * ratio;
  return {uint32_t(at >> 16), uint32_t(at & (kOne - 1))};
}
// The first source index that adds to destination index `first` (a split from the one before
// counts), at most `length`.
inline uint32_t ScaleFirstSource(uint32_t first, uint32_t ratio, uint32_t length) {
  if (first == 0) return 0;
  return uint32_t(std::min<uint64_t>((uint64_t(first - 1) * kOne + ratio - 1) / ratio, length));
}
// The first source index past those that add to destination indices below `end`.
inline uint32_t ScaleEndSource(uint32_t end, uint32_t ratio, uint32_t length) {
  return uint32_t(std::min<uint64_t>((uint64_t(end) * kOne + ratio - 1) / ratio, length));
}

// The running sums of the destination columns [begin, end) of one row: three channels a pixel,
// with one column spare on each side, which take the shares that fall outside.
class RowAccumulator {
 public:
  RowAccumulator(uint32_t sourceWidth, uint32_t columnRatio, uint32_t begin, uint32_t end)
      : sx_(columnRatio),
        base_(begin == 0 ? 0 : begin - 1),
        begin_(begin),
        end_(end),
        firstX_(ScaleFirstSource(begin, columnRatio, sourceWidth)),
        endX_(ScaleEndSource(end, columnRatio, sourceWidth)),
        sums_(size_t(end - base_ + 1) * 3, 0) {}

  // Adds one source row with its row weight wy, splitting a pixel where the column share
  // reaches 1.0.
  void Add(const uint8_t* row, uint32_t wy) {
    const ScaleStep start = ScaleStepAt(firstX_, sx_);
    uint32_t position = start.share;
    uint32_t* sum = sums_.data() + 3 * size_t(start.index - base_);
    const uint32_t wx = uint32_t((uint64_t(wy) * sx_) >> 16);
    const uint8_t* pixel = row + 3 * size_t(firstX_);
    for (uint32_t x = firstX_; x < endX_; ++x, pixel += 3) {
      if (position + sx_ >= kOne) {
        const uint32_t first = uint32_t((uint64_t(kOne - position) * wy) >> 16);
        const uint32_t second = wx - first;
        sum[0] += pixel[0] * first;
        sum[1] += pixel[1] * first;
        sum[2] += pixel[2] * first;
        sum[3] += pixel[0] * second;
        sum[4] += pixel[1] * second;
        sum[5] += pixel[2] * second;
        sum += 3;
        position = position + sx_ - kOne;
      } else {
        sum[0] += pixel[0] * wx;
        sum[1] += pixel[1] * wx;
        sum[2] += pixel[2] * wx;
        position += sx_;
      }
    }
  }

  // Rounds into the destination row (its columns begin.. at row[0]) and starts the next one.
  void Flush(uint8_t* row) {
    const uint32_t* sum = sums_.data() + 3 * size_t(begin_ - base_);
    for (size_t i = 0; i < size_t(end_ - begin_) * 3; ++i) {
      // The weights sum to just under 1.0, so no value reaches 256; the limit is a guard only.
      row[i] = uint8_t(std::min<uint32_t>((sum[i] + 32768) >> 16, 255));
    }
    std::fill(sums_.begin(), sums_.end(), 0);
  }

 private:
  uint32_t sx_, base_, begin_, end_, firstX_, endX_;
  std::vector<uint32_t> sums_;
};

// The reduction's sizes and ratios: s = factor in 16.16, each axis with its own ratio.
struct ScalePlan {
  uint32_t newWidth = 0, newHeight = 0, sx = 0, sy = 0;
};
bool ScalePlanMake(uint32_t width, uint32_t height, float factor, ScalePlan& plan) {
  if (width == 0 || height == 0 || !(factor > 0.0f)) return false;
  const uint32_t s = uint32_t(std::min(factor, 1.0f) * kOne);
  plan.newHeight = uint32_t((uint64_t(height) * s) >> 16);
  plan.newWidth = uint32_t((uint64_t(width) * s) >> 16);
  if (plan.newHeight == 0 || plan.newWidth == 0) return false;
  plan.sy = uint32_t((uint64_t(plan.newHeight) << 16) / height);
  plan.sx = uint32_t((uint64_t(plan.newWidth) << 16) / width);
  return true;
}

// The destination rows [rowBegin, rowEnd) of the part: the walk starts at the first source row
// that reaches them and adds only what falls in the band, so bands can run side by side.
void ScaleRasterBand(const uint8_t* pixels, uint32_t width, uint32_t height, const ScalePlan& plan,
                     const RasterRect& part, RasterPixels& result, uint32_t rowBegin, uint32_t rowEnd) {
  RowAccumulator sums(width, plan.sx, part.left, part.left + part.width);
  const uint32_t firstY = ScaleFirstSource(rowBegin, plan.sy, height);
  const ScaleStep start = ScaleStepAt(firstY, plan.sy);
  uint32_t share = start.share, row = start.index;
  auto add = [&](const uint8_t* source, uint32_t weight) {
    if (row >= rowBegin && row < rowEnd) sums.Add(source, weight);
  };
  auto flush = [&] {
    if (row >= rowBegin && row < rowEnd) sums.Flush(RowFromTop(result.pixels.data(), result.width, result.height, row - part.top));
    ++row;
  };
  for (uint32_t y = firstY; y < height && row < rowEnd; ++y) {
    const uint8_t* source = RowFromTop(pixels, width, height, y);
    if (share + plan.sy >= kOne) {  // the source row is split between two destination rows
      const uint32_t first = kOne - share;
      add(source, first);
      flush();
      share = plan.sy - first;
      if (share && row < plan.newHeight) add(source, share);
    } else {
      add(source, plan.sy);
      share += plan.sy;
    }
  }
  // The ratio is rounded down, so the last row may end just short of a full share.
  if (row < plan.newHeight && row < rowEnd) flush();
}

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

int ScaleRasterSize(uint32_t width, uint32_t height, float factor, uint32_t* newWidth, uint32_t* newHeight) {
  ScalePlan plan;
  if (!ScalePlanMake(width, height, factor, plan)) return 0;
  *newWidth = plan.newWidth;
  *newHeight = plan.newHeight;
  return 1;
}

int ScaleRaster(const uint8_t* pixels, uint32_t width, uint32_t height, float factor, RasterPixels& out) {
  return ScaleRasterThreads(pixels, width, height, factor, 1, out);
}

int ScaleRasterThreads(const uint8_t* pixels, uint32_t width, uint32_t height, float factor, uint32_t threads,
                       RasterPixels& out) {
  ScalePlan plan;
  if (!ScalePlanMake(width, height, factor, plan)) return 0;
  return ScaleRasterPart(pixels, width, height, factor, RasterRect{0, 0, plan.newWidth, plan.newHeight}, threads, out);
}

int ScaleRasterPart(const uint8_t* pixels, uint32_t width, uint32_t height, float factor, const RasterRect& part,
                    uint32_t threads, RasterPixels& out) {
  ScalePlan plan;
  if (!pixels || !ScalePlanMake(width, height, factor, plan)) return 0;
  if (part.width == 0 || part.height == 0 || part.left + uint64_t(part.width) > plan.newWidth ||
      part.top + uint64_t(part.height) > plan.newHeight)
    return 0;
  RasterPixels result;
  result.width = part.width;
  result.height = part.height;
  result.pixels.assign(size_t(RasterRowBytes(part.width)) * part.height, 0);
  threads = std::clamp<uint32_t>(threads, 1, std::min<uint32_t>(part.height, 16));
  const uint32_t rowEnd = part.top + part.height;
  std::vector<std::thread> bands;
  for (uint32_t band = 1; band < threads; ++band)
    bands.emplace_back(ScaleRasterBand, pixels, width, height, std::cref(plan), std::cref(part), std::ref(result),
                       part.top + part.height * band / threads, part.top + part.height * (band + 1) / threads);
  ScaleRasterBand(pixels, width, height, plan, part, result, part.top, std::min(rowEnd, part.top + part.height / threads));
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
    // The rows above and below as pointers of their own: an index below zero on `row` would
    // wrap as an unsigned offset even where the address it means is inside the picture.
    const uint8_t* above = y > 0 ? row - rowBytes : nullptr;
    const uint8_t* below = y + 1 < height ? row + rowBytes : nullptr;
    for (uint32_t x = 0; x < width; ++x)
      for (int c = 0; c < 3; ++c) {
        const size_t at = 3 * size_t(x) + c;
        const int value = row[at];
        int d = 0, neighbours = 0;
        if (above) d += above[at], ++neighbours;
        if (below) d += below[at], ++neighbours;
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
