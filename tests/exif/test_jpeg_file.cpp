// Rewriting JPEG files: the APP1 replacement and the promise that the destination is never
// damaged, whatever fails on the way.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "exif/exif_document.h"
#include "exif/jpeg_file.h"
#include "frame/error_stack.h"
#include "tests/support/test_support.h"

namespace fs = std::filesystem;
using testsupport::ReadBytes;
using testsupport::ScratchDir;
using testsupport::SharedSub;
using testsupport::WriteBytes;
using Bytes = std::vector<unsigned char>;

namespace {

// A JPEG whose first segment is an Exif APP1, and one with no APP1 at all.
fs::path ExifJpeg() { return SharedSub("corpus/makers") / "nikon" / "exiftool_NikonD70.jpg"; }
fs::path PlainJpeg() { return SharedSub("corpus/jpeg") / "ljt_testorig.jpg"; }

// Where the first APP1 stands and how long it is with its marker, or {0, 0}.
std::pair<size_t, size_t> FindApp1(const Bytes& file) {
  for (size_t at = 2; at + 4 <= file.size() && file[at] == 0xFF && file[at + 1] != 0xDA;) {
    size_t length = size_t(file[at + 2]) << 8 | file[at + 3];
    if (file[at + 1] == 0xE1) return {at, length + 2};
    at += length + 2;
  }
  return {0, 0};
}

size_t EntriesIn(const fs::path& folder) {
  return size_t(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

class JpegFile : public ::testing::Test {
 protected:
  void SetUp() override { ErrorClear(); }
  void TearDown() override { FileInjectFaults(0); }
  fs::path Copy(const fs::path& from, const std::string& name) {
    fs::copy_file(from, scratch_ / name);
    return scratch_ / name;
  }
  ScratchDir scratch_;
  const Bytes payload_ = Bytes{'E', 'x', 'i', 'f', 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0};
};

TEST_F(JpegFile, ReplacesTheFirstApp1AndCopiesTheRest) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  fs::path file = Copy(ExifJpeg(), "a.jpg");
  Bytes before = ReadBytes(file);
  auto [at, length] = FindApp1(before);
  ASSERT_GT(at, 0u);
  ASSERT_EQ(JpegReplaceApp1(file.string(), file.string(), payload_.data(), uint32_t(payload_.size())), 1);
  Bytes expected(before.begin(), before.begin() + at);
  expected.insert(expected.end(), {0xFF, 0xE1, 0, uint8_t(payload_.size() + 2)});
  expected.insert(expected.end(), payload_.begin(), payload_.end());
  expected.insert(expected.end(), before.begin() + at + length, before.end());
  EXPECT_EQ(ReadBytes(file), expected);
  EXPECT_EQ(EntriesIn(scratch_.path()), 1u);  // no temporary left behind

  // Size 0 removes the segment altogether.
  ASSERT_EQ(JpegReplaceApp1(file.string(), file.string(), nullptr, 0), 1);
  Bytes removed(before.begin(), before.begin() + at);
  removed.insert(removed.end(), before.begin() + at + length, before.end());
  EXPECT_EQ(ReadBytes(file), removed);
}

TEST_F(JpegFile, AFileWithoutApp1GetsOneRightAfterTheStartOfImage) {
  TAVEXON_REQUIRE_SHARED("corpus/jpeg");
  fs::path source = Copy(PlainJpeg(), "plain.jpg");
  Bytes before = ReadBytes(source);
  ASSERT_EQ(FindApp1(before).first, 0u);
  fs::path destination = scratch_ / "out.jpg";
  ASSERT_EQ(JpegReplaceApp1(source.string(), destination.string(), payload_.data(), uint32_t(payload_.size())), 1);
  Bytes expected = {0xFF, 0xD8, 0xFF, 0xE1, 0, uint8_t(payload_.size() + 2)};
  expected.insert(expected.end(), payload_.begin(), payload_.end());
  expected.insert(expected.end(), before.begin() + 2, before.end());
  EXPECT_EQ(ReadBytes(destination), expected);
  EXPECT_EQ(ReadBytes(source), before);
}

TEST_F(JpegFile, RefusalsLeaveTheDestinationAsItWas) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  fs::path file = Copy(ExifJpeg(), "a.jpg");
  Bytes before = ReadBytes(file);
  Bytes tooLarge(65534, 0);
  EXPECT_EQ(JpegReplaceApp1(file.string(), file.string(), tooLarge.data(), uint32_t(tooLarge.size())), 0);
  EXPECT_EQ(ErrorPop(), ErrPayloadTooLarge);
  EXPECT_EQ(JpegReplaceApp1((scratch_ / "vanished.jpg").string(), file.string(), payload_.data(), 20), 0);
  EXPECT_EQ(ErrorPop(), ErrFileOpen);
  // Not a JPEG: no start of image, no APP1 to place.
  WriteBytes(scratch_ / "text.jpg", Bytes{'h', 'e', 'l', 'l', 'o'});
  EXPECT_EQ(JpegReplaceApp1((scratch_ / "text.jpg").string(), file.string(), payload_.data(), 20), 0);
  EXPECT_EQ(ErrorPop(), ErrMarkerStructure);
  // A folder that does not exist: the temporary stands in the nearest folder that does and goes.
  EXPECT_EQ(JpegReplaceApp1(file.string(), (scratch_ / "no" / "such" / "b.jpg").string(), payload_.data(), 20), 0);
  EXPECT_EQ(ErrorPop(), ErrFileIo);
  EXPECT_EQ(ReadBytes(file), before);
  EXPECT_EQ(EntriesIn(scratch_.path()), 2u);
}

TEST_F(JpegFile, InjectedFaultsNeverDamageTheDestination) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  fs::path file = Copy(ExifJpeg(), "a.jpg");
  Bytes before = ReadBytes(file);
  struct Case {
    uint32_t faults;
    uint32_t code;
  };
  for (Case c : {Case{FaultTemporaryOpen, ErrFileOpen}, Case{FaultWrite, ErrFileIo},
                 Case{FaultRename | FaultCopy, ErrFileIo}}) {
    SCOPED_TRACE(c.faults);
    FileInjectFaults(c.faults);
    EXPECT_EQ(JpegReplaceApp1(file.string(), file.string(), payload_.data(), uint32_t(payload_.size())), 0);
    EXPECT_EQ(ErrorPop(), c.code);
    EXPECT_EQ(ReadBytes(file), before);
    EXPECT_EQ(EntriesIn(scratch_.path()), 1u);
  }
  // With every rename failing, the copy stands in and the save still succeeds.
  FileInjectFaults(FaultRename);
  EXPECT_EQ(JpegReplaceApp1(file.string(), file.string(), payload_.data(), uint32_t(payload_.size())), 1);
  EXPECT_NE(ReadBytes(file), before);
  EXPECT_EQ(EntriesIn(scratch_.path()), 1u);
}

TEST_F(JpegFile, AFolderWithoutWriteAccessIsRefused) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  fs::path source = Copy(ExifJpeg(), "a.jpg");
  if (::geteuid() == 0) GTEST_SKIP() << "running as root: permission bits do not stop a write";
  fs::path locked = scratch_ / "locked";
  fs::create_directory(locked);
  fs::path destination = Copy(ExifJpeg(), "locked/b.jpg");
  Bytes before = ReadBytes(destination);
  fs::permissions(locked, fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_EQ(JpegReplaceApp1(source.string(), destination.string(), payload_.data(), 20), 0);
  fs::permissions(locked, fs::perms::owner_all);
  EXPECT_EQ(ReadBytes(destination), before);
}

TEST_F(JpegFile, AFullDiskLeavesTheOriginal) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  fs::path file = Copy(ExifJpeg(), "a.jpg");
  Bytes before = ReadBytes(file);
  // A child whose files may not grow past 256 bytes stands for a disk that fills during the copy.
  pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ::signal(SIGXFSZ, SIG_IGN);
    struct rlimit limit = {256, 256};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    int written = JpegReplaceApp1(file.string(), file.string(), payload_.data(), uint32_t(payload_.size()));
    ::_exit(written ? 1 : (ErrorPop() == ErrFileIo ? 0 : 2));
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "the rewrite should fail with 1025";
  EXPECT_EQ(ReadBytes(file), before);
  EXPECT_EQ(EntriesIn(scratch_.path()), 1u);
}

TEST_F(JpegFile, DeleteSegmentsDropsTheMaskedApplicationSegments) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  fs::path file = Copy(ExifJpeg(), "a.jpg");
  Bytes before = ReadBytes(file);
  auto [at, length] = FindApp1(before);
  ASSERT_EQ(JpegDeleteSegments(file.string(), file.string(), 1u << 1), 1);
  Bytes expected(before.begin(), before.begin() + at);
  expected.insert(expected.end(), before.begin() + at + length, before.end());
  EXPECT_EQ(ReadBytes(file), expected);
  ASSERT_EQ(JpegDeleteSegments(file.string(), file.string(), 0), 1);  // nothing masked: the same file
  EXPECT_EQ(ReadBytes(file), expected);
}

TEST_F(JpegFile, FileTimesComeFromTheCaptureDate) {
  fs::path file = scratch_ / "dated.jpg";
  WriteBytes(file, Bytes{0xFF, 0xD8});
  ASSERT_EQ(FileSetTimeFromDate(file.string(), "2004:05:06 07:08:09"), 1);
  std::tm local{};
  ASSERT_NE(::strptime("2004:05:06 07:08:09", "%Y:%m:%d %H:%M:%S", &local), nullptr);
  local.tm_isdst = -1;
  struct stat status;
  ASSERT_EQ(::stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mtime, std::mktime(&local));
  EXPECT_EQ(status.st_atime, std::mktime(&local));
  EXPECT_EQ(FileSetTimeFromDate((scratch_ / "none.jpg").string(), "2004:05:06 07:08:09"), 0);
}

}  // namespace
