// Pixel operations on pictures of 24-bit BGR rows, bottom-up, each row padded to a multiple of 4
// bytes (the RasterImage layout): reduction by area averaging, enlargement for the viewer,
// sharpening, and fitting into a box. Factors are 16.16 fixed point at heart, so a target
// length is hit exactly. Each operation returns 1 and a new picture, or 0 and leaves out alone.
#pragma once

#include <cstdint>
#include <vector>

// Bytes of one padded row.
constexpr uint32_t RasterRowBytes(uint32_t width) { return (width * 3 + 3) & ~3u; }

// A picture owned by the caller.
struct RasterPixels {
  std::vector<uint8_t> pixels;
  uint32_t width = 0;
  uint32_t height = 0;
};

// A factor such that (length * factor) lands exactly on target: the smallest 16.16 step at or
// above target / source (and at least 1.0 when the target is larger).
float ScaleFactorFor(uint32_t source, uint32_t target);

// The factor that fits width x height into the box; 1.0 when it already lies inside it.
float FitRatio(uint32_t width, uint32_t height, uint32_t maxWidth, uint32_t maxHeight);

// A rectangle of a picture, counted from its top left corner.
struct RasterRect {
  uint32_t left = 0, top = 0, width = 0, height = 0;
};

// The size ScaleRaster makes of width x height; 0 when nothing would be left.
int ScaleRasterSize(uint32_t width, uint32_t height, float factor, uint32_t* newWidth, uint32_t* newHeight);

// Area-weighted reduction for factors up to 1, one pass over the source with one row of
// accumulators. The two axes have their own ratios, so each lands exactly.
int ScaleRaster(const uint8_t* pixels, uint32_t width, uint32_t height, float factor, RasterPixels& out);

// ScaleRaster with the destination rows split among threads (joined before it returns): the
// same bytes, for pictures large enough that one thread is the bottleneck (the viewer).
int ScaleRasterThreads(const uint8_t* pixels, uint32_t width, uint32_t height, float factor, uint32_t threads,
                       RasterPixels& out);

// The part of ScaleRaster's result that `part` covers (inside the size ScaleRasterSize gives),
// byte for byte, made from only the source pixels that reach it: a viewer that shows a window
// onto a large reduced picture reduces just the window.
int ScaleRasterPart(const uint8_t* pixels, uint32_t width, uint32_t height, float factor, const RasterRect& part,
                    uint32_t threads, RasterPixels& out);

// Enlargement by forward mapping and filling the gaps from their filled neighbours; factors
// above 2 are applied as steps of 2 and the rest.
int EnlargeRaster(const uint8_t* pixels, uint32_t width, uint32_t height, float factor, RasterPixels& out);

// 4-neighbour sharpening; strength 0, 1, 2 (weak, middle, strong). Above 2 fails.
int SharpenRaster(const uint8_t* pixels, uint32_t width, uint32_t height, int strength, RasterPixels& out);

// Scales the picture into the box when it is larger in either direction, then centres it on a
// box filled with fillBgr (0xRRGGBB). The result's rows are tightly packed (no padding), bottom-up.
int FitIntoBox(const uint8_t* pixels, uint32_t width, uint32_t height, uint32_t boxWidth, uint32_t boxHeight,
               uint32_t fillRgb, RasterPixels& out);
