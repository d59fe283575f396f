#include "tests/support/peers.h"

#include <sstream>

#include "tests/support/test_support.h"

namespace fs = std::filesystem;

namespace testsupport {

namespace {

std::string Trim(const std::string& text) {
  const size_t first = text.find_first_not_of(" \r\n");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \r\n") - first + 1);
}

}  // namespace

std::map<std::string, std::string> ExifToolArgs(const fs::path& file, const std::string& options) {
  std::istringstream lines(RunCommand("exiftool -args -G1 -a -u -n " + options + " " + ShellQuote(file.string()) +
                                      " 2>/dev/null"));
  std::map<std::string, std::string> tags;
  for (std::string line; std::getline(lines, line);) {
    const size_t equals = line.find('=');
    if (line.size() > 1 && line[0] == '-' && equals != std::string::npos)
      tags[line.substr(1, equals - 1)] = line.substr(equals + 1);
  }
  return tags;
}

std::map<std::string, std::string> ExifToolNames(const fs::path& file, const std::string& options) {
  std::istringstream lines(
      RunCommand("exiftool -a -n -S " + options + " " + ShellQuote(file.string()) + " 2>/dev/null"));
  std::map<std::string, std::string> tags;
  for (std::string line; std::getline(lines, line);) {
    const size_t colon = line.find(": ");
    if (colon != std::string::npos) tags.emplace(line.substr(0, colon), line.substr(colon + 2));
  }
  return tags;
}

std::string ExifToolBinary(const fs::path& file, const std::string& tag) {
  return RunCommand("exiftool -b -" + tag + " " + ShellQuote(file.string()) + " 2>/dev/null");
}

std::map<std::string, std::vector<std::string>> ExifToolTable(const std::vector<std::string>& tags,
                                                              const std::vector<fs::path>& files) {
  std::string command = "exiftool -T -n -q -q";
  for (const std::string& tag : tags) command += " -" + tag;
  for (const fs::path& file : files) command += " " + ShellQuote(file.string());
  std::istringstream lines(RunCommand(command + " 2>/dev/null"));
  std::map<std::string, std::vector<std::string>> rows;
  for (std::string line; std::getline(lines, line);) {
    std::vector<std::string> fields;
    std::istringstream cells(line);
    for (std::string cell; std::getline(cells, cell, '\t');) fields.push_back(cell);
    if (fields.size() == tags.size()) rows[fields[0]] = fields;
  }
  return rows;
}

std::vector<Exiv2Row> Exiv2Rows(const fs::path& file) {
  std::vector<Exiv2Row> rows;
  std::istringstream lines(RunCommand("exiv2 -pv " + ShellQuote(file.string()) + " 2>/dev/null"));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string hex;
    Exiv2Row row;
    if (!(fields >> hex >> row.group >> row.name >> row.type >> row.count) || hex.rfind("0x", 0) != 0) continue;
    row.tag = uint16_t(std::stoul(hex, nullptr, 16));
    std::getline(fields, row.value);
    row.value = Trim(row.value);
    rows.push_back(row);
  }
  return rows;
}

}  // namespace testsupport
