#include "shooting/shooting_fields.h"

#include <cstring>

#include "frame/cp932.h"

namespace {

// Type mask bits, one per data type (layout) of the file.
constexpr uint32_t kF6Detail = 1u << 0;    // "F6 詳細"
constexpr uint32_t kF6Simple = 1u << 1;    // "F6 簡易"
constexpr uint32_t kF5A = 1u << 2;         // "F5 A"
constexpr uint32_t kF5B = 1u << 3;         // "F5 B"
constexpr uint32_t kF5C = 1u << 4;         // "F5 C"
constexpr uint32_t kF5D = 1u << 5;         // "F5 D"
constexpr uint32_t kF100Detail = 1u << 6;  // "F100 詳細"
constexpr uint32_t kF100Simple = 1u << 7;  // "F100 簡易"
constexpr uint32_t kAllTypes = 255;

}  // namespace

// Line 2 of the file.
extern const std::array<ShootingField, kHeaderFieldCount> kHeaderFields;
constexpr std::array<ShootingField, kHeaderFieldCount> kHeaderFields{{
    {TagFilmSpeed, "Film speed", kAllTypes},
    {TagFilmNumber, "Film number", kAllTypes},
    {TagCameraId, "Camera ID", kF6Detail | kF6Simple | kF5A | kF5B | kF5C | kF5D},
    {TagFilmName, "Film Name", kAllTypes},
}};

// Every line from 4 on, one frame each.
extern const std::array<ShootingField, kFrameFieldCount> kFrameFields;
constexpr std::array<ShootingField, kFrameFieldCount> kFrameFields{{
    {TagFrameNumber, "Frame number", kAllTypes},
    {TagShutterSpeed, "Shutter speed", kAllTypes},
    {TagAperture, "Aperture", kAllTypes},
    {TagFocalLength, "Focal length", kAllTypes},
    {TagLensMaxAperture, "Lens maximum aperture", kF6Detail | kF5A | kF5B | kF5C | kF5D | kF100Detail},
    {TagMeteringSystem, "Metering system", kF6Detail | kF6Simple | kF5D | kF100Detail},
    {TagExposureMode, "Exposure mode", kF6Detail | kF6Simple | kF5D | kF100Detail},
    {TagFlashSyncMode, "Flash sync mode", kF6Detail | kF5D | kF100Detail},
    {TagExposureCompensation, "Exposure compensation value", kF6Detail | kF6Simple | kF5D | kF100Detail},
    {TagEvDifference, "EV difference in Manual", kF6Detail | kF6Simple | kF5D | kF100Detail},
    {TagFlashCompensation, "Flash exposure compensation value", kF6Detail | kF100Detail},
    {TagSpeedlightSetting, "Speedlight setting", kF6Detail | kF100Detail | kF100Simple},
    {TagMultipleExposure, "Multiple exposure", kAllTypes},
    {TagLock, "Lock", kF6Detail},
    {TagVibrationReduction, "Vibration Reduction", kF6Detail},
    {TagShootingDate, "Date(yy/mm/dd)", kF6Detail | kF6Simple | kF5B | kF5C | kF5D},
    {TagShootingTime, "Time", kF6Detail | kF5B | kF5C | kF5D},
    {TagDataImprinting, "Data imprinting", kF5C | kF5D},
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
