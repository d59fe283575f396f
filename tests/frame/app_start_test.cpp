// Start-up decisions, the remembered window sizes, and the combo histories.
#include "frame/app_start.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/combo_history.h"
#include "frame/settings.h"
#include "tests/support/test_support.h"

TEST(AppStart, CommandLineIsOnePath) {
  EXPECT_EQ(AppCommandLinePath("\"/photos/roll 1/a.jpg\""), "/photos/roll 1/a.jpg");
  EXPECT_EQ(AppCommandLinePath("/photos/roll 1/a.jpg"), "/photos/roll 1/a.jpg");  // blanks stand
  EXPECT_EQ(AppCommandLinePath("\"/photos/a.jpg"), "/photos/a.jpg");
  EXPECT_EQ(AppCommandLinePath("\"/a.jpg\"\""), "/a.jpg\"");  // only one trailing quote goes
  EXPECT_EQ(AppCommandLinePath("/a.jpg\""), "/a.jpg\"");      // unquoted: as it stands
  EXPECT_EQ(AppCommandLinePath("\""), "");
  EXPECT_EQ(AppCommandLinePath(""), "");
}

TEST(AppStart, FirstViewTable) {
  testsupport::ScratchDir scratch;
  const std::string folder = scratch.path().string();
  const std::string file = (scratch / "a.jpg").string();

  const auto expect = [](int firstView, const std::string& path, ToolKind kind, const std::string& given) {
    const AppFirstViewDecision d = AppDecideFirstView(firstView, path);
    EXPECT_EQ(d.kind, kind) << "FIRSTVIEW " << firstView << " path '" << path << "'";
    EXPECT_EQ(d.path, given) << "FIRSTVIEW " << firstView << " path '" << path << "'";
  };
  expect(1, file, kToolExifList, file);
  expect(2, file, kToolExifExplorer, "");
  expect(3, file, kToolExifCompare, file);
  expect(3, "", kToolExifCompare, "");
  expect(4, "", kToolThumbnailViewer, "");
  expect(4, file, kToolThumbnailViewer, file);
  expect(0, folder, kToolThumbnailViewer, folder);  // an existing folder
  expect(0, file, kToolImageViewer, file);          // anything else, existing or not
  expect(7, "", kToolImageViewer, "");
  expect(-1, folder + "/missing", kToolImageViewer, folder + "/missing");
}

TEST(WindowSizeMemory, ParseAndFormat) {
  const auto parsed = [](const char* text) {
    const auto size = WindowSizeParse(text);
    return size ? std::to_string(size->width) + "x" + std::to_string(size->height) : "none";
  };
  EXPECT_EQ(parsed("028001E0"), "640x480");
  EXPECT_EQ(parsed("0280 1e0"), "640x480");  // a blank is digit 0, small letters count
  EXPECT_EQ(parsed("02G0xyz0"), "512x0");    // any other character is 0
  EXPECT_EQ(parsed("0280"), "640x0");        // short: past the end reads 0
  EXPECT_EQ(parsed("12"), "4608x0");
  EXPECT_EQ(parsed("028001E0FF"), "640x480");  // at most eight characters are read
  EXPECT_EQ(parsed(""), "none");
  EXPECT_EQ(WindowSizeFormat(640, 480), "028001E0");
  EXPECT_EQ(WindowSizeFormat(0x1ABCD, 5), "1ABCD0005");
  EXPECT_EQ(WindowSizeKey(kToolThumbnailViewer), "SIZE09");
}

TEST(WindowSizeMemory, PlacedOnTheScreen) {
  const auto place = [](WindowRect r) {
    const WindowRect p = WindowPlaceOnScreen(r, 1920, 1080);
    return std::vector<int>{p.left, p.top, p.width, p.height};
  };
  EXPECT_EQ(place({100, 100, 800, 600}), (std::vector<int>{100, 100, 800, 600}));
  EXPECT_EQ(place({100, 100, 4000, 3000}), (std::vector<int>{0, 0, 1920, 1080}));    // cut to the screen
  EXPECT_EQ(place({1500, 700, 800, 600}), (std::vector<int>{1120, 480, 800, 600}));  // moved, not cut
  EXPECT_EQ(place({1500, 10, 800, 600}), (std::vector<int>{1120, 10, 800, 600}));
  EXPECT_EQ(place({10, 10, 0, 0}), (std::vector<int>{10, 10, 0, 0}));
}

TEST(ComboHistory, SavesEditTextFirstAndKeepsNinetyNine) {
  testsupport::ScratchDir scratch;
  SettingsSetFilePath((scratch / "tvx1App.ini").string());
  ASSERT_EQ(SaveComboHistory({"roll2", "roll1", "roll3"}, "roll1", "RENAMECOMBO"), 1);
  EXPECT_EQ(SettingsGetText("RENAMECOMBO", "VAL00"), "roll1");
  EXPECT_EQ(SettingsGetText("RENAMECOMBO", "VAL02"), "roll3");
  EXPECT_EQ(LoadComboHistory("RENAMECOMBO"), (std::vector<std::string>{"roll1", "roll2", "roll3"}));

  // An empty edit text saves nothing.
  ASSERT_EQ(SaveComboHistory({"other"}, "", "RENAMECOMBO"), 1);
  EXPECT_EQ(LoadComboHistory("RENAMECOMBO").front(), "roll1");
  EXPECT_TRUE(LoadComboHistory("NOCOMBO").empty());
  // At most 99 items are kept: numbers stop before 100 and are read back up to "VAL98".
  std::vector<std::string> items;
  for (int i = 0; i < 150; ++i) items.push_back("item" + std::to_string(i));
  ASSERT_EQ(SaveComboHistory(items, "edit", "C"), 1);
  EXPECT_EQ(SettingsGetText("C", "VAL99"), "item98");
  EXPECT_EQ(SettingsGetText("C", "VAL100", "none"), "none");
  const auto loaded = LoadComboHistory("C");
  ASSERT_EQ(loaded.size(), 99u);
  EXPECT_EQ(loaded.back(), "item97");
}
