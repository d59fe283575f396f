// The Olympus notes of the camera corpus: every entry as ExifTool lists it, rebuilt so that
// ExifTool reads every tag as before, and the value texts of the fields the list window decodes.
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <tuple>

#include "exif/exif_writer.h"
#include "exif/jpeg_file.h"
#include "exif/value_format.h"
#include "frame/cp932.h"
#include "makernote/makernote_save.h"
#include "makernote/olympus.h"
#include "tests/makernote/test_framework_support.h"
#include "tests/support/test_support.h"

namespace fs = std::filesystem;

namespace {

// One entry: table, tag, type, count and the value's bytes in file order.
using Entry = std::tuple<uint32_t, uint16_t, uint16_t, uint32_t, std::string>;

// The entries of the note's directories in `exiftool -v3`, tables numbered by the link that
// leads to them (0 for a directory no link of the six tables leads to). A value listed only in
// part ("[snip") is compared for what is listed.
std::set<Entry> ExifToolEntries(const fs::path& file, std::set<Entry>* partial) {
  static const std::map<std::string, uint16_t> kTypes{
      {"int8u", 1}, {"string", 2}, {"int16u", 3}, {"int32u", 4}, {"rational64u", 5}, {"int8s", 6}, {"undef", 7},
      {"int16s", 8}, {"int32s", 9}, {"rational64s", 10}, {"float", 11}, {"double", 12}, {"ifd", 13}};
  static const std::regex directory(R"(^  ((?:\| )*)\+ \[MakerNotes directory)");
  static const std::regex tag(R"(^  ((?:\| )+)\s*- Tag 0x([0-9a-f]{4}) \(\d+ bytes, (\w+)\[(\d+)\])");
  static const std::regex hex(R"(^  (?:\| )+\s+[0-9a-f]+: ((?:[0-9a-f]{2} )+))");
  static const std::regex snip(R"(^  (?:\| )+\s+\[snip \d+ bytes\])");
  std::istringstream lines(testsupport::RunCommand("exiftool -v3 " + testsupport::ShellQuote(file.string())));
  std::set<Entry> entries;
  std::map<size_t, uint32_t> tables;  // directory depth -> table number
  Entry current;
  bool open = false, snipped = false, started = false;
  uint16_t lastLink = 0;
  auto flush = [&] {
    if (open) (snipped ? partial : &entries)->insert(current);
    open = snipped = false;
  };
  std::string line;
  std::smatch m;
  while (std::getline(lines, line)) {
    if (std::regex_search(line, m, directory)) {
      flush();
      const size_t depth = m[1].length() / 2;
      if (!started) tables.clear();
      const bool link = started && lastLink >= 0x2010 && lastLink <= 0x2050 && lastLink % 16 == 0;
      tables[depth] = !started ? 257 : link ? 258 + (lastLink - 0x2010) / 16 : 0;
      started = true;
    } else if (started && std::regex_search(line, m, tag)) {
      flush();
      const size_t depth = m[1].length() / 2 - 1;
      if (!tables.count(depth)) break;  // past the note
      current = Entry{tables[depth], uint16_t(std::stoul(m[2], nullptr, 16)), kTypes.at(m[3]),
                      uint32_t(std::stoul(m[4])), ""};
      lastLink = std::get<0>(current) == 257 ? std::get<1>(current) : 0;
      open = true;
    } else if (open && std::regex_search(line, m, hex)) {
      std::string bytes = m[1];
      std::get<4>(current) += bytes;
    } else if (open && std::regex_search(line, snip)) {
      snipped = true;
    } else if (started && line.rfind("  | | ", 0) != 0) {
      break;
    }
  }
  flush();
  return entries;
}

// Tavexon's entries of the six tables, their values in the note's own order as hex.
std::set<Entry> OurEntries(ExifDocument* document) {
  std::set<Entry> entries;
  MakerNoteContext* note = ExifMakerNoteContext(document);
  for (uint32_t table = 257; table <= 262; ++table) {
    for (const TagEntry& entry : note->Table(table)->tags) {
      std::vector<uint8_t> bytes(entry.ValueSize() + 8);
      ExifWriteValue(note, bytes.data(), entry.type, entry.count, entry.Data());
      std::string text;
      char pair[4];
      for (uint32_t i = 0; i < OlympusTypeSize(entry.type) * entry.count; ++i)
        text += (std::snprintf(pair, sizeof pair, "%02x ", bytes[i]), pair);
      entries.insert({table, entry.tag, entry.type, entry.count, text});
    }
  }
  return entries;
}

bool IsOlympus(const ExifDocument* document) { return ExifMakerNoteFamily(document) == FamilyOlympus; }

// The file with its note rebuilt in the other byte order (written past the safety net, which
// compares the note's bytes in the order they stand).
fs::path OtherOrder(const fs::path& file, const fs::path& folder) {
  ExifDocumentPtr document = frameworktest::ReadDocument(file);
  MakerNoteContext* note = ExifMakerNoteContext(document.get());
  note->bigEndian ^= 1;
  const uint8_t* bytes = nullptr;
  uint32_t size = 0;
  const fs::path out = folder / ("other_order_" + file.filename().string());
  EXPECT_EQ(ExifRebuildMakerNote(document.get()), 1);
  EXPECT_EQ(ExifBuild(document.get(), &bytes, &size, document->bigEndian, 0), 1);
  EXPECT_EQ(JpegReplaceApp1(file.string(), out.string(), bytes, size), 1);
  return out;
}

std::map<std::string, std::string> ExifToolJson(const fs::path& file) {
  std::istringstream lines(testsupport::RunCommand("exiftool -j -G1 -a -u -n " + testsupport::ShellQuote(file.string())));
  std::map<std::string, std::string> tags;
  std::string line;
  while (std::getline(lines, line))
    if (const size_t colon = line.find("\": "); colon != std::string::npos && line.find("System:") == std::string::npos)
      tags[line.substr(line.find('"'), colon - line.find('"'))] = line.substr(colon + 3);
  return tags;
}

std::set<std::string> Warnings(const fs::path& file) {
  std::istringstream lines(testsupport::RunCommand("exiftool -validate -warning -a " + testsupport::ShellQuote(file.string())));
  std::set<std::string> warnings;
  for (std::string line; std::getline(lines, line);)
    if (line.rfind("Warning", 0) == 0) warnings.insert(line);
  return warnings;
}

}  // namespace

// Notes of the older form ("OLYMP", 0, 1 or "EPSON") count their offsets from the TIFF header
// and are no notes of this handler: they stay one opaque tag, carried as bytes.
TEST(OlympusCorpus, EveryEntryIsTheOneExifToolLists) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/olympus");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool not installed";
  testsupport::ScratchDir scratch;
  std::vector<fs::path> files;
  for (const fs::path& file : testsupport::FilesUnder(testsupport::SharedSub("corpus/makers/olympus"))) {
    ExifDocumentPtr document = frameworktest::ReadDocument(file);
    if (!IsOlympus(document.get())) continue;
    files.push_back(file);
    // Only a note Tavexon would rebuild is built in the other order; the others travel as bytes.
    if (ExifMakerNoteEditable(document.get())) files.push_back(OtherOrder(file, scratch.path()));
  }
  ASSERT_EQ(files.size(), 3u);
  for (const fs::path& file : files) {
    SCOPED_TRACE(file.filename().string());
    ExifDocumentPtr document = frameworktest::ReadDocument(file);
    ASSERT_TRUE(IsOlympus(document.get()));
    std::set<Entry> partial;
    std::set<Entry> theirs = ExifToolEntries(file, &partial);
    // mei_Issue_339: its RawDev2 directory (tag 0x2031) is none of the six tables; the note is
    // carried as its bytes for that reason.
    std::erase_if(theirs, [](const Entry& e) { return std::get<0>(e) == 0; });
    std::erase_if(partial, [](const Entry& e) { return std::get<0>(e) == 0; });
    std::set<Entry> ours = OurEntries(document.get());
    for (const Entry& cut : partial) {
      auto match = std::find_if(ours.begin(), ours.end(), [&](const Entry& e) {
        return std::get<0>(e) == std::get<0>(cut) && std::get<1>(e) == std::get<1>(cut) &&
               std::get<2>(e) == std::get<2>(cut) && std::get<3>(e) == std::get<3>(cut) &&
               std::get<4>(e).rfind(std::get<4>(cut), 0) == 0;
      });
      ASSERT_NE(match, ours.end()) << std::get<0>(cut) << " 0x" << std::hex << std::get<1>(cut) << ": "
                                   << std::get<4>(cut);
      ours.erase(match);
    }
    EXPECT_EQ(ours, theirs);
    EXPECT_GT(theirs.size() + partial.size(), 150u);
  }
}

// A long Artist rebuilds the Exif, another byte order rebuilds it the other way round, and one
// note tag is edited: ExifTool reads every tag as before apart from the edit, and warns of
// nothing new. A note carried as bytes refuses the edit and says why.
TEST(OlympusCorpus, RebuiltNotesReadAsBefore) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/olympus");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool not installed";
  testsupport::ScratchDir scratch;
  const char artist[] = "An artist whose name is long enough to move every value behind it";
  int saved = 0;
  for (const fs::path& file : testsupport::FilesUnder(testsupport::SharedSub("corpus/makers/olympus"))) {
    for (uint32_t bigEndian : {0u, 1u}) {
      ExifDocumentPtr document = frameworktest::ReadDocument(file);
      if (!IsOlympus(document.get())) continue;
      SCOPED_TRACE(file.filename().string() + (bigEndian ? " MM" : " II"));
      MakerNoteContext* note = ExifMakerNoteContext(document.get());
      const uint16_t mode = 4;
      const int edited = note->PutTag(259, 512, TypeShort, 1, &mode);
      EXPECT_EQ(edited, note->editable);
      EXPECT_EQ(note->NotEditableReason() == nullptr, note->editable == 1);
      ASSERT_EQ(ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 315, TypeAscii, sizeof artist, artist), 1);
      const fs::path out = scratch / (std::to_string(bigEndian) + file.filename().string());
      ASSERT_EQ(ExifSaveFileWithLayout(file.string(), out.string(), document.get(), nullptr, 1, {bigEndian, 1}),
                SaveWritten);
      auto before = ExifToolJson(file), after = ExifToolJson(out);
      // The edits, the byte order, and the places ExifTool shows, which move with the layout
      // (PreviewImageStart is shown from the note's place; its stored value is unchanged). A
      // note written again wants no displacement: OffsetSchema becomes 0.
      for (const char* moved : {"\"IFD0:Artist", "\"File:ExifByteOrder", "\"IFD1:ThumbnailOffset",
                                "\"Olympus:PreviewImageStart", "\"SourceFile", "\"ExifIFD:OffsetSchema"})
        before.erase(moved), after.erase(moved);
      if (edited) {
        EXPECT_EQ(after["\"Olympus:ExposureMode"], "4,");
        before.erase("\"Olympus:ExposureMode"), after.erase("\"Olympus:ExposureMode");
      }
      EXPECT_EQ(before, after);
      const std::set<std::string> was = Warnings(file);
      for (const std::string& warning : Warnings(out)) EXPECT_TRUE(was.count(warning)) << warning;
      ++saved;
    }
  }
  EXPECT_EQ(saved, 4);
}

// The decoded fields of table 258 and 259 and the lens line, on two bodies.
TEST(OlympusCorpus, ValueTexts) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/olympus");
  const struct {
    const char* file;
    uint32_t table;
    uint16_t tag;  // 0: the lens line
    const char* text;
  } kCases[] = {
      {"mei_Olympus_PEN_E-P3.jpg", 0, 0, "17mm F1.8 "},
      {"mei_Olympus_PEN_E-P3.jpg", 257, 521, "OLYMPUS DIGITAL CAMERA         "},
      {"mei_Olympus_PEN_E-P3.jpg", 258, 517, "1.8"},
      {"mei_Olympus_PEN_E-P3.jpg", 258, 519, "17mm"},
      {"mei_Olympus_PEN_E-P3.jpg", 259, 512, "P(プログラム)"},
      {"mei_Olympus_PEN_E-P3.jpg", 259, 514, "ESP"},
      {"mei_Olympus_PEN_E-P3.jpg", 259, 769, "シングルAF"},
      {"mei_Olympus_PEN_E-P3.jpg", 259, 1024, "OFF"},
      {"mei_Olympus_PEN_E-P3.jpg", 259, 1280, "晴天"},
      {"mei_Olympus_PEN_E-P3.jpg", 259, 1281, "5300K"},
      {"mei_Olympus_PEN_E-P3.jpg", 259, 1287, "Adobe RGB"},
      {"mei_Olympus_PEN_E-P3.jpg", 259, 1312, "NATURAL"},
      {"mei_Olympus_PEN_E-P3.jpg", 259, 1536, "単写"},
      {"mei_Issue_339.jpg", 0, 0, "14-42mm F3.5-5.6 "},
      {"mei_Issue_339.jpg", 258, 518, "5.6"},
      {"mei_Issue_339.jpg", 258, 520, "42mm"},
      {"mei_Issue_339.jpg", 259, 1287, "sRGB"},
      {"mei_Issue_339.jpg", 259, 1312, "VIVID"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(std::string(c.file) + " " + std::to_string(c.tag));
    ExifDocumentPtr document = frameworktest::ReadDocument(testsupport::SharedSub("corpus/makers/olympus") / c.file);
    ASSERT_TRUE(IsOlympus(document.get()));
    char text[256] = "";
    if (c.tag == 0)
      EXPECT_EQ(OlympusLensText(ExifMakerNoteContext(document.get()), text, sizeof text), 1);
    else
      ExifTagText(document.get(), FamilyOlympus | c.table, c.tag, text, sizeof text);
    EXPECT_STREQ(text, Cp932Text(c.text));
  }
}
