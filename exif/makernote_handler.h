// The MakerNote handler record that an ExifDocument owns, the family descriptor behind it, and
// the engine's forwarding to them.
//
// The engine knows the shapes; the makernote library knows the eight families and installs its
// registry here (MakerNoteInstall), so that the engine never depends on the families above it.
// Until it is installed, every note is one no handler recognised (808) and stays an opaque tag.
//
// A family is one descriptor (its facts as data, its recogniser, its lens line) and one context
// class (its open note: tables and typed operations). Adding a family means a file holding both
// and one row in makernote/makernote_families.cpp.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "exif/exif_document.h"

// Family numbers, the high 16 bits of a MakerNote IfdKind.
enum MakerFamily : uint32_t {
  FamilyNikon = 65536,
  FamilyCanon = 131072,
  FamilyPentax = 196608,
  FamilySony = 262144,
  FamilyFujifilm = 327680,
  FamilyPanasonic = 393216,
  FamilyCasio = 458752,
  FamilyOlympus = 524288,
};

struct TagDefinition;  // exif/tag_catalogue.h
struct RawEntry;       // exif/exif_reader.h

// A stretch of a payload, [first, end) from the TIFF header.
struct ExifByteRange {
  uint32_t first = 0;
  uint32_t end = 0;
};

// A table of a family: its number (the low half of a kind) and its name (CP932). A family's
// tables stand in the order the Exif list shows them.
struct MakerNoteTableName {
  uint32_t table;
  const char* name;
};

// A tag standing for a pointer the handler keeps itself, which the editor must refuse.
struct MakerNoteProtectedTag {
  uint32_t table;
  uint16_t tag;
};

// What a recogniser sees of one note: the APP1 payload it lies in and the fields of tag 37500.
struct MakerNoteProbe {
  const uint8_t* segment = nullptr;  // the APP1 payload, "Exif\0\0" first
  uint32_t segmentSize = 0;
  const uint8_t* note = nullptr;  // segment + 6 + offset
  uint32_t available = 0;         // bytes from note to the end of the segment
  uint32_t offset = 0;            // the tag's sourceWord: the note's place from the TIFF header
  uint32_t count = 0;             // the tag's count: the note's declared size
  int32_t bias = 0;               // tag 59933: how far earlier saves moved the note
  uint32_t exifBigEndian = 0;     // byte order of the Exif TIFF header
};

// An open note of one family: its tables and the operations on them. It begins with the three
// ExifContext fields, so that the engine's list and writer operations work on it directly.
// Operations return 1 or 0 and leave a code on the error stack, as the rest of the engine does.
struct MakerNoteContext : ExifContext {
  MakerNoteContext() = default;
  MakerNoteContext(const MakerNoteContext&) = delete;
  MakerNoteContext& operator=(const MakerNoteContext&) = delete;
  virtual ~MakerNoteContext() = default;

  uint32_t editable = 0;  // 1 once a parse read the whole note, or for a note made from nothing
  uint32_t built = 0;     // 1 after Build wrote the note

  // Reads the note of tag `noteTag` out of the APP1 payload `segment`.
  virtual int Parse(const uint8_t* segment, uint32_t segmentSize, uint32_t offsetBias, const TagEntry* noteTag) = 0;
  // Writes the note into output (room bytes); with output nullptr only measures. *size gets the
  // note's length either way.
  virtual int Build(uint8_t* output, uint32_t room, uint32_t* size) = 0;
  // The table of a number, nullptr for a number the family does not have.
  virtual IfdTable* Table(uint32_t table) = 0;
  // Sets or deletes a tag of a table; the defaults keep the table in tag order and its count.
  virtual int PutTag(uint32_t table, uint16_t tag, uint16_t type, uint32_t count, const void* value);
  virtual int DeleteTag(uint32_t table, uint16_t tag);
  // The entries of every table together.
  virtual uint32_t TagCount() = 0;
  // 1 when the note cannot be kept as its bytes and must be rebuilt on a save.
  virtual int NeedsRebuild() { return 0; }
  // 1 when a rebuild could not write the note again with all it holds (a block its tables know
  // only by a position in the file, an entry the build would not give back): a save carries it
  // as its bytes, kept in place. By default, a note that is not editable.
  virtual int KeepAsBytes() const { return editable == 0; }
  // Rewrites the pointers of a note that count from the Exif TIFF header (tiff), now that the
  // note stands where `entry` says. 1 done (or nothing to do), 0 the pointers cannot be made
  // right: the save is refused.
  virtual int Relocate(uint8_t* tiff, const RawEntry& entry);
  // The preview picture the note holds; 0 with none.
  virtual int Preview(const uint8_t** bytes, uint32_t* size);
  // Replaces the preview picture; 0 (with 1 on the error stack) for a family without one.
  virtual int SetPreview(const uint8_t* bytes, uint32_t size);
  // Why the note is not editable, in words for the user; nullptr when it is, or with no reason.
  virtual const char* NotEditableReason() const { return nullptr; }
};

// The facts of one family, as data. One constant per family, in the family's own file.
struct MakerNoteDescriptor {
  uint32_t family = 0;
  const char* displayName = "";
  // Returns the note's count for a note of the family, 0 otherwise.
  uint32_t (*recognise)(const MakerNoteProbe& probe) = nullptr;
  // Makes an empty context; nullptr while the family has no handler: its notes stay bytes.
  std::unique_ptr<MakerNoteContext> (*create)() = nullptr;
  std::span<const MakerNoteTableName> tables;
  std::span<const MakerNoteProtectedTag> protectedTags;
  // The catalogue of a table (rows ending in a null name); nullptr for a table without one.
  const TagDefinition* (*catalogue)(uint32_t table) = nullptr;
  // The value text of an entry of a table; nullptr uses the engine's general text.
  int (*formatValue)(const TagEntry* entry, uint32_t table, char* text, uint32_t room) = nullptr;
  // The same for a text that depends on other tags of the open note (a divisor another tag
  // holds): taken before formatValue when set, so that each document answers from its own note.
  int (*formatValueIn)(MakerNoteContext* context, const TagEntry* entry, uint32_t table, char* text,
                       uint32_t room) = nullptr;
  // The line of kind 264 ("the lens"), composed from the open note; nullptr for none.
  int (*lensText)(MakerNoteContext* context, char* text, uint32_t room) = nullptr;
  uint32_t previewLimit = 0;  // the largest preview, width << 16 | height; 0 for no preview
  bool alwaysRead = false;    // read even while "MAKERNOTESUPORT" is off
  bool creatable = false;     // a note of this family may be made from nothing
};

// The open note of a document: the family's descriptor, its context and where it was read from.
struct MakerNoteHandler {
  const MakerNoteDescriptor* descriptor = nullptr;
  uint32_t family = 0;
  std::unique_ptr<MakerNoteContext> context;
  const uint8_t* segment = nullptr;  // the APP1 payload the note was found in
  uint32_t segmentSize = 0;
  TagEntry* noteTag = nullptr;  // tag 37500 of the Exif table
  uint32_t offsetBias = 0;      // first word of tag 59933, else 0
  uint32_t parseFailed = 0;     // 1 when Parse failed: the tables hold only part of the note
};

// What the makernote library installs.
struct MakerNoteRegistry {
  // Returns 1 and a handler with segment, segmentSize, noteTag and offsetBias filled, or 0.
  int (*recognise)(const uint8_t* segment, uint32_t size, TagEntry* noteTag, uint32_t offsetBias,
                   std::unique_ptr<MakerNoteHandler>* handler);
  // Makes an empty handler of a family (and its context); 1 or 0 with 769 or 808.
  int (*create)(uint32_t family, std::unique_ptr<MakerNoteHandler>* handler);
  // The descriptor of a family number, nullptr for none.
  const MakerNoteDescriptor* (*find)(uint32_t family);
  // Rebuilds the open note from its tables into tag 37500 (ExifRebuildMakerNote). The writer
  // calls it when a commit applied edits to a MakerNote table; it lives above the engine, so the
  // makernote library installs it here. Left nullptr, such edits are applied to the tables only.
  int (*rebuild)(ExifDocument* document) = nullptr;
  // The ranges of the document's raw payload its note occupies: the declared bytes and every
  // byte its entries and sub-directories point at. A rebuild that keeps the note in place keeps
  // all of them. Left nullptr, only the declared bytes are kept.
  int (*extent)(const ExifDocument* document, std::vector<ExifByteRange>* ranges) = nullptr;
};
void ExifInstallMakerNotes(const MakerNoteRegistry* registry);
const MakerNoteRegistry* ExifMakerNoteRegistry();

// Opens the handler for the document's tag 37500: 775 no tag, 808 no recogniser matched,
// 807 the handler failed to parse (it then stays open with what it read).
int ExifOpenMakerNote(ExifDocument* document);
int ExifCloseMakerNote(ExifDocument* document);
// Replaces any handler with an empty Nikon one, the only note made from nothing.
int ExifCreateMakerNote(ExifDocument* document);
uint32_t ExifMakerNoteFamily(const ExifDocument* document);  // 0 with none open
// The open note's context, nullptr with none.
MakerNoteContext* ExifMakerNoteContext(const ExifDocument* document);
// The open family's tables in display order; empty with none open.
std::span<const MakerNoteTableName> ExifMakerNoteTables(const ExifDocument* document);
// Whether the open note may be edited: read whole, or made from nothing.
int ExifMakerNoteEditable(const ExifDocument* document);
// Whether a tag of the open family's table may be edited: 0 for a pointer the handler keeps.
int ExifMakerNoteTagEditable(const ExifDocument* document, uint32_t table, uint16_t tag);
// The preview picture of the open note; 0 with none.
int ExifMakerNotePreview(const ExifDocument* document, const uint8_t** bytes, uint32_t* size);

// The open handler's table for a MakerNote kind, after the family test; nullptr otherwise.
IfdTable* ExifMakerNoteTable(ExifDocument* document, uint32_t kind);

// Whether the family's notes are interpreted: those marked alwaysRead (Nikon) always; the
// others while "MAKERNOTESUPORT" of "OPTION" is 1 (read once per run); unknown numbers never.
int MakerNoteFamilyIsEnabled(uint32_t family);
// The same for the document's open note; 0 with none open.
int ExifMakerNoteEnabled(const ExifDocument* document);
