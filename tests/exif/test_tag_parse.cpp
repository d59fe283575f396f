// Typed value text: what the edit dialog and CSV import accept and refuse.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "exif/exif_document.h"
#include "exif/tag_parse.h"

namespace {

// The values of a parse as text: numbers by the type's element, blank-separated; bytes in hex.
std::string Values(uint32_t type, const std::vector<uint8_t>& bytes) {
  std::string text;
  const uint32_t size = type == TypeShort || type == TypeSShort ? 2 : ExifTypeSize(type) >= 4 ? 4 : 0;
  for (size_t at = 0; size && at + size <= bytes.size(); at += size) {
    int64_t v = 0;
    const uint16_t u16 = uint16_t(bytes[at] | bytes[at + 1] << 8);
    if (size == 2) v = type == TypeSShort ? int64_t(int16_t(u16)) : int64_t(u16);
    if (size == 4) {
      uint32_t u;
      std::memcpy(&u, &bytes[at], 4);
      v = type == TypeSLong || type == TypeSRational ? int64_t(int32_t(u)) : int64_t(u);
    }
    text += (text.empty() ? "" : " ") + std::to_string(v);
  }
  if (type == TypeByte || type == TypeUndefined)
    for (uint8_t b : bytes) text += (text.empty() ? "" : " ") + std::to_string(b);
  return text;
}

// {type, text, separator -> count of values (-1: refused), the values}; values "" go unchecked.
TEST(ParseTypedValues, WhatIsAcceptedAndRefused) {
  const struct {
    uint32_t type;
    std::string text;
    int count;
    const char* values;
    const char* separator = "\r\n";
  } rows[] = {
      // Digit-count limits are checked on the digit string: leading zeros count.
      {TypeShort, "65535", 1, "65535"}, {TypeShort, "65536", -1, ""}, {TypeShort, "00001", 1, "1"},
      {TypeShort, "000001", -1, ""}, {TypeLong, "4294967295", 1, ""}, {TypeLong, "4294967296", -1, ""},
      {TypeSShort, "32767", 1, ""}, {TypeSShort, "32768", -1, ""}, {TypeSShort, "-32768", 1, "-32768"},
      {TypeSShort, "-32769", -1, ""}, {TypeSLong, "-2147483648", 1, "-2147483648"}, {TypeSLong, "2147483648", -1, ""},
      // Signs follow the type.
      {TypeShort, "-1", -1, ""}, {TypeLong, "-1", -1, ""}, {TypeShort, "+7", 1, "7"}, {TypeSShort, "-5", 1, "-5"},
      {TypeSShort, "--5", -1, ""}, {TypeSShort, "-", -1, ""},
      // Hexadecimal has no sign and its own limits.
      {TypeShort, "0xFFFF", 1, "65535"}, {TypeShort, "0Xab", 1, "171"}, {TypeShort, "0x10000", -1, ""},
      {TypeSShort, "0x8000", -1, ""}, {TypeSShort, "0x7fff", 1, "32767"}, {TypeLong, "0xDEADBEEF", 1, "3735928559"},
      {TypeLong, "-0x1", -1, ""}, {TypeLong, "0xG1", -1, ""},
      // Decimals become unreduced rationals; a RATIONAL refuses a negative one.
      {TypeRational, "1.25", 1, "125 100"}, {TypeSRational, "-1.5", 1, "-15 10"}, {TypeRational, "-1.5", -1, ""},
      {TypeRational, "1/250", 1, "1 250"}, {TypeRational, "7", 1, "7 1"}, {TypeRational, "0x10/0x3", 1, "16 3"},
      // Line lengths: a decimal line of 19 characters and a whole line of 16 are refused.
      {TypeRational, "1.00000000000000000", -1, ""}, {TypeRational, "0000000000000001", -1, ""},
      {TypeRational, "4294967296/1", -1, ""},
      // Blank lines dropped, blanks cut; a caller's own separator; one bad line refuses all.
      {TypeShort, " 1 \r\n\r\n2\r\n  \r\n3", 3, "1 2 3"}, {TypeShort, "1;2;3", 3, "1 2 3", ";"},
      {TypeShort, "1\r\nx\r\n3", -1, ""}, {TypeShort, "", 0, ""}, {TypeSRational, "1/2\r\n-3/4", 2, "1 2 -3 4"},
      // Bytes in hex pairs; ASCII with its terminator counted; Shift-JIS text and a type with no form refused.
      {TypeUndefined, "0A 1b FF\r\n\r\n0102", 5, "10 27 255 1 2"}, {TypeByte, "0A 1", -1, ""},
      {TypeByte, "0G", -1, ""}, {TypeAscii, "Tavexon", 8, ""}, {TypeAscii, "\x83\x65\x83\x58\x83\x67", -1, ""},
      {12, "1", -1, ""},
  };
  for (const auto& row : rows) {
    std::vector<uint8_t> values;
    EXPECT_EQ(ParseTypedValues(row.type, row.text.data(), uint32_t(row.text.size()), row.separator, &values), row.count)
        << row.type << " '" << row.text << "'";
    if (*row.values) {
      EXPECT_EQ(Values(row.type, values), row.values) << row.type << " '" << row.text << "'";
    }
    if (row.type == TypeAscii && row.count > 0) {
      EXPECT_EQ(std::string(values.begin(), values.end()), row.text + std::string(1, '\0'));
    }
  }
}

TEST(ParseRationalText, LooseForms) {
  struct Row {
    const char* text;
    int32_t numerator;
    uint32_t denominator;
  };
  const Row rows[] = {
      {"  1/250", 1, 250}, {"-0.7", -7, 10}, {"1,000", 1000, 1}, {"0x10/0x3", 16, 3},
      {"5/0", 5, 1},   // a denominator of 0 becomes 1
      {"f/2.8", 0, 1},  // any other character ends the parse
  };
  for (const Row& row : rows) {
    uint32_t r[2] = {99, 99};
    ParseRationalText(row.text, r);
    EXPECT_EQ(int32_t(r[0]), row.numerator) << row.text;
    EXPECT_EQ(r[1], row.denominator) << row.text;
  }
}

}  // namespace
