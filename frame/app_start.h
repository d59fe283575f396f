// The decisions of start-up and of a tool window's placement, as plain functions: the desktop
// calls them, tests check them without a window.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "frame/tool_kind.h"

// The command line as one path: when it begins with a double quote, the text after it with
// one double quote at its end cut; else the text as it stands. Blanks separate nothing and
// there are no options.
std::string AppCommandLinePath(const std::string& commandLine);

// The first window to open and the path it is given (empty for none).
struct AppFirstViewDecision {
  ToolKind kind = kToolImageViewer;
  std::string path;
};

// By "FIRSTVIEW" of section "OPTION": 1 the Exif list with the path; 2 the Exif explorer,
// the path ignored; 3 the Exif compare window, the path loaded into its first side; 4 the
// thumbnail viewer on the path; any other value the thumbnail viewer when the path is an
// existing folder, else the image viewer with the path.
AppFirstViewDecision AppDecideFirstView(int firstView, const std::string& path);

// A remembered window size, section "SIZE", key "SIZE%02d" by tool kind.
struct WindowSize {
  int width = 0;
  int height = 0;
};

// The key "SIZE%02d" of a tool kind.
std::string WindowSizeKey(int kind);

// The stored value read back: eight hexadecimal digits, width then height, one digit at a
// time; a character that is no digit counts 0, and so does every position past the end of a
// short text. An empty value gives nothing (the window keeps its own size).
std::optional<WindowSize> WindowSizeParse(std::string_view stored);

// The stored form "%04X%04X".
std::string WindowSizeFormat(int width, int height);

struct WindowRect {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

// A window of a remembered size placed on the screen: width and height are cut to the screen,
// and an edge that would pass the screen's right or bottom is put on it, moving the window
// rather than cutting it further.
WindowRect WindowPlaceOnScreen(WindowRect window, int screenWidth, int screenHeight);
