#include "frame/error_stack.h"

#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

namespace {

struct ErrorRecord {
  uint32_t code;
  std::thread::id thread;
};

// A thread that keeps failing without ever popping must not grow the stack without end; the
// oldest records are the least useful, so they go first.
constexpr size_t kErrorStackLimit = 4096;
constexpr auto kErrorWait = std::chrono::milliseconds(100);

std::timed_mutex& ErrorMutex() {
  static std::timed_mutex mutex;  // "Tavexon Debug Info"
  return mutex;
}

std::vector<ErrorRecord>& ErrorRecords() {
  static std::vector<ErrorRecord> records;
  return records;
}

}  // namespace

int ErrorPush(uint32_t code) {
  std::unique_lock lock(ErrorMutex(), std::defer_lock);
  if (!lock.try_lock_for(kErrorWait)) return 0;
  auto& records = ErrorRecords();
  if (records.size() >= kErrorStackLimit) records.erase(records.begin());
  records.push_back({code, std::this_thread::get_id()});
  return 1;
}

uint32_t ErrorPop() {
  std::unique_lock lock(ErrorMutex(), std::defer_lock);
  if (!lock.try_lock_for(kErrorWait)) return 0;
  auto& records = ErrorRecords();
  const auto self = std::this_thread::get_id();
  for (auto it = records.rbegin(); it != records.rend(); ++it) {
    if (it->thread == self) {
      uint32_t code = it->code;
      records.erase(std::next(it).base());
      return code;
    }
  }
  return 0;
}

uint32_t ErrorPeek() {
  uint32_t code = ErrorPop();
  if (code != 0) ErrorPush(code);
  return code;
}

void ErrorClear() {
  std::unique_lock lock(ErrorMutex(), std::defer_lock);
  if (!lock.try_lock_for(kErrorWait)) return;
  auto& records = ErrorRecords();
  const auto self = std::this_thread::get_id();
  std::erase_if(records, [&](const ErrorRecord& r) { return r.thread == self; });
}

void ErrorFreeAll() {
  std::lock_guard lock(ErrorMutex());
  ErrorRecords().clear();
}
