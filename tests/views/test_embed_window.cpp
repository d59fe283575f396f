// The embed window on the bundled roll and scans, driven through its fields and buttons: the
// same files as tavexon-cli embed, nothing written on a count mismatch, Esc ends the run after
// the file in hand.
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QTest>
#include <QTimer>
#include <gtest/gtest.h>

#include "frame/settings.h"
#include "tests/support/qt_test_support.h"
#include "tests/support/test_support.h"
#include "views/embed_one_dialog.h"
#include "views/embed_window.h"

namespace {

namespace fs = std::filesystem;

const fs::path kSamples = TAVEXON_SAMPLES;
const fs::path kRoll = kSamples / "f6-detailed-film032-36frames.txt";

fs::path ScansCopy(const testsupport::ScratchDir& scratch, const std::string& name) {
  const fs::path folder = scratch / name;
  fs::create_directories(folder);
  for (const fs::path& scan : testsupport::FilesUnder(kSamples / "scans"))
    testsupport::CopyWritable(scan, folder / scan.filename());
  return folder;
}

void Fill(EmbedWindow& window, const fs::path& jpegs) {
  window.findChild<QComboBox*>("maker")->setEditText("Nikon");
  window.findChild<QComboBox*>("camera")->setEditText("F6");
  window.findChild<QComboBox*>("datatype")->setCurrentIndex(0);
  window.findChild<QLineEdit*>("datafile")->setText(QString::fromStdString(kRoll.string()));
  window.findChild<QLineEdit*>("jpegpath")->setText(QString::fromStdString(jpegs.string()));
}

}  // namespace

// The window's run, and the one-frame dialog for one frame, write what tavexon-cli embed writes.
TEST(EmbedWindow, RunAndOneFrameDialogWriteWhatTheCommandLineWrites) {
  testsupport::ScratchDir scratch;
  qttest::FreshSettings(scratch.path(), {"MSGOK1"});
  const fs::path byCli = ScansCopy(scratch, "cli");
  const fs::path byWindow = ScansCopy(scratch, "window");
  int status = 0;
  testsupport::RunCommand("TAVEXON_INI=" + testsupport::ShellQuote((scratch / "cli.ini").string()) + " " +
                              TAVEXON_CLI_PATH + " embed --data " + testsupport::ShellQuote(kRoll.string()) +
                              " --type f6-detailed --maker Nikon --camera F6 --jpegs " +
                              testsupport::ShellQuote(byCli.string()) + " >/dev/null 2>&1",
                          &status);
  ASSERT_EQ(status, 0);
  EmbedWindow window;
  Fill(window, byWindow);
  qttest::OnNextModal(qttest::Answer(51, 1));
  EXPECT_EQ(window.Run(), 1);
  for (const fs::path& scan : testsupport::FilesUnder(byCli)) {
    SCOPED_TRACE(scan.filename().string());
    EXPECT_EQ(testsupport::ReadBytes(byWindow / scan.filename()), testsupport::ReadBytes(scan));
  }
  EXPECT_EQ(SettingsGetText("MAKER", "VAL00"), "Nikon");  // the histories were stored
  SettingsPutString("FLAG", "MSGOK4", "0.9.0b");  // the one-frame embed's notice seen

  const fs::path out = scratch / "frame5.jpg";
  std::string preview;
  qttest::OnNextModal([&](QWidget* dialog) {
    ASSERT_EQ(dialog->objectName(), "133");
    dialog->findChild<QComboBox*>("1036")->setEditText("Nikon");
    dialog->findChild<QComboBox*>("1037")->setEditText("F6");
    dialog->findChild<QComboBox*>("1023")->setCurrentIndex(0);
    auto* file = dialog->findChild<QLineEdit*>("1044");
    file->setText(QString::fromStdString(kRoll.string()));
    emit file->editingFinished();
    auto* frames = dialog->findChild<QListWidget*>("1045");
    EXPECT_EQ(frames->count(), 36);
    frames->setCurrentRow(4);
    preview = dialog->findChild<QPlainTextEdit*>("1043")->toPlainText().toStdString();
    qttest::Press(dialog, "1");
  });
  qttest::OnNextModal(qttest::Choose(out.string()));
  std::string written;
  ASSERT_EQ(ShowEmbedDialog(nullptr, (kSamples / "scans/scan_0005.jpg").string(), &written), 1);
  EXPECT_EQ(written, out.string());
  EXPECT_NE(preview.find("F16"), std::string::npos) << preview;
  EXPECT_NE(preview.find("2026/06/08"), std::string::npos) << preview;
  // Tag by tag as the list shows them (a rebuilt note's pad bytes may differ between runs).
  auto dump = [](const fs::path& file) {
    return testsupport::RunCommand(std::string(TAVEXON_CLI_PATH) + " dump " +
                                   testsupport::ShellQuote(file.string()) + " | tail -n +2");
  };
  EXPECT_EQ(dump(out), dump(byCli / "scan_0005.jpg"));
  EXPECT_EQ(qttest::UnexpectedModals(), 0);
}

TEST(EmbedWindow, CountMismatchWritesNothingAndEscStopsAfterTheFileInHand) {
  testsupport::ScratchDir scratch;
  qttest::FreshSettings(scratch.path(), {"MSGOK1"});
  const fs::path jpegs = ScansCopy(scratch, "scans");
  fs::remove(jpegs / "scan_0036.jpg");
  const std::vector<fs::path> scans = testsupport::FilesUnder(jpegs);
  std::vector<std::vector<unsigned char>> before;
  for (const fs::path& scan : scans) before.push_back(testsupport::ReadBytes(scan));
  EmbedWindow window;
  Fill(window, jpegs);
  std::string mismatch;
  qttest::OnNextModal(qttest::Answer(75, 1, &mismatch));
  qttest::OnNextModal(qttest::Answer(5, 1));
  EXPECT_EQ(window.Run(), 0);
  EXPECT_NE(mismatch.find("[36]"), std::string::npos) << mismatch;
  EXPECT_NE(mismatch.find("[35]"), std::string::npos) << mismatch;
  for (size_t i = 0; i < scans.size(); ++i) EXPECT_EQ(testsupport::ReadBytes(scans[i]), before[i]);

  // With the roll whole again, Esc arrives while the third file is reported.
  testsupport::CopyWritable(kSamples / "scans/scan_0036.jpg", jpegs / "scan_0036.jpg");
  auto* label = window.findChild<QLabel*>("progress");
  QTimer watch;
  QObject::connect(&watch, &QTimer::timeout, [&] {
    if (label->text() != "scan_0003.jpg") return;
    watch.stop();
    QTest::keyClick(&window, Qt::Key_Escape);
  });
  watch.start(0);
  qttest::OnNextModal(qttest::Answer(5, 1));
  EXPECT_EQ(window.Run(), 0);
  for (size_t i = 0; i < scans.size(); ++i) {
    SCOPED_TRACE(scans[i].filename().string());
    EXPECT_EQ(testsupport::ReadBytes(scans[i]) == before[i], i >= 2);
  }
  EXPECT_EQ(qttest::UnexpectedModals(), 0);
}
