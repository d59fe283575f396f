// The five tables of the document's own tags, one row per tag, in the order the list window
// shows them. Names stand as the program has always spelt them (tag 271 is "Maker").
#include <array>
#include <cstdint>

#include "exif/tag_catalogue.h"

namespace {

constexpr TagDefinition kEndRow{0, 0, 0, nullptr, nullptr};

// The 0th IFD.
constexpr std::array<TagDefinition, 32 + 1> kPrimaryRows = {{
    {256, TypeLong, 1, "画像の幅", "ImageWidth"},
    {257, TypeLong, 1, "画像の高さ", "ImageLength"},
    {258, TypeShort, 3, "画像のﾋﾞｯﾄの深さ", "BitsPerSample"},
    {259, TypeShort, 1, "圧縮の種類", "Compression"},
    {262, TypeShort, 1, "画素構成", "PhotometricInterpretation"},
    {274, TypeShort, 1, "画像方向", "Orientation"},
    {277, TypeShort, 1, "ｺﾝﾎﾟｰﾈﾝﾄ数", "SamplesPerPixel"},
    {284, TypeShort, 1, "画像ﾃﾞｰﾀの並び", "PlanarConfiguration"},
    {530, TypeShort, 2, "YCC画素構成(Cの間引き率)", "YCbCrSubSampling"},
    {531, TypeShort, 1, "YCC画素構成(YとCの位置)", "YCbCrPositioning"},
    {282, TypeRational, 1, "画像の幅の解像度", "XResolution"},
    {283, TypeRational, 1, "画像の高さの解像度", "YResolution"},
    {296, TypeShort, 1, "画像の解像度の単位", "ResolutionUnit"},
    {273, TypeLong, 0, "画像ﾃﾞｰﾀのﾛｹｰｼｮﾝ", "StripOffsets"},
    {278, TypeLong, 1, "ｽﾄﾘｯﾌﾟ中のﾗｲﾝ数", "RowsPerStrip"},
    {279, TypeLong, 0, "ｽﾄﾘｯﾌﾟのﾃﾞｰﾀ量", "StripByteCounts"},
    {513, TypeLong, 1, "JPEGのSOIへのｵﾌｾｯﾄ", "JPEGInterchangeFormat"},
    {514, TypeLong, 1, "JPEGデータのﾊﾞｲﾄ数", "JPEGInterchangeFormatLength"},
    {301, TypeShort, 768, "再生階調ｶｰﾌﾞ特性", "TransferFunction"},
    {318, TypeRational, 2, "参照白色点の色度座標値", "WhitePoint"},
    {319, TypeRational, 6, "原色の色度座標値", "PrimaryChromaticities"},
    {529, TypeRational, 3, "色変換ﾏﾄﾘｸｽ係数", "YCbCrCoefficients"},
    {532, TypeRational, 6, "参照黒色点値と参照白色点値", "ReferenceBlackWhite"},
    {306, TypeAscii, 0, "ﾌｧｲﾙ変更日時", "DateTime"},
    {270, TypeAscii, 0, "画像ﾀｲﾄﾙ", "ImageDescription"},
    {271, TypeAscii, 0, "画像入力機器ﾒｰｶｰ名", "Maker"},
    {272, TypeAscii, 0, "画像入力機器のﾓﾃﾞﾙ名", "Model"},
    {305, TypeAscii, 0, "ｿﾌﾄｳｪｱ", "Software"},
    {315, TypeAscii, 0, "作者名", "Artist"},
    {33432, TypeAscii, 0, "撮影著作権者/編集著作権者", "Copyright"},
    {34665, TypeLong, 1, "Exif IFD Pointer", "Exif IFD Pointer"},
    {34853, TypeLong, 1, "GPS Info IFD Pointer", "GPS Info IFD Pointer"},
    kEndRow,
}};

// The 1st IFD: the 0th IFD's rows without its two pointer rows, with tag 514 named in
// half-width kana throughout.
constexpr std::array<TagDefinition, 30 + 1> ThumbnailRows() {
  std::array<TagDefinition, 30 + 1> rows{};
  for (size_t i = 0; i < 30; ++i) rows[i] = kPrimaryRows[i];
  for (size_t i = 0; i < 30; ++i)
    if (rows[i].tag == TagThumbnailLength) rows[i].displayName = "JPEGﾃﾞｰﾀのﾊﾞｲﾄ数";
  rows[30] = kEndRow;
  return rows;
}
constexpr std::array<TagDefinition, 30 + 1> kThumbnailRows = ThumbnailRows();

// The Exif IFD.
constexpr std::array<TagDefinition, 55 + 35 + 1> kExifRows = {{
    {33434, TypeRational, 1, "露出時間", "ExposureTime"},
    {33437, TypeRational, 1, "Fﾅﾝﾊﾞｰ", "FNumber"},
    {34850, TypeShort, 1, "露出ﾌﾟﾛｸﾞﾗﾑ", "ExposureProgram"},
    {34852, TypeAscii, 0, "ｽﾍﾟｸﾄﾙ感度", "SpectralSensitivity"},
    {34855, TypeShort, 0, "ISO感度", "ISOSpeedRatings"},
    {34856, TypeUndefined, 0, "光電変換関数", "OECF"},
    {36864, TypeUndefined, 4, "Exifﾊﾞｰｼﾞｮﾝ", "ExifVersion"},
    {36867, TypeAscii, 20, "原画像ﾃﾞｰﾀの生成日時", "DateTimeOriginal"},
    {36868, TypeAscii, 20, "ﾃﾞｼﾞﾀﾙﾃﾞｰﾀの作成日時", "DateTimeDigitized"},
    {37121, TypeUndefined, 4, "各ｺﾝﾎﾟｰﾈﾝﾄの意味", "ComponentsConfiguration"},
    {37122, TypeRational, 1, "画像圧縮ﾓｰﾄﾞ", "CompressedBitsPerPixel"},
    {37377, TypeSRational, 1, "ｼｬｯﾀｰｽﾋﾟｰﾄﾞ", "ShutterSpeedValue"},
    {37378, TypeRational, 1, "絞り値", "ApertureValue"},
    {37379, TypeSRational, 1, "輝度値", "BrightnessValue"},
    {37380, TypeSRational, 1, "露光補正値", "ExposureBiasValue"},
    {37381, TypeRational, 1, "ﾚﾝｽﾞ開放Ｆ値", "MaxApertureValue"},
    {37382, TypeRational, 1, "被写体距離", "SubjectDistance"},
    {37383, TypeShort, 1, "測光方式", "MeteringMode"},
    {37384, TypeShort, 1, "光源", "LightSource"},
    {37385, TypeShort, 1, "ﾌﾗｯｼｭ", "Flash"},
    {37386, TypeRational, 1, "ﾚﾝｽﾞ焦点距離", "FocalLength"},
    {37500, TypeUndefined, 0, "ﾒｰｶｰﾉｰﾄ", "MakerNote"},
    {37510, TypeUndefined, 0, "ﾕｰｻﾞｰｺﾒﾝﾄ", "UserComment"},
    {37520, TypeAscii, 0, "DateTimeのｻﾌﾞｾｯｸ", "SubSecTime"},
    {37521, TypeAscii, 0, "DateTimeOriginalのｻﾌﾞｾｯｸ", "SubSecTimeOriginal"},
    {37522, TypeAscii, 0, "DateTimeDigitizedのｻﾌﾞｾｯｸ", "SubSecTimeDigitized"},
    {40960, TypeUndefined, 4, "対応ﾌﾗｯｼｭﾋﾟｯｸｽﾊﾞｰｼﾞｮﾝ", "FlashPixVersion"},
    {40961, TypeShort, 1, "色空間情報", "ColorSpace"},
    {40962, TypeLong, 1, "実効画像幅", "PixelXDimension"},
    {40963, TypeLong, 1, "実効画像高さ", "PixelYDimension"},
    {40965, TypeLong, 1, "InteroperabilityIFD Pointer", "InteroperabilityIFD Pointer"},
    {41483, TypeRational, 1, "ﾌﾗｯｼｭ強度", "FlashEnergy"},
    {41484, TypeUndefined, 0, "空間周波数応答", "SpatialFrequencyResponse"},
    {41486, TypeRational, 1, "焦点面の幅の解像度", "FocalPlaneXResolution"},
    {41487, TypeRational, 1, "焦点面の高さの解像度", "FocalPlaneYResolution"},
    {41488, TypeShort, 1, "焦点面解像度単位", "FocalPlaneResolutionUnit"},
    {41492, TypeShort, 2, "被写体位置", "SubjectLocation"},
    {41493, TypeRational, 1, "露出ｲﾝﾃﾞｯｸｽ", "ExposureIndex"},
    {41495, TypeShort, 1, "ｾﾝｻｰ方式", "SensingMethod"},
    {41728, TypeUndefined, 1, "ﾌｧｲﾙｿｰｽ", "FileSource"},
    {41729, TypeUndefined, 1, "ｼｰﾝﾀｲﾌﾟ", "SceneType"},
    {41730, TypeUndefined, 0, "CFAﾊﾟﾀｰﾝ", "CFAPattern"},
    {41985, TypeShort, 1, "ｶｽﾀﾑ画像処理", "CustomRendered"},
    {41986, TypeShort, 1, "撮影ﾓｰﾄﾞ", "ExposureMode"},
    {41987, TypeShort, 1, "ﾎﾜｲﾄﾊﾞﾗﾝｽﾓｰﾄﾞ", "WhiteBalance"},
    {41988, TypeRational, 1, "ﾃﾞｼﾞﾀﾙｽﾞｰﾑ", "DigitalZoomRatio"},
    {41989, TypeShort, 1, "ﾚﾝｽﾞの焦点距離(35mm換算)", "FocalLengthIn35mmFilm"},
    {41990, TypeShort, 1, "ｼｰﾝ撮影ﾀｲﾌﾟ", "SceneCaptureType"},
    {41991, TypeShort, 1, "ｹﾞｲﾝｺﾝﾄﾛｰﾙ", "GainControl"},
    {41992, TypeShort, 1, "ｺﾝﾄﾗｽﾄ", "Contrast"},
    {41993, TypeShort, 1, "彩度", "Saturation"},
    {41994, TypeShort, 1, "ｼｬｰﾌﾟﾈｽ", "Sharpness"},
    {41995, TypeUndefined, 0, "DeviceSettingDescription", "DeviceSettingDescription"},
    {41996, TypeShort, 1, "被写体の距離範囲", "SubjectDistanceRange"},
    {59933, TypeLong, 1, "OffsetSchema", "OffsetSchema"},
    // The tags of later Exif editions, after the program's own rows.
    {34864, TypeShort, 1, "感度種別", "SensitivityType"},
    {34865, TypeLong, 1, "標準出力感度", "StandardOutputSensitivity"},
    {34866, TypeLong, 1, "推奨露光指数", "RecommendedExposureIndex"},
    {34867, TypeLong, 1, "ISOｽﾋﾟｰﾄﾞ", "ISOSpeed"},
    {34868, TypeLong, 1, "ISOｽﾋﾟｰﾄﾞﾗﾁﾁｭｰﾄﾞyyy", "ISOSpeedLatitudeyyy"},
    {34869, TypeLong, 1, "ISOｽﾋﾟｰﾄﾞﾗﾁﾁｭｰﾄﾞzzz", "ISOSpeedLatitudezzz"},
    {36880, TypeAscii, 7, "ﾌｧｲﾙ変更日時の時差", "OffsetTime"},
    {36881, TypeAscii, 7, "原画像ﾃﾞｰﾀの生成日時の時差", "OffsetTimeOriginal"},
    {36882, TypeAscii, 7, "ﾃﾞｼﾞﾀﾙﾃﾞｰﾀの作成日時の時差", "OffsetTimeDigitized"},
    {37396, TypeShort, 0, "被写体領域", "SubjectArea"},
    {37888, TypeSRational, 1, "温度", "Temperature"},
    {37889, TypeRational, 1, "湿度", "Humidity"},
    {37890, TypeRational, 1, "気圧", "Pressure"},
    {37891, TypeSRational, 1, "水深", "WaterDepth"},
    {37892, TypeRational, 1, "加速度", "Acceleration"},
    {37893, TypeSRational, 1, "ｶﾒﾗの仰俯角", "CameraElevationAngle"},
    {40964, TypeAscii, 13, "関連音声ﾌｧｲﾙ", "RelatedSoundFile"},
    {42016, TypeAscii, 33, "画像ﾕﾆｰｸID", "ImageUniqueID"},
    {42032, TypeAscii, 0, "ｶﾒﾗ所有者名", "CameraOwnerName"},
    {42033, TypeAscii, 0, "ｶﾒﾗｼﾘｱﾙ番号", "BodySerialNumber"},
    {42034, TypeRational, 4, "ﾚﾝｽﾞの仕様情報", "LensSpecification"},
    {42035, TypeAscii, 0, "ﾚﾝｽﾞのﾒｰｶｰ名", "LensMake"},
    {42036, TypeAscii, 0, "ﾚﾝｽﾞのﾓﾃﾞﾙ名", "LensModel"},
    {42037, TypeAscii, 0, "ﾚﾝｽﾞｼﾘｱﾙ番号", "LensSerialNumber"},
    {42038, TypeAscii, 0, "画像の題名", "ImageTitle"},
    {42039, TypeAscii, 0, "撮影者名", "Photographer"},
    {42040, TypeAscii, 0, "画像編集者名", "ImageEditor"},
    {42041, TypeAscii, 0, "ｶﾒﾗのﾌｧｰﾑｳｪｱ", "CameraFirmware"},
    {42042, TypeAscii, 0, "RAW現像ｿﾌﾄｳｪｱ", "RAWDevelopingSoftware"},
    {42043, TypeAscii, 0, "画像編集ｿﾌﾄｳｪｱ", "ImageEditingSoftware"},
    {42044, TypeAscii, 0, "ﾒﾀﾃﾞｰﾀ編集ｿﾌﾄｳｪｱ", "MetadataEditingSoftware"},
    {42080, TypeShort, 1, "合成画像", "CompositeImage"},
    {42081, TypeShort, 2, "合成画像の元画像数", "SourceImageNumberOfCompositeImage"},
    {42082, TypeUndefined, 0, "合成画像の元画像の露出時間", "SourceExposureTimesOfCompositeImage"},
    {42240, TypeRational, 1, "再生ｶﾞﾝﾏ", "Gamma"},
    kEndRow,
}};

// The GPS IFD.
constexpr std::array<TagDefinition, 27 + 5 + 1> kGpsRows = {{
    {0, TypeByte, 4, "GPS ﾀｸﾞのﾊﾞｰｼﾞｮﾝ", "GPSVersionID"},
    {1, TypeAscii, 2, "北緯(N)or 南緯(S)", "GPSLatitudeRef"},
    {2, TypeRational, 3, "緯度（数値）", "GPSLatitude"},
    {3, TypeAscii, 2, "東経(E)or 西経(W)", "GPSLongitudeRef"},
    {4, TypeRational, 3, "経度（数値）", "GPSLongitude"},
    {5, TypeByte, 1, "高度の単位", "GPSAltitudeRef"},
    {6, TypeRational, 1, "高度（数値）", "GPSAltitude"},
    {7, TypeRational, 3, "GPS時間", "GPSTimeStamp"},
    {8, TypeAscii, 0, "測位に使った衛星信号", "GPSSatellites"},
    {9, TypeAscii, 2, "GPS 受信機の状態", "GPSStatus"},
    {10, TypeAscii, 2, "GPS の測位方法", "GPSMeasureMode"},
    {11, TypeRational, 1, "測位の信頼性", "GPSDOP"},
    {12, TypeAscii, 2, "速度の単位", "GPSSpeedRef"},
    {13, TypeRational, 1, "速度（数値）", "GPSSpeed"},
    {14, TypeAscii, 2, "進行方向の単位", "GPSTrackRef"},
    {15, TypeRational, 1, "進行方向（数値）", "GPSTrack"},
    {16, TypeAscii, 2, "撮影した画像の方向の単位", "GPSImgDirectionRef"},
    {17, TypeRational, 1, "撮影した画像の方向（数値）", "GPSImgDirection"},
    {18, TypeAscii, 0, "測位に用いた地図ﾃﾞｰﾀ", "GPSMapDatum"},
    {19, TypeAscii, 2, "目的地の北緯(N)or 南緯(S)", "GPSDestLatitudeRef"},
    {20, TypeRational, 3, "目的地の緯度（数値）", "GPSDestLatitude"},
    {21, TypeAscii, 2, "目的地の東経(E)or 西経(W)", "GPSDestLongitudeRef"},
    {22, TypeRational, 3, "目的地の経度（数値）", "GPSDestLongitude"},
    {23, TypeAscii, 2, "目的地の方角の単位", "GPSDestBearingRef"},
    {24, TypeRational, 1, "目的の方角（数値）", "GPSDestBearing"},
    {25, TypeAscii, 2, "目的地までの距離の単位", "GPSDestDistanceRef"},
    {26, TypeRational, 1, "目的地までの距離（数値）", "GPSDestDistance"},
    // Later editions.
    {27, TypeUndefined, 0, "測位方式の名称", "GPSProcessingMethod"},
    {28, TypeUndefined, 0, "測位地点の名称", "GPSAreaInformation"},
    {29, TypeAscii, 11, "GPS日付", "GPSDateStamp"},
    {30, TypeShort, 1, "GPS補正測位", "GPSDifferential"},
    {31, TypeRational, 1, "水平方向測位誤差", "GPSHPositioningError"},
    kEndRow,
}};

// The Interoperability IFD.
constexpr std::array<TagDefinition, 2 + 3 + 1> kInteropRows = {{
    {1, TypeAscii, 0, "互換性識別子", "InteroperabilityIndex"},
    {2, TypeUndefined, 0, "ﾊﾞｰｼﾞｮﾝ", "Version"},
    // The related image of the camera file system's interoperability rules.
    {4096, TypeAscii, 0, "関連画像ﾌｧｲﾙ形式", "RelatedImageFileFormat"},
    {4097, TypeLong, 1, "関連画像の幅", "RelatedImageWidth"},
    {4098, TypeLong, 1, "関連画像の高さ", "RelatedImageLength"},
    kEndRow,
}};

// Each table ends with its end row, and nothing else in it has a null name.
template <size_t N>
constexpr bool WellFormed(const std::array<TagDefinition, N>& rows) {
  if (rows[N - 1].displayName != nullptr) return false;
  for (size_t i = 0; i + 1 < N; ++i)
    if (rows[i].displayName == nullptr || rows[i].tagName == nullptr) return false;
  return true;
}
static_assert(WellFormed(kPrimaryRows) && WellFormed(kThumbnailRows) && WellFormed(kExifRows) &&
              WellFormed(kGpsRows) && WellFormed(kInteropRows));
// No tag has two rows in one table: a second row could never be found.
template <size_t N>
constexpr bool Distinct(const std::array<TagDefinition, N>& rows) {
  for (size_t i = 0; i + 1 < N; ++i)
    for (size_t j = i + 1; j + 1 < N; ++j)
      if (rows[i].tag == rows[j].tag) return false;
  return true;
}
static_assert(Distinct(kPrimaryRows) && Distinct(kExifRows) && Distinct(kGpsRows) && Distinct(kInteropRows));
// The tags of later editions follow the program's own rows, which keep their places.
static_assert(kExifRows[54].tag == 59933 && kExifRows[55].tag == 34864 && kGpsRows[26].tag == 26 &&
              kInteropRows[1].tag == 2);
static_assert(kPrimaryRows[30].tag == TagExifIfdPointer && kPrimaryRows[31].tag == TagGpsIfdPointer,
              "the two pointer rows close the 0th IFD table");

}  // namespace

const TagDefinition* TagCatalogueOwnTable(uint32_t kind) {
  switch (kind) {
    case IfdPrimary:
      return kPrimaryRows.data();
    case IfdThumbnail:
      return kThumbnailRows.data();
    case IfdExif:
      return kExifRows.data();
    case IfdInterop:
      return kInteropRows.data();
    case IfdGps:
      return kGpsRows.data();
    default:
      return nullptr;
  }
}
