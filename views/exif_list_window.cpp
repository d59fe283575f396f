#include "views/exif_list_window.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QHeaderView>
#include <QMenuBar>
#include <QMimeData>
#include <QPainter>
#include <QStatusBar>

#include "exif/exif_reader.h"
#include "exif/makernote_handler.h"
#include "exif/tag_catalogue.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"
#include "frame/message_table.h"
#include "frame/path.h"
#include "frame/settings.h"
#include "kit/kit_dialogs.h"
#include "kit/kit_prompt.h"
#include "kit/kit_text.h"
#include "kit/kit_views.h"
#include "makernote/makernote_save.h"
#include "views/exif_list_rows.h"
#include "views/picture_source.h"
#include "views/tag_edit_dialog.h"

namespace {

constexpr intptr_t kHeadingData = -1;
constexpr int kPaneWidth = 160;
constexpr int kPaneHeight = 120;
constexpr int kListLeft = 165;
constexpr int kNameHeight = 20;
constexpr int kNameColumn = 200;
constexpr int kDetailColumn = 120;
constexpr int kValueColumn = 500;

// The message for a read that failed, by its error code.
struct ReadFailure {
  uint32_t code;
  uint32_t message;
};
constexpr ReadFailure kReadFailures[] = {
    {ErrIfdPrimary, MsgParseErrorIfd0}, {ErrIfdThumbnail, MsgParseErrorIfd1},     {ErrIfdExif, MsgParseErrorExifIfd},
    {ErrIfdGps, MsgParseErrorGpsIfd},   {ErrIfdInterop, MsgParseErrorInteropIfd},
};

uint32_t ReadFailureMessage(uint32_t code) {
  for (const ReadFailure& failure : kReadFailures)
    if (failure.code == code) return failure.message;
  return MsgParseError;
}

intptr_t RowData(uint32_t kind, uint16_t tag) { return intptr_t((uint64_t(kind) << 16) | tag); }
uint32_t RowKind(intptr_t data) { return uint32_t(uint64_t(data) >> 16); }
uint16_t RowTag(intptr_t data) { return uint16_t(data & 0xFFFF); }

// Row marks: image 1 for a heading, 0 for a tag.
QIcon RowMark(bool heading) {
  QPixmap mark(16, 16);
  mark.fill(Qt::transparent);
  QPainter painter(&mark);
  painter.setBrush(heading ? QColor(0x30, 0x60, 0xA0) : QColor(0x90, 0x90, 0x90));
  painter.setPen(Qt::NoPen);
  if (heading)
    painter.drawRect(2, 3, 12, 10);
  else
    painter.drawEllipse(5, 5, 6, 6);
  return QIcon(mark);
}

std::string Cp932Name(const std::string& path) { return Cp932FromUtf8(PathFileName(path)); }

}  // namespace

ExifListWindow::ExifListWindow(const std::string& path) : ToolWindow(kToolExifList) {
  setObjectName("ExifList");
  setWindowTitle(KitMessage(MsgTitleProduct));
  setAcceptDrops(true);
  auto* client = new QWidget(this);  // owned by the window, as every child below
  setCentralWidget(client);
  pane_ = new PaintPane(client, QSize(kPaneWidth, kPaneHeight), "thumbnail");
  pane_->SetMouseHandler([this](const QPoint&) { ShowThumbnail(); });
  name_ = new QLabel(client);
  name_->setObjectName("filename");
  list_ = ListViewCreate(client, "list");
  ListViewInsertColumn(list_, 0, QString::fromUtf8("項目"), kNameColumn);
  detail_ = SettingsGetInt("OPTION", "DETAIL", 0) != 0;
  ListViewInsertColumn(list_, 1, "TAG  TYPE  COUNT", detail_ ? kDetailColumn : 0);
  ListViewInsertColumn(list_, 2, QString::fromUtf8("値"), kValueColumn);
  connect(list_, &QTreeWidget::itemDoubleClicked, this, [this] { CommandModify(); });
  statusBar()->setObjectName("status");
  BuildMenus();
  resize(800, 600);
  SetState(ListEditNothing);
  if (!path.empty()) OpenFile(path);
}

ExifListWindow::~ExifListWindow() = default;

void ExifListWindow::BuildMenus() {
  auto command = [this](QMenu* menu, const char* text, const char* name, const QKeySequence& key, auto slot) {
    QAction* action = menu->addAction(QString::fromUtf8(text));
    action->setObjectName(name);
    if (!key.isEmpty()) action->setShortcut(key);
    connect(action, &QAction::triggered, this, slot);
    return action;
  };
  QMenu* file = menuBar()->addMenu(QString::fromUtf8("ファイル(&F)"));
  command(file, "開く(&O)...", "open", QKeySequence(Qt::CTRL | Qt::Key_O), [this] { CommandOpen(); });
  command(file, "次のJpegを開く", "next", QKeySequence(Qt::Key_Right), [this] { CommandStep(1); });
  command(file, "前のJpegを開く", "previous", QKeySequence(Qt::Key_Left), [this] { CommandStep(-1); });
  save_ = command(file, "保存(&S)...", "save", QKeySequence(Qt::CTRL | Qt::Key_S), [this] { CommandSave(); });
  command(file, "閉じる(&X)", "close", QKeySequence(), [this] { close(); });
  QMenu* edit = menuBar()->addMenu(QString::fromUtf8("編集(&E)"));
  add_ = command(edit, "追加(&N)...", "add", QKeySequence(Qt::CTRL | Qt::Key_N), [this] { CommandAdd(); });
  modify_ = command(edit, "修正(&E)...", "modify", QKeySequence(Qt::CTRL | Qt::Key_E), [this] { CommandModify(); });
  delete_ = command(edit, "削除(&D)...", "delete", QKeySequence(Qt::Key_Delete), [this] { CommandDelete(); });
  QMenu* view = menuBar()->addMenu(QString::fromUtf8("表示(&V)"));
  detailAction_ = command(view, "タグ情報を表示(&T)", "detail", QKeySequence(), [this] { CommandToggleDetail(); });
  detailAction_->setCheckable(true);
  detailAction_->setChecked(detail_);
  QMenu* tools = menuBar()->addMenu(QString::fromUtf8("ツール(&T)"));
  command(tools, "画像表示(&V)...", "viewer", QKeySequence(Qt::CTRL | Qt::Key_V),
          [this] { OpenToolWindow(kToolImageViewer, path_); });
  QMenu* help = menuBar()->addMenu(QString::fromUtf8("ヘルプ(&H)"));
  command(help, "ヘルプの表示(&H)", "help", QKeySequence(Qt::Key_F1), [] { ShowHelp(); });
  command(help, "バージョン情報(&A)...", "about", QKeySequence(), [this] { ShowAbout(this); });
}

void ExifListWindow::resizeEvent(QResizeEvent* event) {
  ToolWindow::resizeEvent(event);
  Layout();
}

void ExifListWindow::Layout() {
  const QWidget* client = centralWidget();
  const int width = client->width();
  const int height = client->height();
  pane_->move(0, 0);
  name_->setGeometry(kListLeft, 0, std::max(0, width - kListLeft), kNameHeight);
  list_->setGeometry(kListLeft, kNameHeight, std::max(0, width - kListLeft), std::max(0, height - kNameHeight));
  ValueColumnFit();
}

void ExifListWindow::ValueColumnFit() {
  const int used = ListViewColumnWidth(list_, 0) + ListViewColumnWidth(list_, 1);
  const int rest = list_->viewport()->width() - used;
  if (rest > 0) ListViewSetColumnWidth(list_, 2, rest);
}

void ExifListWindow::SetState(ListEditState state) {
  state_ = state;
  save_->setEnabled(state == ListEditChanged);
  add_->setEnabled(state != ListEditNothing);
  modify_->setEnabled(state >= ListEditRead);
  delete_->setEnabled(state >= ListEditRead);
}

int ExifListWindow::SelectedTagRow() const {
  const int row = ListViewNextSelected(list_);
  return row >= 0 && ListViewRowData(list_, row) != kHeadingData ? row : -1;
}

void ExifListWindow::Fill() {
  const int selected = ListViewNextSelected(list_);
  const int top = ListViewTopRow(list_);
  ListViewDeleteAll(list_);
  const QIcon headingMark = RowMark(true);
  const QIcon tagMark = RowMark(false);
  for (const ExifListRow& row : ExifListRows(document_.get())) {
    const int at = ListViewInsertRow(list_, -1, KitText(row.name), row.heading ? headingMark : tagMark,
                                     row.heading ? kHeadingData : RowData(row.kind, row.tag));
    ListViewSetCell(list_, at, 1, QString::fromLatin1(row.detail.c_str()));
    ListViewSetCell(list_, at, 2, KitText(row.text));
  }
  if (selected >= 0 && selected < ListViewRowCount(list_)) {
    ListViewScrollToTop(list_, std::min(top, ListViewRowCount(list_) - 1));
    ListViewSelect(list_, selected);
  }
}

void ExifListWindow::SelectTag(uint32_t kind, uint16_t tag, bool keepPage) {
  const int count = ListViewRowCount(list_);
  for (int row = 0; row < count; ++row) {
    if (ListViewRowData(list_, row) != RowData(kind, tag)) continue;
    ListViewSelect(list_, row);
    if (!keepPage) ListViewEnsureVisible(list_, row);
    return;
  }
  ListViewSelect(list_, count ? 0 : -1);
}

void ExifListWindow::ShowThumbnail() {
  if (!document_) return;
  const uint8_t* bytes = ExifThumbnail(document_.get());
  uint32_t size = ExifThumbnailSize(document_.get());
  if (thumbnailToggle_) {
    const uint8_t* own = nullptr;
    uint32_t ownSize = 0;
    if (ExifMakerNotePreview(document_.get(), &own, &ownSize) && own && ownSize) {
      bytes = own;
      size = ownSize;
    }
  }
  thumbnailToggle_ = !thumbnailToggle_;
  statusBar()->clearMessage();
  if (!bytes || !size) return;
  const QImage picture = PictureDecode(bytes, size);
  if (picture.isNull()) {
    pane_->ShowNoPicture();
    return;
  }
  pane_->ShowImage(picture);
  if (picture.width() > kPaneWidth || picture.height() > kPaneHeight)
    statusBar()->showMessage(QString::asprintf("Thumbnail : %d * %d", picture.width(), picture.height()));
}

bool ExifListWindow::AskUnsaved() {
  if (state_ != ListEditChanged && !(document_ && !document_->pending.empty())) return true;
  const std::string text = MessageFormat(MsgSaveChanges, Cp932Name(path_).c_str());
  switch (KitMessageBox(this, MsgSaveChanges, MsgTitleProduct, PromptButtonsYesNoCancel, PromptIconQuestion,
                        text.c_str())) {
    case PromptAnswerYes: {
      const QString chosen = ChooseSaveFile(this, KitPathText(path_), "Jpeg(*.jpg)");
      return !chosen.isEmpty() && Save(KitPath(chosen)) == SaveWritten;
    }
    case PromptAnswerNo:
      document_.reset();
      modified_ = false;
      return true;
    default: return false;
  }
}

bool ExifListWindow::OpenFile(const std::string& path) {
  if (!AskUnsaved()) return false;
  uint32_t kind = 0;
  uint16_t tag = 0;
  const int selected = SelectedTagRow();
  if (selected >= 0) {
    kind = RowKind(ListViewRowData(list_, selected));
    tag = RowTag(ListViewRowData(list_, selected));
  }
  Load(path);
  folder_ = FileListCreate();
  FileListScan(*folder_, PathFolderOf(path), "jpg", kFileListFiles, 0);
  FileListSelect(*folder_, path);
  if (selected >= 0)
    SelectTag(kind, tag, true);
  else
    ListViewSelect(list_, ListViewRowCount(list_) ? 0 : -1);
  return true;
}

bool ExifListWindow::Load(const std::string& path) {
  path_ = path;
  modified_ = false;
  created_ = false;
  document_.reset();
  name_->setText(KitPathText(PathFileName(path)));
  statusBar()->clearMessage();
  pane_->Clear();
  ListViewDeleteAll(list_);
  ErrorClear();
  status_ = ExifCheckFile(path, document_);
  if (status_ & (StatusParseFailed | StatusUnusable)) {
    const uint32_t code = ErrorPop();
    ErrorClear();
    document_.reset();
    SetState(ListEditNothing);
    list_->setFocus();
    KitMessageBox(this, ReadFailureMessage(code), MsgTitleError, PromptButtonsOk, PromptIconError);
    return false;
  }
  const uint32_t code = ErrorPeek();
  ErrorClear();
  thumbnailToggle_ = false;
  ShowThumbnail();
  Fill();
  if (status_ & StatusNoThumbnail) {
    pane_->ShowText(KitMessage(MsgNotFound));
    if (code == ErrThumbnail) {
      SetState(ListEditNothing);
      KitMessageBox(this, MsgThumbnailMissing, MsgTitleError, PromptButtonsOk, PromptIconError);
    } else {
      SetState(ListEditRead);
    }
  } else if (status_ & StatusNoExif) {
    pane_->ShowText(KitMessage(MsgNoExifInfo));
    SetState(ListEditNoExif);
  } else {
    SetState(status_ & StatusNef ? ListEditNothing : ListEditRead);
  }
  if (status_ & StatusMakerNoteFailed)
    KitMessageBox(this, MsgMakerNoteParse, MsgTitleError, PromptButtonsOk, PromptIconWarning);
  return true;
}

void ExifListWindow::CommandOpen() {
  const QString chosen = ChooseOpenFile(this, KitPathText(path_), "Jpeg(*.jpg *.jpeg *.nef)");
  if (!chosen.isEmpty()) OpenFile(KitPath(chosen));
}

void ExifListWindow::CommandStep(int direction) {
  if (!folder_ || folder_->entries->empty() || path_.empty()) return;
  FileListSelect(*folder_, path_);
  const long next = long(folder_->currentIndex) + direction;
  if (next < 0 || next >= long(folder_->entries->size())) return;
  OpenFile((*folder_->entries)[size_t(next)].path);
}

// A save works on a fresh reading of the file with the window's edits queued again, so a save
// that fails or is cancelled half-way leaves the window's document exactly as it was.
ExifDocumentPtr ExifListWindow::SaveCopy() {
  ExifDocumentPtr copy;
  if (created_) {
    if (!ExifCreateEmpty(copy)) return nullptr;
  } else if (ExifCheckFile(path_, copy) & (StatusParseFailed | StatusNoExif | StatusUnusable)) {
    return nullptr;
  }
  ErrorClear();
  if (copy) copy->pending = document_->pending;
  return copy;
}

int ExifListWindow::Save(const std::string& destination) {
  const Prompt prompt = KitPrompt(this);
  ExifDocumentPtr copy = SaveCopy();
  const int result = copy ? ExifSaveFile(path_, destination, copy.get(), &prompt, SaveMode::PendingEdits) : int(SaveFailed);
  if (result == SaveCancelled) return result;
  if (result != SaveWritten) {
    KitMessageBox(this, MsgExifError, MsgTitleError, PromptButtonsOk, PromptIconError);
    return result;
  }
  modified_ = false;
  return result;
}

void ExifListWindow::CommandSave() {
  if (state_ != ListEditChanged) return;
  const QString chosen = ChooseSaveFile(this, KitPathText(path_), "Jpeg(*.jpg)");
  if (chosen.isEmpty() || Save(KitPath(chosen)) != SaveWritten) return;
  const int selected = SelectedTagRow();
  const intptr_t data = selected >= 0 ? ListViewRowData(list_, selected) : 0;
  Load(KitPath(chosen));
  if (selected >= 0) SelectTag(RowKind(data), RowTag(data), true);
  SetState(ListEditRead);
}

void ExifListWindow::CommandAdd() {
  if (state_ == ListEditNothing) return;
  if (!document_ || (status_ & StatusNoExif)) {
    if (KitMessageBox(this, MsgCreateExif, MsgTitleProduct, PromptButtonsYesNo, PromptIconQuestion) != PromptAnswerYes)
      return;
    if (!ExifCreateEmpty(document_)) {
      KitMessageBox(this, MsgUpdateFailed, MsgTitleError, PromptButtonsOk, PromptIconError);
      return;
    }
    status_ &= ~uint32_t(StatusNoExif);
    created_ = true;
    pane_->Clear();
    Fill();
    SetState(ListEditChanged);
  }
  TagEntry entry;
  uint32_t kind = 0;
  if (!TagEditDialog(this, document_.get(), nullptr, 0, &entry, &kind)) return;
  if (!ExifQueueEdit(document_.get(), PendingSet, kind, entry.tag, entry.type, entry.count, entry.Data())) {
    KitMessageBox(this, MsgUpdateFailed, MsgTitleError, PromptButtonsOk, PromptIconError);
    return;
  }
  modified_ = true;
  Fill();
  SelectTag(kind, entry.tag, false);
  SetState(ListEditChanged);
}

// A tag may be edited when the catalogue allows it, and for a MakerNote table when the open
// note may be edited at all.
static bool ExifListEditable(ExifDocument* document, uint32_t kind, uint16_t tag) {
  if (kind >= kIfdMakerNoteFirst && !ExifMakerNoteEditable(document)) return false;
  return TagIsEditable(document, kind, tag) != 0;
}

bool ExifListWindow::SelectedEditableTag(uint32_t* kind, uint16_t* tag) {
  const int row = SelectedTagRow();
  if (row < 0 || state_ < ListEditRead) return false;
  *kind = RowKind(ListViewRowData(list_, row));
  *tag = RowTag(ListViewRowData(list_, row));
  if (!ExifListEditable(document_.get(), *kind, *tag)) {
    KitMessageBox(this, MsgTagNotEditable, MsgTitleInput, PromptButtonsOk, PromptIconWarning);
    return false;
  }
  return true;
}

void ExifListWindow::CommandModify() {
  uint32_t kind = 0;
  uint16_t tag = 0;
  if (!SelectedEditableTag(&kind, &tag)) return;
  TagEntry old;
  if (!ExifListFindTag(document_.get(), kind, tag, &old)) return;
  TagEntry entry;
  uint32_t newKind = 0;
  if (!TagEditDialog(this, document_.get(), &old, kind, &entry, &newKind)) return;
  if (!ExifQueueEdit(document_.get(), PendingSet, kind, entry.tag, entry.type, entry.count, entry.Data())) {
    KitMessageBox(this, MsgUpdateFailed, MsgTitleError, PromptButtonsOk, PromptIconError);
    return;
  }
  modified_ = true;
  Fill();
  SelectTag(kind, tag, false);
  SetState(ListEditChanged);
}

void ExifListWindow::CommandDelete() {
  const int row = SelectedTagRow();  // the row to select once the tag is gone
  uint32_t kind = 0;
  uint16_t tag = 0;
  if (!SelectedEditableTag(&kind, &tag)) return;
  const std::string text = MessageFormat(MsgDeleteTag, TagDisplayName(document_.get(), kind, tag));
  if (KitMessageBox(this, MsgDeleteTag, MsgTitleProduct, PromptButtonsYesNo, PromptIconQuestion, text.c_str()) !=
      PromptAnswerYes)
    return;
  if (!ExifQueueEdit(document_.get(), PendingDelete, kind, tag, 0, 0, nullptr)) {
    KitMessageBox(this, MsgUpdateFailed, MsgTitleError, PromptButtonsOk, PromptIconError);
    return;
  }
  modified_ = true;
  Fill();
  ListViewSelect(list_, std::min(row, ListViewRowCount(list_) - 1));
  SetState(ListEditChanged);
}

void ExifListWindow::CommandToggleDetail() {
  detail_ = !detail_;
  detailAction_->setChecked(detail_);
  ListViewSetColumnWidth(list_, 1, detail_ ? kDetailColumn : 0);
  ValueColumnFit();
}

bool ExifListWindow::ToolMayClose() {
  if (!AskUnsaved()) return false;
  document_.reset();
  folder_.reset();
  SettingsPutUInt("OPTION", "DETAIL", detail_ ? 1 : 0);
  return true;
}

void ExifListWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void ExifListWindow::dropEvent(QDropEvent* event) {
  const QList<QUrl> urls = event->mimeData()->urls();
  if (!urls.isEmpty() && urls.first().isLocalFile()) OpenFile(KitPath(urls.first().toLocalFile()));
}

ToolWindow* ExifListWindowCreate(const std::string& path) { return new ExifListWindow(path); }
