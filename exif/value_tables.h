// The meanings of enumerated tag values: for a (kind, tag) the text of each known value.
//
// Kinds 1 and 2 share their tables; GPS letter tags (kind 5) are keyed by the value's first
// character. Texts are UTF-8 in the source; callers convert with Cp932Text.
#pragma once

#include <cstdint>

struct ValueText {
  uint32_t value;
  const char* text;
};

// Which values a table reads: SHORT and LONG words, the first byte of a byte type, or the
// first character of an ASCII value.
enum ValueGroup : uint16_t { GroupWord = 0, GroupByte = 1, GroupLetter = 2 };

struct ValueTable {
  uint32_t kind;            // 1 (standing for 1 and 2), 3 or 5
  ValueGroup group;
  uint16_t tag;
  uint16_t element;         // which element of the value decides (530 reads its second)
  const ValueText* rows;
  uint32_t rowCount;
  const char* otherwise;    // the text of a value with no row; nullptr: the caller's fallback
};

// The table of a tag, or nullptr when its values carry no meaning here.
const ValueTable* ValueTableFind(uint32_t kind, ValueGroup group, uint16_t tag);

// The UTF-8 text of a value, or nullptr when the table has no row for it.
const char* ValueTableText(const ValueTable& table, uint32_t value);
