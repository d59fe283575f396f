// Bounded reading of TIFF structures: one view that every directory walk goes through (the
// reader, the patcher, the MakerNote recognisers and handlers).
//
// A TiffSpan is a stretch of bytes with a byte order; offsets count from its first byte (the
// TIFF header, or whatever a format's pointers count from). An IfdView is one directory in a
// span. Every read is checked against the span's size first; a read that does not fit answers 0.
// In IfdCheck::Push mode a failed bound also pushes 788 (ErrOutOfRange), as the reader reports
// it; in Quiet mode it only answers false, as a recogniser that merely asks.
#pragma once

#include <cstdint>
#include <vector>

#include "exif/exif_document.h"

enum class IfdCheck { Quiet, Push };

// The size of a span over a structure this process has just built itself and whose end the
// caller does not know: every bound holds.
constexpr uint64_t kTiffSpanUnbounded = UINT64_MAX;

struct TiffSpan {
  const uint8_t* bytes = nullptr;
  uint64_t size = 0;
  uint32_t bigEndian = 0;
  IfdCheck check = IfdCheck::Quiet;

  // Whether `length` bytes at `at` lie inside the span (pushes 788 in Push mode when not).
  bool Holds(uint64_t at, uint64_t length) const;
  // Numbers in the span's order; 0 when they do not fit.
  uint16_t U16(uint64_t at) const;
  uint32_t U32(uint64_t at) const;
};

// "II" or "MM" at bytes: 0 or 1, else -1.
int TiffByteOrderMark(const uint8_t* bytes);

// The 8-byte TIFF header at the span's start: byte order, 42, first directory. In Push mode a
// bad order pushes 786 and a bad magic number 787.
struct TiffHeader {
  uint32_t bigEndian = 0;
  uint32_t firstIfdOffset = 0;
};
bool TiffHeaderRead(const uint8_t* bytes, IfdCheck check, TiffHeader* header);

// One 12-byte entry as it stands in the span.
struct IfdEntry {
  uint16_t tag = 0;
  uint16_t type = 0;
  uint32_t count = 0;
  uint32_t word = 0;      // the value word, read in the span's order
  uint64_t position = 0;  // where the entry stands in the span

  // Element size times count, in 64 bits so that no count overflows it.
  uint64_t ValueSize(TypeSizeFunction typeSize) const { return uint64_t(typeSize(type)) * count; }
};

class IfdView {
 public:
  // The directory at `offset`; its count is read when it fits (HasCount()).
  IfdView(const TiffSpan& span, uint64_t offset);

  // Whether the 2-byte count fits (pushes 788 in Push mode when not).
  bool HasCount() const;
  uint32_t Count() const { return count_; }
  uint64_t Offset() const { return offset_; }
  // Where the entries end: offset + 2 + 12 * count.
  uint64_t EntriesEnd() const { return offset_ + 2 + uint64_t(count_) * 12; }
  // Whether all entries and `tail` bytes behind them fit (4 for the next-directory link).
  bool Holds(uint64_t tail) const;
  // Whether entry `index` fits whole; entries read past the span are zero.
  bool EntryFits(uint32_t index) const;
  IfdEntry Entry(uint32_t index) const;
  // The index of the first entry with `tag` among those that fit, or -1.
  int64_t Find(uint16_t tag) const;
  // The next-directory link behind the entries, 0 when it does not fit.
  uint32_t Next() const;
  // A value's bytes: inside the entry when `size` is at most 4, else at the value word (plus
  // `shift`); nullptr when they do not fit (pushes 788 in Push mode).
  const uint8_t* Value(const IfdEntry& entry, uint64_t size, int64_t shift = 0) const;

  const TiffSpan& Span() const { return span_; }

 private:
  TiffSpan span_;
  uint64_t offset_;
  uint32_t count_ = 0;
};

// Directories already entered, for walks that follow links: a directory met twice is a cycle.
class IfdVisited {
 public:
  // True the first time an offset is entered, false for every later time.
  bool Enter(uint64_t offset);

 private:
  std::vector<uint64_t> seen_;
};
