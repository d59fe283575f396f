// The catalogue of the Olympus note and its value texts, as data: one row per tag in the order
// the list window shows them, and the vocabulary of each coded tag of table 259.
//
// The texts are the system's own, UTF-8 here and CP932 by Cp932Text. A value a table does not
// name reads "不明"; tags named nowhere take the general text by type (ExifFormatValue).
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <span>
#include <string>

#include "exif/tag_catalogue.h"
#include "exif/value_format.h"
#include "frame/cp932.h"
#include "makernote/makernote_text.h"
#include "makernote/olympus.h"

namespace {

constexpr std::array<TagDefinition, 7> kMainRows{{
    {521, TypeAscii, 0, "カメラID", ""},
    {8208, 13, 1, "SUB IFD1へのオフセット", ""},
    {8224, 13, 1, "SUB IFD2へのオフセット", ""},
    {8240, 13, 1, "SUB IFD3へのオフセット", ""},
    {8256, 13, 1, "SUB IFD4へのオフセット", ""},
    {8272, 13, 1, "SUB IFD5へのオフセット", ""},
    {0, 0, 0, nullptr, nullptr},
}};

// Table 258 (equipment). The names of 518 and 520 stand exchanged against their values (518 is
// an aperture, 520 a focal length); the names are the system's as they stand.
constexpr std::array<TagDefinition, 5> kEquipmentRows{{
    {517, TypeShort, 0, "レンズ(ワイド端開放F値)", ""},
    {518, TypeShort, 0, "レンズ(テレ端焦点距離)", ""},
    {519, TypeShort, 0, "レンズ(ワイド端焦点距離)", ""},
    {520, TypeShort, 0, "レンズ(テレ端開放F値)", ""},
    {0, 0, 0, nullptr, nullptr},
}};

// Table 259 (camera settings); "コントランス" is the system's spelling.
constexpr std::array<TagDefinition, 19> kSettingsRows{{
    {512, TypeShort, 0, "撮影モード", ""},     {513, TypeShort, 0, "AE LOCK", ""},
    {514, TypeShort, 0, "測光モード", ""},     {768, TypeShort, 0, "マクロ", ""},
    {769, TypeShort, 0, "フォーカスモード", ""}, {1024, TypeShort, 0, "フラッシュ", ""},
    {1280, TypeShort, 0, "ホワイトバランス", ""}, {1281, TypeShort, 0, "色温度", ""},
    {1287, TypeShort, 0, "カラー設定", ""},    {1295, TypeSShort, 0, "階調", ""},
    {1312, TypeShort, 0, "仕上がり", ""},      {1313, TypeSShort, 0, "彩度", ""},
    {1314, TypeShort, 0, "彩度", ""},          {1315, TypeSShort, 0, "コントランス", ""},
    {1316, TypeSShort, 0, "シャープネス", ""},  {1317, TypeSShort, 0, "フィルター効果", ""},
    {1318, TypeSShort, 0, "調色", ""},         {1536, TypeShort, 0, "ドライブ", ""},
    {0, 0, 0, nullptr, nullptr},
}};

constexpr TagDefinition kEmptyRows[] = {{0, 0, 0, nullptr, nullptr}};

using NumberText = MakerNoteNumberText;

// The coded tags of table 259 whose first value names a text.
struct CodeRule {
  uint16_t tag;
  std::span<const NumberText> rows;
  bool frameNumber;  // a non-zero second value adds "(%dコマ目)"
};

constexpr NumberText kExposureMode[] = {{1, "M(マニュアル)"}, {2, "P(プログラム)"}, {3, "A(絞り優先)"},
                                        {4, "S(シャッター優先)"}, {5, "Ps(プログラムシフト)"}};
constexpr NumberText kOnOff[] = {{0, "OFF"}, {1, "ON"}};
constexpr NumberText kMacro[] = {{0, "OFF"}, {1, "ON"}, {2, "ON"}};
constexpr NumberText kFocusMode[] = {
    {0, "シングルAF"}, {1, "連写AF"}, {2, "コンティニュアスAF"}, {3, "マルチAF"}, {10, "MF"}};
constexpr NumberText kWhiteBalance[] = {
    {0, "AUTO"},           {16, "晴天日陰"},       {17, "雲天"},           {18, "晴天"},
    {20, "電球"},          {21, "電球らしさ"},     {22, "夕日"},           {256, "ワンタッチWB1"},
    {257, "ワンタッチWB2"}, {258, "ワンタッチWB3"}, {259, "ワンタッチWB4"}, {512, "カスタム1"},
    {513, "カスタム2"},     {514, "カスタム3"},     {515, "カスタム4"}};
constexpr NumberText kColourSpace[] = {{0, "sRGB"}, {1, "Adobe RGB"}, {2, "ProPhoto RGB"}};
constexpr NumberText kSaturationMode[] = {
    {1, "CM1(R強調)"}, {2, "CM2(G強調)"}, {3, "CM3(B強調)"}, {4, "CM4(肌色強調)"}};
constexpr NumberText kFilter[] = {{0, "N:なし"}, {1, "Ye:黄"}, {2, "Or:オレンジ"}, {3, "R:赤"}, {4, "G:緑"}};
constexpr NumberText kToning[] = {{0, "N:なし"}, {1, "S:セピア"}, {2, "B:青"}, {3, "P:紫"}, {4, "G:緑"}};
constexpr NumberText kDrive[] = {{0, "単写"}, {1, "連写"}, {2, "AE BKT"}, {3, "WB BKT"}, {4, "AE BKT,WB BKT"}};

constexpr CodeRule kCodeRules[] = {
    {512, kExposureMode, false}, {513, kOnOff, false},        {768, kMacro, false},
    {769, kFocusMode, false},    {1280, kWhiteBalance, false}, {1287, kColourSpace, false},
    {1314, kSaturationMode, true}, {1317, kFilter, false},    {1318, kToning, false},
    {1536, kDrive, true},
};

constexpr NumberText kMetering[] = {{5, "ESP"}, {3, "スポット"}, {2, "中央重点"}};
constexpr NumberText kFinish[] = {{0, ""}, {1, "VIVID"}, {2, "NATURAL"}, {3, "FLAT"}};

const char* Unknown() { return Cp932Text("不明"); }

template <class Value>
std::string Printed(const char* format, Value value) {
  std::string out;
  MakerNoteAppend(&out, format, value);
  return out;
}

// The aperture a lens tag stores: 1.414 to the power of the value over 256.
double Aperture(uint16_t stored) { return std::pow(1.414, stored / 256.0); }

// Tag 1024: the flash bits, as "OFF" or "ON(...)".
std::string FlashText(uint16_t bits) {
  if ((bits & 1) == 0) return "OFF";
  std::string parts;
  if (bits & 2) parts += Cp932Text("強制発光,");
  if ((bits & 4) && !(bits & 32)) parts += Cp932Text("赤目軽減,");
  if ((bits & 8) && !(bits & 2))
    parts += Cp932Text((bits & 32) ? "ｽﾛｰｼﾝｸﾛ(後幕効果)," : "ｽﾛｰｼﾝｸﾛ(先幕効果),");
  else if (bits & 32)
    parts += Cp932Text("後幕効果,");
  if (parts.empty()) parts = Cp932Text("ｵｰﾄ発光,");
  parts.back() = ')';
  return "ON(" + parts;
}

// Tag 514: the pattern of the low 4 bits and the two linked modes.
std::string MeteringText(uint16_t value) {
  const char* pattern = MakerNoteLookup(kMetering, value & 15);
  if (pattern == nullptr) return Unknown();
  std::string text = pattern;
  if (value & 0x100) text += Cp932Text("(AF連動ON)");
  if (value & 0x400) text += Cp932Text("(ｼｬﾄﾞｳ)");
  return text;
}

// Tag 1312: the finish of the low byte, then monochrome and sepia.
std::string FinishText(uint16_t value) {
  const char* finish = MakerNoteLookup(kFinish, value & 0xFF);
  if (finish == nullptr) return Unknown();
  std::string text = finish;
  for (const auto& [bit, name] : {std::pair{0x100, "モノクロ"}, std::pair{0x200, "セピア"}}) {
    if ((value & bit) == 0) continue;
    if (!text.empty()) text += ',';
    text += Cp932Text(name);
  }
  return text;
}

// The texts of table 259 for a SHORT or SSHORT entry; empty when the tag has none.
std::string SettingsText(const TagEntry& entry, bool* known) {
  *known = true;
  const int32_t first = entry.type == TypeSShort ? entry.S16(0) : entry.U16(0);
  switch (entry.tag) {
    case 514:
      return MeteringText(entry.U16(0));
    case 1024:
      return FlashText(entry.U16(0));
    case 1281:
      return Printed("%dK", first);
    case 1295:
      return Cp932Text(first == 0 ? "標準" : first < 0 ? "ローキー" : "ハイキー");
    case 1312:
      return FinishText(entry.U16(0));
    case 1313:
    case 1315:
    case 1316:
      return Printed("%+d", int(entry.S16(0)));
    default:
      break;
  }
  for (const CodeRule& rule : kCodeRules) {
    if (rule.tag != entry.tag) continue;
    const char* name = MakerNoteLookup(rule.rows, first);
    if (name == nullptr) return Unknown();
    std::string text = name;
    if (rule.frameNumber && entry.count > 1 && entry.U16(1) != 0)
      text += Printed(Cp932Text("(%dコマ目)"), int(entry.U16(1)));
    return text;
  }
  *known = false;
  return {};
}

// FLOAT values as numbers, IFD values as the offsets they are, joined by ",".
std::string OwnTypeText(const TagEntry& entry) {
  std::string text;
  const uint32_t count = std::min(entry.count, entry.ValueSize() / 4);
  for (uint32_t i = 0; i < count && text.size() < 240; ++i) {
    if (i) text += ',';
    if (entry.type == kOlympusTypeFloat) {
      float value = 0;
      const uint32_t bits = entry.U32(i);
      std::memcpy(&value, &bits, sizeof value);
      text += Printed("%g", double(value));
    } else {
      text += Printed("%d", int(entry.U32(i)));
    }
  }
  return text;
}

}  // namespace

const TagDefinition* OlympusCatalogue(uint32_t table) {
  switch (table) {
    case 257:
      return kMainRows.data();
    case 258:
      return kEquipmentRows.data();
    case 259:
      return kSettingsRows.data();
    case 260:
    case 261:
    case 262:
      return kEmptyRows;
    default:
      return nullptr;
  }
}

int OlympusFormatValue(const TagEntry* entry, uint32_t table, char* text, uint32_t room) {
  if (!text || room == 0) return 0;
  text[0] = '\0';
  if (!entry || entry->value.size() < 4 || table == 264) return 0;
  if (entry->type == kOlympusTypeFloat || entry->type == kOlympusTypeIfd)
    return MakerNoteEmit(OwnTypeText(*entry), text, room);
  if (table == 257 && entry->tag == 521) {
    // The camera's name, whatever type holds it; a name that does not fit takes the general text.
    const char* name = reinterpret_cast<const char*>(entry->Data());
    const size_t length = strnlen(name, std::min(entry->count, entry->ValueSize()));
    if (length < room) return MakerNoteEmit(std::string(name, length), text, room);
  }
  const bool word = entry->type == TypeShort || entry->type == TypeSShort;
  if (table == 258 && word && (entry->tag == 517 || entry->tag == 518))
    return MakerNoteEmit(Printed("%.1f", Aperture(entry->U16(0))), text, room);
  if (table == 258 && word && (entry->tag == 519 || entry->tag == 520))
    return MakerNoteEmit(Printed("%dmm", int(entry->U16(0))), text, room);
  if (table == 259 && word) {
    bool known = false;
    const std::string composed = SettingsText(*entry, &known);
    if (known) return MakerNoteEmit(composed, text, room);
  }
  return ExifFormatValue(entry, text, room, 0);
}

int OlympusLensText(MakerNoteContext* context, char* text, uint32_t room) {
  if (!text || room == 0) return 0;
  text[0] = '\0';
  const IfdTable* equipment = context ? context->Table(258) : nullptr;
  if (!equipment) return 0;
  const TagEntry* wideAperture = ExifFindInTable(equipment, 517);
  const TagEntry* teleAperture = ExifFindInTable(equipment, 518);
  const TagEntry* wide = ExifFindInTable(equipment, 519);
  const TagEntry* tele = ExifFindInTable(equipment, 520);
  std::string composed;
  if (wide && tele)
    composed += wide->U16(0) == tele->U16(0) ? Printed("%dmm ", int(wide->U16(0)))
                                              : Printed("%d-", int(wide->U16(0))) + Printed("%dmm ", int(tele->U16(0)));
  if (wideAperture && teleAperture)
    composed += wideAperture->U16(0) == teleAperture->U16(0)
                    ? Printed("F%.1f ", Aperture(wideAperture->U16(0)))
                    : Printed("F%.1f-", Aperture(wideAperture->U16(0))) + Printed("%.1f ", Aperture(teleAperture->U16(0)));
  if (composed.empty()) return 0;
  MakerNoteEmit(composed, text, room);
  return 1;
}
