// The main window (tool window 2) as far as it stands today: its menu opens the tools that
// exist (the embed window, the Exif list), and its picture pane waits for the decoder.
#pragma once

#include <string>

#include "kit/kit_paint_pane.h"
#include "kit/tool_window.h"

class HomeWindow : public ToolWindow {
  Q_OBJECT

 public:
  explicit HomeWindow(const std::string& path);
  const std::string& CurrentPath() const { return path_; }

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  std::string path_;
  PaintPane* pane_ = nullptr;
};

ToolWindow* HomeWindowCreate(const std::string& path);
