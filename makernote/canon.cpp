// The Canon handler: reading, rebuilding and relocating the note, and the family's facts.
#include "makernote/canon.h"

#include <cstring>
#include <new>

#include "exif/exif_reader.h"
#include "exif/exif_writer.h"
#include "exif/ifd_view.h"
#include "frame/error_stack.h"
#include "makernote/makernote_recognise.h"

namespace {

constexpr uint32_t kShortestNote = 14;  // an empty directory, its next word and the footer

// The byte order the footer names: 0 or 1, else -1.
int CanonFooterOrder(const uint8_t* footer) {
  if (footer[0] == 'I' && footer[1] == 'I') return 0;
  if (footer[0] == 'M' && footer[1] == 'M') return 1;
  return -1;
}

// Bytes an entry's value takes, by the element size the note is written with.
uint64_t CanonValueSize(const TagEntry& entry) { return uint64_t(ExifTypeSize(entry.type)) * entry.count; }

// The smallest value word among the directory's out-of-line entries of known type; UINT32_MAX
// with none, or when the directory does not fit.
uint32_t CanonLowestValueWord(const uint8_t* note, uint32_t available, uint32_t bigEndian) {
  const IfdView directory(TiffSpan{note, available, bigEndian, IfdCheck::Quiet}, 0);
  uint32_t lowest = UINT32_MAX;
  if (!directory.HasCount() || !directory.Holds(0)) return lowest;
  for (uint32_t i = 0; i < directory.Count(); ++i) {
    const IfdEntry entry = directory.Entry(i);
    if (ExifTypeSize(entry.type) != 0 && entry.ValueSize(ExifTypeSize) > 4 && entry.word < lowest) lowest = entry.word;
  }
  return lowest;
}

int CanonFail(uint32_t code) {
  ErrorPush(code);
  return 0;
}

}  // namespace

std::unique_ptr<MakerNoteContext> CanonCreate() {
  try {
    return std::make_unique<CanonContext>();
  } catch (const std::bad_alloc&) {
    ErrorPush(ErrNoMemory);
    return nullptr;
  }
}

int CanonContext::Parse(const uint8_t* segment, uint32_t segmentSize, uint32_t /*offsetBias*/,
                        const TagEntry* noteTag) {
  // The footer's base says where the stored offsets count from, so a note moved by a tool that
  // kept the footer still reads; the bias of tag 59933 is not needed.
  if (!segment || !noteTag) return CanonFail(ErrInvalidArgument);
  main = IfdTable{};
  editable = 0;
  needsRebuild = 0;
  keepAsBytes = 0;
  readFailed = 1;
  const uint64_t start = 6 + uint64_t(noteTag->sourceWord);
  const uint32_t count = noteTag->count;
  if (segmentSize < 8 || start > segmentSize || count < kShortestNote || segmentSize - start < count)
    return CanonFail(ErrOutOfRange);
  const uint8_t* note = segment + start;
  const uint32_t available = segmentSize - uint32_t(start);
  const uint8_t* footer = note + count - kCanonFooterSize;
  const int order = CanonFooterOrder(footer);
  if (order < 0 || ExifReadU16(uint32_t(order), footer + 2) != 42) return CanonFail(ErrOutOfRange);
  bigEndian = uint32_t(order);
  typeSize = ExifTypeSize;
  firstIfdOffset = ExifReadU32(bigEndian, footer + 4);
  exifBigEndian = segment[6] == 'M' ? 1 : 0;
  // Values are found at their offset minus the base from the note's first byte; one below what
  // the payload holds before the note would be read from outside it.
  if (firstIfdOffset > noteTag->sourceWord &&
      CanonLowestValueWord(note, available, bigEndian) < uint64_t(firstIfdOffset) - noteTag->sourceWord)
    return CanonFail(ErrOutOfRange);
  if (!ExifParseIfd(this, note, available, firstIfdOffset, &main, 0)) return 0;
  // A value past the footer is part of the note too: kept as bytes it would be cut, so the note
  // is rebuilt on a save.
  for (const TagEntry& entry : main.tags) {
    const uint64_t size = CanonValueSize(entry);
    if (size > 4 && int64_t(entry.sourceWord) - int64_t(firstIfdOffset) + int64_t(size) >
                        int64_t(count) - int64_t(kCanonFooterSize))
      needsRebuild = 1;
  }
  readFailed = 0;
  // A block found by its place in the file is not among the table's values: a rebuild would
  // lose it, so the note stays as its bytes.
  const TagEntry* decision = ExifFindInTable(&main, CanonTagDecisionData);
  keepAsBytes = decision != nullptr && decision->U32(0) != 0 ? 1 : 0;
  editable = TagListAllDistinct(&main) && !keepAsBytes;
  return 1;
}

int CanonContext::Build(uint8_t* output, uint32_t room, uint32_t* size) {
  // A note read in part would lose the rest; one with a tag twice is not edited (editable 0) but
  // still written whole, every entry as it was read.
  if (readFailed || main.tags.empty()) return CanonFail(ErrMakerNoteBuild);
  main.nextIfdOffset = 0;
  uint32_t used = 0;
  if (output && room < kCanonFooterSize) return CanonFail(ErrMakerNoteBuild);
  // Offsets are written from the note's first byte; Relocate adds the note's place.
  if (!ExifWriteIfd(this, &main, output, 0, output ? room - kCanonFooterSize : 0, &used)) return 0;
  if (uint64_t(used) + kCanonFooterSize > 0xFFFFu) return CanonFail(ErrMakerNoteBuild);
  if (output) {
    uint8_t* footer = output + used;
    footer[0] = footer[1] = bigEndian ? 'M' : 'I';
    ExifWriteU16(bigEndian, footer + 2, 42);
    ExifWriteU32(bigEndian, footer + 4, 0);
    built = 1;
  }
  if (size) *size = used + kCanonFooterSize;
  return 1;
}

int CanonContext::PutTag(uint32_t table, uint16_t tag, uint16_t type, uint32_t count, const void* value) {
  if (!editable) return CanonFail(ErrMakerNoteBuild);
  return MakerNoteContext::PutTag(table, tag, type, count, value);
}

int CanonContext::DeleteTag(uint32_t table, uint16_t tag) {
  if (!editable) return CanonFail(ErrMakerNoteBuild);
  return MakerNoteContext::DeleteTag(table, tag);
}

int CanonContext::Relocate(uint8_t* tiff, const RawEntry& entry) {
  if (!built || tiff == nullptr) return 1;
  uint8_t* note = tiff + entry.valueWord;
  const uint32_t count = entry.count;
  uint32_t size = 0;
  // Build answers the size without writing; only a note of that size is the one built here.
  if (!Build(nullptr, 0, &size) || size != count) return CanonFail(ErrMakerNoteBuild);
  uint8_t* field = note + 2 + 8;
  for (const TagEntry& tag : main.tags) {
    const uint64_t bytes = CanonValueSize(tag);
    if (bytes > 4) {
      const uint64_t at = ExifReadU32(bigEndian, field);
      if (at + bytes > count - kCanonFooterSize) return CanonFail(ErrMakerNoteBuild);
      if (at + entry.valueWord > 0xFFFFFFFFu) return CanonFail(ErrMakerNoteBuild);
      ExifWriteU32(bigEndian, field, uint32_t(at + entry.valueWord));
    }
    field += 12;
  }
  ExifWriteU32(bigEndian, note + count - 4, entry.valueWord);
  return 1;
}

namespace {

constexpr MakerNoteTableName kCanonTables[] = {{kMakerNoteMainTable, "Canon MakerNote"}};

}  // namespace

const MakerNoteDescriptor kCanonNote{
    .family = FamilyCanon,
    .displayName = "Canon",
    .recognise = MakerNoteRecogniseCanon,
    .create = CanonCreate,
    .tables = kCanonTables,
    .protectedTags = {},
    .catalogue = CanonCatalogue,
    .formatValueIn = CanonFormatValue,
    .lensText = CanonLensText,
};
