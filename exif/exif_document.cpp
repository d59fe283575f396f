// The document's life, queries, tag access, the tag walk and the pending edits.
#include <algorithm>
#include <new>

#include "exif/exif_document.h"
#include "exif/makernote_handler.h"
#include "exif/tags.h"
#include "frame/error_stack.h"

namespace {

const char kExifHeader[6] = {'E', 'x', 'i', 'f', 0, 0};

// Tables a kind may address: the document's own (1 to 5) or the open MakerNote's.
TagList* ExifKindList(ExifDocument* document, uint32_t kind) {
  if (kind >= kIfdMakerNoteFirst) {
    IfdTable* table = ExifMakerNoteTable(document, kind);
    return table ? &table->tags : nullptr;
  }
  IfdTable* table = ExifIfdTable(document, kind);
  return table ? &table->tags : nullptr;
}

}  // namespace

int ExifTableSlot(uint32_t kind) {
  switch (kind) {
    case IfdPrimary: return SlotPrimary;
    case IfdThumbnail: return SlotThumbnail;
    case IfdExif: return SlotExif;
    case IfdInterop: return SlotInterop;
    case IfdGps: return SlotGps;
    default: return -1;
  }
}

int ExifCreateEmpty(ExifDocumentPtr& out) {
  out.reset();
  ExifDocument* document = new (std::nothrow) ExifDocument();
  if (!document) {
    ErrorPush(ErrNoMemory);
    return 0;
  }
  out.reset(document);
  return 1;
}

int ExifCreateFromSegment(const uint8_t* bytes, uint32_t size, ExifDocumentPtr& out) {
  out.reset();
  if (!bytes || size < 6 || std::memcmp(bytes, kExifHeader, 6) != 0) {
    ErrorPush(ErrNoExif);
    return 0;
  }
  ExifDocumentPtr document;
  if (!ExifCreateEmpty(document)) return 0;
  try {
    // Six spare zero bytes behind the payload keep the reader's bound, which is six bytes
    // wider than the TIFF data, inside the allocation.
    document->raw.assign(size_t(size) + 6, 0);
  } catch (const std::bad_alloc&) {
    ErrorPush(ErrNoMemory);
    return 0;
  }
  std::memcpy(document->raw.data(), bytes, size);
  document->rawSize = size;
  out = std::move(document);
  return 1;
}

void ExifDestroy(ExifDocument* document) {
  if (!document) return;
  ExifDiscardEdits(document);
  ExifCloseMakerNote(document);
  delete document;
}

uint32_t ExifByteOrder(const ExifDocument* document) { return document ? document->bigEndian : 0; }

int ExifHasMakerNote(const ExifDocument* document) { return document && document->makerNote ? 1 : 0; }

int ExifSourceKind(const ExifDocument* document) { return document ? int(document->sourceKind) : -1; }

const uint8_t* ExifThumbnail(const ExifDocument* document) {
  return document && document->thumbnailSize ? document->thumbnail : nullptr;
}

uint32_t ExifThumbnailSize(const ExifDocument* document) {
  return document && document->thumbnail ? document->thumbnailSize : 0;
}

int ExifRawSegment(const ExifDocument* document, const uint8_t** bytes, uint32_t* size) {
  if (!document || !bytes || !size) return 0;
  *bytes = document->rawSize ? document->raw.data() : nullptr;
  *size = document->rawSize;
  return 1;
}

int ExifBuiltSegment(const ExifDocument* document, const uint8_t** bytes, uint32_t* size) {
  if (!document || !bytes || !size) return 0;
  *bytes = document->builtSize ? document->built.data() : nullptr;
  *size = document->builtSize;
  return 1;
}

int ExifIfdBase(const ExifDocument* document, uint32_t kind) {
  const IfdTable* table = ExifIfdTable(document, kind);
  return table ? int(table->baseOffset) : -1;
}

IfdTable* ExifIfdTable(ExifDocument* document, uint32_t kind) {
  const int slot = ExifTableSlot(kind);
  return document && slot >= 0 ? &document->tables[size_t(slot)] : nullptr;
}

const IfdTable* ExifIfdTable(const ExifDocument* document, uint32_t kind) {
  const int slot = ExifTableSlot(kind);
  return document && slot >= 0 ? &document->tables[size_t(slot)] : nullptr;
}

TagEntry* ExifFindInTable(IfdTable* table, uint16_t tag) {
  if (!table) return nullptr;
  auto it = std::find_if(table->tags.begin(), table->tags.end(), [&](const TagEntry& e) { return e.tag == tag; });
  return it == table->tags.end() ? nullptr : &*it;
}

const TagEntry* ExifFindInTable(const IfdTable* table, uint16_t tag) {
  return ExifFindInTable(const_cast<IfdTable*>(table), tag);
}

TagEntry* ExifFindTag(ExifDocument* document, uint32_t kind, uint16_t tag) {
  if (!document) return nullptr;
  if (kind >= kIfdMakerNoteFirst) return ExifFindInTable(ExifMakerNoteTable(document, kind), tag);
  return ExifFindInTable(ExifIfdTable(document, kind), tag);
}

int ExifPutTag(ExifDocument* document, uint32_t kind, uint16_t tag, uint16_t type, uint32_t count,
               const void* value) {
  IfdTable* table = ExifIfdTable(document, kind);
  if (!table) return 0;
  if (!TagListPut(document, &table->tags, tag, type, count, 0, value)) return 0;
  table->entryCount = uint16_t(std::min<size_t>(table->tags.size(), 0xFFFF));
  TagListSort(&table->tags);
  return 1;
}

int ExifDeleteTag(ExifDocument* document, uint32_t kind, uint16_t tag) {
  IfdTable* table = ExifIfdTable(document, kind);
  if (!table || !TagListRemove(&table->tags, tag)) return 0;
  if (table->entryCount) --table->entryCount;
  return 1;
}

int ExifTagCount(const ExifDocument* document, uint32_t kind) {
  const TagList* list = ExifKindList(const_cast<ExifDocument*>(document), kind);
  return list ? int(list->size()) : -1;
}

int ExifBeginTagWalk(ExifDocument* document, uint32_t kind) {
  if (!document) return -1;
  ExifEndTagWalk(document);
  TagList* list = ExifKindList(document, kind);
  if (!list) return -1;
  document->walkList = list;
  document->walkNext = list->begin();
  document->walkKind = kind;
  return int(list->size());
}

TagEntry* ExifNextTag(ExifDocument* document) {
  if (!document || !document->walkList || document->walkNext == document->walkList->end()) return nullptr;
  TagEntry* entry = &*document->walkNext;
  ++document->walkNext;
  return entry;
}

void ExifEndTagWalk(ExifDocument* document) {
  if (!document) return;
  document->walkList = nullptr;
  document->walkKind = 0;
}

int ExifQueueEdit(ExifDocument* document, uint32_t op, uint32_t kind, uint16_t tag, uint16_t type, uint32_t count,
                  const void* value) {
  if (!document || (op != PendingSet && op != PendingDelete)) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  PendingEdit edit;
  edit.op = op;
  edit.kind = kind;
  edit.tag = tag;
  if (op == PendingSet) {
    if (count >= 65535 || (!value && count)) {
      ErrorPush(ErrInvalidArgument);
      return 0;
    }
    const TypeSizeFunction sizeOf = document->typeSize ? document->typeSize : ExifTypeSize;
    // A MakerNote table may hold types the document does not size; its handler decides.
    const uint32_t elementSize = kind >= kIfdMakerNoteFirst && sizeOf(type) == 0 ? 1 : sizeOf(type);
    if (elementSize == 0) {
      ErrorPush(ErrUnknownType);
      return 0;
    }
    edit.type = type;
    edit.count = count;
    const size_t size = size_t(elementSize) * count;
    try {
      edit.value.assign(static_cast<const uint8_t*>(value), static_cast<const uint8_t*>(value) + size);
    } catch (const std::bad_alloc&) {
      ErrorPush(ErrNoMemory);
      return 0;
    }
  }
  try {
    document->pending.push_back(std::move(edit));
  } catch (const std::bad_alloc&) {
    ErrorPush(ErrNoMemory);
    return 0;
  }
  return 1;
}

void ExifDiscardEdits(ExifDocument* document) {
  if (document) document->pending.clear();
}

int ExifSetThumbnail(ExifDocument* document, const uint8_t* bytes, uint32_t size, int useQueue) {
  if (!document) return 0;
  document->thumbnail = bytes;
  document->thumbnailSize = size & 0xFFFF;
  const uint16_t compression = 6;
  const uint32_t resolution[2] = {72, 1};
  const uint16_t unit = 2;
  const uint32_t offset = 0;  // the writer fills in the real place
  const uint32_t length = size;
  struct Row {
    uint16_t tag, type;
    const void* value;
  };
  const Row rows[] = {
      {TagCompression, TypeShort, &compression},   {TagXResolution, TypeRational, resolution},
      {TagYResolution, TypeRational, resolution},  {TagResolutionUnit, TypeShort, &unit},
      {TagThumbnailOffset, TypeLong, &offset},     {TagThumbnailLength, TypeLong, &length},
  };
  for (const Row& row : rows) {
    const int ok = useQueue ? ExifQueueEdit(document, PendingSet, IfdThumbnail, row.tag, row.type, 1, row.value)
                            : ExifPutTag(document, IfdThumbnail, row.tag, row.type, 1, row.value);
    if (!ok) return 0;
  }
  return 1;
}
