// What the batch tool tests share: a folder of writable copies of camera files, and ExifTool's
// reading of a file as the independent reader.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "shooting/engine_install.h"
#include "tests/support/test_support.h"

namespace toolstest {
namespace fs = std::filesystem;

// Every camera JPEG of the corpus (makers/*/*.jpg), copied writable into folder.
inline std::vector<fs::path> CopyCameraFiles(const fs::path& folder) {
  EngineInstall();
  fs::create_directories(folder);
  std::vector<fs::path> copies;
  for (const fs::path& file : testsupport::SharedJpegs({"corpus/makers"}))
    copies.push_back(testsupport::CopyWritable(file, folder / file.filename()));
  return copies;
}

// exiftool -j -G1 -a -u -n of every JPEG of a folder (or of one file), by file name; the file
// system's own fields (name, dates, size, permissions) and ExifTool's version are left out.
// One run of ExifTool for the whole folder: its start-up is most of its time.
inline std::map<std::string, nlohmann::json> ExiftoolRead(const fs::path& where) {
  const std::string out = testsupport::RunCommand("exiftool -j -G1 -a -u -n -ext jpg " +
                                                  testsupport::ShellQuote(where.string()) + " 2>/dev/null");
  std::map<std::string, nlohmann::json> files;
  nlohmann::json all = nlohmann::json::parse(out, nullptr, false);
  if (!all.is_array()) return files;
  for (const auto& tags : all) {
    nlohmann::json kept = nlohmann::json::object();
    for (auto& [key, value] : tags.items())
      if (key.rfind("System:", 0) != 0 && key.rfind("ExifTool:", 0) != 0 && key != "SourceFile") kept[key] = value;
    files[fs::path(tags.value("SourceFile", "")).filename().string()] = kept;
  }
  return files;
}

#define TOOLS_REQUIRE_PEERS()                                                    \
  do {                                                                           \
    TAVEXON_REQUIRE_SHARED("corpus");                                            \
    if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool not on PATH"; \
  } while (0)

}  // namespace toolstest
