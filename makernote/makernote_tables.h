// What the families share as data: the names of their tables and the tags that stand for
// pointers a handler maintains itself, which the editor must refuse.
#pragma once

#include <cstdint>

// One row of the list a handler answers to MnTableNames: a table number and its name (CP932),
// the list ended by a row with table -1.
struct MakerNoteTableName {
  intptr_t table;
  const char* name;
};

// The table names of a family, ended by a row with table -1; nullptr for no family.
const MakerNoteTableName* MakerNoteTableNames(uint32_t family);

// Whether a tag of a family's table may be edited: 0 for a protected tag, else 1. Handlers
// answer MnTagEditable with it.
int MakerNoteTagEditable(uint32_t family, uint32_t table, uint16_t tag);
