#include "views/embed_window.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QTimer>
#include <QVBoxLayout>

#include "frame/combo_history.h"
#include "frame/message_table.h"
#include "frame/settings.h"
#include "kit/kit_dialogs.h"
#include "kit/kit_progress.h"
#include "kit/kit_prompt.h"
#include "kit/kit_text.h"
#include "shooting/embed.h"
#include "shooting/shooting_fields.h"

namespace {

QComboBox* HistoryCombo(QWidget* parent, const char* name) {
  auto* combo = new QComboBox(parent);  // owned by its parent
  combo->setObjectName(name);
  combo->setEditable(true);
  combo->setInsertPolicy(QComboBox::NoInsert);
  return combo;
}

void FillHistory(QComboBox* combo, const char* section) {
  const QString text = combo->currentText();
  combo->clear();
  for (const std::string& item : LoadComboHistory(section)) combo->addItem(KitText(item));
  combo->setEditText(text);
}

QPushButton* ChooseButton(QWidget* parent, const char* name) {
  auto* button = new QPushButton("...", parent);
  button->setObjectName(name);
  button->setFixedWidth(32);
  return button;
}

}  // namespace

EmbedWindow::EmbedWindow() : ToolWindow(kToolEmbed) {
  setObjectName("EmbedWindow");
  setWindowTitle(QString::fromUtf8("撮影データ埋込"));
  auto* client = new QWidget(this);  // owned by the window, as every child below
  setCentralWidget(client);
  auto* layout = new QVBoxLayout(client);
  inputs_ = new QWidget(client);
  auto* inputs = new QVBoxLayout(inputs_);
  inputs->setContentsMargins(0, 0, 0, 0);
  inputs->addWidget(BuildBasic());
  inputs->addWidget(BuildOptions());
  inputs->addWidget(BuildFiles());
  layout->addWidget(inputs_);
  auto* runRow = new QHBoxLayout();
  progress_ = new QLabel(client);
  progress_->setObjectName("progress");
  run_ = new QPushButton(QString::fromUtf8("実行"), client);
  run_->setObjectName("run");
  stop_ = new QPushButton(QString::fromUtf8("中止"), client);
  stop_->setObjectName("stop");
  stop_->setEnabled(false);
  runRow->addWidget(progress_, 1);
  runRow->addWidget(run_);
  runRow->addWidget(stop_);
  layout->addLayout(runRow);
  layout->addStretch();
  connect(run_, &QPushButton::clicked, this, [this] { Run(); });
  connect(stop_, &QPushButton::clicked, this, [this] { Stop(); });
  LoadHistories();
  ApplyOptions();
  resize(520, 420);
}

EmbedWindow::~EmbedWindow() = default;

QWidget* EmbedWindow::BuildBasic() {
  auto* group = new QGroupBox(QString::fromUtf8("基本情報"), this);
  auto* grid = new QGridLayout(group);
  maker_ = HistoryCombo(group, "maker");
  camera_ = HistoryCombo(group, "camera");
  grid->addWidget(new QLabel(QString::fromUtf8("メーカ名："), group), 0, 0);
  grid->addWidget(maker_, 0, 1);
  grid->addWidget(new QLabel(QString::fromUtf8("カメラ　："), group), 1, 0);
  grid->addWidget(camera_, 1, 1);
  return group;
}

QWidget* EmbedWindow::BuildOptions() {
  auto* group = new QGroupBox(QString::fromUtf8("オプション設定"), this);
  auto* grid = new QGridLayout(group);
  dataType_ = new QComboBox(group);
  dataType_->setObjectName("datatype");
  for (uint32_t type = 0; type < kDataTypeCount; ++type) dataType_->addItem(KitText(DataTypeLabel(type)));
  privateTags_ = new QCheckBox(QString::fromUtf8("撮影情報記録の為に独自定義タグを使用する"), group);
  privateTags_->setObjectName("privatetags");
  software_ = new QCheckBox(QString::fromUtf8("EXIF情報の\"ソフトウェア\"タグを更新しない"), group);
  software_->setObjectName("software");
  film_ = HistoryCombo(group, "film");
  filmLabel_ = new QLabel(QString::fromUtf8("フィルム："), group);
  grid->addWidget(new QLabel(QString::fromUtf8("撮影データファイル種別(記憶モード)："), group), 0, 0);
  grid->addWidget(dataType_, 0, 1);
  grid->addWidget(privateTags_, 1, 0, 1, 2);
  grid->addWidget(software_, 2, 0, 1, 2);
  grid->addWidget(filmLabel_, 3, 0);
  grid->addWidget(film_, 3, 1);
  connect(privateTags_, &QCheckBox::clicked, this, [this](bool ticked) { PrivateTagsToggled(ticked); });
  connect(software_, &QCheckBox::clicked, this, [this](bool ticked) { SoftwareToggled(ticked); });
  return group;
}

QWidget* EmbedWindow::BuildFiles() {
  auto* group = new QGroupBox(QString::fromUtf8("ファイル情報"), this);
  auto* grid = new QGridLayout(group);
  dataFile_ = new QLineEdit(group);
  dataFile_->setObjectName("datafile");
  jpegPath_ = new QLineEdit(group);
  jpegPath_->setObjectName("jpegpath");
  QPushButton* chooseData = ChooseButton(group, "choosedata");
  QPushButton* chooseJpeg = ChooseButton(group, "choosejpeg");
  grid->addWidget(new QLabel(QString::fromUtf8("撮影データファイル"), group), 0, 0, 1, 2);
  grid->addWidget(dataFile_, 1, 0);
  grid->addWidget(chooseData, 1, 1);
  grid->addWidget(new QLabel(QString::fromUtf8("Jpegファイル保存フォルダ"), group), 2, 0, 1, 2);
  grid->addWidget(jpegPath_, 3, 0);
  grid->addWidget(chooseJpeg, 3, 1);
  connect(chooseData, &QPushButton::clicked, this, [this] {
    const QString chosen = ChooseOpenFile(this, KitPathText(SettingsGetText("FILE", "MV1LASTPATH", "")), {});
    if (chosen.isEmpty()) return;
    dataFile_->setText(chosen);
    SettingsPutString("FILE", "MV1LASTPATH", KitPath(chosen).c_str());
  });
  connect(chooseJpeg, &QPushButton::clicked, this, [this] {
    const QString chosen = ChooseFolder(this, KitPathText(SettingsGetText("FILE", "JPGLASTPATH", "")));
    if (chosen.isEmpty()) return;
    jpegPath_->setText(chosen);
    SettingsPutString("FILE", "JPGLASTPATH", KitPath(chosen).c_str());
  });
  return group;
}

void EmbedWindow::LoadHistories() {
  FillHistory(maker_, "MAKER");
  FillHistory(camera_, "CAMERA");
  FillHistory(film_, "FILM");
}

void EmbedWindow::ApplyOptions() {
  const EmbedWindowOptions options = EmbedWindowOptionsLoad();
  privateTags_->setVisible(options.privateTagsShown);
  film_->setVisible(options.privateTagsShown);
  filmLabel_->setVisible(options.privateTagsShown);
  privateTags_->setChecked(options.privateTags);
  film_->setEnabled(options.filmEnabled);
  software_->setChecked(options.keepSoftware);
  software_->setEnabled(options.softwareEnabled);
  dataType_->setCurrentIndex(options.dataType < kDataTypeCount ? int(options.dataType) : 0);
}

void EmbedWindow::PrivateTagsToggled(bool ticked) {
  if (ticked) {
    if (EmbedNoticeDue("MSGOK2") && NoticeDialog(this, KitMessage(MsgOwnTagsNotice))) EmbedNoticeConfirm("MSGOK2");
    film_->setEnabled(true);
    software_->setChecked(false);
    software_->setEnabled(false);
  } else {
    film_->setEnabled(false);
    software_->setEnabled(true);
  }
  SettingsPutUInt("OPTION", "EXTEND", ticked ? 1 : 0);
}

void EmbedWindow::SoftwareToggled(bool ticked) {
  SettingsPutUInt("OPTION", "SOFTNAME", ticked ? 1 : 0);
  if (!ticked) return;
  privateTags_->setChecked(false);
  film_->setEnabled(false);
}

void EmbedWindow::showEvent(QShowEvent* event) {
  ToolWindow::showEvent(event);
  if (noticeShown_) return;
  noticeShown_ = true;
  QTimer::singleShot(0, this, [this] {
    if (EmbedNoticeDue("MSGOK1") && NoticeDialog(this, KitMessage(MsgEmbedNotice))) EmbedNoticeConfirm("MSGOK1");
  });
}

void EmbedWindow::SetRunning(bool running) {
  inputs_->setEnabled(!running);
  run_->setEnabled(!running);
  stop_->setEnabled(running);
}

int EmbedWindow::Run() {
  if (activeRun_) return 0;
  EmbedRequest request;
  request.maker = EmbedText(KitCp932(maker_->currentText()));
  request.camera = EmbedText(KitCp932(camera_->currentText()));
  request.film = privateTags_->isVisible() ? EmbedText(KitCp932(film_->currentText())) : std::string();
  request.dataFilePath = KitPath(dataFile_->text());
  request.jpegPath = KitPath(jpegPath_->text());
  request.dataType = dataType_->currentIndex();
  request.privateTags = privateTags_->isVisible() && privateTags_->isChecked();
  request.keepSoftware = software_->isChecked();
  KitRun run(progress_);
  activeRun_ = &run;
  const Prompt prompt = KitPrompt(this);
  EmbedProgress progress;
  progress.prompt = &prompt;
  progress.step = run.Hook();
  SetRunning(true);
  const int result = EmbedRun(request, &progress).ok;
  SetRunning(false);
  activeRun_ = nullptr;
  progress_->clear();
  LoadHistories();
  return result;
}

void EmbedWindow::Stop() {
  if (activeRun_) activeRun_->Stop();
}

bool EmbedWindow::ToolMayClose() {
  // A running roll ends after the file in hand; the window closes once it has.
  if (activeRun_) {
    activeRun_->Stop();
    return false;
  }
  return true;
}

ToolWindow* EmbedWindowCreate(const std::string&) { return new EmbedWindow(); }
