#include "makernote/makernote_text.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "frame/cp932.h"

const char* MakerNoteLookup(std::span<const MakerNoteNumberText> rows, int64_t value) {
  for (const MakerNoteNumberText& row : rows)
    if (row.value == value) return Cp932Text(row.text);
  return nullptr;
}

void MakerNoteAppend(std::string* out, const char* format, ...) {
  char buffer[256];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  out->append(buffer);
}

void MakerNoteAppendPart(std::string* out, std::string_view part) {
  if (part.empty()) return;
  if (!out->empty()) out->push_back('-');
  out->append(part);
}

int MakerNoteEmit(std::string_view composed, char* text, uint32_t room) {
  if (text == nullptr || room == 0) return 0;
  size_t length = 0;
  while (length < composed.size()) {
    const size_t width = Cp932IsLeadByte(uint8_t(composed[length])) ? 2 : 1;
    if (length + width > room - 1) break;
    length += width;
  }
  std::memcpy(text, composed.data(), length);
  text[length] = '\0';
  return 1;
}

std::string MakerNoteTenths(const char* prefix, double value, const char* suffix) {
  std::string out;
  if (int64_t(std::fabs(value) * 10) % 10 == 0)
    MakerNoteAppend(&out, "%s%d%s", prefix, int(value), suffix);
  else
    MakerNoteAppend(&out, "%s%.1f%s", prefix, value, suffix);
  return out;
}
