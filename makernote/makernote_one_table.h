// The operations shared by the one-table formats (Canon, Pentax, Fujifilm, Panasonic, Casio):
// a single table numbered 257. A family's handler derives its context from
// MakerNoteOneTableContext and fills these into its record where its logic is the same.
#pragma once

#include <cstdint>

#include "exif/makernote_handler.h"

constexpr uint32_t kMakerNoteMainTable = 257;

struct MakerNoteOneTableContext : MakerNoteContext {
  IfdTable main;
  uint32_t needsRebuild = 0;  // Pentax only: the pointers reach past the tag's count
};

// The table for number 257 (the low 16 bits of a kind), nullptr for any other.
IfdTable* MakerNoteOneTableTable(MakerNoteContext* context, uint32_t table);
// TagListPut on table 257 and entryCount from the list; 0 for another table.
int MakerNoteOneTablePutTag(MakerNoteContext* context, uint32_t table, uint16_t tag, uint16_t type, uint32_t count,
                            const void* value);
// TagListRemove on table 257 and entryCount one less; 0 when the tag is not there.
int MakerNoteOneTableDeleteTag(MakerNoteContext* context, uint32_t table, uint16_t tag);
// The control codes every one-table family answers alike: byte order, table names, editable,
// needs-rebuild, tag count and protected tags. Other codes (previews, relocation) answer 0
// here; a family handles them before calling this.
intptr_t MakerNoteOneTableControl(MakerNoteContext* context, uint32_t family, uint32_t code, intptr_t first,
                                  intptr_t second);
