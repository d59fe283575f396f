// The entries of a MakerNote as ExifTool lists them (`exiftool -v5`: the -v3 listing without
// its cut of long values) and as Tavexon reads them, in one shape to compare.
#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "exif/exif_document.h"
#include "exif/makernote_handler.h"
#include "tests/support/test_support.h"

namespace makerlisting {

// One directory entry: tag, type, count and the value's bytes in the note's own byte order.
struct Entry {
  uint16_t tag = 0;
  uint16_t type = 0;
  uint32_t count = 0;
  std::vector<uint8_t> bytes;
  bool operator==(const Entry&) const = default;
};

inline uint16_t TypeNumber(const std::string& name) {
  static const std::map<std::string, uint16_t> kTypes{
      {"int8u", 1},  {"string", 2}, {"int16u", 3},      {"int32u", 4}, {"rational64u", 5}, {"int8s", 6}, {"undef", 7},
      {"int16s", 8}, {"int32s", 9}, {"rational64s", 10}, {"float", 11}, {"double", 12},     {"ifd", 13}};
  const auto found = kTypes.find(name);
  return found == kTypes.end() ? 0 : found->second;
}

// The depth of a listing line: the number of "| " groups after its two leading blanks.
inline size_t Depth(const std::string& line) {
  size_t depth = 0;
  for (size_t at = 2; at + 1 < line.size() && line[at] == '|' && line[at + 1] == ' '; at += 2) ++depth;
  return depth;
}

// The entries of the first "MakerNotes directory" of `exiftool -v5 file`, in listing order.
inline std::vector<Entry> ExifToolEntries(const std::filesystem::path& file) {
  std::istringstream lines(testsupport::RunCommand("exiftool -v5 " + testsupport::ShellQuote(file.string()) + " 2>/dev/null"));
  std::vector<Entry> entries;
  size_t depth = 0;
  bool inside = false;
  bool reading = false;  // the hex lines behind the current entry's "- Tag" line
  for (std::string line; std::getline(lines, line);) {
    if (!inside) {
      if (line.find("+ [MakerNotes directory with ") != std::string::npos) inside = true, depth = Depth(line) + 1;
      continue;
    }
    const size_t lineDepth = Depth(line);
    if (lineDepth < depth) break;
    if (lineDepth > depth) continue;
    const std::string rest = line.substr(2 + 2 * depth);
    const size_t tagAt = rest.find("- Tag 0x");
    if (tagAt != std::string::npos && rest.find_first_not_of(' ') == tagAt) {
      Entry entry;
      entry.tag = uint16_t(std::stoul(rest.substr(tagAt + 8, 4), nullptr, 16));
      const size_t comma = rest.find(", ", tagAt);
      // "type[count]", or the bare type of an empty value ("0 bytes, undef").
      const size_t bracket = std::min(rest.find('[', comma), rest.find(')', comma));
      entry.type = TypeNumber(rest.substr(comma + 2, bracket - comma - 2));
      if (rest[bracket] == '[') entry.count = uint32_t(std::stoul(rest.substr(bracket + 1)));
      entries.push_back(entry);
      reading = true;
      continue;
    }
    const size_t colon = rest.find(": ");
    const size_t first = rest.find_first_not_of(' ');
    const bool hexLine = colon != std::string::npos && first < colon &&
                         rest.find_first_not_of("0123456789abcdef", first) == colon;
    if (!reading || !hexLine) {
      reading = false;
      continue;
    }
    std::istringstream bytes(rest.substr(colon + 2));
    for (std::string pair; bytes >> pair && pair.size() == 2 && pair[0] != '[';)
      entries.back().bytes.push_back(uint8_t(std::stoul(pair, nullptr, 16)));
  }
  return entries;
}

// `exiftool -j -G1 -a -u -n`: "Group:Name" -> the value as the JSON holds it.
inline std::map<std::string, std::string> ExifToolJson(const std::filesystem::path& file) {
  std::map<std::string, std::string> reading;
  std::istringstream lines(testsupport::RunCommand("exiftool -j -G1 -a -u -n " + testsupport::ShellQuote(file.string())));
  for (std::string line; std::getline(lines, line);) {
    const size_t colon = line.find("\": ");
    if (line.size() < 4 || line[2] != '"' || colon == std::string::npos) continue;
    std::string value = line.substr(colon + 3);
    if (!value.empty() && value.back() == ',') value.pop_back();
    reading[line.substr(3, colon - 3)] = value;
  }
  return reading;
}

// The entries of a table of the open note, values turned back into the note's byte order.
inline std::vector<Entry> TavexonEntries(ExifDocument* document, uint32_t table) {
  std::vector<Entry> entries;
  MakerNoteContext* context = ExifMakerNoteContext(document);
  IfdTable* tags = context ? context->Table(table) : nullptr;
  if (!tags) return entries;
  for (const TagEntry& tag : tags->tags) {
    Entry entry{tag.tag, tag.type, tag.count, std::vector<uint8_t>(tag.Data(), tag.Data() + tag.ValueSize())};
    if (context->bigEndian) ExifSwapValue(tag.Data(), entry.bytes.data(), tag.type, tag.count);
    entries.push_back(entry);
  }
  return entries;
}

}  // namespace makerlisting
