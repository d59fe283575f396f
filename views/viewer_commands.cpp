// Menu 110 and the accelerators of table 108 of the image viewer, as a table: every command is
// present; one whose tool this build has acts, the others stand disabled.
#include <QAction>
#include <QDialog>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>
#include <QMenuBar>
#include <algorithm>
#include <cstdio>
#include <memory>

#include "codec/jpeg_decoder.h"
#include "exif/exif_reader.h"
#include "exif/makernote_handler.h"
#include "frame/path.h"
#include "frame/message_table.h"
#include "kit/kit_dialogs.h"
#include "kit/kit_prompt.h"
#include "kit/kit_text.h"
#include "tools/exif_backup.h"
#include "tools/segment_delete.h"
#include "views/embed_one_dialog.h"
#include "views/exif_list_window.h"
#include "views/viewer_window.h"

namespace {

enum ViewerMenu : int { MenuFile, MenuEdit, MenuView, MenuTools, MenuHelp, MenuCount };
constexpr const char* kMenuTitles[MenuCount] = {"ファイル(&F)", "編集(&E)", "表示(&V)", "ツール(&T)", "ヘルプ(&H)"};

// When a command can run: always; with the edit commands on (and its tool built); when a tool
// window of a kind is available; or not in this build (a later tool).
enum ViewerGate : int { GateAlways, GateEdit, GateToolKind, GateLater };

struct ViewerCommand {
  int id;
  ViewerMenu menu;
  const char* label;
  QKeyCombination key;  // Qt::Key_unknown for none
  ViewerGate gate;
  int kind;  // the tool window kind for GateToolKind
};

constexpr ViewerCommand kViewerCommands[] = {
    {40004, MenuFile, "開く(&O)...", Qt::CTRL | Qt::Key_O, GateAlways, 0},
    {40045, MenuFile, "ビットマップ保存(&B)...", Qt::Key_unknown, GateAlways, 0},
    {40002, MenuFile, "閉じる(&X)", Qt::Key_unknown, GateAlways, 0},
    {40023, MenuEdit, "撮影情報入力(&W)...", Qt::Key_unknown, GateLater, 0},
    {40027, MenuEdit, "撮影データ埋込(&M)...", Qt::Key_unknown, GateEdit, 0},
    {40032, MenuEdit, "EXIF削除(&D)...", Qt::Key_unknown, GateEdit, 0},
    {40015, MenuEdit, "EXIFインポート(&I)...", Qt::Key_unknown, GateEdit, 0},
    {40016, MenuEdit, "EXIFエクスポート(&X)...", Qt::Key_unknown, GateEdit, 0},
    {40035, MenuEdit, "サムネイル画像作成(&T)...", Qt::Key_unknown, GateLater, 0},
    {129, MenuEdit, "画像縮小(&S)...", Qt::Key_unknown, GateLater, 0},
    {40007, MenuView, "次の画像(&N)", Qt::Key_Right, GateAlways, 0},
    {40008, MenuView, "前の画像(&P)", Qt::Key_Left, GateAlways, 0},
    {40028, MenuView, "2画面表示(&2)", Qt::Key_F2, GateAlways, 0},
    {40123, MenuView, "全画面表示(&F)", Qt::Key_unknown, GateLater, 0},
    {40140, MenuView, "スライドショー(&L)...", Qt::Key_unknown, GateLater, 0},
    {40010, MenuTools, "撮影データ埋込(&M)...", Qt::Key_unknown, GateToolKind, kToolEmbed},
    {40014, MenuTools, "EXIF一覧表示/編集(&E)...", Qt::Key_unknown, GateToolKind, kToolExifList},
    {40037, MenuTools, "EXIFエクスプローラ(&Q)...", Qt::Key_unknown, GateToolKind, kToolExifExplorer},
    {40071, MenuTools, "EXIF比較(&O)...", Qt::Key_unknown, GateToolKind, kToolExifCompare},
    {40141, MenuTools, "サムネイルビューア(&T)...", Qt::Key_unknown, GateToolKind, kToolThumbnailViewer},
    {40018, MenuTools, "インデックスプリント(&P)...", Qt::Key_unknown, GateToolKind, kToolIndexPrint},
    {40021, MenuTools, "ファイル日付復元(&U)...", Qt::Key_unknown, GateToolKind, kToolDateRestore},
    {40036, MenuTools, "ツール(&Z)...", Qt::Key_unknown, GateToolKind, kToolUnused},
    {40019, MenuTools, "画像一括縮小(&S)...", Qt::Key_unknown, GateLater, 0},
    {40061, MenuTools, "CSV出力(&C)...", Qt::Key_unknown, GateLater, 0},
    {40099, MenuTools, "CSV入力(&I)...", Qt::Key_unknown, GateLater, 0},
    {40063, MenuTools, "ファイル一括リネーム(&R)...", Qt::Key_unknown, GateLater, 0},
    {40069, MenuTools, "撮影日時一括更新(&D)...", Qt::Key_unknown, GateLater, 0},
    {40112, MenuHelp, "ヘルプの表示(&H)", Qt::Key_F1, GateAlways, 0},
    {40017, MenuHelp, "バージョン情報(&A)...", Qt::Key_unknown, GateAlways, 0},
};

const ViewerCommand* ViewerCommandFind(int id) {
  for (const ViewerCommand& command : kViewerCommands)
    if (command.id == id) return &command;
  return nullptr;
}

// The folder of a file for the thumbnail viewer, without a trailing separator.
std::string FolderWithoutSeparator(const std::string& path) {
  std::string folder = PathFolderOf(path);
  while (folder.size() > 1 && (folder.back() == '/' || folder.back() == '\\')) folder.pop_back();
  return folder;
}

// The 14-byte file header and the 40-byte info header of a 24-bit bottom-up bitmap, then the
// rows as the raster holds them.
bool WriteBitmap(const std::string& path, const RasterImage& image) {
  const uint32_t dataSize = uint32_t(image.stride) * uint32_t(image.height);
  uint8_t header[54] = {'B', 'M'};
  auto put32 = [&header](int at, uint32_t value) {
    for (int i = 0; i < 4; ++i) header[at + i] = uint8_t(value >> (8 * i));
  };
  put32(2, 54 + dataSize);
  put32(10, 54);
  put32(14, 40);
  put32(18, uint32_t(image.width));
  put32(22, uint32_t(image.height));
  header[26] = 1;
  header[28] = 24;
  put32(34, dataSize);
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "wb"), std::fclose);
  return file && std::fwrite(header, 1, sizeof header, file.get()) == sizeof header &&
         std::fwrite(image.pixels, 1, dataSize, file.get()) == dataSize && std::fflush(file.get()) == 0;
}

// The import's choice, EDIT/IMPORTTYPE: 0 fits the Exif to the target, 1 copies it unedited.
// Returns the choice (stored), or -1 for a cancel (nothing stored).
int ImportTypeDialog(QWidget* owner) {
  QDialog dialog(owner);
  dialog.setObjectName("importtype");
  dialog.setWindowTitle(QString::fromUtf8("EXIFインポート"));
  auto* group = new QGroupBox(QString::fromUtf8("EXIFインポートデータの扱い"), &dialog);  // owned by the dialog
  auto* fit = new QRadioButton(QString::fromUtf8("埋め込み先画像情報に合わせて自動修正する"), group);
  fit->setObjectName("fit");
  auto* note = new QLabel(QString::fromUtf8("・主画像よりサムネイル画像を生成\n・画像サイズなどの情報を書き換え"), group);
  auto* copy = new QRadioButton(QString::fromUtf8("EXIFデータを未編集でコピーする"), group);
  copy->setObjectName("copy");
  (ExfLoadImportType() == 1 ? copy : fit)->setChecked(true);
  auto* inner = new QVBoxLayout(group);
  inner->addWidget(fit);
  inner->addWidget(note);
  inner->addWidget(copy);
  auto* buttons = new QDialogButtonBox(&dialog);
  buttons->addButton(QString::fromUtf8("OK"), QDialogButtonBox::AcceptRole)->setObjectName("1");
  buttons->addButton(QString::fromUtf8("キャンセル"), QDialogButtonBox::RejectRole)->setObjectName("2");
  QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
  auto* layout = new QVBoxLayout(&dialog);
  layout->addWidget(group);
  layout->addWidget(buttons);
  if (dialog.exec() != QDialog::Accepted) return -1;
  const int type = copy->isChecked() ? 1 : 0;
  ExfStoreImportType(type);
  return type;
}

}  // namespace

void ViewerWindow::BuildMenus() {
  QMenu* menus[MenuCount];
  for (int index = 0; index < MenuCount; ++index) menus[index] = menuBar()->addMenu(QString::fromUtf8(kMenuTitles[index]));
  for (const ViewerCommand& command : kViewerCommands) {
    QAction* action = menus[command.menu]->addAction(QString::fromUtf8(command.label));
    action->setObjectName(QString::number(command.id));
    if (command.key.key() != Qt::Key_unknown) action->setShortcut(QKeySequence(command.key));
    const int id = command.id;
    connect(action, &QAction::triggered, this, [this, id] { RunCommand(id); });
  }
}

void ViewerWindow::UpdateCommands() {
  for (const ViewerCommand& command : kViewerCommands) {
    auto* action = findChild<QAction*>(QString::number(command.id));
    if (!action) continue;
    switch (command.gate) {
      case GateAlways: action->setEnabled(command.id != 40045 || !slots_[size_t(activeSlot_)].shownPath.empty()); break;
      case GateEdit: action->setEnabled(commandsEnabled_ != 0); break;
      case GateToolKind: action->setEnabled(ToolWindowAvailable(command.kind)); break;
      case GateLater: action->setEnabled(false); break;
    }
  }
}

void ViewerWindow::RunCommand(int id) {
  const ViewerCommand* command = ViewerCommandFind(id);
  if (!command) return;
  // A command whose gate is shut does nothing, whichever way it arrived.
  if (command->gate == GateLater || (command->gate == GateEdit && !commandsEnabled_) ||
      (command->gate == GateToolKind && !ToolWindowAvailable(command->kind)))
    return;
  const std::string path = CurrentPath();
  switch (id) {
    case 40004: CommandOpen(); break;
    case 40045: CommandExportBitmap(); break;
    case 40002: close(); break;
    case 40027: CommandEmbedOne(); break;
    case 40032: CommandDeleteExif(); break;
    case 40016: CommandExportExif(); break;
    case 40015: CommandImportExif(); break;
    case 40007: CommandStep(1); break;
    case 40008: CommandStep(-1); break;
    case 40028: CommandSideBySide(); break;
    case 40014: CommandExifList(); break;
    case 40141: OpenToolWindow(kToolThumbnailViewer, path.empty() ? "" : FolderWithoutSeparator(path)); break;
    case 40071: OpenToolWindow(kToolExifCompare, path); break;
    case 40112: ShowHelp(); break;
    case 40017: ShowAbout(this); break;
    default: OpenToolWindow(command->kind, ""); break;  // the tool windows that take no file
  }
}

void ViewerWindow::CommandExifList() {
  const std::string path = slots_[size_t(activeSlot_)].shownPath;
  if (OpenToolWindow(kToolExifList, path)) return;
  // Already open: it takes the file in hand, after its own unsaved changes question.
  if (auto* list = static_cast<ExifListWindow*>(ToolWindowOf(kToolExifList)); list && !path.empty()) list->OpenFile(path);
}

void ViewerWindow::CommandEmbedOne() {
  std::string written;
  if (ShowEmbedDialog(this, slots_[size_t(activeSlot_)].shownPath, &written) == 1) ReloadActive();
}

void ViewerWindow::CommandDeleteExif() {
  const std::string source = slots_[size_t(activeSlot_)].shownPath;
  const QString chosen = ChooseSaveFile(this, KitPathText(source), "Jpeg(*.jpg)");
  if (chosen.isEmpty()) return;
  uint32_t message = 0;
  if (!SegmentDeleteExif(source, KitPath(chosen), &message)) {
    KitMessageBox(this, message ? message : uint32_t(MsgSegmentDeleteFailed), MsgTitleError, PromptButtonsOk, PromptIconError);
    return;
  }
  ReloadActive();
}

void ViewerWindow::CommandExportExif() {
  const std::string source = slots_[size_t(activeSlot_)].shownPath;
  const QString chosen = ChooseSaveFile(this, KitPathText(ExfDefaultName(source)), "ExifBackup(*.exf)");
  if (chosen.isEmpty()) return;
  uint32_t message = 0;
  if (!ExfExport(source, ExfFixName(KitPath(chosen)), &message))
    KitMessageBox(this, message, message == MsgNoExif ? MsgTitleProduct : MsgTitleError, PromptButtonsOk, PromptIconError);
}

void ViewerWindow::CommandImportExif() {
  const std::string target = slots_[size_t(activeSlot_)].shownPath;
  const int type = ImportTypeDialog(this);
  if (type < 0) return;
  const QString from = ChooseOpenFile(this, KitPathText(PathFolderOf(target)), "ExifBackup(*.exf);;Jpeg(*.jpg)");
  if (from.isEmpty()) return;
  std::vector<uint8_t> payload;
  uint32_t message = 0;
  if (!ExfReadSource(KitPath(from), &payload, &message)) {
    KitMessageBox(this, message, MsgTitleError, PromptButtonsOk, PromptIconError);
    return;
  }
  const QString output = ChooseSaveFile(this, KitPathText(target), "Jpeg(*.jpg)");
  if (output.isEmpty()) return;
  const Prompt prompt = KitPrompt(this);
  const int result = ExfImport(payload, target, KitPath(output), type, &prompt, &message);
  if (result == -1) KitMessageBox(this, MsgCopyFailed, MsgTitleError, PromptButtonsOk, PromptIconError);
  if (result == 0) ReloadActive();
}

void ViewerWindow::CommandExportBitmap() {
  const std::string source = slots_[size_t(activeSlot_)].shownPath;
  if (source.empty()) return;
  // The default name: the extension replaced by ".bmp", the path cut at 256 when too long.
  const size_t dot = source.find_last_of('.');
  const size_t slash = source.find_last_of('/');
  std::string name = dot != std::string::npos && (slash == std::string::npos || dot > slash) ? source.substr(0, dot) : source;
  if (name.size() + 4 > 260) name.resize(256);
  const QString chosen = ChooseSaveFile(this, KitPathText(name + ".bmp"), "bitmap(*.bmp)");
  if (chosen.isEmpty()) return;
  WaitCursor wait;
  // The picture is decoded again at full size: the pane holds it scaled.
  ExifDocumentPtr document;
  const uint32_t fileClass = ExifCheckFile(source, document);
  JpegDecoder* opened = nullptr;
  const uint8_t* bytes = nullptr;
  uint32_t size = 0;
  if (fileClass == StatusNef)
    ExifMakerNotePreview(document.get(), &bytes, &size);
  RasterImage image;
  const bool decoded = JpegDecoderOpen(bytes ? "" : source, bytes, size, &opened) == 0 &&
                       JpegDecoderDecode(opened, &image, 0) == 0 && JpegDecoderPixels(opened, &image) == 0;
  JpegDecoderPtr decoder(opened);
  if (!decoded || !WriteBitmap(KitPath(chosen), image))
    KitMessageBox(this, decoded ? MsgExifError : MsgUnsupported, MsgTitleError, PromptButtonsOk, PromptIconError);
}
