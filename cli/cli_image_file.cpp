// PPM and PNG output of a RasterImage (BGR, bottom-up) as top-down RGB.
#include "cli/cli_image_file.h"

#include <array>
#include <cstdint>
#include <fstream>
#include <vector>

namespace {

// Row y (top-down) of the picture as RGB.
void ImageRowRgb(const RasterImage& image, int32_t y, uint8_t* out) {
  const uint8_t* in = image.pixels + size_t(image.height - 1 - y) * size_t(image.stride);
  for (int32_t x = 0; x < image.width; ++x, in += 3, out += 3) {
    out[0] = in[2];
    out[1] = in[1];
    out[2] = in[0];
  }
}

uint32_t Crc32(const uint8_t* data, size_t size, uint32_t crc = 0) {
  static const std::array<uint32_t, 256> table = [] {
    std::array<uint32_t, 256> t{};
    for (uint32_t n = 0; n < 256; ++n) {
      uint32_t c = n;
      for (int k = 0; k < 8; ++k) c = c & 1 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
      t[n] = c;
    }
    return t;
  }();
  crc = ~crc;
  for (size_t i = 0; i < size; ++i) crc = table[(crc ^ data[i]) & 0xFF] ^ (crc >> 8);
  return ~crc;
}

void PutBig32(std::vector<uint8_t>& out, uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(uint8_t(value >> shift));
}

void PngChunk(std::ofstream& file, const char* type, const std::vector<uint8_t>& data) {
  std::vector<uint8_t> chunk;
  PutBig32(chunk, uint32_t(data.size()));
  chunk.insert(chunk.end(), type, type + 4);
  chunk.insert(chunk.end(), data.begin(), data.end());
  PutBig32(chunk, Crc32(chunk.data() + 4, chunk.size() - 4));
  file.write(reinterpret_cast<const char*>(chunk.data()), std::streamsize(chunk.size()));
}

bool WritePng(std::ofstream& file, const RasterImage& image) {
  static const uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  file.write(reinterpret_cast<const char*>(kSignature), 8);
  std::vector<uint8_t> header;
  PutBig32(header, uint32_t(image.width));
  PutBig32(header, uint32_t(image.height));
  header.insert(header.end(), {8, 2, 0, 0, 0});  // 8 bits, RGB, deflate, no filter, no interlace
  PngChunk(file, "IHDR", header);
  // The raw scanlines, each behind filter byte 0.
  const size_t rowBytes = size_t(image.width) * 3 + 1;
  std::vector<uint8_t> raw(rowBytes * size_t(image.height), 0);
  for (int32_t y = 0; y < image.height; ++y) ImageRowRgb(image, y, raw.data() + size_t(y) * rowBytes + 1);
  // zlib: header, stored blocks of at most 65535 bytes, Adler-32.
  std::vector<uint8_t> z = {0x78, 0x01};
  uint32_t a = 1, b = 0;
  for (size_t at = 0; at < raw.size() || at == 0;) {
    const size_t n = std::min<size_t>(65535, raw.size() - at);
    const bool last = at + n == raw.size();
    z.insert(z.end(), {uint8_t(last), uint8_t(n), uint8_t(n >> 8), uint8_t(~n), uint8_t(~n >> 8)});
    z.insert(z.end(), raw.begin() + std::ptrdiff_t(at), raw.begin() + std::ptrdiff_t(at + n));
    for (size_t i = at; i < at + n; ++i) {
      a = (a + raw[i]) % 65521;
      b = (b + a) % 65521;
    }
    at += n;
    if (last) break;
  }
  PutBig32(z, b << 16 | a);
  PngChunk(file, "IDAT", z);
  PngChunk(file, "IEND", {});
  return bool(file);
}

bool WritePpm(std::ofstream& file, const RasterImage& image) {
  file << "P6\n" << image.width << ' ' << image.height << "\n255\n";
  std::vector<uint8_t> row(size_t(image.width) * 3);
  for (int32_t y = 0; y < image.height; ++y) {
    ImageRowRgb(image, y, row.data());
    file.write(reinterpret_cast<const char*>(row.data()), std::streamsize(row.size()));
  }
  return bool(file);
}

}  // namespace

bool CliWriteImage(const std::string& path, const RasterImage& image) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (!file) return false;
  const bool png = path.size() >= 4 && (path.ends_with(".png") || path.ends_with(".PNG"));
  return png ? WritePng(file, image) : WritePpm(file, image);
}
