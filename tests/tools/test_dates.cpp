// Capture date update and file date restore, against the carry rules and against ExifTool as
// a peer doing the same shift and the same restore.
#include <sys/stat.h>

#include <map>

#include "exif/exif_document.h"
#include "tests/tools/tools_support.h"
#include "tools/date_calendar.h"
#include "tools/date_update.h"

namespace {
namespace fs = std::filesystem;
using toolstest::ExiftoolRead;

DateUpdateSettings Shift(int y, int mo, int d, int h, int mi, int s) {
  DateUpdateSettings settings;
  settings.type = kDateTypeShift;
  const int values[6] = {y, mo, d, h, mi, s};
  std::copy(values, values + 6, settings.shift);
  return settings;
}

FileList ListOf(const fs::path& folder) {
  FileList list;
  FileListScan(list, folder.string(), "jpg", kFileListFiles, 0);
  return list;
}

std::string Tag(const nlohmann::json& tags, const char* key) { return tags.contains(key) ? tags[key].get<std::string>() : ""; }

TEST(Dates, CarryRulesFollowTheCalendar) {
  struct Case {
    const char* start;
    DateUpdateSettings change;
    const char* result;
  };
  DateUpdateSettings month13;
  month13.type = kDateTypeSet, month13.year = 2003, month13.month = 13, month13.day = 1;
  DateUpdateSettings february30 = month13;
  february30.month = 2, february30.day = 30;
  const Case cases[] = {
      {"2003:01:31 10:00:00", Shift(0, 1, 0, 0, 0, 0), "2003:03:03 10:00:00"},
      {"2004:01:31 10:00:00", Shift(0, 1, 0, 0, 0, 0), "2004:03:02 10:00:00"},
      {"2004:02:29 10:00:00", Shift(1, 0, 0, 0, 0, 0), "2005:03:01 10:00:00"},
      {"2003:03:31 10:00:00", Shift(0, -1, 0, 0, 0, 0), "2003:03:03 10:00:00"},
      {"2003:01:01 00:00:00", Shift(0, 0, 0, 0, 0, -1), "2002:12:31 23:59:59"},
      {"2000:02:28 23:00:00", Shift(0, 0, 1, 2, 0, 0), "2000:03:01 01:00:00"},  // 2000 is a leap year
      {"2100:02:28 23:00:00", Shift(0, 0, 1, 2, 0, 0), "2100:03:02 01:00:00"},  // 2100 is not
      {"1999:12:31 22:30:00", Shift(0, 0, 1, 2, 0, 0), "2000:01:02 00:30:00"},
      {"2003:05:06 07:08:09", Shift(0, 0, 0, 0, 0, 0), "2003:05:06 07:08:09"},  // empty fields rewrite the text
      {"2003:05:06 07:08:09", month13, "2004:01:01 07:08:09"},                  // the time of day stays
      {"2003:05:06 07:08:09", february30, "2003:03:02 07:08:09"},
      {"3001:12:31 23:00:00", Shift(0, 0, 1, 0, 0, 0), "3001:12:32 23:00:00"},  // refused: printed as added
      {"20x3:0 :06 07:08:09", Shift(0, 0, 0, 0, 0, 0), "2002:12:06 07:08:09"},  // non-digits count as 0: month 0 borrows
  };
  for (const Case& c : cases) EXPECT_EQ(DateUpdateText(c.start, 19, c.change), c.result) << c.start;
  long long year = 0;
  int month = 0, day = 0;
  DateCivilFromDays(DateDaysFromCivil(1600, 2, 29), year, month, day);
  EXPECT_EQ(year * 10000 + month * 100 + day, 16000229);
}

// Over every camera file and over seeded dates at month, year and leap-day ends, the tools
// do what ExifTool does: file times from the capture dates as `exiftool
// '-FileModifyDate<DateTimeOriginal'` sets them (a file without the tag fails and is counted),
// then a shift by one day and two hours as `exiftool -AllDates+=` gives. Named differences:
// the other two tags take 36867's new text (ExifTool shifts each from its own value), and a
// file ExifTool refuses to write (a corrupt JPEG it will not touch) is left out.
TEST(Dates, RestoreAndShiftMatchExiftoolOverAFolder) {
  TOOLS_REQUIRE_PEERS();
  testsupport::ScratchDir scratch;
  const auto ours = toolstest::CopyCameraFiles(scratch / "ours");
  const char* seeds[] = {"2003:12:31 23:00:00", "2004:02:28 22:30:00", "2000:02:29 23:59:59", "2100:02:28 21:59:59"};
  for (std::size_t i = 0; i < 4; ++i) {
    DateUpdateSettings seed;
    seed.type = kDateTypeSet;
    std::sscanf(seeds[i], "%d:%d:%d %d:%d:%d", &seed.year, &seed.month, &seed.day, &seed.hour, &seed.minute, &seed.second);
    DateFileReport report;
    ASSERT_EQ(DateUpdateFile(ours[i].string(), seed, nullptr, &report), kDateUpdated) << ours[i];
  }
  fs::copy(scratch / "ours", scratch / "peer");
  const std::string peerFolder = testsupport::ShellQuote((scratch / "peer").string());
  DateRunResult result;
  const int failed = FileDateRestoreRun(ListOf(scratch / "ours"), false, nullptr, nullptr, &result);
  EXPECT_EQ(failed, result.failed);
  EXPECT_EQ(result.message, failed > 0 ? 121u : 0u);
  testsupport::RunCommand("exiftool -q -q -overwrite_original '-FileModifyDate<DateTimeOriginal' " + peerFolder +
                          " 2>/dev/null");
  int withDate = 0;
  for (const fs::path& file : ours) {
    struct stat mine {}, peer {};
    ASSERT_EQ(stat(file.c_str(), &mine), 0);
    ASSERT_EQ(stat((scratch / "peer" / file.filename()).c_str(), &peer), 0);
    EXPECT_EQ(mine.st_mtime, peer.st_mtime) << file.filename();
    withDate += FileDateRestoreOne(file.string());
  }
  EXPECT_EQ(withDate + failed, int(ours.size()));

  auto before = ExiftoolRead(scratch / "ours");
  DateUpdateSettings shift = Shift(0, 0, 1, 2, 0, 0);
  shift.alsoTags = kDateAlsoDigitized | kDateAlsoModified;
  DateRunResult shifted;
  ASSERT_EQ(DateUpdateRun(ListOf(scratch / "ours"), shift, nullptr, nullptr, nullptr, &shifted), 1);
  EXPECT_EQ(shifted.failed, 0);
  EXPECT_GT(shifted.updated, 30);
  testsupport::RunCommand("exiftool -q -q -overwrite_original '-AllDates+=0:0:1 2:0:0' " + peerFolder + " 2>/dev/null");
  auto mineAll = ExiftoolRead(scratch / "ours");
  auto peerAll = ExiftoolRead(scratch / "peer");
  int compared = 0;
  for (const fs::path& file : ours) {
    const std::string name = file.filename().string();
    const nlohmann::json& mine = mineAll[name];
    const nlohmann::json& peer = peerAll[name];
    const std::string original = Tag(before[name], "ExifIFD:DateTimeOriginal");
    if (original.empty() || Tag(peer, "ExifIFD:DateTimeOriginal") == original) continue;  // ExifTool left it
    EXPECT_EQ(Tag(mine, "ExifIFD:DateTimeOriginal"), Tag(peer, "ExifIFD:DateTimeOriginal")) << name;
    for (const char* other : {"ExifIFD:CreateDate", "IFD0:ModifyDate"})
      if (Tag(before[name], other) == original) {
        EXPECT_EQ(Tag(mine, other), Tag(peer, other)) << name << " " << other;
      }
    ++compared;
  }
  EXPECT_GT(compared, 30);
}

}  // namespace
