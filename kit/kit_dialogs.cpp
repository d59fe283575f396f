#include "kit/kit_dialogs.h"

#include <QApplication>
#include <QCheckBox>
#include <QDesktopServices>
#include <QFileInfo>
#include <QLabel>
#include <QUrl>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "frame/message_table.h"
#include "frame/version.h"
#include "kit/kit_text.h"

int NoticeDialog(QWidget* owner, const QString& text) {
  QDialog dialog(owner);
  dialog.setObjectName("119");
  dialog.setWindowTitle(QString::fromUtf8("警告"));
  dialog.setFont(KitFont());
  auto* layout = new QVBoxLayout(&dialog);  // owned by the dialog, as the controls below
  auto* edit = new QPlainTextEdit(QString(text).replace("\r\n", "\n"), &dialog);
  edit->setReadOnly(true);
  auto* check = new QCheckBox(QString::fromUtf8("今後このメッセージを表示しない"), &dialog);
  check->setObjectName("1021");
  auto* ok = new QPushButton("OK", &dialog);
  ok->setObjectName("1");
  ok->setDefault(true);
  QObject::connect(ok, &QPushButton::clicked, &dialog, &QDialog::accept);
  layout->addWidget(edit);
  layout->addWidget(check);
  layout->addWidget(ok, 0, Qt::AlignRight);
  dialog.resize(420, 240);
  CentreOnOwner(&dialog);
  dialog.exec();  // OK, Esc and the close box all end it; the box's state is the answer
  return check->isChecked() ? 1 : 0;
}

namespace {

QString RunChooser(QWidget* owner, QFileDialog::AcceptMode mode, QFileDialog::FileMode fileMode,
                   const QString& start, const QString& filter) {
  QFileDialog dialog(owner, QString(), start, filter);
  dialog.setObjectName("chooser");
  dialog.setOption(QFileDialog::DontUseNativeDialog);
  // Saving over the file in hand is the usual case; the engine asks where a question is due.
  dialog.setOption(QFileDialog::DontConfirmOverwrite);
  dialog.setAcceptMode(mode);
  dialog.setFileMode(fileMode);
  if (fileMode == QFileDialog::Directory) dialog.setOption(QFileDialog::ShowDirsOnly);
  if (mode == QFileDialog::AcceptSave) dialog.selectFile(start);
  if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return {};
  return dialog.selectedFiles().first();
}

}  // namespace

QString ChooseOpenFile(QWidget* owner, const QString& start, const QString& filter) {
  return RunChooser(owner, QFileDialog::AcceptOpen, QFileDialog::ExistingFile, start, filter);
}

QString ChooseSaveFile(QWidget* owner, const QString& start, const QString& filter) {
  return RunChooser(owner, QFileDialog::AcceptSave, QFileDialog::AnyFile, start, filter);
}

QString ChooseFolder(QWidget* owner, const QString& start) {
  return RunChooser(owner, QFileDialog::AcceptOpen, QFileDialog::Directory, start, {});
}

void CentreOnOwner(QWidget* dialog) {
  const QWidget* owner = dialog->parentWidget();
  if (!owner) return;
  const QRect area = owner->frameGeometry();
  const int left = std::max(0, area.center().x() - dialog->width() / 2);
  const int top = std::max(0, area.center().y() - dialog->height() / 2);
  dialog->move(left, top);
}

WaitCursor::WaitCursor() { QApplication::setOverrideCursor(Qt::WaitCursor); }

WaitCursor::~WaitCursor() { QApplication::restoreOverrideCursor(); }

void ShowHelp() {
  const QString page = QCoreApplication::applicationDirPath() + "/Tavexon.html";
  if (QFileInfo::exists(page)) QDesktopServices::openUrl(QUrl::fromLocalFile(page));
}

void ShowAbout(QWidget* owner) {
  QDialog dialog(owner);
  dialog.setObjectName("Version");
  dialog.setWindowTitle(KitMessage(MsgTitleProduct));
  dialog.setFont(KitFont());
  auto* layout = new QVBoxLayout(&dialog);  // owned by the dialog, as the controls below
  auto* version = new QLabel(kTavexonVersionLine, &dialog);
  version->setObjectName("1020");
  auto* line = new QLabel(QString::fromUtf8("JPEG写真のExifワークベンチ"), &dialog);
  line->setObjectName("1021");
  auto* ok = new QPushButton("OK", &dialog);
  ok->setObjectName("1");
  QObject::connect(ok, &QPushButton::clicked, &dialog, &QDialog::accept);
  layout->addWidget(version);
  layout->addWidget(line);
  layout->addWidget(ok, 0, Qt::AlignRight);
  CentreOnOwner(&dialog);
  dialog.exec();
}
