// Saving files: the APP1 replacement and segment deletion byte for byte, and the promise that
// the destination is never damaged whatever fails on the way, in the file system as users keep
// it: symbolic and hard links, a process killed or signalled at any moment, owner, mode and
// extended attributes, a full disk, faults injected at every step.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "exif/exif_document.h"
#include "exif/jpeg_file.h"
#include "frame/error_stack.h"
#include "tests/support/test_support.h"

namespace fs = std::filesystem;
using testsupport::FindApp1;
using testsupport::ReadBytes;
using testsupport::ScratchDir;
using testsupport::SharedSub;
using testsupport::WriteBytes;
using Bytes = std::vector<unsigned char>;

namespace {

const Bytes kPayload = {'E', 'x', 'i', 'f', 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0};

void Collect(void* user, const std::string& text) { static_cast<std::vector<std::string>*>(user)->push_back(text); }

// The corpus photograph (its first segment an Exif APP1), with `tail` bytes more behind it
// when a large file is wanted.
Bytes Photograph(size_t tail = 0) {
  Bytes bytes = ReadBytes(SharedSub("corpus/makers") / "nikon" / "exiftool_NikonD70.jpg");
  bytes.resize(bytes.size() + tail, 0x5A);
  return bytes;
}

int Save(const fs::path& file, const fs::path& source = {}) {
  return JpegReplaceApp1((source.empty() ? file : source).string(), file.string(), kPayload.data(),
                         uint32_t(kPayload.size()));
}

// The names in a folder other than `keep`.
std::vector<std::string> Others(const fs::path& folder, const std::string& keep) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder))
    if (entry.path().filename() != keep) names.push_back(entry.path().filename().string());
  return names;
}

// `bytes` with [at, at + length) replaced by `insert`.
Bytes Spliced(const Bytes& bytes, size_t at, size_t length, const Bytes& insert) {
  Bytes out(bytes.begin(), bytes.begin() + at);
  out.insert(out.end(), insert.begin(), insert.end());
  out.insert(out.end(), bytes.begin() + at + length, bytes.end());
  return out;
}

class FileSave : public ::testing::Test {
 protected:
  void SetUp() override {
    TAVEXON_REQUIRE_SHARED("corpus/makers");
    ErrorClear();
    FileSetNoticeSink(Collect, &notices_);
  }
  void TearDown() override {
    FileSetNoticeSink(nullptr, nullptr);
    FileSetHardLinkPolicy(HardLinksRefuse);
    FileInjectFaults(0);
  }
  // The bytes a finished save of `original` gives.
  Bytes Saved(const Bytes& original) {
    const fs::path probe = scratch_ / "probe.jpg";
    WriteBytes(probe, original);
    EXPECT_EQ(Save(probe), 1);
    Bytes bytes = ReadBytes(probe);
    fs::remove(probe);
    return bytes;
  }
  ScratchDir scratch_;
  std::vector<std::string> notices_;
};

TEST_F(FileSave, TheFirstApp1IsReplacedRemovedOrPlacedAfterTheStartOfImage) {
  const fs::path file = scratch_ / "a.jpg";
  const Bytes before = Photograph();
  WriteBytes(file, before);
  const auto [at, length] = FindApp1(before);
  ASSERT_GT(at, 0u);
  Bytes segment = {0xFF, 0xE1, 0, uint8_t(kPayload.size() + 2)};
  segment.insert(segment.end(), kPayload.begin(), kPayload.end());
  ASSERT_EQ(Save(file), 1);
  EXPECT_EQ(ReadBytes(file), Spliced(before, at, length, segment));
  EXPECT_EQ(Others(scratch_.path(), "a.jpg").size(), 0u);  // no temporary left behind
  // Size 0 removes the segment altogether; so does deleting the APP1 by mask, and a mask of
  // nothing writes the same file.
  ASSERT_EQ(JpegReplaceApp1(file.string(), file.string(), nullptr, 0), 1);
  EXPECT_EQ(ReadBytes(file), Spliced(before, at, length, {}));
  WriteBytes(file, before);
  ASSERT_EQ(JpegDeleteSegments(file.string(), file.string(), 1u << 1), 1);
  EXPECT_EQ(ReadBytes(file), Spliced(before, at, length, {}));
  ASSERT_EQ(JpegDeleteSegments(file.string(), file.string(), 0), 1);
  EXPECT_EQ(ReadBytes(file), Spliced(before, at, length, {}));
  // A file without APP1 gets one right after the start of image; the source stays.
  TAVEXON_REQUIRE_SHARED("corpus/jpeg");
  const fs::path plain = SharedSub("corpus/jpeg") / "ljt_testorig.jpg";
  const Bytes plainBytes = ReadBytes(plain);
  ASSERT_EQ(FindApp1(plainBytes).first, 0u);
  ASSERT_EQ(Save(scratch_ / "out.jpg", plain), 1);
  EXPECT_EQ(ReadBytes(scratch_ / "out.jpg"), Spliced(plainBytes, 2, 0, segment));
}

TEST_F(FileSave, RefusalsAndFaultsLeaveTheDestinationAsItWas) {
  const fs::path file = scratch_ / "a.jpg";
  const Bytes before = Photograph();
  WriteBytes(file, before);
  Bytes tooLarge(65534, 0);
  EXPECT_EQ(JpegReplaceApp1(file.string(), file.string(), tooLarge.data(), uint32_t(tooLarge.size())), 0);
  EXPECT_EQ(ErrorPop(), ErrPayloadTooLarge);
  EXPECT_EQ(Save(file, scratch_ / "vanished.jpg"), 0);
  EXPECT_EQ(ErrorPop(), ErrFileOpen);
  // Not a JPEG: no start of image, no APP1 to place.
  WriteBytes(scratch_ / "text.jpg", Bytes{'h', 'e', 'l', 'l', 'o'});
  EXPECT_EQ(Save(file, scratch_ / "text.jpg"), 0);
  EXPECT_EQ(ErrorPop(), ErrMarkerStructure);
  // A folder that does not exist: the temporary stands in the nearest folder that does and goes.
  EXPECT_EQ(Save(scratch_ / "no" / "such" / "b.jpg", file), 0);
  EXPECT_EQ(ErrorPop(), ErrFileIo);
  fs::remove(scratch_ / "text.jpg");
  for (auto [faults, code] : {std::pair{uint32_t(FaultTemporaryOpen), ErrFileOpen},
                              std::pair{uint32_t(FaultWrite), ErrFileIo},
                              std::pair{uint32_t(FaultRename | FaultCopy), ErrFileIo}}) {
    FileInjectFaults(faults);
    EXPECT_EQ(Save(file), 0) << faults;
    EXPECT_EQ(ErrorPop(), code) << faults;
    if (faults == FaultWrite) {
      EXPECT_EQ(FileLastFailure().text, file.string() + ": cannot write the new file (Input/output error)");
    }
  }
  EXPECT_EQ(ReadBytes(file), before);
  EXPECT_EQ(Others(scratch_.path(), "a.jpg").size(), 0u);
  // With every rename failing, the copy stands in and the save still succeeds.
  FileInjectFaults(FaultRename);
  EXPECT_EQ(Save(file), 1);
  EXPECT_NE(ReadBytes(file), before);
  EXPECT_EQ(Others(scratch_.path(), "a.jpg").size(), 0u);
  FileInjectFaults(0);
  WriteBytes(file, before);
  // A disk that fills during the copy (a child whose files may not grow past 256 bytes) gives
  // the system's reason, in either way of naming the new file.
  for (bool anonymous : {true, false}) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      ::signal(SIGXFSZ, SIG_IGN);
      struct rlimit limit = {256, 256};
      ::setrlimit(RLIMIT_FSIZE, &limit);
      FileInjectFaults(anonymous ? 0u : uint32_t(FaultAnonymous));
      const bool reason = Save(file) == 0 && ErrorPop() == ErrFileIo && FileLastFailure().error == EFBIG &&
                          FileLastFailure().text == file.string() + ": cannot write the new file (File too large)";
      ::_exit(reason ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the rewrite should fail with 1025 and the reason";
    EXPECT_EQ(ReadBytes(file), before);
    EXPECT_EQ(Others(scratch_.path(), "a.jpg").size(), 0u);
  }
  // A folder without write access, where permission bits stop a write.
  if (::geteuid() == 0) return;
  fs::create_directory(scratch_ / "locked");
  WriteBytes(scratch_ / "locked" / "b.jpg", before);
  fs::permissions(scratch_ / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_EQ(Save(scratch_ / "locked" / "b.jpg", file), 0);
  fs::permissions(scratch_ / "locked", fs::perms::owner_all);
  EXPECT_EQ(ReadBytes(scratch_ / "locked" / "b.jpg"), before);
}

TEST_F(FileSave, ASymbolicLinkKeepsPointingAtTheFileThatGetsTheEdit) {
  const Bytes original = Photograph();
  const Bytes edited = Saved(original);
  fs::create_directory(scratch_ / "library");
  WriteBytes(scratch_ / "library" / "a.jpg", original);
  fs::create_symlink("library/a.jpg", scratch_ / "link.jpg");  // relative to the link's folder
  fs::create_symlink(scratch_ / "link.jpg", scratch_ / "chain.jpg");
  ASSERT_EQ(Save(scratch_ / "chain.jpg"), 1);
  EXPECT_TRUE(fs::is_symlink(scratch_ / "chain.jpg"));
  EXPECT_TRUE(fs::is_symlink(scratch_ / "link.jpg"));
  EXPECT_EQ(ReadBytes(scratch_ / "library" / "a.jpg"), edited);
  EXPECT_EQ(Others(scratch_ / "library", "a.jpg").size(), 0u);
  // A link to a file not there yet: the file appears where the link points.
  fs::create_symlink("library/new.jpg", scratch_ / "ahead.jpg");
  ASSERT_EQ(Save(scratch_ / "ahead.jpg", scratch_ / "library" / "a.jpg"), 1);
  EXPECT_TRUE(fs::is_symlink(scratch_ / "ahead.jpg"));
  EXPECT_EQ(ReadBytes(scratch_ / "library" / "new.jpg"), edited);
}

TEST_F(FileSave, AHardLinkedFileIsRefusedOrWrittenThroughEveryName) {
  const Bytes original = Photograph();
  const Bytes edited = Saved(original);
  WriteBytes(scratch_ / "a.jpg", original);
  fs::create_hard_link(scratch_ / "a.jpg", scratch_ / "b.jpg");
  EXPECT_EQ(Save(scratch_ / "a.jpg"), 0);
  EXPECT_EQ(FileLastFailure().error, EMLINK);
  EXPECT_NE(FileLastFailure().text.find("2 names (hard links)"), std::string::npos) << FileLastFailure().text;
  EXPECT_EQ(ReadBytes(scratch_ / "a.jpg"), original);
  EXPECT_EQ(fs::hard_link_count(scratch_ / "a.jpg"), 2u);
  FileSetHardLinkPolicy(HardLinksInPlace);
  for (bool anonymous : {true, false}) {
    WriteBytes(scratch_ / "a.jpg", original);
    FileInjectFaults(anonymous ? 0u : uint32_t(FaultAnonymous));
    ASSERT_EQ(Save(scratch_ / "a.jpg"), 1);
    EXPECT_EQ(ReadBytes(scratch_ / "b.jpg"), edited);
    EXPECT_EQ(fs::hard_link_count(scratch_ / "a.jpg"), 2u);
    EXPECT_EQ(Others(scratch_.path(), "a.jpg"), std::vector<std::string>{"b.jpg"});
  }
}

// The child saves `file`; it is stopped by `signal` at `step`, or by the parent after
// `delayMicroseconds`. Gives the child's wait status.
int SaveInterrupted(const fs::path& file, int signal, int step, int delayMicroseconds, bool anonymous) {
  static int stopSignal = 0;
  static int stopStep = 0;
  stopSignal = signal;
  stopStep = step;
  const pid_t child = ::fork();
  if (child == 0) {
    FileInjectFaults(anonymous ? 0u : uint32_t(FaultAnonymous));
    FileInjectStepHook([](int reached) {
      if (reached == stopStep) ::raise(stopSignal);
    });
    ::_exit(Save(file) == 1 ? 0 : 1);
  }
  if (step == 0) {
    ::usleep(useconds_t(delayMicroseconds));
    ::kill(child, signal);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return status;
}

TEST_F(FileSave, AKillOrSignalAtAnyMomentLeavesTheOriginalOrTheNewFileAndNoTemporary) {
  // The steps are met on a small file; the kills from outside meet a 30 MB copy under way.
  const Bytes small = Photograph();
  const Bytes big = Photograph(30u << 20);
  const Bytes smallEdited = Saved(small);
  const Bytes bigEdited = Saved(big);
  WriteBytes(scratch_ / "big.jpg", big);
  // A step of the replacement, or 0 and a delay for a kill from outside.
  struct Moment {
    int step;
    int delayMicroseconds;
  };
  constexpr Moment kMoments[] = {{StepOpened, 0}, {StepWritten, 0}, {StepFlushed, 0}, {StepNamed, 0},
                                 {StepPlaced, 0}, {0, 1000},        {0, 6000},        {0, 20000}};
  int caseNumber = 0;
  for (bool anonymous : {true, false}) {
    for (int signal : {SIGKILL, SIGTERM, SIGINT}) {
      for (Moment moment : kMoments) {
        // Three kills -9 from outside; one each of the signals a program may handle.
        if (moment.step == 0 && signal != SIGKILL && moment.delayMicroseconds != 6000) continue;
        SCOPED_TRACE(::testing::Message() << "anonymous " << anonymous << " signal " << signal << " step "
                                          << moment.step << " delay " << moment.delayMicroseconds << "us");
        const Bytes& original = moment.step == 0 ? big : small;
        const Bytes& edited = moment.step == 0 ? bigEdited : smallEdited;
        const fs::path folder = scratch_ / ("case" + std::to_string(caseNumber++));
        fs::create_directory(folder);
        // The large original moves from case to case: writing 30 MB each time is slow.
        if (moment.step == 0) {
          fs::rename(scratch_ / "big.jpg", folder / "a.jpg");
        } else {
          WriteBytes(folder / "a.jpg", original);
        }
        const int status = SaveInterrupted(folder / "a.jpg", signal, moment.step, moment.delayMicroseconds, anonymous);
        const Bytes after = ReadBytes(folder / "a.jpg");
        EXPECT_TRUE(after == original || after == edited) << "damaged: " << after.size() << " bytes";
        if (moment.step != 0) {
          EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal);
        }
        // Only a kill -9 while the new file has a name leaves one behind: from the start with
        // a named temporary, for an instant before the rename with an anonymous one. The next
        // save into the folder removes it.
        const std::vector<std::string> left = Others(folder, "a.jpg");
        if (signal != SIGKILL || (anonymous && moment.step != StepNamed)) {
          EXPECT_EQ(left.size(), 0u) << left[0];
        }
        WriteBytes(folder / "next.jpg", small);
        ASSERT_EQ(Save(folder / "next.jpg"), 1);
        EXPECT_EQ(Others(folder, "a.jpg"), std::vector<std::string>{"next.jpg"});
        if (moment.step == 0 && after == original) {
          fs::rename(folder / "a.jpg", scratch_ / "big.jpg");
        } else if (moment.step == 0) {
          WriteBytes(scratch_ / "big.jpg", big);
        }
      }
    }
  }
}

TEST_F(FileSave, OwnerModeAndExtendedAttributesSurviveASave) {
  const fs::path file = scratch_ / "a.jpg";
  WriteBytes(file, Photograph());
  if (::setxattr(file.c_str(), "user.test", "roll 12", 7, 0) != 0)
    GTEST_SKIP() << "the temporary folder's file system takes no user attributes: " << std::strerror(errno);
  ::chmod(file.c_str(), 0640);
  const bool root = ::geteuid() == 0;
  if (root) {
    ASSERT_EQ(::chown(file.c_str(), 4321, 4322), 0);
  }
  for (bool anonymous : {true, false}) {
    FileInjectFaults(anonymous ? 0u : uint32_t(FaultAnonymous));
    ASSERT_EQ(Save(file), 1);
    struct stat status;
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    if (root) {
      EXPECT_EQ(status.st_uid, 4321u);
      EXPECT_EQ(status.st_gid, 4322u);
    }
    char value[16] = {};
    EXPECT_EQ(::getxattr(file.c_str(), "user.test", value, sizeof value), 7);
    EXPECT_STREQ(value, "roll 12");
  }
  EXPECT_TRUE(notices_.empty()) << notices_[0];
  if (!root) return;
  // A process that may not give the file back to its owner saves it and says so.
  fs::permissions(scratch_.path(), fs::perms::all);
  ::chmod(file.c_str(), 0666);
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(2);
    const std::string warning = "warning: the owner 4321:4322 could not be kept (Operation not permitted)";
    ::_exit(Save(file) == 1 && notices_.size() == 1 && notices_[0].find(warning) != std::string::npos ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "saved with the warning, and only it";
}

}  // namespace
