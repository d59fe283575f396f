// The texts of enumerated tag values, one row per value. Spellings are the program's own
// ("auot" in three Flash texts stands as it is).
#include "exif/value_tables.h"

#include <iterator>

namespace {

constexpr const char* kUnknown = "不明";

// 0th and 1st IFD.
constexpr ValueText kCompression[] = {
    {1, "非圧縮"},
    {6, "JPEG 圧縮"},
};
constexpr ValueText kPhotometric[] = {
    {2, "RGB"},
    {6, "YCbCr"},
};
constexpr ValueText kOrientation[] = {
    {1, "0番目の行が上、0番目の列が左"},
    {2, "0番目の行が上、0番目の列が右"},
    {3, "0番目の行が下、0番目の列が右"},
    {4, "0番目の行が下、0番目の列が左"},
    {5, "0番目の行が左、0番目の列が上"},
    {6, "0番目の行が右、0番目の列が上"},
    {7, "0番目の行が右、0番目の列が下"},
    {8, "0番目の行が左、0番目の列が下"},
};
constexpr ValueText kPlanar[] = {
    {1, "点順次(chunky)"},
    {2, "面順次(planar)"},
};
constexpr ValueText kResolutionUnit[] = {
    {2, "ｲﾝﾁ"},
    {3, "ｾﾝﾁﾒｰﾄﾙ"},
};
constexpr ValueText kSubSampling[] = {
    {1, "YCbCr4:2:2"},
    {2, "YCbCr4:2:0"},
};
constexpr ValueText kPositioning[] = {
    {1, "中心"},
    {2, "一致"},
};

// Exif IFD.
constexpr ValueText kExposureProgram[] = {
    {0, "未定義"},
    {1, "ﾏﾆｭｱﾙ"},
    {2, "ﾌﾟﾛｸﾞﾗﾑｵｰﾄ"},
    {3, "絞り優先"},
    {4, "ｼｬｯﾀｰ優先"},
    {5, "creative"},
    {6, "action"},
    {7, "ﾎﾟｰﾄﾚｲﾄ"},
    {8, "風景"},
};
constexpr ValueText kMeteringMode[] = {
    {1, "平均測光"},
    {2, "中央重点測光"},
    {3, "ｽﾎﾟｯﾄ測光"},
    {4, "ﾏﾙﾁｽﾎﾟｯﾄ測光"},
    {5, "ﾏﾙﾁﾊﾟﾀｰﾝ測光"},
    {6, "部分測光"},
};
constexpr ValueText kLightSource[] = {
    {0, "不明"},
    {1, "昼光"},
    {2, "蛍光灯"},
    {3, "ﾀﾝｸﾞｽﾃﾝ"},
    {4, "ﾌﾗｯｼｭ"},
    {9, "晴天"},
    {10, "曇天"},
    {11, "日陰"},
    {12, "昼光色蛍光灯"},
    {13, "昼白色蛍光灯"},
    {14, "冷白色蛍光灯"},
    {15, "白色蛍光灯"},
    {17, "標準光 A"},
    {18, "標準光 B"},
    {19, "標準光 C"},
    {20, "D55"},
    {21, "D65"},
    {22, "D75"},
    {23, "D50"},
    {24, "ISOｽﾀｼﾞｵﾀﾝｸﾞｽﾃﾝ"},
    {255, "その他"},
};
constexpr ValueText kFlash[] = {
    {0, "発光せず"},
    {1, "発光"},
    {5, "発光(ﾘﾀｰﾝ未検出)"},
    {7, "発光(ﾘﾀｰﾝ検出)"},
    {9, "強制発光"},
    {13, "強制発光(ﾘﾀｰﾝ未検出)"},
    {15, "強制発光(ﾘﾀｰﾝ検出)"},
    {16, "発光禁止"},
    {24, "発光せず(auto)"},
    {25, "発光(auto)"},
    {29, "発光(auto,ﾘﾀｰﾝ未検出)"},
    {31, "発光(auto,ﾘﾀｰﾝ検出)"},
    {32, "No flash function"},
    {65, "発光(赤目軽減)"},
    {69, "発光(赤目軽減,ﾘﾀｰﾝ未検出)"},
    {71, "発光(赤目軽減,ﾘﾀｰﾝ検出)"},
    {73, "強制発光(赤目軽減)"},
    {77, "強制発光(赤目軽減,ﾘﾀｰﾝ未検出)"},
    {79, "強制発光(赤目軽減,ﾘﾀｰﾝ検出)"},
    {89, "発光(auot,赤目軽減)"},
    {93, "発光(auot,ﾘﾀｰﾝ未検出,赤目軽減)"},
    {95, "発光(auot,ﾘﾀｰﾝ検出,赤目軽減)"},
};
constexpr ValueText kColorSpace[] = {
    {1, "sRGB"},
    {65535, "Uncalibrated"},
};
constexpr ValueText kSensingMethod[] = {
    {1, "未定義"},
    {2, "単板ｶﾗｰｾﾝｻ"},
    {3, "2板ｶﾗｰｾﾝｻ"},
    {4, "3板ｶﾗｰｾﾝｻ"},
    {5, "色順次ｶﾗｰｾﾝｻ"},
    {7, "3線ﾘﾆｱｾﾝｻ"},
    {8, "色順次ﾘﾆｱｾﾝｻ"},
};
constexpr ValueText kCustomRendered[] = {
    {0, "Normal process"},
    {1, "Custom process"},
};
constexpr ValueText kExposureMode[] = {
    {0, "Auto exposure"},
    {1, "Manual exposure"},
    {2, "Auto bracket"},
};
constexpr ValueText kWhiteBalance[] = {
    {0, "Auto white balance"},
    {1, "Manual white balance"},
};
constexpr ValueText kSceneCaptureType[] = {
    {0, "ｽﾀﾝﾀﾞｰﾄﾞ"},
    {1, "風景"},
    {2, "ﾎﾟｰﾄﾚｰﾄ"},
    {3, "夜景"},
};
constexpr ValueText kGainControl[] = {
    {0, "None"},
    {1, "Low gain up"},
    {2, "High gain up"},
    {3, "Low gain down"},
    {4, "High gain down"},
};
constexpr ValueText kContrast[] = {
    {0, "ﾉｰﾏﾙ"},
    {1, "ｿﾌﾄ"},
    {2, "ﾊｰﾄﾞ"},
};
constexpr ValueText kSaturation[] = {
    {0, "通常"},
    {1, "弱め"},
    {2, "強め"},
};
constexpr ValueText kSharpness[] = {
    {0, "ﾉｰﾏﾙ"},
    {1, "ｿﾌﾄ"},
    {2, "ﾊｰﾄﾞ"},
};
constexpr ValueText kDistanceRange[] = {
    {0, "unknown"},
    {1, "Macro"},
    {2, "Close view"},
    {3, "Distant view"},
};
constexpr ValueText kFileSource[] = {
    {3, "DSC"},
};
constexpr ValueText kSceneType[] = {
    {1, "直接撮影された画像"},
};

// Exif IFD, tags of later editions.
constexpr ValueText kSensitivityType[] = {
    {0, "不明"},
    {1, "SOS"},
    {2, "REI"},
    {3, "ISOｽﾋﾟｰﾄﾞ"},
    {4, "SOS,REI"},
    {5, "SOS,ISOｽﾋﾟｰﾄﾞ"},
    {6, "REI,ISOｽﾋﾟｰﾄﾞ"},
    {7, "SOS,REI,ISOｽﾋﾟｰﾄﾞ"},
};
constexpr ValueText kCompositeImage[] = {
    {0, "不明"},
    {1, "非合成画像"},
    {2, "一般合成画像"},
    {3, "撮影時合成画像"},
};

// GPS IFD.
constexpr ValueText kGpsDifferential[] = {
    {0, "補正なし"},
    {1, "ﾃﾞｨﾌｧﾚﾝｼｬﾙ補正あり"},
};
constexpr ValueText kAltitudeRef[] = {
    {0, "海抜基準"},
};
constexpr ValueText kLatitudeRef[] = {
    {'N', "北緯"},
    {'S', "南緯"},
};
constexpr ValueText kLongitudeRef[] = {
    {'E', "東経"},
    {'W', "西経"},
};
constexpr ValueText kGpsStatus[] = {
    {'A', "測位中"},
    {'V', "未測位(中断中)"},
};
constexpr ValueText kMeasureMode[] = {
    {'2', "2次元測位中"},
    {'3', "3次元測位中"},
};
constexpr ValueText kDistanceUnit[] = {
    {'K', "ｷﾛﾒｰﾀ"},
    {'M', "ﾏｲﾙ"},
    {'N', "ﾉｯﾄ"},
};
constexpr ValueText kDirectionRef[] = {
    {'M', "磁気方位"},
    {'T', "真方位"},
};

template <size_t N>
constexpr ValueTable Table(uint32_t kind, ValueGroup group, uint16_t tag, const ValueText (&rows)[N],
                           const char* otherwise, uint16_t element = 0) {
  return ValueTable{kind, group, tag, element, rows, uint32_t(N), otherwise};
}

// A value of an unlisted 0th/1st IFD code shows its number (otherwise nullptr), except the
// orientation; in the Exif IFD every unlisted value reads "不明".
constexpr ValueTable kTables[] = {
    Table(1, GroupWord, 259, kCompression, nullptr),
    Table(1, GroupWord, 262, kPhotometric, nullptr),
    Table(1, GroupWord, 274, kOrientation, kUnknown),
    Table(1, GroupWord, 284, kPlanar, nullptr),
    Table(1, GroupWord, 296, kResolutionUnit, nullptr),
    Table(1, GroupWord, 530, kSubSampling, nullptr, 1),
    Table(1, GroupWord, 531, kPositioning, nullptr),
    Table(3, GroupWord, 34850, kExposureProgram, kUnknown),
    Table(3, GroupWord, 37383, kMeteringMode, kUnknown),
    Table(3, GroupWord, 37384, kLightSource, kUnknown),
    Table(3, GroupWord, 37385, kFlash, kUnknown),
    Table(3, GroupWord, 40961, kColorSpace, kUnknown),
    Table(3, GroupWord, 41495, kSensingMethod, kUnknown),
    Table(3, GroupWord, 41985, kCustomRendered, kUnknown),
    Table(3, GroupWord, 41986, kExposureMode, kUnknown),
    Table(3, GroupWord, 41987, kWhiteBalance, kUnknown),
    Table(3, GroupWord, 41990, kSceneCaptureType, kUnknown),
    Table(3, GroupWord, 41991, kGainControl, kUnknown),
    Table(3, GroupWord, 41992, kContrast, kUnknown),
    Table(3, GroupWord, 41993, kSaturation, kUnknown),
    Table(3, GroupWord, 41994, kSharpness, kUnknown),
    Table(3, GroupWord, 41996, kDistanceRange, kUnknown),
    Table(3, GroupWord, 34864, kSensitivityType, kUnknown),
    Table(3, GroupWord, 42080, kCompositeImage, kUnknown),
    Table(3, GroupByte, 41728, kFileSource, kUnknown),
    Table(3, GroupByte, 41729, kSceneType, kUnknown),
    Table(5, GroupByte, 5, kAltitudeRef, kUnknown),
    Table(5, GroupWord, 30, kGpsDifferential, kUnknown),
    Table(5, GroupLetter, 1, kLatitudeRef, nullptr),
    Table(5, GroupLetter, 19, kLatitudeRef, nullptr),
    Table(5, GroupLetter, 3, kLongitudeRef, nullptr),
    Table(5, GroupLetter, 21, kLongitudeRef, nullptr),
    Table(5, GroupLetter, 9, kGpsStatus, nullptr),
    Table(5, GroupLetter, 10, kMeasureMode, nullptr),
    Table(5, GroupLetter, 12, kDistanceUnit, nullptr),
    Table(5, GroupLetter, 25, kDistanceUnit, nullptr),
    Table(5, GroupLetter, 14, kDirectionRef, nullptr),
    Table(5, GroupLetter, 16, kDirectionRef, nullptr),
    Table(5, GroupLetter, 23, kDirectionRef, nullptr),
};
static_assert(std::size(kTables) == 39);
static_assert(std::size(kFlash) == 22 && std::size(kLightSource) == 21 && std::size(kOrientation) == 8);

}  // namespace

const ValueTable* ValueTableFind(uint32_t kind, ValueGroup group, uint16_t tag) {
  if (kind == 2) kind = 1;
  for (const ValueTable& table : kTables)
    if (table.kind == kind && table.group == group && table.tag == tag) return &table;
  return nullptr;
}

const char* ValueTableText(const ValueTable& table, uint32_t value) {
  for (uint32_t i = 0; i < table.rowCount; ++i)
    if (table.rows[i].value == value) return table.rows[i].text;
  return nullptr;
}
