// The full rebuild: directories written from the tables, one after another, in the layout of
// a payload this system writes (0th, Exif, Interoperability, GPS, 1st IFD, thumbnail).
#include <algorithm>
#include <atomic>
#include <cstring>
#include <vector>

#include "exif/exif_reader.h"
#include "exif/exif_writer.h"
#include "exif/makernote_handler.h"
#include "frame/error_stack.h"

namespace {

constexpr uint32_t kEntrySize = 12;
constexpr uint32_t kHeaderSize = 6;      // "Exif\0\0"
constexpr uint32_t kTiffHeaderSize = 8;  // byte order, 42, offset of the 0th IFD

constexpr char kPadText[8] = {'T', 'a', 'v', 'e', 'x', 'o', 'n', '\0'};
std::atomic<uint32_t> gPadCounter{0};

int Fail(uint32_t code) {
  ErrorPush(code);
  return 0;
}

uint32_t DirectorySize(const IfdTable* table) { return 2 + uint32_t(table->tags.size()) * kEntrySize + 4; }

// Where one entry's value goes: inline, or at `position` (from the directory's start; before
// it for a note kept behind an earlier place), with a pad byte before it when `padded`.
struct ValuePlace {
  uint32_t size = 0;
  int64_t position = 0;
  bool padded = false;
};

// Stretches of the payload a rebuild keeps byte for byte at their old places, from the TIFF
// header, sorted and disjoint: the MakerNote's whole extent when its place is kept.
using KeptRanges = std::vector<ExifByteRange>;

// The first even place at or after `at` where `size` bytes touch no kept range.
uint64_t FitAround(const KeptRanges& kept, uint64_t at, uint64_t size) {
  if (at & 1) ++at;
  for (const ExifByteRange& range : kept) {
    if (at + size <= range.first) break;
    if (at < range.end) at = range.end + (range.end & 1);
  }
  return at;
}

// Whether tag 37500's value at its old place lies wholly inside a kept range.
bool NoteInKept(const KeptRanges& kept, uint32_t place, uint64_t size) {
  for (const ExifByteRange& range : kept)
    if (place >= range.first && place + size <= range.end) return true;
  return false;
}

// Lays out a directory's values around the kept ranges; tag 37500 stays at its old offset when
// it lies in one. With ranges kept, padding is a skipped byte rather than a pad byte.
int LayoutIfd(const ExifContext* context, const IfdTable* table, uint32_t baseOffset, const KeptRanges& kept,
              std::vector<ValuePlace>* places, uint32_t* used) {
  const TypeSizeFunction sizeOf = context && context->typeSize ? context->typeSize : ExifTypeSize;
  places->clear();
  // The value area starts on an even offset from the TIFF header.
  uint64_t position = DirectorySize(table) + ((baseOffset & 1) ? 1 : 0);
  bool noteSeen = false;
  for (const TagEntry& entry : table->tags) {
    uint32_t elementSize = sizeOf(entry.type);
    if (elementSize == 0) return Fail(ErrUnknownType);
    uint64_t size = uint64_t(elementSize) * entry.count;
    if (size > entry.ValueSize()) return Fail(ErrInvalidArgument);  // a value shorter than its count says
    ValuePlace place;
    place.size = uint32_t(size);
    if (size > 4) {
      if (entry.tag == TagMakerNote && !noteSeen && NoteInKept(kept, entry.sourceWord, size)) {
        noteSeen = true;
        place.position = int64_t(entry.sourceWord) - baseOffset;  // the running position does not move for it
        places->push_back(place);
        continue;
      }
      if ((baseOffset + position) & 1) {
        place.padded = kept.empty();
        ++position;
      }
      const uint64_t fitted = FitAround(kept, baseOffset + position, size) - baseOffset;
      if (fitted != position) place.padded = false;
      position = fitted;
      place.position = int64_t(position);
      position += size;
      if (position > kApp1PayloadMax) return Fail(ErrPayloadTooLarge);
    }
    places->push_back(place);
  }
  *used = uint32_t(position);
  return 1;
}

int WriteIfd(const ExifContext* context, const IfdTable* table, uint8_t* bytes, uint32_t baseOffset, uint32_t room,
             uint32_t* used, const KeptRanges& kept) {
  if (table == nullptr || used == nullptr) return Fail(ErrInvalidArgument);
  if (table->tags.size() > 0xFFFF) return Fail(ErrPayloadTooLarge);
  std::vector<ValuePlace> places;
  uint32_t end = 0;
  if (!LayoutIfd(context, table, baseOffset, kept, &places, &end)) return 0;
  *used = end;
  if (bytes == nullptr) return 1;
  if (end > room) return Fail(ErrPayloadTooLarge);
  const uint32_t bigEndian = context ? context->bigEndian : 0;
  ExifWriteU16(bigEndian, bytes, uint16_t(table->tags.size()));
  uint8_t* entryBytes = bytes + 2;
  size_t index = 0;
  for (const TagEntry& entry : table->tags) {
    const ValuePlace& place = places[index++];
    ExifWriteU16(bigEndian, entryBytes, entry.tag);
    ExifWriteU16(bigEndian, entryBytes + 2, entry.type);
    ExifWriteU32(bigEndian, entryBytes + 4, entry.count);
    if (place.size <= 4) {
      std::memset(entryBytes + 8, 0, 4);
      ExifWriteValue(context, entryBytes + 8, entry.type, entry.count, entry.Data());
    } else {
      if (place.padded) bytes[place.position - 1] = ExifNextPadByte();
      ExifWriteU32(bigEndian, entryBytes + 8, uint32_t(baseOffset + place.position));
      ExifWriteValue(context, bytes + place.position, entry.type, entry.count, entry.Data());
    }
    entryBytes += kEntrySize;
  }
  ExifWriteU32(bigEndian, entryBytes, 0);  // the next-IFD link; the caller sets it
  return 1;
}

// The state of a rebuild: the payload so far, the offsets written and the ranges kept.
struct BuildState {
  ExifDocument* document;
  uint8_t* tiff;
  KeptRanges kept;
  uint32_t position = kTiffHeaderSize;  // from the TIFF header
  uint32_t Room() const { return kApp1PayloadMax - kHeaderSize - position; }
  void RoundUp() {
    if (position & 1) ++position;  // the skipped byte stays zero
  }
};

int WriteTable(BuildState& state, int slot, uint32_t* offset) {
  IfdTable& table = state.document->tables[slot];
  uint32_t used = 0;
  const uint64_t at = FitAround(state.kept, state.position, DirectorySize(&table));
  if (at + DirectorySize(&table) > kApp1PayloadMax - kHeaderSize) return Fail(ErrPayloadTooLarge);
  state.position = uint32_t(at);
  *offset = state.position;
  if (!WriteIfd(state.document, &table, state.tiff + state.position, state.position, state.Room(), &used, state.kept))
    return 0;
  state.position += used;
  state.RoundUp();
  return 1;
}

// The ranges a rebuild keeps when the note's place is kept: its whole extent as the makernote
// library measures it (declared bytes and every byte its entries point at), else its declared
// bytes; each cut to what the raw payload holds behind the TIFF header. Their bytes are copied
// from raw at once.
int KeepMakerNoteExtent(BuildState& state) {
  const ExifDocument* document = state.document;
  const TagEntry* note = ExifFindInTable(&document->tables[SlotExif], TagMakerNote);
  if (note == nullptr || note->sourceWord == 0 || document->rawSize <= document->tiffBase + kTiffHeaderSize) return 1;
  const uint64_t size = uint64_t(ExifTypeSize(note->type)) * note->count;
  if (size <= 4) return 1;
  KeptRanges ranges;
  const MakerNoteRegistry* registry = ExifMakerNoteRegistry();
  if (registry == nullptr || registry->extent == nullptr || !registry->extent(document, &ranges))
    ranges = {{note->sourceWord, uint32_t(std::min<uint64_t>(note->sourceWord + size, 0xFFFFFFFFu))}};
  const uint32_t held = document->rawSize - document->tiffBase;
  for (ExifByteRange range : ranges) {
    range.first = std::max(range.first, kTiffHeaderSize);
    range.end = std::min(range.end, held);
    if (range.first >= range.end) continue;
    if (range.end > kApp1PayloadMax - kHeaderSize) return Fail(ErrPayloadTooLarge);
    std::memcpy(state.tiff + range.first, document->raw.data() + document->tiffBase + range.first,
                range.end - range.first);
    state.kept.push_back(range);
  }
  return 1;
}

// The thumbnail a rebuild writes: the document's, or, when the file's 1st IFD points at one
// that runs past the end of the segment (the reader then holds none), the part the segment
// holds, so nothing that was there is dropped and tag 514 is written to match.
const uint8_t* ThumbnailBytes(const ExifDocument* document, uint32_t* size) {
  *size = document->thumbnailSize;
  if (document->thumbnail != nullptr) return document->thumbnail;
  const IfdTable& first = document->tables[SlotThumbnail];
  const TagEntry* offset = ExifFindInTable(&first, TagThumbnailOffset);
  const TagEntry* length = ExifFindInTable(&first, TagThumbnailLength);
  if (offset == nullptr || length == nullptr || document->rawSize <= document->tiffBase) return nullptr;
  const uint32_t at = offset->type == TypeShort ? offset->U16(0) : offset->U32(0);
  const uint32_t held = document->rawSize - document->tiffBase;
  if (at < kTiffHeaderSize || at >= held || document->raw.size() < document->rawSize) return nullptr;
  *size = std::min(held - at, length->type == TypeShort ? uint32_t(length->U16(0)) : length->U32(0));
  return *size != 0 ? document->raw.data() + document->tiffBase + at : nullptr;
}

// A pointer tag stands in its parent exactly while the IFD it points at has entries; a new one
// is appended at the end of the directory, out of tag order, as this system has always written it.
int SetPointerTag(ExifDocument* document, int parentSlot, uint16_t tag, int childSlot) {
  TagList* tags = &document->tables[parentSlot].tags;
  if (document->tables[childSlot].entryCount == 0) {
    TagListRemove(tags, tag);
    return 1;
  }
  const uint32_t zero = 0;
  return TagListPut(document, tags, tag, TypeLong, 1, 0, &zero);
}

int RecordPointer(ExifDocument* document, int parentSlot, uint16_t tag, uint32_t offset) {
  return TagListPut(document, &document->tables[parentSlot].tags, tag, TypeLong, 1, offset, &offset);
}

// The thumbnail behind the 1st IFD's values, its offset and length patched into tags 513, 514.
int PlaceThumbnail(BuildState& state, uint32_t firstOffset) {
  ExifDocument* document = state.document;
  uint32_t size = 0;
  const uint8_t* thumbnail = ThumbnailBytes(document, &size);
  if (thumbnail == nullptr || size == 0) return 1;
  if (!state.kept.empty()) state.position = uint32_t(FitAround(state.kept, state.position, size));
  if (state.position > kApp1PayloadMax - kHeaderSize || state.Room() < size) return Fail(ErrPayloadTooLarge);
  uint8_t* directory = state.tiff + firstOffset;
  ExifPatchValueField(directory, TagThumbnailOffset, 1, state.position, document->bigEndian);
  ExifPatchValueField(directory, TagThumbnailLength, 1, size, document->bigEndian);
  std::memmove(state.tiff + state.position, thumbnail, size);
  state.position += size;
  return 1;
}

// Asks an open handler whose note has tags to rewrite its pointers for the note's new place.
int RelocateMakerNote(ExifDocument* document, uint8_t* tiff, uint32_t tiffSize) {
  MakerNoteHandler* handler = document->makerNote.get();
  if (handler == nullptr || handler->context == nullptr) return 1;
  if (handler->context->TagCount() == 0) return 1;
  RawEntry entry;
  if (!RawReadEntry(tiff, tiffSize, IfdExif, TagMakerNote, &entry)) return 1;  // the note was dropped
  if (handler->context->Relocate(tiff, entry) > 0) return 1;
  if (ErrorPeek() != ErrMakerNoteBuild) ErrorPush(ErrMakerNoteBuild);
  return 0;
}

}  // namespace

uint8_t ExifNextPadByte() { return uint8_t(kPadText[gPadCounter.fetch_add(1) % sizeof kPadText]); }

int ExifWriteIfd(const ExifContext* context, const IfdTable* table, uint8_t* bytes, uint32_t baseOffset, uint32_t room,
                 uint32_t* used) {
  return WriteIfd(context, table, bytes, baseOffset, room, used, KeptRanges{});
}

int ExifWriteIfdKeepMakerNote(const ExifContext* context, const IfdTable* table, uint8_t* bytes, uint32_t baseOffset,
                              uint32_t room, uint32_t* used) {
  if (table == nullptr) return Fail(ErrInvalidArgument);
  // Only the note's declared bytes are known here; they stay where they are when they lie
  // behind the directory.
  KeptRanges kept;
  const TagEntry* note = ExifFindInTable(table, TagMakerNote);
  const TypeSizeFunction sizeOf = context && context->typeSize ? context->typeSize : ExifTypeSize;
  const uint64_t size = note != nullptr ? uint64_t(sizeOf(note->type)) * note->count : 0;
  if (size > 4 && uint64_t(baseOffset) + DirectorySize(table) <= note->sourceWord &&
      note->sourceWord + size <= kApp1PayloadMax)
    kept.push_back({note->sourceWord, uint32_t(note->sourceWord + size)});
  if (!WriteIfd(context, table, bytes, baseOffset, room, used, kept)) return 0;
  if (!kept.empty() && used != nullptr) *used = std::max(*used, kept.back().end - baseOffset);
  return 1;
}

int ExifBuild(ExifDocument* document, const uint8_t** bytes, uint32_t* size, uint32_t bigEndian,
              int keepMakerNotePlace) {
  if (document == nullptr) return Fail(ErrInvalidArgument);
  document->built.assign(kBuiltAreaSize, 0);
  document->builtSize = 0;
  document->bigEndian = bigEndian ? 1 : 0;
  uint8_t* out = document->built.data();
  std::memcpy(out, "Exif\0\0", kHeaderSize);
  out[6] = out[7] = bigEndian ? 'M' : 'I';
  ExifWriteU16(document->bigEndian, out + 8, 42);
  ExifWriteU32(document->bigEndian, out + 10, kTiffHeaderSize);
  BuildState state{document, out + kHeaderSize, {}};
  if (keepMakerNotePlace == 1 && !KeepMakerNoteExtent(state)) return 0;

  if (!SetPointerTag(document, SlotPrimary, TagExifIfdPointer, SlotExif)) return 0;
  if (!SetPointerTag(document, SlotPrimary, TagGpsIfdPointer, SlotGps)) return 0;
  uint32_t primary = 0, exif = 0, interop = 0, gps = 0, first = 0;
  if (!WriteTable(state, SlotPrimary, &primary)) return 0;
  ExifWriteU32(document->bigEndian, out + 10, primary);  // moved only when a kept range holds offset 8
  bool hasExif = document->tables[SlotExif].entryCount != 0;
  bool hasInterop = hasExif && document->tables[SlotInterop].entryCount != 0;
  if (hasExif) {
    if (!SetPointerTag(document, SlotExif, TagInteropIfdPointer, SlotInterop)) return 0;
    if (!WriteTable(state, SlotExif, &exif)) return 0;
    if (hasInterop) {
      if (!WriteTable(state, SlotInterop, &interop)) return 0;
      ExifPatchValueField(state.tiff + exif, TagInteropIfdPointer, 1, interop, document->bigEndian);
    }
  }
  bool hasGps = document->tables[SlotGps].entryCount != 0;
  if (hasGps && !WriteTable(state, SlotGps, &gps)) return 0;
  bool hasFirst = document->tables[SlotThumbnail].entryCount != 0;
  if (hasFirst) {
    if (!WriteTable(state, SlotThumbnail, &first)) return 0;
    if (!PlaceThumbnail(state, first)) return 0;
  }

  uint8_t* primaryDirectory = state.tiff + primary;
  if (hasExif) ExifPatchValueField(primaryDirectory, TagExifIfdPointer, 1, exif, document->bigEndian);
  if (hasGps) ExifPatchValueField(primaryDirectory, TagGpsIfdPointer, 1, gps, document->bigEndian);
  uint32_t primaryEntries = uint32_t(document->tables[SlotPrimary].tags.size());
  ExifWriteU32(document->bigEndian, primaryDirectory + 2 + primaryEntries * kEntrySize, hasFirst ? first : 0);

  if (hasExif && !RecordPointer(document, SlotPrimary, TagExifIfdPointer, exif)) return 0;
  if (hasGps && !RecordPointer(document, SlotPrimary, TagGpsIfdPointer, gps)) return 0;
  if (hasInterop && !RecordPointer(document, SlotExif, TagInteropIfdPointer, interop)) return 0;

  // The payload ends behind the last kept range too.
  for (const ExifByteRange& range : state.kept) state.position = std::max(state.position, range.end);
  document->builtTiffBase = kHeaderSize;
  document->builtPosition = kHeaderSize + state.position;
  document->builtSize = kHeaderSize + state.position;
  if (!RelocateMakerNote(document, state.tiff, state.position)) return 0;
  if (bytes) *bytes = document->built.data();
  if (size) *size = document->builtSize;
  return 1;
}
