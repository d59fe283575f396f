// The catalogue of the Nikon note's three tables, as data: one row per tag in the order the
// list window shows them, each table ended by a row without a display name.
#include <array>
#include <cstddef>

#include "exif/tag_catalogue.h"
#include "makernote/nikon.h"

namespace {

// Table 257, the main directory.
constexpr std::array<TagDefinition, 44> kMainRows{{
    {1, TypeUndefined, 4, "ﾊﾞｰｼﾞｮﾝ", ""},
    {2, TypeShort, 2, "ISO感度", ""},
    {3, TypeAscii, 0, "ﾋﾟｸﾁｬｰｶﾗｰ", ""},
    {4, TypeAscii, 0, "画質ﾓｰﾄﾞ", ""},
    {5, TypeAscii, 0, "ﾎﾜｲﾄﾊﾞﾗﾝｽ", ""},
    {6, TypeAscii, 0, "輪郭強調", ""},
    {7, TypeAscii, 0, "AFﾓｰﾄﾞ", ""},
    {8, TypeAscii, 0, "Flash sync mode", ""},
    {9, TypeAscii, 0, "Speedlight setting", ""},
    {11, TypeSShort, 0, "ﾎﾜｲﾄﾊﾞﾗﾝｽ補正", ""},
    {14, TypeUndefined, 4, "EV difference in Manual", ""},
    {17, TypeLong, 1, "1st IFD offset", ""},
    {18, TypeUndefined, 4, "調光補正値（本体）", ""},
    {19, TypeShort, 2, "ISO設定", ""},
    {22, TypeShort, 4, "画像ｻｲｽﾞ", ""},
    {23, TypeUndefined, 4, "調光補正値（外部）", ""},
    {24, TypeUndefined, 4, "SBﾌﾞﾗｹｯﾄ補正値", ""},
    {25, TypeSRational, 4, "AEﾌﾞﾗｹｯﾄ補正値", ""},
    {128, TypeAscii, 0, "画像ﾓｰﾄﾞ", ""},
    {129, TypeAscii, 0, "階調補正", ""},
    {131, TypeByte, 4, "ﾚﾝｽﾞ種別", ""},
    {132, TypeRational, 4, "ﾚﾝｽﾞ", ""},
    {134, TypeRational, 0, "電子ｽﾞｰﾑ倍率", ""},
    {135, TypeByte, 0, "ｽﾋﾟｰﾄﾞﾗｲﾄﾞ", ""},
    {136, TypeUndefined, 0, "AFｴﾘｱﾓｰﾄﾞ", ""},
    {137, TypeShort, 0, "撮影ﾓｰﾄﾞ設定", ""},
    {141, TypeAscii, 0, "ｶﾗｰ設定", ""},
    {143, TypeAscii, 0, "ｼｰﾝﾓｰﾄﾞ", ""},
    {146, TypeSShort, 0, "色合い調整", ""},
    {149, TypeAscii, 0, "長秒時ﾉｲｽﾞ除去", ""},
    {155, TypeByte, 2, "ﾊﾟﾉﾗﾏｱｼｽﾄ情報", ""},
    {156, TypeAscii, 0, "ｼｰﾝﾓｰﾄﾞ詳細", ""},
    {157, TypeShort, 1, "デート写し込み", ""},
    {162, TypeLong, 1, "主画像ﾃﾞｰﾀｻｲｽﾞ", ""},
    {167, TypeLong, 1, "ﾄｰﾀﾙ撮影枚数", ""},
    {168, TypeUndefined, 20, "外部調光設定値", ""},
    {169, TypeAscii, 1, "仕上がり設定", ""},
    {170, TypeAscii, 1, "彩度設定", ""},
    {171, TypeAscii, 1, "ﾃﾞｼﾞﾀﾙｲﾒｰｼﾞﾌﾟﾛｸﾞﾗﾑ", ""},
    {172, TypeAscii, 1, "手ぶれ補正(VR)", ""},
    {177, TypeShort, 1, "高感度ﾉｲｽﾞ除去", ""},
    {3593, TypeAscii, 0, "ｿﾌﾄｳｴｱ", ""},
    {3600, TypeLong, 1, "ｽｷｬﾅ情報IFD offset", ""},
    {0, 0, 0, nullptr, nullptr},
}};

// Table 258, the thumbnail directory: standard TIFF fields, so each row has its Exif name.
constexpr std::array<TagDefinition, 8> kThumbnailRows{{
    {259, TypeShort, 1, "圧縮の種類", "Compression"},
    {282, TypeRational, 1, "画像の幅の解像度", "XResolution"},
    {283, TypeRational, 1, "画像の高さの解像度", "YResolution"},
    {296, TypeShort, 1, "画像の解像度の単位", "ResolutionUnit"},
    {513, TypeLong, 1, "JPEGのSOIへのｵﾌｾｯﾄ", "JPEGInterchangeFormat"},
    {514, TypeLong, 1, "JPEGデータのﾊﾞｲﾄ数", "JPEGInterchangeFormatLength"},
    {531, TypeShort, 1, "YCC画素構成(YとCの位置)", "YCbCrPositioning"},
    {0, 0, 0, nullptr, nullptr},
}};

// Table 259, the data a film scanner records.
constexpr std::array<TagDefinition, 12> kScannerRows{{
    {2, TypeAscii, 0, "ﾌｨﾙﾑﾀｲﾌﾟ", ""},
    {65, TypeShort, 1, "ｽｷｬﾝﾋﾞｯﾄ", ""},
    {80, TypeSRational, 1, "ｱﾅﾛｸﾞｹﾞｲﾝﾏｽﾀｰ", ""},
    {81, TypeSRational, 3, "ｱﾅﾛｸﾞｹﾞｲﾝ(赤､緑､青)", ""},
    {96, TypeShort, 1, "ｽｷｬﾅｲﾒｰｼﾞｴﾝﾊﾝｻ", ""},
    {256, TypeAscii, 0, "Digital ICE", ""},
    {272, TypeUndefined, 0, "Digital ROC", ""},
    {288, TypeUndefined, 0, "Digital GEM", ""},
    {512, TypeLong, 0, "Digital DEE(ｼｬﾄﾞｰ調整)", ""},
    {513, TypeLong, 0, "Digital DEE(しきい値)", ""},
    {514, TypeLong, 0, "Digital DEE(ﾊｲﾗｲﾄ調整)", ""},
    {0, 0, 0, nullptr, nullptr},
}};

// Every table ends with exactly one row without a display name, and only there.
template <size_t N>
constexpr bool EndsOnce(const std::array<TagDefinition, N>& rows) {
  for (size_t i = 0; i + 1 < N; ++i)
    if (rows[i].displayName == nullptr) return false;
  return rows[N - 1].displayName == nullptr;
}
static_assert(EndsOnce(kMainRows), "table 257 holds 43 rows and its end row");
static_assert(EndsOnce(kThumbnailRows), "table 258 holds 7 rows and its end row");
static_assert(EndsOnce(kScannerRows), "table 259 holds 11 rows and its end row");

}  // namespace

const TagDefinition* NikonCatalogue(uint32_t table) {
  switch (table) {
    case NikonMainTable:
      return kMainRows.data();
    case NikonThumbnailTable:
      return kThumbnailRows.data();
    case NikonScannerTable:
      return kScannerRows.data();
    default:
      return nullptr;
  }
}
