#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/error_stack.h"
#include "shooting/camera_data_file.h"
#include "shooting/shooting_fields.h"
#include "tests/shooting/shooting_test_data.h"
#include "tests/support/test_support.h"

using namespace shootingtest;
using testsupport::ScratchDir;
using testsupport::SharedSub;

namespace {

CameraDataFilePtr ReadSample(const std::string& name, uint32_t dataType, int* result) {
  const auto path = SharedSub("samples/mv1") / name;
  CameraDataFilePtr file = CameraDataFileCreate(path.string().c_str());
  *result = file ? CameraDataFileRead(file.get(), dataType) : -1;
  return file;
}

struct Sample {
  const char* name;
  uint32_t dataType;
  uint32_t frames;
  const char* firstShutter;
  const char* lastFrameNumber;
};

// Every sample with its layout; each must parse whole.
const Sample kSamples[] = {
    {"real/f6-detailed-film032-36frames.txt", 0, 36, "100", "36"},
    {"real/f6-detailed-film022-3frames.txt", 0, 3, "400", "09"},
    {"synthetic/f6-detailed.csv", 0, 36, "250", "36"},
    {"synthetic/f6-simple.csv", 1, 6, "125", "06"},
    {"synthetic/f5-a.csv", 2, 5, "250", "05"},
    {"synthetic/f5-b.csv", 3, 6, "250", "06"},
    {"synthetic/f5-c.csv", 4, 6, "250", "06"},
    {"synthetic/f5-d.csv", 5, 8, "250", "09"},
    {"synthetic/f100-detailed.csv", 6, 8, "250", "08"},
    {"synthetic/f100-simple.csv", 7, 5, "250", "05"},
};

TEST(CameraDataFileSamples, EveryLayoutParsesIntoFullRecords) {
  TAVEXON_REQUIRE_SHARED("samples/mv1");
  for (const Sample& sample : kSamples) {
    SCOPED_TRACE(sample.name);
    int result = 0;
    CameraDataFilePtr file = ReadSample(sample.name, sample.dataType, &result);
    ASSERT_EQ(result, 1);
    ASSERT_EQ(CameraDataFileFrameCount(file.get()), sample.frames);
    EXPECT_EQ(file->header.size(), kHeaderFieldCount);
    for (const ShootingRecord& record : file->frames) ASSERT_EQ(record.size(), kFrameFieldCount);
    EXPECT_EQ(EntryText(*FindEntry(file->frames.front(), TagShutterSpeed)), sample.firstShutter);
    EXPECT_EQ(EntryText(*FindEntry(file->frames.back(), TagFrameNumber)), sample.lastFrameNumber);
    // Columns the layout lacks stand as empty texts of count 1.
    const bool hasDate = (59u >> sample.dataType) & 1;
    EXPECT_EQ(FindEntry(file->frames.front(), TagShootingDate)->count > 1, hasDate);
  }
}

TEST(CameraDataFileSamples, RealFileKeepsTextsAsTheyStand) {
  TAVEXON_REQUIRE_SHARED("samples/mv1");
  int result = 0;
  CameraDataFilePtr file = ReadSample("real/f6-detailed-film022-3frames.txt", 0, &result);
  ASSERT_EQ(result, 1);
  // CR LF line ends leave nothing behind in the last field.
  EXPECT_EQ(EntryText(*FindEntry(file->header, TagFilmSpeed)), "400");
  EXPECT_EQ(EntryText(*FindEntry(file->header, TagCameraId)), "000");
  EXPECT_EQ(FindEntry(file->header, TagFilmName)->count, 1u);
  const ShootingRecord& first = file->frames.front();
  EXPECT_EQ(EntryText(*FindEntry(first, TagShootingTime)), "14:40");
  EXPECT_EQ(FindEntry(first, TagShootingTime)->count, 6u);
  EXPECT_EQ(EntryText(*FindEntry(first, TagSpeedlightSetting)), "non-TTL auto flash");
  EXPECT_EQ(FindEntry(first, TagDataImprinting)->count, 1u);
}

TEST(CameraDataFileSamples, BlankLineAfterTheFramesFailsWithTheFramesRead) {
  TAVEXON_REQUIRE_SHARED("samples/mv1");
  int result = 0;
  CameraDataFilePtr file = ReadSample("synthetic/f6-detailed-crlf-tail.csv", 0, &result);
  ASSERT_TRUE(file);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(CameraDataFileFrameCount(file.get()), 3u);
}

TEST(CameraDataFileSamples, SixColumnLayoutsAreNotToldApart) {
  TAVEXON_REQUIRE_SHARED("samples/mv1");
  int result = 0;
  CameraDataFilePtr file = ReadSample("synthetic/f5-a.csv", 7, &result);
  EXPECT_EQ(result, 1);
  // The wrong type reads without complaint: the fifth column lands in "Speedlight setting".
  EXPECT_EQ(EntryText(*FindEntry(file->frames.front(), TagSpeedlightSetting)), "F2.8");
  file = ReadSample("synthetic/f5-a.csv", 0, &result);
  EXPECT_EQ(result, 0);
}

TEST(CameraDataFileFailures, WrongFieldCountsFail) {
  ScratchDir scratch;
  const std::string good = F6Frame({});
  const std::string shortLine = JoinFields(std::vector<std::string>(kRealF6Frame.begin(), kRealF6Frame.end() - 1));
  // A frame line one column short, in the middle of the film.
  EXPECT_FALSE(ReadF6Frames(scratch, {good, shortLine, good}));
  EXPECT_FALSE(ReadF6Frames(scratch, {good, good + ",extra"}));
  // A title line of the wrong count, although it is not kept.
  EXPECT_FALSE(ReadLines(scratch, {kF6HeaderTitles, "400,32,000", "Frame number,Shutter speed", good}, 0));
  // Header lines below the minimum: three fields for the F6, two for the F100.
  EXPECT_FALSE(ReadLines(scratch, {"Film speed,Film number", "400,32", kF6ColumnTitles, good}, 0));
  EXPECT_TRUE(ReadLines(scratch, {"Film speed,Film number", "200,12"}, 6));
  EXPECT_FALSE(ReadLines(scratch, {"Film speed", "200"}, 6));
}

TEST(CameraDataFileFailures, LineOverTheReaderLimitIsReadAsTwoLines) {
  ScratchDir scratch;
  const std::string longTime(1100, '7');
  EXPECT_FALSE(ReadF6Frames(scratch, {F6Frame({{16, longTime}})}));
  // 1,023 bytes with the line feed still read as one line; one more byte splits it.
  const std::string base = F6Frame({{16, ""}});
  EXPECT_TRUE(ReadF6Frames(scratch, {base + std::string(1022 - base.size(), '7')}));
  EXPECT_FALSE(ReadF6Frames(scratch, {base + std::string(1023 - base.size(), '7')}));
}

TEST(CameraDataFileFailures, ShortAndEmptyFiles) {
  ScratchDir scratch;
  CameraDataFilePtr file = ReadLines(scratch, {kF6HeaderTitles, "400,32,000"}, 0);
  ASSERT_TRUE(file);
  EXPECT_EQ(CameraDataFileFrameCount(file.get()), 0u);
  EXPECT_TRUE(ReadLines(scratch, {}, 0));
  EXPECT_FALSE(ReadLines(scratch, {kF6HeaderTitles, "400,32,000"}, 8));
}

TEST(CameraDataFileFailures, PathsThatAreNoFile) {
  ScratchDir scratch;
  EXPECT_FALSE(CameraDataFileCreate(scratch.path().string().c_str()));
  EXPECT_FALSE(CameraDataFileCreate((scratch / "missing.txt").string().c_str()));
  EXPECT_FALSE(CameraDataFileCreate(nullptr));
  // A file that vanishes between creation and reading cannot be opened.
  WriteLines(scratch / "gone.txt", {});
  CameraDataFilePtr file = CameraDataFileCreate((scratch / "gone.txt").string().c_str());
  ASSERT_TRUE(file);
  std::filesystem::remove(scratch / "gone.txt");
  ErrorClear();
  EXPECT_EQ(CameraDataFileRead(file.get(), 0), 0);
  EXPECT_EQ(ErrorPop(), 1026u);
}

TEST(CameraDataFileFields, EmptyAndMissingColumns) {
  ScratchDir scratch;
  // A line ending in a comma has an empty last field.
  CameraDataFilePtr file = ReadF6Frames(scratch, {F6Frame({{16, ""}, {2, ""}})});
  ASSERT_TRUE(file);
  const ShootingRecord& record = file->frames.front();
  EXPECT_EQ(FindEntry(record, TagShootingTime)->count, 1u);
  EXPECT_EQ(FindEntry(record, TagAperture)->count, 1u);
  EXPECT_EQ(EntryText(*FindEntry(record, TagFocalLength)), "35");
  // A comma inside quotes still ends a field, so such a line has one column too many.
  EXPECT_FALSE(ReadF6Frames(scratch, {F6Frame({{13, "\"AE, Lock\""}})}));
}

TEST(CameraDataFileFields, F100HeaderThirdFieldIsTheFilmName) {
  ScratchDir scratch;
  CameraDataFilePtr file = ReadLines(scratch, {"Film speed,Film number", "200,12,Provia"}, 6);
  ASSERT_TRUE(file);
  EXPECT_EQ(EntryText(*FindEntry(file->header, TagFilmName)), "Provia");
  EXPECT_EQ(FindEntry(file->header, TagCameraId)->count, 1u);
}

TEST(CameraDataFileRecord, CopyRecordAndAddHeader) {
  ScratchDir scratch;
  CameraDataFilePtr file = ReadF6Frames(scratch, {F6Frame({}), F6Frame({{0, "02"}})});
  ASSERT_TRUE(file);
  const char film[] = "Provia 100F";
  ASSERT_EQ(CameraDataFileAddHeader(file.get(), TagFilmName, TypeAscii, sizeof film, film), 1);
  EXPECT_EQ(file->header.size(), kHeaderFieldCount);

  TagList list;
  ASSERT_EQ(CameraDataFileCopyRecord(file.get(), 1, &list), 1);
  ASSERT_EQ(list.size(), kHeaderFieldCount + kFrameFieldCount);
  EXPECT_EQ(list.front().tag, TagFilmSpeed);
  EXPECT_EQ(EntryText(*FindEntry(list, TagFilmName)), film);
  EXPECT_EQ(EntryText(*FindEntry(list, TagFrameNumber)), "02");
  EXPECT_EQ(list.back().tag, TagDataImprinting);

  ErrorClear();
  EXPECT_EQ(CameraDataFileCopyRecord(file.get(), 2, &list), 0);
  EXPECT_EQ(ErrorPop(), 1282u);
}

}  // namespace
