#include "makernote/makernote_extent.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "makernote/makernote_recognise.h"

namespace {

constexpr uint32_t kHeaderSize = 6;  // "Exif\0\0"
constexpr uint32_t kMaxTables = 16;  // the main table and its sub-directories, loops cut off
constexpr uint32_t kMaxEntries = 1024;

// Where a layout's offsets count from.
enum class Base { Tiff, Note, Embedded };

// The byte order of a layout's tables: from a mark in the note, or one of these.
constexpr int kExifOrder = -1;
constexpr int kLittleEndian = -2;

// One note layout: the signature that selects it, where its table starts (or the note's byte
// holding that start as a little-endian word), its byte order, the base of its value offsets and
// its element sizes. Tags in `pointers` hold the position of a sub-directory.
struct NoteLayout {
  const char* signature;
  uint32_t signatureSize;
  uint32_t tableStart;
  int tableStartAt;  // -1: tableStart is the start itself
  int orderAt;       // the note's byte holding "II"/"MM", kExifOrder or kLittleEndian
  Base base;
  bool wideTypes;  // the sizes of types 11 and 13 known as well
  std::array<uint16_t, 5> pointers;
};

// The layouts by signature. Nikon's embedded TIFF header (at byte 10) gives its order and the
// offset of its table.
constexpr std::array<NoteLayout, 10> kLayouts{{
    {"Nikon\0\2", 7, 0, 14, 10, Base::Embedded, false, {17, 3600}},
    {"AOC\0", 4, 6, -1, 4, Base::Tiff, false, {}},
    {"FUJIFILM", 8, 0, 8, kLittleEndian, Base::Note, false, {}},
    {"SONY DSC \0\0\0", 12, 12, -1, kExifOrder, Base::Tiff, false, {45096}},
    {"Panasonic\0\0\0", 12, 12, -1, kExifOrder, Base::Tiff, false, {}},
    {"QVC\0\0\0", 6, 6, -1, kExifOrder, Base::Tiff, false, {}},
    {"OLYMPUS\0", 8, 12, -1, 8, Base::Note, true, {8208, 8224, 8240, 8256, 8272}},
    {"OLYMP\0", 6, 8, -1, kExifOrder, Base::Tiff, false, {}},
    {"EPSON\0", 6, 8, -1, kExifOrder, Base::Tiff, false, {}},
    {"SIGMA\0\0\0", 8, 10, -1, kExifOrder, Base::Tiff, false, {}},
}};

// Table starts tried, in order, for a note whose signature no layout knows.
constexpr std::array<uint32_t, 8> kGuessStarts{0, 8, 10, 12, 6, 14, 18, 16};

struct Reader {
  const uint8_t* tiff;  // the TIFF header
  uint64_t size;        // bytes from there to the payload's end
  uint32_t bigEndian;
  int64_t valueBase;  // added to a value word to give its place from the TIFF header
  int64_t noteFirst;  // the note's place, for the guessed layout's second reading
  bool guessed;
  bool Holds(int64_t at, uint64_t length) const { return at >= 0 && uint64_t(at) <= size && length <= size - at; }
};

void AddRange(std::vector<ExifByteRange>* ranges, int64_t first, uint64_t length) {
  if (length == 0 || first < 0 || uint64_t(first) + length > 0xFFFFFFFFull) return;
  ranges->push_back({uint32_t(first), uint32_t(first + int64_t(length))});
}

void MergeRanges(std::vector<ExifByteRange>* ranges) {
  std::sort(ranges->begin(), ranges->end(),
            [](const ExifByteRange& a, const ExifByteRange& b) { return a.first < b.first; });
  std::vector<ExifByteRange> merged;
  for (const ExifByteRange& range : *ranges) {
    if (!merged.empty() && range.first <= merged.back().end)
      merged.back().end = std::max(merged.back().end, range.end);
    else
      merged.push_back(range);
  }
  *ranges = std::move(merged);
}

// Whether the directory at `at` looks like one: a sane count, all of it in the payload, and
// every entry of a type with a size. Only a guessed layout needs the test of the types.
bool DirectoryPlausible(const Reader& reader, int64_t at, bool checkTypes) {
  if (!reader.Holds(at, 2)) return false;
  const uint32_t count = ExifReadU16(reader.bigEndian, reader.tiff + at);
  if (count > kMaxEntries || (checkTypes && count == 0) || !reader.Holds(at, 2 + uint64_t(count) * 12 + 4))
    return false;
  for (uint32_t i = 0; checkTypes && i < count; ++i)
    if (ExifTypeSizeWide(ExifReadU16(reader.bigEndian, reader.tiff + at + 2 + i * 12 + 2)) == 0) return false;
  return true;
}

// Where an out-of-line value lies from the TIFF header, or -1. A guessed layout reads a word
// first from the TIFF header, then from the note's first byte.
int64_t ValuePlace(const Reader& reader, uint32_t word, uint64_t size) {
  const int64_t place = reader.valueBase + int64_t(word);
  if (reader.Holds(place, size)) return place;
  if (reader.guessed && reader.Holds(reader.noteFirst + int64_t(word), size)) return reader.noteFirst + int64_t(word);
  return -1;
}

// Reads the directory at `at` into a table; sub-directories are queued in `pending`.
void WalkDirectory(const Reader& reader, int64_t at, uint16_t parentTag, const NoteLayout* layout, MakerNoteWalk* walk,
                   std::vector<std::pair<uint16_t, int64_t>>* pending) {
  MakerNoteWalkTable table;
  table.parentTag = parentTag;
  const uint32_t count = ExifReadU16(reader.bigEndian, reader.tiff + at);
  AddRange(&walk->ranges, at, 2 + uint64_t(count) * 12 + 4);
  const TypeSizeFunction sizeOf = layout != nullptr && layout->wideTypes ? MakerNoteOlympusTypeSize : ExifTypeSize;
  for (uint32_t i = 0; i < count; ++i) {
    const uint8_t* field = reader.tiff + at + 2 + i * 12;
    MakerNoteWalkEntry entry;
    entry.tag = ExifReadU16(reader.bigEndian, field);
    entry.type = ExifReadU16(reader.bigEndian, field + 2);
    entry.count = ExifReadU32(reader.bigEndian, field + 4);
    const uint32_t word = ExifReadU32(reader.bigEndian, field + 8);
    const uint64_t size = uint64_t(sizeOf(entry.type)) * entry.count;
    if (size <= 4) {
      // The bytes of the field behind a shorter value are padding, no part of it (a type of
      // unknown size keeps the whole field).
      entry.value.assign(field + 8, field + 8 + (size == 0 ? 4 : size));
    } else if (const int64_t place = ValuePlace(reader, word, size); place >= 0) {
      entry.value.assign(reader.tiff + place, reader.tiff + place + size);
      AddRange(&walk->ranges, place, size);
    } else {
      entry.valid = false;
    }
    // Values are kept little-endian, so that a note rebuilt in the other byte order compares
    // equal to the one it was read from; bytes of a type the engine does not size stay as they are.
    if (reader.bigEndian && entry.valid && sizeOf(entry.type) == ExifTypeSize(entry.type) && size > 0) {
      const std::vector<uint8_t> file = entry.value;
      ExifSwapValue(file.data(), entry.value.data(), entry.type, entry.count);
    }
    const bool pointer =
        layout != nullptr && entry.tag != 0 &&
        std::find(layout->pointers.begin(), layout->pointers.end(), entry.tag) != layout->pointers.end();
    if (pointer && word != 0 && size <= 4) pending->push_back({entry.tag, reader.valueBase + int64_t(word)});
    if (reader.guessed && word != 0 && entry.count == 1 && (entry.type == TypeLong || entry.type == 13)) {
      // A note of unknown layout may point at sub-directories too: a single offset where a
      // plausible directory stands is taken for one.
      if (DirectoryPlausible(reader, reader.valueBase + int64_t(word), true))
        pending->push_back({entry.tag, reader.valueBase + int64_t(word)});
      else if (DirectoryPlausible(reader, reader.noteFirst + int64_t(word), true))
        pending->push_back({entry.tag, reader.noteFirst + int64_t(word)});
      if (pending->back().first == entry.tag) walk->pointerTags.push_back(entry.tag);
    }
    table.entries.push_back(std::move(entry));
  }
  walk->tables.push_back(std::move(table));
}

const NoteLayout* FindLayout(const uint8_t* note, uint64_t available) {
  for (const NoteLayout& layout : kLayouts)
    if (available >= layout.signatureSize && std::memcmp(note, layout.signature, layout.signatureSize) == 0)
      return &layout;
  return nullptr;
}

int ByteOrderAt(const uint8_t* bytes) {
  if (bytes[0] == 'I' && bytes[1] == 'I') return 0;
  if (bytes[0] == 'M' && bytes[1] == 'M') return 1;
  return -1;
}

// Sets the reader for a known layout; false when the note is too short for it.
bool ReaderForLayout(const NoteLayout& layout, int64_t noteAt, int32_t bias, Reader* reader, int64_t* tableAt) {
  if (!reader->Holds(noteAt, std::max<uint32_t>(layout.tableStart, 16) + 2)) return false;
  const uint8_t* note = reader->tiff + noteAt;
  if (layout.orderAt >= 0) {
    const int order = ByteOrderAt(note + layout.orderAt);
    if (order < 0) return false;
    reader->bigEndian = uint32_t(order);
  } else if (layout.orderAt == kLittleEndian) {
    reader->bigEndian = 0;
  }
  const uint32_t start =
      layout.tableStartAt >= 0 ? ExifReadU32(reader->bigEndian, note + layout.tableStartAt) : layout.tableStart;
  reader->valueBase = layout.base == Base::Tiff ? bias : layout.base == Base::Note ? noteAt : noteAt + 10;
  *tableAt = (layout.base == Base::Embedded ? reader->valueBase : noteAt) + start;
  return true;
}

// A bare directory whose last 8 bytes name its byte order, 42 and the place its offsets count
// from (Canon): read in that order, values from that place. False when there is no such footer.
bool ReaderFooter(int64_t noteAt, uint32_t count, Reader* reader, int64_t* tableAt) {
  if (count < 14 || !reader->Holds(noteAt, count)) return false;
  const uint8_t* footer = reader->tiff + noteAt + count - 8;
  const int order = ByteOrderAt(footer);
  if (order < 0 || ExifReadU16(uint32_t(order), footer + 2) != 42) return false;
  reader->bigEndian = uint32_t(order);
  if (!DirectoryPlausible(*reader, noteAt, true)) return false;
  reader->valueBase = noteAt - int64_t(ExifReadU32(uint32_t(order), footer + 4));
  *tableAt = noteAt;
  return true;
}

// The first table start and byte order at which a plausible directory stands, for a note no
// layout knows. Its values are read from the TIFF header (with bias), else from the note.
bool ReaderGuessed(int64_t noteAt, uint32_t count, int32_t bias, Reader* reader, int64_t* tableAt) {
  const uint32_t exifOrder = reader->bigEndian;
  for (uint32_t start : kGuessStarts) {
    for (uint32_t order : {exifOrder, exifOrder ^ 1u}) {
      reader->bigEndian = order;
      if (start + 2 > count || !DirectoryPlausible(*reader, noteAt + start, true)) continue;
      const uint32_t entries = ExifReadU16(order, reader->tiff + noteAt + start);
      if (start + 2 + uint64_t(entries) * 12 > count) continue;  // the directory lies in the note
      reader->valueBase = bias;
      reader->guessed = true;
      *tableAt = noteAt + start;
      return true;
    }
  }
  reader->bigEndian = exifOrder;
  return false;
}

}  // namespace

int MakerNoteWalkPayload(const uint8_t* payload, uint32_t size, uint32_t offset, uint32_t count, int32_t bias,
                         MakerNoteWalk* walk) {
  if (payload == nullptr || walk == nullptr || size < kHeaderSize + 8) return 0;
  *walk = MakerNoteWalk{};
  Reader reader{payload + kHeaderSize, size - kHeaderSize, payload[kHeaderSize] == 'M' ? 1u : 0u, 0, offset, false};
  const int64_t noteAt = offset;
  AddRange(&walk->ranges, noteAt, std::min<uint64_t>(count, reader.Holds(noteAt, 0) ? reader.size - noteAt : 0));
  if (!reader.Holds(noteAt, 2)) return 1;
  const NoteLayout* layout = FindLayout(reader.tiff + noteAt, reader.size - uint64_t(noteAt));
  int64_t tableAt = 0;
  const bool footer = layout == nullptr && ReaderFooter(noteAt, count, &reader, &tableAt);
  const bool readable = layout != nullptr ? ReaderForLayout(*layout, noteAt, bias, &reader, &tableAt)
                                          : footer || ReaderGuessed(noteAt, count, bias, &reader, &tableAt);
  // Some notes of a family that follows the Exif's order are written in the other one (Casio's
  // "QVC" notes are big-endian in little-endian files): the order whose directory reads is taken.
  if (readable && layout != nullptr && layout->orderAt == kExifOrder && !DirectoryPlausible(reader, tableAt, true)) {
    reader.bigEndian ^= 1u;
    if (!DirectoryPlausible(reader, tableAt, true)) reader.bigEndian ^= 1u;
  }
  walk->exifOrder = readable && reader.bigEndian == (payload[kHeaderSize] == 'M' ? 1u : 0u) &&
                    (layout == nullptr || layout->orderAt == kExifOrder);
  if (layout != nullptr)
    for (uint16_t tag : layout->pointers)
      if (tag != 0) walk->pointerTags.push_back(tag);
  std::vector<std::pair<uint16_t, int64_t>> pending{{0, tableAt}};
  for (size_t next = 0; readable && next < pending.size() && walk->tables.size() < kMaxTables; ++next) {
    if (!DirectoryPlausible(reader, pending[next].second, false)) continue;
    WalkDirectory(reader, pending[next].second, pending[next].first, layout, walk, &pending);
  }
  MergeRanges(&walk->ranges);
  return 1;
}

int MakerNoteExtent(const ExifDocument* document, std::vector<ExifByteRange>* ranges) {
  if (document == nullptr || ranges == nullptr) return 0;
  const TagEntry* note = nullptr;
  const TagEntry* schema = nullptr;
  for (const TagEntry& entry : document->tables[SlotExif].tags) {
    if (entry.tag == TagMakerNote) note = &entry;
    if (entry.tag == TagOffsetSchema) schema = &entry;
  }
  if (note == nullptr || document->rawSize == 0) return 0;
  MakerNoteWalk walk;
  const int32_t bias = schema != nullptr ? schema->S32(0) : 0;
  if (!MakerNoteWalkPayload(document->raw.data(), document->rawSize, note->sourceWord, note->count, bias, &walk))
    return 0;
  *ranges = std::move(walk.ranges);
  return 1;
}
