// The writer over real camera files: a set of the file's own value writes it back byte for
// byte, an in-place edit touches only its own bytes, a rebuild keeps the MakerNote's place. A
// rebuild in either byte order, every tag compared with exiftool and exiv2 and the note's bytes
// carried, is SavePeers' (the makernote folder), which goes through this writer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/exif_writer.h"
#include "exif/jpeg_file.h"
#include "frame/error_stack.h"
#include "tests/support/test_support.h"

namespace fs = std::filesystem;
using namespace testsupport;
using Bytes = std::vector<unsigned char>;

namespace {

constexpr uint16_t kArtist = 315;

// Every JPEG of the corpus whose first APP1 is Exif that Tavexon reads.
std::vector<fs::path> ExifJpegs() {
  std::vector<fs::path> files;
  for (const char* sub : {"corpus/makers", "corpus/jpeg"}) {
    for (const fs::path& file : FilesUnder(SharedSub(sub))) {
      if (FileProbe(file.string()) != FileKindJpeg) continue;
      ExifDocumentPtr document;
      if (ExifCheckFile(file.string(), document) & StatusJpeg) files.push_back(file);
    }
  }
  ErrorClear();
  return files;
}

ExifDocumentPtr Load(const fs::path& file) {
  ExifDocumentPtr document;
  ExifCheckFile(file.string(), document);
  return document;
}

// Commits the pending edits and writes the payload into `file` in place.
bool CommitInto(ExifDocument* document, const fs::path& file, uint32_t bigEndian, int keepMakerNotePlace = 0) {
  const uint8_t* bytes = nullptr;
  uint32_t size = 0;
  if (!ExifCommit(document, &bytes, &size, bigEndian, keepMakerNotePlace, CommitMode::Classify)) return false;
  return JpegReplaceApp1(file.string(), file.string(), bytes, size) == 1;
}

std::string Name(const fs::path& file) { return file.parent_path().filename().string() + "/" + file.filename().string(); }

class WriterCorpus : public ::testing::Test {
 protected:
  void SetUp() override {
    TAVEXON_REQUIRE_SHARED("corpus/makers");
    files_ = ExifJpegs();
    ASSERT_GT(files_.size(), 40u);
  }
  fs::path Copy(const fs::path& file) {
    fs::path copy = scratch_ / (std::to_string(copies_++) + "_" + file.filename().string());
    fs::copy_file(file, copy);
    return copy;
  }
  std::vector<fs::path> files_;
  ScratchDir scratch_;
  int copies_ = 0;
};

// One sweep a file, on one copy: the file's own value written back gives the file byte for
// byte; then a shorter text changes only its entry and its old place (zeroed); then a rebuild
// that keeps the MakerNote's place leaves the note's bytes and offset alone.
TEST_F(WriterCorpus, OwnValueShorterTextAndKeptMakerNotePlace) {
  int edited = 0, kept = 0;
  for (const fs::path& file : files_) {
    SCOPED_TRACE(Name(file));
    fs::path copy = Copy(file);
    ExifDocumentPtr document = Load(copy);
    ASSERT_TRUE(document);
    const TagEntry& first = document->tables[SlotPrimary].tags.front();
    ASSERT_EQ(ExifQueueEdit(document.get(), PendingSet, IfdPrimary, first.tag, first.type, first.count, first.Data()), 1);
    EXPECT_EQ(ExifClassifyEdits(document.get()), EditsNone);
    ASSERT_TRUE(CommitInto(document.get(), copy, document->bigEndian));
    ASSERT_TRUE(ReadBytes(copy) == ReadBytes(file));

    // The first text of the 0th IFD held out of line: Artist where there is one.
    document = Load(copy);
    const TagEntry* old = ExifFindTag(document.get(), IfdPrimary, kArtist);
    for (const TagEntry& entry : document->tables[SlotPrimary].tags)
      if ((old == nullptr || old->count <= 4) && entry.type == TypeAscii && entry.count > 4) old = &entry;
    if (old != nullptr && old->count > 4) {
      const uint16_t tag = old->tag;
      const uint32_t oldOffset = old->sourceWord, oldSize = old->count;
      const uint32_t base = document->tables[SlotPrimary].baseOffset;
      ASSERT_EQ(ExifQueueEdit(document.get(), PendingSet, IfdPrimary, tag, TypeAscii, 3, "Tv"), 1);
      EXPECT_EQ(ExifClassifyEdits(document.get()), EditsInPlace);
      ASSERT_TRUE(CommitInto(document.get(), copy, document->bigEndian));
      Bytes before = ReadBytes(file), after = ReadBytes(copy);
      ASSERT_EQ(before.size(), after.size());
      const size_t tiff = FindApp1(before).first + 10;
      const uint32_t entry = RawFindEntry(before.data() + tiff, uint32_t(before.size() - tiff), base, tag,
                                          document->bigEndian);
      ASSERT_NE(entry, 0u);
      for (size_t at = 0; at < before.size(); ++at) {
        if (before[at] == after[at]) continue;
        bool inEntry = at >= tiff + entry + 4 && at < tiff + entry + 12;  // count and value fields
        bool inOldValue = at >= tiff + oldOffset && at < tiff + oldOffset + oldSize;
        EXPECT_TRUE(inEntry || inOldValue) << "byte " << at << " changed";
      }
      const auto oldValue = after.begin() + std::ptrdiff_t(tiff + oldOffset);
      EXPECT_TRUE(std::all_of(oldValue, oldValue + oldSize, [](uint8_t b) { return b == 0; })) << "old value zeroed";
      document = Load(copy);
      ASSERT_TRUE(document);
      EXPECT_STREQ(reinterpret_cast<const char*>(ExifFindTag(document.get(), IfdPrimary, tag)->Data()), "Tv");
      ++edited;
    }

    const TagEntry* note = ExifFindTag(document.get(), IfdExif, TagMakerNote);
    if (note == nullptr || note->count <= 4) continue;
    const uint32_t oldOffset = note->sourceWord;
    Bytes noteBytes(note->Data(), note->Data() + note->ValueSize());
    const std::string artist(30, 'K');
    ASSERT_EQ(ExifQueueEdit(document.get(), PendingSet, IfdPrimary, kArtist, TypeAscii, uint32_t(artist.size() + 1),
                            artist.c_str()), 1);
    if (!CommitInto(document.get(), copy, document->bigEndian, 1)) {
      EXPECT_EQ(ErrorPop(), ErrPayloadTooLarge);
      continue;
    }
    ExifDocumentPtr reread = Load(copy);
    ASSERT_TRUE(reread);
    const TagEntry* newNote = ExifFindTag(reread.get(), IfdExif, TagMakerNote);
    ASSERT_NE(newNote, nullptr);
    EXPECT_TRUE(Bytes(newNote->Data(), newNote->Data() + newNote->ValueSize()) == noteBytes);
    // The place is kept whenever the note stood behind the Exif directory as written anew.
    const IfdTable& exif = reread->tables[SlotExif];
    if (oldOffset >= exif.baseOffset + 6u + 12u * exif.entryCount) {
      EXPECT_EQ(newNote->sourceWord, oldOffset);
      ++kept;
    }
  }
  EXPECT_GT(edited, 30);
  EXPECT_GT(kept, 30);
}

// Documents made in memory: the rebuild's structure, deletions in place, and the pad bytes.
class WriterDocument : public ::testing::Test {
 protected:
  void SetUp() override {
    ErrorClear();
    ASSERT_EQ(ExifCreateEmpty(document_), 1);
    Put(IfdPrimary, 271, "Maker");  // 6 bytes: out of line, odd end
    Put(IfdExif, 36867, "2004:05:06 07:08:09");
    const uint16_t version[2] = {0x0202, 0};
    ASSERT_EQ(ExifPutTag(document_.get(), IfdGps, 0, TypeByte, 4, version), 1);
  }
  void Put(uint32_t kind, uint16_t tag, const std::string& text) {
    ASSERT_EQ(ExifPutTag(document_.get(), kind, tag, TypeAscii, uint32_t(text.size() + 1), text.c_str()), 1);
  }
  ExifDocumentPtr Reread(const uint8_t* bytes, uint32_t size) {
    ExifDocumentPtr reread;
    EXPECT_NE(ExifCheckSegment(bytes, size, reread) & StatusParseFailed, StatusParseFailed);
    return reread;
  }
  ExifDocumentPtr document_;
};

TEST_F(WriterDocument, AnEmptiedGpsIfdIsDroppedWithItsPointer) {
  const uint8_t* bytes;
  uint32_t size;
  ASSERT_EQ(ExifBuild(document_.get(), &bytes, &size, 1, 0), 1);
  ExifDocumentPtr reread = Reread(bytes, size);
  ASSERT_TRUE(reread);
  EXPECT_NE(ExifFindTag(reread.get(), IfdPrimary, TagGpsIfdPointer), nullptr);
  EXPECT_EQ(reread->bigEndian, 1u);
  EXPECT_STREQ(reinterpret_cast<const char*>(ExifFindTag(reread.get(), IfdExif, 36867)->Data()), "2004:05:06 07:08:09");

  ASSERT_EQ(ExifQueueEdit(document_.get(), PendingDelete, IfdGps, 0, 0, 0, nullptr), 1);
  ASSERT_EQ(ExifCommit(document_.get(), &bytes, &size, 1, 0, CommitMode::ForceRebuild), 1);
  reread = Reread(bytes, size);
  ASSERT_TRUE(reread);
  EXPECT_EQ(ExifFindTag(reread.get(), IfdPrimary, TagGpsIfdPointer), nullptr);
  EXPECT_EQ(reread->tables[SlotGps].entryCount, 0);
}

TEST_F(WriterDocument, AnInPlaceDeletionShrinksTheDirectoryAndZeroesTheValue) {
  const uint8_t* bytes;
  uint32_t size;
  ASSERT_EQ(ExifBuild(document_.get(), &bytes, &size, 0, 0), 1);
  ExifDocumentPtr file = Reread(bytes, size);
  ASSERT_TRUE(file);
  const uint32_t valueOffset = ExifFindTag(file.get(), IfdExif, 36867)->sourceWord;
  ASSERT_EQ(ExifQueueEdit(file.get(), PendingDelete, IfdExif, 36867, 0, 0, nullptr), 1);
  EXPECT_EQ(ExifClassifyEdits(file.get()), EditsInPlace);
  ASSERT_EQ(ExifCommit(file.get(), &bytes, &size, 0, 0, CommitMode::Classify), 1);
  EXPECT_EQ(size, file->rawSize);
  const uint8_t* value = bytes + 6 + valueOffset;
  EXPECT_TRUE(std::all_of(value, value + 20, [](uint8_t b) { return b == 0; }));
  ExifDocumentPtr reread = Reread(bytes, size);
  ASSERT_TRUE(reread);
  EXPECT_EQ(ExifFindTag(reread.get(), IfdExif, 36867), nullptr);
  EXPECT_EQ(reread->tables[SlotExif].entryCount, 0);
}

TEST_F(WriterDocument, TwoRebuildsDifferOnlyInThePadBytesAndTooLargeIsRefused) {
  Put(IfdPrimary, 272, "Model1");  // a second odd-length value: a pad byte before the next one
  Put(IfdPrimary, 305, "Tavexon 0.9");
  const uint8_t* bytes;
  uint32_t size;
  ASSERT_EQ(ExifBuild(document_.get(), &bytes, &size, 0, 0), 1);
  Bytes first(bytes, bytes + size);
  ASSERT_EQ(ExifBuild(document_.get(), &bytes, &size, 0, 0), 1);
  Bytes second(bytes, bytes + size);
  ASSERT_EQ(first.size(), second.size());
  EXPECT_NE(first, second);
  for (size_t at = 0; at < first.size(); ++at) {
    if (first[at] == second[at]) continue;
    // A pad byte follows an odd-length value and comes from "Tavexon\0".
    EXPECT_NE(std::memchr("Tavexon", first[at], 8), nullptr) << at;
    EXPECT_EQ(at % 2, 1u) << "pad bytes stand at odd offsets from the TIFF header";
  }
  // A payload beyond the segment is refused.
  Put(IfdPrimary, 270, std::string(65000, 'x'));
  Put(IfdExif, 37510, std::string(1000, 'y'));
  EXPECT_EQ(ExifBuild(document_.get(), &bytes, &size, 0, 0), 0);
  EXPECT_EQ(ErrorPop(), ErrPayloadTooLarge);
}

}  // namespace
