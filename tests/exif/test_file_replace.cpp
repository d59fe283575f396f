// Saving into the file system as users keep it: symbolic and hard links, a process killed or
// signalled at any moment, owner, mode and extended attributes, a full disk.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
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
using testsupport::ReadBytes;
using testsupport::ScratchDir;
using testsupport::SharedSub;
using testsupport::WriteBytes;
using Bytes = std::vector<unsigned char>;

namespace {

const Bytes kPayload = {'E', 'x', 'i', 'f', 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0};

void Collect(void* user, const std::string& text) { static_cast<std::vector<std::string>*>(user)->push_back(text); }

// The corpus photograph, with `tail` bytes more behind it when a large file is wanted.
Bytes Photograph(size_t tail = 0) {
  Bytes bytes = ReadBytes(SharedSub("corpus/makers") / "nikon" / "exiftool_NikonD70.jpg");
  bytes.resize(bytes.size() + tail, 0x5A);
  return bytes;
}

int Save(const fs::path& file) {
  return JpegReplaceApp1(file.string(), file.string(), kPayload.data(), uint32_t(kPayload.size()));
}

// The names in a folder other than `keep`.
std::vector<std::string> Others(const fs::path& folder, const std::string& keep) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder))
    if (entry.path().filename() != keep) names.push_back(entry.path().filename().string());
  return names;
}

class FileReplace : public ::testing::Test {
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

TEST_F(FileReplace, ASymbolicLinkKeepsPointingAtTheFileThatGetsTheEdit) {
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
  ASSERT_EQ(JpegReplaceApp1((scratch_ / "library" / "a.jpg").string(), (scratch_ / "ahead.jpg").string(),
                            kPayload.data(), uint32_t(kPayload.size())),
            1);
  EXPECT_TRUE(fs::is_symlink(scratch_ / "ahead.jpg"));
  EXPECT_EQ(ReadBytes(scratch_ / "library" / "new.jpg"), edited);
  // A loop of links is refused with the system's reason.
  fs::create_symlink("loop.jpg", scratch_ / "loop.jpg");
  EXPECT_EQ(JpegReplaceApp1((scratch_ / "library" / "a.jpg").string(), (scratch_ / "loop.jpg").string(),
                            kPayload.data(), uint32_t(kPayload.size())),
            0);
  EXPECT_EQ(FileLastFailure().error, ELOOP);
}

TEST_F(FileReplace, AHardLinkedFileIsRefusedOrWrittenThroughEveryName) {
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

TEST_F(FileReplace, AKillOrSignalAtAnyMomentLeavesTheOriginalOrTheNewFileAndNoTemporary) {
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

TEST_F(FileReplace, OwnerModeAndExtendedAttributesSurviveASave) {
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
  int pipe[2];
  ASSERT_EQ(::pipe(pipe), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(2);
    const int saved = Save(file);
    for (const std::string& text : notices_) ::write(pipe[1], text.data(), text.size());
    ::_exit(saved == 1 ? 0 : 1);
  }
  ::close(pipe[1]);
  int status = 0;
  ::waitpid(child, &status, 0);
  char text[512] = {};
  ::read(pipe[0], text, sizeof text - 1);
  ::close(pipe[0]);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_NE(std::string(text).find("warning: the owner 4321:4322 could not be kept (Operation not permitted)"),
            std::string::npos)
      << text;
}

TEST_F(FileReplace, AFullDiskGivesTheSystemsReasonAndLeavesTheOriginal) {
  if (::geteuid() != 0) GTEST_SKIP() << "mounting a small tmpfs needs root";
  const fs::path disk = scratch_ / "disk";
  fs::create_directory(disk);
  if (::mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=1m") != 0)
    GTEST_SKIP() << "cannot mount a tmpfs here: " << std::strerror(errno);
  const Bytes original = Photograph(300u << 10);
  WriteBytes(disk / "a.jpg", original);
  WriteBytes(disk / "filler", Bytes(500u << 10, 0));  // less room left than one more copy
  for (bool anonymous : {true, false}) {
    FileInjectFaults(anonymous ? 0u : uint32_t(FaultAnonymous));
    EXPECT_EQ(Save(disk / "a.jpg"), 0);
    EXPECT_EQ(ErrorPop(), ErrFileIo);
    EXPECT_EQ(FileLastFailure().error, ENOSPC);
    EXPECT_EQ(FileLastFailure().text,
              (disk / "a.jpg").string() + ": cannot write the new file (No space left on device)");
    EXPECT_EQ(ReadBytes(disk / "a.jpg"), original);
    EXPECT_EQ(Others(disk, "a.jpg"), std::vector<std::string>{"filler"});
  }
  ::umount2(disk.c_str(), MNT_DETACH);
}

}  // namespace
