// Start-up through AppInit as the program runs it: the licence once per settings file, the
// first window by "FIRSTVIEW" with and without a path, one window per kind, sizes by kind.
#include <QApplication>
#include <gtest/gtest.h>

#include "app/app_init.h"
#include "frame/settings.h"
#include "kit/tool_window.h"
#include "tests/support/qt_test_support.h"
#include "tests/support/test_support.h"
#include "views/exif_list_window.h"
#include "views/viewer_window.h"

namespace {

namespace fs = std::filesystem;

// A settings file of the test's own, the licence agreed and the notices seen.
void FreshSettings(const testsupport::ScratchDir& scratch, bool licenceAgreed = true) {
  SettingsSetFilePath((scratch / "tvx1App.ini").string());
  if (licenceAgreed) SettingsPutUInt("FLAG", "LICENSE", 1);
  SettingsPutString("FLAG", "MSGOK1", "0.9.0b");
}

void CloseAll() {
  for (int kind = 0; kind < kToolKindCount; ++kind)
    if (ToolWindow* window = ToolWindowOf(kind)) window->close();
  qttest::FlushDeletes();
  ASSERT_EQ(ToolWindowOpenCount(), 0);
}

}  // namespace

TEST(AppStart, FirstViewWithAndWithoutAPath) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  const std::string file = (testsupport::SharedSub("corpus/makers") / "nikon/digicam_D90_DSC_0003.JPG").string();
  testsupport::ScratchDir scratch;
  FreshSettings(scratch);
  // The Exif list takes the path; the windows of other kinds are not built yet and the main
  // window stands in for them, holding the path where the kind would take it.
  const struct {
    int firstView;
    ToolKind opened;
    bool keepsPath;
  } cases[] = {{0, kToolImageViewer, true},  {1, kToolExifList, true},    {2, kToolImageViewer, false},
               {3, kToolImageViewer, true},  {4, kToolImageViewer, true}, {7, kToolImageViewer, true}};
  for (const auto& c : cases) {
    for (const std::string& path : {std::string(), "\"" + file + "\""}) {
      SCOPED_TRACE("FIRSTVIEW " + std::to_string(c.firstView) + " path " + path);
      SettingsPutUInt("OPTION", "FIRSTVIEW", uint32_t(c.firstView));
      ASSERT_TRUE(AppInit(path));
      EXPECT_EQ(ToolWindowOpenCount(), 1);
      ToolWindow* window = ToolWindowOf(c.opened);
      ASSERT_NE(window, nullptr);
      const std::string expected = path.empty() || !c.keepsPath ? "" : file;
      if (c.opened == kToolExifList)
        EXPECT_EQ(static_cast<ExifListWindow*>(window)->CurrentPath(), expected);
      else
        EXPECT_EQ(static_cast<ViewerWindow*>(window)->CurrentPath(), expected);
      CloseAll();
    }
  }
  EXPECT_EQ(qttest::UnexpectedModals(), 0);
}

TEST(AppStart, LicenceOncePerSettingsFile) {
  testsupport::ScratchDir scratch;
  FreshSettings(scratch, false);
  std::string text;
  qttest::OnNextModal(qttest::Answer(132, 7, &text));  // declined: the program ends at once
  EXPECT_FALSE(AppInit(""));
  EXPECT_EQ(ToolWindowOpenCount(), 0);
  EXPECT_FALSE(text.empty());
  qttest::OnNextModal(qttest::Answer(132, 6));
  EXPECT_TRUE(AppInit(""));
  CloseAll();
  const int unexpected = qttest::UnexpectedModals();
  EXPECT_TRUE(AppInit(""));  // agreed before: no box
  EXPECT_EQ(qttest::UnexpectedModals(), unexpected);
  CloseAll();
  testsupport::ScratchDir other;
  FreshSettings(other, false);  // another settings file asks again
  qttest::OnNextModal(qttest::Answer(132, 6));
  EXPECT_TRUE(AppInit(""));
  EXPECT_EQ(qttest::DropQueuedActions(), 0);
  CloseAll();
}

TEST(AppStart, OneWindowPerKindAndSizesByKind) {
  testsupport::ScratchDir scratch;
  FreshSettings(scratch);
  AppRegisterToolWindows();
  ToolWindow* list = OpenToolWindow(kToolExifList, "");
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(OpenToolWindow(kToolExifList, ""), nullptr);  // raised, not made again
  EXPECT_EQ(ToolWindowOf(kToolExifList), list);
  EXPECT_EQ(OpenToolWindow(kToolUnused, ""), nullptr);
  ToolWindow* embed = OpenToolWindow(kToolEmbed, "");
  ASSERT_NE(embed, nullptr);
  EXPECT_EQ(ToolWindowOpenCount(), 2);
  list->resize(700, 300);
  embed->resize(600, 500);
  list->close();
  EXPECT_EQ(ToolWindowOpenCount(), 1);  // the other window keeps the program alive
  embed->close();
  qttest::FlushDeletes();
  EXPECT_EQ(SettingsGetText("SIZE", "SIZE01"), "02BC012C");
  EXPECT_EQ(SettingsGetText("SIZE", "SIZE00"), "025801F4");
  SettingsPutString("SIZE", "SIZE00", "02 001F4");  // a blank reads as digit 0
  embed = OpenToolWindow(kToolEmbed, "");
  EXPECT_EQ(embed->size(), QSize(512, 500));
  list = OpenToolWindow(kToolExifList, "");
  EXPECT_EQ(list->size(), QSize(700, 300));
  CloseAll();
}
