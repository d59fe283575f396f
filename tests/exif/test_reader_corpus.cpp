// The reader over real files: every corpus file agrees with an independent reader (exiv2) on
// the five standard IFDs, and every hostile file ends in a described status.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "frame/error_stack.h"
#include "tests/support/peers.h"
#include "tests/support/test_support.h"

namespace fs = std::filesystem;
using testsupport::FilesUnder;
using testsupport::HaveProgram;
using testsupport::RunCommand;
using testsupport::SharedSub;
using testsupport::ShellQuote;

namespace {

// exiv2's group names for the five tables.
const std::map<std::string, uint32_t> kGroups = {
    {"Image", IfdPrimary}, {"Thumbnail", IfdThumbnail}, {"Photo", IfdExif}, {"Iop", IfdInterop}, {"GPSInfo", IfdGps},
};

// exiv2's type names, by type number.
const char* TypeWord(uint16_t type) {
  static const char* const kWords[] = {"?", "Byte", "Ascii", "Short", "Long", "Rational", "SByte", "Undefined",
                                       "SShort", "SLong", "SRational"};
  return type < std::size(kWords) ? kWords[type] : "?";
}

std::string Trim(std::string s) {
  while (!s.empty() && (s.back() == ' ' || s.back() == '\n' || s.back() == '\r')) s.pop_back();
  return s;
}

// One tag as both readers print it: "kind tag type count value". exiv2 prints the decoded
// UserComment, not its bytes: only its type and count compare.
std::string TavexonRow(uint32_t kind, const TagEntry& e) {
  std::ostringstream v;
  const uint32_t size = ExifTypeSize(e.type);
  const uint32_t n = size ? std::min(e.count, e.ValueSize() / size) : 0;
  for (uint32_t i = 0; i < n; ++i) {
    if (i) v << ' ';
    switch (e.type) {
      case TypeAscii: break;
      case TypeByte: case TypeUndefined: v << unsigned(e.Data()[i]); break;
      case TypeSignedByte: v << int(int8_t(e.Data()[i])); break;
      case TypeShort: v << e.U16(i); break;
      case TypeSShort: v << e.S16(i); break;
      case TypeLong: v << e.U32(i); break;
      case TypeSLong: v << e.S32(i); break;
      case TypeRational: v << e.U32(2 * i) << '/' << e.U32(2 * i + 1); break;
      case TypeSRational: v << e.S32(2 * i) << '/' << e.S32(2 * i + 1); break;
    }
  }
  std::string value = v.str();
  if (e.type == TypeAscii) value = std::string(reinterpret_cast<const char*>(e.Data()), strnlen(reinterpret_cast<const char*>(e.Data()), e.ValueSize()));
  if (kind == IfdExif && e.tag == 37510) value.clear();
  std::ostringstream row;
  row << kind << ' ' << e.tag << ' ' << TypeWord(e.type) << ' ' << e.count << ' ' << Trim(value);
  return row.str();
}

std::multiset<std::string> TavexonRows(ExifDocument* document) {
  std::multiset<std::string> rows;
  for (uint32_t kind = IfdPrimary; kind <= IfdGps; ++kind)
    for (const TagEntry& e : ExifIfdTable(document, kind)->tags) rows.insert(TavexonRow(kind, e));
  return rows;
}

std::multiset<std::string> Exiv2RowSet(const fs::path& file) {
  std::multiset<std::string> rows;
  for (const testsupport::Exiv2Row& r : testsupport::Exiv2Rows(file)) {
    auto g = kGroups.find(r.group);
    const bool comment = g != kGroups.end() && g->second == IfdExif && r.tag == 37510;
    if (g != kGroups.end())
      rows.insert(std::to_string(g->second) + ' ' + std::to_string(r.tag) + ' ' + r.type + ' ' + std::to_string(r.count) + ' ' + (comment ? "" : r.value));
  }
  return rows;
}

std::vector<fs::path> CorpusFiles() {
  std::vector<fs::path> files = FilesUnder(SharedSub("corpus/makers"));
  for (const fs::path& f : FilesUnder(SharedSub("corpus/jpeg"))) files.push_back(f);
  return files;
}

// The (kind, tag) pairs ExifTool finds in a file's five IFDs, from its verbose listing, which
// also names tags whose values are empty.
std::set<std::pair<uint32_t, uint32_t>> ExifToolTags(const fs::path& file) {
  static const std::map<std::string, uint32_t> kExifToolGroups = {
      {"IFD0", IfdPrimary}, {"IFD1", IfdThumbnail}, {"ExifIFD", IfdExif}, {"InteropIFD", IfdInterop}, {"GPS", IfdGps}};
  std::set<std::pair<uint32_t, uint32_t>> tags;
  std::istringstream out(RunCommand("exiftool -v2 " + ShellQuote(file.string()) + " 2>/dev/null"));
  std::map<size_t, uint32_t> groupAtDepth;  // pipes before a directory's '+' -> its kind (0: other)
  std::string line;
  while (std::getline(out, line)) {
    const size_t pipes = size_t(std::count(line.begin(), line.end(), '|'));
    const size_t open = line.find("+ [");
    if (open != std::string::npos) {
      const std::string name = line.substr(open + 3, line.find(' ', open + 3) - open - 3);
      auto g = kExifToolGroups.find(name);
      groupAtDepth[pipes] = g == kExifToolGroups.end() ? 0 : g->second;
      continue;
    }
    const size_t tag = line.find("- Tag 0x");
    if (tag == std::string::npos || pipes == 0) continue;
    auto g = groupAtDepth.find(pipes - 1);
    if (g != groupAtDepth.end() && g->second) tags.insert({g->second, std::stoul(line.substr(tag + 6), nullptr, 16)});
  }
  return tags;
}

std::pair<uint32_t, uint32_t> RowKey(const std::string& row) {
  std::istringstream fields(row);
  uint32_t kind = 0, tag = 0;
  fields >> kind >> tag;
  return {kind, tag};
}

}  // namespace

// The two readers must agree on every tag of the five standard IFDs, with three named rules
// where exiv2 reads otherwise by its own design:
// - UserComment: exiv2 prints the decoded comment, not the bytes; only type and count compare.
// - Duplicated tags: Tavexon keeps every entry of a directory, exiv2 keeps at most one.
// - Tags exiv2 leaves out because its tables place them in another IFD (an Exif tag in the
//   0th IFD, say): Tavexon keeps them where the file put them, and ExifTool must list them there.
// Files Tavexon does not read (a first APP1 that is not Exif; a TIFF not named .NEF) are
// checked by status only. On every file the direct read finds the payload the buffered read
// finds: it looks into the first 64 KiB only, and every corpus JPEG has its APP1 there.
TEST(ReaderCorpus, EveryFileAgreesWithExiv2AndBothReadsFindOnePayload) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  const bool peers = HaveProgram("exiv2") && HaveProgram("exiftool");
  std::vector<uint8_t> a(kApp1PayloadMax), b(kApp1PayloadMax);
  int compared = 0;
  for (const fs::path& file : CorpusFiles()) {
    SCOPED_TRACE(file.string());
    uint32_t sizeA = 0, sizeB = 0;
    const int okA = ExifReadApp1(file.string(), a.data(), &sizeA);
    const int okB = ExifReadApp1Direct(file.string(), b.data(), &sizeB);
    EXPECT_EQ(okA, okB);
    EXPECT_TRUE(!okA || !okB || (sizeA == sizeB && std::memcmp(a.data(), b.data(), sizeA) == 0));
    ExifDocumentPtr document;
    const uint32_t status = ExifCheckFile(file.string(), document);
    ErrorClear();
    if (!document) {
      EXPECT_TRUE(status & (StatusNoExif | StatusUnusable)) << status;
      continue;
    }
    if (!peers) continue;
    ++compared;
    const auto ours = TavexonRows(document.get());
    const auto theirs = Exiv2RowSet(file);
    std::map<std::pair<uint32_t, uint32_t>, int> ourCounts;
    std::set<std::pair<uint32_t, uint32_t>> theirKeys;
    for (const std::string& row : ours) ++ourCounts[RowKey(row)];
    for (const std::string& row : theirs) theirKeys.insert(RowKey(row));
    std::vector<std::string> onlyOurs, onlyTheirs;
    std::set_difference(ours.begin(), ours.end(), theirs.begin(), theirs.end(), std::back_inserter(onlyOurs));
    std::set_difference(theirs.begin(), theirs.end(), ours.begin(), ours.end(), std::back_inserter(onlyTheirs));
    std::set<std::pair<uint32_t, uint32_t>> exifTool;
    std::vector<std::string> unexplained;
    for (const std::string& row : onlyOurs) {
      const auto key = RowKey(row);
      if (ourCounts[key] > 1) continue;  // a duplicated tag: exiv2 keeps at most one
      if (!theirKeys.count(key)) {
        if (exifTool.empty()) exifTool = ExifToolTags(file);
        if (exifTool.count(key)) continue;  // exiv2 places this tag elsewhere; ExifTool agrees with us
      }
      unexplained.push_back(row);
    }
    EXPECT_TRUE(unexplained.empty() && onlyTheirs.empty())
        << "only Tavexon: " << ::testing::PrintToString(unexplained)
        << "\nonly exiv2: " << ::testing::PrintToString(onlyTheirs);
  }
  if (!peers) GTEST_SKIP() << "exiv2 or exiftool is not installed: only the two reads were compared";
  EXPECT_GT(compared, 40);
}

TEST(ReaderCorpus, HostileFilesEndInADescribedStatus) {
  TAVEXON_REQUIRE_SHARED("corpus/hostile");
  const std::set<uint32_t> described = {StatusJpeg, StatusJpeg | StatusNoThumbnail, StatusNef, StatusParseFailed,
                                        StatusNoExif, StatusUnusable};
  for (const fs::path& file : FilesUnder(SharedSub("corpus/hostile"))) {
    SCOPED_TRACE(file.string());
    ExifDocumentPtr document;
    const uint32_t status = ExifCheckFile(file.string(), document);
    ErrorClear();
    EXPECT_TRUE(described.count(status & ~uint32_t(StatusMakerNoteFailed))) << status;
    EXPECT_EQ(document != nullptr, !(status & (StatusParseFailed | StatusNoExif | StatusUnusable)));
    // Whatever was read can be walked whole.
    if (document)
      for (uint32_t kind = IfdPrimary; kind <= IfdGps; ++kind) {
        int n = ExifBeginTagWalk(document.get(), kind);
        while (ExifNextTag(document.get())) --n;
        EXPECT_EQ(n, 0);
      }
  }
}
