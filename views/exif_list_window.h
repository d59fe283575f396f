// The Exif list window (tool window 1): every tag of one JPEG as a list, added, changed and
// deleted through the edit dialog, and saved through the MakerNote-guarding save. Edits stay
// in the document as pending edits until "保存".
#pragma once

#include <QLabel>
#include <QTreeWidget>
#include <memory>
#include <string>

#include "exif/exif_document.h"
#include "frame/file_list.h"
#include "kit/kit_paint_pane.h"
#include "kit/tool_window.h"

// Which commands are live.
enum ListEditState : int {
  ListEditNothing = 0,  // nothing editable
  ListEditNoExif = 1,   // the file has no Exif: add only
  ListEditRead = 2,     // Exif read, unchanged
  ListEditChanged = 3,  // changed: save too
};

class ExifListWindow : public ToolWindow {
  Q_OBJECT

 public:
  explicit ExifListWindow(const std::string& path);
  ~ExifListWindow() override;

  // Opens a file after the unsaved changes prompt; false when the prompt stopped it.
  bool OpenFile(const std::string& path);
  const std::string& CurrentPath() const { return path_; }
  ListEditState State() const { return state_; }
  QTreeWidget* List() const { return list_; }

  // The commands, also reachable by their menu entries.
  void CommandOpen();
  void CommandStep(int direction);
  void CommandSave();
  void CommandAdd();
  void CommandModify();
  void CommandDelete();
  void CommandToggleDetail();

 protected:
  bool ToolMayClose() override;
  void resizeEvent(QResizeEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  void BuildMenus();
  void Layout();
  void SetState(ListEditState state);
  void Fill();
  void ShowThumbnail();
  bool AskUnsaved();
  int Save(const std::string& destination);
  ExifDocumentPtr SaveCopy();
  bool Load(const std::string& path);
  void SelectTag(uint32_t kind, uint16_t tag, bool keepPage);
  int SelectedTagRow() const;
  // The selected tag when it may be edited; false with nothing selected, before a read, or
  // after message 14 for a tag that may not be.
  bool SelectedEditableTag(uint32_t* kind, uint16_t* tag);
  void ValueColumnFit();

  std::string path_;
  ExifDocumentPtr document_;
  uint32_t status_ = 0;
  bool modified_ = false;
  bool created_ = false;  // the Exif area was made here: the file has none
  bool thumbnailToggle_ = false;
  bool detail_ = false;
  ListEditState state_ = ListEditNothing;
  std::unique_ptr<FileList> folder_;
  PaintPane* pane_ = nullptr;
  QLabel* name_ = nullptr;
  QTreeWidget* list_ = nullptr;
  QAction* save_ = nullptr;
  QAction* add_ = nullptr;
  QAction* modify_ = nullptr;
  QAction* delete_ = nullptr;
  QAction* detailAction_ = nullptr;
};

ToolWindow* ExifListWindowCreate(const std::string& path);
