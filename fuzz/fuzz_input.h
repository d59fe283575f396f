// Turns a fuzzer's input into an APP1 payload, so that whole camera files seed the fuzzers
// well: a JPEG gives its first APP1's payload, a payload stays as it is, and anything else (a
// TIFF structure, a NEF) gets the six header bytes in front.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/jpeg_segments.h"
#include "shooting/engine_install.h"

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

// Installs the engine once, then reads the input as an APP1 payload; `status` is the reader's.
// An input past 16 MiB is not read.
inline ExifDocumentPtr FuzzReadSegment(const uint8_t* data, size_t size, uint32_t* status) {
  static const bool installed = (EngineInstall(), true);
  (void)installed;
  ExifDocumentPtr document;
  *status = StatusParseFailed;
  if (size > 0xFFFFFF) return document;
  const std::vector<uint8_t> payload = FuzzPayload(data, size);
  *status = ExifCheckSegment(payload.data(), uint32_t(payload.size()), document);
  return document;
}
