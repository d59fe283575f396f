// Bounded reading of TIFF structures.
#include "exif/ifd_view.h"

#include <algorithm>

#include "frame/error_stack.h"

namespace {

constexpr uint64_t kEntrySize = 12;

// The bound without a trace on the error stack, for reads that answer 0 when out of bounds.
bool Fits(const TiffSpan& span, uint64_t at, uint64_t length) {
  return span.bytes != nullptr && at <= span.size && length <= span.size - at;
}

}  // namespace

bool TiffSpan::Holds(uint64_t at, uint64_t length) const {
  if (Fits(*this, at, length)) return true;
  if (check == IfdCheck::Push) ErrorPush(ErrOutOfRange);
  return false;
}

uint16_t TiffSpan::U16(uint64_t at) const { return Fits(*this, at, 2) ? ExifReadU16(bigEndian, bytes + at) : 0; }

uint32_t TiffSpan::U32(uint64_t at) const { return Fits(*this, at, 4) ? ExifReadU32(bigEndian, bytes + at) : 0; }

int TiffByteOrderMark(const uint8_t* bytes) {
  if (bytes[0] == 'I' && bytes[1] == 'I') return 0;
  if (bytes[0] == 'M' && bytes[1] == 'M') return 1;
  return -1;
}

bool TiffHeaderRead(const uint8_t* bytes, IfdCheck check, TiffHeader* header) {
  const int order = TiffByteOrderMark(bytes);
  if (order < 0) {
    if (check == IfdCheck::Push) ErrorPush(ErrByteOrder);
    return false;
  }
  if (ExifReadU16(uint32_t(order), bytes + 2) != 42) {
    if (check == IfdCheck::Push) ErrorPush(ErrTiffMagic);
    return false;
  }
  header->bigEndian = uint32_t(order);
  header->firstIfdOffset = ExifReadU32(uint32_t(order), bytes + 4);
  return true;
}

IfdView::IfdView(const TiffSpan& span, uint64_t offset) : span_(span), offset_(offset) {
  if (Fits(span_, offset_, 2)) count_ = ExifReadU16(span_.bigEndian, span_.bytes + offset_);
}

bool IfdView::HasCount() const { return span_.Holds(offset_, 2); }

bool IfdView::Holds(uint64_t tail) const { return span_.Holds(offset_, 2 + uint64_t(count_) * kEntrySize + tail); }

bool IfdView::EntryFits(uint32_t index) const {
  return index < count_ && Fits(span_, offset_ + 2 + uint64_t(index) * kEntrySize, kEntrySize);
}

IfdEntry IfdView::Entry(uint32_t index) const {
  IfdEntry entry;
  entry.position = offset_ + 2 + uint64_t(index) * kEntrySize;
  if (!EntryFits(index)) return entry;
  const uint8_t* at = span_.bytes + entry.position;
  entry.tag = ExifReadU16(span_.bigEndian, at);
  entry.type = ExifReadU16(span_.bigEndian, at + 2);
  entry.count = ExifReadU32(span_.bigEndian, at + 4);
  entry.word = ExifReadU32(span_.bigEndian, at + 8);
  return entry;
}

int64_t IfdView::Find(uint16_t tag) const {
  for (uint32_t i = 0; i < count_ && EntryFits(i); ++i)
    if (span_.U16(offset_ + 2 + uint64_t(i) * kEntrySize) == tag) return i;
  return -1;
}

uint32_t IfdView::Next() const { return span_.U32(EntriesEnd()); }

const uint8_t* IfdView::Value(const IfdEntry& entry, uint64_t size, int64_t shift) const {
  if (size <= 4) return Fits(span_, entry.position + 8, 4) ? span_.bytes + entry.position + 8 : nullptr;
  const int64_t start = int64_t(entry.word) + shift;
  if (start < 0 || !span_.Holds(uint64_t(start), size)) {
    if (start < 0 && span_.check == IfdCheck::Push) ErrorPush(ErrOutOfRange);
    return nullptr;
  }
  return span_.bytes + start;
}

bool IfdVisited::Enter(uint64_t offset) {
  if (std::find(seen_.begin(), seen_.end(), offset) != seen_.end()) return false;
  seen_.push_back(offset);
  return true;
}
