// Value texts of the Nikon note, compared as UTF-8 with what the list window shows.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "exif/tag_catalogue.h"
#include "frame/cp932.h"
#include "makernote/makernote_install.h"
#include "makernote/nikon.h"

namespace {

using NoteBytes = std::vector<uint8_t>;
// Values as the tables hold them: in host (little-endian) order.
template <class T>
NoteBytes Words(std::initializer_list<T> words) {
  NoteBytes bytes(words.size() * sizeof(T));
  std::memcpy(bytes.data(), words.begin(), bytes.size());
  return bytes;
}
NoteBytes Ascii(const char* text) { return NoteBytes(text, text + std::strlen(text) + 1); }

}  // namespace

// The value texts of the three tables as one table of {table, tag, type, value, room -> text}.
TEST(NikonFormat, ValueTexts) {
  const uint32_t main = NikonMainTable, thumbnail = NikonThumbnailTable;
  const struct Row {
    uint32_t table;
    uint16_t tag, type;
    NoteBytes value;
    const char* text;
    uint32_t room = 256;
  } rows[] = {
      // ASCII values by their leading characters; no row matches: shown as it stands.
      {main, 3, TypeAscii, Ascii("COLOR   "), "標準カラー"}, {main, 3, TypeAscii, Ascii("MONOCHROME"), "MONOCHROME"},
      {main, 5, TypeAscii, Ascii("PRESET"), "プリセット"},
      {main, 5, TypeAscii, Ascii("PRESET1"), "PRESET1"},  // PRESET compares its terminator too
      {main, 129, TypeAscii, Ascii("MED.H "), "やや強"}, {main, 141, TypeAscii, Ascii("MODE1a"), "モードⅠa(sRGB)"},
      {main, 143, TypeAscii, Ascii("   "), "OFF"},
      {NikonScannerTable, 3, TypeAscii, Ascii("COLOR"), "COLOR"},  // other tables: the general text
      // Speedlight modes and flash sync, searched anywhere in the text.
      {main, 9, TypeAscii, Ascii("Built-in,TTL"), "内蔵(TTLモード)"},
      {main, 9, TypeAscii, Ascii("Optional,M  "), "外部(マニュアル発光モード)"},
      {main, 9, TypeAscii, Ascii("Comdr.,TTL  "), "コマンダーモード(TTL)"}, {main, 9, TypeAscii, Ascii("            "), "OFF"},
      {main, 8, TypeAscii, Ascii("RED-EYE SLOW"), "赤目軽減 スローシンクロ"},
      {main, 8, TypeAscii, Ascii("RED-EYE     "), "赤目軽減 "}, {main, 8, TypeAscii, Ascii("REAR SLOW   "), "後幕スローシンクロ"},
      {main, 8, TypeAscii, Ascii("            "), "OFF"}, {main, 8, TypeAscii, Ascii("STROBO"), "STROBO"},
      // NoteBytes.
      {main, 14, TypeUndefined, {uint8_t(-3), 1, 12, 0}, "-0.2EV"}, {main, 23, TypeUndefined, {0, 1, 6, 0}, "0.0EV"},
      {main, 131, TypeByte, {0x0E}, "VR G "}, {main, 131, TypeByte, {0x03}, "D S"},
      {main, 135, TypeByte, {8}, "内蔵スピードライト(コマンダー)"},
      {main, 136, TypeUndefined, {1, 0, 2, 0}, "ダイナミック:01 00 02 00 "}, {main, 155, TypeByte, {3, 0}, "3枚目"},
      // The external flash record; cut to the room with "..." at its end, never inside a character.
      {main, 168, TypeUndefined, {'0', '1', '0', '0', 1, 54, 2, 4, 4, 6, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0},
       "マニュアル,1/2(-1/2EV) バウンス"},
      {main, 168, TypeUndefined, {'0', '1', '0', '0', 1, 54, 2, 4, 4, 2, 9, 24, 0, 0, 0, 0, 0, 0, 0, 0},
       "i-TTL バウンス 24mm"},
      {main, 168, TypeUndefined, {'0', '1', '0', '0', 1, 54, 2, 4, 4, 2, 9, 24, 0, 0, 0, 0, 0, 0, 0, 0}, "i-TTL バ...", 12},
      // Words.
      {main, 2, TypeShort, Words<uint16_t>({0, 0}), "オート"}, {main, 19, TypeShort, Words<uint16_t>({0, 400}), "400"},
      {main, 137, TypeShort, Words<uint16_t>({0}), "1コマ撮影"}, {main, 137, TypeShort, Words<uint16_t>({4}), "4"},
      {main, 137, TypeShort, Words<uint16_t>({0x21}), "連続撮影 ISO感度自動 "},
      {thumbnail, 259, TypeShort, Words<uint16_t>({6}), "JPEG 圧縮"},
      {thumbnail, 296, TypeShort, Words<uint16_t>({3}), "センチメートル"},
      {thumbnail, 531, TypeShort, Words<uint16_t>({9}), "不明"},
      // Rationals and the lens.
      {main, 132, TypeRational, Words<uint32_t>({18, 1, 70, 1, 35, 10, 45, 10}), "18-70mm F3.5-4.5"},
      {main, 132, TypeRational, Words<uint32_t>({50, 1, 50, 1, 14, 10, 14, 10}), "50mm F1.4"},
      {main, 25, TypeSRational, Words<int32_t>({-2, 3}), "-0.7EV"},
      {main, 25, TypeSRational, Words<int32_t>({0, 3}), "0.0EV"},
  };
  for (const Row& row : rows) {
    TagList list;
    const uint32_t size = ExifTypeSize(row.type);
    ASSERT_EQ(TagListPut(nullptr, &list, row.tag, row.type, uint32_t(row.value.size() / size), 0, row.value.data()), 1);
    std::vector<char> text(row.room + 1, '#');
    NikonFormatValue(&list.front(), row.table, text.data(), row.room);
    EXPECT_LT(std::strlen(text.data()), size_t(row.room)) << row.tag;
    EXPECT_EQ(Utf8FromCp932(text.data()), row.text) << "table " << row.table << " tag " << row.tag;
  }
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
