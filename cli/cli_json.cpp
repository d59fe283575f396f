#include "cli/cli_json.h"

#include <charconv>

namespace {

// The length of the UTF-8 sequence starting at text[i], or 0 when it is not one (overlong
// forms, surrogates and code points past U+10FFFF included).
size_t JsonUtf8Length(std::string_view text, size_t i) {
  const auto byte = [&](size_t k) { return uint8_t(text[k]); };
  const uint8_t lead = byte(i);
  size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 0;
  if (lead > 0xF4 || length == 0 || i + length > text.size()) return 0;
  for (size_t k = 1; k < length; ++k)
    if ((byte(i + k) & 0xC0) != 0x80) return 0;
  const uint8_t second = byte(i + 1);
  if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second >= 0xA0) || (lead == 0xF0 && second < 0x90) ||
      (lead == 0xF4 && second >= 0x90))
    return 0;
  return length;
}

}  // namespace

void JsonAppendString(std::string& out, std::string_view text) {
  static const char kHex[] = "0123456789abcdef";
  out += '"';
  size_t run = 0;  // start of the bytes not yet copied: plain runs are copied whole
  for (size_t i = 0; i < text.size();) {
    const uint8_t c = uint8_t(text[i]);
    if (c >= 0x20 && c < 0x80 && c != '"' && c != '\\') {
      ++i;
      continue;
    }
    if (c >= 0x80) {
      if (const size_t length = JsonUtf8Length(text, i)) {
        i += length;
        continue;
      }
    }
    out.append(text.data() + run, i - run);
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (c < 0x20) {
          out += "\\u00";
          out += kHex[c >> 4];
          out += kHex[c & 15];
        } else {
          out += "\xEF\xBF\xBD";  // a byte that is not UTF-8
        }
    }
    run = ++i;
  }
  out.append(text.data() + run, text.size() - run);
  out += '"';
}

void JsonAppendKey(std::string& out, std::string_view key) {
  out += '"';
  out += key;
  out += "\":";
}

void JsonAppendBase64(std::string& out, const uint8_t* bytes, size_t size) {
  static const char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  out += '"';
  size_t i = 0;
  for (; i + 3 <= size; i += 3) {
    const uint32_t word = uint32_t(bytes[i]) << 16 | uint32_t(bytes[i + 1]) << 8 | bytes[i + 2];
    for (int shift = 18; shift >= 0; shift -= 6) out += kDigits[(word >> shift) & 63];
  }
  if (const size_t rest = size - i) {
    const uint32_t word = uint32_t(bytes[i]) << 16 | (rest == 2 ? uint32_t(bytes[i + 1]) << 8 : 0);
    out += kDigits[word >> 18 & 63];
    out += kDigits[word >> 12 & 63];
    out += rest == 2 ? kDigits[word >> 6 & 63] : '=';
    out += '=';
  }
  out += '"';
}

void JsonAppendNumber(std::string& out, int64_t value) {
  char digits[24];
  const auto result = std::to_chars(digits, digits + sizeof digits, value);
  out.append(digits, result.ptr);
}
