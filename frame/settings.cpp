// The settings store over "tvx1App.ini", with the semantics of the Windows profile calls.
//
// Every call reads the whole file (it is small), so two programs, or a user with an editor,
// always see the same state. A write changes the one line it must and keeps every other byte,
// then replaces the file through a temporary file in the same folder and a rename.
#include "frame/settings.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>
#include <vector>

#include "frame/settings_path.h"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kLineEnd = "\r\n";

// One line of the file: its text and the line end that followed it ("" for a last line
// without one), kept so that untouched lines are written back byte for byte.
struct IniLine {
  std::string text;
  std::string end;
};

std::mutex& SettingsMutex() {
  static std::mutex mutex;
  return mutex;
}

std::string_view IniTrim(std::string_view text) {
  const auto blank = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

bool IniSameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
           return lower(x) == lower(y);
         });
}

std::vector<IniLine> IniSplit(const std::string& bytes) {
  std::vector<IniLine> lines;
  size_t pos = 0;
  while (pos < bytes.size()) {
    const size_t lf = bytes.find('\n', pos);
    if (lf == std::string::npos) {
      lines.push_back({bytes.substr(pos), ""});
      break;
    }
    const bool cr = lf > pos && bytes[lf - 1] == '\r';
    lines.push_back({bytes.substr(pos, lf - pos - (cr ? 1 : 0)), cr ? "\r\n" : "\n"});
    pos = lf + 1;
  }
  return lines;
}

std::optional<std::string> IniReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

// The section name of a "[name]" line.
std::optional<std::string_view> IniSectionName(std::string_view text) {
  text = IniTrim(text);
  if (text.empty() || text.front() != '[') return std::nullopt;
  const size_t close = text.find(']');
  if (close == std::string_view::npos) return std::nullopt;
  return IniTrim(text.substr(1, close - 1));
}

// The key of a "key=value" line; comments and lines without '=' have none.
std::optional<std::string_view> IniKeyName(std::string_view text) {
  const std::string_view trimmed = IniTrim(text);
  if (trimmed.empty() || trimmed.front() == ';' || trimmed.front() == '[') return std::nullopt;
  const size_t equals = trimmed.find('=');
  if (equals == std::string_view::npos) return std::nullopt;
  return IniTrim(trimmed.substr(0, equals));
}

std::string_view IniValue(std::string_view text) {
  std::string_view value = IniTrim(text.substr(text.find('=') + 1));
  // As the Windows reader does, one pair of matching quotes around a value is dropped.
  if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
    value = value.substr(1, value.size() - 2);
  return value;
}

// Where a section stands: the index of its header line and one past its last line.
struct IniSectionSpan {
  size_t header = 0;
  size_t end = 0;
};

// The first section of that name; a later section of the same name is never looked at.
std::optional<IniSectionSpan> IniFindSection(const std::vector<IniLine>& lines, std::string_view section) {
  for (size_t i = 0; i < lines.size(); ++i) {
    const auto name = IniSectionName(lines[i].text);
    if (!name || !IniSameName(*name, section)) continue;
    size_t end = i + 1;
    while (end < lines.size() && !IniSectionName(lines[end].text)) ++end;
    return IniSectionSpan{i, end};
  }
  return std::nullopt;
}

std::optional<size_t> IniFindKey(const std::vector<IniLine>& lines, const IniSectionSpan& span, std::string_view key) {
  for (size_t i = span.header + 1; i < span.end; ++i) {
    const auto name = IniKeyName(lines[i].text);
    if (name && IniSameName(*name, key)) return i;
  }
  return std::nullopt;
}

std::optional<std::string> SettingsLookup(const char* section, const char* key) {
  if (!section || !key) return std::nullopt;
  std::optional<std::string> bytes;
  {
    const std::lock_guard lock(SettingsMutex());
    bytes = IniReadFile(SettingsFilePath());
  }
  if (!bytes) return std::nullopt;
  const std::vector<IniLine> lines = IniSplit(*bytes);
  const auto span = IniFindSection(lines, section);
  if (!span) return std::nullopt;
  const auto line = IniFindKey(lines, *span, key);
  if (!line) return std::nullopt;
  return std::string(IniValue(lines[*line].text));
}

// Gives a line that is about to stop being the last one its line end.
void IniEndLine(IniLine& line) {
  if (line.end.empty()) line.end = kLineEnd;
}

// Applies one write to the lines: value nullptr removes the key, key nullptr the section.
void IniApply(std::vector<IniLine>& lines, const char* section, const char* key, const char* value) {
  auto span = IniFindSection(lines, section);
  if (!key) {
    if (span) lines.erase(lines.begin() + span->header, lines.begin() + span->end);
    return;
  }
  const auto existing = span ? IniFindKey(lines, *span, key) : std::nullopt;
  if (!value) {
    if (existing) lines.erase(lines.begin() + *existing);
    return;
  }
  if (existing) {
    IniLine& line = lines[*existing];
    line.text = std::string(IniKeyName(line.text).value()) + "=" + value;
    line.end = kLineEnd;  // a written line takes the Windows line end
    return;
  }
  const IniLine newLine{std::string(key) + "=" + value, std::string(kLineEnd)};
  if (!span) {
    if (!lines.empty()) IniEndLine(lines.back());
    lines.push_back({"[" + std::string(section) + "]", std::string(kLineEnd)});
    lines.push_back(newLine);
    return;
  }
  // A new key follows the section's last non-blank line, so a blank line that separates it
  // from the next section stays where it is.
  size_t at = span->end;
  while (at > span->header + 1 && IniTrim(lines[at - 1].text).empty()) --at;
  IniEndLine(lines[at - 1]);
  lines.insert(lines.begin() + at, newLine);
}

bool IniWriteReplacing(const std::string& path, const std::vector<IniLine>& lines) {
  static std::atomic<unsigned> serial{0};
  const fs::path target(path);
  std::error_code error;
  if (target.has_parent_path()) fs::create_directories(target.parent_path(), error);
  const fs::path temporary = target.string() + ".tmp" + std::to_string(serial++);
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    for (const IniLine& line : lines) out << line.text << line.end;
    out.flush();
    if (!out) {
      out.close();
      fs::remove(temporary, error);
      return false;
    }
  }
  fs::rename(temporary, target, error);
  if (error) {
    fs::remove(temporary, error);
    return false;
  }
  return true;
}

int SettingsWrite(const char* section, const char* key, const char* value) {
  if (!section) return 0;
  const std::lock_guard lock(SettingsMutex());
  const std::string& path = SettingsFilePath();
  const std::optional<std::string> bytes = IniReadFile(path);
  std::vector<IniLine> lines = bytes ? IniSplit(*bytes) : std::vector<IniLine>{};
  IniApply(lines, section, key, value);
  return IniWriteReplacing(path, lines) ? 1 : 0;
}

std::string& SettingsPathStore() {
  static std::string path;
  return path;
}

std::once_flag& SettingsPathOnce() {
  static std::once_flag once;
  return once;
}

}  // namespace

const std::string& SettingsFilePath() {
  std::call_once(SettingsPathOnce(), [] {
    if (SettingsPathStore().empty()) SettingsPathStore() = SettingsDefaultFilePath();
  });
  return SettingsPathStore();
}

void SettingsSetFilePath(const std::string& path) {
  std::call_once(SettingsPathOnce(), [] {});
  const std::lock_guard lock(SettingsMutex());
  SettingsPathStore() = path;
}

uint32_t SettingsGetString(const char* section, const char* key, const char* defaultValue, char* buffer,
                           uint32_t size) {
  if (!buffer || size == 0) return 0;
  const std::string text = SettingsGetText(section, key, defaultValue ? defaultValue : "");
  const size_t length = std::min<size_t>(text.size(), size - 1);
  std::memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
  return static_cast<uint32_t>(length);
}

std::string SettingsGetText(const char* section, const char* key, const char* defaultValue) {
  const std::optional<std::string> value = SettingsLookup(section, key);
  return value ? *value : std::string(defaultValue ? defaultValue : "");
}

int SettingsGetInt(const char* section, const char* key, int defaultValue) {
  const std::optional<std::string> value = SettingsLookup(section, key);
  // An empty value reads as missing, as the Windows reader has it.
  if (!value || value->empty()) return defaultValue;
  return SettingsParseInt(*value);
}

int SettingsPutString(const char* section, const char* key, const char* value) {
  return SettingsWrite(section, key, value);
}

int SettingsPutUInt(const char* section, const char* key, uint32_t value) {
  return SettingsWrite(section, key, std::to_string(value).c_str());
}
