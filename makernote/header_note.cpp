// The one handler of the Sony, Panasonic, Casio and Pentax notes, driven by HeaderNoteLayout.
#include "makernote/header_note.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "exif/exif_reader.h"
#include "exif/exif_writer.h"
#include "frame/error_stack.h"

namespace {

constexpr uint32_t kLargestPentaxPreview = 65535;

// Where the note stands in its payload, and the frame its pointers are read in.
struct NotePlace {
  const uint8_t* tiff;  // the Exif TIFF header
  uint64_t tiffSize;    // bytes from the TIFF header to the payload's end
  int64_t offset;       // the note's place from the TIFF header
  int64_t count;        // its declared size
  int64_t bias;         // tag 59933: stored pointers plus bias give true places
};

int Fail(uint32_t code) { return ErrorPush(code), 0; }

void SyncCount(IfdTable* table) { table->entryCount = uint16_t(std::min<size_t>(table->tags.size(), 0xFFFF)); }

// Every out-of-line value of the directory at `at` (from the TIFF header) lies inside the note,
// and the directory itself does. The engine's directory reader bounds values only from above,
// so the lower bound is tested here first.
bool DirectoryInsideNote(const NotePlace& place, int64_t at, uint32_t bigEndian) {
  const int64_t end = place.offset + place.count;
  if (at < place.offset || at + 2 > end) return false;
  const uint8_t* directory = place.tiff + at;
  const uint16_t entries = ExifReadU16(bigEndian, directory);
  if (at + 2 + int64_t(entries) * 12 + 4 > end) return false;
  for (uint32_t i = 0; i < entries; ++i) {
    const uint8_t* entry = directory + 2 + i * 12;
    const uint64_t size = uint64_t(ExifTypeSize(ExifReadU16(bigEndian, entry + 2))) * ExifReadU32(bigEndian, entry + 4);
    if (ExifTypeSize(ExifReadU16(bigEndian, entry + 2)) == 0) return false;
    if (size <= 4) continue;
    const int64_t start = int64_t(ExifReadU32(bigEndian, entry + 8)) + place.bias;
    if (start < place.offset || start + int64_t(size) > end) return false;
  }
  return true;
}

// Reads the directory at `at` (from the TIFF header) into `table` with the engine's reader;
// its values are found at their stored pointers plus the bias.
bool ReadDirectory(HeaderNoteContext* note, const NotePlace& place, int64_t at, IfdTable* table) {
  if (!DirectoryInsideNote(place, at, note->bigEndian)) return false;
  const int64_t base = at - place.bias;
  if (base < 0 || base > 0xFFFFFFFFll) return false;
  const uint32_t remaining = uint32_t(place.offset + place.count - at);
  return ExifParseIfd(note, place.tiff + at, remaining, uint32_t(base), table, 0) == 1;
}

bool ReadTables(HeaderNoteContext* note, const NotePlace& place) {
  note->main = IfdTable{};
  note->sub = IfdTable{};
  if (!ReadDirectory(note, place, place.offset + note->layout.directoryAt, &note->main)) return false;
  if (note->layout.subDirectoryTag == 0) return true;
  const TagEntry* link = ExifFindInTable(&note->main, note->layout.subDirectoryTag);
  if (link == nullptr) return true;
  if (link->ValueSize() != 4) return false;
  return ReadDirectory(note, place, int64_t(link->U32(0)) + place.bias, &note->sub);
}

// Casio and Pentax: the picture tag 4 points at, when it is a JPEG inside the payload.
void ReadPreview(HeaderNoteContext* note, const NotePlace& place) {
  note->preview.clear();
  const TagEntry* start = ExifFindInTable(&note->main, HeaderNoteTagPreviewStart);
  const TagEntry* length = ExifFindInTable(&note->main, HeaderNoteTagPreviewSize);
  if (note->layout.preview == HeaderNotePreview::None || !start || !length || start->ValueSize() != 4) return;
  const int64_t at = int64_t(start->U32(0)) + place.bias;
  const int64_t size = length->ValueSize() == 4 ? int64_t(length->U32(0)) : -1;
  if (at < 0 || size < 2 || uint64_t(at + size) > place.tiffSize) return;
  if (place.tiff[at] != 0xFF || place.tiff[at + 1] != 0xD8) return;
  try {
    note->preview.assign(place.tiff + at, place.tiff + at + size);
  } catch (const std::bad_alloc&) {
    note->preview.clear();
  }
}

// How far the note's pointers reach, from its first byte: the directory, every out-of-line
// value, and the preview tags 3 and 4 point at.
int64_t NoteExtent(const HeaderNoteContext* note, const NotePlace& place) {
  int64_t extent = note->layout.directoryAt + 2 + int64_t(note->main.tags.size()) * 12 + 4;
  for (const TagEntry& entry : note->main.tags) {
    const uint64_t size = uint64_t(ExifTypeSize(entry.type)) * entry.count;
    if (size > 4) extent = std::max(extent, int64_t(entry.sourceWord) + place.bias - place.offset + int64_t(size));
  }
  const TagEntry* start = ExifFindInTable(&note->main, HeaderNoteTagPreviewStart);
  const TagEntry* length = ExifFindInTable(&note->main, HeaderNoteTagPreviewSize);
  if (start && length && start->ValueSize() == 4 && length->ValueSize() == 4)
    extent = std::max(extent, int64_t(start->U32(0)) + place.bias - place.offset + int64_t(length->U32(0)));
  return extent;
}

// Whether a build writes back every entry that was read and every pointer to what it pointed
// at. Casio's tag 4 must point at the bytes of tag 8192, which the build puts anywhere; Pentax's
// tag 4 at a preview the parse could copy; Sony's link must be an inline word.
bool Rebuildable(const HeaderNoteContext* note, const NotePlace& place) {
  if (!TagListAllDistinct(&note->main) || !TagListAllDistinct(&note->sub)) return false;
  const TagEntry* start = ExifFindInTable(&note->main, HeaderNoteTagPreviewStart);
  const TagEntry* length = ExifFindInTable(&note->main, HeaderNoteTagPreviewSize);
  switch (note->layout.preview) {
    case HeaderNotePreview::None:
      return true;
    case HeaderNotePreview::InTag: {
      if (start == nullptr) return true;
      const TagEntry* data = ExifFindInTable(&note->main, HeaderNoteTagPreviewData);
      if (data == nullptr || start->ValueSize() != 4 || data->count <= 4) return false;
      const bool sizeAgrees = length == nullptr || (length->ValueSize() == 4 && length->U32(0) == data->count);
      return sizeAgrees && int64_t(start->U32(0)) == int64_t(data->sourceWord);
    }
    case HeaderNotePreview::Behind:
      if (start == nullptr) return length == nullptr;
      return start->ValueSize() == 4 && length != nullptr && length->ValueSize() == 4 &&
             note->preview.size() == length->U32(0) && !note->preview.empty() &&
             note->preview.size() < kLargestPentaxPreview && place.count > 0;
  }
  return false;
}

// The preview tags of a Pentax note that holds a preview: a LONG placeholder for the place and
// the size, kept in tag order.
int PutPreviewTags(HeaderNoteContext* note, uint32_t size) {
  const bool hadStart = ExifFindInTable(&note->main, HeaderNoteTagPreviewStart) != nullptr;
  const uint32_t placeholder = size;
  if (!TagListPut(note, &note->main.tags, HeaderNoteTagPreviewStart, TypeLong, 1, 0, &placeholder) ||
      !TagListPut(note, &note->main.tags, HeaderNoteTagPreviewSize, TypeLong, 1, 0, &size))
    return 0;
  SyncCount(&note->main);
  if (!hadStart) TagListSort(&note->main.tags);
  return 1;
}

// The value word of an entry of a written directory, or 0 when the tag is absent.
uint32_t WrittenWord(const uint8_t* directory, uint16_t tag, uint32_t bigEndian) {
  const uint16_t entries = ExifReadU16(bigEndian, directory);
  for (uint32_t i = 0; i < entries; ++i) {
    const uint8_t* entry = directory + 2 + i * 12;
    if (ExifReadU16(bigEndian, entry) == tag) return ExifReadU32(bigEndian, entry + 8);
  }
  return 0;
}

}  // namespace

std::unique_ptr<MakerNoteContext> HeaderNoteCreate(const HeaderNoteLayout& layout) {
  try {
    return std::make_unique<HeaderNoteContext>(layout);
  } catch (const std::bad_alloc&) {
    ErrorPush(ErrNoMemory);
    return nullptr;
  }
}

int HeaderNoteContext::Parse(const uint8_t* segment, uint32_t segmentSize, uint32_t offsetBias,
                             const TagEntry* noteTag) {
  if (!segment || !noteTag) return Fail(ErrInvalidArgument);
  main = IfdTable{};
  sub = IfdTable{};
  preview.clear();
  editable = rebuildable = needsRebuild = flipped = 0;
  readFailed = 1;
  // The whole declared note must lie in the payload, behind "Exif\0\0" and a TIFF header.
  const uint64_t start = 6 + uint64_t(noteTag->sourceWord);
  if (segmentSize < 14 || start > segmentSize || segmentSize - start < noteTag->count ||
      noteTag->count < layout.directoryAt + 2)
    return Fail(ErrOutOfRange);
  const NotePlace place{segment + 6, segmentSize - 6u, int64_t(noteTag->sourceWord), int64_t(noteTag->count),
                        int64_t(int32_t(offsetBias))};
  const uint8_t* note = segment + start;
  if (std::memcmp(note, layout.header, layout.headerSize) != 0) return Fail(ErrMakerNoteParse);
  if (layout.orderInNote) {
    const uint8_t* mark = note + layout.headerSize;
    if (mark[0] != mark[1] || (mark[0] != 'I' && mark[0] != 'M')) return Fail(ErrMakerNoteParse);
    bigEndian = mark[0] == 'M' ? 1 : 0;
  } else {
    bigEndian = place.tiff[0] == 'M' ? 1 : 0;
  }
  bool read = ReadTables(this, place);
  if (!read && layout.retryFlipped && place.bias != 0) {
    // Another program rewrote a moved note in the other order; it is read so, and written in
    // the Exif's order again.
    bigEndian ^= 1u;
    read = ReadTables(this, place);
    flipped = read ? 1 : 0;
    bigEndian ^= 1u;
  }
  if (!read) return Fail(ErrMakerNoteParse);
  ReadPreview(this, place);
  if (layout.preview == HeaderNotePreview::Behind && NoteExtent(this, place) > place.count) needsRebuild = 1;
  readFailed = 0;
  rebuildable = Rebuildable(this, place) ? 1 : 0;
  editable = rebuildable;
  return 1;
}

int HeaderNoteContext::Write(uint8_t* output, uint32_t room, uint32_t origin, uint32_t order, uint32_t* size) {
  const uint32_t saved = bigEndian;
  bigEndian = order;
  struct Restore {
    uint32_t* field;
    uint32_t value;
    ~Restore() { *field = value; }
  } restore{&bigEndian, saved};
  const uint32_t at = layout.directoryAt;
  if (output && room < at) return Fail(ErrMakerNoteBuild);
  uint32_t used = 0;
  if (!ExifWriteIfd(this, &main, output ? output + at : nullptr, origin + at, output ? room - at : 0, &used))
    return Fail(ErrMakerNoteBuild);
  uint64_t position = at + used;
  position += position & 1;
  const uint64_t subAt = position;
  if (layout.subDirectoryTag != 0 && ExifFindInTable(&main, layout.subDirectoryTag) != nullptr) {
    if (output && room < subAt) return Fail(ErrMakerNoteBuild);
    if (!ExifWriteIfd(this, &sub, output ? output + subAt : nullptr, uint32_t(origin + subAt),
                      output ? room - uint32_t(subAt) : 0, &used))
      return Fail(ErrMakerNoteBuild);
    position += used;
    position += position & 1;
  }
  const uint64_t previewAt = position;
  const bool previewBehind = layout.preview == HeaderNotePreview::Behind && !preview.empty() &&
                             ExifFindInTable(&main, HeaderNoteTagPreviewStart) != nullptr;
  if (previewBehind) position += preview.size();
  if (origin + position > kApp1PayloadMax) return Fail(ErrMakerNoteBuild);
  if (output) {
    if (room < position) return Fail(ErrMakerNoteBuild);
    std::memcpy(output, layout.header, layout.headerSize);
    if (layout.orderInNote) output[layout.headerSize] = output[layout.headerSize + 1] = order ? 'M' : 'I';
    uint8_t* directory = output + at;
    if (layout.subDirectoryTag != 0)
      ExifPatchValueField(directory, layout.subDirectoryTag, 1, uint32_t(origin + subAt), order);
    if (previewBehind) {
      std::memcpy(output + previewAt, preview.data(), preview.size());
      ExifPatchValueField(directory, HeaderNoteTagPreviewStart, 1, uint32_t(origin + previewAt), order);
      ExifPatchValueField(directory, HeaderNoteTagPreviewSize, 1, uint32_t(preview.size()), order);
    }
    if (layout.preview == HeaderNotePreview::InTag && ExifFindInTable(&main, HeaderNoteTagPreviewData) != nullptr)
      ExifPatchValueField(directory, HeaderNoteTagPreviewStart, 1, WrittenWord(directory, HeaderNoteTagPreviewData, order),
                          order);
  }
  if (size) *size = uint32_t(position);
  return 1;
}

int HeaderNoteContext::Build(uint8_t* output, uint32_t room, uint32_t* size) {
  // A note read in part, or one whose pointers a build could not make right, is never written
  // from its tables: it is carried as its bytes or the save is refused.
  if (readFailed || !rebuildable || (main.tags.empty() && sub.tags.empty())) return Fail(ErrMakerNoteBuild);
  if (layout.subDirectoryTag != 0 && !sub.tags.empty()) {
    const uint32_t placeholder = 0;
    if (!TagListPut(this, &main.tags, layout.subDirectoryTag, TypeLong, 1, 0, &placeholder)) return 0;
    SyncCount(&main);
    TagListSort(&main.tags);
  }
  // Pointers count from the note's first byte until Relocate knows its place.
  uint32_t written = 0;
  if (!Write(output, room, 0, bigEndian, &written)) return 0;
  if (output) {
    try {
      lastBuilt.assign(output, output + written);
    } catch (const std::bad_alloc&) {
      return Fail(ErrNoMemory);
    }
    built = 1;
  }
  if (size) *size = written;
  return 1;
}

int HeaderNoteContext::Relocate(uint8_t* tiff, const RawEntry& entry) {
  // Only the note this context built is rewritten; anything else in tag 37500 (a note carried
  // as bytes) is judged by the save's safety net.
  if (!built || !tiff || entry.count != lastBuilt.size() || entry.count <= 4) return 1;
  uint8_t* note = tiff + entry.valueWord;
  if (std::memcmp(note, lastBuilt.data(), lastBuilt.size()) != 0) return 1;
  // A note is written only in the order it was read, and only under an Exif of that order:
  // turned, the structures of its UNDEFINED values (which readers decode in the note's order)
  // would break; kept, readers that take the Exif's order for it (all readers for Sony,
  // Panasonic and Casio, some for Pentax) would misread it. Such a save is refused.
  const uint32_t order = bigEndian;
  if ((tiff[0] == 'M' ? 1u : 0u) != order) return Fail(ErrMakerNoteBuild);
  uint32_t size = 0;
  if (!Write(nullptr, 0, entry.valueWord, order, &size) || size != entry.count) return Fail(ErrMakerNoteBuild);
  return Write(note, entry.count, entry.valueWord, order, &size);
}

IfdTable* HeaderNoteContext::Table(uint32_t table) {
  if ((table & 0xFFFFu) == kHeaderNoteSubTable && layout.subDirectoryTag != 0) return &sub;
  return MakerNoteOneTableContext::Table(table);
}

uint32_t HeaderNoteContext::TagCount() { return uint32_t(main.entryCount) + sub.entryCount; }

int HeaderNoteContext::Preview(const uint8_t** bytes, uint32_t* size) {
  if (preview.empty()) return 0;
  if (bytes) *bytes = preview.data();
  if (size) *size = uint32_t(preview.size());
  return 1;
}

int HeaderNoteContext::SetPreview(const uint8_t* bytes, uint32_t size) {
  if (layout.preview == HeaderNotePreview::None || !editable || !bytes || size < 2) return Fail(ErrInvalidArgument);
  if (layout.preview == HeaderNotePreview::Behind && size >= kLargestPentaxPreview) return Fail(ErrInvalidArgument);
  try {
    preview.assign(bytes, bytes + size);
  } catch (const std::bad_alloc&) {
    preview.clear();
    return Fail(ErrNoMemory);
  }
  if (layout.preview == HeaderNotePreview::InTag &&
      !TagListPut(this, &main.tags, HeaderNoteTagPreviewData, TypeUndefined, size, 0, bytes))
    return 0;
  if (!PutPreviewTags(this, size)) return 0;
  TagListSort(&main.tags);
  return 1;
}
