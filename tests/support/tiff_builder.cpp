#include "tests/support/tiff_builder.h"

namespace testsupport {

namespace {

void Put16(std::vector<uint8_t>& b, size_t at, bool be, uint16_t v) {
  b[at] = be ? uint8_t(v >> 8) : uint8_t(v);
  b[at + 1] = be ? uint8_t(v) : uint8_t(v >> 8);
}

void Put32(std::vector<uint8_t>& b, size_t at, bool be, uint32_t v) {
  for (int i = 0; i < 4; ++i) b[at + size_t(i)] = uint8_t(v >> (be ? 24 - 8 * i : 8 * i));
}

// Writes one directory at the end of b with its values behind it; returns its offset and the
// position of its next link.
size_t WriteIfd(std::vector<uint8_t>& b, bool be, const std::vector<TiffEntry>& entries, size_t* link) {
  if (b.size() % 2) b.push_back(0);
  const size_t at = b.size();
  b.resize(at + 2 + 12 * entries.size() + 4, 0);
  Put16(b, at, be, uint16_t(entries.size()));
  for (size_t i = 0; i < entries.size(); ++i) {
    const TiffEntry& e = entries[i];
    const size_t p = at + 2 + 12 * i;
    Put16(b, p, be, e.tag);
    Put16(b, p + 2, be, e.type);
    Put32(b, p + 4, be, e.count);
    if (e.rawWord) {
      Put32(b, p + 8, be, e.word);
    } else if (e.value.size() <= 4) {
      std::copy(e.value.begin(), e.value.end(), b.begin() + long(p + 8));
    } else {
      if (b.size() % 2) b.push_back(0);
      Put32(b, p + 8, be, uint32_t(b.size()));
      b.insert(b.end(), e.value.begin(), e.value.end());
    }
  }
  *link = at + 2 + 12 * entries.size();
  return at;
}

size_t FindEntry(const std::vector<uint8_t>& b, bool be, size_t ifd, uint16_t tag) {
  const size_t n = be ? (b[ifd] << 8 | b[ifd + 1]) : (b[ifd + 1] << 8 | b[ifd]);
  for (size_t i = 0; i < n; ++i) {
    const size_t p = ifd + 2 + 12 * i;
    const uint16_t t = be ? uint16_t(b[p] << 8 | b[p + 1]) : uint16_t(b[p + 1] << 8 | b[p]);
    if (t == tag) return p;
  }
  return 0;
}

}  // namespace

std::vector<uint8_t> U16s(bool be, std::initializer_list<uint16_t> values) {
  std::vector<uint8_t> b(values.size() * 2);
  size_t i = 0;
  for (uint16_t v : values) Put16(b, 2 * i++, be, v);
  return b;
}

std::vector<uint8_t> U32s(bool be, std::initializer_list<uint32_t> values) {
  std::vector<uint8_t> b(values.size() * 4);
  size_t i = 0;
  for (uint32_t v : values) Put32(b, 4 * i++, be, v);
  return b;
}

std::vector<uint8_t> Text(const std::string& text) {
  std::vector<uint8_t> b(text.begin(), text.end());
  b.push_back(0);
  return b;
}

std::vector<uint8_t> BuildTiff(const TiffLayout& layout) {
  const bool be = layout.bigEndian;
  std::vector<uint8_t> b(8, 0);
  b[0] = b[1] = be ? 'M' : 'I';
  Put16(b, 2, be, 42);
  Put32(b, 4, be, 8);
  std::vector<TiffEntry> primary = layout.primary;
  if (!layout.exif.empty()) primary.push_back({34665, 4, 1, U32s(be, {0})});
  if (!layout.gps.empty()) primary.push_back({34853, 4, 1, U32s(be, {0})});
  size_t link0 = 0, link = 0;
  const size_t ifd0 = WriteIfd(b, be, primary, &link0);
  if (!layout.exif.empty()) Put32(b, FindEntry(b, be, ifd0, 34665) + 8, be, uint32_t(WriteIfd(b, be, layout.exif, &link)));
  if (!layout.gps.empty()) Put32(b, FindEntry(b, be, ifd0, 34853) + 8, be, uint32_t(WriteIfd(b, be, layout.gps, &link)));
  std::vector<TiffEntry> first = layout.thumbnail;
  if (!layout.thumbnailBytes.empty()) {
    first.push_back({513, 4, 1, U32s(be, {0})});
    first.push_back({514, 4, 1, U32s(be, {uint32_t(layout.thumbnailBytes.size())})});
  }
  if (!first.empty()) {
    const size_t ifd1 = WriteIfd(b, be, first, &link);
    Put32(b, link0, be, uint32_t(ifd1));
    if (!layout.thumbnailBytes.empty()) {
      Put32(b, FindEntry(b, be, ifd1, 513) + 8, be, uint32_t(b.size()));
      b.insert(b.end(), layout.thumbnailBytes.begin(), layout.thumbnailBytes.end());
    }
  }
  return b;
}

std::vector<uint8_t> BuildExifPayload(const TiffLayout& layout) {
  std::vector<uint8_t> payload = {'E', 'x', 'i', 'f', 0, 0};
  const std::vector<uint8_t> tiff = BuildTiff(layout);
  payload.insert(payload.end(), tiff.begin(), tiff.end());
  return payload;
}

std::vector<uint8_t> BuildJpeg(const std::vector<std::pair<uint8_t, std::vector<uint8_t>>>& segments) {
  std::vector<uint8_t> b = {0xFF, 0xD8};
  for (const auto& [marker, payload] : segments) {
    const size_t length = payload.size() + 2;
    b.insert(b.end(), {0xFF, marker, uint8_t(length >> 8), uint8_t(length)});
    b.insert(b.end(), payload.begin(), payload.end());
  }
  b.insert(b.end(), {0xFF, 0xDA, 0x00, 0x02, 0x12, 0x34, 0xFF, 0xD9});
  return b;
}

}  // namespace testsupport
