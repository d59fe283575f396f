// Pieces the value texts of the one-table families share: a number-to-text row, printf into a
// composed text, and the copy of a composed text into the caller's room. Texts are written as
// UTF-8 literals and handed out as CP932 (Cp932Text).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

struct MakerNoteNumberText {
  int32_t value;
  const char* text;  // UTF-8 literal
};

// The CP932 text of a value, nullptr when no row names it.
const char* MakerNoteLookup(std::span<const MakerNoteNumberText> rows, int64_t value);
// Appends printf output (at most 255 bytes) to a composed text.
void MakerNoteAppend(std::string* out, const char* format, ...);
// Appends a part, with "-" before it when something precedes.
void MakerNoteAppendPart(std::string* out, std::string_view part);
// Copies a composed text into text (room bytes), cut at a whole CP932 character; 1.
int MakerNoteEmit(std::string_view composed, char* text, uint32_t room);
// "%d" of a value whose tenfold is a multiple of 10, else "%.1f"; prefix and suffix around it.
std::string MakerNoteTenths(const char* prefix, double value, const char* suffix);
