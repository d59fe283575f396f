// CP932 <-> Unicode by bisection over the two generated tables.
#include "frame/cp932.h"

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace {

struct Cp932Pair {
  uint16_t code;
  uint16_t codePoint;
};

#include "frame/cp932_table.inc"

constexpr bool Cp932TableSorted(const auto& table, auto key) {
  for (size_t i = 1; i < table.size(); ++i)
    if (key(table[i - 1]) >= key(table[i])) return false;
  return true;
}
static_assert(Cp932TableSorted(kCp932Decode, [](const Cp932Pair& p) { return p.code; }),
              "decode table must be sorted by code, without repeats");
static_assert(Cp932TableSorted(kCp932Encode, [](const Cp932Pair& p) { return p.codePoint; }),
              "encode table must be sorted by code point, without repeats");

constexpr uint32_t kReplacement = 0xFFFD;

// Appends one code point as UTF-8.
void Utf8Append(std::string& out, uint32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

// Reads one UTF-8 sequence at text[pos], advancing pos. A malformed sequence (bad lead,
// missing or bad continuation, overlong form, surrogate) gives kReplacement and consumes one byte.
uint32_t Utf8Next(std::string_view text, size_t& pos) {
  const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
  const uint8_t lead = byte(pos);
  if (lead < 0x80) {
    ++pos;
    return lead;
  }
  size_t length = 0;
  uint32_t cp = 0;
  uint32_t minimum = 0;
  if ((lead & 0xE0) == 0xC0) {
    length = 2, cp = lead & 0x1F, minimum = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3, cp = lead & 0x0F, minimum = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4, cp = lead & 0x07, minimum = 0x10000;
  } else {
    ++pos;
    return kReplacement;
  }
  if (text.size() - pos < length) {
    ++pos;
    return kReplacement;
  }
  for (size_t i = 1; i < length; ++i) {
    const uint8_t next = byte(pos + i);
    if ((next & 0xC0) != 0x80) {
      ++pos;
      return kReplacement;
    }
    cp = cp << 6 | (next & 0x3F);
  }
  if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
    ++pos;
    return kReplacement;
  }
  pos += length;
  return cp;
}

bool Cp932IsTrailByte(uint8_t byte) { return byte >= 0x40 && byte <= 0xFC && byte != 0x7F; }

}  // namespace

bool Cp932IsLeadByte(uint8_t byte) { return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC); }

uint32_t Cp932ToUnicode(uint16_t code) {
  const auto it = std::lower_bound(kCp932Decode.begin(), kCp932Decode.end(), code,
                                   [](const Cp932Pair& p, uint16_t c) { return p.code < c; });
  return it != kCp932Decode.end() && it->code == code ? it->codePoint : 0;
}

uint16_t Cp932FromUnicode(uint32_t codePoint) {
  if (codePoint > 0xFFFF) return 0;
  const auto it = std::lower_bound(kCp932Encode.begin(), kCp932Encode.end(), codePoint,
                                   [](const Cp932Pair& p, uint32_t c) { return p.codePoint < c; });
  return it != kCp932Encode.end() && it->codePoint == codePoint ? it->code : 0;
}

std::string Cp932FromUtf8(std::string_view utf8, bool* ok) {
  std::string out;
  out.reserve(utf8.size());
  bool allMapped = true;
  for (size_t pos = 0; pos < utf8.size();) {
    const uint32_t cp = Utf8Next(utf8, pos);
    // U+0000 maps to code 0, which is also the "unmapped" answer, so it is taken apart.
    const uint16_t code = cp == 0 ? 0 : Cp932FromUnicode(cp);
    if (cp != 0 && code == 0) {
      out += '?';
      allMapped = false;
    } else if (code > 0xFF) {
      out += static_cast<char>(code >> 8);
      out += static_cast<char>(code & 0xFF);
    } else {
      out += static_cast<char>(code);
    }
  }
  if (ok) *ok = allMapped;
  return out;
}

std::string Utf8FromCp932(std::string_view cp932) {
  std::string out;
  out.reserve(cp932.size() * 3 / 2);
  for (size_t pos = 0; pos < cp932.size();) {
    const uint8_t byte = static_cast<uint8_t>(cp932[pos]);
    if (byte < 0x80) {
      // CP932's single bytes below 0x80 are ASCII: by far the most text, taken without a search.
      out += static_cast<char>(byte);
      ++pos;
      continue;
    }
    if (!Cp932IsLeadByte(byte)) {
      const uint32_t cp = byte == 0 ? 0 : Cp932ToUnicode(byte);
      Utf8Append(out, byte != 0 && cp == 0 ? kReplacement : cp);
      ++pos;
      continue;
    }
    // A lead byte takes its trail only when that byte can be one, so that a line end or an
    // ASCII character after a stray lead byte survives.
    if (pos + 1 >= cp932.size() || !Cp932IsTrailByte(static_cast<uint8_t>(cp932[pos + 1]))) {
      Utf8Append(out, kReplacement);
      ++pos;
      continue;
    }
    const uint16_t code = static_cast<uint16_t>(byte << 8 | static_cast<uint8_t>(cp932[pos + 1]));
    const uint32_t cp = Cp932ToUnicode(code);
    Utf8Append(out, cp == 0 ? kReplacement : cp);
    pos += 2;
  }
  return out;
}

const char* Cp932Text(const char* utf8Literal) {
  if (!utf8Literal) return nullptr;
  static std::mutex mutex;
  // Node-based map: a stored string never moves, so the returned pointer stays valid.
  static std::unordered_map<const char*, std::string> cache;
  const std::lock_guard lock(mutex);
  auto it = cache.find(utf8Literal);
  if (it == cache.end()) it = cache.emplace(utf8Literal, Cp932FromUtf8(utf8Literal)).first;
  return it->second.c_str();
}
