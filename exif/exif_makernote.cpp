// The engine's side of MakerNotes: the registry the makernote library installs, opening and
// closing a document's handler, and forwarding by kind to the open handler.
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

}  // namespace

void ExifInstallMakerNotes(const MakerNoteRegistry* registry) { g_registry.store(registry); }

const MakerNoteRegistry* ExifMakerNoteRegistry() { return g_registry.load(); }

void MakerNoteHandlerDestroy(MakerNoteHandler* handler) {
  if (!handler) return;
  if (handler->Destroy && handler->context) handler->Destroy(handler->context);
  delete handler;
}

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
  MakerNoteHandler* handler = nullptr;
  if (!registry || !registry->recognise ||
      !registry->recognise(document->raw.data(), document->rawSize, note, offsetBias, &handler) || !handler) {
    ErrorPush(ErrMakerNoteUnknown);
    return 0;
  }
  document->makerNote.reset(handler);
  if (!handler->Parse || !handler->context ||
      !handler->Parse(handler->context, handler->segment, handler->segmentSize, handler->offsetBias, note)) {
    // The handler stays open with what it read, so the caller sees a note that failed.
    handler->parseFailed = 1;
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
  MakerNoteHandler* handler = nullptr;
  if (!registry || !registry->create || !registry->create(FamilyNikon, &handler) || !handler) {
    ErrorPush(ErrMakerNoteUnknown);
    return 0;
  }
  document->makerNote.reset(handler);
  return 1;
}

intptr_t ExifMakerNoteControl(ExifDocument* document, uint32_t code, intptr_t first, intptr_t second) {
  if (!document || !document->makerNote || !document->makerNote->Control) return 0;
  return document->makerNote->Control(document->makerNote->context, code, first, second);
}

uint32_t ExifMakerNoteFamily(const ExifDocument* document) {
  return document && document->makerNote ? document->makerNote->family : 0;
}

IfdTable* ExifMakerNoteTable(ExifDocument* document, uint32_t kind) {
  MakerNoteHandler* handler = ExifKindHandler(document, kind);
  if (!handler || !handler->Table) return nullptr;
  return handler->Table(handler->context, kind & 0xFFFFu);
}

int MakerNoteFamilyIsEnabled(uint32_t family) {
  switch (family) {
    case FamilyNikon:
      return 1;
    case FamilyCanon:
    case FamilyPentax:
    case FamilySony:
    case FamilyFujifilm:
    case FamilyPanasonic:
    case FamilyCasio:
    case FamilyOlympus: {
      // Read once per run; every thread that races here stores the same value.
      static const int support = SettingsGetInt("OPTION", "MAKERNOTESUPORT", 1);
      return support == 1 ? 1 : 0;
    }
    default:
      return 0;
  }
}

int MakerNoteFamilyEnabled(const ExifDocument* document) {
  return document && document->makerNote ? MakerNoteFamilyIsEnabled(document->makerNote->family) : 0;
}
