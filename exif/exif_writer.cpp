// Committing pending edits: the choice of road and the first two roads (copy, patch in place),
// and the application of the edits to the tables before a rebuild.
#include "exif/exif_writer.h"

#include <cstring>

#include "exif/makernote_handler.h"
#include "frame/error_stack.h"

namespace {

constexpr uint32_t kHeaderSize = 6;  // "Exif\0\0"

int Fail(uint32_t code) {
  ErrorPush(code);
  return 0;
}

// The byte order the raw payload is written in, which a patch must keep.
uint32_t RawByteOrder(const ExifDocument* document) {
  return document->rawSize > kHeaderSize && document->raw.size() > kHeaderSize && document->raw[kHeaderSize] == 'M';
}

// Whether a set edit changes nothing: same type, same count, same value bytes.
bool SetChangesNothing(const TagEntry* entry, const PendingEdit& edit) {
  return entry->type == edit.type && entry->count == edit.count && entry->ValueSize() == edit.value.size() &&
         (edit.value.empty() || std::memcmp(entry->Data(), edit.value.data(), edit.value.size()) == 0);
}

// raw into built, unchanged. 773 when raw cannot stand in a payload.
int CopyRawToBuilt(ExifDocument* document) {
  if (document->rawSize > kApp1PayloadMax || document->raw.size() < document->rawSize) return Fail(ErrPayloadTooLarge);
  document->built.assign(kBuiltAreaSize, 0);
  // The reader's 6 spare bytes come along: a value it accepted there is patched in place.
  size_t copied = std::min(document->raw.size(), kBuiltAreaSize);
  std::memcpy(document->built.data(), document->raw.data(), copied);
  document->builtSize = document->rawSize;
  document->builtPosition = document->rawSize;
  document->builtTiffBase = document->tiffBase;
  return 1;
}

// The handler's side of a pending edit of a MakerNote table.
int ApplyMakerNoteEdit(ExifDocument* document, const PendingEdit& edit) {
  MakerNoteHandler* handler = document->makerNote.get();
  uint32_t family = edit.kind & 0xFFFF0000u;
  if (handler == nullptr || (family != 0 && family != handler->family)) return Fail(ErrMakerNoteUnknown);
  uint32_t table = edit.kind & 0xFFFFu;
  if (handler->context == nullptr) return Fail(ErrMakerNoteUnknown);
  if (edit.op == PendingSet)
    return handler->context->PutTag(table, edit.tag, edit.type, edit.count, edit.value.data());
  // A delete of a tag the table does not hold is passed over, as in the document's own tables.
  IfdTable* tags = handler->context->Table(table);
  if (tags == nullptr || ExifFindInTable(tags, edit.tag) == nullptr) return 1;
  return handler->context->DeleteTag(table, edit.tag);
}

}  // namespace

int ExifClassifyEdits(ExifDocument* document) {
  if (document == nullptr || document->rawSize == 0) return EditsRebuild;
  int result = EditsNone;
  for (const PendingEdit& edit : document->pending) {
    if (edit.kind >= kIfdMakerNoteFirst) return EditsRebuild;
    if (edit.op == PendingDelete) {
      result = EditsInPlace;
      continue;
    }
    const TagEntry* entry = ExifFindTag(document, edit.kind, edit.tag);
    if (entry == nullptr || entry->count < edit.count || entry->type != edit.type) return EditsRebuild;
    if (!SetChangesNothing(entry, edit)) result = EditsInPlace;
  }
  return result;
}

int ExifCopyRaw(ExifDocument* document, uint32_t* size) {
  if (document == nullptr) return Fail(ErrInvalidArgument);
  if (!CopyRawToBuilt(document)) return 0;
  if (size) *size = document->builtSize;
  return 1;
}

int ExifPatchAll(ExifDocument* document, const uint8_t** bytes, uint32_t* size) {
  if (document == nullptr) return Fail(ErrInvalidArgument);
  if (!CopyRawToBuilt(document)) return 0;
  const uint32_t bigEndian = RawByteOrder(document);
  uint8_t* tiff = document->built.data() + document->tiffBase;
  const uint8_t* end = document->built.data() + document->built.size();
  for (const PendingEdit& edit : document->pending) {
    const IfdTable* table = ExifIfdTable(document, edit.kind);
    if (table == nullptr) return Fail(ErrListStore);
    if (document->builtSize - kHeaderSize < table->baseOffset) return Fail(ErrValueTooLarge);
    uint32_t count = edit.op == PendingSet ? edit.count : 0;
    int result = ExifPatchEntry(tiff + table->baseOffset, table->baseOffset, edit.tag, edit.type, count,
                                edit.value.data(), bigEndian, end);
    if (result == 0) return Fail(ErrValueTooLarge);
  }
  if (bytes) *bytes = document->built.data();
  if (size) *size = document->builtSize;
  return 1;
}

int ExifApplyEdits(ExifDocument* document, const uint8_t** bytes, uint32_t* size, uint32_t bigEndian,
                   int keepMakerNotePlace) {
  if (document == nullptr) return Fail(ErrInvalidArgument);
  bool makerNoteEdited = false;
  for (const PendingEdit& edit : document->pending) {
    int applied = 1;
    if (edit.kind >= kIfdMakerNoteFirst) {
      applied = ApplyMakerNoteEdit(document, edit);
      makerNoteEdited = true;
    } else if (edit.op == PendingSet) {
      applied = ExifPutTag(document, edit.kind, edit.tag, edit.type, edit.count, edit.value.data());
      if (!applied && ExifIfdTable(document, edit.kind) == nullptr) ErrorPush(ErrInvalidArgument);
    } else if (ExifFindTag(document, edit.kind, edit.tag) != nullptr) {
      applied = ExifDeleteTag(document, edit.kind, edit.tag);
    }
    if (!applied) return 0;  // the tables keep the edits applied so far
  }
  if (makerNoteEdited) {
    const MakerNoteRegistry* registry = ExifMakerNoteRegistry();
    if (registry && registry->rebuild && !registry->rebuild(document)) return 0;
  }
  return ExifBuild(document, bytes, size, bigEndian, keepMakerNotePlace);
}

int ExifCommit(ExifDocument* document, const uint8_t** bytes, uint32_t* size, uint32_t bigEndian,
               int keepMakerNotePlace, CommitMode mode) {
  if (document == nullptr) return Fail(ErrInvalidArgument);
  int road = EditsRebuild;
  if ((bigEndian ? 1u : 0u) == document->bigEndian && mode != CommitMode::ForceRebuild) road = ExifClassifyEdits(document);
  switch (road) {
    case EditsNone:
      if (!ExifCopyRaw(document, size)) return 0;
      if (bytes) *bytes = document->built.data();
      return 1;
    case EditsInPlace:
      return ExifPatchAll(document, bytes, size);
    default:
      return ExifApplyEdits(document, bytes, size, bigEndian, keepMakerNotePlace);
  }
}
