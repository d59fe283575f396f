#include "shooting/shooting_to_exif.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "exif/apex.h"
#include "exif/tag_parse.h"
#include "exif/tags.h"
#include "frame/error_stack.h"
#include "frame/settings.h"
#include "shooting/shooting_fields.h"

namespace {

// "YYYY:MM:DD HH:MM:SS" and its terminator.
constexpr size_t kDateTimeLength = 19;
constexpr size_t kTimeStart = 11;
constexpr size_t kTimeLength = 8;
constexpr std::array<size_t, 4> kDateTimeColons{4, 7, 13, 16};

// What the rows of one frame share: the date and time are built in one buffer.
struct ExifConversion {
  TagList* list;
  ShootingExifOptions options;
  std::array<char, kDateTimeLength + 1> dateTime{};
};

// A rational as a TagEntry holds it: numerator and denominator, a signed value's numerator as
// its two's complement word.
using Rational = std::array<uint32_t, 2>;

int ExifPutRational(TagList* list, uint16_t tag, uint16_t type, const Rational& rational) {
  return TagListPut(nullptr, list, tag, type, 1, 0, rational.data());
}

int ExifPutShort(TagList* list, uint16_t tag, uint16_t value) {
  return TagListPut(nullptr, list, tag, TypeShort, 1, 0, &value);
}

// The first decimal digit of a text, so that "F5.6" reads as 5.6.
const char* ExifFirstDigit(const char* text) { return text + std::strcspn(text, "0123456789"); }

uint32_t ExifWholeNumber(const char* text, const char** rest = nullptr) {
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  if (rest) *rest = end;
  return uint32_t(value);
}

// Hours, minutes and seconds of a long exposure ("1:30:00") as seconds.
uint32_t ExifSecondsFromClock(const char* text) {
  uint32_t total = 0;
  const char* p = text;
  for (uint32_t unit : {3600u, 60u, 1u}) {
    total += ExifWholeNumber(p, &p) * unit;
    if (*p != ':') break;
    ++p;
  }
  return total;
}

// A text with a double quote is seconds ("2\""), one with a colon a clock time, and a plain
// number the denominator of a fraction of a second ("250").
int ExifFromShutter(const char* text, ExifConversion& state) {
  Rational time{};
  if (std::strchr(text, '"')) {
    ParseRationalText(text, time.data());
  } else if (std::strchr(text, ':')) {
    time = {ExifSecondsFromClock(text), 1};
  } else {
    time = {1, ExifWholeNumber(text)};
  }
  if (time[0] == 0 || time[1] == 0) return 1;
  if (!ExifPutRational(state.list, TagExposureTime, TypeRational, time)) return 0;
  ApexEncode(ApexShutter, time.data());
  return ExifPutRational(state.list, TagShutterSpeedValue, TypeSRational, time);
}

int ExifFromAperture(const char* text, ExifConversion& state) {
  Rational number{};
  ParseRationalText(ExifFirstDigit(text), number.data());
  if (number[0] == 0 || number[1] == 0) return 1;
  if (!ExifPutRational(state.list, TagFNumber, TypeRational, number)) return 0;
  ApexEncode(ApexAperture, number.data());
  return ExifPutRational(state.list, TagApertureValue, TypeRational, number);
}

// "38(24-120)": the focal length in use stands before the zoom range, and the reader stops
// at the "(" by itself.
int ExifFromFocalLength(const char* text, ExifConversion& state) {
  Rational length{};
  ParseRationalText(text, length.data());
  return ExifPutRational(state.list, TagExifFocalLength, TypeRational, length);
}

int ExifFromMaxAperture(const char* text, ExifConversion& state) {
  Rational number{};
  ParseRationalText(ExifFirstDigit(text), number.data());
  if (number[0] == 0 || number[1] == 0) return 1;
  ApexEncode(ApexAperture, number.data());
  return ExifPutRational(state.list, TagMaxApertureValue, TypeRational, number);
}

struct TextValue {
  std::string_view text;
  uint16_t value;
};
// Metering texts, compared whole; any other spelling is "unknown" (0).
constexpr std::array<TextValue, 4> kMeteringModes{{
    {"Center weighted", 2},
    {"Spot", 3},
    {"Color matrix", 5},
    {"Matrix", 5},
}};

int ExifFromMetering(const char* text, ExifConversion& state) {
  uint16_t mode = 0;
  for (const TextValue& row : kMeteringModes)
    if (row.text == text) mode = row.value;
  return ExifPutShort(state.list, TagMeteringMode, mode);
}

struct LetterValue {
  char letter;
  uint16_t program;
};
// Exposure modes by their first letter: aperture priority, manual, program, shutter priority.
constexpr std::array<LetterValue, 4> kExposurePrograms{{{'A', 3}, {'M', 1}, {'P', 2}, {'S', 4}}};

int ExifFromExposureMode(const char* text, ExifConversion& state) {
  uint16_t program = 0;
  for (const LetterValue& row : kExposurePrograms)
    if (row.letter == text[0]) program = row.program;
  return ExifPutShort(state.list, TagExposureProgram, program);
}

int ExifFromCompensation(const char* text, ExifConversion& state) {
  Rational bias{};
  ParseRationalText(text, bias.data());
  return ExifPutRational(state.list, TagExposureBiasValue, TypeSRational, bias);
}

int ExifFromSpeedlight(const char* text, ExifConversion& state) {
  // The flash fired for a non-TTL flash or an external speedlight; "None" and anything else
  // read as not fired.
  const std::string_view setting(text);
  const bool fired =
      setting.starts_with("non-TTL auto flash") || setting.find("Optional speedlight") != setting.npos;
  // Only an attached speedlight says the flash fired: the F6 records "non-TTL auto flash" for
  // frames shot without one, so with flashOmit the tag stays out unless a speedlight was on.
  if (state.options.flashOmit && setting.find("Optional speedlight") == setting.npos) return 1;
  return ExifPutShort(state.list, TagFlash, fired ? 1 : 0);
}

// Fills the date-time buffer to its 19 characters and sets its colons. With "TIMEPADDING" 1
// the first filler is a blank and the rest zeros, so an unknown time reads as 00:00:00.
int ExifPutDateTime(ExifConversion& state) {
  char* buffer = state.dateTime.data();
  for (size_t length = std::strlen(buffer), first = length; length < kDateTimeLength; ++length)
    buffer[length] = (state.options.timePadding == 1 && length != first) ? '0' : ' ';
  // The file's own separators, "/" and ":", fall under these fixed places.
  for (size_t colon : kDateTimeColons) buffer[colon] = ':';
  return TagListPut(nullptr, state.list, TagDateTimeOriginal, TypeAscii, kDateTimeLength + 1, 0, buffer);
}

int ExifFromDate(const char* text, ExifConversion& state) {
  std::strncpy(state.dateTime.data(), text, kDateTimeLength);
  return ExifPutDateTime(state);
}

int ExifFromTime(const char* text, ExifConversion& state) {
  char* buffer = state.dateTime.data();
  for (size_t length = std::strlen(buffer); length < kTimeStart; ++length) buffer[length] = ' ';
  std::strncpy(buffer + kTimeStart, text, kTimeLength);
  return ExifPutDateTime(state);
}

using ExifRule = int (*)(const char* text, ExifConversion& state);
struct ExifRuleRow {
  uint16_t field;
  ExifRule rule;
};
// The frame fields with an Exif counterpart; the others pass by.
constexpr std::array<ExifRuleRow, 10> kExifRules{{
    {TagShutterSpeed, ExifFromShutter},
    {TagAperture, ExifFromAperture},
    {TagFocalLength, ExifFromFocalLength},
    {TagLensMaxAperture, ExifFromMaxAperture},
    {TagMeteringSystem, ExifFromMetering},
    {TagExposureMode, ExifFromExposureMode},
    {TagExposureCompensation, ExifFromCompensation},
    {TagSpeedlightSetting, ExifFromSpeedlight},
    {TagShootingDate, ExifFromDate},
    {TagShootingTime, ExifFromTime},
}};

ExifRule ExifRuleFor(uint16_t field) {
  for (const ExifRuleRow& row : kExifRules)
    if (row.field == field) return row.rule;
  return nullptr;
}

const char* ExifEntryText(const TagEntry& entry) { return reinterpret_cast<const char*>(entry.Data()); }

int ExifFromFilmSpeed(const CameraDataFile* file, TagList* list) {
  const TagEntry* speed = ShootingFieldText(file->header, TagFilmSpeed);
  if (speed == nullptr) return 1;
  return ExifPutShort(list, TagIsoSpeed, uint16_t(ExifWholeNumber(ExifEntryText(*speed))));
}

}  // namespace

ShootingExifOptions ShootingExifOptionsLoad() {
  ShootingExifOptions options;
  options.timePadding = SettingsGetInt("OPTION", "TIMEPADDING", 0);
  return options;
}

bool ShootingBlankSeconds(const TagList& list) {
  for (const TagEntry& entry : list) {
    if (entry.tag != TagDateTimeOriginal || entry.ValueSize() < kDateTimeLength) continue;
    const char* text = ExifEntryText(entry);
    return text[kDateTimeLength - 2] == ' ' || text[kDateTimeLength - 1] == ' ';
  }
  return false;
}

int ShootingRecordToExif(const CameraDataFile* file, uint32_t frame, TagList* list) {
  return ShootingRecordToExif(file, frame, ShootingExifOptionsLoad(), list);
}

int ShootingRecordToExif(const CameraDataFile* file, uint32_t frame, const ShootingExifOptions& options,
                         TagList* list) {
  if (file == nullptr || list == nullptr || frame >= file->frames.size()) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  ExifConversion state{list, options};
  if (!ExifFromFilmSpeed(file, list)) return 0;
  for (const TagEntry& entry : file->frames[frame]) {
    if (entry.count <= 1) continue;
    ExifRule rule = ExifRuleFor(entry.tag);
    if (rule != nullptr && !rule(ExifEntryText(entry), state)) return 0;
  }
  TagListSort(list);
  return 1;
}

int ShootingQueueList(ExifDocument* document, uint32_t kind, const TagList& list) {
  for (const TagEntry& entry : list)
    if (!ExifQueueEdit(document, PendingSet, kind, entry.tag, entry.type, entry.count, entry.Data())) return 0;
  return 1;
}

int ShootingRecordToExif(const CameraDataFile* file, uint32_t frame, ExifDocument* document) {
  if (document == nullptr) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  TagList list;
  if (!ShootingRecordToExif(file, frame, &list)) return 0;
  return ShootingQueueList(document, IfdExif, list);
}
