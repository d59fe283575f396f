// The catalogue of the Fujifilm note and its value texts, as data. A tag with a value list shows
// "不明" for a value the list does not name; the other tags take the general text.
#include <array>
#include <span>
#include <string>

#include "exif/tag_catalogue.h"
#include "exif/value_format.h"
#include "frame/cp932.h"
#include "makernote/fujifilm.h"
#include "makernote/makernote_text.h"

namespace {

constexpr std::array<TagDefinition, 19> kMainRows{{
    {4096, TypeAscii, 1, "画質モード", ""},
    {4097, TypeShort, 1, "シャープネス", ""},
    {4098, TypeShort, 1, "ホワイトバランス", ""},
    {4099, TypeShort, 1, "COLOR(彩度)", ""},
    {4100, TypeShort, 1, "Tone", ""},
    {4102, TypeShort, 1, "コントラスト", ""},
    {4113, TypeSRational, 1, "ストロボ補正値", ""},
    {4128, TypeShort, 1, "マクロモード", ""},
    {4129, TypeShort, 1, "フォーカス", ""},
    {4145, TypeShort, 1, "撮影モード", ""},
    {4144, TypeShort, 1, "ストロボモード", ""},
    {4624, TypeShort, 1, "FinePixカラー", ""},
    {5121, TypeShort, 1, "フィルムシミュレーション", ""},
    {5122, TypeShort, 1, "Dレンジ", ""},
    {5124, TypeRational, 1, "レンズ(ワイド端焦点距離)", ""},
    {5125, TypeRational, 1, "レンズ(テレ端焦点距離)", ""},
    {5126, TypeRational, 1, "レンズ(ワイド端開放F値)", ""},
    {5127, TypeRational, 1, "レンズ(テレ端開放F値)", ""},
    {0, 0, 0, nullptr, nullptr},
}};

constexpr MakerNoteNumberText kSharpness[] = {
    {0, "EXTRA SUPER SOFT"}, {1, "SUPER SOFT"}, {2, "SOFT"},       {3, "NORMAL"},  {4, "HARD"},
    {5, "SUPER HARD"},       {6, "EXTRA SUPER HARD"}, {130, "ややSOFT"}, {132, "ややHARD"},
};
constexpr MakerNoteNumberText kWhiteBalance[] = {
    {0, "AUTO"},          {256, "晴れ"},          {512, "日陰"},           {768, "昼光色蛍光灯"},
    {769, "昼白色蛍光灯"}, {770, "白色蛍光灯"},    {771, "温白色蛍光灯"},   {772, "電球色蛍光灯"},
    {1024, "白熱灯"},     {1280, "フラッシュ"},   {3840, "カスタム1"},     {3841, "カスタム2"},
    {3842, "カスタム3"},  {3843, "カスタム4"},    {3844, "カスタム5"},     {4352, "カスタムデイライト"},
    {4608, "カスタム日陰"}, {4864, "カスタム昼光色蛍光灯"}, {4865, "カスタム昼白色蛍光灯"},
    {4866, "カスタム白色蛍光灯"}, {4867, "カスタム温白色蛍光灯"}, {4868, "カスタム電球色蛍光灯"},
    {5120, "カスタム白熱灯"},
};
constexpr MakerNoteNumberText kSaturation[] = {{0, "STD"}, {256, "HIGH"}, {128, "やや高彩度"}, {512, "LOW"}, {768, "ORG"}};
constexpr MakerNoteNumberText kTone[] = {{0, "STD"}, {256, "HARD"}, {128, "BIT HARD"}, {512, "SOFT"}, {768, "ORG"}};
constexpr MakerNoteNumberText kContrast[] = {{0, "STD"}, {256, "HIGH"}, {512, "LOW"}};
constexpr MakerNoteNumberText kOffOn[] = {{0, "OFF"}, {1, "ON"}};
constexpr MakerNoteNumberText kFocus[] = {{0, "AUTO"}, {1, "マニュアル"}};
constexpr MakerNoteNumberText kFlashMode[] = {{0, "AUTO"}, {1, "ON"}, {2, "OFF"}, {3, "スローシンクロ"}};
constexpr MakerNoteNumberText kPictureMode[] = {
    {0, "AUTO"},          {1, "ポートレート"},  {2, "風景"},       {3, "クローズアップ"},
    {4, "スポーツ"},      {5, "夜景"},          {6, "プログラムオート"}, {7, "ナチュラルフォト"},
    {8, "ぶれ軽減モード"}, {9, "ビーチ&スノー"}, {10, "夕焼け"},     {11, "美術館"},
    {12, "パーティー"},   {13, "花の接写"},     {14, "文字"},       {15, "ナチュラルフォト+フラッシュ"},
    {16, "ビーチ"},       {17, "スノー"},       {18, "打ち上げ花火"}, {19, "水中"},
    {256, "絞り優先オート"}, {512, "シャッター優先オート"}, {768, "マニュアル"},
};
constexpr MakerNoteNumberText kFinePixColour[] = {{0, "スタンダード"}, {16, "クローム"}, {32, "セピア"}, {48, "B&W"}};
constexpr MakerNoteNumberText kFilm[] = {
    {0, "STANDARD"},           {256, "F1:STUDIOPORTRAIT"},   {272, "F1a:FILMSIMULATION"},
    {288, "F1b:FILMSIMULATION"}, {304, "F1c:FILMSIMULATION"}, {512, "F2:FUJICHROME"},
    {768, "F3:STUDIO PORTRAIT EX"}, {784, "F3a:FILMSIMULATION"}, {800, "F3b:FILMSIMULATION"},
    {816, "F3c:FILMSIMULATION"}, {1024, "F4:Velvia調"},
};
constexpr MakerNoteNumberText kDynamicRange[] = {
    {0, "AUTO"},    {256, "STD"},   {512, "WIDE1"}, {513, "WIDE2"}, {514, "WIDE3"}, {515, "WIDE4"},
    {516, "WIDE5"}, {517, "WIDE6"}, {518, "WIDE7"}, {519, "WIDE8"}, {520, "WIDE9"}, {521, "WIDE10"},
};

struct FujifilmList {
  uint16_t tag;
  std::span<const MakerNoteNumberText> rows;
};
constexpr FujifilmList kLists[] = {
    {4097, kSharpness}, {4098, kWhiteBalance}, {4099, kSaturation}, {4100, kTone},
    {4102, kContrast},  {4128, kOffOn},        {4129, kFocus},      {4144, kFlashMode},
    {4145, kPictureMode}, {4624, kFinePixColour}, {5121, kFilm},   {5122, kDynamicRange},
};

double FujifilmRational(const TagEntry* entry) {
  const uint32_t denominator = entry->U32(1);
  return denominator == 0 ? 0.0 : double(entry->U32(0)) / denominator;
}

// The lens line's pair of a short and a long value: "a " when equal, else "a-" then "b ".
std::string FujifilmPair(const TagEntry* low, const TagEntry* high, const char* prefix, const char* suffix) {
  const double a = low ? FujifilmRational(low) : 0.0;
  const double b = high ? FujifilmRational(high) : 0.0;
  if (a == b) return MakerNoteTenths(prefix, a, suffix) + " ";
  return MakerNoteTenths(prefix, a, "-") + MakerNoteTenths("", b, suffix) + " ";
}

}  // namespace

const TagDefinition* FujifilmCatalogue(uint32_t table) {
  return table == kMakerNoteMainTable ? kMainRows.data() : nullptr;
}

int FujifilmFormatValue(const TagEntry* entry, uint32_t table, char* text, uint32_t room) {
  if (!text || room == 0) return 0;
  text[0] = '\0';
  if (!entry || entry->value.size() < 4 || table != kMakerNoteMainTable) return 0;
  if (entry->type == TypeShort || entry->type == TypeSShort) {
    for (const FujifilmList& list : kLists) {
      if (list.tag != entry->tag) continue;
      const char* found = MakerNoteLookup(list.rows, entry->U16(0));
      return MakerNoteEmit(found ? found : Cp932Text("不明"), text, room);
    }
  }
  if (entry->type == TypeRational && entry->tag >= FujifilmTagShortFocal && entry->tag <= FujifilmTagTeleAperture) {
    const bool focal = entry->tag <= FujifilmTagLongFocal;
    return MakerNoteEmit(MakerNoteTenths(focal ? "" : "F", FujifilmRational(entry), focal ? "mm" : ""), text, room);
  }
  return ExifFormatValue(entry, text, room, 0);
}

int FujifilmLensText(MakerNoteContext* context, char* text, uint32_t room) {
  if (!text || room == 0) return 0;
  text[0] = '\0';
  IfdTable* table = context ? context->Table(kMakerNoteMainTable) : nullptr;
  if (!table) return 0;
  const TagEntry* shortFocal = ExifFindInTable(table, FujifilmTagShortFocal);
  const TagEntry* longFocal = ExifFindInTable(table, FujifilmTagLongFocal);
  const TagEntry* wide = ExifFindInTable(table, FujifilmTagWideAperture);
  const TagEntry* tele = ExifFindInTable(table, FujifilmTagTeleAperture);
  if (!shortFocal && !longFocal && !wide && !tele) return 0;
  std::string composed = FujifilmPair(shortFocal, longFocal, "", "mm");
  composed += FujifilmPair(wide, tele, "F", "");
  if (composed.back() == ' ') composed.pop_back();
  MakerNoteEmit(composed, text, room);
  return 1;
}
