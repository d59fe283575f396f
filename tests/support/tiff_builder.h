// Builds small TIFF structures and JPEG files in memory, so that tests can make the exact
// layouts real files rarely show: a value six bytes past the end, a count of four thousand
// million, a first APP1 that is not Exif.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace testsupport {

struct TiffEntry {
  uint16_t tag;
  uint16_t type;
  uint32_t count;
  std::vector<uint8_t> value;  // in file order; up to 4 bytes stand inline
  // When set, the value word is this number and no value is laid out (hostile layouts).
  bool rawWord = false;
  uint32_t word = 0;
};

// Values in a given byte order.
std::vector<uint8_t> U16s(bool bigEndian, std::initializer_list<uint16_t> values);
std::vector<uint8_t> U32s(bool bigEndian, std::initializer_list<uint32_t> values);
std::vector<uint8_t> Text(const std::string& text);  // with its terminating zero

struct TiffLayout {
  bool bigEndian = false;
  std::vector<TiffEntry> primary;
  std::vector<TiffEntry> exif;      // linked by tag 34665 when not empty
  std::vector<TiffEntry> gps;       // linked by tag 34853 when not empty
  std::vector<TiffEntry> thumbnail; // the 1st IFD, linked from the 0th when not empty
  std::vector<uint8_t> thumbnailBytes;  // placed behind everything; tags 513/514 added when set
};

// The TIFF structure (header first).
std::vector<uint8_t> BuildTiff(const TiffLayout& layout);
// "Exif\0\0" and the TIFF structure.
std::vector<uint8_t> BuildExifPayload(const TiffLayout& layout);
// A minimal JPEG: SOI, the given segments (marker code, payload) in order, SOS, a few bytes, EOI.
std::vector<uint8_t> BuildJpeg(const std::vector<std::pair<uint8_t, std::vector<uint8_t>>>& segments);

}  // namespace testsupport
