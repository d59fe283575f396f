// Replacing a file through a temporary in its folder: links, interruptions, attributes.
#include "exif/file_replace.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/xattr.h>
#endif

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <random>
#include <set>
#include <system_error>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace {

std::atomic<uint32_t> gFaults{0};
std::atomic<void (*)(int)> gStepHook{nullptr};
std::atomic<uint32_t> gHardLinkPolicy{HardLinksRefuse};
thread_local FileFailure gLastFailure;

std::mutex gSinkMutex;
FileNoticeSink gSink = nullptr;
void* gSinkUser = nullptr;

void Notice(const std::string& text) {
  std::lock_guard<std::mutex> lock(gSinkMutex);
  if (gSink != nullptr) {
    gSink(gSinkUser, text);
  } else {
    std::fprintf(stderr, "%s\n", text.c_str());
  }
}

std::string Reason(int error) { return std::error_code(error, std::generic_category()).message(); }

// Names a signal removes before the process ends: the named temporaries of the replacements
// under way. The handler reads them without a lock, so each slot's path is written before its
// state says it is ready.
constexpr int kCleanupSlots = 64;
constexpr size_t kCleanupPathMax = 4096;
struct CleanupSlot {
  std::atomic<int> state{0};  // 0 free, 1 being filled, 2 to remove on a signal
  char path[kCleanupPathMax];
};
CleanupSlot gCleanup[kCleanupSlots];
constexpr int kCleanupSignals[] = {SIGINT, SIGTERM, SIGHUP};

// Only unlink, then the default action again: both are safe in a signal handler.
extern "C" void CleanupOnSignal(int signal) {
  for (CleanupSlot& slot : gCleanup)
    if (slot.state.load() == 2) ::unlink(slot.path);
  ::signal(signal, SIG_DFL);
  ::raise(signal);
}

// Installed only over the default action: a program that handles the signal itself goes on
// running, and its replacement then cleans up on its own road.
void CleanupInstall() {
  static std::once_flag once;
  std::call_once(once, [] {
    for (int signal : kCleanupSignals) {
      struct sigaction old {};
      if (::sigaction(signal, nullptr, &old) != 0 || (old.sa_flags & SA_SIGINFO) != 0 || old.sa_handler != SIG_DFL)
        continue;
      struct sigaction action {};
      action.sa_handler = CleanupOnSignal;
      sigemptyset(&action.sa_mask);
      ::sigaction(signal, &action, nullptr);
    }
  });
}

int CleanupRegister(const std::string& path) {
  if (path.size() >= kCleanupPathMax) return -1;
  CleanupInstall();
  for (int i = 0; i < kCleanupSlots; ++i) {
    int expected = 0;
    if (!gCleanup[i].state.compare_exchange_strong(expected, 1)) continue;
    std::memcpy(gCleanup[i].path, path.c_str(), path.size() + 1);
    gCleanup[i].state.store(2);
    return i;
  }
  return -1;  // all in use: the next replacement in the folder removes a leftover
}

void CleanupRelease(int& slot) {
  if (slot >= 0) gCleanup[slot].state.store(0);
  slot = -1;
}

// ".tvx" + 20 hex digits + ".tmp", the first 8 digits the process id; 0 for another name.
pid_t TemporaryOwner(const char* name) {
  constexpr size_t kLength = 28;
  if (std::strlen(name) != kLength || std::strncmp(name, ".tvx", 4) != 0 || std::strcmp(name + 24, ".tmp") != 0)
    return 0;
  for (size_t i = 4; i < 24; ++i)
    if (!std::isxdigit(static_cast<unsigned char>(name[i]))) return 0;
  return pid_t(std::strtoul(std::string(name + 4, 8).c_str(), nullptr, 16));
}

// Removes temporaries of processes that are gone, once per folder and process: a batch over a
// large folder pays for one scan.
void RemoveStaleTemporaries(const std::string& folder) {
  static std::mutex mutex;
  static std::set<std::string> done;
  {
    std::lock_guard<std::mutex> lock(mutex);
    if (!done.insert(folder).second) return;
  }
  DIR* dir = ::opendir(folder.c_str());
  if (dir == nullptr) return;
  while (const dirent* entry = ::readdir(dir)) {
    const pid_t owner = TemporaryOwner(entry->d_name);
    if (owner <= 0 || owner == ::getpid()) continue;
    if (::kill(owner, 0) != 0 && errno == ESRCH) ::unlinkat(::dirfd(dir), entry->d_name, 0);
  }
  ::closedir(dir);
}

// The file a path names, its symbolic links followed (a relative link from its own folder).
// A path that names nothing yet stands for itself.
bool ResolveLinks(const std::string& path, std::string& target, int& error) {
  fs::path at = path;
  for (int hops = 0;; ++hops) {
    struct stat status;
    if (::lstat(at.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) {
      target = at.string();
      return true;
    }
    if (hops == 40) {
      error = ELOOP;
      return false;
    }
    std::error_code code;
    const fs::path to = fs::read_symlink(at, code);
    if (code) {
      error = code.value();
      return false;
    }
    at = to.is_absolute() ? to : at.parent_path() / to;
  }
}

std::string FolderOf(const std::string& path) {
  fs::path folder = fs::path(path).parent_path();
  std::error_code error;
  while (!folder.empty() && !fs::is_directory(folder, error)) folder = folder.parent_path();
  return folder.empty() ? std::string(".") : folder.string();
}

int Rename(const std::string& from, const std::string& to) {
  if (FileFaulty(FaultRename)) {
    errno = EIO;
    return -1;
  }
  return std::rename(from.c_str(), to.c_str());
}

// Copies the whole of one open file into another from the start.
bool CopyWhole(int from, int to, off_t size) {
  std::vector<char> block(1 << 20);
  for (off_t at = 0; at < size;) {
    const ssize_t got = ::pread(from, block.data(), block.size(), at);
    if (got <= 0) {
      if (got == 0) errno = EIO;
      return false;
    }
    for (ssize_t put = 0; put < got;) {
      const ssize_t n = ::pwrite(to, block.data() + put, size_t(got - put), at + put);
      if (n < 0) return false;
      put += n;
    }
    at += got;
  }
  return true;
}

}  // namespace

void FileSetHardLinkPolicy(FileHardLinkPolicy policy) { gHardLinkPolicy.store(policy); }

void FileSetNoticeSink(FileNoticeSink sink, void* user) {
  std::lock_guard<std::mutex> lock(gSinkMutex);
  gSink = sink;
  gSinkUser = user;
}

FileFailure FileLastFailure() { return gLastFailure; }

void FileInjectFaults(uint32_t faults) { gFaults.store(faults); }
bool FileFaulty(uint32_t fault) { return (gFaults.load() & fault) != 0; }
void FileInjectStepHook(void (*hook)(int step)) { gStepHook.store(hook); }
void FileReachStep(int step) {
  if (auto hook = gStepHook.load()) hook(step);
}

FileReplacement::FileReplacement(const std::string& destination) : destination_(destination) {}

FileReplacement::~FileReplacement() {
  if (file_ != nullptr) {
    std::fclose(file_);
  } else if (fd_ >= 0) {
    ::close(fd_);
  }
  if (!named_.empty()) ::unlink(named_.c_str());
  CleanupRelease(slot_);
}

bool FileReplacement::Fail(int error, const std::string& what) {
  // EMLINK marks the refusal of a file with several names, which its system text would mislead.
  const bool withReason = error != 0 && error != EMLINK;
  gLastFailure = {error, destination_ + ": " + what + (withReason ? " (" + Reason(error) + ")" : "")};
  Notice(gLastFailure.text);
  return false;
}

bool FileReplacement::Failed(int error) { return Fail(error, "cannot write the new file"); }

void FileReplacement::Warn(const std::string& text) { Notice(target_ + ": warning: " + text); }

bool FileReplacement::Open() {
  gLastFailure = {};
  int error = 0;
  if (!ResolveLinks(destination_, target_, error)) return Fail(error, "cannot follow the symbolic link");
  folder_ = FolderOf(target_);
  struct stat status;
  exists_ = ::stat(target_.c_str(), &status) == 0;
  if (exists_) {
    uid_ = status.st_uid;
    gid_ = status.st_gid;
    mode_ = status.st_mode & 07777;
    if (status.st_nlink > 1 && gHardLinkPolicy.load() == HardLinksRefuse)
      return Fail(EMLINK, "the file has " + std::to_string(status.st_nlink) +
                              " names (hard links), and a save would give the new content to this name only; "
                              "nothing was written");
    inPlace_ = status.st_nlink > 1;
  }
  RemoveStaleTemporaries(folder_);
  if (FileFaulty(FaultTemporaryOpen)) return Fail(EIO, "cannot create the new file");
  // An existing file's content is private until its own mode is on the new one.
  const mode_t mode = exists_ ? 0600 : 0666;
#ifdef O_TMPFILE
  // The anonymous file needs a way to a name later: /proc, or the capability of AT_EMPTY_PATH.
  if (!FileFaulty(FaultAnonymous) && ::access("/proc/self/fd", X_OK) == 0) {
    fd_ = ::open(folder_.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, mode);
    anonymous_ = fd_ >= 0;
  }
#endif
  if (!anonymous_) {
    named_ = FileTemporaryPath(target_);
    slot_ = CleanupRegister(named_);
    fd_ = ::open(named_.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, mode);
    if (fd_ < 0) {
      error = errno;
      named_.clear();
      CleanupRelease(slot_);
      return Fail(error, "cannot create a temporary file in " + folder_);
    }
  }
  file_ = ::fdopen(fd_, "w+b");
  if (file_ == nullptr) return Fail(errno, "cannot create the new file");
  FileReachStep(StepOpened);
  return true;
}

void FileReplacement::CarryAttributes() {
  struct stat now;
  if (::fstat(fd_, &now) != 0) return;
  if ((now.st_uid != uid_ || now.st_gid != gid_) && ::fchown(fd_, uid_, gid_) != 0) {
    const int error = errno;
    // The group alone may still be allowed (a member of it).
    if (now.st_gid == gid_ || ::fchown(fd_, uid_t(-1), gid_) != 0 || now.st_uid != uid_)
      Warn("the owner " + std::to_string(uid_) + ":" + std::to_string(gid_) + " could not be kept (" + Reason(error) +
           ")");
  }
  // After the owner: a change of owner clears the set-id bits.
  if (::fchmod(fd_, mode_) != 0) Warn("the mode could not be kept (" + Reason(errno) + ")");
#ifdef __linux__
  // Extended attributes after the mode, so that an access list is the last word on it.
  ssize_t size = ::listxattr(target_.c_str(), nullptr, 0);
  if (size < 0) {
    if (errno != ENOTSUP) Warn("the extended attributes could not be read (" + Reason(errno) + ")");
    return;
  }
  std::vector<char> names(size_t(size) + 1, '\0');
  size = ::listxattr(target_.c_str(), names.data(), names.size());
  for (ssize_t at = 0; size > 0 && at < size; at += ssize_t(std::strlen(names.data() + at)) + 1) {
    const char* name = names.data() + at;
    std::vector<char> value(size_t(std::max<ssize_t>(::getxattr(target_.c_str(), name, nullptr, 0), 0)));
    const ssize_t length = ::getxattr(target_.c_str(), name, value.data(), value.size());
    if (length < 0 || ::fsetxattr(fd_, name, value.data(), size_t(length), 0) != 0)
      Warn(std::string("the extended attribute ") + name + " could not be kept (" + Reason(errno) + ")");
  }
#endif
}

bool FileReplacement::Name() {
  if (!anonymous_) return true;
  named_ = FileTemporaryPath(target_);
  slot_ = CleanupRegister(named_);
  char self[64];
  std::snprintf(self, sizeof self, "/proc/self/fd/%d", fd_);
  if (::linkat(AT_FDCWD, self, AT_FDCWD, named_.c_str(), AT_SYMLINK_FOLLOW) == 0) return true;
  int error = errno;
#ifdef AT_EMPTY_PATH
  if (::linkat(fd_, "", AT_FDCWD, named_.c_str(), AT_EMPTY_PATH) == 0) return true;
#endif
  named_.clear();
  CleanupRelease(slot_);
  return Fail(error, "cannot give the new file a name in " + folder_);
}

bool FileReplacement::Place() {
  if (Rename(named_, target_) != 0) {
    // The slower road: once more after a pause, then a copy (FileReplaceDestination).
    const bool placed = FileReplaceDestination(named_, target_) == 1;
    const int error = errno;
    named_.clear();
    CleanupRelease(slot_);
    if (!placed) return Fail(error, "cannot put the new file in place");
  }
  named_.clear();
  CleanupRelease(slot_);
  // The rename itself reaches the disk with the folder.
  const int folder = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder >= 0) {
    ::fsync(folder);
    ::close(folder);
  }
  return true;
}

// Every name of a hard-linked file sees the new content only in the file itself. The finished
// content stands first under "<name>.tavexon-new", so an interruption of the copy into the file
// leaves it whole there, and goes when the copy is done.
bool FileReplacement::WriteInPlace() {
  const std::string keep = target_ + ".tavexon-new";
  struct stat now;
  if (::fstat(fd_, &now) != 0) return Fail(errno, "cannot read the new file");
  if (anonymous_) {
    char self[64];
    std::snprintf(self, sizeof self, "/proc/self/fd/%d", fd_);
    if (::linkat(AT_FDCWD, self, AT_FDCWD, keep.c_str(), AT_SYMLINK_FOLLOW) != 0)
      return Fail(errno, "cannot keep the new content as " + keep);
  } else {
    if (::link(named_.c_str(), keep.c_str()) != 0) return Fail(errno, "cannot keep the new content as " + keep);
  }
  const int out = ::open(target_.c_str(), O_WRONLY | O_CLOEXEC);
  if (out < 0) {
    const int error = errno;
    ::unlink(keep.c_str());
    return Fail(error, "cannot open the file to write into it");
  }
  bool good = CopyWhole(fd_, out, now.st_size) && ::ftruncate(out, now.st_size) == 0 && ::fsync(out) == 0;
  const int error = errno;
  good = ::close(out) == 0 && good;
  if (!good) return Fail(error, "the file was only partly rewritten; its whole new content is in " + keep);
  ::unlink(keep.c_str());
  return true;
}

bool FileReplacement::Commit() {
  if (file_ == nullptr) return Fail(EBADF, "the new file is not open");
  if (std::fflush(file_) != 0 || ::fsync(fd_) != 0) return Fail(errno, "cannot write the new file");
  // What stands in the file is what was written: a short write is never placed.
  struct stat now;
  const long written = std::ftell(file_);
  if (::fstat(fd_, &now) != 0 || written < 0 || now.st_size != off_t(written))
    return Fail(EIO, "the new file is not complete");
  FileReachStep(StepFlushed);
  if (inPlace_) return WriteInPlace();
  if (exists_) CarryAttributes();
  if (!Name()) return false;
  FileReachStep(StepNamed);
  if (!Place()) return false;
  FileReachStep(StepPlaced);
  return true;
}

std::string FileTemporaryPath(const std::string& destination) {
  // A name unique to this process and call: the process id, a counter and random bits.
  static std::atomic<uint32_t> counter{0};
  thread_local std::mt19937 random{std::random_device{}()};
  char name[64];
  std::snprintf(name, sizeof name, ".tvx%08x%04x%08x.tmp", unsigned(::getpid()), unsigned(counter++ & 0xFFFF),
                unsigned(random()));
  return (fs::path(FolderOf(destination)) / name).string();
}

int FileReplaceDestination(const std::string& temporary, const std::string& destination) {
  int reason = 0;
  auto dropTemporary = [&] {
    std::remove(temporary.c_str());
    errno = reason != 0 ? reason : EIO;
    return 0;
  };
  if (::access(destination.c_str(), W_OK) != 0 && errno != ENOENT) {
    reason = errno;
    return dropTemporary();
  }
  // The old destination is kept under a second name until the new one stands. A hard link
  // keeps it under its own name too, so no moment passes with no file under the real name;
  // where links are not available it is moved aside, under a name that ends ".old" so that no
  // cleanup of temporaries ever takes it.
  std::string saved;
  int slot = -1;
  bool linked = false;  // saved is a second name of the destination, which stays in place
  std::error_code error;
  if (fs::exists(destination, error)) {
    saved = FileTemporaryPath(destination);
    slot = CleanupRegister(saved);
    linked = ::link(destination.c_str(), saved.c_str()) == 0;
    if (!linked) {
      CleanupRelease(slot);
      saved.replace(saved.size() - 4, 4, ".old");
      if (Rename(destination, saved) != 0) {
        reason = errno;
        return dropTemporary();
      }
    }
  }
  bool placed = Rename(temporary, destination) == 0;
  if (!placed) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));  // another program may hold it briefly
    placed = Rename(temporary, destination) == 0;
  }
  if (!placed) reason = errno;
  if (!placed && !FileFaulty(FaultCopy)) {
    // The copy must make a new file: with the old one linked, the destination's name is freed
    // first, so the copy never writes into the bytes the saved name still holds.
    if (linked) std::remove(destination.c_str());
    placed = fs::copy_file(temporary, destination, fs::copy_options::overwrite_existing, error) && !error;
    if (!placed) {
      linked = false;  // the destination's name now needs the saved file back
      reason = error.value();
    }
  }
  if (!placed) {
    if (linked) {
      std::remove(saved.c_str());  // the destination was never touched
    } else if (!saved.empty()) {
      std::rename(saved.c_str(), destination.c_str());
    }
    CleanupRelease(slot);
    return dropTemporary();
  }
  std::remove(temporary.c_str());  // only still there when the copy stood in for the rename
  if (!saved.empty()) std::remove(saved.c_str());
  CleanupRelease(slot);
  return 1;
}
