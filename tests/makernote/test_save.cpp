// The save path's decisions: a read-only destination, the recorded move of a note carried as
// bytes, a cancelled question, an equal-size patch (a note that fails to parse: NikonBadInput).
#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "exif/exif_reader.h"
#include "exif/jpeg_file.h"
#include "makernote/makernote_recognise.h"
#include "makernote/makernote_extent.h"
#include "makernote/makernote_save.h"
#include "makernote/makernote_verify.h"
#include "tests/makernote/maker_listing.h"
#include "tests/support/prompt_script.h"
#include "tests/support/test_support.h"

namespace {

namespace fs = std::filesystem;

using testsupport::PromptScript;
using makerlisting::ReadNote;

// A copy of a corpus file the test may rewrite.
fs::path CopyOf(const testsupport::ScratchDir& scratch, const std::string& corpusFile, const std::string& name) {
  return testsupport::CopyWritable(testsupport::SharedSub("corpus/makers") / corpusFile, scratch / name);
}

int SaveLongArtist(const fs::path& source, const fs::path& destination, PromptScript* script, int artistLength) {
  ExifDocumentPtr document = makerlisting::ReadDocument(source);
  if (!document) return 99;
  const std::string artist(size_t(artistLength), 'a');
  ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 315, TypeAscii, uint32_t(artist.size() + 1), artist.c_str());
  return ExifSaveFile(source.string(), destination.string(), document.get(), &script->prompt, SaveMode::PendingEdits);
}

// The Sigma note of this file is carried as bytes (no handler reads the family), its pointers
// count from the TIFF header, and it sits close behind the 0th IFD: a longer Artist makes the
// rebuild lay the directories out around it.
constexpr const char* kMovingNote = "other/exiv2_exiv2-sigma-d10.jpg";

}  // namespace

// A save keeps the note where it is; a note moved anyway (the user allowed it) has the move
// recorded, and two moves add up. The safety net reads the moved note through the record.
TEST(SaveFile, TwoMovesAccumulateInOffsetSchema) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  testsupport::ScratchDir scratch;
  fs::path previous = CopyOf(scratch, kMovingNote, "original.jpg");
  const makerlisting::NoteBytes start = ReadNote(previous);
  ASSERT_GT(start.place, 0u);
  PromptScript script;
  ASSERT_EQ(SaveLongArtist(previous, scratch / "kept.jpg", &script, 300), SaveWritten);
  EXPECT_TRUE(script.ids.empty());
  EXPECT_EQ(ReadNote(scratch / "kept.jpg").place, start.place);
  makerlisting::NoteBytes last = start;
  for (int length : {300, 700}) {
    ExifDocumentPtr document = makerlisting::ReadDocument(previous);
    const std::string artist(size_t(length), 'a');
    ASSERT_TRUE(ExifPutTag(document.get(), IfdPrimary, 315, TypeAscii, uint32_t(length + 1), artist.c_str()));
    ASSERT_TRUE(MakerNotePatchOffsetSchema(document.get(), last.place));
    const uint8_t* bytes = nullptr;
    uint32_t size = 0;
    ASSERT_TRUE(ExifBuiltSegment(document.get(), &bytes, &size));
    EXPECT_TRUE(ExifPayloadPreserves(document.get(), bytes, size)) << ExifSaveRefusal();
    const fs::path next = scratch / ("moved" + std::to_string(length) + ".jpg");
    ASSERT_TRUE(JpegReplaceApp1(previous.string(), next.string(), bytes, size));
    const makerlisting::NoteBytes now = ReadNote(next);
    ASSERT_NE(now.place, last.place);
    EXPECT_EQ(now.schema, int32_t(now.place - start.place)) << "a second move adds to the first";
    previous = next;
    last = now;
  }
}

// A read-only destination is refused after message 117 and left alone; a cancelled question
// writes nothing, as does no prompt at all; an equal-size edit patches in place, unasked.
TEST(SaveFile, QuestionsRefusalsAndPatches) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  testsupport::ScratchDir scratch;
  const fs::path source = CopyOf(scratch, kMovingNote, "source.jpg");
  const auto before = testsupport::ReadBytes(source);
  const fs::path readOnly = CopyOf(scratch, "canon/exiftool_Canon1DmkIII.jpg", "readonly.jpg");
  fs::permissions(readOnly, fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
  const auto readOnlyBytes = testsupport::ReadBytes(readOnly);
  PromptScript asked;
  EXPECT_EQ(SaveLongArtist(source, readOnly, &asked, 3), SaveFailed);
  EXPECT_EQ(asked.ids, std::vector<uint32_t>{117});
  EXPECT_EQ(testsupport::ReadBytes(readOnly), readOnlyBytes);
  // Another byte order asks first about the note carried as bytes (message 1).
  for (bool prompted : {true, false}) {
    ExifDocumentPtr document = makerlisting::ReadDocument(source);
    ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 315, TypeAscii, 2, "a");
    PromptScript script;
    script.otherwise = PromptAnswerCancel;
    SaveLayout layout;
    layout.bigEndian = document->bigEndian ^ 1u;
    EXPECT_EQ(ExifSaveFileWithLayout(source.string(), source.string(), document.get(), prompted ? &script.prompt : nullptr,
                                     SaveMode::PendingEdits, layout),
              SaveCancelled);
    EXPECT_EQ(testsupport::ReadBytes(source), before);
  }
  const fs::path patched = scratch / "patched.jpg";
  PromptScript script;
  ExifDocumentPtr document = makerlisting::ReadDocument(source);
  const uint16_t orientation = 3;
  ASSERT_TRUE(ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 274, TypeShort, 1, &orientation));
  ASSERT_EQ(ExifSaveFile(source.string(), patched.string(), document.get(), &script.prompt, SaveMode::PendingEdits),
            SaveWritten);
  EXPECT_TRUE(script.ids.empty());
  EXPECT_EQ(ReadNote(patched).place, ReadNote(source).place);
  EXPECT_EQ(testsupport::ReadBytes(patched).size(), before.size());
}
