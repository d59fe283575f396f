// Turns a fuzzer's input into an APP1 payload, so that whole camera files seed the fuzzers
// well: a JPEG gives its first APP1's payload, a payload stays as it is, and anything else (a
// TIFF structure, a NEF) gets the six header bytes in front.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "exif/jpeg_segments.h"

inline std::vector<uint8_t> FuzzPayload(const uint8_t* data, size_t size) {
  if (size >= 4 && data[0] == 0xFF && data[1] == 0xD8) {
    JpegSegments walk(std::span<const uint8_t>(data, size));
    JpegSegment segment;
    if (walk.Start() == JpegStep::Segment && JpegSegmentsFind(walk, kJpegApp1, &segment) == JpegStep::Segment &&
        size - walk.Position() >= segment.Payload())
      return std::vector<uint8_t>(data + walk.Position(), data + walk.Position() + segment.Payload());
  }
  std::vector<uint8_t> payload(data, data + size);
  if (size < 6 || std::memcmp(data, "Exif\0\0", 6) != 0) payload.insert(payload.begin(), {'E', 'x', 'i', 'f', 0, 0});
  return payload;
}
