// The reading of a settings number, kept apart so that other readers of profile-style text
// (the CSV tag lists, the combo histories) take numbers the same way.
#include <cstdint>
#include <string>

#include "frame/settings.h"

int SettingsParseInt(const std::string& text) {
  size_t pos = 0;
  while (pos < text.size() && (text[pos] == ' ' || text[pos] == '\t')) ++pos;
  bool negative = false;
  if (pos < text.size() && (text[pos] == '-' || text[pos] == '+')) negative = text[pos++] == '-';
  // Unsigned arithmetic wraps where a signed sum would overflow.
  uint32_t value = 0;
  for (; pos < text.size() && text[pos] >= '0' && text[pos] <= '9'; ++pos)
    value = value * 10u + static_cast<uint32_t>(text[pos] - '0');
  if (negative) value = 0u - value;
  return static_cast<int>(value);
}
