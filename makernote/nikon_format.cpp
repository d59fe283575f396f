// Value texts of the Nikon note: what the list window shows for each tag, in Japanese.
//
// The branch is chosen by the entry's own type, then by table and tag, so a tag stored with an
// unusual type keeps its general form. Values and tags named nowhere here take the general text
// by type (ExifFormatValue). The comparison values are the camera's ASCII; the texts are the
// system's own, CP932 by Cp932Text.
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "exif/tags.h"
#include "exif/value_format.h"
#include "frame/cp932.h"
#include "makernote/nikon.h"

namespace {

// Composed texts never grow beyond this, the terminator included.
constexpr size_t kComposeLimit = 256;

// One ASCII value and its text. `length` is how many leading bytes are compared: 0 for the
// value's own length, so that longer values match too; PRESET of tag 5 compares its terminator.
struct AsciiText {
  const char* value;
  const char* text;
  size_t length = 0;
};

struct AsciiRule {
  uint16_t tag;
  bool blankIsOff;  // a value that starts with a blank reads "OFF"
  std::span<const AsciiText> rows;
};

constexpr AsciiText kColourMode[] = {
    {"COLOR", "標準カラー"}, {"VIVID", "ビビッドカラー"}, {"B & W", "白黒"}, {"SEPIA", "セピア"}, {"COOL", "クール"},
};
constexpr AsciiText kWhiteBalance[] = {
    {"AUTO", "オート"},   {"INCANDESCENT", "電球"}, {"FLUORESCENT", "蛍光灯"},   {"SUNNY", "晴天"},
    {"FLASH", "フラッシュ"}, {"CLOUDY", "曇天"},       {"SHADE", "晴天日陰"}, {"PRESET", "プリセット", 7},
};
constexpr AsciiText kSharpness[] = {
    {"AUTO", "オート"}, {"NORMAL", "標準"}, {"LOW", "弱"},  {"MED.L", "やや弱"},
    {"MED.H", "やや強"}, {"HIGH", "強"},     {"CS", "ユーザーカスタム"}, {"NONE", "なし"},
};
constexpr AsciiText kSpeedlight[] = {
    {"Built-in,TTL", "内蔵(TTLモード)"},
    {"Built-in,M", "内蔵(マニュアル発光モード)"},
    {"Optional,TTL", "外部(TTLモード)"},
    {"Optional,M", "外部(マニュアル発光モード)"},
};
constexpr AsciiText kColourSetting[] = {
    {"MODE1a", "モードⅠa(sRGB)"}, {"MODE1", "モードⅠ(sRGB)"},     {"MODE2", "モードⅡ(Adobe RGB)"},
    {"MODE3a", "モードⅢa(sRGB)"}, {"MODE3", "モードⅢ(sRGB)"},
};
constexpr AsciiText kSceneMode[] = {
    {"FACE-PRIORITY", "顔認識ﾎﾟｰﾄﾚｰﾄ"}, {"BEACH/SNOW", "海･雪"},           {"CLOSE UP", "クローズアップ"},
    {"DAWN/DUSK", "トワイライト"},       {"LAND SCAPE", "風景"},             {"MUSEUM", "ミュージアム"},
    {"NIGHT SCENE", "夜景"},            {"PORTRAIT", "ポートレート"},       {"NIGHT PORTRAIT", "夜景ポートレート"},
    {"SUNSET", "夕焼け"},               {"PANORAMA ASSIST", "パノラマアシスト"}, {"PARTY", "パーティー"},
    {"FIREWORKS", "打ち上げ花火"},       {"COPY", "モノクロコピー"},         {"BACK LIGHT", "逆光"},
    {"SPORT", "スポーツ"},
};
constexpr AsciiText kNoiseReduction[] = {{"FPNR", "ON"}, {"OFF", "OFF"}};
constexpr AsciiText kSceneDetail[] = {
    {"FACE-UP/LEFT", "人物左"},         {"FACE-UP/RIGHT", "人物右"},          {"WAIST-SHOT", "ウエストショット"},
    {"TWO-SHOT", "ツーショット"},       {"VERTICAL", "縦位置"},               {"MOUNTAIN", "山"},
    {"BUILDING", "建物"},               {"BACKGROUND/LEFT", "左背景"},        {"BACKGROUND/RIGHT", "右背景"},
    {"SPORT-SPECTATOR", "スポーツ観戦"}, {"SPORT-MULTI", "スポーツマルチ連写"}, {"NON-FRAME", "標準"},
};
constexpr AsciiText kFinish[] = {
    {"NORMAL", "標準"},          {"VIVID", "鮮やかに"},          {"MORE VIVID", "より鮮やかに"},
    {"SHARP", "シャープに"},      {"SOFT", "ソフトに"},           {"DIRECT PRINT", "ダイレクトプリント"},
    {"PORTRAIT", "人物きれい"},   {"LAND SCAPE", "風景きれい"},   {"BLACK AND WHITE", "白黒"},
    {"CUSTOM", "カスタマイズ"},
};
constexpr AsciiText kSaturation[] = {{"NORMAL", "標準"}, {"MODERATE", "弱め"}, {"ENHANCED", "強め"}};
constexpr AsciiText kImageProgram[] = {
    {"AUTO", "オート"},           {"NIGHT PORTRAIT", "夜景ポートレート"}, {"NIGHT SCENE", "夜景"},
    {"SPORT", "スポーツ"},        {"CLOSE UP", "クローズアップ"},        {"LAND SCAPE", "風景"},
    {"PORTRAIT", "ポートレート"},
};
constexpr AsciiText kVibrationReduction[] = {{"VR-OFF", "OFF"}, {"VR-ACTIVE", "ACTIVE"}, {"VR-ON", "ON"}};

constexpr std::array<AsciiRule, 13> kAsciiRules{{
    {3, false, kColourMode},
    {5, false, kWhiteBalance},
    {6, false, kSharpness},
    {129, false, kSharpness},
    {9, true, kSpeedlight},
    {141, false, kColourSetting},
    {143, true, kSceneMode},
    {149, false, kNoiseReduction},
    {156, true, kSceneDetail},
    {169, true, kFinish},
    {170, true, kSaturation},
    {171, true, kImageProgram},
    {172, false, kVibrationReduction},
}};

// Tag 8, the flash sync: found anywhere in the value, the first hit wins.
constexpr AsciiText kFlashSync[] = {
    {"REAR SLOW", "後幕スローシンクロ"}, {"REAR", "後幕シンクロ"}, {"SLOW", "スローシンクロ"}, {"NORMAL", "先幕シンクロ"},
};

// Tag 9's commander modes, by what follows the comma.
constexpr AsciiText kCommander[] = {{"TTL", "(TTL)"}, {"AA", "(AA)"}, {"M", "(M)"}};

// Numbered texts: one value and its text.
struct NumberText {
  uint32_t value;
  const char* text;
};

constexpr NumberText kSpeedlightKind[] = {
    {0, "OFF"}, {7, "外部スピードライト"}, {8, "内蔵スピードライト(コマンダー)"}, {9, "内蔵スピードライト"},
};
constexpr NumberText kAfAreaMode[] = {{0, "シングル:"}, {1, "ダイナミック:"}, {2, "至近優先ダイナミック:"}};
constexpr NumberText kFlashControl[] = {
    {0, "未使用"},     {1, "i-TTL-BL"},    {2, "i-TTL"},      {3, "絞り連動自動"},
    {4, "外部自動"},   {5, "マニュアル GN"}, {6, "マニュアル"}, {7, "マルチフラッシュ"},
};
constexpr NumberText kDateImprint[] = {{1, "年月日・時刻"}, {2, "年月日"}, {3, "誕生日カウンター"}};
constexpr NumberText kHighIsoNoise[] = {
    {2, "ON(弱)"}, {3, "ON(やや弱)"}, {4, "ON(標準)"}, {5, "ON(やや強)"}, {6, "ON(強)"},
};
constexpr NumberText kCompression[] = {{1, "非圧縮"}, {6, "JPEG 圧縮"}};
constexpr NumberText kPhotometric[] = {{2, "RGB"}, {6, "YCbCr"}};
constexpr NumberText kPlanar[] = {{1, "点順次(chunky)"}, {2, "面順次(planar)"}};
constexpr NumberText kResolutionUnit[] = {{2, "インチ"}, {3, "センチメートル"}};
constexpr NumberText kSubsampling[] = {{1, "YCbCr4:2:2"}, {2, "YCbCr4:2:0"}};
constexpr NumberText kPositioning[] = {{1, "中心"}, {2, "一致"}};

// Drive modes of tag 137, bit by bit from bit 0.
constexpr NumberText kDriveBits[] = {
    {0, "連続撮影 "}, {1, "セルフタイマー "}, {4, "BKT(AE) "}, {5, "ISO感度自動 "}, {6, "BKT(WB) "}, {7, "リモコン "},
};

// Manual flash power steps of tag 168, by the power byte modulo 6.
constexpr std::array<const char*, 6> kPowerSteps{"", "(-1/6EV)", "(-1/3EV)", "(-1/2EV)", "(-2/3EV)", "(-5/6EV)"};

const char* NumberLookup(std::span<const NumberText> rows, uint32_t value) {
  for (const NumberText& row : rows)
    if (row.value == value) return Cp932Text(row.text);
  return nullptr;
}

// Appends printf output to a composed text.
void Append(std::string* out, const char* format, ...) {
  char buffer[kComposeLimit];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  out->append(buffer);
}

// The longest prefix of at most `keep` bytes that does not split a two-byte CP932 character.
size_t WholeCharacters(std::string_view text, size_t keep) {
  size_t at = 0;
  while (at < text.size()) {
    const size_t width = Cp932IsLeadByte(uint8_t(text[at])) ? 2 : 1;
    if (at + width > keep) break;
    at += width;
  }
  return at;
}

// Copies a composed text into the caller's room and returns its length. A text that does not
// fit is cut at a character boundary; with `ellipsis` and room above 3 it then ends in "...".
int Emit(std::string_view composed, char* text, uint32_t room, bool ellipsis = false) {
  if (composed.size() >= kComposeLimit) composed = composed.substr(0, WholeCharacters(composed, kComposeLimit - 1));
  size_t length = composed.size();
  const char* tail = "";
  if (length + 1 > room) {
    if (ellipsis && room > 3) {
      length = WholeCharacters(composed, room - 4);
      tail = "...";
    } else {
      length = WholeCharacters(composed, room - 1);
    }
  }
  std::memcpy(text, composed.data(), length);
  std::strcpy(text + length, tail);
  return int(length + std::strlen(tail));
}

int General(const TagEntry* entry, char* text, uint32_t room, int decimal = 0) {
  return ExifFormatValue(entry, text, room, decimal);
}

uint8_t ByteAt(const TagEntry* entry, uint32_t i) { return i < entry->ValueSize() ? entry->Data()[i] : 0; }

// The first element of a word entry, by its own type.
int64_t WordAt(const TagEntry* entry, uint32_t i) {
  switch (entry->type) {
    case TypeShort:
      return entry->U16(i);
    case TypeSShort:
      return entry->S16(i);
    case TypeLong:
      return entry->U32(i);
    default:
      return entry->S32(i);
  }
}

// A rational element as a double; a zero denominator reads 0.
double RationalAt(const TagEntry* entry, uint32_t i) {
  if (entry->type == TypeSRational) {
    const int32_t n = entry->S32(2 * i);
    const int32_t d = entry->S32(2 * i + 1);
    return d == 0 ? 0.0 : double(n) / d;
  }
  const uint32_t n = entry->U32(2 * i);
  const uint32_t d = entry->U32(2 * i + 1);
  return d == 0 ? 0.0 : double(n) / d;
}

bool MatchesPrefix(const char* value, uint32_t valueSize, const AsciiText& row) {
  const size_t length = row.length ? row.length : std::strlen(row.value);
  // The value holds four zero bytes behind its count, so a terminator is always there to compare.
  return length <= valueSize + 1 && std::memcmp(value, row.value, length) == 0;
}

// Tag 9, the speedlight: plain rows, then the commander forms.
bool SpeedlightText(const char* value, uint32_t valueSize, std::string* out) {
  for (const AsciiText& row : kSpeedlight)
    if (MatchesPrefix(value, valueSize, row)) return out->append(Cp932Text(row.text)), true;
  if (std::strncmp(value, "Comdr.,", 7) != 0) return false;
  out->append(Cp932Text("コマンダーモード"));
  const uint32_t rest = valueSize > 7 ? valueSize - 7 : 0;
  for (const AsciiText& row : kCommander)
    if (MatchesPrefix(value + 7, rest, row)) return out->append(row.text), true;
  return true;
}

// Tag 8, the flash sync: the red-eye part, then the first sync mode found anywhere.
int FlashSyncText(const TagEntry* entry, const char* value, char* text, uint32_t room) {
  std::string composed;
  const bool redEye = std::strstr(value, "RED-EYE") != nullptr;
  if (redEye) composed = Cp932Text("赤目軽減 ");
  for (const AsciiText& row : kFlashSync)
    if (std::strstr(value, row.value)) {
      composed += Cp932Text(row.text);
      return Emit(composed, text, room);
    }
  if (redEye) return Emit(composed, text, room);
  if (value[0] == ' ') return Emit("OFF", text, room);
  return General(entry, text, room);
}

int AsciiValueText(const TagEntry* entry, uint32_t table, char* text, uint32_t room) {
  if (table != NikonMainTable) return General(entry, text, room);
  const char* value = reinterpret_cast<const char*>(entry->Data());
  const uint32_t valueSize = entry->ValueSize();
  if (entry->tag == NikonTagFlashSyncMode) return FlashSyncText(entry, value, text, room);
  for (const AsciiRule& rule : kAsciiRules) {
    if (rule.tag != entry->tag) continue;
    std::string composed;
    if (rule.tag == NikonTagFlashType && SpeedlightText(value, valueSize, &composed)) return Emit(composed, text, room);
    if (rule.tag != NikonTagFlashType)
      for (const AsciiText& row : rule.rows)
        if (MatchesPrefix(value, valueSize, row)) return Emit(Cp932Text(row.text), text, room);
    if (rule.blankIsOff && value[0] == ' ') return Emit("OFF", text, room);
    break;
  }
  return General(entry, text, room);
}

// Tag 168, the external flash record.
int FlashRecordText(const TagEntry* entry, char* text, uint32_t room) {
  const char* mode = NumberLookup(kFlashControl, ByteAt(entry, 9));
  if (!mode) return General(entry, text, room);
  std::string composed = mode;
  if (ByteAt(entry, 9) == 6) {
    const uint8_t power = ByteAt(entry, 10);
    Append(&composed, ",1/%llu", 1ull << (power / 6));
    composed += kPowerSteps[power % 6];
  }
  if (ByteAt(entry, 8) & 4) composed += Cp932Text(" バウンス");
  if (ByteAt(entry, 11) != 0) Append(&composed, " %dmm", ByteAt(entry, 11));
  return Emit(composed, text, room, true);
}

// Tag 131, the lens kind, as its letters; empty when no bit is set.
std::string LensKindLetters(uint8_t bits) {
  std::string composed;
  if (bits & 8) composed += "VR ";
  if (bits & 4) composed += "G ";
  if ((bits & 2) && !(bits & 4)) composed += "D ";
  if (bits & 1) composed += "S";
  return composed;
}

int ByteValueText(const TagEntry* entry, uint32_t table, char* text, uint32_t room) {
  if (table != NikonMainTable) return General(entry, text, room);
  const uint8_t first = ByteAt(entry, 0);
  switch (entry->tag) {
    case 14:
    case 18:
    case 23:
    case 24: {
      const int a = int8_t(ByteAt(entry, 0));
      const int b = int8_t(ByteAt(entry, 1));
      const int c = int8_t(ByteAt(entry, 2));
      if (a == 0 || b == 0 || c == 0) return Emit("0.0EV", text, room);
      std::string composed;
      Append(&composed, "%.1fEV", double(a) * b / c);
      return Emit(composed, text, room);
    }
    case NikonTagLensType: {
      const std::string letters = LensKindLetters(first);
      return letters.empty() ? General(entry, text, room) : Emit(letters, text, room, true);
    }
    case 135: {
      const char* kind = NumberLookup(kSpeedlightKind, first);
      return kind ? Emit(kind, text, room, true) : General(entry, text, room);
    }
    case 136: {
      const char* mode = NumberLookup(kAfAreaMode, first);
      if (!mode) return General(entry, text, room);
      char general[kComposeLimit] = {};
      General(entry, general, sizeof general);
      return Emit(std::string(mode) + general, text, room);
    }
    case 155: {
      if (first == 0) return Emit("OFF", text, room);
      std::string composed;
      Append(&composed, Cp932Text("%d枚目"), first);
      return Emit(composed, text, room);
    }
    case 168:
      return FlashRecordText(entry, text, room);
    default:
      return General(entry, text, room);
  }
}

// Tag 137, the drive mode, built from its bits.
int DriveModeText(int64_t value, char* text, uint32_t room) {
  if (value == 0) return Emit(Cp932Text("1コマ撮影"), text, room, true);
  std::string composed;
  if ((value & ~int64_t(0xC)) == 0) Append(&composed, "%lld", static_cast<long long>(value));
  for (const NumberText& bit : kDriveBits)
    if (value & (int64_t(1) << bit.value)) composed += Cp932Text(bit.text);
  return Emit(composed, text, room, true);
}

int MainWordText(const TagEntry* entry, char* text, uint32_t room) {
  std::string composed;
  switch (entry->tag) {
    case 2:
    case 19:
      if (entry->U16(1) == 0) return Emit(Cp932Text("オート"), text, room);
      Append(&composed, "%d", entry->U16(1));
      return Emit(composed, text, room);
    case 137:
      return DriveModeText(WordAt(entry, 0), text, room);
    case 157: {
      const char* imprint = NumberLookup(kDateImprint, uint32_t(WordAt(entry, 0)));
      return Emit(imprint ? imprint : "OFF", text, room);
    }
    case 177: {
      const char* noise = NumberLookup(kHighIsoNoise, uint32_t(WordAt(entry, 0)));
      return Emit(noise ? noise : "OFF", text, room);
    }
    default:
      return General(entry, text, room);
  }
}

int ThumbnailWordText(const TagEntry* entry, char* text, uint32_t room) {
  std::span<const NumberText> rows;
  uint32_t value = uint32_t(WordAt(entry, 0));
  switch (entry->tag) {
    case 2: {
      std::string composed;
      Append(&composed, "%d", entry->U16(1));
      return Emit(composed, text, room);
    }
    case TagCompression:
      rows = kCompression;
      break;
    case TagPhotometricInterpretation:
      rows = kPhotometric;
      break;
    case TagPlanarConfiguration:
      rows = kPlanar;
      break;
    case TagResolutionUnit:
      rows = kResolutionUnit;
      break;
    case TagYCbCrSubSampling:
      rows = kSubsampling;
      value = entry->U16(1);
      break;
    case TagYCbCrPositioning:
      rows = kPositioning;
      break;
    default:
      return General(entry, text, room);
  }
  const char* found = NumberLookup(rows, value);
  return Emit(found ? found : Cp932Text("不明"), text, room);
}

// One aperture of the lens: no decimals for a whole number (its tenfold value divisible by 10).
void ApertureText(const TagEntry* entry, uint32_t i, bool leading, std::string* out) {
  const uint32_t d = entry->U32(2 * i + 1);
  const uint64_t tenfold = d == 0 ? 0 : uint64_t(entry->U32(2 * i)) * 10 / d;
  Append(out, tenfold % 10 == 0 ? (leading ? " F%.0f" : "%.0f") : (leading ? " F%.1f" : "%.1f"), RationalAt(entry, i));
}

// Tag 132: focal lengths by integer division, then the widest apertures at each.
std::string LensText(const TagEntry* entry) {
  auto focal = [entry](uint32_t i) {
    const uint32_t d = entry->U32(2 * i + 1);
    return d == 0 ? 0u : entry->U32(2 * i) / d;
  };
  std::string composed;
  if (focal(0) == focal(1))
    Append(&composed, "%umm", focal(0));
  else
    Append(&composed, "%u-%umm", focal(0), focal(1));
  ApertureText(entry, 2, true, &composed);
  if (RationalAt(entry, 2) != RationalAt(entry, 3)) {
    composed += "-";
    ApertureText(entry, 3, false, &composed);
  }
  return composed;
}

int RationalValueText(const TagEntry* entry, uint32_t table, char* text, uint32_t room) {
  if (table == NikonMainTable && entry->tag == 25) {
    const uint32_t n = entry->U32(0);
    const uint32_t d = entry->U32(1);
    if (n == 0 || d == 0) return Emit("0.0EV", text, room);
    std::string composed;
    Append(&composed, "%.1fEV", RationalAt(entry, 0));
    return Emit(composed, text, room);
  }
  if (table == NikonMainTable && entry->tag == NikonTagLens) return Emit(LensText(entry), text, room);
  const bool decimal = (table == NikonMainTable && entry->tag == 134) ||
                       (table == NikonThumbnailTable && (entry->tag == TagXResolution || entry->tag == TagYResolution)) ||
                       (table == NikonScannerTable && (entry->tag == 80 || entry->tag == 81));
  return General(entry, text, room, decimal ? 1 : 0);
}

}  // namespace

int NikonFormatValue(const TagEntry* entry, uint32_t table, char* text, uint32_t room) {
  if (!text || room == 0) return 0;
  text[0] = '\0';
  // An entry always carries its four zero bytes; one without them is not read at all. The lens
  // text of kind 264 needs the note's tables, which an entry alone does not reach: it is
  // NikonLensText's to compose.
  if (!entry || entry->value.size() < 4 || table == 264) return 0;
  switch (entry->type) {
    case TypeAscii:
      return AsciiValueText(entry, table, text, room);
    case TypeByte:
    case TypeSignedByte:
    case TypeUndefined:
      return ByteValueText(entry, table, text, room);
    case TypeShort:
    case TypeLong:
    case TypeSShort:
    case TypeSLong:
      if (table == NikonMainTable) return MainWordText(entry, text, room);
      if (table == NikonThumbnailTable) return ThumbnailWordText(entry, text, room);
      return General(entry, text, room);
    case TypeRational:
    case TypeSRational:
      return RationalValueText(entry, table, text, room);
    default:
      return General(entry, text, room);
  }
}

int NikonLensText(const IfdTable* mainTable, char* text, uint32_t room) {
  if (!text || room == 0) return 0;
  text[0] = '\0';
  const TagEntry* lens = mainTable ? ExifFindInTable(mainTable, NikonTagLens) : nullptr;
  if (!lens) return 0;
  std::string composed;
  if (const TagEntry* kind = ExifFindInTable(mainTable, NikonTagLensType)) {
    const uint8_t bits = ByteAt(kind, 0);
    if (bits & 8) composed += "VR ";
    composed += LensText(lens);
    if (bits & 4)
      composed += " G";
    else if (bits & 2)
      composed += " D";
    else if (bits & 1)
      composed += " S";
  } else {
    composed = LensText(lens);
  }
  Emit(composed, text, room);
  return 1;
}

int NikonContextLensText(MakerNoteContext* context, char* text, uint32_t room) {
  const NikonContext* nikon = dynamic_cast<const NikonContext*>(context);
  if (!nikon) {
    if (text && room) text[0] = '\0';
    return 0;
  }
  return NikonLensText(&nikon->mainTable, text, room);
}
