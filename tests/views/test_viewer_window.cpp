// The image viewer on real files, driven through its numbered commands, keys and panes: the
// state each kind of file leaves, the text pane against the Exif list, the folder walk, the
// second slot, and the picture against tavexon-cli's decode scaled by the codec.
#include <QAbstractButton>
#include <QAction>
#include <QGuiApplication>
#include <QScreen>
#include <QTest>
#include <QTreeWidget>
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

#include "codec/raster_scale.h"
#include "frame/message_table.h"
#include "frame/settings.h"
#include "kit/kit_text.h"
#include "tests/support/qt_test_support.h"
#include "tests/support/test_support.h"
#include "views/embed_window.h"
#include "views/exif_list_window.h"
#include "views/viewer_window.h"

namespace {

namespace fs = std::filesystem;

const fs::path kViewerSamples = TAVEXON_SAMPLES;

fs::path Corpus(const std::string& file) { return testsupport::SharedSub("corpus") / file; }

// Waits until the active slot shows what was asked for last.
void WaitShown(ViewerWindow& window) {
  ASSERT_TRUE(QTest::qWaitFor([&] {
    return !window.Loading() && window.Slot(window.ActiveSlot()).shownPath == window.CurrentPath();
  }, 20000));
  QTest::qWait(20);  // a message box the result raises is answered
}

void Open(ViewerWindow& window, const fs::path& file) {
  window.OpenFile(file.string());
  WaitShown(window);
}

QString InfoText(const ViewerWindow& window, int slot) { return window.Slot(slot).infoPane->toPlainText(); }

// The Exif list's rows, written as the text pane writes them.
QString ExifListText(const fs::path& file) {
  ExifListWindow list(file.string());
  QStringList lines;
  for (int row = 0; row < list.List()->topLevelItemCount(); ++row) {
    const QTreeWidgetItem* item = list.List()->topLevelItem(row);
    lines << (item->text(1).isEmpty() ? "[" + item->text(0) + "]" : item->text(0) + "\t" + item->text(2));
  }
  return lines.join('\n');
}

// The corpus NEF (its preview stripped to 26 bytes) with a real JPEG as the MakerNote's
// preview: the JPEG appended, the note's count grown over it, tags 513 and 514 pointed at it.
fs::path NefWithPreview(const testsupport::ScratchDir& scratch) {
  std::vector<unsigned char> nef = testsupport::ReadBytes(Corpus("makers/nikon/exiftool_Nikon.nef"));
  const std::vector<unsigned char> jpeg = testsupport::ReadBytes(Corpus("jpeg/ljt_testorig.jpg"));
  auto find = [&nef](std::vector<unsigned char> pattern, size_t from = 0) {
    return size_t(std::search(nef.begin() + long(from), nef.end(), pattern.begin(), pattern.end()) - nef.begin());
  };
  auto put32 = [&nef](size_t at, uint32_t value) {
    for (int i = 0; i < 4; ++i) nef[at + size_t(i)] = uint8_t(value >> (8 * i));
  };
  const size_t note = find({'N', 'i', 'k', 'o', 'n', 0, 2});
  const size_t noteEntry = find({0x7C, 0x92, 7, 0});  // 37500, UNDEFINED, little-endian
  const size_t start = find({0x01, 0x02, 4, 0, 1, 0, 0, 0}, note);  // inside the note's preview table
  const size_t length = find({0x02, 0x02, 4, 0, 1, 0, 0, 0}, note);
  EXPECT_LT(std::max({note, noteEntry, start, length}), nef.size());
  const size_t at = nef.size();
  nef.insert(nef.end(), jpeg.begin(), jpeg.end());
  put32(noteEntry + 4, uint32_t(nef.size() - note));
  put32(start + 8, uint32_t(at - note - 10));  // from the note's own TIFF header
  put32(length + 8, uint32_t(jpeg.size()));
  const fs::path built = scratch / "preview.nef";
  testsupport::WriteBytes(built, nef);
  return built;
}

QAction* Command(ViewerWindow& window, int id) { return window.findChild<QAction*>(QString::number(id)); }

}  // namespace

TEST(ViewerWindow, EachKindOfFileLeavesItsStateAndMessage) {
  TAVEXON_REQUIRE_SHARED("corpus");
  testsupport::ScratchDir scratch;
  qttest::FreshSettings(scratch.path(), {"MSGOK4"});  // the one-frame embed's notice seen
  ToolWindowRegister(kToolEmbed, EmbedWindowCreate);  // the tools the menu opens
  ToolWindowRegister(kToolExifList, ExifListWindowCreate);
  ViewerWindow window("");
  window.show();
  const struct {
    const char* file;
    int message;      // the box the load raises, 0 none
    uint32_t bits;    // of the slot's class
    bool picture;
    bool editable;
    const char* text; // the text pane: a message number, or "list" for the Exif list's rows
  } cases[] = {
      {"makers/nikon/digicam_D90_DSC_0003.JPG", 0, 1, true, true, "list"},
      {"jpeg/ljt_testorig.jpg", 0, 512, true, true, "30"},
      {"hostile/pel_gh-10-b.jpg", 85, 256, true, false, "85"},
      {"hostile/filetype_fixture.nef", 32, 1024, false, false, ""},
      {"makers/canon/exiftool_Canon1DmkIII.jpg", 0, 1, true, true, "list"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    if (c.message) qttest::OnNextModal(qttest::Answer(c.message, 1));
    Open(window, Corpus(c.file));
    EXPECT_EQ(qttest::DropQueuedActions(), 0);
    const ViewerSlot& slot = window.Slot(0);
    EXPECT_TRUE(slot.fileClass & c.bits) << slot.fileClass;
    EXPECT_EQ(slot.HasPicture(), c.picture);
    EXPECT_EQ(window.CommandsEnabled(), c.editable);
    EXPECT_EQ(Command(window, 40027)->isEnabled(), c.editable);
    EXPECT_EQ(Command(window, 40032)->isEnabled(), c.editable);
    const std::string text = c.text;
    if (text == "list") EXPECT_EQ(InfoText(window, 0), ExifListText(Corpus(c.file)));
    else if (!text.empty()) EXPECT_EQ(InfoText(window, 0), KitMessage(uint32_t(std::stoi(text))));
    else EXPECT_TRUE(InfoText(window, 0).isEmpty());
    EXPECT_EQ(window.StatusPart(0), QString::fromStdString(fs::path(c.file).filename().string()));
  }
  // Every command of the menu is there; the tools of later builds stand disabled, the edit
  // commands follow the file, the tools that exist act.
  for (int id : {40002, 40004, 40007, 40008, 40010, 40014, 40017, 40018, 40019, 40021, 40023, 40027, 40028,
                 40032, 40035, 40036, 40037, 40045, 40061, 40063, 40069, 40071, 40099, 40112, 40123, 40140,
                 40141, 40015, 40016, 129})
    ASSERT_NE(Command(window, id), nullptr) << id;
  for (int id : {40023, 40035, 129, 40123, 40140, 40019, 40061, 40099, 40063, 40069, 40036})
    EXPECT_FALSE(Command(window, id)->isEnabled()) << id;
  Open(window, Corpus("makers/nikon/digicam_D90_DSC_0003.JPG"));
  qttest::OnNextModal([](QWidget* dialog) {
    EXPECT_EQ(dialog->objectName(), "133");
    qttest::Press(dialog, "2");
  });
  Command(window, 40027)->trigger();
  EXPECT_EQ(qttest::DropQueuedActions(), 0);
  // Exif export writes the backup; import puts it into a copy of a scan without Exif.
  const fs::path backup = scratch / "d90.exf", target = scratch / "target.jpg";
  qttest::OnNextModal(qttest::Choose(backup.string()));
  Command(window, 40016)->trigger();
  const std::vector<unsigned char> written = testsupport::ReadBytes(backup);
  ASSERT_GT(written.size(), 16u);
  EXPECT_EQ(std::string(written.begin(), written.begin() + 12), "EXIF_BACK_UP");
  fs::copy_file(kViewerSamples / "scans/scan_0001.jpg", target);
  fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write);
  Open(window, target);
  qttest::OnNextModal([](QWidget* dialog) { qttest::Press(dialog, "1"); });  // the import's choice: fit
  qttest::OnNextModal(qttest::Choose(backup.string()));
  qttest::OnNextModal(qttest::Choose(target.string()));
  Command(window, 40015)->trigger();
  EXPECT_EQ(qttest::DropQueuedActions(), 0);
  WaitShown(window);  // reloaded after the edit
  EXPECT_TRUE(InfoText(window, 0).contains("NIKON D90"));
  Command(window, 40014)->trigger();
  auto* list = static_cast<ExifListWindow*>(ToolWindowOf(kToolExifList));
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->CurrentPath(), window.CurrentPath());
  list->close();
  qttest::FlushDeletes();
  EXPECT_EQ(qttest::UnexpectedModals(), 0);
}

TEST(ViewerWindow, NefPreviewAndItsNoticeOncePerVersion) {
  TAVEXON_REQUIRE_SHARED("corpus");
  testsupport::ScratchDir scratch;
  qttest::FreshSettings(scratch.path(), {"MSGOK4"});
  const fs::path nef = NefWithPreview(scratch);
  ViewerWindow window("");
  int notices = 0;
  for (int run = 0; run < 2; ++run) {
    qttest::OnNextModal([&notices](QWidget* dialog) {
      ++notices;
      EXPECT_EQ(dialog->objectName(), "119");
      dialog->findChild<QAbstractButton*>("1021")->setChecked(true);  // not again in this version
      qttest::Press(dialog, "1");
    });
    Open(window, nef);
    qttest::DropQueuedActions();
    EXPECT_EQ(window.Slot(0).fileClass, 2u);
    EXPECT_FALSE(window.CommandsEnabled());
    EXPECT_EQ(window.Slot(0).picture->shownWidth, 227u);
    EXPECT_EQ(window.Slot(0).picture->shownHeight, 149u);
    EXPECT_EQ(InfoText(window, 0), ExifListText(nef));
  }
  EXPECT_EQ(notices, 1);
  EXPECT_EQ(SettingsGetText("FLAG", "MSGOK5", ""), "0.9.0b");
}

TEST(ViewerWindow, FolderWalkSecondSlotAndHeldKey) {
  testsupport::ScratchDir scratch;
  qttest::FreshSettings(scratch.path(), {"MSGOK4"});
  // Names in mixed case: the walk goes by name without regard to case.
  const fs::path folder = scratch / "roll";
  fs::create_directories(folder);
  const std::vector<std::string> names = {"a.jpg", "B.jpg", "c.jpg", "D.jpg"};
  for (size_t i = 0; i < names.size(); ++i)
    fs::copy_file(kViewerSamples / "scans" / ("scan_000" + std::to_string(i + 1) + ".jpg"), folder / names[i]);
  fs::copy_file(kViewerSamples / "scans/scan_0005.jpg", folder / "e.png");  // another extension: not walked
  ViewerWindow window("");
  window.show();
  // The arrow keys and F2 are the menu's shortcuts, which act only in the active window (on a
  // real X server the window is not active until asked).
  window.activateWindow();
  (void)QTest::qWaitForWindowActive(&window);  // offscreen windows are active at once
  // A folder is for the thumbnail viewer, which this build lacks: the status bar says so.
  window.OpenFile(folder.string());
  EXPECT_TRUE(window.StatusPart(0).endsWith(KitPathText(folder.string()))) << window.StatusPart(0).toStdString();
  EXPECT_FALSE(window.Slot(0).HasPicture());
  Open(window, folder / "B.jpg");
  const struct {
    int key;
    const char* expected;
  } walk[] = {{Qt::Key_Right, "c.jpg"}, {Qt::Key_Right, "D.jpg"}, {Qt::Key_Right, "D.jpg"},
              {Qt::Key_Left, "c.jpg"},  {Qt::Key_Left, "B.jpg"},  {Qt::Key_Left, "a.jpg"}, {Qt::Key_Left, "a.jpg"}};
  for (const auto& step : walk) {
    QTest::keyClick(&window, Qt::Key(step.key));
    WaitShown(window);
    EXPECT_EQ(fs::path(window.Slot(0).shownPath).filename(), step.expected);
  }
  EXPECT_EQ(window.StatusPart(2), "16 x 16  (1/4)");
  // A held key: presses come faster than loads; only the last is shown.
  for (int press = 0; press < 3; ++press) QTest::keyClick(&window, Qt::Key_Right, Qt::NoModifier, 0);
  WaitShown(window);
  EXPECT_EQ(fs::path(window.Slot(0).shownPath).filename(), "D.jpg");

  // F2 opens the second slot, which takes the next file; a click on a pane makes it active.
  QTest::keyClick(&window, Qt::Key_F2);
  ASSERT_TRUE(window.Slot(1).open);
  EXPECT_EQ(window.ActiveSlot(), 1);
  Open(window, folder / "a.jpg");
  EXPECT_EQ(window.Slot(0).infoPane->width(), window.Slot(1).infoPane->width());
  EXPECT_EQ(window.Slot(1).infoPane->x(), window.Slot(0).infoPane->width() + 2);
  QTest::mouseClick(window.Slot(0).picturePane, Qt::LeftButton);
  EXPECT_EQ(window.ActiveSlot(), 0);
  EXPECT_EQ(fs::path(window.CurrentPath()).filename(), "D.jpg");
  QTest::mouseClick(window.Slot(1).picturePane, Qt::LeftButton);
  QTest::keyClick(&window, Qt::Key_Right);
  WaitShown(window);
  EXPECT_EQ(fs::path(window.Slot(1).shownPath).filename(), "B.jpg");
  EXPECT_EQ(fs::path(window.Slot(0).shownPath).filename(), "D.jpg");
  QTest::keyClick(&window, Qt::Key_F2);
  EXPECT_FALSE(window.Slot(1).open);
  EXPECT_EQ(window.ActiveSlot(), 0);
  EXPECT_EQ(window.Slot(0).infoPane->width(), window.centralWidget()->width());
  EXPECT_EQ(qttest::UnexpectedModals(), 0);
}

TEST(ViewerWindow, PictureIsTheDecodeScaledToTheScreen) {
  TAVEXON_REQUIRE_SHARED("corpus");
  testsupport::ScratchDir scratch;
  qttest::FreshSettings(scratch.path(), {"MSGOK4"});
  const QSize screen = QGuiApplication::primaryScreen()->size();
  SettingsPutUInt("OPTION", "DEBUGTIME", 1);  // the status bar carries the load's timings
  ViewerWindow window("");
  // Larger than the screen, and not twice its size in both directions: a full-size decode.
  const fs::path file = Corpus("jpeg/mei_Nokia_3110c_Mobile_Phone_.jpg");
  Open(window, file);
  EXPECT_TRUE(window.StatusPart(0).startsWith("TIME:")) << window.StatusPart(0).toStdString();
  const fs::path ppm = scratch / "decoded.ppm";
  testsupport::RunCommand(std::string(TAVEXON_CLI_PATH) + " decode " + testsupport::ShellQuote(file.string()) +
                          " -o " + testsupport::ShellQuote(ppm.string()));
  const QImage decoded(QString::fromStdString(ppm.string()));
  ASSERT_FALSE(decoded.isNull());
  ASSERT_TRUE(decoded.width() <= 2 * screen.width() || decoded.height() <= 2 * screen.height());
  // The decode as a RasterImage (BGR, bottom-up, rows padded to 4), reduced by the codec's own
  // scaling with the factor that lands the relatively larger side on the screen.
  const QImage bottomUp = decoded.convertToFormat(QImage::Format_BGR888).mirrored(false, true);
  std::vector<uint8_t> raster(RasterRowBytes(uint32_t(decoded.width())) * size_t(decoded.height()));
  for (int y = 0; y < decoded.height(); ++y)
    std::memcpy(raster.data() + size_t(y) * RasterRowBytes(uint32_t(decoded.width())), bottomUp.constScanLine(y),
                size_t(decoded.width()) * 3);
  const bool byWidth = double(decoded.width()) / screen.width() >= double(decoded.height()) / screen.height();
  const float factor = byWidth ? ScaleFactorFor(uint32_t(decoded.width()), uint32_t(screen.width()))
                               : ScaleFactorFor(uint32_t(decoded.height()), uint32_t(screen.height()));
  RasterPixels scaled;
  ASSERT_EQ(ScaleRaster(raster.data(), uint32_t(decoded.width()), uint32_t(decoded.height()), factor, scaled), 1);
  const ViewerPicture& shown = *window.Slot(0).picture;
  EXPECT_EQ(byWidth ? shown.shownWidth : shown.shownHeight, uint32_t(byWidth ? screen.width() : screen.height()));
  ASSERT_EQ(shown.shownWidth, scaled.width);
  // The pane holds it centred and clipped: every pixel of the pane that the picture covers.
  const QImage& surface = window.Slot(0).picturePane->Surface();
  const QPoint corner((surface.width() - int(scaled.width)) / 2, (surface.height() - int(scaled.height)) / 2);
  int differ = 0, covered = 0;
  for (int y = std::max(0, corner.y()); y < std::min(surface.height(), corner.y() + int(scaled.height)); ++y)
    for (int x = std::max(0, corner.x()); x < std::min(surface.width(), corner.x() + int(scaled.width)); ++x, ++covered) {
      const uint8_t* bgr = scaled.pixels.data() + (scaled.height - 1 - uint32_t(y - corner.y())) * RasterRowBytes(scaled.width) +
                           3 * (x - corner.x());
      differ += surface.pixel(x, y) != qRgb(bgr[2], bgr[1], bgr[0]);
    }
  EXPECT_GT(covered, 0);
  EXPECT_EQ(differ, 0);
}

TEST(ViewerWindow, DrawnPartsEqualTheWholePictureDrawn) {
  // A noisy 517 x 389 picture shown on a 200 x 150 screen: each part of it drawn on its own
  // (reduced, turned, sharpened) is the same part of the whole picture drawn.
  std::vector<uint8_t> raster(RasterRowBytes(517) * size_t(389));
  uint32_t seed = 7;
  for (uint8_t& byte : raster) byte = uint8_t((seed = seed * 1103515245u + 12345u) >> 16);
  RasterImage image;
  image.pixels = raster.data();
  image.width = 517;
  image.height = 389;
  auto row = [](const RasterPixels& p, uint32_t y) { return &p.pixels[(p.height - 1 - y) * RasterRowBytes(p.width)]; };
  for (const int rotation : {0, 1, 3})
    for (const int sharp : {0, 3}) {
      ViewerPicture picture;
      ASSERT_EQ(ViewerPictureMake(nullptr, image, rotation, sharp, 200, 150, picture), 1);
      RasterPixels whole, part;
      ASSERT_EQ(ViewerDrawPart(picture, {0, 0, picture.shownWidth, picture.shownHeight}, whole), 1);
      for (const RasterRect rect : {ViewerVisiblePart(picture.shownWidth, picture.shownHeight, 60, 40),
                                    RasterRect{0, 0, 5, 3}, RasterRect{picture.shownWidth - 4, picture.shownHeight - 7, 4, 7}}) {
        ASSERT_EQ(ViewerDrawPart(picture, rect, part), 1);
        for (uint32_t y = 0; y < rect.height; ++y)
          EXPECT_TRUE(std::equal(row(part, y), row(part, y) + 3 * rect.width, row(whole, rect.top + y) + 3 * rect.left))
              << "rotation " << rotation << ", sharpening " << sharp << ", row " << y << " of the part at " << rect.left;
      }
    }
}
