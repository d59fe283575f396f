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
#include "exif/exif_reader.h"
#include "exif/makernote_handler.h"
#include "frame/error_stack.h"
#include "makernote/makernote_install.h"
#include "tests/support/peers.h"
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
      {"int8u", 1},  {"string", 2}, {"int16u", 3},       {"int32u", 4}, {"rational64u", 5}, {"int8s", 6}, {"undef", 7},
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

// The entries of the first "MakerNotes directory" of `exiftool -v5 file`, in listing order:
// key 0 its own entries, key T those of a sub-directory listed under its entry of tag T.
inline std::map<uint16_t, std::vector<Entry>> ExifToolTables(const std::filesystem::path& file) {
  std::istringstream lines(testsupport::ExifToolRun({"-v5", file.string()}));
  std::map<uint16_t, std::vector<Entry>> tables;
  std::vector<Entry>* sub = nullptr;  // the sub-directory being listed
  size_t depth = 0;
  uint16_t lastTag = 0;  // the last entry of the note's own directory
  bool inside = false;
  bool reading = false;  // the hex lines behind the current entry's "- Tag" line
  for (std::string line; std::getline(lines, line);) {
    if (!inside) {
      if (line.find("+ [MakerNotes directory with ") != std::string::npos) inside = true, depth = Depth(line) + 1;
      continue;
    }
    const size_t lineDepth = Depth(line);
    if (lineDepth < depth) break;
    if (lineDepth > depth + 1 || (lineDepth > depth && !sub)) continue;
    std::vector<Entry>& into = lineDepth == depth ? tables[0] : *sub;
    const std::string rest = line.substr(2 + 2 * lineDepth);
    if (lineDepth == depth && rest.rfind("+ [", 0) == 0) {
      sub = &tables[lastTag];
      continue;
    }
    const size_t tagAt = rest.find("- Tag 0x");
    if (tagAt != std::string::npos && rest.find_first_not_of(' ') == tagAt) {
      Entry entry;
      entry.tag = uint16_t(std::stoul(rest.substr(tagAt + 8, 4), nullptr, 16));
      const size_t comma = rest.find(", ", tagAt);
      // "type[count]", or the bare type of an empty value ("0 bytes, undef").
      const size_t bracket = std::min(rest.find('[', comma), rest.find(')', comma));
      if (bracket == std::string::npos) {  // a line of a block's own listing, not an entry
        reading = false;
        continue;
      }
      entry.type = TypeNumber(rest.substr(comma + 2, bracket - comma - 2));
      if (rest[bracket] == '[') entry.count = uint32_t(std::stoul(rest.substr(bracket + 1)));
      if (lineDepth == depth) lastTag = entry.tag, sub = nullptr;
      into.push_back(entry);
      reading = true;
      continue;
    }
    const size_t colon = rest.find(": ");
    const size_t first = rest.find_first_not_of(' ');
    const bool hexLine =
        colon != std::string::npos && first < colon && rest.find_first_not_of("0123456789abcdef", first) == colon;
    if (!reading || !hexLine || into.empty()) {
      reading = false;
      continue;
    }
    std::istringstream bytes(rest.substr(colon + 2));
    for (std::string pair; bytes >> pair && pair.size() == 2 && pair[0] != '[';)
      into.back().bytes.push_back(uint8_t(std::stoul(pair, nullptr, 16)));
  }
  return tables;
}

// `exiftool -j -G1 -a -u -n`: "Group:Name" -> the value as the JSON holds it.
inline std::map<std::string, std::string> ExifToolJson(const std::filesystem::path& file) {
  std::map<std::string, std::string> reading;
  std::istringstream lines(testsupport::ExifToolRun({"-j", "-G1", "-a", "-u", "-n", file.string()}));
  for (std::string line; std::getline(lines, line);) {
    const size_t colon = line.find("\": ");
    if (line.size() < 4 || line[2] != '"' || colon == std::string::npos) continue;
    std::string value = line.substr(colon + 3);
    if (!value.empty() && value.back() == ',') value.pop_back();
    reading[line.substr(3, colon - 3)] = value;
  }
  return reading;
}

// The entries of a table of the open note, values written back in the note's byte order by its
// own writer (which knows the family's own types).
inline std::vector<Entry> TavexonEntries(ExifDocument* document, uint32_t table) {
  std::vector<Entry> entries;
  MakerNoteContext* context = ExifMakerNoteContext(document);
  IfdTable* tags = context ? context->Table(table) : nullptr;
  for (const TagEntry& tag : tags ? tags->tags : TagList{}) {
    Entry entry{tag.tag, tag.type, tag.count, std::vector<uint8_t>(tag.ValueSize() + 8)};
    ExifWriteValue(context, entry.bytes.data(), tag.type, tag.count, tag.Data());
    entry.bytes.resize(uint64_t(context->typeSize(tag.type)) * tag.count);
    entries.push_back(entry);
  }
  return entries;
}

// A document of a file, parsed and inspected as the views do (handlers installed, the error
// stack left empty); empty when the file has no Exif.
inline ExifDocumentPtr ReadDocument(const std::filesystem::path& file, uint32_t* status = nullptr) {
  MakerNoteInstall();
  ErrorClear();
  ExifDocumentPtr document;
  const uint32_t flags = ExifCheckFile(file.string(), document);
  if (status) *status = flags;
  ErrorClear();
  return document;
}

// The note's place and bytes in a file, and the move tag 59933 records (0: none).
struct NoteBytes {
  uint32_t place = 0;
  std::vector<uint8_t> bytes;
  int32_t schema = 0;
};
inline NoteBytes ReadNote(const std::filesystem::path& file) {
  NoteBytes note;
  ExifDocumentPtr document = ReadDocument(file);
  const TagEntry* entry = document ? ExifFindTag(document.get(), IfdExif, TagMakerNote) : nullptr;
  if (entry) note = {entry->sourceWord, {entry->Data(), entry->Data() + entry->ValueSize()}, 0};
  const TagEntry* schema = document ? ExifFindTag(document.get(), IfdExif, TagOffsetSchema) : nullptr;
  if (schema) note.schema = schema->S32(0);
  return note;
}

}  // namespace makerlisting
