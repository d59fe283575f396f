// The ordered choice of tags for CSV work, its persisted form, and the tables it picks from.
//
// A selection is the column order of a CSV file. Its tags come from the five Exif tables and
// the three Nikon MakerNote tables, whatever camera wrote the files, so that column titles name
// MakerNote tags the same way for every file. The settings keep it as section "CSV", keys
// "TAGCOUNT" and "TAGLIST" (16 characters "0x%08X%04X%01X," per entry).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// One entry of a selection.
struct TagPick {
  uint32_t kind = 1;              // 0 an IFD heading row of the selectable list, 1 a tag
  const char* name = nullptr;     // CP932 display name from the catalogue; nullptr when unknown
  uint32_t ifd = 0;               // IfdNumber: 1 to 5, or 65793 to 65795 for the Nikon tables
  uint32_t tag = 0;               // 16 bits used
  uint32_t type = 0;              // Exif type number, 1 to 10
  int32_t selected = 0;           // 1 while the entry stands in the chosen list
  uint32_t spare = 0;
};

using TagSelection = std::vector<TagPick>;

// One table of the selectable list, with its heading exactly as shown.
struct TagSelectionIfd {
  uint32_t ifd;
  const char* heading;
};
// The tables in the order the selectable list offers them.
const TagSelectionIfd* TagSelectionIfds(size_t* count);

// The selectable list: per table a heading row (kind 0, name the heading), then each catalogue
// tag of that table in catalogue order (kind 1, with its name and catalogue type).
TagSelection TagSelectionSelectable();
// Every selectable tag, headings left out, each once, selected.
TagSelection TagSelectionEverything();

// The CP932 column title of (ifd, tag): the catalogue name; the catalogue's unknown-tag text
// for a tag missing from a known table; empty for a table the list does not offer.
std::string TagSelectionTitle(uint32_t ifd, uint32_t tag);
// The catalogue type of (ifd, tag), or 0 when the catalogue has no row for it.
uint32_t TagSelectionCatalogueType(uint32_t ifd, uint32_t tag);

// The 15 characters "0x%08X%04X%01X" of an entry, as the "TAGID" row and TAGLIST hold them.
std::string TagPickId(const TagPick& pick);
// The reverse for a "TAGID" cell: exactly 15 characters beginning with "0x" in any case.
// Digits follow the persisted form's rule (0-9, a-f in any case, any other character as 0).
bool TagPickFromId(std::string_view id, TagPick* pick);

// Writes TAGCOUNT then TAGLIST; an empty selection writes nothing. Returns 1, 0 on a write failure.
int TagSelectionSave(const TagSelection& selection);
// Reads TAGCOUNT and TAGLIST. Loaded entries have kind 1, name nullptr, selected 0.
TagSelection TagSelectionLoad();
