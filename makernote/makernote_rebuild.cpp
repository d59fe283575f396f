// Rebuilding a note from its handler's tables, queueing it as an edit, and recording the move
// of a note carried as bytes (tag 59933, OffsetSchema).
#include <cstring>
#include <new>
#include <vector>

#include "exif/exif_reader.h"
#include "exif/exif_writer.h"
#include "exif/makernote_handler.h"
#include "frame/error_stack.h"
#include "makernote/makernote_save.h"

namespace {

// The note built by the open handler into `block`; 0 when the handler fails or memory is short.
int MakerNoteBuildBlock(MakerNoteHandler* handler, std::vector<uint8_t>* block) {
  if (handler->context == nullptr) return ErrorPush(ErrMakerNoteBuild), 0;
  uint32_t size = 0;
  if (handler->context->Build(nullptr, 0, &size) != 1) return 0;
  try {
    block->assign(size, 0);
  } catch (const std::bad_alloc&) {
    return ErrorPush(ErrNoMemory), 0;
  }
  if (handler->context->Build(block->data(), size, &size) != 1) return 0;
  block->resize(size);
  return 1;
}

uint32_t MakerNoteTagTotal(MakerNoteHandler* handler) {
  return handler->context != nullptr ? handler->context->TagCount() : 0;
}

// The first word of a SLONG or LONG tag, as the signed displacement it records.
int32_t OffsetSchemaValue(const TagEntry* entry) { return entry != nullptr ? entry->S32(0) : 0; }

void OffsetSchemaStore(TagEntry* entry, int32_t value) {
  if (entry != nullptr && entry->ValueSize() >= 4) std::memcpy(entry->Data(), &value, 4);
}

}  // namespace

int ExifRebuildMakerNote(ExifDocument* document) {
  if (document == nullptr || !document->makerNote) return 0;
  MakerNoteHandler* handler = document->makerNote.get();
  if (MakerNoteTagTotal(handler) == 0) return ExifDeleteTag(document, IfdExif, TagMakerNote);
  std::vector<uint8_t> block;
  if (!MakerNoteBuildBlock(handler, &block)) return 0;
  const uint32_t size = uint32_t(block.size());
  IfdTable* exif = ExifIfdTable(document, IfdExif);
  TagEntry* old = ExifFindTag(document, IfdExif, TagMakerNote);
  int stored = old != nullptr
                   ? TagListPut(document, &exif->tags, TagMakerNote, TypeUndefined, size, old->sourceWord, block.data())
                   : ExifPutTag(document, IfdExif, TagMakerNote, TypeUndefined, size, block.data());
  if (!stored) return 0;
  handler->noteTag = ExifFindTag(document, IfdExif, TagMakerNote);
  // A rebuilt note carries true offsets and no longer wants a bias.
  OffsetSchemaStore(ExifFindTag(document, IfdExif, TagOffsetSchema), 0);
  return 1;
}

int ExifQueueMakerNote(ExifDocument* document) {
  if (document == nullptr || !document->makerNote) return 0;
  std::vector<uint8_t> block;
  if (!MakerNoteBuildBlock(document->makerNote.get(), &block)) return 0;
  if (block.size() >= kApp1PayloadMax) return ErrorPush(ErrInvalidArgument), 0;
  if (!ExifQueueEdit(document, PendingSet, IfdExif, TagMakerNote, TypeUndefined, uint32_t(block.size()),
                     block.data()))
    return 0;
  if (ExifFindTag(document, IfdExif, TagOffsetSchema) == nullptr) return 1;
  // Queued as LONG although the tag is made as SLONG: the reset value 0 reads the same either way.
  const uint32_t zero = 0;
  return ExifQueueEdit(document, PendingSet, IfdExif, TagOffsetSchema, TypeLong, 1, &zero);
}

int MakerNotePatchOffsetSchema(ExifDocument* document, uint32_t oldOffset) {
  if (document == nullptr || ExifFindTag(document, IfdExif, TagMakerNote) == nullptr) return 0;
  TagEntry* schema = ExifFindTag(document, IfdExif, TagOffsetSchema);
  if (schema == nullptr) {
    const int32_t zero = 0;
    if (!ExifPutTag(document, IfdExif, TagOffsetSchema, TypeSLong, 1, &zero)) return 0;
    schema = ExifFindTag(document, IfdExif, TagOffsetSchema);
  }
  int64_t displacement = OffsetSchemaValue(schema);
  const uint8_t* bytes = nullptr;
  uint32_t size = 0;
  if (!ExifBuild(document, &bytes, &size, document->bigEndian, 0)) return 0;
  ExifDocumentPtr rebuilt;
  if (!ExifCreateFromSegment(bytes, size, rebuilt) || !ExifParse(rebuilt.get())) return 0;
  const TagEntry* exifPointer = ExifFindTag(rebuilt.get(), IfdPrimary, TagExifIfdPointer);
  const TagEntry* note = ExifFindTag(rebuilt.get(), IfdExif, TagMakerNote);
  if (exifPointer == nullptr || note == nullptr) return ErrorPush(ErrOutOfRange), 0;
  displacement += int64_t(note->sourceWord) - int64_t(oldOffset);
  const int32_t value = int32_t(displacement);
  // The payload lies in `built`; patch tag 59933 in the Exif directory there.
  const uint32_t directory = document->builtTiffBase + exifPointer->U32(0);
  if (bytes != document->built.data() || uint64_t(directory) + 2 > size) return ErrorPush(ErrOutOfRange), 0;
  uint8_t* payload = document->built.data();
  int patched = ExifPatchEntry(payload + directory, exifPointer->U32(0), TagOffsetSchema, TypeSLong, 1, &value,
                               document->bigEndian, payload + size);
  if (patched != 1) return ErrorPush(ErrOutOfRange), 0;
  // The table follows the file, so a later save of this document adds to what was written.
  OffsetSchemaStore(schema, value);
  return 1;
}
