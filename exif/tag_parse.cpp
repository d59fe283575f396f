// Typed value text to value arrays.
#include "exif/tag_parse.h"

#include <array>
#include <cstring>
#include <new>
#include <string>

#include "exif/exif_document.h"

namespace {

// The largest value of a numeric type, as the digit string a number is compared with.
struct NumberLimit {
  uint16_t type;
  bool isSigned;
  const char* decimal;          // positive limit
  const char* decimalNegative;  // limit after "-", or nullptr where "-" is refused
  const char* hexadecimal;
};
constexpr std::array<NumberLimit, 4> kNumberLimits = {{
    {TypeShort, false, "65535", nullptr, "FFFF"},
    {TypeLong, false, "4294967295", nullptr, "FFFFFFFF"},
    {TypeSShort, true, "32767", "32768", "7FFF"},
    {TypeSLong, true, "2147483647", "2147483648", "7FFFFFFF"},
}};
static_assert(kNumberLimits.size() == 4, "one row for each integer type");

// The parts of a rational line are at most this long; a decimal line at most 18 characters and
// a whole-number line at most 15.
constexpr size_t kRationalPartMax = 15;
constexpr size_t kDecimalLineMax = 18;
constexpr size_t kWholeLineMax = 15;

const NumberLimit* LimitOf(uint32_t type) {
  for (const NumberLimit& limit : kNumberLimits)
    if (limit.type == type) return &limit;
  return nullptr;
}

bool IsBlank(char c) { return c == ' ' || c == '\t'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsHexDigit(char c) { return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
uint32_t HexValue(char c) { return IsDigit(c) ? uint32_t(c - '0') : uint32_t((c | 0x20) - 'a' + 10); }

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

std::vector<std::string_view> SplitLines(std::string_view text, std::string_view separator) {
  std::vector<std::string_view> lines;
  if (separator.empty()) {
    lines.push_back(text);
    return lines;
  }
  for (;;) {
    size_t at = text.find(separator);
    lines.push_back(text.substr(0, at));
    if (at == std::string_view::npos) return lines;
    text.remove_prefix(at + separator.size());
  }
}

bool HasHexPrefix(std::string_view text) { return text.size() >= 2 && text[0] == '0' && (text[1] | 0x20) == 'x'; }

// Compares a digit string with a limit of the same length, hexadecimal digits in any case.
bool WithinLimit(std::string_view digits, const char* limit) {
  size_t limitLength = std::strlen(limit);
  if (digits.size() != limitLength) return digits.size() < limitLength;
  for (size_t i = 0; i < limitLength; ++i) {
    char c = digits[i];
    if (c >= 'a' && c <= 'f') c = char(c - 'a' + 'A');
    if (c != limit[i]) return c < limit[i];
  }
  return true;
}

// The number check of one line: the form the type allows and its range by digit string.
bool NumberPasses(std::string_view text, const NumberLimit& limit) {
  if (HasHexPrefix(text)) {
    std::string_view digits = text.substr(2);
    if (digits.empty()) return false;
    for (char c : digits)
      if (!IsHexDigit(c)) return false;
    return WithinLimit(digits, limit.hexadecimal);
  }
  bool negative = false;
  if (!text.empty() && (text[0] == '+' || text[0] == '-')) {
    negative = text[0] == '-';
    text.remove_prefix(1);
  }
  if (negative && limit.decimalNegative == nullptr) return false;
  if (text.empty()) return false;
  for (char c : text)
    if (!IsDigit(c)) return false;
  return WithinLimit(text, negative ? limit.decimalNegative : limit.decimal);
}

// The value of a line that passed the check, as the 32-bit word the type stores.
uint32_t NumberValue(std::string_view text) {
  uint32_t value = 0;
  if (HasHexPrefix(text)) {
    for (char c : text.substr(2)) value = value * 16 + HexValue(c);
    return value;
  }
  bool negative = text[0] == '-';
  if (text[0] == '+' || text[0] == '-') text.remove_prefix(1);
  for (char c : text) value = value * 10 + uint32_t(c - '0');
  return negative ? 0u - value : value;
}

// A rational line as two number texts, or false when its form or length is refused.
bool SplitRational(std::string_view line, std::string& numerator, std::string& denominator) {
  size_t slash = line.find('/');
  size_t point = line.find('.');
  if (slash != std::string_view::npos) {
    numerator = std::string(Trim(line.substr(0, slash)));
    denominator = std::string(Trim(line.substr(slash + 1)));
  } else if (point != std::string_view::npos) {
    if (line.size() > kDecimalLineMax) return false;
    numerator = std::string(line.substr(0, point)) + std::string(line.substr(point + 1));
    denominator = "1" + std::string(line.size() - point - 1, '0');
  } else {
    if (line.size() > kWholeLineMax) return false;
    numerator = std::string(line);
    denominator = "1";
  }
  return numerator.size() <= kRationalPartMax && denominator.size() <= kRationalPartMax;
}

// Appends a word as an element of `size` bytes in host order.
void AppendWord(std::vector<uint8_t>* values, uint32_t word, uint32_t size) {
  uint8_t bytes[4];
  if (size == 2) {
    uint16_t half = uint16_t(word);
    std::memcpy(bytes, &half, 2);
  } else {
    std::memcpy(bytes, &word, 4);
  }
  values->insert(values->end(), bytes, bytes + size);
}

int ParseAscii(std::string_view text, std::vector<uint8_t>* values) {
  for (char c : text)
    if (uint8_t(c) >= 128) return -1;
  values->assign(text.begin(), text.end());
  values->push_back(0);
  return int(values->size());
}

// Pairs of hexadecimal digits, blanks between them; a group with an odd digit count is refused.
int ParseBytes(std::string_view text, std::string_view separator, std::vector<uint8_t>* values) {
  values->clear();
  for (std::string_view line : SplitLines(text, separator)) {
    size_t groupLength = 0;
    for (size_t i = 0; i <= line.size(); ++i) {
      char c = i < line.size() ? line[i] : ' ';
      if (IsBlank(c)) {
        if (groupLength % 2 != 0) return -1;
        groupLength = 0;
        continue;
      }
      if (!IsHexDigit(c)) return -1;
      if (++groupLength % 2 == 0) values->push_back(uint8_t(HexValue(line[i - 1]) << 4 | HexValue(c)));
    }
  }
  return int(values->size());
}

int ParseNumbers(uint32_t type, std::string_view text, std::string_view separator, std::vector<uint8_t>* values) {
  bool rational = type == TypeRational || type == TypeSRational;
  const NumberLimit* limit = LimitOf(rational ? uint32_t(type == TypeRational ? TypeLong : TypeSLong) : type);
  if (limit == nullptr) return -1;
  std::vector<std::string_view> lines;
  for (std::string_view line : SplitLines(text, separator)) {
    line = Trim(line);
    if (!line.empty()) lines.push_back(line);
  }
  // Every line is checked before any is converted: one bad line refuses the whole text.
  std::vector<uint32_t> words;
  for (std::string_view line : lines) {
    if (!rational) {
      if (!NumberPasses(line, *limit)) return -1;
      words.push_back(NumberValue(line));
      continue;
    }
    std::string numerator, denominator;
    if (!SplitRational(line, numerator, denominator)) return -1;
    if (!NumberPasses(numerator, *limit) || !NumberPasses(denominator, *limit)) return -1;
    words.push_back(NumberValue(numerator));
    words.push_back(NumberValue(denominator));
  }
  uint32_t size = ExifTypeSize(rational ? uint32_t(TypeLong) : type);
  values->clear();
  for (uint32_t word : words) AppendWord(values, word, size);
  return int(lines.size());
}

}  // namespace

int ParseTypedValues(uint32_t type, const char* text, uint32_t length, std::string_view separator,
                     std::vector<uint8_t>* values) {
  if (values == nullptr || (text == nullptr && length > 0)) return -1;
  try {
    std::string copy(text == nullptr ? "" : std::string_view(text, length));
    switch (type) {
      case TypeAscii:
        return ParseAscii(copy, values);
      case TypeByte:
      case TypeSignedByte:
      case TypeUndefined:
        return ParseBytes(copy, separator, values);
      case TypeShort:
      case TypeLong:
      case TypeSShort:
      case TypeSLong:
      case TypeRational:
      case TypeSRational:
        return ParseNumbers(type, copy, separator, values);
      default:
        return -1;
    }
  } catch (const std::bad_alloc&) {
    return -2;
  }
}

int ParseRationalText(const char* text, uint32_t rational[2]) {
  if (text == nullptr || rational == nullptr) return 0;
  while (IsBlank(*text)) ++text;
  uint32_t numerator = 0;
  uint32_t denominator = 0;
  if (HasHexPrefix(text)) {
    denominator = 1;
    uint32_t* target = &numerator;
    for (text += 2;; ++text) {
      if (IsHexDigit(*text)) {
        *target = *target * 16 + HexValue(*text);
      } else if (*text == '/' && target == &numerator) {
        target = &denominator;
        denominator = 0;
        if (HasHexPrefix(text + 1)) text += 2;
      } else {
        break;
      }
    }
  } else {
    bool negative = *text == '-';
    if (*text == '-' || *text == '+') ++text;
    bool decimals = false;  // behind a point: each digit scales the denominator
    bool inDenominator = false;
    for (;; ++text) {
      char c = *text;
      if (IsDigit(c)) {
        if (inDenominator) {
          denominator = denominator * 10 + uint32_t(c - '0');
        } else {
          numerator = numerator * 10 + uint32_t(c - '0');
          if (decimals) denominator *= 10;
        }
      } else if (c == ',') {
        continue;  // thousands separator
      } else if (c == '.' && !inDenominator && !decimals) {
        decimals = true;
        denominator = 1;
      } else if (c == '/' && !inDenominator) {
        // A written denominator replaces whatever the point had set.
        inDenominator = true;
        denominator = 0;
      } else {
        break;
      }
    }
    if (negative) numerator = 0u - numerator;
  }
  rational[0] = numerator;
  rational[1] = denominator == 0 ? 1 : denominator;
  return 1;
}
