#include "kit/tool_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QPointer>
#include <QScreen>
#include <array>

#include "frame/app_start.h"
#include "frame/settings.h"
#include "kit/kit_text.h"

namespace {

struct ToolSlot {
  QPointer<ToolWindow> window;
  ToolWindowFactory factory = nullptr;
};

struct ToolTable {
  std::array<ToolSlot, kToolKindCount> entries;
  int openCount = 0;
  void (*lastClosed)() = nullptr;
};

ToolTable& Table() {
  static ToolTable table;
  return table;
}

void ToolWindowRestoreSize(ToolWindow* window, int kind) {
  const std::string key = WindowSizeKey(kind);
  const std::optional<WindowSize> size = WindowSizeParse(SettingsGetText("SIZE", key.c_str(), ""));
  if (!size) return;
  const QScreen* screen = window->screen() ? window->screen() : QGuiApplication::primaryScreen();
  const QRect area = screen ? screen->geometry() : QRect(0, 0, size->width, size->height);
  const WindowRect placed = WindowPlaceOnScreen({window->x(), window->y(), size->width, size->height},
                                                area.width(), area.height());
  window->move(placed.left, placed.top);
  window->resize(placed.width, placed.height);
}

}  // namespace

ToolWindow::ToolWindow(ToolKind kind) : kind_(kind) {
  setAttribute(Qt::WA_DeleteOnClose);
  setFont(KitFont());
}

void ToolWindow::closeEvent(QCloseEvent* event) {
  if (!ToolMayClose()) {
    event->ignore();
    return;
  }
  ToolWindowClosed(this);
  event->accept();
}

void ToolWindowRegister(ToolKind kind, ToolWindowFactory factory) { Table().entries[kind].factory = factory; }

bool ToolWindowAvailable(int kind) {
  return kind >= 0 && kind < kToolKindCount && kind != kToolUnused && Table().entries[kind].factory != nullptr;
}

ToolWindow* OpenToolWindow(int kind, const std::string& path) {
  if (kind < 0 || kind >= kToolKindCount) return nullptr;
  ToolSlot& slot = Table().entries[kind];
  if (slot.window) {
    slot.window->showNormal();
    slot.window->raise();
    slot.window->activateWindow();
    return nullptr;
  }
  if (kind == kToolUnused || !slot.factory) return nullptr;
  ToolWindow* window = slot.factory(path);
  if (!window) return nullptr;
  slot.window = window;
  ++Table().openCount;
  if (kind != kToolFullScreen) ToolWindowRestoreSize(window, kind);
  window->show();
  return window;
}

ToolWindow* ToolWindowOf(int kind) {
  return kind >= 0 && kind < kToolKindCount ? Table().entries[kind].window.data() : nullptr;
}

int ToolWindowOpenCount() { return Table().openCount; }

void ToolWindowClosed(ToolWindow* window) {
  ToolTable& table = Table();
  for (int kind = 0; kind < kToolKindCount; ++kind) {
    if (table.entries[kind].window != window) continue;
    table.entries[kind].window.clear();
    const QRect normal = window->isMaximized() || window->isMinimized() ? window->normalGeometry() : window->geometry();
    SettingsPutString("SIZE", WindowSizeKey(kind).c_str(), WindowSizeFormat(normal.width(), normal.height()).c_str());
    if (--table.openCount == 0 && table.lastClosed) table.lastClosed();
  }
}

void ToolWindowOnLastClosed(void (*action)()) { Table().lastClosed = action; }
