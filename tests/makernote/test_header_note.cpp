// The Sony, Panasonic, Casio and Pentax notes of the camera corpus, one sweep over the four
// families: every entry as ExifTool lists it, and a rebuild that ExifTool reads as before.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <sstream>

#include "exif/exif_writer.h"
#include "frame/error_stack.h"
#include "makernote/header_note.h"
#include "makernote/makernote_save.h"
#include "tests/makernote/test_nikon_support.h"

using nikontest::OpenDocument;
namespace fs = std::filesystem;

namespace {

struct FamilyFolder {
  const char* folder;
  uint32_t family;
};
constexpr FamilyFolder kFolders[] = {
    {"sony", FamilySony}, {"panasonic", FamilyPanasonic}, {"casio", FamilyCasio}, {"pentax", FamilyPentax}};

// Corpus files whose note no recogniser of the family accepts: they stay one opaque tag.
struct Unread {
  const char* file;
  const char* reason;
};
constexpr Unread kUnread[] = {
    {"digicam_DS_CAMERA_P1000240.JPG", "an \"MKED\" note of another layout, no \"Panasonic\" header"},
    {"exiftool_Casio.jpg", "the older Casio note without the \"QVC\" header"},
    {"exiftool_Casio2.jpg", "its preview lies outside the note's declared bytes (the test file was cut)"},
    {"piexif_L01.jpg", "a big-endian \"QVC\" note under a little-endian Exif; the family follows the Exif"},
    {"mei_Sony_DSC-P12.jpg", "entry 11 has type 1032, which no reader knows"},
    {"exiv2_exiv2-bug884c.jpg", "the header says \"MM\", the directory is little-endian (rewritten by Shotwell)"},
    {"libexif_pentax_makernote_variant_2.jpg", "\"AOC\" without the byte order letters: a Casio-type note"},
};

const char* UnreadReason(const fs::path& file) {
  for (const Unread& row : kUnread)
    if (file.filename() == row.file) return row.reason;
  return nullptr;
}

// One entry of ExifTool's verbose listing of the MakerNotes directory.
struct ListedEntry {
  uint16_t tag = 0;
  uint16_t type = 0;
  uint32_t count = 0;
  std::vector<uint8_t> bytes;  // in file order
};

uint16_t TypeOfFormat(const std::string& format) {
  static const std::map<std::string, uint16_t> kFormats{
      {"int8u", 1},  {"string", 2}, {"int16u", 3},       {"int32u", 4}, {"rational64u", 5}, {"int8s", 6},
      {"undef", 7},  {"int16s", 8}, {"int32s", 9},       {"rational64s", 10}, {"float", 11}, {"double", 12}};
  const auto it = kFormats.find(format);
  return it != kFormats.end() ? it->second : 0;
}

// The entries of the note's main directory in `exiftool -v5` (the -v3 listing without its
// abridgements): the lines one level below "[MakerNotes directory ...]".
std::vector<ListedEntry> ExifToolListing(const fs::path& file) {
  std::istringstream in(testsupport::RunCommand("exiftool -v5 " + testsupport::ShellQuote(file.string()) + " 2>/dev/null"));
  std::vector<ListedEntry> entries;
  std::string line, depth;
  bool dumping = false;
  while (std::getline(in, line)) {
    const size_t directory = line.find("+ [MakerNotes directory");
    if (directory != std::string::npos && depth.empty()) {
      depth = line.substr(0, directory) + "| ";
      continue;
    }
    if (depth.empty() || line.compare(0, depth.size(), depth) != 0) {
      if (!depth.empty() && !entries.empty() && line.find("+ [") != std::string::npos) break;
      continue;
    }
    const std::string rest = line.substr(depth.size());
    unsigned tag = 0, size = 0, count = 0;
    char format[32] = {0};
    if (std::sscanf(rest.c_str(), "    - Tag 0x%x (%u bytes, %31[a-z0-9][%u])", &tag, &size, format, &count) == 4) {
      entries.push_back({uint16_t(tag), TypeOfFormat(format), count, {}});
      dumping = true;
    } else if (dumping && rest.size() > 14 && rest.compare(0, 8, "        ") == 0 && rest[12] == ':') {
      std::istringstream hex(rest.substr(13, 48));
      unsigned byte = 0;
      while (hex >> std::hex >> byte) entries.back().bytes.push_back(uint8_t(byte));
    } else {
      dumping = false;
    }
  }
  return entries;
}

// Our entry's value in the note's byte order, as the file holds it.
std::vector<uint8_t> FileBytes(const TagEntry& entry, uint32_t bigEndian) {
  std::vector<uint8_t> bytes(entry.Data(), entry.Data() + entry.ValueSize());
  uint32_t element = ExifTypeSize(entry.type);
  if (entry.type == TypeRational || entry.type == TypeSRational) element = 4;
  if (bigEndian && element > 1)
    for (size_t at = 0; at + element <= bytes.size(); at += element)
      std::reverse(bytes.begin() + at, bytes.begin() + at + element);
  bytes.resize(uint64_t(ExifTypeSize(entry.type)) * entry.count);
  return bytes;
}

// `exiftool -j -G1 -a -u -n` as a map of "Group:Name" to the value's text; the groups that
// describe the file rather than its Exif are left out.
std::map<std::string, std::string> ExifToolJson(const fs::path& file) {
  std::istringstream in(testsupport::RunCommand("exiftool -j -G1 -a -u -n " + testsupport::ShellQuote(file.string()) +
                                                " 2>/dev/null"));
  std::map<std::string, std::string> tags;
  std::string line;
  while (std::getline(in, line)) {
    const size_t open = line.find('"'), colon = line.find("\": ");
    if (open == std::string::npos || colon == std::string::npos) continue;
    const std::string key = line.substr(open + 1, colon - open - 1);
    if (key.rfind("System:", 0) == 0 || key.rfind("File:", 0) == 0 || key.rfind("ExifTool:", 0) == 0 ||
        key == "SourceFile")
      continue;
    std::string value = line.substr(colon + 3);
    if (!value.empty() && value.back() == ',') value.pop_back();
    tags[key] = value;
  }
  return tags;
}

std::set<std::string> ExifToolWarnings(const fs::path& file) {
  std::istringstream in(testsupport::RunCommand("exiftool -validate -warning -a -s -s -s " +
                                                testsupport::ShellQuote(file.string()) + " 2>/dev/null"));
  std::set<std::string> lines;
  std::string line;
  while (std::getline(in, line))
    if (line.find("Warnings") == std::string::npos) lines.insert(line);
  return lines;
}

struct CorpusNote {
  fs::path file;
  uint32_t family;
};

std::vector<CorpusNote> CorpusNotes() {
  std::vector<CorpusNote> notes;
  for (const FamilyFolder& folder : kFolders)
    for (const fs::path& file : testsupport::FilesUnder(testsupport::SharedSub(std::string("corpus/makers/") + folder.folder)))
      notes.push_back({file, folder.family});
  return notes;
}

}  // namespace

TEST(HeaderNoteCorpus, EveryEntryIsTheOneExifToolLists) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/sony");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool not installed";
  int read = 0;
  for (const CorpusNote& note : CorpusNotes()) {
    SCOPED_TRACE(note.file.filename().string());
    uint32_t status = 0;
    ExifDocumentPtr document = OpenDocument(note.file, &status);
    ASSERT_TRUE(document);
    EXPECT_EQ(status & StatusMakerNoteFailed, 0u);
    if (const char* reason = UnreadReason(note.file)) {
      EXPECT_EQ(ExifMakerNoteContext(document.get()), nullptr) << reason;
      continue;
    }
    ASSERT_EQ(ExifMakerNoteFamily(document.get()), note.family);
    MakerNoteContext* context = ExifMakerNoteContext(document.get());
    // The K10D test file was cut: tag 4 points at a preview behind the note's declared bytes.
    EXPECT_EQ(context->NeedsRebuild(), note.file.filename() == "exiftool_Pentax.jpg" ? 1 : 0);
    const IfdTable* table = context->Table(kMakerNoteMainTable);
    const std::vector<ListedEntry> listed = ExifToolListing(note.file);
    ASSERT_EQ(table->tags.size(), listed.size());
    auto next = table->tags.begin();
    for (size_t i = 0; i < listed.size(); ++i) {
      const TagEntry& ours = *next++;
      EXPECT_EQ(ours.tag, listed[i].tag) << "entry " << i;
      EXPECT_EQ(ours.type, listed[i].type) << "tag " << ours.tag;
      EXPECT_EQ(ours.count, listed[i].count) << "tag " << ours.tag;
      EXPECT_EQ(FileBytes(ours, context->bigEndian), listed[i].bytes) << "tag " << ours.tag;
    }
    ++read;
  }
  EXPECT_EQ(read, 12);
}

// A long Artist and an edit of a note tag, saved under either byte order: ExifTool reads every
// tag as before apart from the two edits and the pointers that move, finds nothing new to warn
// about, and extracts the same preview. A note that follows the Exif's order is not turned: the
// save into the other order is refused and writes nothing.
TEST(HeaderNoteCorpus, RebuiltNoteReadsAsBeforeInExifTool) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/sony");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool not installed";
  testsupport::ScratchDir scratch;
  const std::string artist(300, 'A');
  int saved = 0;
  for (const CorpusNote& note : CorpusNotes()) {
    for (uint32_t order : {0u, 1u}) {
      SCOPED_TRACE(note.file.filename().string() + (order ? " MM" : " II"));
      ExifDocumentPtr document = OpenDocument(note.file);
      ASSERT_TRUE(document);
      MakerNoteContext* context = ExifMakerNoteContext(document.get());
      const bool turned = order != document->bigEndian;
      ASSERT_EQ(ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 315, TypeAscii, uint32_t(artist.size() + 1),
                              artist.c_str()),
                1);
      // The note's edit: its first SHORT of one value that the handler does not keep, plus one.
      uint16_t edited = 0;
      const TagList none;
      for (const TagEntry& entry : context ? context->Table(kMakerNoteMainTable)->tags : none)
        if (entry.type == TypeShort && entry.count == 1 && !edited && ExifMakerNoteEditable(document.get()) &&
            ExifMakerNoteTagEditable(document.get(), kMakerNoteMainTable, entry.tag)) {
          edited = entry.tag;
          const uint16_t value = uint16_t(entry.U16(0) + 1);
          ASSERT_EQ(ExifQueueEdit(document.get(), PendingSet, note.family | kMakerNoteMainTable, entry.tag,
                                  TypeShort, 1, &value),
                    1);
        }
      const fs::path out = scratch / ((order ? "MM_" : "II_") + note.file.filename().string());
      SaveLayout layout;
      layout.bigEndian = order;
      const int result =
          ExifSaveFileWithLayout(note.file.string(), out.string(), document.get(), nullptr, 1, layout);
      ErrorClear();
      if (context != nullptr && turned && note.family != FamilyPentax) {
        EXPECT_EQ(result, SaveFailed);
        EXPECT_FALSE(fs::exists(out));
        continue;
      }
      if (result != SaveWritten) {
        // Only a note carried as bytes under the other byte order may stop the save (message 1).
        EXPECT_TRUE((context == nullptr || !ExifMakerNoteEditable(document.get())) && turned);
        EXPECT_FALSE(fs::exists(out));
        continue;
      }
      ++saved;
      auto before = ExifToolJson(note.file), after = ExifToolJson(out);
      std::string changed;
      int changes = 0;
      for (const auto& [key, value] : before) {
        const std::string name = key.substr(key.find(':') + 1);
        if (name == "Artist" || name == "ThumbnailOffset" || name == "PreviewImageStart") continue;
        const auto it = after.find(key);
        EXPECT_NE(it, after.end()) << key << " lost";
        if (it != after.end() && it->second != value) changes += 1, changed += " " + key;
      }
      EXPECT_LE(changes, edited != 0 ? 1 : 0) << "read differently:" << changed;
      EXPECT_EQ(after.size(), before.size() + (before.count("IFD0:Artist") ? 0 : 1));
      const std::set<std::string> warnedBefore = ExifToolWarnings(note.file);
      for (const std::string& warning : ExifToolWarnings(out))
        EXPECT_TRUE(warnedBefore.count(warning)) << "new warning: " << warning;
      EXPECT_EQ(nikontest::ExifToolPreview(note.file), nikontest::ExifToolPreview(out));
    }
  }
  EXPECT_GE(saved, 20);
}

// A note whose directory runs past its declared bytes is not read; a save keeps its bytes or
// refuses, and never writes it changed.
TEST(HeaderNoteCorpus, OverrunningSonyDirectoryIsCarriedOrRefused) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/sony/exiftool_Sony.jpg");
  testsupport::ScratchDir scratch;
  std::vector<unsigned char> bytes =
      testsupport::ReadBytes(testsupport::SharedSub("corpus/makers/sony/exiftool_Sony.jpg"));
  const std::string header("SONY DSC \0\0\0", 12);
  const auto note = std::search(bytes.begin(), bytes.end(), header.begin(), header.end());
  ASSERT_NE(note, bytes.end());
  note[12] = 0xF0;  // 240 entries in a note of 1,570 bytes
  const fs::path damaged = scratch / "damaged.jpg";
  testsupport::WriteBytes(damaged, bytes);
  ExifDocumentPtr document = OpenDocument(damaged);
  ASSERT_TRUE(document);
  EXPECT_EQ(ExifMakerNoteContext(document.get()), nullptr);
  const TagEntry* tag = ExifFindTag(document.get(), IfdExif, TagMakerNote);
  ASSERT_NE(tag, nullptr);
  const std::vector<uint8_t> kept(tag->Data(), tag->Data() + tag->count);
  const std::string artist(300, 'A');
  ASSERT_EQ(ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 315, TypeAscii, uint32_t(artist.size() + 1),
                          artist.c_str()),
            1);
  const fs::path out = scratch / "saved.jpg";
  if (ExifSaveFile(damaged.string(), out.string(), document.get(), nullptr, 1) == SaveWritten) {
    ExifDocumentPtr reread = OpenDocument(out);
    const TagEntry* again = ExifFindTag(reread.get(), IfdExif, TagMakerNote);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(std::vector<uint8_t>(again->Data(), again->Data() + again->count), kept);
    EXPECT_EQ(again->sourceWord, tag->sourceWord);
  } else {
    EXPECT_FALSE(fs::exists(out));
  }
  ErrorClear();
}
