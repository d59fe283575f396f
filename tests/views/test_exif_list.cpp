// The Exif list window on real files, driven through its own menus, the edit dialog's numbered
// controls and its message boxes; tavexon-cli and ExifTool read the results independently.
#include <QComboBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTreeWidget>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>

#include "frame/settings.h"
#include "tests/support/qt_test_support.h"
#include "tests/support/peers.h"
#include "tests/support/test_support.h"
#include "views/exif_list_window.h"

namespace {

namespace fs = std::filesystem;
using Rows = std::vector<std::pair<std::string, std::string>>;  // name, text

// A settings file where the edit dialog's notice was seen.
void FreshSettings(const testsupport::ScratchDir& scratch) { qttest::FreshSettings(scratch.path(), {"MSGOK3"}); }

fs::path CorpusCopy(const testsupport::ScratchDir& scratch, const std::string& file) {
  return testsupport::CopyWritable(testsupport::SharedSub("corpus/makers") / file, scratch / fs::path(file).filename());
}

// The list as the window shows it: each heading with its rows.
std::map<std::string, Rows> ListContents(const QTreeWidget* list, std::vector<std::string>* headings = nullptr) {
  std::map<std::string, Rows> contents;
  std::string heading;
  for (int row = 0; row < list->topLevelItemCount(); ++row) {
    const QTreeWidgetItem* item = list->topLevelItem(row);
    if (item->text(1).isEmpty()) {
      heading = item->text(0).toStdString();
      if (headings) headings->push_back(heading);
      continue;
    }
    contents[heading].emplace_back(item->text(0).toStdString(), item->text(2).toStdString());
  }
  return contents;
}

std::map<std::string, Rows> DumpContents(const fs::path& file) {
  const std::string out = testsupport::RunCommand(std::string(TAVEXON_CLI_PATH) + " dump --json " +
                                                  testsupport::ShellQuote(file.string()) + " 2>/dev/null");
  std::map<std::string, Rows> contents;
  const nlohmann::json ifds = nlohmann::json::parse(out).at(0).value("ifds", nlohmann::json::array());
  for (const auto& ifd : ifds)
    for (const auto& tag : ifd.at("tags")) contents[ifd.at("name")].emplace_back(tag.at("name"), tag.at("text"));
  return contents;
}

int RowOfTag(const QTreeWidget* list, const char* hexTag) {
  for (int row = 0; row < list->topLevelItemCount(); ++row)
    if (list->topLevelItem(row)->text(1).startsWith(hexTag)) return row;
  return -1;
}

// Fills the edit dialog by its control numbers and presses "更新".
std::function<void(QWidget*)> EditDialog(int tableKind, const QString& tag, const QString& type, const QString& value) {
  return [=](QWidget* dialog) {
    ASSERT_EQ(dialog->objectName(), "EXIF編集");
    auto* table = dialog->findChild<QComboBox*>("1023");
    auto* tagBox = dialog->findChild<QComboBox*>("1024");
    auto* typeBox = dialog->findChild<QComboBox*>("1025");
    if (tableKind) table->setCurrentIndex(table->findData(qlonglong(tableKind)));
    if (!tag.isEmpty()) tagBox->setEditText(tag);
    if (!type.isEmpty()) typeBox->setCurrentIndex(typeBox->findText(type));
    dialog->findChild<QPlainTextEdit*>("1042")->setPlainText(value);
    qttest::Press(dialog, "1");
  };
}

// ExifTool's reading without what describes the file rather than its Exif.
std::map<std::string, std::string> ExiftoolTags(const fs::path& file) {
  std::map<std::string, std::string> tags = testsupport::ExifToolArgs(file);
  std::erase_if(tags, [](const auto& tag) {
    for (const char* group : {"System:", "File:", "ExifTool:", "Composite:"})
      if (tag.first.rfind(group, 0) == 0) return true;
    return false;
  });
  return tags;
}

}  // namespace

TEST(ExifList, ListEqualsTheCommandLineDump) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  testsupport::ScratchDir scratch;
  FreshSettings(scratch);
  for (const char* file : {"nikon/digicam_D90_DSC_0003.JPG", "canon/exiftool_Canon1DmkIII.jpg",
                           "pentax/digicam_ist_DL_IMGP6668.JPG", "other/exiv2_exiv2-kodak-dc210.jpg"}) {
    SCOPED_TRACE(file);
    const fs::path path = testsupport::SharedSub("corpus/makers") / file;
    ExifListWindow window(path.string());
    std::vector<std::string> headings;
    EXPECT_EQ(ListContents(window.List(), &headings), DumpContents(path));
    ASSERT_FALSE(headings.empty());
    EXPECT_EQ(headings.front(), "Primary(0th IFD)");
    EXPECT_EQ(window.State(), ListEditRead);
  }
}

TEST(ExifList, AddChangeDeleteThroughTheDialogThenSave) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool reads the result";
  testsupport::ScratchDir scratch;
  FreshSettings(scratch);
  const fs::path file = CorpusCopy(scratch, "canon/exiftool_Canon1DmkIII.jpg");
  const fs::path out = scratch / "saved.jpg";
  const auto before = testsupport::ReadBytes(file);
  ExifListWindow window(file.string());
  QTreeWidget* list = window.List();
  // Change the orientation: the dialog opens on the row with its value.
  list->setCurrentItem(list->topLevelItem(RowOfTag(list, "0112")));
  qttest::OnNextModal(EditDialog(0, {}, {}, "3"));
  window.CommandModify();
  EXPECT_EQ(window.State(), ListEditChanged);
  // Add the artist by typing its number, and delete the date after the question.
  qttest::OnNextModal(EditDialog(1, "0x013B", "ASCII", "Tavexon"));
  window.CommandAdd();
  list->setCurrentItem(list->topLevelItem(RowOfTag(list, "0132")));
  qttest::OnNextModal(qttest::Answer(4, 6));
  window.CommandDelete();
  EXPECT_EQ(RowOfTag(list, "0132"), -1);
  EXPECT_EQ(list->topLevelItem(RowOfTag(list, "013B"))->text(2), "Tavexon");
  EXPECT_EQ(testsupport::ReadBytes(file), before);  // nothing written before "保存"
  qttest::OnNextModal(qttest::Choose(out.string()));
  window.CommandSave();
  EXPECT_EQ(window.State(), ListEditRead);
  EXPECT_EQ(window.CurrentPath(), out.string());
  EXPECT_EQ(testsupport::ReadBytes(file), before);
  std::map<std::string, std::string> expected = ExiftoolTags(file);
  expected["IFD0:Orientation"] = "3";
  expected["IFD0:Artist"] = "Tavexon";
  expected.erase("IFD0:ModifyDate");
  std::map<std::string, std::string> saved = ExiftoolTags(out);
  saved.erase("IFD1:ThumbnailOffset");  // where the thumbnail lies is the writer's choice
  expected.erase("IFD1:ThumbnailOffset");
  EXPECT_EQ(saved, expected);
  EXPECT_EQ(qttest::UnexpectedModals(), 0);
}

TEST(ExifList, AFileWithoutExifGainsItThroughAdd) {
  TAVEXON_REQUIRE_SHARED("corpus/jpeg");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool reads the result";
  testsupport::ScratchDir scratch;
  FreshSettings(scratch);
  const fs::path file = testsupport::CopyWritable(testsupport::SharedSub("corpus/jpeg") / "ljt_testorig.jpg", scratch / "plain.jpg");
  const fs::path out = scratch / "with_exif.jpg";
  ExifListWindow window(file.string());
  EXPECT_EQ(window.State(), ListEditNoExif);
  qttest::OnNextModal(qttest::Answer(16, 6));
  qttest::OnNextModal(EditDialog(1, "0x013B", "ASCII", "Tavexon"));
  window.CommandAdd();
  EXPECT_EQ(window.State(), ListEditChanged);
  qttest::OnNextModal(qttest::Choose(out.string()));
  window.CommandSave();
  EXPECT_EQ(ExiftoolTags(out)["IFD0:Artist"], "Tavexon");
  EXPECT_EQ(qttest::UnexpectedModals(), 0);
}

TEST(ExifList, CarriedNoteStaysInPlaceAndUnsavedEditsAreAskedAbout) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  testsupport::ScratchDir scratch;
  FreshSettings(scratch);
  // The Sigma note of this file is carried as bytes (no handler reads the family); a long artist
  // rebuilds the Exif around it.
  const fs::path file = CorpusCopy(scratch, "other/exiv2_exiv2-sigma-d10.jpg");
  const auto before = testsupport::ReadBytes(file);
  const std::string noteBefore = testsupport::ExifToolBinary(file, "MakerNotes");
  auto window = std::make_unique<ExifListWindow>(file.string());
  qttest::OnNextModal(EditDialog(1, "0x013B", "ASCII", QString(300, 'a')));
  window->CommandAdd();
  EXPECT_EQ(window->State(), ListEditChanged);
  EXPECT_EQ(testsupport::ReadBytes(file), before);
  // Cancel at the unsaved changes question keeps the window and its edit.
  qttest::OnNextModal(qttest::Answer(3, 2));
  EXPECT_FALSE(window->close());
  EXPECT_EQ(window->State(), ListEditChanged);
  // The save keeps the note where it was, byte for byte, with no question to ask.
  qttest::OnNextModal(qttest::Choose(file.string()));
  window->CommandSave();
  EXPECT_NE(testsupport::ReadBytes(file), before);
  EXPECT_EQ(testsupport::ExifToolBinary(file, "MakerNotes"), noteBefore);
  // The value column shows 128 characters of it.
  EXPECT_EQ(window->List()->topLevelItem(RowOfTag(window->List(), "013B"))->text(2), QString(128, 'a'));
  EXPECT_TRUE(window->close());
  EXPECT_EQ(qttest::UnexpectedModals(), 0);
}
