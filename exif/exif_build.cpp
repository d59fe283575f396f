// The full rebuild: directories written from the tables, one after another, in the layout of
// a payload this system writes (0th, Exif, Interoperability, GPS, 1st IFD, thumbnail).
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

// Where one entry's value goes: inline, or at `position` (from the directory's start), with
// a pad byte before it when `padded`.
struct ValuePlace {
  uint32_t size = 0;
  uint32_t position = 0;
  bool padded = false;
};

// The place kept for the MakerNote, from the directory's start, or none.
struct FixedRange {
  bool kept = false;
  uint32_t first = 0;
  uint32_t last = 0;
};

// Lays out a directory's values. keepNote keeps tag 37500 at its old offset when it lies
// behind the directory; padding is then a skipped byte rather than a pad byte.
int LayoutIfd(const ExifContext* context, const IfdTable* table, uint32_t baseOffset, bool keepNote,
              std::vector<ValuePlace>* places, FixedRange* fixed, uint32_t* used) {
  const TypeSizeFunction sizeOf = context && context->typeSize ? context->typeSize : ExifTypeSize;
  const uint32_t directoryEnd = DirectorySize(table);
  places->clear();
  *fixed = FixedRange{};
  if (keepNote) {
    for (const TagEntry& entry : table->tags) {
      if (entry.tag != TagMakerNote) continue;
      uint64_t size = uint64_t(sizeOf(entry.type)) * entry.count;
      if (size > 4 && uint64_t(baseOffset) + directoryEnd <= entry.sourceWord &&
          entry.sourceWord - baseOffset + size <= kApp1PayloadMax) {
        *fixed = {true, entry.sourceWord - baseOffset, uint32_t(entry.sourceWord - baseOffset + size - 1)};
      }
      break;
    }
  }
  // The value area starts on an even offset from the TIFF header.
  uint64_t position = directoryEnd + ((baseOffset & 1) ? 1 : 0);
  bool noteSeen = false;
  for (const TagEntry& entry : table->tags) {
    uint32_t elementSize = sizeOf(entry.type);
    if (elementSize == 0) return Fail(ErrUnknownType);
    uint64_t size = uint64_t(elementSize) * entry.count;
    if (size > entry.ValueSize()) return Fail(ErrInvalidArgument);  // a value shorter than its count says
    ValuePlace place;
    place.size = uint32_t(size);
    if (size > 4) {
      if (fixed->kept && entry.tag == TagMakerNote && !noteSeen) {
        noteSeen = true;
        place.position = fixed->first;  // the running position does not move for it
        places->push_back(place);
        continue;
      }
      bool odd = ((baseOffset + position) & 1) != 0;
      if (odd) {
        place.padded = !fixed->kept;
        ++position;
      }
      if (fixed->kept && position <= fixed->last && position + size - 1 >= fixed->first) {
        // Any overlap with the kept place moves the value behind it, to an even offset.
        position = fixed->last + 1;
        if ((baseOffset + position) & 1) ++position;
        place.padded = false;
      }
      place.position = uint32_t(position);
      position += size;
      if (position > kApp1PayloadMax) return Fail(ErrPayloadTooLarge);
    }
    places->push_back(place);
  }
  if (fixed->kept && position < uint64_t(fixed->last) + 1) position = uint64_t(fixed->last) + 1;
  *used = uint32_t(position);
  return 1;
}

int WriteIfd(const ExifContext* context, const IfdTable* table, uint8_t* bytes, uint32_t baseOffset,
             uint32_t room, uint32_t* used, bool keepNote) {
  if (table == nullptr || used == nullptr) return Fail(ErrInvalidArgument);
  if (table->tags.size() > 0xFFFF) return Fail(ErrPayloadTooLarge);
  std::vector<ValuePlace> places;
  FixedRange fixed;
  uint32_t end = 0;
  if (!LayoutIfd(context, table, baseOffset, keepNote, &places, &fixed, &end)) return 0;
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
      ExifWriteU32(bigEndian, entryBytes + 8, baseOffset + place.position);
      ExifWriteValue(context, bytes + place.position, entry.type, entry.count, entry.Data());
    }
    entryBytes += kEntrySize;
  }
  ExifWriteU32(bigEndian, entryBytes, 0);  // the next-IFD link; the caller sets it
  return 1;
}

// The state of a rebuild: the payload so far and the offsets written.
struct BuildState {
  ExifDocument* document;
  uint8_t* tiff;
  uint32_t position = kTiffHeaderSize;  // from the TIFF header
  uint32_t Room() const { return kApp1PayloadMax - kHeaderSize - position; }
  void RoundUp() {
    if (position & 1) ++position;  // the skipped byte stays zero
  }
};

int WriteTable(BuildState& state, int slot, bool keepNote, uint32_t* offset) {
  IfdTable& table = state.document->tables[slot];
  uint32_t used = 0;
  *offset = state.position;
  if (!WriteIfd(state.document, &table, state.tiff + state.position, state.position, state.Room(), &used, keepNote))
    return 0;
  state.position += used;
  state.RoundUp();
  return 1;
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
  if (document->thumbnail == nullptr || document->thumbnailSize == 0) return 1;
  if (state.Room() < document->thumbnailSize) return Fail(ErrPayloadTooLarge);
  uint8_t* directory = state.tiff + firstOffset;
  ExifPatchValueField(directory, TagThumbnailOffset, 1, state.position, document->bigEndian);
  ExifPatchValueField(directory, TagThumbnailLength, 1, document->thumbnailSize, document->bigEndian);
  std::memcpy(state.tiff + state.position, document->thumbnail, document->thumbnailSize);
  state.position += document->thumbnailSize;
  return 1;
}

// Asks an open handler whose note has tags to rewrite its pointers for the note's new place.
int RelocateMakerNote(ExifDocument* document, uint8_t* tiff, uint32_t tiffSize) {
  MakerNoteHandler* handler = document->makerNote.get();
  if (handler == nullptr || handler->Control == nullptr) return 1;
  if (handler->Control(handler->context, MnTagCount, 0, 0) <= 0) return 1;
  RawEntry entry;
  if (!RawReadEntry(tiff, tiffSize, IfdExif, TagMakerNote, &entry)) return 1;  // the note was dropped
  if (handler->Control(handler->context, MnRelocate, intptr_t(tiff), intptr_t(&entry)) > 0) return 1;
  if (ErrorPeek() != ErrMakerNoteBuild) ErrorPush(ErrMakerNoteBuild);
  return 0;
}

}  // namespace

uint8_t ExifNextPadByte() { return uint8_t(kPadText[gPadCounter.fetch_add(1) % sizeof kPadText]); }

int ExifWriteIfd(const ExifContext* context, const IfdTable* table, uint8_t* bytes, uint32_t baseOffset,
                 uint32_t room, uint32_t* used) {
  return WriteIfd(context, table, bytes, baseOffset, room, used, false);
}

int ExifWriteIfdKeepMakerNote(const ExifContext* context, const IfdTable* table, uint8_t* bytes,
                              uint32_t baseOffset, uint32_t room, uint32_t* used) {
  return WriteIfd(context, table, bytes, baseOffset, room, used, true);
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
  BuildState state{document, out + kHeaderSize};

  if (!SetPointerTag(document, SlotPrimary, TagExifIfdPointer, SlotExif)) return 0;
  if (!SetPointerTag(document, SlotPrimary, TagGpsIfdPointer, SlotGps)) return 0;
  uint32_t primary = 0, exif = 0, interop = 0, gps = 0, first = 0;
  if (!WriteTable(state, SlotPrimary, false, &primary)) return 0;
  bool hasExif = document->tables[SlotExif].entryCount != 0;
  bool hasInterop = hasExif && document->tables[SlotInterop].entryCount != 0;
  if (hasExif) {
    if (!SetPointerTag(document, SlotExif, TagInteropIfdPointer, SlotInterop)) return 0;
    if (!WriteTable(state, SlotExif, keepMakerNotePlace == 1, &exif)) return 0;
    if (hasInterop) {
      if (!WriteTable(state, SlotInterop, false, &interop)) return 0;
      ExifPatchValueField(state.tiff + exif, TagInteropIfdPointer, 1, interop, document->bigEndian);
    }
  }
  bool hasGps = document->tables[SlotGps].entryCount != 0;
  if (hasGps && !WriteTable(state, SlotGps, false, &gps)) return 0;
  bool hasFirst = document->tables[SlotThumbnail].entryCount != 0;
  if (hasFirst) {
    if (!WriteTable(state, SlotThumbnail, false, &first)) return 0;
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

  document->builtTiffBase = kHeaderSize;
  document->builtPosition = kHeaderSize + state.position;
  document->builtSize = kHeaderSize + state.position;
  if (!RelocateMakerNote(document, state.tiff, state.position)) return 0;
  if (bytes) *bytes = document->built.data();
  if (size) *size = document->builtSize;
  return 1;
}
