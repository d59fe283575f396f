// Turns a fuzzer's input into an APP1 payload, so that whole camera files seed the fuzzers
// well: a JPEG gives its first APP1's payload, a payload stays as it is, and anything else (a
// TIFF structure, a NEF) gets the six header bytes in front.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "exif/exif_reader.h"
#include "frame/error_stack.h"

inline std::vector<uint8_t> FuzzPayload(const uint8_t* data, size_t size) {
  if (size >= 4 && data[0] == 0xFF && data[1] == 0xD8) {
    const uint32_t at = JpegFindMarkerInBuffer(data, uint32_t(size), 0xE1);
    ErrorClear();
    if (at != 0 && size - at >= 2) {
      const size_t length = size_t(data[at] << 8 | data[at + 1]);
      if (length >= 2 && size - at >= length) return std::vector<uint8_t>(data + at + 2, data + at + length);
    }
  }
  std::vector<uint8_t> payload(data, data + size);
  if (size < 6 || std::memcmp(data, "Exif\0\0", 6) != 0) payload.insert(payload.begin(), {'E', 'x', 'i', 'f', 0, 0});
  return payload;
}
