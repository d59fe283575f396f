// The cell rule of CSV import.
#include "tools/csv_cell.h"

#include <new>
#include <string>

#include "exif/exif_document.h"
#include "exif/tag_parse.h"
#include "exif/value_format.h"

namespace {

bool IsHexDigit(char c) { return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'f'); }
uint8_t HexValue(char c) { return c <= '9' ? uint8_t(c - '0') : uint8_t((c | 0x20) - 'a' + 10); }

// Hexadecimal digits, blanks and line breaks only. Left to right: two digits make a byte; a
// digit followed by anything else makes a byte of that digit alone, the other character
// consumed; other characters at a byte's start are skipped.
int ParseByteCell(std::string_view text, std::vector<uint8_t>* values) {
  for (char c : text)
    if (!IsHexDigit(c) && c != ' ' && c != '\t' && c != '\r' && c != '\n') return -1;
  values->clear();
  for (size_t i = 0; i < text.size();) {
    if (!IsHexDigit(text[i])) {
      ++i;
      continue;
    }
    if (i + 1 < text.size() && IsHexDigit(text[i + 1])) {
      values->push_back(uint8_t(HexValue(text[i]) << 4 | HexValue(text[i + 1])));
    } else {
      values->push_back(HexValue(text[i]));
    }
    i += 2;
  }
  return int(values->size());
}

}  // namespace

int CsvCellParse(uint32_t type, std::string_view text, std::string_view separator, std::vector<uint8_t>* values) {
  if (!values) return -1;
  try {
    switch (type) {
      case TypeByte:
      case TypeSignedByte:
      case TypeUndefined:
        return ParseByteCell(text, values);
      case TypeAscii:
        // CP932 text is taken as it stands: Japanese captions are what the files of this
        // program hold, and a byte check here would also refuse values read from the files.
        values->assign(text.begin(), text.end());
        values->push_back(0);
        return int(values->size());
      case TypeShort:
      case TypeLong:
      case TypeSShort:
      case TypeSLong:
      case TypeRational:
      case TypeSRational: {
        // Line breaks separate values as the separator does; blank tokens are dropped.
        std::string tokens(text);
        for (char& c : tokens)
          if (c == '\r' || c == '\n') c = separator.empty() ? ',' : separator[0];
        return ParseTypedValues(type, tokens.data(), uint32_t(tokens.size()), separator, values);
      }
      default:
        return -1;
    }
  } catch (const std::bad_alloc&) {
    return -2;
  }
}

std::string_view CsvRawValue(const TagEntry* entry, std::vector<char>* buffer) {
  if (buffer->size() < kCsvValueBufferSize) buffer->resize(kCsvValueBufferSize);
  const int length = ExifFormatValue(entry, buffer->data(), uint32_t(buffer->size()), 0);
  return std::string_view(buffer->data(), size_t(length > 0 ? length : 0));
}
