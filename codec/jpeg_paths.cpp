// JpegDecoderDecode: the choice of path, the output geometry, and the single-thread path.
#include <algorithm>
#include <cstring>

#include "codec/jpeg_internal.h"
#include "frame/settings.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace {

// DECODE_METHOD of section OPTION, read once per process.
int DecodeMethodSetting() {
  static const int method = SettingsGetInt("OPTION", "DECODE_METHOD", 2);
  return method;
}

JpegDecodePath ChoosePath(const JpegDecoder& d) {
  JpegDecodePath path;
  if (d.forcedPath >= 0) {
    path = JpegDecodePath(d.forcedPath);
  } else {
    const int method = d.method >= 0 ? d.method : DecodeMethodSetting();
    if (method != 1 && method != 2) return JpegPathSingle;
    path = JpegPathSegments;
  }
  if (path == JpegPathSegments && d.restartInterval < 1) path = JpegPathPipeline;
  return path;
}

// Half size is kept only where the threaded paths can give it: three components, sampling
// factors below 3, and a picture at least 2 by 2.
int HalfSizeGate(const JpegDecoder& d, JpegDecodePath path, int requested) {
  if (!requested || path == JpegPathSingle || d.componentCount == 1 || d.maxH >= 3 || d.maxV >= 3) return 0;
  return d.width >= 2 && d.height >= 2 ? 1 : 0;
}

}  // namespace

JpegPixels JpegPixelsAllocate(size_t bytes) {
  // A large picture is written once, front to back: on huge pages it costs a fraction of the
  // page faults.
  constexpr size_t kHuge = size_t(2) << 20;
  if (bytes < 4 * kHuge) return JpegPixels(static_cast<uint8_t*>(std::malloc(std::max<size_t>(bytes, 1))));
  const size_t rounded = (bytes + kHuge - 1) / kHuge * kHuge;
  void* block = std::aligned_alloc(kHuge, rounded);
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  if (block) madvise(block, rounded, MADV_HUGEPAGE);
#endif
  return JpegPixels(static_cast<uint8_t*>(block));
}

void JpegUnitAllocate(const JpegDecoder& d, JpegUnit& unit, int32_t mcuCount) {
  for (int32_t c = 0; c < d.componentCount; ++c) {
    const size_t blocks = size_t(d.comp[c].blocksPerMcu) * 64;
    unit.coefficients[c].assign(size_t(mcuCount) * blocks, 0);
    unit.samples[c].assign(size_t(std::min(mcuCount, kJpegChunkMcus)) * blocks, 0);
  }
}

void JpegFillRows(JpegDecoder& d, int32_t fromRow) {
  // Rows run bottom-up: picture rows fromRow.. are the first outHeight - fromRow in memory.
  if (fromRow >= d.outHeight) return;
  std::memset(d.pixels.get(), 128, size_t(d.outHeight - std::max(fromRow, 0)) * size_t(d.stride));
}

template <bool Half>
int JpegReconstructRow(JpegDecoder& d, JpegUnit& unit, int32_t mcuY) {
  for (int32_t x = 0; x < d.mcusPerRow; x += kJpegChunkMcus) {
    const int32_t count = std::min(kJpegChunkMcus, d.mcusPerRow - x);
    if (JpegTransformUnit<Half>(d, unit, x, count) != 0) return -1;
    JpegColourUnit<Half>(d, unit, x, count, mcuY);
  }
  return 0;
}

template int JpegReconstructRow<false>(JpegDecoder&, JpegUnit&, int32_t);
template int JpegReconstructRow<true>(JpegDecoder&, JpegUnit&, int32_t);

int JpegDecodeSingle(JpegDecoder& d) {
  JpegUnit unit;
  JpegUnitAllocate(d, unit, d.mcusPerRow);
  JpegBitsStart(d.bits, d.inputBuffer.data() + d.readPos, d.inputBuffer.data() + d.readPos + d.bytesLeft);
  int32_t reached = 0;
  for (int32_t row = 0; row < d.mcuRows && !d.finished; ++row) {
    unit.mcuRow = row;
    if (JpegEntropyDecodeRow(d, unit) != 0 || JpegReconstructRow<false>(d, unit, row) != 0) return -1;
    reached = row + 1;
  }
  JpegFillRows(d, reached * d.maxV * 8);
  return 0;
}

int JpegDecoderDecode(JpegDecoder* d, RasterImage* image, int halfSize) {
  if (!d || d->pathTaken >= 0) return -1;  // decoding twice is not provided for
  int status = -1;
  if (JpegGeometry(*d) == 0) {
    JpegDecodePath path = ChoosePath(*d);
    d->pathTaken = path;
    d->halfSize = HalfSizeGate(*d, path, halfSize);
    d->outWidth = d->halfSize ? d->width / 2 : d->width;
    d->outHeight = d->halfSize ? d->height / 2 : d->height;
    d->stride = RasterStride(d->outWidth);
    d->pixels = JpegPixelsAllocate(size_t(d->outHeight) * size_t(d->stride));
    d->errorFlag = 0;
    d->finished = 0;
    if (!d->pixels) path = JpegDecodePath(-1);  // no memory: a failed decode
    switch (path) {
      case JpegPathSingle: status = JpegDecodeSingle(*d); break;
      case JpegPathPipeline: status = JpegDecodePipeline(*d); break;
      case JpegPathSegments: status = JpegDecodeSegments(*d); break;
    }
  }
  JpegSourceClose(*d);
  if (status != 0) {
    d->errorFlag = 1;
    d->pixels.reset();  // no half picture is handed out
    return -1;
  }
  // Padding bytes are part of the raster handed out: keep them defined.
  const int32_t padding = RasterRowPadding(d->outWidth);
  if (padding)
    for (int32_t y = 0; y < d->outHeight; ++y)
      std::memset(d->pixels.get() + size_t(y) * size_t(d->stride) + size_t(d->outWidth) * 3, 0, size_t(padding));
  d->decoded = 1;
  if (image) JpegDecoderPixels(d, image);
  return 0;
}
