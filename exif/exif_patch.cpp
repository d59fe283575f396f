// Patching finished payload bytes in place: one entry overwritten or removed, or the count and
// value word of an entry set, without moving anything else.
#include <algorithm>
#include <cstring>

#include "exif/exif_writer.h"

namespace {

constexpr uint32_t kEntrySize = 12;

// Writes a host-order value array in the payload's order, by element size (ExifTypeSizeWide):
// bytes as they are, 16-bit words, and 32-bit words (a rational as two).
void PatchWriteValue(uint8_t* out, uint32_t type, uint32_t count, const uint8_t* value, uint32_t bigEndian) {
  uint32_t size = ExifTypeSizeWide(type);
  if (size == 1) {
    std::memcpy(out, value, count);
  } else if (size == 2) {
    for (uint32_t i = 0; i < count; ++i) {
      uint16_t word;
      std::memcpy(&word, value + 2 * i, 2);
      ExifWriteU16(bigEndian, out + 2 * i, word);
    }
  } else if (size == 4 || size == 8) {
    for (uint32_t i = 0; i < count * (size / 4); ++i) {
      uint32_t word;
      std::memcpy(&word, value + 4 * i, 4);
      ExifWriteU32(bigEndian, out + 4 * i, word);
    }
  }
}

// Whether `size` bytes at `at` stand inside [low, high); always true without a bound.
bool Inside(const uint8_t* at, uint64_t size, const uint8_t* low, const uint8_t* high) {
  if (high == nullptr) return true;
  return at >= low && at <= high && size <= uint64_t(high - at);
}

}  // namespace

int ExifPatchEntry(uint8_t* directory, uint32_t baseOffset, uint16_t tag, uint16_t type, uint32_t count,
                   const void* value, uint32_t bigEndian, const uint8_t* payloadEnd) {
  if (directory == nullptr || (count > 0 && value == nullptr)) return 0;
  uint8_t* tiff = directory - baseOffset;
  if (!Inside(directory, 2, tiff, payloadEnd)) return 0;
  uint32_t entries = ExifReadU16(bigEndian, directory);
  // The entries and the next-IFD link behind them.
  if (!Inside(directory, 2 + uint64_t(entries) * kEntrySize + 4, tiff, payloadEnd)) return 0;
  uint32_t index = 0;
  while (index < entries && ExifReadU16(bigEndian, directory + 2 + index * kEntrySize) != tag) ++index;
  if (index == entries) return -1;
  uint8_t* entry = directory + 2 + index * kEntrySize;

  uint64_t oldSize = uint64_t(ExifTypeSizeWide(ExifReadU16(bigEndian, entry + 2))) * ExifReadU32(bigEndian, entry + 4);
  uint64_t newSize = uint64_t(ExifTypeSizeWide(type)) * count;
  if (newSize > 4 && oldSize < newSize) return 0;
  uint8_t* oldValue = nullptr;
  if (oldSize > 4) {
    oldValue = tiff + ExifReadU32(bigEndian, entry + 8);
    if (!Inside(oldValue, oldSize, tiff, payloadEnd)) return 0;
    std::memset(oldValue, 0, size_t(oldSize));
  }

  if (count > 0) {
    ExifWriteU16(bigEndian, entry + 2, type);
    ExifWriteU32(bigEndian, entry + 4, count);
    const uint8_t* bytes = static_cast<const uint8_t*>(value);
    if (newSize <= 4) {
      std::memset(entry + 8, 0, 4);
      PatchWriteValue(entry + 8, type, count, bytes, bigEndian);
    } else {
      PatchWriteValue(oldValue, type, count, bytes, bigEndian);  // the old place: it is large enough
    }
    return 1;
  }

  // Removal: the later entries and the link move up one place; the freed tail is zeroed. The
  // removed value's bytes stay in the payload, zeroed above.
  uint8_t* end = directory + 2 + entries * kEntrySize + 4;
  std::memmove(entry, entry + kEntrySize, size_t(end - entry - kEntrySize));
  std::memset(end - kEntrySize, 0, kEntrySize);
  ExifWriteU16(bigEndian, directory, uint16_t(entries - 1));
  return 1;
}

void ExifPatchValueField(uint8_t* directory, uint16_t tag, uint32_t count, uint32_t value, uint32_t bigEndian) {
  if (directory == nullptr) return;
  uint32_t entries = ExifReadU16(bigEndian, directory);
  for (uint32_t i = 0; i < entries; ++i) {
    uint8_t* entry = directory + 2 + i * kEntrySize;
    if (ExifReadU16(bigEndian, entry) != tag) continue;
    ExifWriteU32(bigEndian, entry + 4, count);
    ExifWriteU32(bigEndian, entry + 8, value);
    return;
  }
}
