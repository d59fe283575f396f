// The engine's side of MakerNotes: the registry the makernote library installs, opening and
// closing a document's handler, forwarding by kind to the open handler, and the defaults of a
// family's context.
#include <algorithm>
#include <atomic>

#include "exif/exif_document.h"
#include "exif/makernote_handler.h"
#include "frame/error_stack.h"
#include "frame/settings.h"

namespace {

std::atomic<const MakerNoteRegistry*> g_registry{nullptr};

// The open handler when a MakerNote kind addresses it: the family half must be 0 (any) or the
// open family.
MakerNoteHandler* ExifKindHandler(ExifDocument* document, uint32_t kind) {
  if (!document || !document->makerNote || kind < kIfdMakerNoteFirst) return nullptr;
  MakerNoteHandler* handler = document->makerNote.get();
  const uint32_t family = kind & 0xFFFF0000u;
  if (family != 0 && family != handler->family) return nullptr;
  return handler;
}

const MakerNoteDescriptor* ExifDescriptor(const ExifDocument* document) {
  return document && document->makerNote ? document->makerNote->descriptor : nullptr;
}

}  // namespace

int MakerNoteContext::PutTag(uint32_t table, uint16_t tag, uint16_t type, uint32_t count, const void* value) {
  IfdTable* target = Table(table);
  if (!target) return ErrorPush(ErrInvalidArgument), 0;
  if (!TagListPut(this, &target->tags, tag, type, count, 0, value)) return 0;
  target->entryCount = uint16_t(std::min<size_t>(target->tags.size(), 0xFFFF));
  // Kept in tag order, as the TIFF standard asks of a directory.
  TagListSort(&target->tags);
  return 1;
}

int MakerNoteContext::DeleteTag(uint32_t table, uint16_t tag) {
  IfdTable* target = Table(table);
  if (!target) return ErrorPush(ErrInvalidArgument), 0;
  if (!TagListRemove(&target->tags, tag)) return 0;
  if (target->entryCount > 0) --target->entryCount;
  return 1;
}

int MakerNoteContext::Relocate(uint8_t*, const RawEntry&) { return 1; }

int MakerNoteContext::Preview(const uint8_t**, uint32_t*) { return 0; }

int MakerNoteContext::SetPreview(const uint8_t*, uint32_t) { return ErrorPush(ErrInvalidArgument), 0; }

void ExifInstallMakerNotes(const MakerNoteRegistry* registry) { g_registry.store(registry); }

const MakerNoteRegistry* ExifMakerNoteRegistry() { return g_registry.load(); }

void MakerNoteHandlerDestroy(MakerNoteHandler* handler) { delete handler; }

int ExifOpenMakerNote(ExifDocument* document) {
  if (!document) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  ExifCloseMakerNote(document);
  TagEntry* note = ExifFindTag(document, IfdExif, TagMakerNote);
  if (!note) {
    ErrorPush(ErrNoMakerNote);
    return 0;
  }
  const TagEntry* schema = ExifFindTag(document, IfdExif, TagOffsetSchema);
  const uint32_t offsetBias = schema ? schema->U32(0) : 0;
  const MakerNoteRegistry* registry = ExifMakerNoteRegistry();
  std::unique_ptr<MakerNoteHandler> handler;
  if (!registry || !registry->recognise ||
      !registry->recognise(document->raw.data(), document->rawSize, note, offsetBias, &handler) || !handler ||
      !handler->context) {
    ErrorPush(ErrMakerNoteUnknown);
    return 0;
  }
  document->makerNote.reset(handler.release());
  MakerNoteHandler* open = document->makerNote.get();
  if (!open->context->Parse(open->segment, open->segmentSize, open->offsetBias, note)) {
    // The handler stays open with what it read, so the caller sees a note that failed.
    open->parseFailed = 1;
    ErrorPush(ErrMakerNoteParse);
    return 0;
  }
  return 1;
}

int ExifCloseMakerNote(ExifDocument* document) {
  if (!document) return 0;
  document->makerNote.reset();
  return 1;
}

int ExifCreateMakerNote(ExifDocument* document) {
  if (!document) return 0;
  ExifCloseMakerNote(document);
  const MakerNoteRegistry* registry = ExifMakerNoteRegistry();
  std::unique_ptr<MakerNoteHandler> handler;
  if (!registry || !registry->create || !registry->create(FamilyNikon, &handler) || !handler) {
    ErrorPush(ErrMakerNoteUnknown);
    return 0;
  }
  document->makerNote.reset(handler.release());
  return 1;
}

uint32_t ExifMakerNoteFamily(const ExifDocument* document) {
  return document && document->makerNote ? document->makerNote->family : 0;
}

MakerNoteContext* ExifMakerNoteContext(const ExifDocument* document) {
  return document && document->makerNote ? document->makerNote->context.get() : nullptr;
}

std::span<const MakerNoteTableName> ExifMakerNoteTables(const ExifDocument* document) {
  const MakerNoteDescriptor* descriptor = ExifDescriptor(document);
  return descriptor ? descriptor->tables : std::span<const MakerNoteTableName>{};
}

int ExifMakerNoteEditable(const ExifDocument* document) {
  const MakerNoteContext* context = ExifMakerNoteContext(document);
  return context && context->editable ? 1 : 0;
}

int ExifMakerNoteTagEditable(const ExifDocument* document, uint32_t table, uint16_t tag) {
  const MakerNoteDescriptor* descriptor = ExifDescriptor(document);
  if (!descriptor) return 0;
  return std::none_of(descriptor->protectedTags.begin(), descriptor->protectedTags.end(),
                      [&](const MakerNoteProtectedTag& row) { return row.table == table && row.tag == tag; })
             ? 1
             : 0;
}

int ExifMakerNotePreview(const ExifDocument* document, const uint8_t** bytes, uint32_t* size) {
  MakerNoteContext* context = ExifMakerNoteContext(document);
  return context ? context->Preview(bytes, size) : 0;
}

IfdTable* ExifMakerNoteTable(ExifDocument* document, uint32_t kind) {
  MakerNoteHandler* handler = ExifKindHandler(document, kind);
  if (!handler || !handler->context) return nullptr;
  return handler->context->Table(kind & 0xFFFFu);
}

int MakerNoteFamilyIsEnabled(uint32_t family) {
  const MakerNoteRegistry* registry = ExifMakerNoteRegistry();
  const MakerNoteDescriptor* descriptor = registry && registry->find ? registry->find(family) : nullptr;
  if (!descriptor) return 0;
  if (descriptor->alwaysRead) return 1;
  // Read once per run; every thread that races here stores the same value.
  static const int support = SettingsGetInt("OPTION", "MAKERNOTESUPORT", 1);
  return support == 1 ? 1 : 0;
}

int ExifMakerNoteEnabled(const ExifDocument* document) {
  return document && document->makerNote ? MakerNoteFamilyIsEnabled(document->makerNote->family) : 0;
}
