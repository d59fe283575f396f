#include "codec/read_ahead.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "exif/exif_reader.h"
#include "frame/error_stack.h"
#include "frame/settings.h"

namespace {

constexpr size_t kHeadBytes = 65536;          // one request: enough for nearly every APP1
constexpr size_t kAlignment = 4096;           // O_DIRECT wants page-aligned buffers
constexpr auto kHeadTimeout = std::chrono::milliseconds(10001);
constexpr int kMaxWorkers = 16;               // a pool, not one thread per slot

enum SlotState : int { SlotFailed = 0, SlotQueued = 1, SlotReady = 3, SlotEnd = 4, SlotIdle = 5 };

// An owned file descriptor.
struct FileHandle {
  int fd = -1;
  FileHandle() = default;
  explicit FileHandle(int f) : fd(f) {}
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;
  ~FileHandle() {
    if (fd >= 0) ::close(fd);
  }
};

// A page-aligned 64 KiB buffer.
struct AlignedBuffer {
  uint8_t* bytes = static_cast<uint8_t*>(std::aligned_alloc(kAlignment, kHeadBytes));
  AlignedBuffer() = default;
  AlignedBuffer(const AlignedBuffer&) = delete;
  AlignedBuffer& operator=(const AlignedBuffer&) = delete;
  ~AlignedBuffer() { std::free(bytes); }
};

// One file's head, read by a worker and taken by the caller's thread.
struct HeadRead {
  std::string path;
  AlignedBuffer buffer;
  size_t size = 0;
  std::atomic<int> state{SlotQueued};
  int systemError = 0;  // set before state becomes SlotFailed
  std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

// Opens a regular file for reading without blocking on special files (a FIFO never opens).
int OpenRegular(const std::string& path, bool direct) {
  const int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | (direct ? O_DIRECT : 0);
  const int fd = ::open(path.c_str(), flags);
  if (fd < 0) return -1;
  struct stat info;
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    ::close(fd);
    return -1;
  }
  return fd;
}

// Reads the first 64 KiB, bypassing the page cache where the file system allows it.
void ReadHead(HeadRead& head, bool unbufferedOff) {
  FileHandle file(OpenRegular(head.path, !unbufferedOff));
  bool direct = !unbufferedOff;
  if (file.fd < 0 && direct) {  // a file system without O_DIRECT refuses the open
    file.fd = OpenRegular(head.path, false);
    direct = false;
  }
  if (file.fd < 0 || !head.buffer.bytes) {
    head.systemError = file.fd < 0 ? errno : ENOMEM;
    head.state = SlotFailed;
    return;
  }
  ssize_t got = ::pread(file.fd, head.buffer.bytes, kHeadBytes, 0);
  if (got < 0 && direct && errno == EINVAL) {  // O_DIRECT accepted at open, refused at read
    FileHandle plain(OpenRegular(head.path, false));
    got = plain.fd < 0 ? -1 : ::pread(plain.fd, head.buffer.bytes, kHeadBytes, 0);
    direct = false;
    if (plain.fd >= 0 && !unbufferedOff) ::posix_fadvise(plain.fd, 0, 0, POSIX_FADV_DONTNEED);
  } else if (!direct && !unbufferedOff) {
    ::posix_fadvise(file.fd, 0, 0, POSIX_FADV_DONTNEED);
  }
  if (got < 0) {
    head.systemError = errno;
    head.state = SlotFailed;
    return;
  }
  head.size = size_t(got);
  head.state = head.size < kHeadBytes ? SlotEnd : SlotReady;
}

// Takes the head from the page cache when it stands there whole, without waiting for a disk:
// true when the slot is settled (read, or the file failed to open), false when the pool must
// read it. A warm folder so costs what reading one file after another costs.
bool ReadHeadCached(HeadRead& head) {
#if defined(RWF_NOWAIT)
  FileHandle file(OpenRegular(head.path, false));
  if (file.fd < 0) {
    head.systemError = errno;
    head.state = SlotFailed;
    return true;
  }
  struct stat info;
  if (!head.buffer.bytes || ::fstat(file.fd, &info) != 0) return false;
  iovec into{head.buffer.bytes, kHeadBytes};
  const ssize_t got = ::preadv2(file.fd, &into, 1, 0, RWF_NOWAIT);
  // A short read means part of the head is not in the cache (or the system cannot tell).
  if (got < 0 || size_t(got) != std::min<size_t>(kHeadBytes, size_t(info.st_size))) return false;
  head.size = size_t(got);
  head.state = head.size < kHeadBytes ? SlotEnd : SlotReady;
  return true;
#else
  (void)head;
  return false;
#endif
}

// The head of a file, continued by plain reads when a segment runs past it.
class HeadStream {
 public:
  explicit HeadStream(const HeadRead& head) : head_(head) {}
  bool Read(uint8_t* out, size_t count) {
    if (position_ < head_.size) {
      const size_t taken = std::min(count, head_.size - position_);
      std::copy_n(head_.buffer.bytes + position_, taken, out);
      position_ += taken;
      out += taken;
      count -= taken;
    }
    if (count == 0) return true;
    if (head_.size < kHeadBytes) return false;  // the head was the whole file
    if (rest_.fd < 0) rest_.fd = OpenRegular(head_.path, false);
    if (rest_.fd < 0) return false;
    const ssize_t got = ::pread(rest_.fd, out, count, off_t(position_));
    if (got != ssize_t(count)) return false;
    position_ += count;
    return true;
  }
  void Skip(size_t count) { position_ += count; }

 private:
  const HeadRead& head_;
  size_t position_ = 0;
  FileHandle rest_;
};

// The first APP1 payload of the stream: 0 with its size, or the code that ends the search
// (1028 not a JPEG, 1025 a read that fell short or a byte that is no marker, 771 no APP1).
uint32_t ExtractApp1(HeadStream& stream, std::vector<uint8_t>& work, uint32_t* size) {
  uint8_t two[2];
  if (!stream.Read(two, 2) || two[0] != 0xFF || two[1] != 0xD8) return 1028;
  while (true) {
    if (!stream.Read(two, 2)) return 1025;
    if (two[0] != 0xFF) return 1025;
    if (two[1] == 0xDA) return 771;
    uint8_t length[2];
    if (!stream.Read(length, 2)) return 1025;
    // A length below 2 wraps in 16 bits, as the segment's own arithmetic does.
    const uint16_t rest = uint16_t(((length[0] << 8) | length[1]) - 2);
    if (two[1] == 0xE1) {
      work.resize(rest);
      if (!stream.Read(work.data(), rest)) return 1025;
      *size = rest;
      return 0;
    }
    stream.Skip(rest);
  }
}

// Parses a delivered head into a result, or with segmentsOnly hands over its APP1 payload.
ReadAheadResult ResultOfHead(const HeadRead& head, std::vector<uint8_t>& work, bool segmentsOnly) {
  ReadAheadResult result;
  result.path = head.path;
  HeadStream stream(head);
  uint32_t size = 0;
  const bool found = ExtractApp1(stream, work, &size) == 0;
  if (segmentsOnly) {
    if (found) {  // handed over rather than copied; the next head grows its own buffer
      work.resize(size);
      result.segment.swap(work);
    }
    result.segmentFound = found;
    return result;
  }
  if (!found) {
    result.fileClass = StatusNoExif;
    return result;
  }
  result.fileClass = ExifCheckSegment(work.data(), size, result.document);
  if (result.document) result.fileClass |= StatusJpeg;  // the segment came from a JPEG head
  return result;
}

// A file read and parsed on a worker, as a folder scan reads it.
ReadAheadResult ResultOfFile(const std::string& path) {
  ReadAheadResult result;
  result.path = path;
  std::vector<uint8_t> buffer(65535);
  uint32_t size = 0;
  if (!ExifReadApp1Direct(path, buffer.data(), &size) && !ExifReadApp1(path, buffer.data(), &size)) {
    // What no longer reads as a JPEG head is unusable; a JPEG without APP1 has no Exif.
    result.fileClass = FileProbe(path) == FileKindJpeg ? StatusNoExif : StatusUnusable;
    return result;
  }
  result.fileClass = ExifCheckSegment(buffer.data(), size, result.document);
  if (result.document) result.fileClass |= StatusJpeg;
  return result;
}

}  // namespace

struct ReadAheadReader {
  int method = 0;
  int slotCount = 1;
  bool ordered = false;
  bool unbufferedOff = false;
  bool segmentsOnly = false;       // results carry the APP1 payload, not a document
  std::vector<std::string> paths;  // the files of the list, copied at open
  size_t next = 0;                 // the next path to hand out
  size_t delivered = 0;
  int failures = 0;

  // Method 1: the slots the caller sweeps; the head slot keeps list order in ordered mode.
  std::vector<std::shared_ptr<HeadRead>> slots;
  size_t headSlot = 0;
  std::vector<uint8_t> work;

  // The pool: one queue of jobs, one list of finished results (method 2).
  std::mutex mutex;
  std::condition_variable wake;
  std::deque<std::function<void()>> jobs;
  std::vector<ReadAheadResult> finished;
  size_t inFlight = 0;
  bool stop = false;
  std::vector<std::thread> workers;
};

namespace {

void WorkerLoop(ReadAheadReader* reader) {
  while (true) {
    std::function<void()> job;
    {
      std::unique_lock lock(reader->mutex);
      reader->wake.wait(lock, [&] { return reader->stop || !reader->jobs.empty(); });
      if (reader->stop) return;
      job = std::move(reader->jobs.front());
      reader->jobs.pop_front();
    }
    job();
  }
}

void StartWorkers(ReadAheadReader* reader, int count) {
  for (int i = 0; i < count; ++i) reader->workers.emplace_back(WorkerLoop, reader);
}

void Submit(ReadAheadReader* reader, std::function<void()> job) {
  {
    std::lock_guard lock(reader->mutex);
    reader->jobs.push_back(std::move(job));
  }
  reader->wake.notify_one();
}

// Method 2: keeps up to slotCount files in flight on the workers.
void FeedWorkers(ReadAheadReader* reader) {
  while (reader->next < reader->paths.size()) {
    {
      std::lock_guard lock(reader->mutex);
      if (reader->inFlight >= size_t(reader->slotCount)) return;
      ++reader->inFlight;
    }
    const std::string path = reader->paths[reader->next++];
    Submit(reader, [reader, path] {
      ReadAheadResult result = ResultOfFile(path);
      ErrorClear();  // the worker's codes answer no caller; they would only pile up
      std::lock_guard lock(reader->mutex);
      reader->finished.push_back(std::move(result));
      --reader->inFlight;
    });
  }
}

int NextFromWorkers(ReadAheadReader* reader, std::vector<ReadAheadResult>& results) {
  FeedWorkers(reader);
  size_t taken = 0;
  {
    std::lock_guard lock(reader->mutex);
    taken = reader->finished.size();
    for (ReadAheadResult& result : reader->finished) results.push_back(std::move(result));
    reader->finished.clear();
  }
  reader->delivered += taken;
  FeedWorkers(reader);
  if (taken == 0) std::this_thread::sleep_for(std::chrono::milliseconds(2));
  return int(taken);
}

// Method 1: every idle slot takes the next path and its head is requested.
void FillSlots(ReadAheadReader* reader) {
  for (auto& slot : reader->slots) {
    if (slot || reader->next >= reader->paths.size()) continue;
    slot = std::make_shared<HeadRead>();
    slot->path = reader->paths[reader->next++];
    if (ReadHeadCached(*slot)) continue;
    std::shared_ptr<HeadRead> held = slot;  // the worker keeps it alive past a timeout
    const bool unbufferedOff = reader->unbufferedOff;
    Submit(reader, [held, unbufferedOff] { ReadHead(*held, unbufferedOff); });
  }
}

int SweepSlots(ReadAheadReader* reader, std::vector<ReadAheadResult>& results) {
  int count = 0;
  const auto now = std::chrono::steady_clock::now();
  for (size_t i = 0; i < reader->slots.size(); ++i) {
    auto& slot = reader->slots[i];
    if (!slot || (reader->ordered && i != reader->headSlot)) continue;
    const int state = slot->state;
    if (state == SlotReady || state == SlotEnd) {
      results.push_back(ResultOfHead(*slot, reader->work, reader->segmentsOnly));
    } else if (state == SlotFailed || now - slot->start >= kHeadTimeout) {
      ReadAheadResult failed;
      failed.path = slot->path;
      failed.fileClass = StatusNoExif;
      failed.systemError = state == SlotFailed ? slot->systemError : ETIMEDOUT;
      results.push_back(std::move(failed));
      ++reader->failures;
    } else {
      continue;
    }
    slot.reset();
    ++count;
    ++reader->delivered;
    reader->headSlot = (reader->headSlot + 1) % reader->slots.size();
  }
  return count;
}

int NextFromSlots(ReadAheadReader* reader, std::vector<ReadAheadResult>& results) {
  FillSlots(reader);
  for (int pause : {2, 4, 6, 0}) {
    const int count = SweepSlots(reader, results);
    if (count) {
      FillSlots(reader);
      return count;
    }
    if (pause) std::this_thread::sleep_for(std::chrono::milliseconds(pause));
  }
  return 0;
}

}  // namespace

namespace {

ReadAheadReaderPtr ReadAheadStart(std::vector<std::string> paths, int method, int slotCount, bool ordered,
                                  bool unbufferedOff) {
  auto reader = ReadAheadReaderPtr(new ReadAheadReader);
  reader->paths = std::move(paths);
  reader->slotCount = std::min(slotCount, 1024);
  reader->ordered = ordered;
  reader->unbufferedOff = unbufferedOff;
  // Method 2 in ordered mode, and any method with fewer than one slot, read synchronously.
  if (slotCount < 1 || (method != 1 && method != 2) || (method == 2 && ordered)) {
    reader->method = 0;
  } else {
    reader->method = method;
    if (method == 1) reader->slots.resize(size_t(reader->slotCount));
    StartWorkers(reader.get(), std::min(reader->slotCount, kMaxWorkers));
  }
  return reader;
}

}  // namespace

int ReadAheadOpenWith(const FileList& list, ReadAheadReaderPtr& out, int method, int slotCount, bool ordered,
                      bool unbufferedOff) {
  out.reset();
  auto walk = FileListCursor(list);
  if (!walk) return -1;
  std::vector<std::string> paths;
  while (const FileEntry* entry = FileListNext(walk.get(), kFileEntryFile)) paths.push_back(entry->path);
  out = ReadAheadStart(std::move(paths), method, slotCount, ordered, unbufferedOff);
  return 0;
}

int ReadAheadOpenSegments(const std::vector<std::string>& paths, ReadAheadReaderPtr& out, int slotCount) {
  out = ReadAheadStart(paths, 1, slotCount, true, false);
  out->segmentsOnly = true;
  return out->method == 1 ? 0 : -1;
}

int ReadAheadOpen(const FileList& list, ReadAheadReaderPtr& out, bool ordered, bool unbufferedOff) {
  const int method = SettingsGetInt("OPTION", "READMETHOD", 1);
  const int slots = SettingsGetInt("OPTION", "MULTIREADNUM", method == 2 ? 32 : 64);
  return ReadAheadOpenWith(list, out, method, slots, ordered, unbufferedOff);
}

int ReadAheadNext(ReadAheadReader* reader, std::vector<ReadAheadResult>& results) {
  if (!reader) return ReadAheadFailed;
  if (reader->delivered >= reader->paths.size()) return ReadAheadEnd;
  if (reader->method == 2) return NextFromWorkers(reader, results);
  if (reader->method == 1) return NextFromSlots(reader, results);
  ReadAheadResult result;
  result.path = reader->paths[reader->next++];
  result.fileClass = ExifCheckFile(result.path, result.document);
  results.push_back(std::move(result));
  ++reader->delivered;
  ErrorClear();
  return 1;
}

int ReadAheadFailures(const ReadAheadReader* reader) { return reader ? reader->failures : 0; }

void ReadAheadClose(ReadAheadReader* reader) {
  if (!reader) return;
  {
    std::lock_guard lock(reader->mutex);
    reader->stop = true;
  }
  reader->wake.notify_all();
  for (std::thread& worker : reader->workers) worker.join();
  delete reader;
}
