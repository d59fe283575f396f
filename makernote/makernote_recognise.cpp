#include "makernote/makernote_recognise.h"

#include <array>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "exif/ifd_view.h"
#include "frame/error_stack.h"

namespace {

// Where an out-of-line value of a note may lie: low <= v + shift and v + shift + s <= high,
// v being the entry's value word and s its byte size. Each family states the bounds in its
// own frame (from the TIFF header, or from the note's first byte).
struct ValueRange {
  int64_t shift;
  int64_t low;
  int64_t high;
};

struct DirectoryEntry {
  uint16_t tag;
  bool known;     // the type has an element size
  uint32_t word;  // the value word
  uint64_t size;  // element size times count
};

struct Directory {
  std::vector<DirectoryEntry> entries;
  uint32_t next = 0;
};

constexpr int64_t kNoLowBound = std::numeric_limits<int64_t>::min() / 2;

// The entry count at `at`; -1 when it is not inside the span.
int64_t DirectoryCount(const TiffSpan& span, uint64_t at) {
  const IfdView directory(span, at);
  return directory.HasCount() ? int64_t(directory.Count()) : -1;
}

// Reads the entries and the next-IFD word of the directory at `at`; false when they are not
// all inside the span.
bool ReadDirectory(const TiffSpan& span, uint64_t at, TypeSizeFunction typeSize, Directory* directory) {
  const IfdView view(span, at);
  if (!view.HasCount() || !view.Holds(4)) return false;
  directory->entries.clear();
  for (uint32_t i = 0; i < view.Count(); ++i) {
    const IfdEntry entry = view.Entry(i);
    directory->entries.push_back({entry.tag, typeSize(entry.type) != 0, entry.word, entry.ValueSize(typeSize)});
  }
  directory->next = view.Next();
  return true;
}

bool ValueFits(const DirectoryEntry& entry, const ValueRange& range) {
  if (entry.size <= 4) return true;
  int64_t start = int64_t(entry.word) + range.shift;
  return start >= range.low && start + int64_t(entry.size) <= range.high;
}

enum class UnknownType { Rejects, EndsWalk };

// Every entry of a known type with its value inside the range. An unknown type rejects the
// note, or, for Canon, ends the walk with the note judged by what follows.
bool EntriesFit(const Directory& directory, const ValueRange& range, UnknownType unknown) {
  for (const DirectoryEntry& entry : directory.entries) {
    if (!entry.known) return unknown == UnknownType::EndsWalk;
    if (!ValueFits(entry, range)) return false;
  }
  return true;
}

// The directory at `start` of the note must fit the declared size with `tail` bytes behind
// its entries (6 for most families: the next-IFD word and a spare pair).
bool DirectoryFitsNote(const MakerNoteProbe& probe, const TiffSpan& note, uint64_t start, uint64_t tail) {
  int64_t count = DirectoryCount(note, start);
  return count >= 0 && start + uint64_t(count) * 12 + tail <= probe.count;
}

// The note's bytes, read in `bigEndian` order.
TiffSpan NoteView(const MakerNoteProbe& probe, uint32_t bigEndian) { return {probe.note, probe.available, bigEndian}; }

bool Starts(const MakerNoteProbe& probe, const char* signature, size_t length) {
  return probe.available >= length && std::memcmp(probe.note, signature, length) == 0;
}

// "II" or "MM" at the note's byte `at`: 0 or 1, else -1.
int ByteOrderMark(const MakerNoteProbe& probe, uint32_t at) {
  return probe.available < at + 2 ? -1 : TiffByteOrderMark(probe.note + at);
}

// The walk shared by the formats whose table follows a fixed header: fit, then the entries.
uint32_t PlainDirectoryNote(const MakerNoteProbe& probe, uint64_t start, uint32_t bigEndian, uint64_t tail,
                            const ValueRange& range) {
  const TiffSpan note = NoteView(probe, bigEndian);
  Directory directory;
  if (!DirectoryFitsNote(probe, note, start, tail)) return 0;
  if (!ReadDirectory(note, start, ExifTypeSize, &directory)) return 0;
  return EntriesFit(directory, range, UnknownType::Rejects) ? probe.count : 0;
}

// Values counted from the TIFF header, which must lie within the note past `headerSize`.
ValueRange TiffRelativeRange(const MakerNoteProbe& probe, int64_t headerSize) {
  return {probe.bias, int64_t(probe.offset) + headerSize, int64_t(probe.offset) + probe.count};
}

// Sony and Panasonic: a 12-byte header, tables in the Exif byte order, values from the TIFF
// header. Sony's tag 45096 points at a sub-directory whose values obey the same range.
uint32_t TwelveByteHeaderNote(const MakerNoteProbe& probe, uint32_t bigEndian, bool followSubDirectory) {
  const TiffSpan note = NoteView(probe, bigEndian);
  ValueRange range = TiffRelativeRange(probe, 12);
  Directory directory;
  if (!DirectoryFitsNote(probe, note, 12, 6)) return 0;
  if (!ReadDirectory(note, 12, ExifTypeSize, &directory)) return 0;
  if (!EntriesFit(directory, range, UnknownType::Rejects)) return 0;
  if (!followSubDirectory) return probe.count;
  for (const DirectoryEntry& entry : directory.entries) {
    if (entry.tag != 45096 || entry.size > 4) continue;
    if (directory.next != 0) return 0;
    const TiffSpan tiff{probe.segment + 6, uint64_t(probe.segmentSize) - 6, bigEndian};
    int64_t position = int64_t(entry.word) + probe.bias;
    if (position < 0) return 0;
    int64_t inNote = position - int64_t(probe.offset);
    int64_t subCount = DirectoryCount(tiff, uint64_t(position));
    if (subCount < 0 || int64_t(probe.count) - inNote < subCount * 12 + 6) return 0;
    Directory sub;
    if (!ReadDirectory(tiff, uint64_t(position), ExifTypeSize, &sub)) return 0;
    if (!EntriesFit(sub, range, UnknownType::Rejects)) return 0;
  }
  return probe.count;
}

// The Olympus sub-directory tags, in the order of tables 258 to 262.
constexpr std::array<uint16_t, 5> kOlympusSubDirectoryTags{8208, 8224, 8240, 8256, 8272};

}  // namespace

uint32_t MakerNoteOlympusTypeSize(uint32_t type) { return ExifTypeSizeWide(type); }

uint32_t MakerNoteRecogniseNikon(const MakerNoteProbe& probe) {
  static constexpr uint8_t kLittle[10] = {'N', 'i', 'k', 'o', 'n', 0, 2, 0, 0, 0};
  static constexpr uint8_t kBig[10] = {'N', 'i', 'k', 'o', 'n', 0, 2, 16, 0, 0};
  if (probe.available < 10) return 0;
  if (std::memcmp(probe.note, kLittle, 10) != 0 && std::memcmp(probe.note, kBig, 10) != 0) return 0;
  // The header alone makes a Nikon note, whatever follows it.
  return probe.count != 0 ? probe.count : 10;
}

uint32_t MakerNoteRecognisePentax(const MakerNoteProbe& probe) {
  if (probe.count < 12 || !Starts(probe, "AOC\0", 4)) return 0;
  int bigEndian = ByteOrderMark(probe, 4);
  if (bigEndian < 0) return 0;
  return PlainDirectoryNote(probe, 6, uint32_t(bigEndian), 6, TiffRelativeRange(probe, 0));
}

uint32_t MakerNoteRecogniseFujifilm(const MakerNoteProbe& probe) {
  if (probe.available < 12 || !Starts(probe, "FUJIFILM", 8)) return 0;
  uint32_t start = ExifReadU32(0, probe.note + 8);
  if (uint64_t(start) + 2 > probe.count) return 0;
  const TiffSpan note = NoteView(probe, 0);
  Directory directory;
  if (!DirectoryFitsNote(probe, note, start, 6)) return 0;
  if (!ReadDirectory(note, start, ExifTypeSize, &directory) || directory.next != 0) return 0;
  ValueRange range{0, 12, int64_t(probe.count)};
  return EntriesFit(directory, range, UnknownType::Rejects) ? probe.count : 0;
}

uint32_t MakerNoteRecogniseSony(const MakerNoteProbe& probe) {
  if (!Starts(probe, "SONY DSC \0\0\0", 12)) return 0;
  return TwelveByteHeaderNote(probe, probe.exifBigEndian, true);
}

uint32_t MakerNoteRecognisePanasonic(const MakerNoteProbe& probe) {
  if (!Starts(probe, "Panasonic\0\0\0", 12)) return 0;
  uint32_t result = TwelveByteHeaderNote(probe, probe.exifBigEndian, false);
  // Another tool may have rewritten the note in the wrong order; a moved note gets one retry.
  if (result == 0 && probe.bias != 0) result = TwelveByteHeaderNote(probe, probe.exifBigEndian ^ 1u, false);
  return result;
}

uint32_t MakerNoteRecogniseCasio(const MakerNoteProbe& probe) {
  if (!Starts(probe, "QVC\0\0\0", 6)) return 0;
  return PlainDirectoryNote(probe, 6, probe.exifBigEndian, 12, TiffRelativeRange(probe, 6));
}

uint32_t MakerNoteRecogniseOlympus(const MakerNoteProbe& probe) {
  if (!Starts(probe, "OLYMPUS\0", 8)) return 0;
  int bigEndian = ByteOrderMark(probe, 8);
  if (bigEndian < 0 || probe.available < 12 || ExifReadU16(uint32_t(bigEndian), probe.note + 10) != 3) return 0;
  const TiffSpan note = NoteView(probe, uint32_t(bigEndian));
  ValueRange range{0, 12, int64_t(probe.count)};
  Directory directory;
  if (!DirectoryFitsNote(probe, note, 12, 6)) return 0;
  if (!ReadDirectory(note, 12, MakerNoteOlympusTypeSize, &directory)) return 0;
  if (!EntriesFit(directory, range, UnknownType::Rejects)) return 0;
  for (uint16_t tag : kOlympusSubDirectoryTags) {
    for (const DirectoryEntry& entry : directory.entries) {
      if (entry.tag != tag || entry.size > 4 || entry.word == 0) continue;
      Directory sub;
      // A sub-directory that does not fit ends the walking; the note is still good.
      if (!DirectoryFitsNote(probe, note, entry.word, 6) ||
          !ReadDirectory(note, entry.word, MakerNoteOlympusTypeSize, &sub))
        return probe.count;
      if (!EntriesFit(sub, range, UnknownType::Rejects)) return 0;
    }
  }
  return probe.count;
}

uint32_t MakerNoteRecogniseCanon(const MakerNoteProbe& probe) {
  if (probe.count < 14 || probe.count > probe.available) return 0;
  const uint8_t* footer = probe.note + probe.count - 8;
  int bigEndian = TiffByteOrderMark(footer);
  if (bigEndian < 0 || ExifReadU16(uint32_t(bigEndian), footer + 2) != 42) return 0;
  uint32_t base = ExifReadU32(uint32_t(bigEndian), footer + 4);
  const TiffSpan note = NoteView(probe, uint32_t(bigEndian));
  Directory directory;
  if (!DirectoryFitsNote(probe, note, 0, 6)) return 0;
  if (!ReadDirectory(note, 0, ExifTypeSize, &directory) || directory.next != 0) return 0;
  ValueRange range{0, kNoLowBound, int64_t(probe.count) + int64_t(base) - 8};
  return EntriesFit(directory, range, UnknownType::EndsWalk) ? probe.count : 0;
}

int MakerNoteProbeMake(const uint8_t* segment, uint32_t size, const TagEntry* noteTag, uint32_t offsetBias,
                       MakerNoteProbe* probe) {
  if (segment == nullptr || noteTag == nullptr || probe == nullptr || size < 14) return 0;
  if (uint64_t(size) < uint64_t(noteTag->sourceWord) + 6) return 0;
  const uint8_t* tiff = segment + 6;
  if (TiffByteOrderMark(tiff) < 0) return 0;
  probe->segment = segment;
  probe->segmentSize = size;
  probe->offset = noteTag->sourceWord;
  probe->note = segment + 6 + noteTag->sourceWord;
  probe->available = size - 6 - noteTag->sourceWord;
  probe->count = noteTag->count;
  probe->bias = int32_t(offsetBias);
  probe->exifBigEndian = tiff[0] == 'M' ? 1 : 0;
  return 1;
}

uint32_t MakerNoteRecogniseFamily(const uint8_t* segment, uint32_t size, const TagEntry* noteTag,
                                  uint32_t offsetBias) {
  MakerNoteProbe probe;
  if (!MakerNoteProbeMake(segment, size, noteTag, offsetBias, &probe)) return 0;
  for (const MakerNoteDescriptor* row : MakerNoteFamilies())
    if (row->recognise(probe) != 0) return row->family;
  return 0;
}

int MakerNoteHandlerCreate(uint32_t family, std::unique_ptr<MakerNoteHandler>* handler) {
  if (handler == nullptr) return ErrorPush(ErrInvalidArgument), 0;
  handler->reset();
  const MakerNoteDescriptor* row = MakerNoteFamilyFind(family);
  if (row == nullptr || row->create == nullptr) return ErrorPush(ErrMakerNoteUnknown), 0;
  auto record = std::make_unique<MakerNoteHandler>();
  record->descriptor = row;
  record->family = family;
  record->context = row->create();
  if (record->context == nullptr) return ErrorPush(ErrNoMemory), 0;
  *handler = std::move(record);
  return 1;
}

int MakerNoteRecognise(const uint8_t* segment, uint32_t size, TagEntry* noteTag, uint32_t offsetBias,
                       std::unique_ptr<MakerNoteHandler>* handler) {
  if (handler == nullptr) return 0;
  handler->reset();
  const MakerNoteDescriptor* row = MakerNoteFamilyFind(MakerNoteRecogniseFamily(segment, size, noteTag, offsetBias));
  // A family without a handler yet: its note is carried as bytes.
  if (row == nullptr || row->create == nullptr) return 0;
  if (!MakerNoteHandlerCreate(row->family, handler)) return 0;
  (*handler)->segment = segment;
  (*handler)->segmentSize = size;
  (*handler)->noteTag = noteTag;
  (*handler)->offsetBias = offsetBias;
  return 1;
}
