#include "shooting/shooting_fields.h"

#include <cstring>

#include "frame/cp932.h"

namespace {

// Type masks by layout: 0 "F6 詳細", 1 "F6 簡易", 2 "F5 A", 3 "F5 B", 4 "F5 C", 5 "F5 D",
// 6 "F100 詳細", 7 "F100 簡易".
constexpr uint32_t kAllTypes = 255;

}  // namespace

// Line 2 of the file.
extern const std::array<ShootingField, kHeaderFieldCount> kHeaderFields;
constexpr std::array<ShootingField, kHeaderFieldCount> kHeaderFields{{
    {TagFilmSpeed, "Film speed", kAllTypes, 34855, TypeShort, 2, TypeShort},
    {TagFilmNumber, "Film number", kAllTypes, 0, 0, 0, 0},
    {TagCameraId, "Camera ID", 63, 0, 0, 0, 0},
    {TagFilmName, "Film Name", kAllTypes, 0, 0, 0, 0},
}};

// Every line from 4 on, one frame each.
extern const std::array<ShootingField, kFrameFieldCount> kFrameFields;
constexpr std::array<ShootingField, kFrameFieldCount> kFrameFields{{
    {TagFrameNumber, "Frame number", kAllTypes, 0, 0, 0, 0},
    {TagShutterSpeed, "Shutter speed", kAllTypes, 33434, TypeRational, 0, 0},
    {TagAperture, "Aperture", kAllTypes, 33437, TypeRational, 0, 0},
    {TagFocalLength, "Focal length", kAllTypes, 37386, TypeRational, 0, 0},
    {TagLensMaxAperture, "Lens maximum aperture", 125, 37381, TypeRational, 0, 0},
    {TagMeteringSystem, "Metering system", 99, 37383, TypeShort, 0, 0},
    {TagExposureMode, "Exposure mode", 99, 34850, TypeShort, 0, 0},
    {TagFlashSyncMode, "Flash sync mode", 97, 0, 0, 8, TypeAscii},
    {TagExposureCompensation, "Exposure compensation value", 99, 37380, TypeRational, 0, 0},
    {TagEvDifference, "EV difference in Manual", 99, 0, 0, 14, TypeUndefined},
    {TagFlashCompensation, "Flash exposure compensation value", 65, 0, 0, 23, TypeUndefined},
    {TagSpeedlightSetting, "Speedlight setting", 193, 37385, TypeShort, 9, TypeAscii},
    {TagMultipleExposure, "Multiple exposure", kAllTypes, 0, 0, 0, 0},
    {TagLock, "Lock", 1, 0, 0, 0, 0},
    {TagVibrationReduction, "Vibration Reduction", 1, 0, 0, 0, 0},
    {TagShootingDate, "Date(yy/mm/dd)", 59, 36867, TypeAscii, 0, 0},
    {TagShootingTime, "Time", 57, 36867, TypeAscii, 0, 0},
    {TagDataImprinting, "Data imprinting", 48, 0, 0, 0, 0},
}};

namespace {

constexpr std::array<DataTypeInfo, kDataTypeCount> kDataTypes{{
    {"F6 詳細", 17, 3},
    {"F6 簡易", 10, 3},
    {"F5 A", 6, 3},
    {"F5 B", 8, 3},
    {"F5 C", 9, 3},
    {"F5 D", 14, 3},
    {"F100 詳細", 13, 2},
    {"F100 簡易", 6, 2},
}};

constexpr uint32_t ColumnsOf(uint32_t dataType) {
  uint32_t columns = 0;
  for (const ShootingField& row : kFrameFields) columns += (row.typeMask >> dataType) & 1;
  return columns;
}

// The column counts of the layouts are the frame rows that carry their bits; the two tables
// must never drift apart.
constexpr bool ColumnCountsAgree() {
  for (uint32_t type = 0; type < kDataTypeCount; ++type)
    if (ColumnsOf(type) != kDataTypes[type].columns) return false;
  return true;
}
static_assert(ColumnCountsAgree(), "frame table and layout column counts disagree");

}  // namespace

const DataTypeInfo* DataTypeFind(uint32_t dataType) {
  return dataType < kDataTypeCount ? &kDataTypes[dataType] : nullptr;
}

const char* DataTypeLabel(uint32_t dataType) {
  const DataTypeInfo* info = DataTypeFind(dataType);
  return info ? Cp932Text(info->label) : nullptr;
}

int ParseShootingFields(std::span<const ShootingField> rows, char* line, TagList* list, uint32_t dataType) {
  char* p = line;
  char* const end = line + std::strlen(line);
  for (const ShootingField& row : rows) {
    const bool hasColumn = dataType < 32 && ((row.typeMask >> dataType) & 1) != 0;
    if (!hasColumn || p >= end) {
      if (!TagListPut(nullptr, list, row.tag, TypeAscii, 1, 0, "")) return 0;
      continue;
    }
    // A quoted field is not understood: any comma ends a field.
    char* stop = p + std::strcspn(p, ",\n");
    *stop = '\0';
    if (!TagListPut(nullptr, list, row.tag, TypeAscii, uint32_t(stop - p) + 1, 0, p)) return 0;
    p = stop < end ? stop + 1 : end;
  }
  return 1;
}
