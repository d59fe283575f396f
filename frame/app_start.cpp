// Start-up decisions and window placement.
#include "frame/app_start.h"

#include <algorithm>
#include <cstdio>

#include "frame/path.h"

namespace {

// Hex digits the way the size reader takes them: one at a time, anything else counts 0.
int WindowSizeDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return 0;
}

int WindowSizeField(std::string_view stored, size_t from) {
  int value = 0;
  for (size_t i = from; i < from + 4; ++i) value = value * 16 + (i < stored.size() ? WindowSizeDigit(stored[i]) : 0);
  return value;
}

}  // namespace

std::string AppCommandLinePath(const std::string& commandLine) {
  if (commandLine.empty() || commandLine.front() != '"') return commandLine;
  std::string path = commandLine.substr(1);
  if (!path.empty() && path.back() == '"') path.pop_back();
  return path;
}

AppFirstViewDecision AppDecideFirstView(int firstView, const std::string& path) {
  switch (firstView) {
    case 1:
      return {kToolExifList, path};
    case 2:
      return {kToolExifExplorer, ""};
    case 3:
      return {kToolExifCompare, path};
    case 4:
      return {kToolThumbnailViewer, path};
    default:
      if (PathIsFolder(path)) return {kToolThumbnailViewer, path};
      return {kToolImageViewer, path};
  }
}

std::string WindowSizeKey(int kind) {
  char key[16];
  std::snprintf(key, sizeof key, "SIZE%02d", kind);
  return key;
}

std::optional<WindowSize> WindowSizeParse(std::string_view stored) {
  if (stored.empty()) return std::nullopt;
  // The reader takes at most eight characters (a buffer of 9 bytes).
  stored = stored.substr(0, 8);
  return WindowSize{WindowSizeField(stored, 0), WindowSizeField(stored, 4)};
}

std::string WindowSizeFormat(int width, int height) {
  char text[24];
  std::snprintf(text, sizeof text, "%04X%04X", static_cast<unsigned>(width), static_cast<unsigned>(height));
  return text;
}

WindowRect WindowPlaceOnScreen(WindowRect window, int screenWidth, int screenHeight) {
  window.width = std::min(window.width, screenWidth);
  window.height = std::min(window.height, screenHeight);
  if (window.left + window.width > screenWidth) window.left = screenWidth - window.width;
  if (window.top + window.height > screenHeight) window.top = screenHeight - window.height;
  return window;
}
