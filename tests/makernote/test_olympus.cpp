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

// One entry (table, tag, type, count) and its value's bytes in file order as hex; ExifTool's
// readings also say whether the value was listed only in part ("[snip").
using Entry = std::tuple<uint32_t, uint16_t, uint16_t, uint32_t>;
using Value = std::pair<std::string, bool>;

// The entries of the note's directories in `exiftool -v3`, tables numbered by the link that
// leads to them (0 for a directory no link of the six tables leads to).
std::map<Entry, Value> ExifToolEntries(const fs::path& file) {
  static const std::map<std::string, uint16_t> kTypes{
      {"int8u", 1}, {"string", 2}, {"int16u", 3}, {"int32u", 4}, {"rational64u", 5}, {"int8s", 6}, {"undef", 7},
      {"int16s", 8}, {"int32s", 9}, {"rational64s", 10}, {"float", 11}, {"double", 12}, {"ifd", 13}};
  static const std::regex directory(R"(^  ((?:\| )*)\+ \[MakerNotes directory)");
  static const std::regex tag(R"(^  ((?:\| )+)\s*- Tag 0x([0-9a-f]{4}) \(\d+ bytes, (\w+)\[(\d+)\])");
  static const std::regex hex(R"(^  (?:\| )+\s+[0-9a-f]+: ((?:[0-9a-f]{2} )+))");
  static const std::regex snip(R"(^  (?:\| )+\s+\[snip \d+ bytes\])");
  std::istringstream lines(testsupport::RunCommand("exiftool -v3 " + testsupport::ShellQuote(file.string())));
  std::map<Entry, Value> entries;
  std::map<size_t, uint32_t> tables;  // directory depth -> table number
  Entry current;
  Value value;
  bool open = false, started = false;  // an entry is being listed; the note's directories began
  uint16_t lastLink = 0;
  auto flush = [&] {
    if (open && std::get<0>(current) != 0) entries[current] = value;
    open = false, value = {};
  };
  std::smatch m;
  for (std::string line; std::getline(lines, line);) {
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
                      uint32_t(std::stoul(m[4]))};
      lastLink = std::get<0>(current) == 257 ? std::get<1>(current) : 0;
      open = true;
    } else if (open && std::regex_search(line, m, hex)) {
      value.first += m[1].str();
    } else if (open && std::regex_search(line, snip)) {
      value.second = true;
    } else if (started && line.rfind("  | | ", 0) != 0) {
      break;
    }
  }
  flush();
  return entries;
}

// Tavexon's entries of the six tables, their values in the note's own order as hex.
std::map<Entry, std::string> OurEntries(ExifDocument* document) {
  std::map<Entry, std::string> entries;
  MakerNoteContext* note = ExifMakerNoteContext(document);
  for (uint32_t table = 257; table <= 262; ++table) {
    for (const TagEntry& entry : note->Table(table)->tags) {
      std::vector<uint8_t> bytes(entry.ValueSize() + 8);
      ExifWriteValue(note, bytes.data(), entry.type, entry.count, entry.Data());
      std::string text;
      char pair[4];
      for (uint32_t i = 0; i < OlympusTypeSize(entry.type) * entry.count; ++i)
        text += (std::snprintf(pair, sizeof pair, "%02x ", bytes[i]), pair);
      entries[{table, entry.tag, entry.type, entry.count}] = text;
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

// The lines of an ExifTool reading, without the file system's own (name, dates).
std::set<std::string> ExifToolLines(const std::string& options, const fs::path& file) {
  std::istringstream lines(testsupport::RunCommand("exiftool " + options + " " + testsupport::ShellQuote(file.string())));
  std::set<std::string> kept;
  for (std::string line; std::getline(lines, line);)
    if (line.find("System:") == std::string::npos && line.find("SourceFile") == std::string::npos) kept.insert(line);
  return kept;
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
    // mei_Issue_339: its RawDev2 directory (tag 0x2031) is none of the six tables (numbered 0
    // and left out); the note is carried as its bytes for that reason.
    const std::map<Entry, Value> theirs = ExifToolEntries(file);
    const std::map<Entry, std::string> ours = OurEntries(document.get());
    EXPECT_EQ(ours.size(), theirs.size());
    for (const auto& [entry, text] : ours) {
      const auto it = theirs.find(entry);
      ASSERT_NE(it, theirs.end()) << std::get<0>(entry) << " 0x" << std::hex << std::get<1>(entry);
      EXPECT_EQ(it->second.second ? text.substr(0, it->second.first.size()) : text, it->second.first)
          << std::get<0>(entry) << " 0x" << std::hex << std::get<1>(entry);
    }
    EXPECT_GT(theirs.size(), 150u);
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
      ASSERT_EQ(ExifSaveFileWithLayout(file.string(), out.string(), document.get(), nullptr, SaveMode::PendingEdits,
                                       {bigEndian, CommitMode::Classify}),
                SaveWritten);
      // The edits, the byte order, and the places ExifTool shows, which move with the layout
      // (PreviewImageStart is shown from the note's place; its stored value is unchanged). A
      // note written again wants no displacement: OffsetSchema becomes 0.
      auto changed = [&](const std::string& line) {
        for (const char* moved : {"IFD0:Artist\"", "File:ExifByteOrder\"", "IFD1:ThumbnailOffset\"",
                                  "Olympus:PreviewImageStart\"", "ExifIFD:OffsetSchema\"", "Olympus:ExposureMode\""})
          if (line.find(moved) != std::string::npos) return true;
        return false;
      };
      std::set<std::string> before = ExifToolLines("-j -G1 -a -u -n", file), after = ExifToolLines("-j -G1 -a -u -n", out);
      EXPECT_EQ(after.count(edited ? "  \"Olympus:ExposureMode\": 4," : "  \"Olympus:ExposureMode\": 2,"), 1u);
      std::erase_if(before, changed), std::erase_if(after, changed);
      EXPECT_EQ(before, after);
      const std::set<std::string> was = ExifToolLines("-validate -warning -a", file);
      for (const std::string& line : ExifToolLines("-validate -warning -a", out))
        EXPECT_TRUE(line.rfind("Warning", 0) != 0 || was.count(line)) << line;
      ++saved;
    }
  }
  EXPECT_EQ(saved, 4);
}

// The decoded fields of table 258 and 259 and the lens line, on two bodies.
TEST(OlympusCorpus, ValueTexts) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/olympus");
  const char* kPen = "mei_Olympus_PEN_E-P3.jpg";
  const char* kE = "mei_Issue_339.jpg";  // a body with a 14-42mm zoom
  // Tag 0 is the lens line.
  const struct { const char* file; uint32_t table; uint16_t tag; const char* text; } kCases[] = {
      {kPen, 0, 0, "17mm F1.8 "}, {kPen, 257, 521, "OLYMPUS DIGITAL CAMERA         "}, {kPen, 258, 517, "1.8"},
      {kPen, 258, 519, "17mm"}, {kPen, 259, 512, "P(プログラム)"}, {kPen, 259, 514, "ESP"},
      {kPen, 259, 769, "シングルAF"}, {kPen, 259, 1280, "晴天"}, {kPen, 259, 1281, "5300K"},
      {kPen, 259, 1287, "Adobe RGB"}, {kPen, 259, 1312, "NATURAL"}, {kPen, 259, 1536, "単写"},
      {kE, 0, 0, "14-42mm F3.5-5.6 "}, {kE, 258, 518, "5.6"}, {kE, 258, 520, "42mm"}, {kE, 259, 1312, "VIVID"},
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
