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
#include "tests/support/test_support.h"

namespace {

namespace fs = std::filesystem;

// Answers by a script and remembers what was asked.
struct Script {
  PromptAnswer answer = PromptAnswerOk;
  std::vector<uint32_t> asked;
};
PromptAnswer Scripted(void* user, const PromptQuestion& question) {
  Script* script = static_cast<Script*>(user);
  script->asked.push_back(question.messageId);
  return question.buttons == PromptButtonsOk ? PromptAnswerOk : script->answer;
}

// A copy of a corpus file the test may rewrite.
fs::path CopyOf(const testsupport::ScratchDir& scratch, const std::string& corpusFile, const std::string& name) {
  const fs::path copy = scratch / name;
  fs::copy_file(testsupport::SharedSub("corpus/makers") / corpusFile, copy);
  fs::permissions(copy, fs::perms::owner_read | fs::perms::owner_write);
  return copy;
}

int SaveLongArtist(const fs::path& source, const fs::path& destination, Script* script, int artistLength) {
  ExifDocumentPtr document = makerlisting::ReadDocument(source);
  if (!document) return 99;
  const std::string artist(size_t(artistLength), 'a');
  ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 315, TypeAscii, uint32_t(artist.size() + 1), artist.c_str());
  Prompt prompt{Scripted, script};
  return ExifSaveFile(source.string(), destination.string(), document.get(), &prompt, SaveMode::PendingEdits);
}

struct NotePlace {
  uint32_t place = 0;
  int32_t schema = 0;
  bool hasSchema = false;
};
NotePlace ReadPlace(const fs::path& file) {
  NotePlace found;
  ExifDocumentPtr document = makerlisting::ReadDocument(file);
  if (!document) return found;
  if (const TagEntry* note = ExifFindTag(document.get(), IfdExif, TagMakerNote)) found.place = note->sourceWord;
  if (const TagEntry* schema = ExifFindTag(document.get(), IfdExif, TagOffsetSchema)) {
    found.schema = schema->S32(0);
    found.hasSchema = true;
  }
  return found;
}

// The Sigma note of this file is carried as bytes (no handler reads the family), its pointers
// count from the TIFF header, and it sits close behind the 0th IFD: a longer Artist makes the
// rebuild lay the directories out around it.
constexpr const char* kMovingNote = "other/exiv2_exiv2-sigma-d10.jpg";

}  // namespace

TEST(SaveFile, ReadOnlyDestinationIsRefusedAndLeftAlone) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  testsupport::ScratchDir scratch;
  const fs::path source = CopyOf(scratch, kMovingNote, "source.jpg");
  const fs::path destination = CopyOf(scratch, "canon/exiftool_Canon1DmkIII.jpg", "readonly.jpg");
  fs::permissions(destination, fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
  const auto before = testsupport::ReadBytes(destination);
  Script script;
  EXPECT_EQ(SaveLongArtist(source, destination, &script, 3), SaveFailed);
  EXPECT_EQ(script.asked, std::vector<uint32_t>{117});
  EXPECT_EQ(testsupport::ReadBytes(destination), before);
}

// A save keeps the note where it is; a note moved anyway (the user allowed it) has the move
// recorded, and two moves add up. The safety net reads the moved note through the record.
TEST(SaveFile, TwoMovesAccumulateInOffsetSchema) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  testsupport::ScratchDir scratch;
  fs::path previous = CopyOf(scratch, kMovingNote, "original.jpg");
  const NotePlace start = ReadPlace(previous);
  ASSERT_GT(start.place, 0u);
  Script script;
  ASSERT_EQ(SaveLongArtist(previous, scratch / "kept.jpg", &script, 300), SaveWritten);
  EXPECT_TRUE(script.asked.empty());
  EXPECT_EQ(ReadPlace(scratch / "kept.jpg").place, start.place);
  NotePlace last = start;
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
    const NotePlace now = ReadPlace(next);
    ASSERT_NE(now.place, last.place);
    EXPECT_EQ(now.schema, int32_t(now.place - start.place)) << "a second move adds to the first";
    previous = next;
    last = now;
  }
  // The moved note's pointers still say the first place; the recorded bias finds them again.
  auto walk = [](const fs::path& file, int32_t bias) {
    ExifDocumentPtr document = makerlisting::ReadDocument(file);
    const TagEntry* note = ExifFindTag(document.get(), IfdExif, TagMakerNote);
    MakerNoteWalk result;
    MakerNoteWalkPayload(document->raw.data(), document->rawSize, note->sourceWord, note->count, bias, &result);
    return result;
  };
  const MakerNoteWalk first = walk(CopyOf(scratch, kMovingNote, "again.jpg"), 0), moved = walk(previous, last.schema);
  ASSERT_EQ(moved.tables.size(), first.tables.size());
  ASSERT_FALSE(first.tables.empty());
  for (size_t i = 0; i < first.tables[0].entries.size(); ++i)
    EXPECT_EQ(moved.tables[0].entries[i].value, first.tables[0].entries[i].value) << "entry " << i;
}

TEST(SaveFile, CancelledQuestionWritesNothing) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  testsupport::ScratchDir scratch;
  const fs::path source = CopyOf(scratch, kMovingNote, "source.jpg");
  const auto before = testsupport::ReadBytes(source);
  // Another byte order asks first about the note carried as bytes (message 1).
  for (bool prompted : {true, false}) {
    ExifDocumentPtr document = makerlisting::ReadDocument(source);
    ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 315, TypeAscii, 2, "a");
    Script script;
    script.answer = PromptAnswerCancel;
    Prompt prompt{Scripted, &script};
    SaveLayout layout;
    layout.bigEndian = document->bigEndian ^ 1u;
    // With no prompt at all the answer is the one that writes nothing.
    EXPECT_EQ(ExifSaveFileWithLayout(source.string(), source.string(), document.get(), prompted ? &prompt : nullptr,
                                     SaveMode::PendingEdits, layout),
              SaveCancelled);
    EXPECT_EQ(testsupport::ReadBytes(source), before);
  }
}

TEST(SaveFile, EqualSizeEditPatchesWithoutQuestions) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  testsupport::ScratchDir scratch;
  const fs::path source = CopyOf(scratch, kMovingNote, "source.jpg");
  const fs::path destination = scratch / "patched.jpg";
  Script script;
  ExifDocumentPtr document = makerlisting::ReadDocument(source);
  const uint16_t orientation = 3;
  ASSERT_TRUE(ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 274, TypeShort, 1, &orientation));
  Prompt prompt{Scripted, &script};
  ASSERT_EQ(ExifSaveFile(source.string(), destination.string(), document.get(), &prompt, SaveMode::PendingEdits), SaveWritten);
  EXPECT_TRUE(script.asked.empty());
  EXPECT_EQ(ReadPlace(destination).place, ReadPlace(source).place);
  EXPECT_EQ(testsupport::ReadBytes(destination).size(), testsupport::ReadBytes(source).size());
}
