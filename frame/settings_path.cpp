// The choice of the settings file's place.
#include "frame/settings_path.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kSettingsFileName = "tvx1App.ini";

std::string EnvText(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// The folder of the running program, or empty where the platform does not tell it.
fs::path ProgramFolder() {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (error || program.empty()) return {};
  return program.parent_path();
}

// True when a file can be made in the folder. Tried by making one, since permission bits
// alone do not tell about read-only mounts or access lists.
bool FolderWritable(const fs::path& folder) {
  const fs::path probe = folder / ".tvx1App.probe";
  {
    std::ofstream out(probe, std::ios::binary | std::ios::trunc);
    if (!out) return false;
  }
  std::error_code error;
  fs::remove(probe, error);
  return true;
}

// An existing settings file counts when it can be opened for writing (without changing it).
bool FileWritable(const fs::path& file) {
  std::ofstream out(file, std::ios::binary | std::ios::app);
  return static_cast<bool>(out);
}

}  // namespace

std::string SettingsUserFolder() {
  const std::string config = EnvText("XDG_CONFIG_HOME");
  if (!config.empty() && fs::path(config).is_absolute()) return (fs::path(config) / "tavexon").string();
  const std::string home = EnvText("HOME");
  if (!home.empty()) return (fs::path(home) / ".config" / "tavexon").string();
  return {};
}

std::string SettingsDefaultFilePath() {
  const std::string named = EnvText("TAVEXON_INI");
  if (!named.empty()) return named;
  const fs::path folder = ProgramFolder();
  if (!folder.empty()) {
    const fs::path beside = folder / kSettingsFileName;
    std::error_code error;
    if (fs::exists(beside, error) ? FileWritable(beside) : FolderWritable(folder)) return beside.string();
  }
  const std::string user = SettingsUserFolder();
  if (user.empty()) return std::string(kSettingsFileName);
  return (fs::path(user) / kSettingsFileName).string();
}
