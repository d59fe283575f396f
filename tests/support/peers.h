// The independent readers (exiftool, exiv2) as tests call them; their output is parsed into
// plain maps and rows.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace testsupport {

// `exiftool ARGUMENTS...` (one argument each, no shell): its standard output. One exiftool stays
// open for the whole test program (-stay_open), so a reading costs what a fresh run costs
// without starting Perl and loading its modules again. Standard error is dropped.
std::string ExifToolRun(const std::vector<std::string>& arguments);

// `exiftool -args -G1 -a -u -n [options] file`: "Group:Name" -> value.
std::map<std::string, std::string> ExifToolArgs(const std::filesystem::path& file, const std::string& options = "");

// `exiftool -b -Tag file`: the tag's bytes (a preview, a thumbnail), empty when absent.
std::string ExifToolBinary(const std::filesystem::path& file, const std::string& tag);

// `exiftool -T -n -q -q -Tag... files`: one row of fields per file, keyed by its first field
// (name the key first, -FileName or -FilePath); "-" stands for an absent tag.
std::map<std::string, std::vector<std::string>> ExifToolTable(const std::vector<std::string>& tags,
                                                              const std::vector<std::filesystem::path>& files);

// One line of `exiv2 -pv`: "0x010f Image  Make  Ascii  18  NIKON CORPORATION".
struct Exiv2Row {
  uint16_t tag = 0;
  std::string group, name, type;
  uint32_t count = 0;
  std::string value;  // without the blanks around it
};
std::vector<Exiv2Row> Exiv2Rows(const std::filesystem::path& file);

}  // namespace testsupport
