// The rows of the Exif list: the tables of a document in the list's order, each under a
// heading row, each tag with its name, its tag/type/count and its display text. Pending edits
// are shown as they will be saved: a set replaces or adds its tag, a delete removes it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "exif/exif_document.h"

struct ExifListRow {
  bool heading = false;
  uint32_t kind = 0;
  uint16_t tag = 0;
  std::string name;    // CP932: the heading, or the tag's display name
  std::string detail;  // "%04X %04X %08X" of tag, type and count
  std::string text;    // CP932 display text, at most 128 bytes
};

// The tags of one table with the pending edits of that table applied, in tag order for tags
// the table did not hold.
std::vector<TagEntry> ExifListTags(ExifDocument* document, uint32_t kind);

// The tag of a table with its pending edits applied, or false when it is absent.
bool ExifListFindTag(ExifDocument* document, uint32_t kind, uint16_t tag, TagEntry* out);

// Every row, tables in the order 0th, Exif, the MakerNote's tables (with the handler's names),
// Interoperability, GPS, 1st; a table with no tags has no heading.
std::vector<ExifListRow> ExifListRows(ExifDocument* document);
