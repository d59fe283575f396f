// CP932 conversion: the whole table both ways, and the characters that trip naive code.
#include "frame/cp932.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string Bytes(std::initializer_list<int> bytes) {
  std::string out;
  for (int b : bytes) out += static_cast<char>(b);
  return out;
}

// Every defined code: single bytes and pairs, found by asking the decoder.
std::vector<uint16_t> AllCodes() {
  std::vector<uint16_t> codes;
  for (uint32_t code = 1; code <= 0xFFFF; ++code)
    if (Cp932ToUnicode(static_cast<uint16_t>(code)) != 0) codes.push_back(static_cast<uint16_t>(code));
  return codes;
}

bool IsNecSelectedIbm(uint16_t code) { return code >= 0xED40 && code <= 0xEEFC; }

}  // namespace

TEST(Cp932Table, SingleBytesAreAsciiAndHalfWidthKatakanaAndTheLeadBytes) {
  for (uint32_t b = 1; b < 0x80; ++b) EXPECT_EQ(Cp932ToUnicode(static_cast<uint16_t>(b)), b);
  for (uint32_t b = 0xA1; b <= 0xDF; ++b) EXPECT_EQ(Cp932ToUnicode(static_cast<uint16_t>(b)), 0xFF61 + (b - 0xA1));
  EXPECT_EQ(Cp932ToUnicode(0x80), 0u);
  EXPECT_EQ(Cp932ToUnicode(0xA0), 0u);
  EXPECT_EQ(Cp932ToUnicode(0xFD), 0u);
  std::set<int> leads;
  for (int b = 0; b < 256; ++b)
    if (Cp932IsLeadByte(static_cast<uint8_t>(b))) leads.insert(b);
  EXPECT_EQ(leads.size(), 31u + 29u);
  EXPECT_TRUE(leads.count(0x81) && leads.count(0x9F) && leads.count(0xE0) && leads.count(0xFC));
  EXPECT_FALSE(leads.count(0xA1) || leads.count(0x80) || leads.count(0xFD));
}

TEST(Cp932Table, EveryCodeRoundTripsOrEncodesToTheWindowsChoice) {
  const std::vector<uint16_t> codes = AllCodes();
  // The full table: JIS X 0208, NEC row 13, the NEC-selected and IBM extensions, the
  // user-defined area.
  EXPECT_EQ(codes.size(), 9794u);  // 9795 with code 0
  size_t duplicates = 0;
  for (uint16_t code : codes) {
    const uint32_t cp = Cp932ToUnicode(code);
    const uint16_t back = Cp932FromUnicode(cp);
    if (back == code) continue;
    ++duplicates;
    // The code written back decodes to the same character and is the preferred form.
    EXPECT_EQ(Cp932ToUnicode(back), cp) << std::hex << code;
    EXPECT_FALSE(IsNecSelectedIbm(back)) << std::hex << code;
    const bool betterForm = IsNecSelectedIbm(code) || (code >> 8) == 0x87 || (code >> 8) >= 0xFA;
    EXPECT_TRUE(betterForm) << std::hex << code << " encoded as " << back;
  }
  EXPECT_EQ(duplicates, 9795u - 9397u);
}

TEST(Cp932Table, KnownDuplicatesTakeTheWindowsCode) {
  EXPECT_EQ(Cp932FromUnicode(0xFFE2), 0x81CA);  // NOT SIGN: JIS X 0208 over both extensions
  EXPECT_EQ(Cp932FromUnicode(0x2235), 0x81E6);  // BECAUSE
  EXPECT_EQ(Cp932FromUnicode(0x2252), 0x81E0);  // APPROXIMATELY EQUAL: JIS over NEC row 13
  EXPECT_EQ(Cp932FromUnicode(0x2160), 0x8754);  // ROMAN NUMERAL ONE: NEC row 13 over IBM
  EXPECT_EQ(Cp932FromUnicode(0x2170), 0xFA40);  // SMALL ROMAN NUMERAL ONE: IBM over NEC-selected
  EXPECT_EQ(Cp932FromUnicode(0x7E8A), 0xFA5C);  // a kanji of the IBM extension
}

// Known characters both ways, and what cannot be converted: '?' for a character CP932 lacks or a
// broken UTF-8 sequence, U+FFFD for a cut or undefined pair.
TEST(Cp932Text, KnownUnmappedAndBrokenText) {
  const struct {
    std::string utf8, cp932;
    bool exact;
  } toCp932[] = {{"①", Bytes({0x87, 0x40}), true}, {"ｱ", Bytes({0xB1}), true}, {"表", Bytes({0x95, 0x5C}), true},
                 {"～", Bytes({0x81, 0x60}), true},  // FULLWIDTH TILDE, the Windows form
                 {"plain", "plain", true},           {std::string("a\0b", 3), std::string("a\0b", 3), true},
                 {"a€b", "a?b", false},  // EURO SIGN has no CP932 code
                 {"a\xFF" "b", "a?b", false},     {"\xE8\xA1", "??", false}};  // a cut sequence
  for (const auto& row : toCp932) {
    bool ok = !row.exact;
    EXPECT_EQ(Cp932FromUtf8(row.utf8, &ok), row.cp932) << row.utf8;
    EXPECT_EQ(ok, row.exact) << row.utf8;
  }
  const struct {
    std::string cp932, utf8;
  } toUtf8[] = {{Bytes({0x81, 0x60}), "～"},
                {Bytes({0x95, 0x5C, 0x5C}), "表\\"},
                {Bytes({0xF0, 0x40}), "\xEE\x80\x80"},        // user-defined area, U+E000
                {Bytes({'a', 0x95}), "a\xEF\xBF\xBD"},        // cut pair
                {Bytes({0x95, '\n'}), "\xEF\xBF\xBD\n"},    // no trail: line end kept
                {Bytes({0x85, 0x40}), "\xEF\xBF\xBD"},        // an undefined pair
                {Bytes({0x80}), "\xEF\xBF\xBD"}};
  for (const auto& row : toUtf8) EXPECT_EQ(Utf8FromCp932(row.cp932), row.utf8);
}

TEST(Cp932Text, LiteralConvertedOnceOnAnyThread) {
  static const char kLiteral[] = "完了！";
  const char* first = Cp932Text(kLiteral);
  EXPECT_EQ(std::string(first), Cp932FromUtf8(kLiteral));
  std::vector<const char*> seen(4);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < seen.size(); ++i) threads.emplace_back([&seen, i] { seen[i] = Cp932Text(kLiteral); });
  for (auto& t : threads) t.join();
  for (const char* p : seen) EXPECT_EQ(p, first);
  EXPECT_EQ(Cp932Text(nullptr), nullptr);
}
