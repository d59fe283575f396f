#include "shooting/shooting_to_makernote.h"

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "exif/tag_parse.h"
#include "frame/error_stack.h"
#include "makernote/nikon_tags.h"
#include "shooting/shooting_convert.h"
#include "shooting/shooting_fields.h"
#include "shooting/shooting_to_exif.h"

namespace {

// The Nikon note's flash texts: 12 characters, blank padded, and the terminator.
constexpr uint32_t kNikonFlashTextCount = 13;

// Rows of one frame share the focal lengths: they wait for the maximum aperture row, which
// follows the focal length row in the frame table.
struct MakerConversion {
  TagList* list;
  uint32_t shortFocal = 0;
  uint32_t longFocal = 0;
};

const char* MakerEntryText(const TagEntry& entry) { return reinterpret_cast<const char*>(entry.Data()); }

uint32_t MakerWholeNumber(const char* text) { return uint32_t(std::strtol(text, nullptr, 10)); }

bool MakerHolds(std::string_view text, std::string_view part) { return text.find(part) != text.npos; }

int MakerPutText(TagList* list, uint16_t tag, const char* text) {
  return TagListPut(nullptr, list, tag, TypeAscii, kNikonFlashTextCount, 0, text);
}

int MakerPutByte(TagList* list, uint16_t tag, uint8_t value) {
  return TagListPut(nullptr, list, tag, TypeByte, 1, 0, &value);
}

// "35" is a fixed lens; "38(24-120)" a zoom at 38 mm with its range in brackets.
int MakerFromFocalLength(const char* text, MakerConversion& state) {
  const char* range = std::strchr(text, '(');
  if (range == nullptr) {
    state.shortFocal = state.longFocal = MakerWholeNumber(text);
    return 1;
  }
  state.shortFocal = MakerWholeNumber(range + 1);
  const char* dash = std::strchr(range, '-');
  state.longFocal = dash ? MakerWholeNumber(dash + 1) : state.shortFocal;
  return 1;
}

// "F4" or "F3.5-F5.6": the widest apertures at the short and the long end.
int MakerFromMaxAperture(const char* text, MakerConversion& state) {
  std::array<uint32_t, 2> wide{0, 1};
  std::array<uint32_t, 2> tele{0, 1};
  if (const char* first = std::strchr(text, 'F')) {
    ParseRationalText(first + 1, wide.data());
    const char* second = std::strchr(first + 1, 'F');
    if (second) {
      ParseRationalText(second + 1, tele.data());
    } else {
      tele = wide;
    }
  }
  const std::array<uint32_t, 8> lens{state.shortFocal, 1, state.longFocal, 1, wide[0], wide[1], tele[0], tele[1]};
  return TagListPut(nullptr, state.list, NikonTagLens, TypeRational, 4, 0, lens.data());
}

struct FlashSyncRow {
  std::string_view first;
  std::string_view second;  // empty when one search decides
  const char* nikonText;
};
// Tried in order, each by search inside the value.
constexpr std::array<FlashSyncRow, 5> kFlashSyncTexts{{
    {"Front curtain sync", "", "NORMAL      "},
    {"Slow sync", "Red eye reduction", "RED-EYE SLOW"},
    {"Rear curtain sync", "", "REAR SLOW   "},
    {"Slow sync", "", "SLOW        "},
    {"Red eye reduction", "", "RED-EYE     "},
}};

// A text that matches no row sets no tag.
int MakerFromFlashSync(const char* text, MakerConversion& state) {
  for (const FlashSyncRow& row : kFlashSyncTexts)
    if (MakerHolds(text, row.first) && (row.second.empty() || MakerHolds(text, row.second)))
      return MakerPutText(state.list, NikonTagFlashSyncMode, row.nikonText);
  return 1;
}

// The whole part of a number's absolute value, kept small enough for the byte records.
int64_t MakerWholePart(double value) {
  const double magnitude = std::fabs(value);
  return magnitude < 1e9 ? int64_t(magnitude) : 0;
}

int MakerPutStep(TagList* list, uint16_t tag, const char* text, int64_t steps, uint8_t perEv) {
  // The record holds steps, 1 and steps per EV; the byte keeps the low 8 bits of a negative.
  const int64_t signedSteps = text[0] == '-' ? -steps : steps;
  const std::array<uint8_t, 4> record{uint8_t(signedSteps), 1, perEv, 0};
  return TagListPut(nullptr, list, tag, TypeUndefined, 4, 0, record.data());
}

// Twelfths of an EV: the tenths digit stands for thirds and halves, so -0.3 becomes -3/12.
int MakerFromEvDifference(const char* text, MakerConversion& state) {
  const double value = ShootingNumber(text);
  const int tenths = ShootingTenths(value);
  int64_t steps = MakerWholePart(value) * 12;
  if (tenths == 5) {
    steps += 6;
  } else if (tenths > 5) {
    steps += tenths + 1;
  } else {
    steps += tenths;
  }
  return MakerPutStep(state.list, NikonTagExposureDifference, text, steps, 12);
}

// Sixths of an EV for thirds and halves (0.3, 0.5, 0.7), tenths for any other digit.
int MakerFromFlashCompensation(const char* text, MakerConversion& state) {
  const double value = ShootingNumber(text);
  const int tenths = ShootingTenths(value);
  constexpr std::array<int, 10> kSixthsOfTenths{0, -1, -1, 2, -1, 3, -1, 4, -1, -1};
  if (kSixthsOfTenths[size_t(tenths)] >= 0) {
    const int64_t steps = MakerWholePart(value) * 6 + kSixthsOfTenths[size_t(tenths)];
    return MakerPutStep(state.list, NikonTagFlashCompensation, text, steps, 6);
  }
  const int64_t steps = std::fabs(value) < 1e9 ? int64_t(std::fabs(value) * 10.0) : 0;
  return MakerPutStep(state.list, NikonTagFlashCompensation, text, steps, 10);
}

const char* MakerSpeedlightText(std::string_view setting) {
  const bool manual = MakerHolds(setting, "non-TTL auto flash");
  const bool commander = MakerHolds(setting, "Multiple flash");
  if (commander) return manual ? "Comdr.,M    " : "Comdr.,TTL  ";
  return manual ? "Optional,M  " : "Optional,TTL";
}

// The external flash record: version "0100", then the flash's settings, mode 6 (manual) for
// a non-TTL flash and 2 (i-TTL) otherwise.
int MakerPutExternalFlash(TagList* list, bool manual) {
  const std::array<uint8_t, 20> record{'0', '1', '0', '0', 1, 54, 2, 4, 1, uint8_t(manual ? 6 : 2)};
  return TagListPut(nullptr, list, NikonTagExternalFlash, TypeUndefined, uint32_t(record.size()), 0, record.data());
}

int MakerFromSpeedlight(const char* text, MakerConversion& state) {
  const std::string_view setting(text);
  if (!MakerHolds(setting, "Optional speedlight")) return MakerPutByte(state.list, NikonTagFlashUsed, 0);
  if (!MakerPutText(state.list, NikonTagFlashType, MakerSpeedlightText(setting))) return 0;
  if (!MakerPutExternalFlash(state.list, MakerHolds(setting, "non-TTL auto flash"))) return 0;
  return MakerPutByte(state.list, NikonTagFlashUsed, 7);
}

using MakerRule = int (*)(const char* text, MakerConversion& state);
struct MakerRuleRow {
  uint16_t field;
  MakerRule rule;
};
// The frame fields with a Nikon counterpart. Metering, exposure mode and exposure
// compensation have none.
constexpr std::array<MakerRuleRow, 6> kMakerRules{{
    {TagFocalLength, MakerFromFocalLength},
    {TagLensMaxAperture, MakerFromMaxAperture},
    {TagFlashSyncMode, MakerFromFlashSync},
    {TagEvDifference, MakerFromEvDifference},
    {TagFlashCompensation, MakerFromFlashCompensation},
    {TagSpeedlightSetting, MakerFromSpeedlight},
}};

MakerRule MakerRuleFor(uint16_t field) {
  for (const MakerRuleRow& row : kMakerRules)
    if (row.field == field) return row.rule;
  return nullptr;
}

// The film speed as both the ISO and the ISO setting: 0, then the speed.
int MakerFromFilmSpeed(const CameraDataFile* file, TagList* list) {
  const TagEntry* speed = ShootingFieldText(file->header, TagFilmSpeed);
  if (speed == nullptr) return 1;
  const std::array<uint16_t, 2> iso{0, uint16_t(MakerWholeNumber(MakerEntryText(*speed)))};
  return TagListPut(nullptr, list, NikonTagIsoSpeed, TypeShort, 2, 0, iso.data()) &&
         TagListPut(nullptr, list, NikonTagIsoSetting, TypeShort, 2, 0, iso.data());
}

}  // namespace

int ShootingRecordToMakerNote(const CameraDataFile* file, uint32_t frame, TagList* list) {
  if (file == nullptr || list == nullptr || frame >= file->frames.size()) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  MakerConversion state{list};
  if (!MakerFromFilmSpeed(file, list)) return 0;
  for (const TagEntry& entry : file->frames[frame]) {
    if (entry.count <= 1) continue;
    MakerRule rule = MakerRuleFor(entry.tag);
    if (rule != nullptr && !rule(MakerEntryText(entry), state)) return 0;
  }
  TagListSort(list);
  return 1;
}

int ShootingRecordToMakerNote(const CameraDataFile* file, uint32_t frame, ExifDocument* document) {
  if (document == nullptr) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  TagList list;
  if (!ShootingRecordToMakerNote(file, frame, &list)) return 0;
  return ShootingQueueList(document, kNikonMainKind, list);
}
