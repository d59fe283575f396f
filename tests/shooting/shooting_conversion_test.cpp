// The conversions of a frame line into Exif and Nikon note entries, as one table: the real F6
// frame with some columns changed gives, in one of the two lists, a tag of a type and value.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "exif/apex.h"
#include "exif/makernote_handler.h"
#include "exif/tag_parse.h"
#include "frame/settings.h"
#include "makernote/makernote_install.h"
#include "shooting/lens_text.h"
#include "shooting/shooting_to_exif.h"
#include "shooting/shooting_to_makernote.h"
#include "tests/shooting/shooting_test_data.h"

using namespace shootingtest;

namespace {

using Changes = std::vector<std::pair<size_t, std::string>>;
constexpr size_t kShutter = 1, kAperture = 2, kFocal = 3, kMaxAperture = 4, kMetering = 5, kMode = 6, kFlashSync = 7,
                 kCompensation = 8, kEvDifference = 9, kFlashCompensation = 10, kSpeedlight = 11, kDate = 15,
                 kTime = 16;
enum List { Exif, Note };

// An entry as one short text: "S 0 400" (shorts), "R 1/100", "SR -1/1", "A13 NORMAL" (ASCII with
// its count), "B 00 01" (bytes); "-" when the tag is absent.
std::string Render(const TagEntry* entry) {
  if (!entry) return "-";
  std::string text;
  char item[32];
  for (uint32_t i = 0; i < entry->count; ++i) {
    switch (entry->type) {
      case TypeShort: std::snprintf(item, sizeof item, " %u", unsigned(entry->U16(i))); break;
      case TypeRational: std::snprintf(item, sizeof item, " %u/%u", entry->U32(2 * i), entry->U32(2 * i + 1)); break;
      case TypeSRational: std::snprintf(item, sizeof item, " %d/%d", entry->S32(2 * i), entry->S32(2 * i + 1)); break;
      case TypeAscii: return "A" + std::to_string(entry->count) + " " + EntryText(*entry);
      default: std::snprintf(item, sizeof item, " %02X", unsigned(entry->Data()[i])); break;
    }
    text += item;
  }
  const char* prefix = entry->type == TypeShort      ? "S"
                       : entry->type == TypeRational  ? "R"
                       : entry->type == TypeSRational ? "SR"
                                                      : "B";
  return prefix + text;
}

class ShootingConversion : public ::testing::Test {
 protected:
  void SetUp() override { SettingsSetFilePath((scratch_ / "tvx1App.ini").string()); }

  TagList Convert(const Changes& changes, List list) {
    TagList tags;
    CameraDataFilePtr file = ReadF6Frames(scratch_, {F6Frame(changes)});
    EXPECT_TRUE(file);
    if (file) {
      EXPECT_EQ(list == Exif ? ShootingRecordToExif(file.get(), 0, &tags)
                             : ShootingRecordToMakerNote(file.get(), 0, &tags),
                1);
    }
    return tags;
  }
  std::string Shown(const Changes& changes, List list, uint16_t tag) {
    return Render(FindEntry(Convert(changes, list), tag));
  }

  testsupport::ScratchDir scratch_;
};

struct Conversion {
  Changes changes;
  List list;
  uint16_t tag;
  const char* shown;
};

const Conversion kConversions[] = {
    // The real frame: 1/100 s at F11, 35 mm, aperture priority, matrix, ISO 400.
    {{}, Exif, 34855, "S 400"}, {{}, Exif, 33434, "R 1/100"}, {{}, Exif, 37377, "SR 664385/100000"},
    {{}, Exif, 33437, "R 11/1"}, {{}, Exif, 37386, "R 35/1"}, {{}, Exif, 37380, "SR 0/10"},
    {{}, Exif, 37383, "S 5"}, {{}, Exif, 34850, "S 3"}, {{}, Exif, 37385, "S 1"},
    {{}, Note, 2, "S 0 400"}, {{}, Note, 19, "S 0 400"}, {{}, Note, 135, "B 00"},
    // Shutter spellings; a long exposure has a negative APEX value; "0" leaves both tags out.
    {{{kShutter, "2\""}}, Exif, 33434, "R 2/1"}, {{{kShutter, "2\""}}, Exif, 37377, "SR -1/1"},
    {{{kShutter, "1:30:00"}}, Exif, 33434, "R 5400/1"}, {{{kShutter, "1:30:00"}}, Exif, 37377, "SR -12398/1000"},
    {{{kShutter, "0"}}, Exif, 33434, "-"}, {{{kShutter, "0"}}, Exif, 37377, "-"},
    // Aperture, focal length and maximum aperture; empty lens fields leave their tags out.
    {{{kAperture, "F5.6"}}, Exif, 33437, "R 56/10"}, {{{kAperture, "F5.6"}}, Exif, 37378, "R 49708/10000"},
    {{{kFocal, "38(24-120)"}}, Exif, 37386, "R 38/1"}, {{{kMaxAperture, "F4"}}, Exif, 37381, "R 4/1"},
    {{{kMaxAperture, "F3.5-F5.6"}}, Exif, 37381, "R 36147/10000"},
    {{{kAperture, ""}}, Exif, 33437, "-"}, {{{kAperture, ""}}, Exif, 37378, "-"},
    {{{kFocal, ""}}, Exif, 37386, "-"}, {{{kMaxAperture, ""}}, Exif, 37381, "-"},
    // Metering, exposure mode and speedlight texts match whole and case-sensitively.
    {{{kMetering, "Matrix"}}, Exif, 37383, "S 5"}, {{{kMetering, "Spot"}}, Exif, 37383, "S 3"},
    {{{kMetering, "Center weighted"}}, Exif, 37383, "S 2"}, {{{kMetering, "matrix"}}, Exif, 37383, "S 0"},
    {{{kMetering, "Spot "}}, Exif, 37383, "S 0"},
    {{{kMode, "M"}}, Exif, 34850, "S 1"}, {{{kMode, "P"}}, Exif, 34850, "S 2"}, {{{kMode, "S"}}, Exif, 34850, "S 4"},
    {{{kMode, "Manual"}}, Exif, 34850, "S 1"}, {{{kMode, "Shutter"}}, Exif, 34850, "S 4"},
    {{{kMode, "a"}}, Exif, 34850, "S 0"},
    {{{kSpeedlight, "None"}}, Exif, 37385, "S 0"},
    {{{kSpeedlight, "TTL auto flash/Optional speedlight"}}, Exif, 37385, "S 1"},
    {{{kSpeedlight, "Multiple flash"}}, Exif, 37385, "S 0"},
    {{{kCompensation, "+0.3"}}, Exif, 37380, "SR 3/10"}, {{{kCompensation, "-0.7"}}, Exif, 37380, "SR -7/10"},
    // The note's lens: focal range and apertures; no "F" gives apertures of 0; no maximum
    // aperture, no tag; no focal length, apertures only.
    {{{kFocal, "35"}, {kMaxAperture, "F4"}}, Note, 132, "R 35/1 35/1 4/1 4/1"},
    {{{kFocal, "38(24-120)"}, {kMaxAperture, "F3.5-F5.6"}}, Note, 132, "R 24/1 120/1 35/10 56/10"},
    {{{kFocal, "50"}, {kMaxAperture, "1.8"}}, Note, 132, "R 50/1 50/1 0/1 0/1"},
    {{{kFocal, "50"}, {kMaxAperture, ""}}, Note, 132, "-"},
    {{{kFocal, ""}, {kMaxAperture, "F2.8"}}, Note, 132, "R 0/1 0/1 28/10 28/10"},
    // Flash sync and speedlight texts of the note.
    {{{kFlashSync, "Front curtain sync"}}, Note, 8, "A13 NORMAL      "},
    {{{kFlashSync, "Slow sync/Red eye reduction"}}, Note, 8, "A13 RED-EYE SLOW"},
    {{{kFlashSync, "Slow sync"}}, Note, 8, "A13 SLOW        "}, {{{kFlashSync, "Curtain"}}, Note, 8, "-"},
    {{{kSpeedlight, "None"}}, Note, 9, "-"},
    {{{kSpeedlight, "TTL auto flash/Optional speedlight"}}, Note, 9, "A13 Optional,TTL"},
    {{{kSpeedlight, "Optional speedlight/non-TTL auto flash"}}, Note, 9, "A13 Optional,M  "},
    {{{kSpeedlight, "Optional speedlight/Multiple flash"}}, Note, 9, "A13 Comdr.,TTL  "},
    {{{kSpeedlight, "Optional speedlight/Multiple flash/non-TTL auto flash"}}, Note, 9, "A13 Comdr.,M    "},
    {{{kSpeedlight, "Optional speedlight/Multiple flash/non-TTL auto flash"}}, Note, 135, "B 07"},
    {{{kSpeedlight, "Optional speedlight/Multiple flash/non-TTL auto flash"}}, Note, 168,
     "B 30 31 30 30 01 36 02 04 01 06 00 00 00 00 00 00 00 00 00 00"},
    {{{kSpeedlight, "TTL auto flash/Optional speedlight"}}, Note, 168,
     "B 30 31 30 30 01 36 02 04 01 02 00 00 00 00 00 00 00 00 00 00"},
    // EV difference in twelfths (-0.3 is stored as -3/12), flash compensation in sixths or tenths.
    {{{kEvDifference, "0.0"}}, Note, 14, "B 00 01 0C 00"}, {{{kEvDifference, "-0.3"}}, Note, 14, "B FD 01 0C 00"},
    {{{kEvDifference, "-0.7"}}, Note, 14, "B F8 01 0C 00"}, {{{kEvDifference, "+1.3"}}, Note, 14, "B 0F 01 0C 00"},
    {{{kEvDifference, "-8.2"}}, Note, 14, "B 9E 01 0C 00"},
    {{{kFlashCompensation, "+0.7"}}, Note, 23, "B 04 01 06 00"},
    {{{kFlashCompensation, "-1.0"}}, Note, 23, "B FA 01 06 00"},
    {{{kFlashCompensation, "0.2"}}, Note, 23, "B 02 01 0A 00"},
    {{{kFlashCompensation, "-2.4"}}, Note, 23, "B E8 01 0A 00"},
};

TEST_F(ShootingConversion, EveryColumnTextGivesItsEntry) {
  std::vector<uint16_t> exifTags, noteTags;
  for (const TagEntry& entry : Convert({}, Exif)) exifTags.push_back(entry.tag);
  for (const TagEntry& entry : Convert({}, Note)) noteTags.push_back(entry.tag);
  EXPECT_EQ(exifTags, (std::vector<uint16_t>{33434, 33437, 34850, 34855, 36867, 37377, 37378, 37380, 37381, 37383,
                                             37385, 37386}));
  EXPECT_EQ(noteTags, (std::vector<uint16_t>{2, 8, 14, 19, 23, 132, 135}));
  for (const Conversion& c : kConversions)
    EXPECT_EQ(Shown(c.changes, c.list, c.tag), c.shown) << (c.list == Exif ? "Exif " : "note ") << c.tag << " of "
                                                        << (c.changes.empty() ? "" : c.changes[0].second);
}

TEST_F(ShootingConversion, DateAndTimeUnderTimePadding) {
  struct Row {
    const char* padding;
    Changes changes;
    const char* shown;
  } rows[] = {
      {"0", {}, "A20 2026:06:08 07:00:  "},          {"0", {{kTime, ""}}, "A20 2026:06:08   :  :  "},
      {"0", {{kDate, ""}}, "A20     :  :   07:00:  "}, {"1", {}, "A20 2026:06:08 07:00:00"},
      {"1", {{kTime, ""}}, "A20 2026:06:08 00:00:00"}, {"1", {{kDate, ""}, {kTime, ""}}, "-"},
  };
  for (const Row& row : rows) {
    ASSERT_EQ(SettingsPutString("OPTION", "TIMEPADDING", row.padding), 1);
    EXPECT_EQ(Shown(row.changes, Exif, 36867), row.shown);
  }
  // The simple layout has a date alone and no maximum aperture.
  CameraDataFilePtr file = ReadLines(
      scratch_,
      {kF6HeaderTitles, "400,58,000", "titles,,,,,,,,,", "01,125,F8,50,Color matrix,A,0.0,0.0,None,2025/11/01"}, 1);
  ASSERT_TRUE(file);
  TagList list;
  ASSERT_EQ(ShootingRecordToExif(file.get(), 0, &list), 1);
  EXPECT_EQ(Render(FindEntry(list, 36867)), "A20 2025:11:01 00:00:00");
  EXPECT_EQ(FindEntry(list, 37381), nullptr);
}

// The document forms queue exactly the list forms' entries, on the Exif table and on the
// Nikon main table; tables stay untouched until the save; a frame that is not there queues nothing.
TEST_F(ShootingConversion, QueuedOnTheirTables) {
  CameraDataFilePtr file = ReadF6Frames(scratch_, {F6Frame({})});
  ASSERT_TRUE(file);
  for (List list : {Exif, Note}) {
    ExifDocumentPtr document;
    ASSERT_EQ(ExifCreateEmpty(document), 1);
    TagList tags;
    if (list == Exif) {
      ASSERT_EQ(ShootingRecordToExif(file.get(), 0, document.get()), 1);
      ASSERT_EQ(ShootingRecordToExif(file.get(), 0, &tags), 1);
      ExpectQueued(document.get(), tags, IfdExif);
      EXPECT_EQ(ExifTagCount(document.get(), IfdExif), 0);
      EXPECT_EQ(ShootingRecordToExif(file.get(), 1, document.get()), 0);
    } else {
      ASSERT_EQ(ShootingRecordToMakerNote(file.get(), 0, document.get()), 1);
      ASSERT_EQ(ShootingRecordToMakerNote(file.get(), 0, &tags), 1);
      ExpectQueued(document.get(), tags, 65536u + 257u);
    }
  }
}

// The lens line composed from a note made of the frame's entries.
TEST_F(ShootingConversion, LensTextOfTheNikonNote) {
  MakerNoteInstall();
  const struct {
    Changes changes;
    bool withNote;
    const char* text;
  } rows[] = {{{{kFocal, "38(24-120)"}, {kMaxAperture, "F3.5-F5.6"}}, true, "24-120mm F3.5-5.6"},
              {{{kFocal, "35"}, {kMaxAperture, "F1.8"}}, true, "35mm F1.8"},
              {{{kMaxAperture, ""}}, true, "(none)"},
              {{}, false, "(none)"}};
  for (const auto& row : rows) {
    ExifDocumentPtr document;
    ASSERT_EQ(ExifCreateEmpty(document), 1);
    if (row.withNote) {
      ASSERT_EQ(ExifCreateMakerNote(document.get()), 1);
      IfdTable* table = ExifMakerNoteTable(document.get(), kNikonMainKind);
      ASSERT_NE(table, nullptr);
      for (const TagEntry& entry : Convert(row.changes, Note)) table->tags.push_back(entry);
    }
    char text[64] = "";
    const int found = ExifLensText(document.get(), kLensTextKind, kLensTextTag, text, sizeof text);
    EXPECT_EQ(found ? std::string(text) : "(none)", row.text);
  }
}

// The number readers below the columns (exif/'s, shared with the edit dialog): decimals, fractions,
// signs, and where a number ends; APEX values, kept within 32 bits, refused where there is no logarithm.
TEST(ShootingNumbers, TextsAndApexValues) {
  const struct {
    const char* text;
    int32_t numerator;
    uint32_t denominator;
  } texts[] = {{"5.6", 56, 10}, {"  \t250", 250, 1}, {"-0.7", -7, 10},  {"+1.3", 13, 10},     {"0.0", 0, 10},
               {"1/250", 1, 250}, {"1,000", 1000, 1}, {"2\"", 2, 1},    {"38(24-120)", 38, 1}, {"3.5-F5.6", 35, 10},
               {"1.2.3", 12, 10}, {"F4", 0, 1},       {"", 0, 1},       {"7/", 7, 1}};
  for (const auto& t : texts) {
    uint32_t r[2];
    ParseRationalText(t.text, r);
    EXPECT_EQ(int32_t(r[0]), t.numerator) << t.text;
    EXPECT_EQ(r[1], t.denominator) << t.text;
  }
  const struct {
    uint32_t mode;
    uint32_t in[2];
    int ok;
    int32_t numerator;
    uint32_t denominator;
  } apex[] = {{ApexShutter, {1, 250}, 1, 796578, 100000},  {ApexShutter, {5400, 1}, 1, -12398, 1000},
              {ApexAperture, {4, 1}, 1, 4, 1},             {ApexAperture, {1, 1}, 1, 0, 1},
              {ApexShutterInverse, {8, 1}, 1, 3, 1},       {ApexShutter, {0, 1}, 0, 0, 0},
              {ApexShutter, {1, 0}, 0, 0, 0},              {9, {2, 1}, 0, 0, 0},
              {ApexShutter, {1, 4000000000u}, 1, 318973528, 10000000},  // cut to fit 32 bits, reduced again
              {ApexAperture, {1, 100006}, 1, -33219454, 1000000}};
  for (const auto& a : apex) {
    uint32_t r[2] = {a.in[0], a.in[1]};
    EXPECT_EQ(ApexEncode(a.mode, r), a.ok) << a.mode << " " << a.in[0] << "/" << a.in[1];
    EXPECT_EQ(int32_t(r[0]), a.numerator);
    EXPECT_EQ(r[1], a.denominator);
  }
}

}  // namespace
