#include "tests/support/test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>

namespace fs = std::filesystem;

namespace testsupport {

fs::path SharedDir() {
  const char* env = std::getenv("TAVEXON_SHARED");
  if (env && *env && fs::is_directory(env)) return fs::path(env);
  return {};
}

fs::path SharedSub(const std::string& sub) {
  fs::path root = SharedDir();
  if (root.empty()) return {};
  fs::path p = root / sub;
  return fs::exists(p) ? p : fs::path();
}

std::vector<fs::path> FilesUnder(const fs::path& folder) {
  std::vector<fs::path> files;
  if (folder.empty() || !fs::is_directory(folder)) return files;
  for (const auto& e : fs::recursive_directory_iterator(folder))
    if (e.is_regular_file()) files.push_back(e.path());
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<fs::path> SharedJpegs(std::initializer_list<std::string> subs) {
  std::vector<fs::path> jpegs;
  for (const std::string& sub : subs)
    for (const fs::path& file : FilesUnder(SharedSub(sub))) {
      std::string extension = file.extension().string();
      for (char& c : extension) c = char(std::tolower(static_cast<unsigned char>(c)));
      if (extension == ".jpg") jpegs.push_back(file);
    }
  return jpegs;
}

fs::path CopyWritable(const fs::path& source, const fs::path& copy) {
  fs::copy_file(source, copy, fs::copy_options::overwrite_existing);
  fs::permissions(copy, fs::perms::owner_read | fs::perms::owner_write);
  return copy;
}

ScratchDir::ScratchDir() {
  std::random_device rd;
  for (;;) {
    path_ = fs::temp_directory_path() / ("tavexon-test-" + std::to_string(rd()));
    if (fs::create_directory(path_)) break;
  }
}

ScratchDir::~ScratchDir() {
  std::error_code ec;
  // Tests may leave read-only files or folders behind; make them writable first.
  for (auto it = fs::recursive_directory_iterator(path_, ec); !ec && it != fs::recursive_directory_iterator(); it.increment(ec))
    fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ec);
  fs::permissions(path_, fs::perms::owner_all, fs::perm_options::add, ec);
  fs::remove_all(path_, ec);
}

std::vector<unsigned char> ReadBytes(const fs::path& file) {
  // Sized first and read in one go: large files (tens of megabytes) read in milliseconds.
  std::ifstream in(file, std::ios::binary | std::ios::ate);
  if (!in) return {};
  std::vector<unsigned char> bytes(static_cast<size_t>(std::max<std::streamoff>(in.tellg(), 0)));
  in.seekg(0);
  in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<size_t>(in.gcount()));
  return bytes;
}

std::pair<size_t, size_t> FindApp1(const std::vector<unsigned char>& file) {
  for (size_t at = 2; at + 4 <= file.size() && file[at] == 0xFF && file[at + 1] != 0xDA;) {
    const size_t length = size_t(file[at + 2]) << 8 | file[at + 3];
    if (file[at + 1] == 0xE1) return {at, length + 2};
    at += length + 2;
  }
  return {0, 0};
}

void WriteBytes(const fs::path& file, const std::vector<unsigned char>& bytes) {
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

bool HaveProgram(const std::string& name) {
  int code = 0;
  RunCommand("command -v " + ShellQuote(name) + " >/dev/null 2>&1", &code);
  return code == 0;
}

std::string RunCommand(const std::string& command, int* exitCode) {
  std::string out;
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) {
    if (exitCode) *exitCode = -1;
    return out;
  }
  std::array<char, 65536> buf;
  size_t n;
  while ((n = fread(buf.data(), 1, buf.size(), pipe)) > 0) out.append(buf.data(), n);
  int status = pclose(pipe);
  if (exitCode) *exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return out;
}

std::string ShellQuote(const std::string& text) {
  std::string q = "'";
  for (char c : text) {
    if (c == '\'') q += "'\\''";
    else q += c;
  }
  return q + "'";
}

}  // namespace testsupport
