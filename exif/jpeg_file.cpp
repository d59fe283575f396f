// Rewriting JPEG files through a temporary file in the destination's folder.
#include "exif/jpeg_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <random>
#include <system_error>
#include <thread>
#include <vector>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "frame/error_stack.h"

namespace fs = std::filesystem;

namespace {

// The tail of a file is copied in blocks of sixteen times the largest segment (65,535 bytes):
// a 30 MB photograph then takes some 30 reads instead of 460, which keeps the copy as quick as
// a plain file copy, while memory stays flat at one megabyte whatever the file's size.
constexpr size_t kCopyBlock = 16 * 65535;

std::atomic<uint32_t> gFaults{0};

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

int Fail(uint32_t code) {
  ErrorPush(code);
  return 0;
}

bool Faulty(uint32_t fault) { return (gFaults.load() & fault) != 0; }

// The new file while it is being written. Unless handed over, it is removed when it goes out of
// scope, so a failure never leaves a stray half file behind.
class TemporaryOutput {
 public:
  explicit TemporaryOutput(const std::string& destination) : path_(FileTemporaryPath(destination)) {}
  ~TemporaryOutput() {
    file_.reset();
    if (!path_.empty() && !handedOver_) std::remove(path_.c_str());
  }
  TemporaryOutput(const TemporaryOutput&) = delete;
  TemporaryOutput& operator=(const TemporaryOutput&) = delete;

  bool Open() {
    if (path_.empty() || Faulty(FaultTemporaryOpen)) return false;
    // "x": the name is ours alone; a file that appeared under it in the meantime is not touched.
    file_.reset(std::fopen(path_.c_str(), "wbx"));
    return file_ != nullptr;
  }
  std::FILE* File() const { return file_.get(); }
  bool Write(const void* bytes, size_t size) {
    if (Faulty(FaultWrite)) return false;
    return std::fwrite(bytes, 1, size, file_.get()) == size;
  }
  // Copies up to `count` bytes from `in`'s position with copy_file_range, and returns how many
  // it copied; both streams stand behind them afterwards. 0 where it would not gain or the
  // system cannot (another file system on a kernel that refuses, or no support at all).
  uint64_t CopyInKernel(std::FILE* in, uint64_t count) {
    if (count == 0 || Faulty(FaultWrite) || std::fflush(file_.get()) != 0) return 0;
    const long start = std::ftell(in);
    const long at = std::ftell(file_.get());
    // The kernel's copy gains only where source and copy keep the same place within a page
    // (an APP1 of unchanged size); shifted by a few bytes it is slower than plain blocks.
    if (start < 0 || at < 0 || (start - at) % 4096 != 0) return 0;
    loff_t offset = start;
    uint64_t copied = 0;
    while (copied < count) {
      const ssize_t n = ::copy_file_range(fileno(in), &offset, fileno(file_.get()), nullptr,
                                          size_t(std::min<uint64_t>(count - copied, 1u << 30)), 0);
      if (n <= 0) break;
      copied += uint64_t(n);
    }
    std::fseek(in, long(start + copied), SEEK_SET);
    std::fseek(file_.get(), 0, SEEK_END);
    return copied;
  }
  // Flushes the bytes to the disk and closes, so that a crash after the rename cannot leave a
  // truncated file under the real name.
  bool Finish() {
    bool good = std::fflush(file_.get()) == 0 && ::fsync(fileno(file_.get())) == 0;
    good = std::fclose(file_.release()) == 0 && good;
    return good;
  }
  // The file now stands under the destination's name (or was removed by the replacement).
  void HandOver() { handedOver_ = true; }
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
  FilePtr file_;
  bool handedOver_ = false;
};

// Copies `count` bytes of `in` to the output, in blocks.
bool CopyBlocks(std::FILE* in, TemporaryOutput& out, uint64_t count) {
  // The image data is most of the file: the system copies it without passing it through this
  // process where it can, and whatever it leaves goes the ordinary way.
  const uint64_t copied = out.CopyInKernel(in, count);
  count -= copied;
  std::vector<uint8_t> block(size_t(std::min<uint64_t>(count, kCopyBlock)));
  while (count > 0) {
    size_t part = size_t(std::min<uint64_t>(count, block.size()));
    if (std::fread(block.data(), 1, part, in) != part) return false;
    if (!out.Write(block.data(), part)) return false;
    count -= part;
  }
  return true;
}

// Gives the finished temporary file the destination's permission bits, so a save does not
// change who may read the photograph.
void KeepPermissions(const std::string& temporary, const std::string& destination) {
  std::error_code error;
  fs::file_status status = fs::status(destination, error);
  if (!error && fs::exists(status)) fs::permissions(temporary, status.permissions(), error);
}

// Writes the new file through the temporary: `body` fills it and returns 0 or an error code.
// The destination is replaced only when the whole file was written and flushed.
template <class Body>
int RewriteThroughTemporary(const std::string& source, const std::string& destination, Body body) {
  FilePtr in(std::fopen(source.c_str(), "rb"));
  if (!in) return Fail(ErrFileOpen);
  TemporaryOutput out(destination);
  if (!out.Open()) return Fail(ErrFileOpen);
  std::error_code error;
  uint64_t sourceSize = fs::file_size(source, error);
  if (error) return Fail(ErrFileStatus);
  uint32_t code = body(in.get(), out, sourceSize);
  in.reset();
  bool finished = out.Finish();
  // A file that was not written whole never replaces the destination: the destination keeps
  // its old bytes and the temporary goes.
  if (code != 0) return Fail(code);
  if (!finished) return Fail(ErrFileIo);
  KeepPermissions(out.Path(), destination);
  out.HandOver();
  if (!FileReplaceDestination(out.Path(), destination)) return 0;
  return 1;
}

uint64_t Position(std::FILE* file) {
  long position = std::ftell(file);
  return position < 0 ? 0 : uint64_t(position);
}

// The body of JpegReplaceApp1: 0 or an error code.
uint32_t ReplaceApp1Body(std::FILE* in, TemporaryOutput& out, uint64_t sourceSize, const uint8_t* bytes,
                         uint32_t size) {
  uint64_t resume = 0;  // where the copy of the source goes on
  if (JpegFindMarkerInFile(in, 0xE1) == 1) {
    uint64_t behindMarker = Position(in);
    uint8_t length[2];
    if (std::fread(length, 1, 2, in) != 2) return ErrFileIo;
    std::rewind(in);
    // Up to and with the marker; the old length and payload are skipped.
    if (!CopyBlocks(in, out, behindMarker)) return ErrFileIo;
    resume = behindMarker + ((uint32_t(length[0]) << 8) | length[1]);
  } else {
    // The scan's own code is not the outcome: a file with no APP1 simply gets one.
    ErrorPop();
    std::rewind(in);
    uint8_t start[2];
    if (std::fread(start, 1, 2, in) != 2 || start[0] != 0xFF || start[1] != 0xD8) return ErrMarkerStructure;
    static constexpr uint8_t kStartAndApp1[4] = {0xFF, 0xD8, 0xFF, 0xE1};
    if (!out.Write(kStartAndApp1, 4)) return ErrFileIo;
    resume = 2;
  }
  if (size > 0) {
    uint8_t length[2] = {uint8_t((size + 2) >> 8), uint8_t(size + 2)};
    if (!out.Write(length, 2) || !out.Write(bytes, size)) return ErrFileIo;
  } else if (std::fseek(out.File(), -2, SEEK_CUR) != 0) {  // removes the marker just written
    return ErrFileIo;
  }
  if (resume > sourceSize) return ErrMarkerStructure;
  if (std::fseek(in, long(resume), SEEK_SET) != 0) return ErrFileIo;
  return CopyBlocks(in, out, sourceSize - resume) ? 0u : uint32_t(ErrFileIo);
}

// The body of JpegDeleteSegments: 0 or an error code.
uint32_t DeleteSegmentsBody(std::FILE* in, TemporaryOutput& out, uint64_t sourceSize, uint32_t mask) {
  uint8_t start[2];
  if (std::fread(start, 1, 2, in) != 2) return ErrFileIo;
  if (start[0] != 0xFF || start[1] != 0xD8) return ErrNotJpeg;
  if (!out.Write(start, 2)) return ErrFileIo;
  for (;;) {
    uint8_t marker[2];
    if (std::fread(marker, 1, 2, in) != 2) return ErrFileIo;
    if (marker[0] != 0xFF) return ErrMarkerStructure;
    if (marker[1] == 0xDA) {  // start of scan: the image data and the rest go as they are
      if (!out.Write(marker, 2)) return ErrFileIo;
      uint64_t here = Position(in);
      return here <= sourceSize && CopyBlocks(in, out, sourceSize - here) ? 0u : uint32_t(ErrFileIo);
    }
    uint8_t length[2];
    if (std::fread(length, 1, 2, in) != 2) return ErrFileIo;
    uint32_t payload = ((uint32_t(length[0]) << 8) | length[1]) - 2;
    payload &= 0xFFFF;
    bool drop = (marker[1] & 0xE0) == 0xE0 && (mask >> (marker[1] & 0x0F) & 1) != 0;
    if (drop) {
      if (std::fseek(in, long(payload), SEEK_CUR) != 0) return ErrFileIo;
      continue;
    }
    if (!out.Write(marker, 2) || !out.Write(length, 2) || !CopyBlocks(in, out, payload)) return ErrFileIo;
  }
}

// The digits of a fixed-width field of a date text; a non-digit counts as 0. Stops at the end
// of the text, so a short text reads as zeros rather than past its end.
int ReadDateField(const char*& text, int width) {
  int value = 0;
  for (int i = 0; i < width; ++i) {
    char c = *text;
    if (c != '\0') ++text;
    value = value * 10 + ((c >= '0' && c <= '9') ? c - '0' : 0);
  }
  if (*text != '\0') ++text;  // the separator
  return value;
}

int Rename(const std::string& from, const std::string& to) {
  if (Faulty(FaultRename)) return -1;
  return std::rename(from.c_str(), to.c_str());
}

}  // namespace

void FileInjectFaults(uint32_t faults) { gFaults.store(faults); }

std::string FileTemporaryPath(const std::string& destination) {
  fs::path folder = fs::path(destination).parent_path();
  std::error_code error;
  while (!folder.empty() && !fs::is_directory(folder, error)) folder = folder.parent_path();
  // A name unique to this process and call: the process id, a counter and random bits.
  static std::atomic<uint32_t> counter{0};
  thread_local std::mt19937 random{std::random_device{}()};
  char name[64];
  std::snprintf(name, sizeof name, ".tvx%08x%04x%08x.tmp", unsigned(::getpid()), unsigned(counter++ & 0xFFFF),
                unsigned(random()));
  return (folder.empty() ? fs::path(name) : folder / name).string();
}

int FileReplaceDestination(const std::string& temporary, const std::string& destination) {
  auto dropTemporary = [&] {
    std::remove(temporary.c_str());
    return Fail(ErrFileIo);
  };
  if (::access(destination.c_str(), W_OK) != 0 && errno != ENOENT) return dropTemporary();
  // The old destination is kept under a second name until the new one stands. A hard link
  // keeps it under its own name too, so no moment passes with no file under the real name;
  // where links are not available it is moved aside instead.
  std::string saved;
  bool linked = false;  // saved is a second name of the destination, which stays in place
  std::error_code error;
  if (fs::exists(destination, error)) {
    saved = FileTemporaryPath(destination);
    linked = ::link(destination.c_str(), saved.c_str()) == 0;
    if (!linked && Rename(destination, saved) != 0) return dropTemporary();
  }
  bool placed = Rename(temporary, destination) == 0;
  if (!placed) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // another program may hold it briefly
    placed = Rename(temporary, destination) == 0;
  }
  if (!placed && !Faulty(FaultCopy)) {
    // The copy must make a new file: with the old one linked, the destination's name is freed
    // first, so the copy never writes into the bytes the saved name still holds.
    if (linked) std::remove(destination.c_str());
    placed = fs::copy_file(temporary, destination, fs::copy_options::overwrite_existing, error) && !error;
    if (!placed) linked = false;  // the destination's name now needs the saved file back
  }
  if (!placed) {
    if (linked) {
      std::remove(saved.c_str());  // the destination was never touched
    } else if (!saved.empty()) {
      std::rename(saved.c_str(), destination.c_str());
    }
    return dropTemporary();
  }
  std::remove(temporary.c_str());  // only still there when the copy stood in for the rename
  if (!saved.empty()) std::remove(saved.c_str());
  return 1;
}

int JpegReplaceApp1(const std::string& source, const std::string& destination, const uint8_t* bytes,
                    uint32_t size) {
  if (size >= kReplaceApp1Limit) return Fail(ErrPayloadTooLarge);
  if (size > 0 && bytes == nullptr) return Fail(ErrInvalidArgument);
  return RewriteThroughTemporary(source, destination, [&](std::FILE* in, TemporaryOutput& out, uint64_t sourceSize) {
    return ReplaceApp1Body(in, out, sourceSize, bytes, size);
  });
}

int JpegDeleteSegments(const std::string& source, const std::string& destination, uint32_t mask) {
  return RewriteThroughTemporary(source, destination, [&](std::FILE* in, TemporaryOutput& out, uint64_t sourceSize) {
    return DeleteSegmentsBody(in, out, sourceSize, mask);
  });
}

int FileSetTimeFromDate(const std::string& path, const char* dateText) {
  if (dateText == nullptr) return Fail(ErrInvalidArgument);
  const char* text = dateText;
  std::tm time{};
  time.tm_year = ReadDateField(text, 4) - 1900;
  time.tm_mon = ReadDateField(text, 2) - 1;
  time.tm_mday = ReadDateField(text, 2);
  time.tm_hour = ReadDateField(text, 2);
  time.tm_min = ReadDateField(text, 2);
  time.tm_sec = ReadDateField(text, 2);
  time.tm_isdst = -1;  // local time, summer time as the calendar has it
  std::time_t seconds = std::mktime(&time);
  if (seconds == std::time_t(-1)) return Fail(ErrInvalidArgument);
  struct timespec times[2];
  times[0].tv_sec = times[1].tv_sec = seconds;
  times[0].tv_nsec = times[1].tv_nsec = 0;
  if (::utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) return Fail(ErrFileIo);
  return 1;
}
