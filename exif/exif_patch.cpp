// Patching finished payload bytes in place: one entry overwritten or removed, or the count and
// value word of an entry set, without moving anything else.
#include <algorithm>
#include <cstring>

#include "exif/exif_writer.h"
#include "exif/ifd_view.h"

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

}  // namespace

int ExifPatchEntry(uint8_t* directory, uint32_t baseOffset, uint16_t tag, uint16_t type, uint32_t count,
                   const void* value, uint32_t bigEndian, const uint8_t* payloadEnd) {
  if (directory == nullptr || (count > 0 && value == nullptr)) return 0;
  uint8_t* tiff = directory - baseOffset;
  const uint64_t size = payloadEnd == nullptr ? kTiffSpanUnbounded : payloadEnd >= tiff ? uint64_t(payloadEnd - tiff) : 0;
  const IfdView view(TiffSpan{tiff, size, bigEndian}, baseOffset);
  // The entries and the next-IFD link behind them.
  if (!view.HasCount() || !view.Holds(4)) return 0;
  const uint32_t entries = view.Count();
  const int64_t index = view.Find(tag);
  if (index < 0) return -1;
  const IfdEntry found = view.Entry(uint32_t(index));
  uint8_t* entry = tiff + found.position;

  uint64_t oldSize = found.ValueSize(ExifTypeSizeWide);
  uint64_t newSize = uint64_t(ExifTypeSizeWide(type)) * count;
  if (newSize > 4 && oldSize < newSize) return 0;
  uint8_t* oldValue = nullptr;
  if (oldSize > 4) {
    if (view.Value(found, oldSize) == nullptr) return 0;
    oldValue = tiff + found.word;
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
  // A directory this process has just written: its end is trusted.
  const IfdView view(TiffSpan{directory, kTiffSpanUnbounded, bigEndian}, 0);
  const int64_t index = view.Find(tag);
  if (index < 0) return;
  uint8_t* entry = directory + view.Entry(uint32_t(index)).position;
  ExifWriteU32(bigEndian, entry + 4, count);
  ExifWriteU32(bigEndian, entry + 8, value);
}
