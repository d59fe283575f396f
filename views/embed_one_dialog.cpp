#include "views/embed_one_dialog.h"

#include <QComboBox>
#include <QDialog>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <algorithm>

#include "exif/tags.h"
#include "exif/value_format.h"
#include "frame/combo_history.h"
#include "frame/message_table.h"
#include "frame/path.h"
#include "frame/settings.h"
#include "kit/kit_dialogs.h"
#include "kit/kit_prompt.h"
#include "kit/kit_text.h"
#include "shooting/embed.h"
#include "shooting/shooting_fields.h"
#include "shooting/shooting_to_exif.h"

namespace {

// The preview: exposure time, f-number, compensation and focal length, then the date.
constexpr uint16_t kPreviewTags[] = {TagExposureTime, TagFNumber, TagExposureBiasValue, TagMeteringMode};

bool IsAscii(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return uint8_t(c) < 128; });
}

class EmbedOneForm : public QDialog {
 public:
  EmbedOneForm(QWidget* owner, const std::string& path) : QDialog(owner), path_(path) {
    setObjectName("133");
    setWindowTitle(QString::fromUtf8("撮影データ埋め込み(１件)"));
    setFont(KitFont());
    auto* grid = new QGridLayout(this);  // owned by the dialog, as every control below
    maker_ = Combo("1036", "MAKER");
    camera_ = Combo("1037", "CAMERA");
    type_ = new QComboBox(this);
    type_->setObjectName("1023");
    for (uint32_t type = 0; type < kDataTypeCount; ++type) type_->addItem(KitText(DataTypeLabel(type)));
    const int stored = SettingsGetInt("MV1OPTION", "DATATYPE", -1);
    type_->setCurrentIndex(stored >= 0 && stored < int(kDataTypeCount) ? stored : -1);
    file_ = new QLineEdit(this);
    file_->setObjectName("1044");
    auto* choose = new QPushButton("...", this);
    choose->setObjectName("1001");
    frames_ = new QListWidget(this);
    frames_->setObjectName("1045");
    preview_ = new QPlainTextEdit(this);
    preview_->setObjectName("1043");
    preview_->setReadOnly(true);
    auto* ok = new QPushButton("OK", this);
    ok->setObjectName("1");
    auto* cancel = new QPushButton(QString::fromUtf8("キャンセル"), this);
    cancel->setObjectName("2");
    grid->addWidget(new QLabel(QString::fromUtf8("メーカ名："), this), 0, 0);
    grid->addWidget(maker_, 0, 1, 1, 2);
    grid->addWidget(new QLabel(QString::fromUtf8("カメラ　："), this), 1, 0);
    grid->addWidget(camera_, 1, 1, 1, 2);
    grid->addWidget(type_, 2, 0, 1, 3);
    grid->addWidget(file_, 3, 0, 1, 2);
    grid->addWidget(choose, 3, 2);
    grid->addWidget(frames_, 4, 0);
    grid->addWidget(preview_, 4, 1, 1, 2);
    grid->addWidget(ok, 5, 1);
    grid->addWidget(cancel, 5, 2);
    connect(choose, &QPushButton::clicked, this, [this] {
      const QString chosen = ChooseOpenFile(this, file_->text(), {});
      if (chosen.isEmpty()) return;
      file_->setText(chosen);
      Load();
    });
    connect(type_, &QComboBox::currentIndexChanged, this, [this] { Load(); });
    connect(file_, &QLineEdit::editingFinished, this, [this] { Load(); });
    connect(frames_, &QListWidget::currentRowChanged, this, [this](int row) { Preview(row); });
    connect(ok, &QPushButton::clicked, this, [this] { Accept(); });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    const std::string last = SettingsGetText("FILE", "MV1LASTFILE", "");
    if (PathIsFile(last) && type_->currentIndex() >= 0) {
      file_->setText(KitPathText(last));
      if (!Load()) file_->clear();
    }
    resize(460, 360);
  }

  std::string written;

  // Reads the data file as the chosen type into the frame list.
  bool Load() {
    preview_->clear();
    frames_->clear();
    frames_->setEnabled(false);
    data_.reset();
    const std::string path = KitPath(file_->text());
    if (!PathIsFile(path) || type_->currentIndex() < 0) return false;
    data_ = CameraDataFileCreate(path.c_str());
    if (!data_ || CameraDataFileRead(data_.get(), uint32_t(type_->currentIndex())) != 1) {
      data_.reset();
      return false;
    }
    for (uint32_t frame = 1; frame <= CameraDataFileFrameCount(data_.get()); ++frame)
      frames_->addItem(QString::asprintf("%02u", frame));
    SettingsPutString("FILE", "MV1LASTFILE", path.c_str());
    SettingsPutUInt("MV1OPTION", "DATATYPE", uint32_t(type_->currentIndex()));
    frames_->setEnabled(true);
    return true;
  }

 private:
  QComboBox* Combo(const char* number, const char* section) {
    auto* combo = new QComboBox(this);
    combo->setObjectName(number);
    combo->setEditable(true);
    for (const std::string& item : LoadComboHistory(section)) combo->addItem(KitText(item));
    combo->setEditText(QString());
    return combo;
  }

  void Preview(int row) {
    preview_->clear();
    if (!data_ || row < 0) return;
    TagList tags;
    ShootingRecordToExif(data_.get(), uint32_t(row), &tags);
    std::string line;
    std::string date;
    char text[129];
    ExifDocumentPtr blank;  // the texts of a frame's tags read as a document's would
    if (!ExifCreateEmpty(blank)) return;
    for (const TagEntry& entry : tags) {
      const char* name = nullptr;
      text[0] = 0;
      ExifDescribeTag(blank.get(), IfdExif, &entry, &name, text, sizeof text);
      if (entry.tag == TagDateTimeOriginal) date = text;
      if (std::find(std::begin(kPreviewTags), std::end(kPreviewTags), entry.tag) != std::end(kPreviewTags))
        line += (line.empty() ? "" : " ") + std::string(text);
    }
    preview_->setPlainText(KitText(line + "\r\n" + date).replace("\r\n", "\n"));
  }

  void Accept() {
    const int frame = frames_->currentRow();
    if (!data_ || frame < 0) return;
    const std::string maker = KitCp932(maker_->currentText());
    const std::string camera = KitCp932(camera_->currentText());
    if (!IsAscii(maker) || !IsAscii(camera)) {
      KitMessageBox(this, MsgInputError, MsgTitleError, PromptButtonsOk, PromptIconWarning);
      return;
    }
    const QString chosen = ChooseSaveFile(this, KitPathText(path_), "Jpeg(*.jpg)");
    if (chosen.isEmpty()) return;
    const Prompt prompt = KitPrompt(this);
    const int done = EmbedSingle(maker, camera, "", data_.get(), uint32_t(frame), path_, KitPath(chosen),
                                 EmbedMakerNote, &prompt);
    data_.reset();
    if (done != 1) {
      KitMessageBox(this, MsgUpdateFailed, MsgTitleError, PromptButtonsOk, PromptIconError);
      reject();
      return;
    }
    SaveComboHistory(LoadComboHistory("MAKER"), maker, "MAKER");
    SaveComboHistory(LoadComboHistory("CAMERA"), camera, "CAMERA");
    written = KitPath(chosen);
    accept();
  }

  std::string path_;
  CameraDataFilePtr data_;
  QComboBox* maker_ = nullptr;
  QComboBox* camera_ = nullptr;
  QComboBox* type_ = nullptr;
  QLineEdit* file_ = nullptr;
  QListWidget* frames_ = nullptr;
  QPlainTextEdit* preview_ = nullptr;
};

}  // namespace

int ShowEmbedDialog(QWidget* owner, const std::string& path, std::string* written) {
  if (EmbedNoticeDue("MSGOK4") && NoticeDialog(owner, KitMessage(MsgEmbedOneNotice))) EmbedNoticeConfirm("MSGOK4");
  EmbedOneForm form(owner, path);
  CentreOnOwner(&form);
  if (form.exec() != QDialog::Accepted) return 0;
  if (written) *written = form.written;
  return 1;
}
