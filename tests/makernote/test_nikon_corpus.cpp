// The Nikon notes of the camera corpus beyond the family sweep (MakerNoteCorpus): the NEF's
// preview and damaged notes.
#include <gtest/gtest.h>

#include <algorithm>

#include "frame/error_stack.h"
#include "makernote/makernote_save.h"
#include "makernote/nikon.h"
#include "tests/makernote/maker_listing.h"

namespace fs = std::filesystem;
using makerlisting::ReadDocument;

// The NEF of the corpus had its image data stripped, and its note's preview replaced by a text:
// the preview is dropped in silence and its tags stay. Given a JPEG there again, the preview is
// what the note holds.
TEST(NikonCorpus, NefPreviewIsReadThroughTheNote) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/nikon/exiftool_Nikon.nef");
  const fs::path file = testsupport::SharedSub("corpus/makers/nikon/exiftool_Nikon.nef");
  uint32_t status = 0;
  ExifDocumentPtr stripped = ReadDocument(file, &status);
  ASSERT_TRUE(stripped);
  EXPECT_EQ(status, uint32_t(StatusNef));
  EXPECT_EQ(ExifMakerNotePreview(stripped.get(), nullptr, nullptr), 0);
  const TagEntry* start = ExifFindTag(stripped.get(), kNikonThumbnailKind, NikonTagPreviewOffset);
  const TagEntry* length = ExifFindTag(stripped.get(), kNikonThumbnailKind, NikonTagPreviewLength);
  const TagEntry* note = ExifFindTag(stripped.get(), IfdExif, TagMakerNote);
  ASSERT_TRUE(start && note && length && length->U32(0) == 26u);  // its place as ExifTool reads it: the sweep
  std::vector<unsigned char> bytes = testsupport::ReadBytes(file);
  const size_t previewAt = note->sourceWord + 10 + start->U32(0);
  ASSERT_LE(previewAt + 26, bytes.size());
  std::vector<unsigned char> preview{0xFF, 0xD8};
  preview.resize(24, 0x11), preview.insert(preview.end(), {0xFF, 0xD9});
  std::copy(preview.begin(), preview.end(), bytes.begin() + previewAt);
  testsupport::ScratchDir scratch;
  testsupport::WriteBytes(scratch / "restored.NEF", bytes);

  ExifDocumentPtr restored = ReadDocument(scratch / "restored.NEF", &status);
  ASSERT_TRUE(restored);
  EXPECT_EQ(status, uint32_t(StatusNef));
  const uint8_t* held = nullptr;
  uint32_t size = 0;
  ASSERT_EQ(ExifMakerNotePreview(restored.get(), &held, &size), 1);
  ASSERT_EQ(size, 26u);
  EXPECT_TRUE(std::equal(preview.begin(), preview.end(), held));
}

namespace {

// The D70's file with some bytes of its note replaced; `at` counts from the note's first byte.
fs::path DamagedD70(const testsupport::ScratchDir& scratch, size_t at, const std::vector<uint8_t>& bytes) {
  const fs::path source = testsupport::SharedSub("corpus/makers/nikon/exiftool_NikonD70.jpg");
  std::vector<unsigned char> file = testsupport::ReadBytes(source);
  const std::string header("Nikon\0\2", 7);
  const auto note = std::search(file.begin(), file.end(), header.begin(), header.end());
  EXPECT_NE(note, file.end());
  std::copy(bytes.begin(), bytes.end(), note + at);
  const fs::path damaged = scratch / ("damaged_" + std::to_string(at) + ".jpg");
  testsupport::WriteBytes(damaged, file);
  return damaged;
}

}  // namespace

// Whatever tag 37500 holds ends in one of the described outcomes (a note carried as bytes saves
// byte for byte: SavePeers), and a save never breaks what could not be read.
TEST(NikonBadInput, UnrecognisedNoteIsCarriedAsBytes) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/nikon/exiftool_NikonD70.jpg");
  testsupport::ScratchDir scratch;
  const fs::path damaged = DamagedD70(scratch, 0, {'N', 'o', 'k', 'o', 'n'});
  ExifDocumentPtr document = ReadDocument(damaged);
  ASSERT_TRUE(document);
  EXPECT_EQ(ExifHasMakerNote(document.get()), 0);
  ErrorClear();
  EXPECT_EQ(ExifOpenMakerNote(document.get()), 0);
  EXPECT_EQ(ErrorPop(), uint32_t(ErrMakerNoteUnknown));
  EXPECT_NE(ExifFindTag(document.get(), IfdExif, TagMakerNote), nullptr);
  ErrorClear();
}

TEST(NikonBadInput, NoteThatFailsToParseStaysOpenAndIsNotRebuilt) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/nikon/exiftool_NikonD70.jpg");
  testsupport::ScratchDir scratch;
  // The D70's note is big-endian; its main directory stands 8 bytes behind the TIFF header.
  const std::vector<unsigned char> original =
      testsupport::ReadBytes(testsupport::SharedSub("corpus/makers/nikon/exiftool_NikonD70.jpg"));
  const std::string header("Nikon\0\2", 7);
  const size_t note = size_t(std::search(original.begin(), original.end(), header.begin(), header.end()) -
                             original.begin());
  const size_t directory = note + 18;
  const uint16_t entries = ExifReadU16(1, original.data() + directory);
  size_t link = 0;
  for (uint16_t i = 0; i < entries; ++i)
    if (ExifReadU16(1, original.data() + directory + 2 + 12 * i) == NikonTagThumbnailIfd) link = 2 + 12 * i + 8 + 18;
  ASSERT_NE(link, 0u);
  // Tag 17 pointing far outside: the main table is read, the thumbnail table is not.
  const fs::path damaged = DamagedD70(scratch, link, {0x00, 0x0F, 0xFF, 0xF0});
  const std::vector<unsigned char> damagedBytes = testsupport::ReadBytes(damaged);
  uint32_t status = 0;
  ExifDocumentPtr document = ReadDocument(damaged, &status);
  ASSERT_TRUE(document);
  EXPECT_NE(status & StatusMakerNoteFailed, 0u);
  EXPECT_EQ(ExifHasMakerNote(document.get()), 1);
  ErrorClear();
  EXPECT_EQ(ExifOpenMakerNote(document.get()), 0);
  EXPECT_EQ(ErrorPop(), uint32_t(ErrMakerNoteParse));
  EXPECT_EQ(ErrorPop(), uint32_t(ErrNikonParse));
  EXPECT_GT(ExifTagCount(document.get(), kNikonMainKind), 10);
  EXPECT_EQ(ExifMakerNoteEditable(document.get()), 0);
  EXPECT_EQ(ExifMakerNoteContext(document.get())->NeedsRebuild(), 1);

  // What was read is shown, but never written back as the whole note.
  const fs::path saved = scratch / "saved.jpg";
  EXPECT_EQ(ExifSaveFile(damaged.string(), saved.string(), document.get(), nullptr, SaveMode::Tables), SaveFailed);
  EXPECT_FALSE(fs::exists(saved));
  // Nor is the Exif around it rewritten: an edit of a plain tag refuses too.
  ErrorClear();
  const char artist[] = "someone whose name is long enough to move the note";
  ASSERT_EQ(ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 315, TypeAscii, sizeof artist, artist), 1);
  EXPECT_EQ(ExifSaveFile(damaged.string(), saved.string(), document.get(), nullptr, SaveMode::PendingEdits), SaveFailed);
  EXPECT_EQ(ErrorPop(), uint32_t(ErrMakerNoteParse));
  EXPECT_FALSE(fs::exists(saved));
  // The same when the note is opened by the save itself.
  ExifCloseMakerNote(document.get());
  ErrorClear();
  EXPECT_EQ(ExifSaveFile(damaged.string(), damaged.string(), document.get(), nullptr, SaveMode::PendingEdits), SaveFailed);
  EXPECT_EQ(ErrorPeek(), uint32_t(ErrMakerNoteParse));
  EXPECT_EQ(testsupport::ReadBytes(damaged), damagedBytes);
  ErrorClear();
}
