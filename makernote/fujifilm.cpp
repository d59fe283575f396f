// The Fujifilm handler: reading and rebuilding the note, and the family's facts.
#include "makernote/fujifilm.h"

#include <cstring>
#include <new>

#include "exif/exif_reader.h"
#include "exif/exif_writer.h"
#include "frame/error_stack.h"
#include "makernote/makernote_recognise.h"

namespace {

constexpr char kSignature[8] = {'F', 'U', 'J', 'I', 'F', 'I', 'L', 'M'};

int FujifilmFail(uint32_t code) {
  ErrorPush(code);
  return 0;
}

constexpr MakerNoteTableName kFujifilmTables[] = {{kMakerNoteMainTable, "FUJIFILM MakerNote"}};

}  // namespace

std::unique_ptr<MakerNoteContext> FujifilmCreate() {
  try {
    return std::make_unique<FujifilmContext>();
  } catch (const std::bad_alloc&) {
    ErrorPush(ErrNoMemory);
    return nullptr;
  }
}

int FujifilmContext::Parse(const uint8_t* segment, uint32_t segmentSize, uint32_t /*offsetBias*/,
                           const TagEntry* noteTag) {
  // Every offset counts from the note's own first byte: the bias of tag 59933 plays no part.
  if (!segment || !noteTag) return FujifilmFail(ErrInvalidArgument);
  main = IfdTable{};
  editable = 0;
  needsRebuild = 0;
  readFailed = 1;
  bigEndian = 0;
  typeSize = ExifTypeSize;
  const uint64_t start = 6 + uint64_t(noteTag->sourceWord);
  if (start > segmentSize || segmentSize - start < noteTag->count || noteTag->count < kFujifilmHeaderSize)
    return FujifilmFail(ErrOutOfRange);
  const uint8_t* note = segment + start;
  const uint32_t available = segmentSize - uint32_t(start);
  if (std::memcmp(note, kSignature, sizeof kSignature) != 0) return FujifilmFail(ErrOutOfRange);
  firstIfdOffset = ExifReadU32(0, note + 8);
  if (firstIfdOffset > available) return FujifilmFail(ErrOutOfRange);
  // The directory stands firstIfdOffset bytes behind the note's start, which is the values' origin.
  if (!ExifParseIfd(this, note + firstIfdOffset, available - firstIfdOffset, firstIfdOffset, &main, 0)) return 0;
  for (const TagEntry& entry : main.tags) {
    const uint64_t size = uint64_t(ExifTypeSize(entry.type)) * entry.count;
    if (size > 4 && entry.sourceWord + size > noteTag->count) needsRebuild = 1;
  }
  readFailed = 0;
  editable = TagListAllDistinct(&main);
  return 1;
}

int FujifilmContext::Build(uint8_t* output, uint32_t room, uint32_t* size) {
  if (readFailed || main.tags.empty()) return FujifilmFail(ErrMakerNoteBuild);
  bigEndian = 0;
  main.nextIfdOffset = 0;
  if (output && room < kFujifilmHeaderSize) return FujifilmFail(ErrMakerNoteBuild);
  uint32_t used = 0;
  if (!ExifWriteIfd(this, &main, output ? output + kFujifilmHeaderSize : nullptr, kFujifilmHeaderSize,
                    output ? room - kFujifilmHeaderSize : 0, &used))
    return 0;
  if (uint64_t(used) + kFujifilmHeaderSize > 0xFFFFu) return FujifilmFail(ErrMakerNoteBuild);
  if (output) {
    std::memcpy(output, kSignature, sizeof kSignature);
    ExifWriteU32(0, output + 8, kFujifilmHeaderSize);
  }
  built = 1;
  if (size) *size = used + kFujifilmHeaderSize;
  return 1;
}

int FujifilmContext::PutTag(uint32_t table, uint16_t tag, uint16_t type, uint32_t count, const void* value) {
  if (!editable) return FujifilmFail(ErrMakerNoteBuild);
  return MakerNoteContext::PutTag(table, tag, type, count, value);
}

int FujifilmContext::DeleteTag(uint32_t table, uint16_t tag) {
  if (!editable) return FujifilmFail(ErrMakerNoteBuild);
  return MakerNoteContext::DeleteTag(table, tag);
}

const MakerNoteDescriptor kFujifilmNote{
    .family = FamilyFujifilm,
    .displayName = "FUJFILM",
    .recognise = MakerNoteRecogniseFujifilm,
    .create = FujifilmCreate,
    .tables = kFujifilmTables,
    .protectedTags = {},
    .catalogue = FujifilmCatalogue,
    .formatValue = FujifilmFormatValue,
    .lensText = FujifilmLensText,
};
