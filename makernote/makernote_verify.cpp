#include "makernote/makernote_verify.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <set>

#include "exif/exif_reader.h"
#include "exif/makernote_handler.h"
#include "frame/error_stack.h"
#include "makernote/makernote_extent.h"

namespace {

thread_local std::string g_refusal;

struct TableName {
  uint32_t kind;
  const char* name;
};
constexpr std::array<TableName, 5> kTables{{{IfdPrimary, "0th IFD"},
                                            {IfdExif, "Exif IFD"},
                                            {IfdInterop, "Interoperability IFD"},
                                            {IfdGps, "GPS IFD"},
                                            {IfdThumbnail, "1st IFD"}}};

// MakerNote tables a handler may hold (257 to 262).
constexpr uint32_t kNoteTableFirst = 257;
constexpr uint32_t kNoteTableLast = 262;

int Refuse(uint32_t code, const char* table, uint16_t tag, const char* what) {
  char line[160];
  std::snprintf(line, sizeof line, "%s tag 0x%04X (%u) %s", table, tag, tag, what);
  g_refusal = line;
  ErrorPush(code);
  return 0;
}

// Reads a payload as a document, leaving the error stack as it found it.
ExifDocumentPtr ReadQuietly(const uint8_t* bytes, uint32_t size, uint32_t* status) {
  const uint32_t top = ErrorPeek();
  ExifDocumentPtr document;
  *status = ExifCheckSegment(bytes, size, document);
  while (ErrorPeek() != top && ErrorPeek() != 0) ErrorPop();
  return document;
}

bool SameEntry(const TagEntry* a, const TagEntry* b) {
  if (a == nullptr || b == nullptr) return a == b;
  return a->type == b->type && a->count == b->count && a->ValueSize() == b->ValueSize() &&
         std::memcmp(a->Data(), b->Data(), a->ValueSize()) == 0;
}

bool PendingTouches(const ExifDocument* document, uint32_t kind, uint16_t tag) {
  for (const PendingEdit& edit : document->pending)
    if (edit.tag == tag && (edit.kind == kind || (kind >= kIfdMakerNoteFirst && edit.kind >= kIfdMakerNoteFirst)))
      return true;
  return false;
}

bool NoteDeleted(const ExifDocument* document) {
  for (const PendingEdit& edit : document->pending)
    if (edit.kind == IfdExif && edit.tag == TagMakerNote && edit.op == PendingDelete) return true;
  return false;
}

// Whether the document still holds the file's own thumbnail: not replaced by the user, and not
// one that ran past its segment (which a rebuild writes with the length the segment held).
bool ThumbnailKept(const ExifDocument* document, const ExifDocument* before) {
  return before->thumbnail != nullptr && document->thumbnail != nullptr &&
         document->thumbnailSize == before->thumbnailSize &&
         std::memcmp(document->thumbnail, before->thumbnail, before->thumbnailSize) == 0;
}

// Tags that say where things stand; a rebuild rewrites them.
bool Structural(uint32_t kind, uint16_t tag, bool thumbnailKept) {
  switch (kind) {
    case IfdPrimary:
      return tag == TagExifIfdPointer || tag == TagGpsIfdPointer;
    case IfdExif:
      return tag == TagInteropIfdPointer || tag == TagOffsetSchema;
    case IfdThumbnail:
      // The length too when the file's thumbnail ran past its segment: it is written to match.
      return tag == TagThumbnailOffset || (tag == TagThumbnailLength && !thumbnailKept);
    default:
      return false;
  }
}

int CompareIfds(ExifDocument* document, const ExifDocument* before, const ExifDocument* after) {
  const bool noteRebuildable = document->makerNote != nullptr;
  const bool thumbnailKept = ThumbnailKept(document, before);
  // The thumbnail's bytes are a value of the 1st IFD too, though no entry holds them.
  if (thumbnailKept && (after->thumbnail == nullptr || after->thumbnailSize != before->thumbnailSize ||
                        std::memcmp(after->thumbnail, before->thumbnail, before->thumbnailSize) != 0))
    return Refuse(ErrValueTooLarge, "1st IFD", TagThumbnailOffset, "would change (the thumbnail's bytes)");
  for (const TableName& table : kTables) {
    const IfdTable* old = ExifIfdTable(before, table.kind);
    const IfdTable* now = ExifIfdTable(after, table.kind);
    const IfdTable* held = ExifIfdTable(document, table.kind);
    std::set<uint16_t> tags;
    for (const TagEntry& entry : old->tags) tags.insert(entry.tag);
    for (const TagEntry& entry : now->tags) tags.insert(entry.tag);
    for (uint16_t tag : tags) {
      if (Structural(table.kind, tag, thumbnailKept) || PendingTouches(document, table.kind, tag)) continue;
      const TagEntry* was = ExifFindInTable(old, tag);
      if (!SameEntry(was, ExifFindInTable(held, tag))) continue;  // changed in the tables directly
      if (tag == TagMakerNote && noteRebuildable) continue;       // its tables are compared below
      const TagEntry* is = ExifFindInTable(now, tag);
      if (!SameEntry(was, is))
        return Refuse(ErrValueTooLarge, table.name, tag,
                      was == nullptr  ? "would be added"
                      : is == nullptr ? "would be lost"
                                      : "would change");
    }
  }
  return 1;
}

// The note's tags the user edited: queued edits, and entries of the open handler's tables that
// differ from the file's own note.
std::set<uint16_t> EditedNoteTags(ExifDocument* document, ExifDocument* before) {
  std::set<uint16_t> edited;
  for (const PendingEdit& edit : document->pending)
    if (edit.kind >= kIfdMakerNoteFirst) edited.insert(edit.tag);
  if (document->makerNote == nullptr) return edited;
  for (uint32_t number = kNoteTableFirst; number <= kNoteTableLast; ++number) {
    const IfdTable* held = ExifMakerNoteTable(document, number);
    const IfdTable* file = before->makerNote ? ExifMakerNoteTable(before, number) : nullptr;
    std::set<uint16_t> tags;
    if (held)
      for (const TagEntry& entry : held->tags) tags.insert(entry.tag);
    if (file)
      for (const TagEntry& entry : file->tags) tags.insert(entry.tag);
    for (uint16_t tag : tags)
      if (!SameEntry(held ? ExifFindInTable(held, tag) : nullptr, file ? ExifFindInTable(file, tag) : nullptr))
        edited.insert(tag);
  }
  return edited;
}

// Tags a handler maintains itself (its pointers), which its rebuild rewrites.
bool HandlerMaintains(ExifDocument* document, uint16_t tag) {
  for (uint32_t number = kNoteTableFirst; number <= kNoteTableLast; ++number)
    if (ExifMakerNoteTable(document, number) != nullptr &&
        ExifMakerNoteTagEditable(document, number, tag) == 0)
      return true;
  return false;
}

int WalkNote(const ExifDocument* document, const uint8_t* bytes, uint32_t size, MakerNoteWalk* walk) {
  const TagEntry* note = ExifFindTag(const_cast<ExifDocument*>(document), IfdExif, TagMakerNote);
  if (note == nullptr) return 0;
  const TagEntry* schema = ExifFindTag(const_cast<ExifDocument*>(document), IfdExif, TagOffsetSchema);
  return MakerNoteWalkPayload(bytes, size, note->sourceWord, note->count, schema ? schema->S32(0) : 0, walk);
}

// The n-th entry with a tag in a table, or nullptr.
const MakerNoteWalkEntry* FindNth(const MakerNoteWalkTable& table, uint16_t tag, size_t nth) {
  for (const MakerNoteWalkEntry& entry : table.entries)
    if (entry.tag == tag && nth-- == 0) return &entry;
  return nullptr;
}

bool SameWalkEntry(const MakerNoteWalkEntry* a, const MakerNoteWalkEntry* b) {
  if (a == nullptr || b == nullptr) return a == b;
  return a->type == b->type && a->count == b->count && a->valid == b->valid && a->value == b->value;
}

int CompareNoteTables(const MakerNoteWalk& old, const MakerNoteWalk& now, const std::set<uint16_t>& skipped) {
  for (const MakerNoteWalkTable& table : old.tables) {
    const MakerNoteWalkTable* match = nullptr;
    for (const MakerNoteWalkTable& candidate : now.tables)
      if (candidate.parentTag == table.parentTag) match = match ? match : &candidate;
    const MakerNoteWalkTable empty;
    const MakerNoteWalkTable& other = match ? *match : empty;
    for (const MakerNoteWalkTable* side : {&table, &other}) {
      for (size_t i = 0; i < side->entries.size(); ++i) {
        const uint16_t tag = side->entries[i].tag;
        if (skipped.count(tag)) continue;
        size_t nth = 0;
        for (size_t j = 0; j < i; ++j) nth += side->entries[j].tag == tag;
        const MakerNoteWalkEntry* a = FindNth(table, tag, nth);
        const MakerNoteWalkEntry* b = FindNth(other, tag, nth);
        if (!SameWalkEntry(a, b))
          return Refuse(ErrMakerNoteBuild, "MakerNote", tag,
                        a == nullptr   ? "would be added"
                        : b == nullptr ? "would be lost"
                                       : "would change");
      }
    }
  }
  return 1;
}

int CompareNotes(ExifDocument* document, ExifDocument* before, ExifDocument* after, const uint8_t* bytes,
                 uint32_t size) {
  const TagEntry* was = ExifFindTag(before, IfdExif, TagMakerNote);
  const TagEntry* is = ExifFindTag(after, IfdExif, TagMakerNote);
  // A note the user deleted (or replaced by a new one, as the embedding of a roll does for a note
  // of another maker, after telling the user) has nothing left to keep.
  if (was == nullptr || NoteDeleted(document)) return 1;
  if (is == nullptr) return Refuse(ErrMakerNoteBuild, "Exif IFD", TagMakerNote, "would be lost");
  MakerNoteWalk old, now;
  WalkNote(before, document->raw.data(), document->rawSize, &old);
  WalkNote(after, bytes, size, &now);
  // A note with no byte order of its own is read in the Exif's: carried into the other order,
  // every reader would misread it.
  if (old.exifOrder && !now.exifOrder && !old.tables.empty())
    return Refuse(ErrMakerNoteBuild, "Exif IFD", TagMakerNote, "would be read in the other byte order");
  std::set<uint16_t> skipped;
  if (!SameEntry(was, is)) {
    // The note was rebuilt by its handler: what the user edited and the handler's own pointers
    // may differ; everything else must read the same.
    if (document->makerNote == nullptr) return Refuse(ErrMakerNoteBuild, "Exif IFD", TagMakerNote, "would change");
    skipped = EditedNoteTags(document, before);
    for (uint16_t tag : old.pointerTags) skipped.insert(tag);
    for (const MakerNoteWalkTable& table : old.tables)
      for (const MakerNoteWalkEntry& entry : table.entries)
        if (HandlerMaintains(document, entry.tag)) skipped.insert(entry.tag);
  }
  return CompareNoteTables(old, now, skipped);
}

}  // namespace

const std::string& ExifSaveRefusal() { return g_refusal; }

int ExifPayloadPreserves(ExifDocument* document, const uint8_t* bytes, uint32_t size) {
  g_refusal.clear();
  if (document == nullptr || bytes == nullptr) return 0;
  if (document->rawSize == 0) return 1;  // a document made from nothing has nothing to keep
  uint32_t status = 0;
  ExifDocumentPtr before = ReadQuietly(document->raw.data(), document->rawSize, &status);
  if (!before) return 1;  // the file's own Exif did not read: nothing was read, so nothing to keep
  ExifDocumentPtr after = ReadQuietly(bytes, size, &status);
  if (!after) {
    g_refusal = "the written Exif would not read again";
    ErrorPush(ErrOutOfRange);
    return 0;
  }
  return CompareIfds(document, before.get(), after.get()) &&
         CompareNotes(document, before.get(), after.get(), bytes, size);
}
