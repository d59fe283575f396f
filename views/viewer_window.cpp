#include "views/viewer_window.h"

#include <QApplication>
#include <QDrag>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QStatusBar>
#include <QUrl>

#include "exif/exif_reader.h"
#include "frame/cp932.h"
#include "frame/message_table.h"
#include "frame/path.h"
#include "frame/settings.h"
#include "kit/kit_dialogs.h"
#include "kit/kit_prompt.h"
#include "kit/kit_text.h"
#include "makernote/makernote_save.h"
#include "shooting/embed.h"
#include "views/exif_list_rows.h"

namespace {

constexpr int kInfoHeight = 70;
constexpr int kPictureTop = 72;
constexpr int kPaneGap = 2;
constexpr char kNefNoticeKey[] = "MSGOK5";

// The Exif as the text pane shows it: the Exif list's rows, a heading in brackets and each tag
// as its name and its text.
QString ViewerInfoText(ExifDocument* document) {
  QStringList lines;
  for (const ExifListRow& row : ExifListRows(document))
    lines << (row.heading ? "[" + KitText(row.name) + "]" : KitText(row.name) + "\t" + KitText(row.text));
  return lines.join('\n');
}

// BACKCOLOR is a colour value in the order red, green, blue from the low byte up.
QColor BackgroundColour(const QPalette& palette) {
  const int value = SettingsGetInt("OPTION", "BACKCOLOR", -1);
  if (value < 0) return palette.color(QPalette::Window);
  return QColor(value & 0xFF, (value >> 8) & 0xFF, (value >> 16) & 0xFF);
}

}  // namespace

void ViewerBlitCentred(QImage& surface, const RasterPixels& part, const RasterRect& partRect, uint32_t shownWidth,
                       uint32_t shownHeight) {
  if (part.pixels.empty() || surface.format() != QImage::Format_RGB32) return;
  // The picture's top left corner on the surface, and the part's.
  const int left = (surface.width() - int(shownWidth)) / 2 + int(partRect.left);
  const int top = (surface.height() - int(shownHeight)) / 2 + int(partRect.top);
  const int x0 = std::max(0, left), x1 = std::min(surface.width(), left + int(part.width));
  const int y0 = std::max(0, top), y1 = std::min(surface.height(), top + int(part.height));
  const size_t rowBytes = RasterRowBytes(part.width);
  for (int y = y0; y < y1; ++y) {
    // Row y - top from the part's top stands at height - 1 - (y - top) in memory.
    const uint8_t* source =
        part.pixels.data() + size_t(int(part.height) - 1 - (y - top)) * rowBytes + size_t(x0 - left) * 3;
    auto* target = reinterpret_cast<QRgb*>(surface.scanLine(y)) + x0;
    for (int x = x0; x < x1; ++x, source += 3) *target++ = qRgb(source[2], source[1], source[0]);
  }
}

ViewerPicturePane::ViewerPicturePane(QWidget* parent, const QString& objectName)
    : PaintPane(parent, QSize(1, 1), objectName) {
  setMinimumSize(1, 1);
  setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
}

void ViewerPicturePane::mousePressEvent(QMouseEvent* event) {
  if (event->button() == Qt::LeftButton) pressed_ = true;
  PaintPane::mousePressEvent(event);
}

void ViewerPicturePane::mouseMoveEvent(QMouseEvent* event) {
  if (!pressed_ || !(event->buttons() & Qt::LeftButton)) return;
  pressed_ = false;
  if (onDrag) onDrag();
}

void ViewerPicturePane::mouseReleaseEvent(QMouseEvent*) { pressed_ = false; }

ViewerWindow::ViewerWindow(const std::string& path) : ToolWindow(kToolImageViewer) {
  setObjectName("Tavexon");
  setWindowTitle(KitMessage(MsgTitleProduct));
  setAcceptDrops(true);
  setCentralWidget(new QWidget(this));  // owned by the window, as every child below
  debugTime_ = SettingsGetInt("OPTION", "DEBUGTIME", 0) != 0;
  background_ = BackgroundColour(palette());
  for (int part = 0; part < 3; ++part) {
    status_[size_t(part)] = new QLabel(statusBar());
    status_[size_t(part)]->setObjectName(QString("status%1").arg(part));
    statusBar()->addWidget(status_[size_t(part)], part == 2 ? 1 : 0);
  }
  BuildMenus();
  OpenSlotPanes(0);
  resize(800, 600);
  UpdateCommands();
  if (!path.empty()) OpenFile(path);
}

ViewerWindow::~ViewerWindow() {
  // The loaders join their threads before the panes they report to go.
  for (ViewerSlot& slot : slots_) slot.loader.reset();
}

void ViewerWindow::OpenSlotPanes(int index) {
  ViewerSlot& slot = slots_[size_t(index)];
  if (!slot.infoPane) {
    slot.infoPane = new QPlainTextEdit(centralWidget());
    slot.infoPane->setObjectName(QString("info%1").arg(index));
    slot.infoPane->setReadOnly(true);
    slot.infoPane->setFocusPolicy(Qt::NoFocus);  // the arrow keys stay the window's
    slot.infoPane->setAcceptDrops(false);
    slot.infoPane->setLineWrapMode(QPlainTextEdit::NoWrap);
    slot.infoPane->viewport()->installEventFilter(this);
    slot.picturePane = new ViewerPicturePane(centralWidget(), QString("picture%1").arg(index));
    slot.picturePane->SetBrush(background_);
    slot.picturePane->SetMouseHandler([this, index](const QPoint&) {
      SetActiveSlot(index);
      raise();
    });
    slot.picturePane->onDrag = [this] { StartDrag(); };
    slot.loader = std::make_unique<ViewerLoader>([this, index](std::shared_ptr<ViewerLoadResult> result) {
      QMetaObject::invokeMethod(this, [this, index, result] { LoadDone(index, result); }, Qt::QueuedConnection);
    });
  }
  slot.open = true;
  slot.infoPane->show();
  slot.picturePane->show();
}

void ViewerWindow::SetActiveSlot(int slot) {
  if (slot < 0 || slot > 1 || !slots_[size_t(slot)].open) return;
  activeSlot_ = slot;
  const ViewerSlot& active = slots_[size_t(slot)];
  // A shown JPEG with good Exif, or without any, can be edited; a NEF and a file whose Exif
  // does not parse cannot.
  const bool editable = active.HasPicture() && ((active.fileClass & StatusJpeg) || active.fileClass == StatusNoExif);
  commandsEnabled_ = editable ? 2 : 0;
  UpdateCommands();
  UpdateStatus();
}

bool ViewerWindow::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::MouseButtonPress)
    for (int index = 0; index < 2; ++index)
      if (slots_[size_t(index)].infoPane && watched == slots_[size_t(index)].infoPane->viewport()) {
        SetActiveSlot(index);
        raise();
      }
  return ToolWindow::eventFilter(watched, event);
}

void ViewerWindow::resizeEvent(QResizeEvent* event) {
  ToolWindow::resizeEvent(event);
  Layout();
}

void ViewerWindow::Layout() {
  const int width = centralWidget()->width();
  const int height = centralWidget()->height();
  const bool both = slots_[1].open;
  const int paneWidth = both ? (width - kPaneGap) / 2 : width;
  for (int index = 0; index < 2; ++index) {
    ViewerSlot& slot = slots_[size_t(index)];
    if (!slot.open) continue;
    const int left = index * (paneWidth + kPaneGap);
    slot.infoPane->setGeometry(left, 0, paneWidth, kInfoHeight);
    const QSize pictureSize(std::max(1, paneWidth), std::max(1, height - kPictureTop));
    slot.picturePane->setGeometry(QRect(QPoint(left, kPictureTop), pictureSize));
    slot.picturePane->SetSize(pictureSize);
  }
  // The first two parts' edges both stand at half the width: the middle part has none.
  status_[0]->setFixedWidth(std::max(0, this->width() / 2 - 8));
  status_[1]->setFixedWidth(0);
  if (!isMinimized())
    for (int index = 0; index < 2; ++index) DrawSlot(index);
}

void ViewerWindow::DrawSlot(int index) {
  ViewerSlot& slot = slots_[size_t(index)];
  if (!slot.open) return;
  PaintPane* pane = slot.picturePane;
  pane->Clear();
  if (slot.picture) {
    const ViewerPicture& picture = *slot.picture;
    QImage& surface = pane->Surface();
    const RasterRect visible = ViewerVisiblePart(picture.shownWidth, picture.shownHeight, uint32_t(surface.width()),
                                                 uint32_t(surface.height()));
    // A pane larger than the part drawn so far (a resize, the second slot closed) draws the
    // part it now shows.
    const RasterRect& drawn = slot.partRect;
    const bool covered = visible.left >= drawn.left && visible.top >= drawn.top &&
                         visible.left + visible.width <= drawn.left + drawn.width &&
                         visible.top + visible.height <= drawn.top + drawn.height;
    if (!covered && ViewerDrawPart(picture, visible, slot.part)) slot.partRect = visible;
    ViewerBlitCentred(surface, slot.part, slot.partRect, picture.shownWidth, picture.shownHeight);
  }
  pane->RepaintAll();
}

bool ViewerWindow::Loading() const {
  for (const ViewerSlot& slot : slots_)
    if (slot.loader && slot.loader->Busy()) return true;
  return false;
}

int ViewerWindow::SharpLevel() {
  if (sharpLevel_ < 0) sharpLevel_ = std::max(0, SettingsGetInt("OPTION", "SHARP", 0));
  return sharpLevel_;
}

bool ViewerWindow::AskUnsaved(int index) {
  ViewerSlot& slot = slots_[size_t(index)];
  if (!slot.modified || !slot.document) return true;
  const std::string text = MessageFormat(3, Cp932FromUtf8(PathFileName(slot.shownPath)).c_str());
  switch (KitMessageBox(this, MsgSaveChanges, MsgTitleProduct, PromptButtonsYesNoCancel, PromptIconQuestion, text.c_str())) {
    case PromptAnswerYes: {
      const Prompt prompt = KitPrompt(this);
      if (ExifSaveFile(slot.shownPath, slot.shownPath, slot.document.get(), &prompt, SaveMode::PendingEdits) != SaveWritten) return false;
      break;
    }
    case PromptAnswerNo: break;
    default: return false;
  }
  slot.modified = false;
  return true;
}

bool ViewerWindow::OpenFile(const std::string& path) {
  if (PathIsFolder(path)) {
    if (ToolWindowAvailable(kToolThumbnailViewer)) {
      OpenToolWindow(kToolThumbnailViewer, path);
    } else {
      notice_ = QString::fromUtf8("フォルダはサムネイルビューアで開きます（このビルドにはまだありません）: ") +
                KitPathText(path);
      UpdateStatus();
    }
    return true;
  }
  if (!AskUnsaved(activeSlot_)) return false;
  ViewerSlot& slot = slots_[size_t(activeSlot_)];
  slot.folderFiles = FileListCreate();
  // The folder's files of the same extension, in name order.
  std::string extension = PathExtension(PathFileName(path));
  FileListScan(*slot.folderFiles, PathFolderOf(path), extension.empty() ? "*" : extension, kFileListFiles, 0);
  FileListSelect(*slot.folderFiles, path);
  Load(activeSlot_, path);
  return true;
}

bool ViewerWindow::OpenFileFromList(const std::string& path, const FileList& list) {
  if (!AskUnsaved(activeSlot_)) return false;
  ViewerSlot& slot = slots_[size_t(activeSlot_)];
  slot.folderFiles = FileListCreate();
  slot.folderFiles->folder = list.folder;
  FileListAdopt(*slot.folderFiles, list.entries);
  FileListSelect(*slot.folderFiles, path);
  Load(activeSlot_, path);
  return true;
}

void ViewerWindow::Load(int index, const std::string& path) {
  ViewerSlot& slot = slots_[size_t(index)];
  slot.sinceRequest.start();
  setCursor(Qt::BusyCursor);
  // The old picture and document go at once: a file that cannot be shown leaves the slot empty.
  slot.picture.reset();
  slot.part = RasterPixels();
  slot.partRect = RasterRect();
  slot.document.reset();
  slot.fileClass = 0;
  slot.path = path;
  slot.infoPane->clear();
  if (index == activeSlot_) {
    commandsEnabled_ = 0;
    UpdateCommands();
  }
  notice_.clear();
  DrawSlot(index);
  UpdateStatus();
  const QScreen* screen = this->screen() ? this->screen() : QGuiApplication::primaryScreen();
  const QSize size = screen ? screen->size() : QSize(1024, 768);
  ViewerLoadRequest request;
  request.path = path;
  request.screenWidth = uint32_t(size.width());
  request.screenHeight = uint32_t(size.height());
  request.paneWidth = uint32_t(slot.picturePane->Surface().width());
  request.paneHeight = uint32_t(slot.picturePane->Surface().height());
  request.sharpLevel = SharpLevel();
  slot.loader->Request(std::move(request));
}

void ViewerWindow::ReloadActive() {
  if (!CurrentPath().empty()) Load(activeSlot_, CurrentPath());
}

void ViewerWindow::LoadDone(int index, std::shared_ptr<ViewerLoadResult> result) {
  ViewerSlot& slot = slots_[size_t(index)];
  // Only the newest request of the slot is shown; an older one was overtaken while it ran.
  if (!slot.open || result->request.id != slot.loader->LatestId()) return;
  ShowLoaded(index, *result);
  if (!Loading()) unsetCursor();
}

void ViewerWindow::ShowLoaded(int index, ViewerLoadResult& result) {
  ViewerSlot& slot = slots_[size_t(index)];
  slot.shownPath = result.request.path;
  slot.fileClass = result.failureMessage ? StatusUnusable : result.fileClass;
  exifSeconds_ = float(result.exifSeconds);
  decodeSeconds_ = float(result.decodeSeconds);
  if (result.failureMessage) {
    UpdateStatus();
    KitMessageBox(this, result.failureMessage, MsgTitleError, PromptButtonsOk, PromptIconError);
    return;
  }
  slot.document = std::move(result.document);
  slot.picture = std::move(result.picture);
  slot.part = std::move(result.part);
  slot.partRect = result.partRect;
  slot.pictureSize = QSize(result.decodedWidth, result.decodedHeight);
  QElapsedTimer display;
  display.start();
  if (slot.fileClass & StatusParseFailed)
    slot.infoPane->setPlainText(KitMessage(MsgParseError));
  else if (slot.fileClass & StatusNoExif)
    slot.infoPane->setPlainText(KitMessage(MsgNoExifInfo));
  else
    slot.infoPane->setPlainText(ViewerInfoText(slot.document.get()));
  DrawSlot(index);
  slot.picturePane->repaint();
  displaySeconds_ = float(result.drawSeconds + display.nsecsElapsed() / 1e9);
  totalSeconds_ = float(slot.sinceRequest.nsecsElapsed() / 1e9);
  if (index == activeSlot_) SetActiveSlot(index);
  UpdateStatus();
  if (slot.fileClass == StatusNef) {
    if (EmbedNoticeDue(kNefNoticeKey) && NoticeDialog(this, KitMessage(MsgNefThumbnail))) EmbedNoticeConfirm(kNefNoticeKey);
  } else if (slot.fileClass & StatusParseFailed) {
    KitMessageBox(this, MsgParseError, MsgTitleError, PromptButtonsOk, PromptIconError);
  }
}

void ViewerWindow::UpdateStatus() {
  const ViewerSlot& slot = slots_[size_t(activeSlot_)];
  QString first = notice_;
  if (first.isEmpty() && debugTime_ && !slot.shownPath.empty())
    first = QString::fromUtf8("TIME:%1秒,%2秒,%3秒,%4秒")
                .arg(double(exifSeconds_), 0, 'f', 3)
                .arg(double(decodeSeconds_), 0, 'f', 3)
                .arg(double(displaySeconds_), 0, 'f', 3)
                .arg(double(totalSeconds_), 0, 'f', 3);
  if (first.isEmpty()) first = KitPathText(PathFileName(slot.path));
  status_[0]->setText(first);
  QString second;
  if (slot.HasPicture() && slot.shownPath == slot.path) {
    second = QString("%1 x %2").arg(slot.pictureSize.width()).arg(slot.pictureSize.height());
    if (slot.folderFiles && !slot.folderFiles->entries->empty())
      second += QString("  (%1/%2)").arg(slot.folderFiles->currentIndex + 1).arg(slot.folderFiles->entries->size());
  }
  status_[2]->setText(second);
}

QString ViewerWindow::StatusPart(int part) const { return part >= 0 && part < 3 ? status_[size_t(part)]->text() : QString(); }

void ViewerWindow::CommandStep(int direction) {
  ViewerSlot& slot = slots_[size_t(activeSlot_)];
  if (!slot.folderFiles || slot.folderFiles->entries->empty() || slot.path.empty()) return;
  FileListSelect(*slot.folderFiles, slot.path);
  const long next = long(slot.folderFiles->currentIndex) + direction;
  if (next < 0 || next >= long(slot.folderFiles->entries->size())) return;  // no wrapping
  if (!AskUnsaved(activeSlot_)) return;
  slot.folderFiles->currentIndex = size_t(next);
  Load(activeSlot_, (*slot.folderFiles->entries)[size_t(next)].path);
}

void ViewerWindow::CommandSideBySide() {
  if (slots_[1].open) {
    ViewerSlot& second = slots_[1];
    second.open = false;
    second.infoPane->hide();
    second.picturePane->hide();
    second.document.reset();
    second.folderFiles.reset();
    second.picture.reset();
    second.part = RasterPixels();
    second.partRect = RasterRect();
    second.path.clear();
    second.shownPath.clear();
    second.fileClass = 0;
    second.modified = false;
    SetActiveSlot(0);
  } else {
    OpenSlotPanes(1);
    SetActiveSlot(1);
  }
  Layout();
}

void ViewerWindow::CommandOpen() {
  if (!AskUnsaved(activeSlot_)) return;
  const QString chosen = ChooseOpenFile(this, KitPathText(CurrentPath()), "Jpeg(*.jpg *.jpeg *.nef)");
  if (!chosen.isEmpty()) OpenFile(KitPath(chosen));
}

bool ViewerWindow::ToolMayClose() {
  for (int index = 0; index < 2; ++index)
    if (slots_[size_t(index)].open && !AskUnsaved(index)) return false;
  for (ViewerSlot& slot : slots_) {
    slot.document.reset();
    slot.folderFiles.reset();
  }
  return true;
}

void ViewerWindow::StartDrag() {
  const std::string& path = slots_[size_t(activeSlot_)].shownPath;
  if (path.empty()) return;
  auto* mime = new QMimeData;  // owned by the drag
  mime->setUrls({QUrl::fromLocalFile(KitPathText(path))});
  auto* drag = new QDrag(this);  // deleted by Qt when the drag ends
  drag->setMimeData(mime);
  // While the file is being dragged, it cannot be dropped back on its own window.
  dragging_ = true;
  setAcceptDrops(false);
  drag->exec(Qt::CopyAction);
  setAcceptDrops(true);
  dragging_ = false;
}

void ViewerWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (!dragging_ && event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void ViewerWindow::dropEvent(QDropEvent* event) {
  const QList<QUrl> urls = event->mimeData()->urls();
  if (urls.isEmpty() || !urls.first().isLocalFile()) return;
  // The slot under the drop takes the file.
  const QPoint at = centralWidget()->mapFrom(this, event->position().toPoint());
  if (slots_[1].open && at.x() >= slots_[1].infoPane->x()) SetActiveSlot(1);
  else SetActiveSlot(0);
  OpenFile(KitPath(urls.first().toLocalFile()));
}

ToolWindow* ViewerWindowCreate(const std::string& path) { return new ViewerWindow(path); }

void ViewerOpenFile(const std::string& path) {
  if (OpenToolWindow(kToolImageViewer, path)) return;  // a new window loads the path itself
  if (auto* viewer = static_cast<ViewerWindow*>(ToolWindowOf(kToolImageViewer))) viewer->OpenFile(path);
}

void ViewerOpenFileFromList(const std::string& path, const FileList& list) {
  if (!ToolWindowOf(kToolImageViewer)) OpenToolWindow(kToolImageViewer, "");
  if (auto* viewer = static_cast<ViewerWindow*>(ToolWindowOf(kToolImageViewer))) viewer->OpenFileFromList(path, list);
}
