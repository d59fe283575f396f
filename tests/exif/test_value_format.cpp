// Value text: the forms that can really go wrong (exposure, APEX, signed bias, zero
// denominators, GPS, dates, "..." at small sizes, Shift-JIS cuts) as one table of
// {kind, entry, text, room}, and agreement with ExifTool over the camera corpus. Hostile entries
// (any type, count and length in small rooms) are the fuzz target fuzz_exif_segment's.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "exif/apex.h"
#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/makernote_handler.h"
#include "exif/tag_catalogue.h"
#include "exif/value_format.h"
#include "frame/cp932.h"
#include "tests/support/peers.h"
#include "tests/support/test_support.h"

namespace {

TagEntry MakeEntry(uint16_t tag, uint16_t type, uint32_t count, std::vector<uint8_t> bytes) {
  TagEntry entry;
  entry.tag = tag;
  entry.type = type;
  entry.count = count;
  entry.value = std::move(bytes);
  entry.value.insert(entry.value.end(), 4, 0);
  return entry;
}

template <class T>
TagEntry Numbers(uint16_t tag, uint16_t type, std::initializer_list<T> items, uint32_t perElement = 1) {
  std::vector<uint8_t> bytes(items.size() * sizeof(T));
  size_t at = 0;
  for (T item : items) std::memcpy(bytes.data() + sizeof(T) * at++, &item, sizeof(T));
  return MakeEntry(tag, type, uint32_t(items.size() / perElement), bytes);
}

TagEntry Rationals(uint16_t tag, std::initializer_list<uint32_t> words) {
  return Numbers<uint32_t>(tag, TypeRational, words, 2);
}
TagEntry SRationals(uint16_t tag, std::initializer_list<int32_t> words) {
  return Numbers<int32_t>(tag, TypeSRational, words, 2);
}
TagEntry Shorts(uint16_t tag, std::initializer_list<uint16_t> words) { return Numbers<uint16_t>(tag, TypeShort, words); }

TagEntry Text(uint16_t tag, uint16_t type, const std::string& bytes, uint32_t count = 0) {
  return MakeEntry(tag, type, count ? count : uint32_t(bytes.size()), std::vector<uint8_t>(bytes.begin(), bytes.end()));
}

class ValueFormat : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(ExifCreateEmpty(document_), 1); }

  // The display text of an entry, in UTF-8, checked to end inside room.
  std::string Show(uint32_t kind, const TagEntry& entry, uint32_t room = 256) {
    std::vector<char> text(room + 8, '#');
    const int length = ExifFormatTag(document_.get(), &entry, kind, text.data(), room);
    EXPECT_LT(std::strlen(text.data()), room);
    EXPECT_EQ(size_t(length), std::strlen(text.data()));
    for (size_t i = room; i < text.size(); ++i) EXPECT_EQ(text[i], '#') << "written past room";
    return Utf8FromCp932(text.data());
  }

  ExifDocumentPtr document_;
};

TEST_F(ValueFormat, EveryFormInItsRoom) {
  const TagEntry bytes = MakeEntry(41730, TypeUndefined, 4, {1, 2, 0xAB, 4});
  const TagEntry shorts = Shorts(34855, {100, 200, 300});
  const TagEntry fractions = Rationals(37382, {1, 3, 2, 3});
  const std::string comment = std::string("ASCII\0\0\0", 8) + "A" + Cp932FromUtf8("日本");  // two pairs
  const struct Row {
    uint32_t kind;
    TagEntry entry;
    const char* text;
    uint32_t room = 256;
  } rows[] = {
      // Exposure time forms
      {IfdExif, Rationals(33434, {1, 250}), "1/250"}, {IfdExif, Rationals(33434, {10, 2500}), "1/250"},
      {IfdExif, Rationals(33434, {3, 1000}), "1/333.3"}, {IfdExif, Rationals(33434, {15, 10}), "1.5\""},
      {IfdExif, Rationals(33434, {125, 100}), "1.25\""}, {IfdExif, Rationals(33434, {20, 10}), "2\""},
      {IfdExif, Rationals(33434, {3, 2}), "1.5\""},
      {IfdExif, Rationals(33434, {0, 1}), "0"}, {IfdExif, Rationals(33434, {1, 0}), "0"},
      // Apex shutter and aperture
      {IfdExif, SRationals(37377, {7965784, 1000000}), "8.0EV(1/250)"},
      {IfdExif, SRationals(37377, {-1, 1}), "-1.0EV(2\")"}, {IfdExif, SRationals(37377, {-3, 2}), "-1.5EV(2.9\")"},
      {IfdExif, SRationals(37377, {0, 0}), "0EV(0)"}, {IfdExif, Rationals(37378, {4, 1}), "4.0EV(F4)"},
      {IfdExif, Rationals(37378, {3, 1}), "3.0EV(F2.8)"},
      {IfdExif, Rationals(37378, {5, 1}), "5.0EV(F5.7)"},  // 5.657: the hundredths round up
      {IfdExif, Rationals(37378, {0, 0}), "0EV(F0)"}, {IfdExif, Rationals(37381, {3, 1}), "F2.8"},
      {IfdExif, Rationals(37381, {2, 1}), "F2"}, {IfdExif, Rationals(37381, {2, 0}), "F0.0"},
      // Signed exposure bias and brightness
      {IfdExif, SRationals(37380, {0, 3}), "0.0EV"}, {IfdExif, SRationals(37380, {1, 3}), "+0.3EV"},
      {IfdExif, SRationals(37380, {-1, 3}), "-0.3EV"}, {IfdExif, SRationals(37380, {-2, 0}), "0.0EV"},
      {IfdExif, SRationals(37379, {-25, 10}), "-2.5EV"}, {IfdExif, SRationals(37379, {0, 10}), "0EV"},
      // A value of another type keeps its own generic form.
      {IfdExif, Numbers<int32_t>(37380, TypeSLong, {-1}), "-1"},
      // Zero denominators in every rational form
      {IfdExif, Rationals(33437, {28, 0}), "F0.0"}, {IfdExif, Rationals(37386, {50, 0}), "0mm"},
      {IfdExif, Rationals(41988, {2, 0}), "0.0 "}, {IfdExif, Rationals(37382, {2, 0}), "2/0"},
      {IfdPrimary, Rationals(282, {72, 0}), "0.0 "}, {IfdGps, Rationals(6, {100, 0}), "0m"},
      {IfdGps, Rationals(7, {12, 0, 30, 1, 5, 0}), "0時 30分 0秒 "},
      {IfdGps, Rationals(2, {35, 1, 0, 0, 2928, 100}), "35度 0.0分 29.28秒 "},
      // Rational decimals
      {IfdExif, Rationals(33437, {28, 10}), "F2.8"}, {IfdExif, Rationals(33437, {80, 10}), "F8"},
      {IfdExif, Rationals(37386, {185, 10}), "18.5mm"}, {IfdExif, Rationals(37386, {500, 10}), "50mm"},
      {IfdPrimary, Rationals(282, {72, 1}), "72 "},
      {IfdPrimary, Rationals(282, {300, 7}), "43 "},  // no decimals below 10
      {IfdPrimary, Rationals(282, {7201, 100}), "72.01 "},
      {IfdPrimary, Rationals(318, {313, 1000, 329, 1000}), "313/1000,329/1000"},
      {IfdExif, Rationals(41988, {15, 10, 2, 1}), "1.5 ,2 "},
      // Gps forms
      {IfdGps, Rationals(2, {35, 1, 39, 1, 2928, 100}), "35度 39分 29.28秒 "},
      {IfdGps, Rationals(4, {139, 1, 4501, 100}), "139度 45.01分 "},
      {IfdGps, Rationals(7, {12, 1, 34, 1, 5600, 100}), "12時 34分 56秒 "}, {IfdGps, Rationals(6, {1234, 10}), "123m"},
      {IfdGps, MakeEntry(0, TypeByte, 4, {2, 2, 0, 0}), "2.2.0.0"}, {IfdGps, MakeEntry(5, TypeByte, 1, {0}), "海抜基準"},
      {IfdGps, MakeEntry(5, TypeByte, 1, {1}), "不明"}, {IfdGps, Text(1, TypeAscii, "N", 2), "北緯"},
      {IfdGps, Text(21, TypeAscii, "W", 2), "西経"}, {IfdGps, Text(25, TypeAscii, "K", 2), "ｷﾛﾒｰﾀ"},
      {IfdGps, Text(1, TypeAscii, "X", 2), "X"}, {IfdGps, Text(18, TypeAscii, "WGS-84", 7), "WGS-84"},
      // An item that does not fit ends the text at the items before it.
      {IfdGps, Rationals(2, {35, 1, 39, 1, 2928, 100}), "35度 39分 ", 14},
      {IfdGps, Rationals(2, {35, 1, 39, 1, 2928, 100}), "", 5},
      // Date punctuation
      {IfdExif, Text(36867, TypeAscii, "2004:05:06 12:34:56", 20), "2004/05/06 12:34:56"},
      {IfdPrimary, Text(306, TypeAscii, "2004:05:06 12:34:56", 20), "2004/05/06 12:34:56"},
      {IfdExif, Text(36868, TypeAscii, "    :  :     :  :  ", 20), ""},
      {IfdExif, Text(36867, TypeAscii, "2004:05:06      ", 17), "2004/05/06"},
      {IfdExif, Text(36867, TypeAscii, "2004:", 6), "2004"},
      // Other ASCII tags stand as they are.
      {IfdPrimary, Text(270, TypeAscii, "2004:05:06 ", 12), "2004:05:06 "},
      {IfdThumbnail, Text(306, TypeAscii, "2004:05:06", 11), "2004:05:06"},
      // Bounded by the count and by room.
      {IfdExif, Text(36867, TypeAscii, "2004:05:06 12:34:56", 20), "2004/05/0", 10},
      // Ellipsis at small sizes
      {IfdExif, bytes, "01 02 AB 04 "}, {IfdExif, bytes, "01 02 AB 04 ", 13}, {IfdExif, bytes, "01 02 ...", 12},
      {IfdExif, bytes, "01 ...", 8}, {IfdExif, bytes, "...", 4}, {IfdExif, bytes, "..", 3}, {IfdExif, bytes, "", 2},
      {IfdExif, shorts, "100,200,300"}, {IfdExif, shorts, "100,200,300", 12},
      {IfdExif, shorts, "100,200...", 11},  // "..." in the last 3 bytes before the bound
      {IfdExif, shorts, "100,...", 8}, {IfdExif, shorts, "...", 4},  // fewer than 4 bytes written: "..." alone
      {IfdExif, shorts, "..", 3}, {IfdExif, fractions, "1/3,2/3"},
      {IfdExif, fractions, "1/3,2/3", 8}, {IfdExif, fractions, "...", 7},
      // User comment never breaks ashift jis pair
      {IfdExif, Text(37510, TypeUndefined, comment), "A日本"},
      // An odd limit, by the count or by room, loses the half character.
      {IfdExif, Text(37510, TypeUndefined, comment, 8 + 4), "A日"},
      {IfdExif, Text(37510, TypeUndefined, comment), "A日", 5},
      {IfdExif, Text(37510, TypeUndefined, comment), "A日本", 6},
      // The undefined code of eight zeros is read the same way; any other is shown as bytes.
      {IfdExif, Text(37510, TypeUndefined, std::string(8, '\0') + "ok"), "ok"},
      {IfdExif, Text(37510, TypeUndefined, std::string("UNICODE\0", 8) + "ok"), "55 4E 49 43 4F 44 45 00 6F 6B "},
      // Enumerated values
      {IfdExif, Shorts(37385, {89}), "発光(auot,赤目軽減)"}, {IfdExif, Shorts(37385, {2}), "不明"},
      {IfdExif, Shorts(34850, {0}), "未定義"}, {IfdExif, Numbers<uint32_t>(40961, TypeLong, {65535}), "Uncalibrated"},
      {IfdExif, MakeEntry(41728, TypeUndefined, 1, {3}), "DSC"},
      {IfdExif, MakeEntry(37121, TypeUndefined, 4, {1, 2, 3, 0}), "YCbCr "},
      {IfdPrimary, Shorts(274, {6}), "0番目の行が右、0番目の列が上"}, {IfdThumbnail, Shorts(274, {9}), "不明"},
      {IfdThumbnail, Shorts(259, {6}), "JPEG 圧縮"}, {IfdPrimary, Shorts(259, {7}), "7"},
      {IfdPrimary, Shorts(530, {2, 2}), "YCbCr4:2:0"},
      // A value of another type group keeps its generic form; the kind decides the meaning.
      {IfdExif, Numbers<int16_t>(37385, TypeSShort, {1}), "1"}, {IfdExif, Shorts(274, {1}), "1"},
      // Texts are cut at the bound without splitting a character.
      {IfdExif, Shorts(37385, {89}), "発", 4},
  };
  for (const Row& row : rows)
    EXPECT_EQ(Show(row.kind, row.entry, row.room), row.text) << "kind " << row.kind << " tag " << row.entry.tag
                                                             << " room " << row.room;
}

// APEX decoding past 32 bits fails to 0/0 (the encodings are the shooting conversions'); the
// rational form alone; a room of nothing.
TEST_F(ValueFormat, ApexAndRationalsAlone) {
  uint32_t huge[2] = {0x7FFFFFFF, 1};
  EXPECT_EQ(ApexDecode(ApexAperture, huge), 0);
  EXPECT_EQ(huge[1], 0u);
  char text[16];
  const uint32_t zero[2] = {7, 0}, third[2] = {1, 3}, negative[2] = {uint32_t(-7), 2};
  EXPECT_EQ(ExifFormatRational(TypeRational, zero, text, sizeof text), 3);
  EXPECT_STREQ(text, "0.0");
  ExifFormatRational(TypeRational, third, text, sizeof text);
  EXPECT_STREQ(text, "0.3");  // one decimal more below 10
  ExifFormatRational(TypeSRational, negative, text, sizeof text);
  EXPECT_STREQ(text, "-3.5");
  char untouched[4] = {'#', '#', '#', '#'};
  const TagEntry shorts = Shorts(34855, {100, 200, 300});
  EXPECT_EQ(ExifFormatValue(&shorts, untouched, 0, 0), 0);
  EXPECT_EQ(untouched[0], '#');
}

// A handler that answers FormatValue with the table it was asked for.
int EchoFormat(const TagEntry* entry, uint32_t table, char* text, uint32_t room) {
  std::snprintf(text, room, "table %u tag %u", table, unsigned(entry->tag));
  return 1;
}
const MakerNoteDescriptor kEchoDescriptor{.family = FamilyNikon,
                                          .tables = {},
                                          .protectedTags = {},
                                          .catalogue = nullptr,
                                          .formatValue = EchoFormat};

TEST_F(ValueFormat, MakerNoteKindsLensTextAndADocumentsTags) {
  auto handler = std::make_unique<MakerNoteHandler>();
  handler->family = FamilyNikon;
  handler->descriptor = &kEchoDescriptor;
  document_->makerNote.reset(handler.release());
  const TagEntry entry = Shorts(5, {1});
  EXPECT_EQ(Show(FamilyNikon | 257, entry), "table 257 tag 5");
  EXPECT_EQ(Show(FamilyCanon | 257, entry), "");
  EXPECT_EQ(Show(258, entry, 8), "table 2");

  char text[64] = "stale";
  EXPECT_EQ(ExifTagText(document_.get(), 264, 1, text, sizeof text), 1);
  EXPECT_STREQ(text, "table 264 tag 1");
  document_->makerNote.reset();
  std::strcpy(text, "stale");
  EXPECT_EQ(ExifTagText(document_.get(), 264, 1, text, sizeof text), 0);
  EXPECT_STREQ(text, "");

  // An installed composer answers first, and its text is kept inside room.
  ExifInstallLensText([](ExifDocument*, uint32_t, uint16_t tag, char* out, uint32_t room) {
    std::snprintf(out, room, "lens %u", unsigned(tag));
    return 1;
  });
  EXPECT_EQ(ExifTagText(document_.get(), 264, 1, text, 5), 1);
  EXPECT_STREQ(text, "lens");
  ExifInstallLensText(nullptr);
  EXPECT_EQ(ExifTagText(document_.get(), 264, 1, text, sizeof text), 0);

  // A document's own tags: their text and their description.
  const uint32_t fNumber[2] = {56, 10};
  ASSERT_EQ(ExifPutTag(document_.get(), IfdExif, 33437, TypeRational, 1, fNumber), 1);
  EXPECT_EQ(ExifTagText(document_.get(), IfdExif, 33437, text, sizeof text), 1);
  EXPECT_STREQ(text, "F5.6");
  EXPECT_EQ(ExifTagText(document_.get(), IfdExif, 33434, text, sizeof text), 0);
  EXPECT_STREQ(text, "");

  const char* name = nullptr;
  const TagEntry* fEntry = ExifFindTag(document_.get(), IfdExif, 33437);
  EXPECT_EQ(ExifDescribeTag(document_.get(), IfdExif, fEntry, &name, text, sizeof text), 4);
  EXPECT_EQ(Utf8FromCp932(name), "Fﾅﾝﾊﾞｰ");
  // Without a document nothing is written.
  EXPECT_EQ(ExifFormatTag(nullptr, fEntry, IfdExif, text, sizeof text), 0);
  EXPECT_STREQ(text, "");
}

// ---------------------------------------------------------------------------------------------
// Agreement with ExifTool over the camera corpus

struct CorpusTag {
  const char* name;
  uint16_t tag;
};

// The number a displayed exposure, F-number or focal length stands for, and the reading it
// should match: a "1/x" exposure is compared by its x, which the display rounds to a tenth.
struct Shown {
  double number;
  double reading;
};
Shown Compare(const std::string& text, double reading) {
  const size_t at = text.find_first_of("0123456789");
  if (at == std::string::npos) return {NAN, reading};
  if (text.compare(at, 2, "1/") == 0) return {std::strtod(text.c_str() + at + 2, nullptr), 1.0 / reading};
  return {std::strtod(text.c_str() + at, nullptr), reading};
}

TEST(ValueFormatCorpus, AgreesWithExifToolOnEnumerationsAndNumbers) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool not installed";
  const CorpusTag enumerated[] = {
      {"ExposureProgram", 34850}, {"MeteringMode", 37383},     {"LightSource", 37384},  {"Flash", 37385},
      {"ColorSpace", 40961},      {"SensingMethod", 41495},    {"CustomRendered", 41985}, {"ExposureMode", 41986},
      {"WhiteBalance", 41987},    {"SceneCaptureType", 41990}, {"GainControl", 41991},  {"Contrast", 41992},
      {"Saturation", 41993},      {"Sharpness", 41994},        {"SubjectDistanceRange", 41996},
  };
  const CorpusTag numeric[] = {{"ExposureTime", 33434}, {"FNumber", 33437}, {"FocalLength", 37386}};
  std::vector<std::string> names;
  for (const CorpusTag& t : enumerated) names.push_back(t.name);
  for (const CorpusTag& t : numeric) names.push_back(t.name);
  const auto files = testsupport::FilesUnder(testsupport::SharedSub("corpus/makers"));
  names.insert(names.begin(), "FilePath");
  for (size_t i = 1; i < names.size(); ++i) names[i] = "ExifIFD:" + names[i];
  const auto columns = testsupport::ExifToolTable(names, files);
  ASSERT_FALSE(columns.empty()) << "exiftool gave no readings";

  int enumeratedChecked = 0, numbersChecked = 0;
  for (const auto& [path, row] : columns) {
    const std::vector<std::string> values(row.begin() + 1, row.end());
    ExifDocumentPtr document;
    if ((ExifCheckFile(path, document) & (StatusParseFailed | StatusNoExif | StatusUnusable)) || !document) continue;
    for (size_t i = 0; i < std::size(enumerated); ++i) {
      const TagEntry* entry = ExifFindTag(document.get(), IfdExif, enumerated[i].tag);
      if (!entry || values[i] == "-" || (entry->type != TypeShort && entry->type != TypeLong)) continue;
      // The text must be the meaning of ExifTool's number: the same text as a made entry of
      // that number shows.
      const TagEntry expected = Shorts(enumerated[i].tag, {uint16_t(std::stoul(values[i]))});
      char shown[128], wanted[128];
      ExifFormatTag(document.get(), entry, IfdExif, shown, sizeof shown);
      ExifFormatTag(document.get(), &expected, IfdExif, wanted, sizeof wanted);
      EXPECT_STREQ(shown, wanted) << path << " " << enumerated[i].name << " = " << values[i];
      EXPECT_NE(std::string(shown), "") << path << " " << enumerated[i].name;
      ++enumeratedChecked;
    }
    for (size_t i = 0; i < std::size(numeric); ++i) {
      const std::string& reading = values[std::size(enumerated) + i];
      const TagEntry* entry = ExifFindTag(document.get(), IfdExif, numeric[i].tag);
      if (!entry || reading == "-" || entry->type != TypeRational || entry->U32(1) == 0) continue;
      char shown[128];
      ExifFormatTag(document.get(), entry, IfdExif, shown, sizeof shown);
      const Shown pair = Compare(shown, std::strtod(reading.c_str(), nullptr));
      EXPECT_NEAR(pair.number, pair.reading, std::max(0.051, pair.reading * 0.001))
          << path << " " << numeric[i].name << " shows " << shown;
      ++numbersChecked;
    }
  }
  EXPECT_GT(enumeratedChecked, 100);
  EXPECT_GT(numbersChecked, 60);
}

}  // namespace
