// The MakerNote handler record that an ExifDocument owns, and the engine's forwarding to it.
//
// The engine knows the record's shape; the makernote library knows the eight families and
// installs its recogniser and creator here (MakerNoteInstall), so that the engine never depends
// on the families above it. Until they are installed, every note is one no handler recognised
// (808) and stays an opaque tag.
#pragma once

#include <cstdint>
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

// Control codes of a handler.
enum MakerNoteControlCode : uint32_t {
  MnSetPreview = 1,
  MnGetPreview = 2,
  MnByteOrder = 3,
  MnRelocate = 4,
  MnTableNames = 5,
  MnIsEditable = 6,
  MnNeedsRebuild = 7,
  MnTagCount = 8,
  MnPreviewLimit = 9,
  MnTagEditable = 10,
};

struct TagDefinition;  // exif/tag_catalogue.h

// A stretch of a payload, [first, end) from the TIFF header.
struct ExifByteRange {
  uint32_t first = 0;
  uint32_t end = 0;
};

// A family's own context; it begins with the three ExifContext fields.
struct MakerNoteContext : ExifContext {
  virtual ~MakerNoteContext() = default;
  uint32_t editable = 0;
  uint32_t built = 0;
};

struct MakerNoteHandler {
  uint32_t family = 0;
  MakerNoteContext* context = nullptr;
  const uint8_t* segment = nullptr;  // the APP1 payload the note was found in
  uint32_t segmentSize = 0;
  TagEntry* noteTag = nullptr;  // tag 37500 of the Exif table
  uint32_t offsetBias = 0;      // first word of tag 59933, else 0
  uint32_t parseFailed = 0;     // 1 when Parse failed: the tables hold only part of the note

  MakerNoteContext* (*Create)() = nullptr;
  void (*Destroy)(MakerNoteContext* context) = nullptr;
  int (*Build)(MakerNoteContext* context, uint8_t* output, uint32_t room, uint32_t* size) = nullptr;
  int (*Parse)(MakerNoteContext* context, const uint8_t* segment, uint32_t segmentSize, uint32_t offsetBias,
               const TagEntry* noteTag) = nullptr;
  int (*PutTag)(MakerNoteContext* context, uint32_t table, uint16_t tag, uint16_t type, uint32_t count,
                const void* value) = nullptr;
  int (*DeleteTag)(MakerNoteContext* context, uint32_t table, uint16_t tag) = nullptr;
  IfdTable* (*Table)(MakerNoteContext* context, uint32_t table) = nullptr;
  int (*FormatValue)(const TagEntry* entry, uint32_t table, char* text, uint32_t room) = nullptr;
  const char* (*TagName)(uint32_t table, uint16_t tag) = nullptr;
  const TagDefinition* (*Catalogue)(uint32_t table) = nullptr;
  intptr_t (*Control)(MakerNoteContext* context, uint32_t code, intptr_t first, intptr_t second) = nullptr;
};

// What the makernote library installs.
struct MakerNoteRegistry {
  // Returns 1 and a handler with segment, segmentSize, noteTag and offsetBias filled, or 0.
  int (*recognise)(const uint8_t* segment, uint32_t size, TagEntry* noteTag, uint32_t offsetBias,
                   MakerNoteHandler** handler);
  // Makes an empty handler of a family (and its context); 1 or 0 with 769.
  int (*create)(uint32_t family, MakerNoteHandler** handler);
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
intptr_t ExifMakerNoteControl(ExifDocument* document, uint32_t code, intptr_t first, intptr_t second);
uint32_t ExifMakerNoteFamily(const ExifDocument* document);  // 0 with none open

// The open handler's table for a MakerNote kind, after the family test; nullptr otherwise.
IfdTable* ExifMakerNoteTable(ExifDocument* document, uint32_t kind);

// Whether the family's notes are interpreted: Nikon always; the other seven while
// "MAKERNOTESUPORT" of "OPTION" is 1 (read once per run); anything else never.
int MakerNoteFamilyIsEnabled(uint32_t family);
int MakerNoteFamilyEnabled(const ExifDocument* document);
