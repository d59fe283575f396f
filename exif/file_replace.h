// Replacing a file as users keep them: through symbolic links, past interruptions, with its
// owner, mode and extended attributes.
//
// Every writer that rewrites a whole file (the APP1 replacement and the segment deletion, and so
// every save, embed and batch tool above them) goes through FileReplacement:
// - A symbolic link is resolved once, at the start: the file it names gets the new content and
//   the link stays a link.
// - On Linux the new file is anonymous (O_TMPFILE) in the target's folder until it is complete
//   and flushed; it gets a name only for the instant before the rename over the target. Where
//   the file system refuses anonymous files, a named temporary ".tvx<pid>....tmp" stands in; it
//   is removed on SIGINT, SIGTERM and SIGHUP, and the next replacement in that folder removes
//   such files whose process is gone.
// - A target with more than one name (hard links) is refused unless the policy says to write
//   into the file itself, so that a save never splits the names silently.
// - Owner, group, mode and extended attributes (ACLs and security labels among them) go to the
//   new file where the process may set them; what it may not set is reported as a warning.
// - A failure keeps the system's reason ("No space left on device") with the path, for the
//   caller to show (FileLastFailure) and through the notice sink.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

// What a save does with a file that has more than one name.
enum FileHardLinkPolicy : uint32_t {
  HardLinksRefuse = 0,   // refuse, nothing written (the default)
  HardLinksInPlace = 1,  // write the finished content into the file itself: every name shows it
};
void FileSetHardLinkPolicy(FileHardLinkPolicy policy);

// Warnings and failure texts of replacements ("path: warning: ..."). The default sink prints
// them on standard error; a program with its own display installs another (nullptr restores
// the default).
using FileNoticeSink = void (*)(void* user, const std::string& text);
void FileSetNoticeSink(FileNoticeSink sink, void* user);

// The calling thread's last replacement failure: the system's error number (EMLINK for a
// refused hard-linked file) and the text "path: reason". {0, ""} after a success.
struct FileFailure {
  int error = 0;
  std::string text;
};
FileFailure FileLastFailure();

// One replacement of a file. Open, write through File(), Commit. Whatever was not committed is
// removed when the object goes, so a failure leaves the target as it was and no file behind.
class FileReplacement {
 public:
  explicit FileReplacement(const std::string& destination);
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  // Resolves links, checks the names, clears stale temporaries, opens the new file.
  bool Open();
  std::FILE* File() const { return file_; }
  // Notes a failure of the caller's writing (errno as the write left it).
  bool Failed(int error);
  // Flushes, checks the size, carries the attributes over and puts the file in place.
  bool Commit();
  // The file that gets the content: the destination with its symbolic links resolved.
  const std::string& Target() const { return target_; }

 private:
  bool Fail(int error, const std::string& what);
  bool Name();
  bool Place();
  bool WriteInPlace();
  void CarryAttributes();
  void Warn(const std::string& text);

  std::string destination_;
  std::string target_;
  std::string folder_;
  std::string named_;  // the temporary's name once it has one
  int slot_ = -1;      // its entry in the signal cleanup
  int fd_ = -1;
  std::FILE* file_ = nullptr;
  bool anonymous_ = false;
  bool exists_ = false;  // the target existed: its attributes are carried over
  bool inPlace_ = false;
  uint32_t uid_ = 0, gid_ = 0, mode_ = 0;
};

// A fresh unique path ".tvx<pid:8 hex><counter:4 hex><random:8 hex>.tmp" in the folder of
// `destination` (or the nearest existing folder above it, or the current directory).
std::string FileTemporaryPath(const std::string& destination);

// Puts a finished temporary file in the destination's place: renamed over it, once more after
// 100 ms, and else copied in with the old destination kept under a second name until the copy
// stands. On failure the old destination is restored and the temporary deleted. 1 or 0.
int FileReplaceDestination(const std::string& temporary, const std::string& destination);

// Faults a test can inject into a replacement, to prove that the destination survives each
// one: the temporary cannot be created, a write fails, every rename fails, the copy that stands
// in for a failed rename fails, the file system refuses anonymous files. 0 injects nothing.
enum FileFault : uint32_t {
  FaultTemporaryOpen = 1,
  FaultWrite = 2,
  FaultRename = 4,
  FaultCopy = 8,
  FaultAnonymous = 16,
};
void FileInjectFaults(uint32_t faults);
bool FileFaulty(uint32_t fault);

// The moments of a replacement a test can stop at (to kill the process there): the temporary
// opened, the content written, flushed, named, placed.
enum FileStep : int { StepOpened = 1, StepWritten, StepFlushed, StepNamed, StepPlaced };
void FileInjectStepHook(void (*hook)(int step));
void FileReachStep(int step);
