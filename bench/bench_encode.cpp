// Encodes a binary PPM (P6) with Tavexon's encoder, as cjpeg does, for side-by-side timing:
//   bench_encode IN.ppm OUT.jpg [LEVEL]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "codec/jpeg_encoder.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: bench_encode IN.ppm OUT.jpg [LEVEL]\n");
    return 2;
  }
  // Unbuffered: the rows go from the file straight into the row buffer, without a copy between.
  std::ifstream in;
  in.rdbuf()->pubsetbuf(nullptr, 0);
  in.open(argv[1], std::ios::binary);
  // The header's four fields, with any comment lines ("# ...") between them passed over.
  auto field = [&in]() {
    std::string token;
    while (in >> token && token[0] == '#') in.ignore(1 << 20, '\n');
    return token;
  };
  const std::string magic = field();
  const uint32_t width = uint32_t(std::stoul("0" + field())), height = uint32_t(std::stoul("0" + field()));
  const uint32_t maxValue = uint32_t(std::stoul("0" + field()));
  in.get();
  if (magic != "P6" || maxValue != 255 || width == 0 || height == 0) return 1;
  // Straight into the raster layout (bottom-up BGR, rows padded to 4 bytes) one row at a time,
  // on huge pages where the system has them: the reading should cost what cjpeg's does.
  const size_t stride = (size_t(width) * 3 + 3) & ~size_t(3);
  const size_t bytes = (stride * height + (size_t(2) << 20) - 1) & ~((size_t(2) << 20) - 1);
  std::unique_ptr<uint8_t, decltype(&std::free)> raster(static_cast<uint8_t*>(std::aligned_alloc(size_t(2) << 20, bytes)),
                                                        &std::free);
  if (!raster) return 1;
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  madvise(raster.get(), bytes, MADV_HUGEPAGE);
#endif
  std::vector<uint8_t> rgb(size_t(width) * 3);
  for (uint32_t y = 0; y < height; ++y) {
    in.read(reinterpret_cast<char*>(rgb.data()), std::streamsize(rgb.size()));
    uint8_t* to = raster.get() + size_t(height - 1 - y) * stride;
    for (uint32_t x = 0; x < width; ++x) to[3 * x] = rgb[3 * x + 2], to[3 * x + 1] = rgb[3 * x + 1], to[3 * x + 2] = rgb[3 * x];
    std::fill(to + size_t(width) * 3, to + stride, uint8_t(0));
  }
  JpegEncoderPtr encoder = JpegEncoderCreate();
  JpegEncoderSetRestart(encoder.get(), -1);
  JpegEncoderSetLevel(encoder.get(), argc > 3 ? std::atoi(argv[3]) : 5);
  std::remove(argv[2]);
  if (JpegEncoderEncode(encoder.get(), raster.get(), width, height) != JpegEncoderOk) return 1;
  return JpegEncoderToFile(encoder.get(), argv[2]) == JpegEncoderOk ? 0 : 1;
}
