// Value texts of the Nikon note, compared as UTF-8 with what the list window shows.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "exif/tag_catalogue.h"
#include "frame/cp932.h"
#include "tests/makernote/test_nikon_support.h"

using namespace nikontest;

namespace {

TagEntry Entry(uint16_t tag, uint16_t type, uint32_t count, const void* value) {
  TagList list;
  EXPECT_EQ(TagListPut(nullptr, &list, tag, type, count, 0, value), 1);
  return list.front();
}

TagEntry Ascii(uint16_t tag, const char* text) { return Entry(tag, TypeAscii, uint32_t(std::strlen(text) + 1), text); }

std::string Text(const TagEntry& entry, uint32_t table = NikonMainTable, uint32_t room = 256) {
  std::vector<char> text(room + 1, '#');
  NikonFormatValue(&entry, table, text.data(), room);
  EXPECT_LT(std::strlen(text.data()), size_t(room));
  return Utf8FromCp932(text.data());
}

}  // namespace

TEST(NikonFormat, AsciiValuesByLeadingCharacters) {
  EXPECT_EQ(Text(Ascii(3, "COLOR   ")), "標準カラー");
  EXPECT_EQ(Text(Ascii(3, "MONOCHROME")), "MONOCHROME");  // no row matches: shown as it stands
  EXPECT_EQ(Text(Ascii(5, "PRESET")), "プリセット");
  EXPECT_EQ(Text(Ascii(5, "PRESET1")), "PRESET1");  // PRESET compares its terminator too
  EXPECT_EQ(Text(Ascii(129, "MED.H ")), "やや強");
  EXPECT_EQ(Text(Ascii(141, "MODE1a")), "モードⅠa(sRGB)");
  EXPECT_EQ(Text(Ascii(143, "   ")), "OFF");
  EXPECT_EQ(Text(Ascii(3, "COLOR"), NikonScannerTable), "COLOR");  // other tables: the general text
}

TEST(NikonFormat, SpeedlightModesAndFlashSyncSearchedAnywhere) {
  EXPECT_EQ(Text(Ascii(9, "Built-in,TTL")), "内蔵(TTLモード)");
  EXPECT_EQ(Text(Ascii(9, "Optional,M  ")), "外部(マニュアル発光モード)");
  EXPECT_EQ(Text(Ascii(9, "Comdr.,TTL  ")), "コマンダーモード(TTL)");
  EXPECT_EQ(Text(Ascii(9, "            ")), "OFF");
  EXPECT_EQ(Text(Ascii(8, "RED-EYE SLOW")), "赤目軽減 スローシンクロ");
  EXPECT_EQ(Text(Ascii(8, "RED-EYE     ")), "赤目軽減 ");
  EXPECT_EQ(Text(Ascii(8, "REAR SLOW   ")), "後幕スローシンクロ");
  EXPECT_EQ(Text(Ascii(8, "            ")), "OFF");
  EXPECT_EQ(Text(Ascii(8, "STROBO")), "STROBO");
}

TEST(NikonFormat, ByteValues) {
  const int8_t difference[4] = {-3, 1, 12, 0};
  EXPECT_EQ(Text(Entry(14, TypeUndefined, 4, difference)), "-0.2EV");
  const int8_t zero[4] = {0, 1, 6, 0};
  EXPECT_EQ(Text(Entry(23, TypeUndefined, 4, zero)), "0.0EV");
  const uint8_t lensKind[1] = {0x0E};
  EXPECT_EQ(Text(Entry(131, TypeByte, 1, lensKind)), "VR G ");
  const uint8_t lensD[1] = {0x03};
  EXPECT_EQ(Text(Entry(131, TypeByte, 1, lensD)), "D S");
  const uint8_t speedlight[1] = {8};
  EXPECT_EQ(Text(Entry(135, TypeByte, 1, speedlight)), "内蔵スピードライト(コマンダー)");
  const uint8_t afArea[4] = {1, 0, 2, 0};
  EXPECT_EQ(Text(Entry(136, TypeUndefined, 4, afArea)), "ダイナミック:01 00 02 00 ");
  const uint8_t panorama[2] = {3, 0};
  EXPECT_EQ(Text(Entry(155, TypeByte, 2, panorama)), "3枚目");
}

TEST(NikonFormat, ExternalFlashRecord) {
  uint8_t record[20] = {'0', '1', '0', '0', 1, 54, 2, 4, 4, 6, 9, 0};
  EXPECT_EQ(Text(Entry(168, TypeUndefined, 20, record)), "マニュアル,1/2(-1/2EV) バウンス");
  record[9] = 2;
  record[11] = 24;
  EXPECT_EQ(Text(Entry(168, TypeUndefined, 20, record)), "i-TTL バウンス 24mm");
  // Cut to the room with "..." at its end, never inside a two-byte character.
  const std::string cut = Text(Entry(168, TypeUndefined, 20, record), NikonMainTable, 12);
  EXPECT_EQ(cut.substr(cut.size() - 3), "...");
}

TEST(NikonFormat, WordValues) {
  const uint16_t isoAuto[2] = {0, 0};
  const uint16_t iso[2] = {0, 400};
  EXPECT_EQ(Text(Entry(2, TypeShort, 2, isoAuto)), "オート");
  EXPECT_EQ(Text(Entry(19, TypeShort, 2, iso)), "400");
  const uint16_t single = 0, timer = 4, continuous = 0x21;
  EXPECT_EQ(Text(Entry(137, TypeShort, 1, &single)), "1コマ撮影");
  EXPECT_EQ(Text(Entry(137, TypeShort, 1, &timer)), "4");
  EXPECT_EQ(Text(Entry(137, TypeShort, 1, &continuous)), "連続撮影 ISO感度自動 ");
  const uint16_t jpeg = 6, unit = 3, odd = 9;
  EXPECT_EQ(Text(Entry(259, TypeShort, 1, &jpeg), NikonThumbnailTable), "JPEG 圧縮");
  EXPECT_EQ(Text(Entry(296, TypeShort, 1, &unit), NikonThumbnailTable), "センチメートル");
  EXPECT_EQ(Text(Entry(531, TypeShort, 1, &odd), NikonThumbnailTable), "不明");
}

TEST(NikonFormat, RationalValuesAndTheLens) {
  const uint32_t zoom[8] = {18, 1, 70, 1, 35, 10, 45, 10};
  EXPECT_EQ(Text(Entry(132, TypeRational, 4, zoom)), "18-70mm F3.5-4.5");
  const uint32_t prime[8] = {50, 1, 50, 1, 14, 10, 14, 10};
  EXPECT_EQ(Text(Entry(132, TypeRational, 4, prime)), "50mm F1.4");
  const int32_t bracket[2] = {-2, 3};
  EXPECT_EQ(Text(Entry(25, TypeSRational, 1, bracket)), "-0.7EV");
  const int32_t none[2] = {0, 3};
  EXPECT_EQ(Text(Entry(25, TypeSRational, 1, none)), "0.0EV");
}

TEST(NikonFormat, LensTextOfKind264) {
  IfdTable main;
  const uint32_t zoom[8] = {18, 1, 70, 1, 35, 10, 45, 10};
  char text[64];
  EXPECT_EQ(NikonLensText(&main, text, sizeof text), 0);
  EXPECT_STREQ(text, "");
  ASSERT_EQ(TagListPut(nullptr, &main.tags, 132, TypeRational, 4, 0, zoom), 1);
  EXPECT_EQ(NikonLensText(&main, text, sizeof text), 1);
  EXPECT_STREQ(text, "18-70mm F3.5-4.5");
  const uint8_t vrG = 0x0E;
  ASSERT_EQ(TagListPut(nullptr, &main.tags, 131, TypeByte, 1, 0, &vrG), 1);
  EXPECT_EQ(NikonLensText(&main, text, sizeof text), 1);
  EXPECT_STREQ(text, "VR 18-70mm F3.5-4.5 G");
  EXPECT_EQ(NikonLensText(&main, text, 8), 1);
  EXPECT_STREQ(text, "VR 18-7");
}

TEST(NikonFormat, LensTextOfTheCorpusD70) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/nikon/exiftool_NikonD70.jpg");
  ExifDocumentPtr document = OpenDocument(testsupport::SharedSub("corpus/makers/nikon/exiftool_NikonD70.jpg"));
  ASSERT_NE(Nikon(document.get()), nullptr);
  char text[64];
  ASSERT_EQ(NikonContextLensText(ExifMakerNoteContext(document.get()), text, sizeof text), 1);
  // Lens type 6 is a G lens (bits 1 and 2): the G wins over the D.
  EXPECT_STREQ(text, "18-70mm F3.5-4.5 G");
}

TEST(NikonFormat, NamesFromTheCatalogue) {
  MakerNoteInstall();
  ExifDocumentPtr document;
  ASSERT_EQ(ExifCreateEmpty(document), 1);
  ASSERT_EQ(ExifCreateMakerNote(document.get()), 1);
  auto name = [&](uint32_t kind, uint16_t tag) { return Utf8FromCp932(TagDisplayName(document.get(), kind, tag)); };
  EXPECT_EQ(name(kNikonMainKind, 132), "ﾚﾝｽﾞ");
  EXPECT_EQ(name(kNikonThumbnailKind, 513), "JPEGのSOIへのｵﾌｾｯﾄ");
  EXPECT_EQ(name(kNikonMainKind, 60000), "不明");
  EXPECT_EQ(name(FamilyNikon | 300, 1), "不明");
  EXPECT_EQ(NikonCatalogue(260), nullptr);
}
