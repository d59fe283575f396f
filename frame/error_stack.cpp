#include "frame/error_stack.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "frame/debug_log.h"

namespace {

struct ErrorRecord {
  ErrorDetail detail;
  std::thread::id thread;
};

// A thread that keeps failing without ever popping must not grow the stack without end; the
// oldest records are the least useful, so they go first.
constexpr size_t kErrorStackLimit = 4096;
constexpr auto kErrorWait = std::chrono::milliseconds(100);

std::atomic<uint64_t> errorDropped{0};

std::timed_mutex& ErrorMutex() {
  static std::timed_mutex mutex;  // "Tavexon Debug Info"
  return mutex;
}

std::vector<ErrorRecord>& ErrorRecords() {
  static std::vector<ErrorRecord> records;
  return records;
}

void ErrorDropped(uint32_t code, const char* why) {
  errorDropped.fetch_add(1, std::memory_order_relaxed);
  DebugLog("error stack: code %u dropped (%s)", code, why);
}

// The calling thread's newest record, or end() of the records.
std::vector<ErrorRecord>::iterator ErrorNewest(std::vector<ErrorRecord>& records) {
  const auto self = std::this_thread::get_id();
  for (auto it = records.rbegin(); it != records.rend(); ++it)
    if (it->thread == self) return std::next(it).base();
  return records.end();
}

}  // namespace

int ErrorPush(uint32_t code) {
  ErrorDetail detail;
  detail.code = code;
  return ErrorPushDetail(std::move(detail));
}

int ErrorPushSystem(uint32_t code, int systemError, const std::string& path) {
  return ErrorPushDetail({code, systemError, path, 0, {}});
}

int ErrorPushDetail(ErrorDetail detail) {
  std::unique_lock lock(ErrorMutex(), std::defer_lock);
  if (!lock.try_lock_for(kErrorWait)) {
    ErrorDropped(detail.code, "lock wait ran out");
    return 0;
  }
  auto& records = ErrorRecords();
  if (records.size() >= kErrorStackLimit) {
    ErrorDropped(records.front().detail.code, "stack full, oldest");
    records.erase(records.begin());
  }
  records.push_back({std::move(detail), std::this_thread::get_id()});
  return 1;
}

ErrorDetail ErrorPopDetail() {
  std::unique_lock lock(ErrorMutex(), std::defer_lock);
  if (!lock.try_lock_for(kErrorWait)) return {};
  auto& records = ErrorRecords();
  const auto newest = ErrorNewest(records);
  if (newest == records.end()) return {};
  ErrorDetail detail = std::move(newest->detail);
  records.erase(newest);
  return detail;
}

uint32_t ErrorPop() { return ErrorPopDetail().code; }

ErrorDetail ErrorPeekDetail() {
  std::unique_lock lock(ErrorMutex(), std::defer_lock);
  if (!lock.try_lock_for(kErrorWait)) return {};
  auto& records = ErrorRecords();
  const auto newest = ErrorNewest(records);
  return newest == records.end() ? ErrorDetail{} : newest->detail;
}

uint32_t ErrorPeek() { return ErrorPeekDetail().code; }

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

uint64_t ErrorDroppedCount() { return errorDropped.load(std::memory_order_relaxed); }
