// The tag catalogue: what each tag of the five document tables is, its declared type and
// count, its Japanese display name and its Exif name.
//
// The catalogue describes; it never decides what a file may hold. A file's tag that no row
// describes stays in the document and shows the name "不明". MakerNote tables use the same row
// form and are reached through the open handler (exif/makernote_handler.h).
#pragma once

#include <cstdint>
#include <span>

#include "exif/exif_document.h"

struct MakerNoteHandler;

// One catalogue row. A table ends with a row whose displayName is nullptr; rows stand in the
// order of the list window, which is not tag order.
struct TagDefinition {
  uint16_t tag;
  uint16_t type;              // a TagType
  uint32_t count;             // 0: any count
  const char* displayName;    // UTF-8 in the source; TagRowDisplayName gives the CP932 form
  const char* tagName;        // the Exif name, ASCII
};

// The document's own table of a kind from 1 to 5, else nullptr.
const TagDefinition* TagCatalogueOwnTable(uint32_t kind);

// The table of a kind. Kinds 1 to 5 need no document; any other kind below 256 has none. From
// 256 the open MakerNote handler answers (nullptr with no document or no handler).
const TagDefinition* TagCatalogueTable(const ExifDocument* document, uint32_t kind);

// Rows before the end row of a table; 0 for nullptr.
uint32_t TagCatalogueCount(const TagDefinition* table);

// The first row of a table with that tag, or nullptr.
const TagDefinition* TagCatalogueFind(const TagDefinition* table, uint16_t tag);

// The CP932 display name of a row ("不明" for nullptr).
const char* TagRowDisplayName(const TagDefinition* row);

// The CP932 display name of a tag: the first row with that tag, else "不明". From kind 256
// the handler's TagName answers ("不明" with none open).
const char* TagDisplayName(const ExifDocument* document, uint32_t kind, uint16_t tag);

// The Exif name of a tag (ASCII), or nullptr when no row describes it. From kind 256 it is
// looked up in the handler's catalogue.
const char* TagExifName(const ExifDocument* document, uint32_t kind, uint16_t tag);

// 1 when a tag may be edited as a plain tag. Below 256: 0 for the six structural tags whose
// offsets only the writer sets, 1 for every other, listed or not. From 256 the handler's
// MnTagEditable answers (0 with none open).
int TagIsEditable(const ExifDocument* document, uint32_t kind, uint16_t tag);

// The open handler that answers for a MakerNote kind: the kind's family is 0 (whichever is
// open) or the open handler's. nullptr below 256, with no document or no handler.
MakerNoteHandler* TagKindHandler(const ExifDocument* document, uint32_t kind);

// The names of the tables, as the explorer and the text export show them, in their order.
struct IfdName {
  int32_t kind;
  const char* name;  // UTF-8 in the source
};
std::span<const IfdName> IfdDisplayNameTable();

// The CP932 name of a table, or nullptr for a kind the list does not name.
const char* IfdDisplayName(uint32_t kind);
