#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/error_stack.h"
#include "shooting/camera_data_file.h"
#include "shooting/shooting_fields.h"
#include "shooting/shooting_to_exif.h"
#include "shooting/shooting_to_makernote.h"
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
  int result;  // of the read
  uint32_t frames;
  const char* firstShutter;
  const char* lastFrameNumber;
};

// Every sample with its layout parses whole. A blank line after the frames fails with the frames
// read; six-column layouts are not told apart, so the wrong one reads without complaint.
const Sample kSamples[] = {
    {"real/f6-detailed-film032-36frames.txt", 0, 1, 36, "100", "36"},
    {"real/f6-detailed-film022-3frames.txt", 0, 1, 3, "400", "09"},
    {"synthetic/f6-detailed.csv", 0, 1, 36, "250", "36"},
    {"synthetic/f6-simple.csv", 1, 1, 6, "125", "06"},
    {"synthetic/f5-a.csv", 2, 1, 5, "250", "05"},
    {"synthetic/f5-b.csv", 3, 1, 6, "250", "06"},
    {"synthetic/f5-c.csv", 4, 1, 6, "250", "06"},
    {"synthetic/f5-d.csv", 5, 1, 8, "250", "09"},
    {"synthetic/f100-detailed.csv", 6, 1, 8, "250", "08"},
    {"synthetic/f100-simple.csv", 7, 1, 5, "250", "05"},
    {"synthetic/f6-detailed-crlf-tail.csv", 0, 0, 3, nullptr, nullptr},
    {"synthetic/f5-a.csv", 7, 1, 5, "250", "05"},
    {"synthetic/f5-a.csv", 0, 0, 0, nullptr, nullptr},
};

TEST(CameraDataFileSamples, EveryLayoutParsesIntoFullRecords) {
  TAVEXON_REQUIRE_SHARED("samples/mv1");
  for (const Sample& sample : kSamples) {
    SCOPED_TRACE(std::string(sample.name) + " as type " + std::to_string(sample.dataType));
    int result = 0;
    CameraDataFilePtr file = ReadSample(sample.name, sample.dataType, &result);
    ASSERT_TRUE(file);
    ASSERT_EQ(result, sample.result);
    if (sample.result == 0) {
      EXPECT_EQ(CameraDataFileFrameCount(file.get()), sample.frames);
      continue;
    }
    ASSERT_EQ(CameraDataFileFrameCount(file.get()), sample.frames);
    EXPECT_EQ(file->header.size(), kHeaderFieldCount);
    for (const ShootingRecord& record : file->frames) ASSERT_EQ(record.size(), kFrameFieldCount);
    EXPECT_EQ(EntryText(*FindEntry(file->frames.front(), TagShutterSpeed)), sample.firstShutter);
    EXPECT_EQ(EntryText(*FindEntry(file->frames.back(), TagFrameNumber)), sample.lastFrameNumber);
    // Columns the layout lacks stand as empty texts of count 1.
    const bool hasDate = (59u >> sample.dataType) & 1;
    EXPECT_EQ(FindEntry(file->frames.front(), TagShootingDate)->count > 1, hasDate);
    // Every frame converts, with the film speed in both the Exif and the note.
    for (uint32_t frame = 0; frame < sample.frames; ++frame) {
      TagList exif, maker;
      ASSERT_EQ(ShootingRecordToExif(file.get(), frame, &exif), 1);
      ASSERT_EQ(ShootingRecordToMakerNote(file.get(), frame, &maker), 1);
      EXPECT_NE(FindEntry(exif, 34855), nullptr);
      EXPECT_NE(FindEntry(maker, 2), nullptr);
    }
  }
  // The real file keeps its texts as they stand: CR LF line ends leave nothing in the last field.
  int result = 0;
  CameraDataFilePtr file = ReadSample("real/f6-detailed-film022-3frames.txt", 0, &result);
  EXPECT_EQ(EntryText(*FindEntry(file->header, TagFilmSpeed)), "400");
  EXPECT_EQ(EntryText(*FindEntry(file->header, TagCameraId)), "000");
  EXPECT_EQ(FindEntry(file->header, TagFilmName)->count, 1u);
  const ShootingRecord& first = file->frames.front();
  EXPECT_EQ(EntryText(*FindEntry(first, TagShootingTime)), "14:40");
  EXPECT_EQ(FindEntry(first, TagShootingTime)->count, 6u);
  EXPECT_EQ(EntryText(*FindEntry(first, TagSpeedlightSetting)), "non-TTL auto flash");
  EXPECT_EQ(FindEntry(first, TagDataImprinting)->count, 1u);
  // f5-a read as F100 simple: the fifth column lands in "Speedlight setting".
  file = ReadSample("synthetic/f5-a.csv", 7, &result);
  EXPECT_EQ(EntryText(*FindEntry(file->frames.front(), TagSpeedlightSetting)), "F2.8");
}

// Layouts that read and layouts that fail, as whole files: {lines, data type -> read, frames}.
TEST(CameraDataFileFailures, LayoutsThatReadAndLayoutsThatFail) {
  ScratchDir scratch;
  const std::string good = F6Frame({});
  const std::string shortLine = JoinFields(std::vector<std::string>(kRealF6Frame.begin(), kRealF6Frame.end() - 1));
  const std::string noTime = F6Frame({{16, ""}});
  const std::vector<std::string> f6{kF6HeaderTitles, "400,32,000", kF6ColumnTitles};
  auto F6 = [&](std::vector<std::string> frames) {
    frames.insert(frames.begin(), f6.begin(), f6.end());
    return frames;
  };
  const struct {
    const char* what;
    std::vector<std::string> lines;
    uint32_t dataType;
    bool reads;
    uint32_t frames;
  } rows[] = {
      {"a frame line one column short", F6({good, shortLine, good}), 0, false, 0},
      {"a frame line one column long", F6({good, good + ",extra"}), 0, false, 0},
      {"a title line of the wrong count", {kF6HeaderTitles, "400,32,000", "Frame number,Shutter speed", good}, 0, false, 0},
      {"an F6 header of two fields", {"Film speed,Film number", "400,32", kF6ColumnTitles, good}, 0, false, 0},
      {"an F100 header of two fields", {"Film speed,Film number", "200,12"}, 6, true, 0},
      {"an F100 header of one field", {"Film speed", "200"}, 6, false, 0},
      {"a line over the reader's limit", F6({F6Frame({{16, std::string(1100, '7')}})}), 0, false, 0},
      {"1,023 bytes with the line feed", F6({noTime + std::string(1022 - noTime.size(), '7')}), 0, true, 1},
      {"1,024 bytes with the line feed", F6({noTime + std::string(1023 - noTime.size(), '7')}), 0, false, 0},
      {"a comma inside quotes", F6({F6Frame({{13, "\"AE, Lock\""}})}), 0, false, 0},
      {"a header without frames", {kF6HeaderTitles, "400,32,000"}, 0, true, 0},
      {"an empty file", {}, 0, true, 0},
      {"an unknown data type", {kF6HeaderTitles, "400,32,000"}, 8, false, 0},
  };
  for (const auto& row : rows) {
    CameraDataFilePtr file = ReadLines(scratch, row.lines, row.dataType);
    EXPECT_EQ(bool(file), row.reads) << row.what;
    if (file) {
      EXPECT_EQ(CameraDataFileFrameCount(file.get()), row.frames) << row.what;
    }
  }
}

// Paths that are no file; empty and missing columns; records copied out.
TEST(CameraDataFileFields, PathsColumnsAndRecords) {
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

  // A line ending in a comma has an empty last field.
  file = ReadF6Frames(scratch, {F6Frame({{16, ""}, {2, ""}})});
  ASSERT_TRUE(file);
  const ShootingRecord& record = file->frames.front();
  EXPECT_EQ(FindEntry(record, TagShootingTime)->count, 1u);
  EXPECT_EQ(FindEntry(record, TagAperture)->count, 1u);
  EXPECT_EQ(EntryText(*FindEntry(record, TagFocalLength)), "35");
  // The F100 header's third field is the film name.
  file = ReadLines(scratch, {"Film speed,Film number", "200,12,Provia"}, 6);
  ASSERT_TRUE(file);
  EXPECT_EQ(EntryText(*FindEntry(file->header, TagFilmName)), "Provia");
  EXPECT_EQ(FindEntry(file->header, TagCameraId)->count, 1u);

  // A record copied out carries the header, with a header field added, before the frame.
  file = ReadF6Frames(scratch, {F6Frame({}), F6Frame({{0, "02"}})});
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
