// Helpers shared by the test programs: where the shared material stands, scratch folders,
// and running the independent readers (exiv2, exiftool) that check what Tavexon does.
#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace testsupport {

// The shared material folder (camera corpus, MV-1 samples), from TAVEXON_SHARED, or an
// empty path when it is absent; tests then skip with a reason.
std::filesystem::path SharedDir();

// SharedDir()/sub when it exists, else empty.
std::filesystem::path SharedSub(const std::string& sub);

// Every regular file below a folder, sorted by path.
std::vector<std::filesystem::path> FilesUnder(const std::filesystem::path& folder);

// The JPEGs (".jpg" in any case) below each shared sub-folder, in the order given, each sorted.
std::vector<std::filesystem::path> SharedJpegs(std::initializer_list<std::string> subs);

// Copies `source` to `copy` (replacing it) and lets the owner write it; gives `copy`.
std::filesystem::path CopyWritable(const std::filesystem::path& source, const std::filesystem::path& copy);

// A fresh scratch folder, removed with the object.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

std::vector<unsigned char> ReadBytes(const std::filesystem::path& file);
void WriteBytes(const std::filesystem::path& file, const std::vector<unsigned char>& bytes);
// Where a JPEG's first APP1 stands and its length with the marker, or {0, 0}.
std::pair<size_t, size_t> FindApp1(const std::vector<unsigned char>& file);

// True when the program is on PATH.
bool HaveProgram(const std::string& name);

// Runs a shell command, returns its standard output; exitCode receives the status.
std::string RunCommand(const std::string& command, int* exitCode = nullptr);

// Quotes an argument for the shell.
std::string ShellQuote(const std::string& text);

}  // namespace testsupport

// Skips the current test when the shared material is missing.
#define TAVEXON_REQUIRE_SHARED(sub)                                                  \
  do {                                                                               \
    if (testsupport::SharedSub(sub).empty())                                         \
      GTEST_SKIP() << "shared material '" << (sub) << "' not found (set TAVEXON_SHARED)"; \
  } while (0)
