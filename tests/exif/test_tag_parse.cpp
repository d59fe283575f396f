// Typed value text: what the edit dialog and CSV import accept and refuse.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "exif/exif_document.h"
#include "exif/tag_parse.h"

namespace {

struct Parsed {
  int count;
  std::vector<uint8_t> values;
};

Parsed Parse(uint32_t type, const std::string& text, const char* separator = "\r\n") {
  Parsed parsed;
  parsed.count = ParseTypedValues(type, text.data(), uint32_t(text.size()), separator, &parsed.values);
  return parsed;
}

template <class T>
std::vector<T> Words(const Parsed& parsed) {
  std::vector<T> words(parsed.values.size() / sizeof(T));
  std::memcpy(words.data(), parsed.values.data(), words.size() * sizeof(T));
  return words;
}

TEST(ParseTypedValues, DigitCountLimitsAreCheckedOnTheDigitString) {
  EXPECT_EQ(Parse(TypeShort, "65535").count, 1);
  EXPECT_EQ(Parse(TypeShort, "65536").count, -1);   // one more than the limit
  EXPECT_EQ(Parse(TypeShort, "00001").count, 1);    // leading zeros within five digits
  EXPECT_EQ(Parse(TypeShort, "000001").count, -1);  // six digits, though the value fits
  EXPECT_EQ(Parse(TypeLong, "4294967295").count, 1);
  EXPECT_EQ(Parse(TypeLong, "4294967296").count, -1);
  EXPECT_EQ(Parse(TypeSShort, "32767").count, 1);
  EXPECT_EQ(Parse(TypeSShort, "32768").count, -1);
  EXPECT_EQ(Parse(TypeSShort, "-32768").count, 1);
  EXPECT_EQ(Parse(TypeSShort, "-32769").count, -1);
  EXPECT_EQ(Parse(TypeSLong, "-2147483648").count, 1);
  EXPECT_EQ(Parse(TypeSLong, "2147483648").count, -1);
  EXPECT_EQ(Words<int32_t>(Parse(TypeSLong, "-2147483648")), std::vector<int32_t>{INT32_MIN});
}

TEST(ParseTypedValues, SignsFollowTheType) {
  EXPECT_EQ(Parse(TypeShort, "-1").count, -1);
  EXPECT_EQ(Parse(TypeLong, "-1").count, -1);
  EXPECT_EQ(Parse(TypeShort, "+7").count, 1);
  EXPECT_EQ(Words<int16_t>(Parse(TypeSShort, "-5")), std::vector<int16_t>{-5});
  EXPECT_EQ(Parse(TypeSShort, "--5").count, -1);
  EXPECT_EQ(Parse(TypeSShort, "-").count, -1);
}

TEST(ParseTypedValues, HexadecimalHasNoSignAndItsOwnLimits) {
  EXPECT_EQ(Words<uint16_t>(Parse(TypeShort, "0xFFFF")), std::vector<uint16_t>{0xFFFF});
  EXPECT_EQ(Words<uint16_t>(Parse(TypeShort, "0Xab")), std::vector<uint16_t>{0xAB});
  EXPECT_EQ(Parse(TypeShort, "0x10000").count, -1);
  EXPECT_EQ(Parse(TypeSShort, "0x8000").count, -1);
  EXPECT_EQ(Parse(TypeSShort, "0x7fff").count, 1);
  EXPECT_EQ(Words<uint32_t>(Parse(TypeLong, "0xDEADBEEF")), std::vector<uint32_t>{0xDEADBEEF});
  EXPECT_EQ(Parse(TypeLong, "-0x1").count, -1);
  EXPECT_EQ(Parse(TypeLong, "0xG1").count, -1);
}

TEST(ParseTypedValues, DecimalsBecomeUnreducedRationals) {
  EXPECT_EQ(Words<uint32_t>(Parse(TypeRational, "1.25")), (std::vector<uint32_t>{125, 100}));
  EXPECT_EQ(Words<int32_t>(Parse(TypeSRational, "-1.5")), (std::vector<int32_t>{-15, 10}));
  EXPECT_EQ(Parse(TypeRational, "-1.5").count, -1);  // a RATIONAL refuses a negative decimal
  EXPECT_EQ(Words<uint32_t>(Parse(TypeRational, "1/250")), (std::vector<uint32_t>{1, 250}));
  EXPECT_EQ(Words<uint32_t>(Parse(TypeRational, "7")), (std::vector<uint32_t>{7, 1}));
  EXPECT_EQ(Words<uint32_t>(Parse(TypeRational, "0x10/0x3")), (std::vector<uint32_t>{16, 3}));
  // Line lengths: a decimal line of 19 characters and a whole line of 16 are refused.
  EXPECT_EQ(Parse(TypeRational, "1.00000000000000000").count, -1);
  EXPECT_EQ(Parse(TypeRational, "0000000000000001").count, -1);
  EXPECT_EQ(Parse(TypeRational, "4294967296/1").count, -1);
}

TEST(ParseTypedValues, LinesAndSeparators) {
  Parsed shorts = Parse(TypeShort, " 1 \r\n\r\n2\r\n  \r\n3");
  EXPECT_EQ(shorts.count, 3);  // blank lines dropped, blanks cut
  EXPECT_EQ(Words<uint16_t>(shorts), (std::vector<uint16_t>{1, 2, 3}));
  EXPECT_EQ(Parse(TypeShort, "1;2;3", ";").count, 3);  // a caller's own separator
  EXPECT_EQ(Parse(TypeShort, "1\r\nx\r\n3").count, -1);  // one bad line refuses all
  EXPECT_EQ(Parse(TypeShort, "").count, 0);              // no lines, no values
  EXPECT_EQ(Parse(TypeSRational, "1/2\r\n-3/4").count, 2);
}

TEST(ParseTypedValues, BytesAndAscii) {
  Parsed bytes = Parse(TypeUndefined, "0A 1b FF\r\n\r\n0102");
  EXPECT_EQ(bytes.count, 5);
  EXPECT_EQ(bytes.values, (std::vector<uint8_t>{0x0A, 0x1B, 0xFF, 0x01, 0x02}));
  EXPECT_EQ(Parse(TypeByte, "0A 1").count, -1);  // a lone digit makes no byte
  EXPECT_EQ(Parse(TypeByte, "0G").count, -1);
  Parsed ascii = Parse(TypeAscii, "Tavexon");
  EXPECT_EQ(ascii.count, 8);  // the terminator counts
  EXPECT_EQ(ascii.values.back(), 0);
  EXPECT_EQ(Parse(TypeAscii, "\x83\x65\x83\x58\x83\x67").count, -1);  // Shift-JIS text is refused
  EXPECT_EQ(Parse(12, "1").count, -1);                                // a type with no form
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
