// The image viewer (tool window 2), the program's main window: a JPEG or a NEF's preview with
// its Exif text above it, in one slot or two side by side; next and previous through the
// file's folder; the menu from which every tool opens.
//
// Loads run on each slot's ViewerLoader thread; the window stays responsive and shows a load's
// result only when it is the slot's latest request.
#pragma once

#include <QElapsedTimer>
#include <QLabel>
#include <QPlainTextEdit>
#include <array>
#include <memory>
#include <string>

#include "exif/exif_document.h"
#include "frame/file_list.h"
#include "kit/kit_paint_pane.h"
#include "kit/tool_window.h"
#include "views/viewer_load.h"

// The picture pane: a paint pane that starts an outgoing drag of its file.
class ViewerPicturePane : public PaintPane {
  Q_OBJECT

 public:
  ViewerPicturePane(QWidget* parent, const QString& objectName);
  std::function<void()> onDrag;

 protected:
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;

 private:
  bool pressed_ = false;
};

// Copies a drawn part of a picture of shownWidth x shownHeight (bottom-up BGR rows padded to 4,
// standing at partRect in the picture) where it falls on the surface when the picture is
// centred on it; the rest of the surface is left as it is.
void ViewerBlitCentred(QImage& surface, const RasterPixels& part, const RasterRect& partRect, uint32_t shownWidth,
                       uint32_t shownHeight);

// One of the two ViewerDocument slots with its panes.
struct ViewerSlot {
  bool open = false;
  QPlainTextEdit* infoPane = nullptr;
  ViewerPicturePane* picturePane = nullptr;
  std::unique_ptr<FileList> folderFiles;
  bool modified = false;
  uint32_t fileClass = 0;
  ExifDocumentPtr document;
  std::shared_ptr<ViewerPicture> picture;  // the decoded picture and how it is shown
  RasterPixels part;       // the part of the shown picture drawn last, centred in the pane at every redraw
  RasterRect partRect;     // where that part stands in the shown picture
  std::string path;        // the file asked for last (shown, or loading)
  std::string shownPath;   // the file whose picture and text stand in the panes
  QSize pictureSize;       // of the file's picture as decoded
  std::unique_ptr<ViewerLoader> loader;
  QElapsedTimer sinceRequest;
  bool HasPicture() const { return picture != nullptr; }
};

class ViewerWindow : public ToolWindow {
  Q_OBJECT

 public:
  explicit ViewerWindow(const std::string& path);
  ~ViewerWindow() override;

  // Loads a file (or, for a folder, opens the thumbnail viewer) into the active slot, its
  // folder scanned for next and previous. False when the unsaved changes prompt stopped it.
  bool OpenFile(const std::string& path);
  // The same with the caller's list, whose order next and previous then walk.
  bool OpenFileFromList(const std::string& path, const FileList& list);

  // Runs a command of menu 110 by its number, as its menu entry or key does; a disabled
  // command does nothing.
  void RunCommand(int id);
  void CommandStep(int direction);
  void CommandSideBySide();
  void CommandOpen();

  const std::string& CurrentPath() const { return slots_[activeSlot_].path; }
  int ActiveSlot() const { return activeSlot_; }
  void SetActiveSlot(int slot);
  const ViewerSlot& Slot(int index) const { return slots_[size_t(index)]; }
  bool CommandsEnabled() const { return commandsEnabled_ != 0; }
  bool Loading() const;
  QString StatusPart(int part) const;
  // The timings of the last load in seconds: Exif, decode, display, total.
  std::array<float, 4> Timings() const { return {exifSeconds_, decodeSeconds_, displaySeconds_, totalSeconds_}; }

 protected:
  bool ToolMayClose() override;
  void resizeEvent(QResizeEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void BuildMenus();
  void UpdateCommands();
  void Layout();
  void OpenSlotPanes(int slot);
  void DrawSlot(int slot);
  bool AskUnsaved(int slot);
  void Load(int slot, const std::string& path);
  void LoadDone(int slot, std::shared_ptr<ViewerLoadResult> result);
  void ShowLoaded(int slot, ViewerLoadResult& result);
  void UpdateStatus();
  void StartDrag();
  void ReloadActive();
  int SharpLevel();

  // Commands of the edit group, run on the active slot's file.
  void CommandEmbedOne();
  void CommandDeleteExif();
  void CommandExifList();
  void CommandExportBitmap();
  void CommandExportExif();
  void CommandImportExif();

  std::array<ViewerSlot, 2> slots_;
  int activeSlot_ = 0;
  int commandsEnabled_ = 0;
  bool debugTime_ = false;
  float exifSeconds_ = 0, decodeSeconds_ = 0, displaySeconds_ = 0, totalSeconds_ = 0;
  int sharpLevel_ = -1;  // read on first use
  QColor background_;
  bool dragging_ = false;
  std::array<QLabel*, 3> status_{};
  QString notice_;  // a line for the status bar's first part until the next load
};

ToolWindow* ViewerWindowCreate(const std::string& path);

// Brings the viewer up (created when closed) and loads the path into its active slot.
void ViewerOpenFile(const std::string& path);
void ViewerOpenFileFromList(const std::string& path, const FileList& list);
