// The tool windows by number. The number is also the slot of the open-window table and the
// number in the settings key "SIZE%02d" that remembers the window's size.
#pragma once

enum ToolKind : int {
  kToolEmbed = 0,
  kToolExifList = 1,
  kToolImageViewer = 2,
  kToolIndexPrint = 3,
  kToolDateRestore = 4,
  kToolUnused = 5,  // opens nothing
  kToolExifExplorer = 6,
  kToolExifCompare = 7,
  kToolFullScreen = 8,
  kToolThumbnailViewer = 9,
};

constexpr int kToolKindCount = 10;
