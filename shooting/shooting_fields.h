// The columns of a camera data file: which private tag each column becomes, and in which of
// the eight memory-mode layouts (data types) it stands.
//
// Two tables, as data: the header fields of line 2 and the frame fields of every line from 4
// on. A layout's frame columns are the frame rows that carry its bit, in table order.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "exif/exif_document.h"

// One column of a camera data file.
struct ShootingField {
  uint16_t tag;        // the private tag the column's text is stored under
  const char* name;    // the column's title, as the data reader writes it
  uint32_t typeMask;   // bit n set when data type n has this column
};

// Private tag numbers of the columns.
enum ShootingTag : uint16_t {
  TagFilmSpeed = 62977,
  TagFilmNumber = 62978,
  TagCameraId = 62979,
  TagFilmName = 62980,
  TagFrameNumber = 62992,
  TagShutterSpeed = 62993,
  TagAperture = 62994,
  TagFocalLength = 62995,
  TagLensMaxAperture = 62996,
  TagMeteringSystem = 62997,
  TagExposureMode = 62998,
  TagFlashSyncMode = 62999,
  TagExposureCompensation = 63000,
  TagEvDifference = 63001,
  TagFlashCompensation = 63002,
  TagSpeedlightSetting = 63003,
  TagMultipleExposure = 63004,
  TagLock = 63005,
  TagVibrationReduction = 63006,
  TagShootingDate = 63007,
  TagShootingTime = 63008,
  TagDataImprinting = 63009,
};

constexpr uint32_t kDataTypeCount = 8;
constexpr uint32_t kHeaderFieldCount = 4;
constexpr uint32_t kFrameFieldCount = 18;

extern const std::array<ShootingField, kHeaderFieldCount> kHeaderFields;
extern const std::array<ShootingField, kFrameFieldCount> kFrameFields;

// One memory-mode layout: its label in the selection list, the number of columns of a frame
// line, and the fields lines 1 and 2 must at least have.
struct DataTypeInfo {
  const char* label;  // UTF-8; CP932 through DataTypeLabel
  uint32_t columns;
  uint32_t minimumHeaderFields;
};

// The layout of a data type, nullptr for a number above 7.
const DataTypeInfo* DataTypeFind(uint32_t dataType);
// The CP932 label of a data type ("F6 詳細" ...), nullptr for a number above 7.
const char* DataTypeLabel(uint32_t dataType);

// Splits line (modified in place: each field's end becomes a zero) into one ASCII entry per
// row, in row order. A row the data type lacks, or one the line no longer reaches, gets an
// empty text of count 1. Returns 1, or 0 with the failure of the list operation.
int ParseShootingFields(std::span<const ShootingField> rows, char* line, TagList* list, uint32_t dataType);
