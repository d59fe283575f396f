// Rewriting JPEG files through a temporary file in the destination's folder.
#include "exif/jpeg_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "exif/exif_document.h"
#include "exif/jpeg_segments.h"
#include "frame/error_stack.h"

namespace fs = std::filesystem;

namespace {

// The tail of a file is copied in blocks of sixteen times the largest segment (65,535 bytes):
// a 30 MB photograph then takes some 30 reads instead of 460, which keeps the copy as quick as
// a plain file copy, while memory stays flat at one megabyte whatever the file's size.
constexpr size_t kCopyBlock = 16 * 65535;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

int Fail(uint32_t code) {
  ErrorPush(code);
  return 0;
}

// A code with the system's reason and the file it concerns.
int FailSystem(uint32_t code, int systemError, const std::string& path) {
  ErrorPushSystem(code, systemError, path);
  return 0;
}

// The reason the replacement noted for its last failure. EMLINK stands for its refusal of a
// file with several names, which it has told in its own words: the system's text would mislead.
int ReplacementError() {
  const int error = FileLastFailure().error;
  return error == EMLINK ? 0 : error;
}

// The new file while it is being written: the writing side of a FileReplacement, which removes
// it unless it was committed, so a failure never leaves a stray half file behind.
class TemporaryOutput {
 public:
  explicit TemporaryOutput(const std::string& destination) : replacement_(destination) {}

  bool Open() { return replacement_.Open(); }
  std::FILE* File() const { return replacement_.File(); }
  bool Write(const void* bytes, size_t size) {
    if (FileFaulty(FaultWrite)) return replacement_.Failed(EIO);
    return std::fwrite(bytes, 1, size, File()) == size || replacement_.Failed(errno);
  }
  // Copies up to `count` bytes from `in`'s position with copy_file_range, and returns how many
  // it copied; both streams stand behind them afterwards. 0 where it would not gain or the
  // system cannot (another file system on a kernel that refuses, or no support at all).
  uint64_t CopyInKernel(std::FILE* in, uint64_t count) {
    if (count == 0 || FileFaulty(FaultWrite) || std::fflush(File()) != 0) return 0;
    const long start = std::ftell(in);
    const long at = std::ftell(File());
    // The kernel's copy gains only where source and copy keep the same place within a page
    // (an APP1 of unchanged size); shifted by a few bytes it is slower than plain blocks.
    if (start < 0 || at < 0 || (start - at) % 4096 != 0) return 0;
    loff_t offset = start;
    uint64_t copied = 0;
    while (copied < count) {
      const ssize_t n = ::copy_file_range(fileno(in), &offset, fileno(File()), nullptr,
                                          size_t(std::min<uint64_t>(count - copied, 1u << 30)), 0);
      if (n <= 0) break;
      copied += uint64_t(n);
    }
    std::fseek(in, long(start + copied), SEEK_SET);
    std::fseek(File(), 0, SEEK_END);
    return copied;
  }
  // Flushed to the disk, checked and put in the destination's place.
  bool Commit() { return replacement_.Commit(); }

 private:
  FileReplacement replacement_;
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

// Writes the new file through the temporary: `body` fills it and returns 0 or an error code.
// The destination is replaced only when the whole file was written and flushed.
template <class Body>
int RewriteThroughTemporary(const std::string& source, const std::string& destination, Body body) {
  FilePtr in(std::fopen(source.c_str(), "rb"));
  if (!in) return FailSystem(ErrFileOpen, errno, source);
  TemporaryOutput out(destination);
  if (!out.Open()) return FailSystem(ErrFileOpen, ReplacementError(), destination);
  std::error_code error;
  uint64_t sourceSize = fs::file_size(source, error);
  if (error) return FailSystem(ErrFileStatus, error.value(), source);
  uint32_t code = body(in.get(), out, sourceSize);
  const int readError = std::ferror(in.get()) ? errno : 0;
  in.reset();
  // A file that was not written whole never replaces the destination: the destination keeps
  // its old bytes and the temporary goes. A failed write concerns the destination, anything
  // else the source.
  if (code != 0) {
    const int writeError = ReplacementError();
    return writeError != 0 ? FailSystem(code, writeError, destination) : FailSystem(code, readError, source);
  }
  FileReachStep(StepWritten);
  return out.Commit() ? 1 : FailSystem(ErrFileIo, ReplacementError(), destination);
}

// The body of JpegReplaceApp1: 0 or an error code.
uint32_t ReplaceApp1Body(std::FILE* in, TemporaryOutput& out, uint64_t sourceSize, const uint8_t* bytes,
                         uint32_t size) {
  uint64_t resume = 0;  // where the copy of the source goes on
  JpegSegments walk(in);
  JpegSegment segment;
  const JpegStep step =
      walk.Start() == JpegStep::Segment ? JpegSegmentsFind(walk, kJpegApp1, &segment) : JpegStep::Broken;
  if (segment.code == kJpegApp1) {
    if (step == JpegStep::Short) return ErrFileIo;
    const uint64_t behindMarker = segment.position + 2;
    std::rewind(in);
    // Up to and with the marker; the old length and payload are skipped.
    if (!CopyBlocks(in, out, behindMarker)) return ErrFileIo;
    resume = behindMarker + segment.length;
  } else {
    // However the walk ended, a file with no APP1 before its image simply gets one.
    std::rewind(in);
    uint8_t start[2];
    if (std::fread(start, 1, 2, in) != 2 || start[0] != 0xFF || start[1] != 0xD8) return ErrMarkerStructure;
    static constexpr uint8_t kStartAndApp1[4] = {0xFF, 0xD8, 0xFF, kJpegApp1};
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
uint32_t DeleteSegmentsBody(std::FILE* in, TemporaryOutput& out, uint64_t sourceSize, uint32_t mask,
                            JpegMaskReach reach) {
  JpegSegments walk(in);
  const JpegStep start = walk.Start();
  if (start != JpegStep::Segment) return start == JpegStep::Short ? ErrFileIo : ErrNotJpeg;
  static constexpr uint8_t kStartOfImage[2] = {0xFF, 0xD8};
  if (!out.Write(kStartOfImage, 2)) return ErrFileIo;
  for (;;) {
    JpegSegment segment;
    const JpegStep step = walk.Next(&segment);
    if (step == JpegStep::Scan) {  // the image data and the rest go as they are
      static constexpr uint8_t kStartOfScan[2] = {0xFF, kJpegStartOfScan};
      if (!out.Write(kStartOfScan, 2)) return ErrFileIo;
      const uint64_t here = walk.Position();
      return here <= sourceSize && CopyBlocks(in, out, sourceSize - here) ? 0u : uint32_t(ErrFileIo);
    }
    if (step != JpegStep::Segment) return JpegStepError(step);
    const uint8_t family = reach == JpegMaskReach::Applications ? 0xF0 : 0xE0;
    const bool drop = (segment.code & family) == 0xE0 && (mask >> (segment.code & 0x0F) & 1) != 0;
    if (drop) {
      if (!walk.Skip(segment)) return ErrFileIo;
      continue;
    }
    const uint8_t head[4] = {0xFF, segment.code, uint8_t(segment.length >> 8), uint8_t(segment.length)};
    if (!out.Write(head, 4) || !CopyBlocks(in, out, segment.Payload())) return ErrFileIo;
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

}  // namespace

int JpegReplaceApp1(const std::string& source, const std::string& destination, const uint8_t* bytes, uint32_t size) {
  if (size >= kReplaceApp1Limit) return Fail(ErrPayloadTooLarge);
  if (size > 0 && bytes == nullptr) return Fail(ErrInvalidArgument);
  return RewriteThroughTemporary(source, destination, [&](std::FILE* in, TemporaryOutput& out, uint64_t sourceSize) {
    return ReplaceApp1Body(in, out, sourceSize, bytes, size);
  });
}

int JpegDeleteSegments(const std::string& source, const std::string& destination, uint32_t mask, JpegMaskReach reach) {
  return RewriteThroughTemporary(source, destination, [&](std::FILE* in, TemporaryOutput& out, uint64_t sourceSize) {
    return DeleteSegmentsBody(in, out, sourceSize, mask, reach);
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
  if (::utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) return FailSystem(ErrFileIo, errno, path);
  return 1;
}
