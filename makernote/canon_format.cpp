// The catalogue of the Canon note and its value texts, as data.
//
// Texts are composed of parts joined by "-". Each part reads one element of the tag's 16-bit
// array, and only when the array is long enough to hold it; a value no row names leaves its
// part out.
#include <array>
#include <span>
#include <string>

#include "exif/tag_catalogue.h"
#include "exif/value_format.h"
#include "frame/cp932.h"
#include "makernote/canon.h"
#include "makernote/makernote_text.h"

namespace {

constexpr std::array<TagDefinition, 11> kMainRows{{
    {1, TypeShort, 0, "撮影設定情報", ""},
    {2, TypeShort, 0, "焦点距離", ""},
    {4, TypeShort, 0, "撮影設定情報", ""},
    {6, TypeAscii, 0, "機種?", ""},
    {7, TypeAscii, 0, "ファームウェア", ""},
    {9, TypeAscii, 0, "カメラの所有者名", ""},
    {12, TypeAscii, 0, "カメラBody No", ""},
    {81, TypeAscii, 0, "レンズ", ""},
    {149, TypeAscii, 0, "レンズ", ""},
    {160, TypeShort, 0, "撮影設定情報", ""},
    {0, 0, 0, nullptr, nullptr},
}};

// One part of a composed text: the element it reads, the count the array must exceed, the
// label before the value's text, and the texts by value.
struct CanonPart {
  uint32_t element;
  uint32_t countAbove;
  const char* label;
  std::span<const MakerNoteNumberText> rows;
};

constexpr MakerNoteNumberText kExposureMode[] = {
    {0, "ﾌﾟﾛｸﾞﾗﾑAE"}, {4, "ﾌﾟﾛｸﾞﾗﾑAE"}, {1, "ｼｬｯﾀｰ速度優先AE"}, {2, "絞り優先AE"},
    {3, "ﾏﾆｭｱﾙ露出"},  {5, "自動被写界深度"}, {6, "深度優先AE"},        {7, "ﾊﾞﾙﾌﾞ撮影"},
};
constexpr MakerNoteNumberText kMetering[] = {
    {0, "中央部重点平均測光"}, {5, "中央部重点平均測光"}, {1, "ｽﾎﾟｯﾄ測光"},
    {2, "平均測光"},           {3, "評価測光"},           {4, "部分測光"},
};
constexpr MakerNoteNumberText kFocusMode[] = {
    {0, "ﾜﾝｼｮｯﾄAF"}, {1, "AIｻｰﾎﾞAF"}, {2, "AIﾌｫｰｶｽAF"}, {3, "ﾏﾆｭｱﾙﾌｫｰｶｽ"},
};
// Element 32 set: the compact cameras' single and continuous focusing.
constexpr MakerNoteNumberText kFocusContinuous[] = {
    {0, "SINGLE AF"}, {1, "CONTINUOUS AF"}, {2, "AIﾌｫｰｶｽAF"}, {3, "ﾏﾆｭｱﾙﾌｫｰｶｽ"},
};
constexpr MakerNoteNumberText kDrive[] = {
    {0, "1ｺﾏ撮影"},          {1, "連続撮影"},     {2, "動画撮影"},
    {3, "連続撮影(速度優先)"}, {4, "低速連続撮影"}, {5, "高速連続撮影"},
};
constexpr CanonPart kSettingsParts[] = {
    {20, 20, "撮影ﾓｰﾄﾞ:", kExposureMode},
    {17, 18, "", kMetering},
    {7, 7, "", kFocusMode},
    {5, 5, "", kDrive},
};

constexpr MakerNoteNumberText kWhiteBalance[] = {
    {0, "ｵｰﾄ"}, {1, "太陽光"}, {2, "くもり"}, {3, "白熱電球"}, {4, "白色蛍光灯"}, {5, "ｽﾄﾛﾎﾞ"},
    {6, "ﾏﾆｭｱﾙ"}, {7, "白黒"}, {8, "日陰"}, {9, "色温度指定"},
};
// White balance values that name a set registered from a computer, and the set's number.
constexpr MakerNoteNumberText kWhiteBalanceSets[] = {{10, "1"}, {11, "2"}, {12, "3"}, {20, "4"}, {21, "5"}};

// Picture styles (element 10 of tag 160) from 129 on, and the older colour matrices below 8.
constexpr MakerNoteNumberText kPictureStyle[] = {
    {129, "ｽﾀﾝﾀﾞｰﾄﾞ"}, {130, "ﾎﾟｰﾄﾚｰﾄ"}, {132, "ﾆｭｰﾄﾗﾙ"}, {133, "忠実設定"}, {134, "ﾓﾉｸﾛ"},
};
constexpr MakerNoteNumberText kColourMatrix[] = {
    {1, "ｽﾀﾝﾀﾞｰﾄﾞ"}, {2, "ﾎﾟｰﾄﾚｰﾄ"}, {3, "高彩度"}, {4, "Adobe RGB"}, {5, "低彩度"},
};
constexpr uint32_t kColourMatrixSetFirst = 6;  // 6 and 7: "CMｾｯﾄ1", "CMｾｯﾄ2"

uint32_t CanonDivisor(MakerNoteContext* context) {
  IfdTable* table = context ? context->Table(kMakerNoteMainTable) : nullptr;
  const TagEntry* settings = table ? ExifFindInTable(table, CanonTagCameraSettings) : nullptr;
  if (!settings || settings->count <= 24 || settings->U16(25) == 0) return 1;
  return settings->U16(25);
}

std::string CanonLength(uint32_t value, uint32_t divisor, const char* suffix) {
  std::string out;
  if (divisor == 1)
    MakerNoteAppend(&out, "%u%s", value, suffix);
  else
    MakerNoteAppend(&out, "%.1f%s", double(value) / divisor, suffix);
  return out;
}

std::string CanonSettingsText(const TagEntry* entry) {
  std::string out;
  for (const CanonPart& part : kSettingsParts) {
    if (entry->count <= part.countAbove) continue;
    std::span<const MakerNoteNumberText> rows = part.rows;
    if (part.element == 7 && entry->count > 32 && entry->U16(32) != 0) rows = kFocusContinuous;
    if (const char* text = MakerNoteLookup(rows, entry->U16(part.element)))
      MakerNoteAppendPart(&out, std::string(Cp932Text(part.label)) + text);
  }
  if (entry->count > 24 && entry->U16(25) != 0) {
    const uint32_t divisor = entry->U16(25);
    const uint32_t longest = entry->U16(23);
    const uint32_t shortest = entry->U16(24);
    std::string lens = Cp932Text("ﾚﾝｽﾞ:");
    lens += shortest == longest ? CanonLength(shortest, divisor, "mm")
                                : CanonLength(shortest, divisor, "-") + CanonLength(longest, divisor, "mm");
    MakerNoteAppendPart(&out, lens);
  }
  return out;
}

// Flash compensation in thirty-seconds of a step: sign, whole steps, and a third, a half or two
// thirds by the remainder.
std::string CanonFlashCompensation(int16_t value) {
  std::string out = Cp932Text("調光補正:");
  if (value == 0) return out + "0";
  out += value < 0 ? "-" : "+";
  const int magnitude = value < 0 ? -int(value) : int(value);
  const int whole = magnitude / 32;
  const int rest = magnitude % 32;
  const char* fraction = rest >= 20 ? "2/3" : rest >= 16 ? "1/2" : rest >= 4 ? "1/3" : "";
  if (whole != 0 || *fraction == 0) MakerNoteAppend(&out, *fraction ? "%d " : "%d", whole);
  return out + fraction;
}

std::string CanonShotText(const TagEntry* entry) {
  std::string out;
  if (entry->count > 7) {
    const uint16_t balance = entry->U16(7);
    if (const char* text = MakerNoteLookup(kWhiteBalance, balance)) {
      MakerNoteAppendPart(&out, text);
    } else if (const char* set = MakerNoteLookup(kWhiteBalanceSets, balance)) {
      MakerNoteAppendPart(&out, std::string(Cp932Text("ｾｯﾄ")) + set);
    }
  }
  if (entry->count > 15) MakerNoteAppendPart(&out, CanonFlashCompensation(entry->S16(15)));
  return out;
}

std::string CanonProcessingText(const TagEntry* entry) {
  std::string out;
  if (entry->count > 9) {
    std::string part = Cp932Text("色温度:");
    MakerNoteAppend(&part, "%d", entry->S16(9));
    MakerNoteAppendPart(&out, part);
  }
  if (entry->count > 10) {
    const uint16_t style = entry->U16(10);
    std::string part;
    if (const char* text = MakerNoteLookup(kPictureStyle, style)) {
      part = std::string(Cp932Text("ﾋﾟｸﾁｬｰｽﾀｲﾙ:")) + text;
    } else if (const char* matrix = MakerNoteLookup(kColourMatrix, style)) {
      part = std::string(Cp932Text("ｶﾗｰﾏﾄﾘｯｸｽ:")) + matrix;
    } else if (style == kColourMatrixSetFirst || style == kColourMatrixSetFirst + 1) {
      part = Cp932Text("ｶﾗｰﾏﾄﾘｯｸｽ:");
      MakerNoteAppend(&part, Cp932Text("CMｾｯﾄ%d"), style - kColourMatrixSetFirst + 1);
    }
    MakerNoteAppendPart(&out, part);
  }
  return out;
}

}  // namespace

const TagDefinition* CanonCatalogue(uint32_t table) {
  return table == kMakerNoteMainTable ? kMainRows.data() : nullptr;
}

int CanonFormatValue(MakerNoteContext* context, const TagEntry* entry, uint32_t table, char* text, uint32_t room) {
  if (!text || room == 0) return 0;
  text[0] = '\0';
  if (!entry || entry->value.size() < 4 || table != kMakerNoteMainTable) return 0;
  const bool words = entry->type == TypeShort || entry->type == TypeSShort;
  std::string composed;
  if (words && entry->tag == CanonTagCameraSettings) composed = CanonSettingsText(entry);
  if (words && entry->tag == CanonTagFocalLength && entry->count > 1)
    composed = CanonLength(entry->U16(1), CanonDivisor(context), "mm");
  if (words && entry->tag == CanonTagShotInfo) composed = CanonShotText(entry);
  if (words && entry->tag == CanonTagProcessingInfo) composed = CanonProcessingText(entry);
  if (composed.empty()) return ExifFormatValue(entry, text, room, 0);
  return MakerNoteEmit(composed, text, room);
}

int CanonLensText(MakerNoteContext* context, char* text, uint32_t room) {
  if (!text || room == 0) return 0;
  text[0] = '\0';
  IfdTable* table = context ? context->Table(kMakerNoteMainTable) : nullptr;
  if (!table) return 0;
  const TagEntry* lens = ExifFindInTable(table, CanonTagLensName);
  if (!lens) lens = ExifFindInTable(table, CanonTagLensModel);
  if (!lens) return 0;
  CanonFormatValue(context, lens, kMakerNoteMainTable, text, room);
  return text[0] != 0 ? 1 : 0;
}
