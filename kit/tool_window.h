// The table of tool windows: at most one window of each ToolKind, sizes remembered by kind in
// section "SIZE", and the process ending when the last window closes.
//
// Every tool window derives from ToolWindow; the program registers one factory per kind at
// start. All of it runs on the main thread.
#pragma once

#include <QMainWindow>
#include <string>

#include "frame/tool_kind.h"

class ToolWindow : public QMainWindow {
  Q_OBJECT

 public:
  explicit ToolWindow(ToolKind kind);
  ToolKind Kind() const { return kind_; }

 protected:
  // Whether the window may close now (an unsaved changes prompt answers here).
  virtual bool ToolMayClose() { return true; }
  void closeEvent(QCloseEvent* event) override;

 private:
  ToolKind kind_;
};

// Makes the window of a kind (shown by the table, not by the factory); nullptr on failure.
using ToolWindowFactory = ToolWindow* (*)(const std::string& path);
void ToolWindowRegister(ToolKind kind, ToolWindowFactory factory);
// Whether a window of the kind can be opened (a factory is registered): the main window's
// menu enables the tools that exist and shows the rest disabled.
bool ToolWindowAvailable(int kind);

// Opens the window of a kind with a path (empty for none). A kind already open is raised and
// the result is nullptr, as it is for a kind that opens nothing and for a failed creation. The
// new window takes its remembered size, placed on the screen, and is shown.
ToolWindow* OpenToolWindow(int kind, const std::string& path);

// The open window of a kind, or nullptr.
ToolWindow* ToolWindowOf(int kind);
int ToolWindowOpenCount();

// Called by a closing window: stores its normal size under "SIZE%02d" and clears its slot;
// when the last one closes, the action set here runs (the program ends its event loop).
void ToolWindowClosed(ToolWindow* window);
void ToolWindowOnLastClosed(void (*action)());
