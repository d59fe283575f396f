// How a long loop over files reports and learns that the user asked it to stop.
//
// A batch tool calls ProgressStep before each file. The desktop's hook repaints its progress
// label and processes pending events (so Esc and the stop button are seen); the command line's
// prints when asked and checks for Ctrl+C; a test counts. The loop stops after the current file
// when the hook answers false. With no hook the loop runs to its end.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>

struct Progress {
  // index is 1-based; count is the number of files of the run (0 when not yet known).
  bool (*step)(void* user, const std::string& path, std::size_t index, std::size_t count) = nullptr;
  void* user = nullptr;
};

// Reports one step; true to go on.
bool ProgressStep(const Progress* progress, const std::string& path, std::size_t index, std::size_t count);

// The word a long-running tool keeps: 0 idle, 1 running, and the tool's abort value (2 in CSV
// export, CSV import and file date restore; 3 in batch rename, capture date update and the
// classification copy). Atomic, because a stop button on one thread sets it while a loop reads it.
using RunFlag = std::atomic<int>;
