#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/settings.h"
#include "shooting/shooting_fields.h"
#include "shooting/shooting_to_exif.h"
#include "shooting/shooting_to_makernote.h"
#include "tests/shooting/shooting_test_data.h"
#include "tests/support/test_support.h"

using namespace shootingtest;
using testsupport::ScratchDir;

namespace {

// Each test reads its settings from a file of its own.
class ShootingToExif : public ::testing::Test {
 protected:
  void SetUp() override { SettingsSetFilePath((scratch_ / "tvx1App.ini").string()); }
  void TimePadding(const char* value) { ASSERT_EQ(SettingsPutString("OPTION", "TIMEPADDING", value), 1); }

  // The Exif list of the real F6 frame with some columns changed.
  TagList Convert(const std::vector<std::pair<size_t, std::string>>& changes) {
    TagList list;
    CameraDataFilePtr file = ReadF6Frames(scratch_, {F6Frame(changes)});
    EXPECT_TRUE(file);
    if (file) {
      EXPECT_EQ(ShootingRecordToExif(file.get(), 0, &list), 1);
    }
    return list;
  }

  ScratchDir scratch_;
};

void ExpectRational(const TagList& list, uint16_t tag, uint16_t type, int32_t numerator, uint32_t denominator) {
  const TagEntry* entry = FindEntry(list, tag);
  ASSERT_NE(entry, nullptr) << "tag " << tag;
  EXPECT_EQ(entry->type, type);
  EXPECT_EQ(entry->count, 1u);
  EXPECT_EQ(entry->S32(0), numerator) << "tag " << tag;
  EXPECT_EQ(entry->U32(1), denominator) << "tag " << tag;
}

uint16_t ShortOf(const TagList& list, uint16_t tag) {
  const TagEntry* entry = FindEntry(list, tag);
  EXPECT_NE(entry, nullptr) << "tag " << tag;
  return entry ? entry->U16(0) : 0xFFFF;
}

std::string DateTimeOf(const TagList& list) {
  const TagEntry* entry = FindEntry(list, 36867);
  EXPECT_NE(entry, nullptr);
  if (entry == nullptr) return {};
  EXPECT_EQ(entry->count, 20u);
  return EntryText(*entry);
}

constexpr size_t kShutter = 1, kAperture = 2, kFocal = 3, kMaxAperture = 4, kMetering = 5, kMode = 6,
                 kCompensation = 8, kSpeedlight = 11, kDate = 15, kTime = 16;

TEST_F(ShootingToExif, RealFrameGivesTheFullSortedList) {
  const TagList list = Convert({});
  std::vector<uint16_t> tags;
  for (const TagEntry& entry : list) tags.push_back(entry.tag);
  EXPECT_EQ(tags, (std::vector<uint16_t>{33434, 33437, 34850, 34855, 36867, 37377, 37378, 37380, 37381, 37383,
                                         37385, 37386}));
  EXPECT_EQ(ShortOf(list, 34855), 400);
  ExpectRational(list, 33434, TypeRational, 1, 100);
  ExpectRational(list, 37377, TypeSRational, 664385, 100000);
  ExpectRational(list, 33437, TypeRational, 11, 1);
  ExpectRational(list, 37386, TypeRational, 35, 1);
  ExpectRational(list, 37380, TypeSRational, 0, 10);
  EXPECT_EQ(ShortOf(list, 37383), 5);
  EXPECT_EQ(ShortOf(list, 34850), 3);
  EXPECT_EQ(ShortOf(list, 37385), 1);
}

TEST_F(ShootingToExif, ShutterSpellings) {
  TagList list = Convert({{kShutter, "2\""}});
  ExpectRational(list, 33434, TypeRational, 2, 1);
  ExpectRational(list, 37377, TypeSRational, -1, 1);
  list = Convert({{kShutter, "1:30:00"}});
  ExpectRational(list, 33434, TypeRational, 5400, 1);
  ExpectRational(list, 37377, TypeSRational, -12398, 1000);
  list = Convert({{kShutter, "0"}});
  EXPECT_EQ(FindEntry(list, 33434), nullptr);
  EXPECT_EQ(FindEntry(list, 37377), nullptr);
}

TEST_F(ShootingToExif, ApertureFocalLengthAndMaximumAperture) {
  TagList list = Convert({{kAperture, "F5.6"}, {kFocal, "38(24-120)"}, {kMaxAperture, "F4"}});
  ExpectRational(list, 33437, TypeRational, 56, 10);
  ExpectRational(list, 37378, TypeRational, 49708, 10000);
  ExpectRational(list, 37386, TypeRational, 38, 1);
  ExpectRational(list, 37381, TypeRational, 4, 1);
  list = Convert({{kMaxAperture, "F3.5-F5.6"}});
  ExpectRational(list, 37381, TypeRational, 36147, 10000);
  // Empty lens fields of a non-CPU lens leave their tags out.
  list = Convert({{kAperture, ""}, {kFocal, ""}, {kMaxAperture, ""}});
  EXPECT_EQ(FindEntry(list, 33437), nullptr);
  EXPECT_EQ(FindEntry(list, 37378), nullptr);
  EXPECT_EQ(FindEntry(list, 37386), nullptr);
  EXPECT_EQ(FindEntry(list, 37381), nullptr);
}

TEST_F(ShootingToExif, MeteringModeAndSpeedlightTexts) {
  const std::vector<std::pair<std::string, uint16_t>> metering{
      {"Color matrix", 5}, {"Matrix", 5}, {"Spot", 3}, {"Center weighted", 2}, {"matrix", 0}, {"Spot ", 0}};
  for (const auto& [text, value] : metering) EXPECT_EQ(ShortOf(Convert({{kMetering, text}}), 37383), value) << text;
  const std::vector<std::pair<std::string, uint16_t>> modes{
      {"A", 3}, {"M", 1}, {"P", 2}, {"S", 4}, {"Manual", 1}, {"Shutter", 4}, {"a", 0}};
  for (const auto& [text, value] : modes) EXPECT_EQ(ShortOf(Convert({{kMode, text}}), 34850), value) << text;
  const std::vector<std::pair<std::string, uint16_t>> flash{{"None", 0},
                                                            {"non-TTL auto flash", 1},
                                                            {"TTL auto flash/Optional speedlight", 1},
                                                            {"Multiple flash", 0}};
  for (const auto& [text, value] : flash) EXPECT_EQ(ShortOf(Convert({{kSpeedlight, text}}), 37385), value) << text;
}

TEST_F(ShootingToExif, ExposureCompensationIsSigned) {
  ExpectRational(Convert({{kCompensation, "+0.3"}}), 37380, TypeSRational, 3, 10);
  ExpectRational(Convert({{kCompensation, "-0.7"}}), 37380, TypeSRational, -7, 10);
}

TEST_F(ShootingToExif, DateAndTimeUnderTimePadding) {
  TimePadding("0");
  EXPECT_EQ(DateTimeOf(Convert({})), "2026:06:08 07:00:  ");
  EXPECT_EQ(DateTimeOf(Convert({{kTime, ""}})), "2026:06:08   :  :  ");
  EXPECT_EQ(DateTimeOf(Convert({{kDate, ""}})), "    :  :   07:00:  ");
  TimePadding("1");
  EXPECT_EQ(DateTimeOf(Convert({})), "2026:06:08 07:00:00");
  EXPECT_EQ(DateTimeOf(Convert({{kTime, ""}})), "2026:06:08 00:00:00");
  // Neither field: no date tag at all.
  EXPECT_EQ(FindEntry(Convert({{kDate, ""}, {kTime, ""}}), 36867), nullptr);
}

TEST_F(ShootingToExif, DateAloneOfTheSimpleLayout) {
  TimePadding("1");
  CameraDataFilePtr file = ReadLines(scratch_,
                                     {kF6HeaderTitles, "400,58,000", "titles,,,,,,,,,",
                                      "01,125,F8,50,Color matrix,A,0.0,0.0,None,2025/11/01"},
                                     1);
  ASSERT_TRUE(file);
  TagList list;
  ASSERT_EQ(ShootingRecordToExif(file.get(), 0, &list), 1);
  EXPECT_EQ(DateTimeOf(list), "2025:11:01 00:00:00");
  EXPECT_EQ(FindEntry(list, 37381), nullptr);
}

// The document form queues exactly the list form's entries on the Exif table, and a frame
// that is not there queues nothing.
TEST_F(ShootingToExif, QueuedOnTheExifTable) {
  CameraDataFilePtr file = ReadF6Frames(scratch_, {F6Frame({})});
  ASSERT_TRUE(file);
  ExifDocumentPtr document;
  ASSERT_EQ(ExifCreateEmpty(document), 1);
  ASSERT_EQ(ShootingRecordToExif(file.get(), 0, document.get()), 1);
  TagList list;
  ASSERT_EQ(ShootingRecordToExif(file.get(), 0, &list), 1);
  ExpectQueued(document.get(), list, IfdExif);
  EXPECT_EQ(ExifTagCount(document.get(), IfdExif), 0);  // tables stay untouched until the save
  EXPECT_EQ(ShootingRecordToExif(file.get(), 1, document.get()), 0);
}

}  // namespace

namespace {

// Every frame of every sample converts, with the film speed in both the Exif and the note.
TEST(ShootingSamples, EveryFrameConverts) {
  TAVEXON_REQUIRE_SHARED("samples/mv1");
  const std::vector<std::pair<std::string, uint32_t>> samples{
      {"real/f6-detailed-film032-36frames.txt", 0}, {"real/f6-detailed-film022-3frames.txt", 0},
      {"synthetic/f6-detailed.csv", 0},             {"synthetic/f6-simple.csv", 1},
      {"synthetic/f5-a.csv", 2},                    {"synthetic/f5-b.csv", 3},
      {"synthetic/f5-c.csv", 4},                    {"synthetic/f5-d.csv", 5},
      {"synthetic/f100-detailed.csv", 6},           {"synthetic/f100-simple.csv", 7}};
  for (const auto& [name, dataType] : samples) {
    SCOPED_TRACE(name);
    CameraDataFilePtr file = CameraDataFileCreate((testsupport::SharedSub("samples/mv1") / name).string().c_str());
    ASSERT_TRUE(file);
    ASSERT_EQ(CameraDataFileRead(file.get(), dataType), 1);
    for (uint32_t frame = 0; frame < CameraDataFileFrameCount(file.get()); ++frame) {
      TagList exif;
      TagList maker;
      ASSERT_EQ(ShootingRecordToExif(file.get(), frame, &exif), 1);
      ASSERT_EQ(ShootingRecordToMakerNote(file.get(), frame, &maker), 1);
      EXPECT_NE(FindEntry(exif, 34855), nullptr);
      EXPECT_NE(FindEntry(maker, 2), nullptr);
    }
  }
}

}  // namespace
