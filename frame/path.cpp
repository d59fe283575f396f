// Path helpers over platform paths and CP932 text.
#include "frame/path.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace {

// Lead bytes as the path walk takes them: 0xF0-0xFC (the user-defined area) is left out,
// since no path a Windows install writes opens a pair there.
bool PathIsPairLead(uint8_t byte) { return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xEF); }

char PathLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

std::string PathFolderOf(std::string_view path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string_view::npos) return {};
  if (slash == 0) return "/";
  return std::string(path.substr(0, slash));
}

std::string PathFolderOfCp932(std::string_view path) {
  // Walked forward, so that the second byte of a pair is never seen as a separator.
  size_t last = std::string_view::npos;
  for (size_t i = 0; i < path.size(); ++i) {
    const uint8_t byte = static_cast<uint8_t>(path[i]);
    if (PathIsPairLead(byte)) {
      ++i;
      continue;
    }
    if (byte == '\\' || byte == '/') last = i;
  }
  if (last == std::string_view::npos) return {};
  const bool driveRoot = last == 2 && path[1] == ':';
  if (last == 0 || driveRoot) return std::string(path.substr(0, last + 1));
  return std::string(path.substr(0, last));
}

std::string PathFileName(std::string_view path) {
  const size_t slash = path.rfind('/');
  return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

std::string PathExtension(std::string_view fileName) {
  const size_t point = fileName.rfind('.');
  return std::string(point == std::string_view::npos ? fileName : fileName.substr(point + 1));
}

std::string PathJoin(std::string_view folder, std::string_view name) {
  std::string joined(folder);
  if (joined.empty() || joined.back() != '/') joined += '/';
  joined += name;
  return joined;
}

bool PathIsFolder(const std::string& path) {
  std::error_code error;
  return !path.empty() && fs::is_directory(path, error);
}

bool PathIsFile(const std::string& path) {
  std::error_code error;
  return !path.empty() && fs::is_regular_file(path, error);
}

bool PathSameNoCase(std::string_view a, std::string_view b) { return PathCompareNoCase(a, b) == 0; }

int PathCompareNoCase(std::string_view a, std::string_view b) {
  const size_t common = std::min(a.size(), b.size());
  for (size_t i = 0; i < common; ++i) {
    const auto x = static_cast<unsigned char>(PathLower(a[i]));
    const auto y = static_cast<unsigned char>(PathLower(b[i]));
    if (x != y) return x < y ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

bool PathMatchesPattern(std::string_view name, std::string_view pattern) {
  if (pattern == "*.*") return true;
  // The classic walk with one back-up point: the last '*' seen and where its run began.
  size_t n = 0, p = 0;
  size_t starAt = std::string_view::npos, starName = 0;
  while (n < name.size()) {
    if (p < pattern.size() && (pattern[p] == '?' || PathLower(pattern[p]) == PathLower(name[n]))) {
      ++n, ++p;
    } else if (p < pattern.size() && pattern[p] == '*') {
      starAt = p++;
      starName = n;
    } else if (starAt != std::string_view::npos) {
      p = starAt + 1;
      n = ++starName;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}
