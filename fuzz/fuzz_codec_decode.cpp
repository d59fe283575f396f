// Any bytes as a JPEG in memory: the marker parser, then a decode on each path, at full and
// at half size. Pictures above 1024 by 1024 are only opened, to keep the fuzzer's memory small.
#include <cstddef>
#include <cstdint>

#include "codec/jpeg_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  for (int path : {JpegPathSingle, JpegPathPipeline, JpegPathSegments}) {
    JpegDecoder* raw = nullptr;
    if (JpegDecoderOpen("", data, size, &raw) != 0) return 0;
    JpegDecoderPtr decoder(raw);
    int32_t width = 0, height = 0;
    JpegDecoderSize(decoder.get(), &width, &height);
    if (width > 1024 || height > 1024) return 0;
    JpegDecoderForcePath(decoder.get(), JpegDecodePath(path));
    RasterImage image;
    if (JpegDecoderDecode(decoder.get(), &image, int(size & 1)) == 0) {
      // Touch every byte handed out: uninitialised or short pictures show up under the sanitizers.
      uint32_t sum = 0;
      for (int32_t y = 0; y < image.height; ++y)
        for (int32_t x = 0; x < image.stride; ++x) sum += image.pixels[size_t(y) * size_t(image.stride) + size_t(x)];
      if (sum == 0xFFFFFFFFu) return 1;
    }
  }
  return 0;
}
