#include "frame/debug_log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

namespace {
std::atomic<DebugLogFunction> g_logFunction{nullptr};
}

void DebugLogInstall(DebugLogFunction function) { g_logFunction.store(function); }

void DebugLog(const char* format, ...) {
  DebugLogFunction function = g_logFunction.load();
  if (!function) return;
  char buffer[1024];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  function(buffer);
}
