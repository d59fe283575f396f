// Encodes a binary PPM (P6) with Tavexon's encoder, as cjpeg does, for side-by-side timing:
//   bench_encode IN.ppm OUT.jpg [LEVEL]
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "codec/jpeg_encoder.h"

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: bench_encode IN.ppm OUT.jpg [LEVEL]\n");
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
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
  std::vector<uint8_t> rgb(size_t(width) * height * 3);
  in.read(reinterpret_cast<char*>(rgb.data()), std::streamsize(rgb.size()));
  // To the raster layout: bottom-up BGR, rows padded to 4 bytes.
  const size_t stride = (size_t(width) * 3 + 3) & ~size_t(3);
  std::vector<uint8_t> raster(stride * height);
  for (uint32_t y = 0; y < height; ++y) {
    const uint8_t* from = &rgb[size_t(y) * width * 3];
    uint8_t* to = &raster[size_t(height - 1 - y) * stride];
    for (uint32_t x = 0; x < width; ++x) to[3 * x] = from[3 * x + 2], to[3 * x + 1] = from[3 * x + 1], to[3 * x + 2] = from[3 * x];
  }
  JpegEncoderPtr encoder = JpegEncoderCreate();
  JpegEncoderSetRestart(encoder.get(), -1);
  JpegEncoderSetLevel(encoder.get(), argc > 3 ? std::atoi(argv[3]) : 5);
  std::remove(argv[2]);
  if (JpegEncoderEncode(encoder.get(), raster.data(), width, height) != JpegEncoderOk) return 1;
  return JpegEncoderToFile(encoder.get(), argv[2]) == JpegEncoderOk ? 0 : 1;
}
