#include "frame/progress.h"

bool ProgressStep(const Progress* progress, const std::string& path, std::size_t index, std::size_t count) {
  if (progress == nullptr || progress->step == nullptr) return true;
  return progress->step(progress->user, path, index, count);
}
