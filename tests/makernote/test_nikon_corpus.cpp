// The Nikon notes of the camera corpus: read as ExifTool reads them, rebuilt so that ExifTool and
// Exiv2 read them as before.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

#include "exif/value_format.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"
#include "makernote/makernote_save.h"
#include "tests/makernote/test_nikon_support.h"

using namespace nikontest;
namespace fs = std::filesystem;

namespace {

// Our reading of one entry in ExifTool's -n form: text trimmed of trailing blanks, numbers
// joined by blanks.
std::string PlainValue(const TagEntry& entry) {
  std::ostringstream out;
  switch (entry.type) {
    case TypeUndefined:
      // ExifTool shows nothing for zero bytes (the D90's ISO of tag 2).
      if (std::all_of(entry.Data(), entry.Data() + entry.count, [](uint8_t b) { return b == 0; })) return "";
      // A version of four bytes reads as its characters, or as digits where the camera stored numbers.
      for (uint32_t i = 0; i < entry.count; ++i) {
        const uint8_t byte = entry.Data()[i];
        out << (byte >= 0x20 && byte < 0x7F ? std::string(1, char(byte)) : std::to_string(byte));
      }
      return out.str();
    case TypeAscii: {
      std::string text(reinterpret_cast<const char*>(entry.Data()));
      while (!text.empty() && text.back() == ' ') text.pop_back();
      return text;
    }
    case TypeByte:
      for (uint32_t i = 0; i < entry.count; ++i) out << (i ? " " : "") << int(entry.Data()[i]);
      return out.str();
    case TypeShort:
      for (uint32_t i = 0; i < entry.count; ++i) out << (i ? " " : "") << entry.U16(i);
      return out.str();
    case TypeRational:
      for (uint32_t i = 0; i < entry.count; ++i)
        out << (i ? " " : "") << (entry.U32(2 * i + 1) ? double(entry.U32(2 * i)) / entry.U32(2 * i + 1) : 0.0);
      return out.str();
    default:
      return "?";
  }
}

// Compares two readings number by number where both are numbers.
bool SameReading(const std::string& ours, const std::string& theirs) {
  std::istringstream a(ours), b(theirs);
  std::string x, y;
  while (true) {
    const bool moreA = bool(a >> x), moreB = bool(b >> y);
    if (moreA != moreB) return false;
    if (!moreA) return true;
    char* endX = nullptr;
    char* endY = nullptr;
    const double dx = std::strtod(x.c_str(), &endX), dy = std::strtod(y.c_str(), &endY);
    if (*endX == 0 && *endY == 0) {
      if (std::fabs(dx - dy) > 1e-6 * std::max(1.0, std::fabs(dy))) return false;
    } else if (x != y) {
      return false;
    }
  }
}

// Tags of table 257 compared with ExifTool, by ExifTool's name.
struct NamedTag {
  uint16_t tag;
  const char* exifToolName;
};
constexpr NamedTag kCompared[] = {
    {1, "MakerNoteVersion"}, {2, "ISO"},        {4, "Quality"},    {5, "WhiteBalance"}, {7, "FocusMode"},
    {8, "FlashSetting"},     {9, "FlashType"},  {19, "ISOSetting"}, {131, "LensType"}, {132, "Lens"},
    {135, "FlashMode"},
};

}  // namespace

TEST(NikonCorpus, EveryNoteParsesAndAgreesWithExifToolWithItsPreview) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/nikon");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool not installed";
  int nikonNotes = 0, previews = 0;
  for (const fs::path& file : NikonFiles()) {
    SCOPED_TRACE(file.filename().string());
    uint32_t status = 0;
    ExifDocumentPtr document = OpenDocument(file, &status);
    ASSERT_TRUE(document) << "status " << status;
    EXPECT_EQ(status & StatusMakerNoteFailed, 0u);
    NikonContext* nikon = Nikon(document.get());
    if (file.filename().string().find("coolscan") != std::string::npos) {
      // A scanner note without the "Nikon" header is no Nikon note for Tavexon: it stays bytes.
      EXPECT_EQ(nikon, nullptr);
      continue;
    }
    ASSERT_NE(nikon, nullptr);
    ++nikonNotes;
    EXPECT_EQ(ExifMakerNoteEditable(document.get()), 1);
    // Two notes reach past their count: an empty scanner directory's link (P6000), and a preview
    // that Capture NX left behind the note (D70s). Both must be rebuilt to be saved.
    const std::string name = file.filename().string();
    const bool reachesPast = name == "exifpy_DSCN0010.jpg" || name == "mei_Issue_247-1.nef";
    EXPECT_EQ(ExifMakerNoteContext(document.get())->NeedsRebuild(), reachesPast ? 1 : 0);
    const auto theirs = testsupport::ExifToolNames(file, "-H -Nikon:all");
    for (const NamedTag& named : kCompared) {
      const TagEntry* entry = ExifFindTag(document.get(), kNikonMainKind, named.tag);
      char key[64];
      std::snprintf(key, sizeof key, "0x%04x %s", named.tag, named.exifToolName);
      const auto it = theirs.find(key);
      const std::string theirValue = it != theirs.end() ? it->second : "";
      // ExifTool leaves out some empty values (the D90's ISO of zero bytes).
      EXPECT_EQ(entry != nullptr, it != theirs.end() || (entry && PlainValue(*entry).empty())) << key;
      if (!entry) continue;
      EXPECT_TRUE(SameReading(PlainValue(*entry), theirValue))
          << key << ": ours '" << PlainValue(*entry) << "' ExifTool '" << theirValue << "'";
    }
    // The held preview is the one ExifTool extracts.
    const uint8_t* bytes = nullptr;
    uint32_t size = 0;
    if (ExifMakerNotePreview(document.get(), &bytes, &size)) {
      ++previews;
      EXPECT_EQ(testsupport::ExifToolBinary(file, "PreviewImage"),
                std::string(reinterpret_cast<const char*>(bytes), size));
    }
  }
  EXPECT_EQ(nikonNotes, 8);
  // The D70 and its NEF hold a dummy text where the preview should stand: no JPEG, no preview.
  EXPECT_EQ(previews, 4);
}

// The NEF of the corpus had its image data stripped, and its note's preview replaced by a text:
// the preview is dropped in silence and its tags stay. Given a JPEG there again, the preview is
// what the note holds.
TEST(NikonCorpus, NefPreviewIsReadThroughTheNote) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/nikon/exiftool_Nikon.nef");
  const fs::path file = testsupport::SharedSub("corpus/makers/nikon/exiftool_Nikon.nef");
  uint32_t status = 0;
  ExifDocumentPtr stripped = OpenDocument(file, &status);
  ASSERT_TRUE(stripped);
  EXPECT_EQ(status, uint32_t(StatusNef));
  EXPECT_EQ(ExifMakerNotePreview(stripped.get(), nullptr, nullptr), 0);
  const TagEntry* start = ExifFindTag(stripped.get(), kNikonThumbnailKind, NikonTagPreviewOffset);
  const TagEntry* length = ExifFindTag(stripped.get(), kNikonThumbnailKind, NikonTagPreviewLength);
  ASSERT_NE(start, nullptr);
  ASSERT_NE(length, nullptr);
  EXPECT_EQ(start->U32(0), 4204u);  // as ExifTool reads it, from the note's TIFF header
  EXPECT_EQ(length->U32(0), 26u);

  const TagEntry* note = ExifFindTag(stripped.get(), IfdExif, TagMakerNote);
  ASSERT_NE(note, nullptr);
  std::vector<unsigned char> bytes = testsupport::ReadBytes(file);
  const size_t previewAt = note->sourceWord + 10 + start->U32(0);
  ASSERT_LE(previewAt + 26, bytes.size());
  std::vector<unsigned char> preview(26, 0x11);
  preview[0] = 0xFF;
  preview[1] = 0xD8;
  preview[24] = 0xFF;
  preview[25] = 0xD9;
  std::copy(preview.begin(), preview.end(), bytes.begin() + previewAt);
  testsupport::ScratchDir scratch;
  testsupport::WriteBytes(scratch / "restored.NEF", bytes);

  ExifDocumentPtr restored = OpenDocument(scratch / "restored.NEF", &status);
  ASSERT_TRUE(restored);
  EXPECT_EQ(status, uint32_t(StatusNef));
  const uint8_t* held = nullptr;
  uint32_t size = 0;
  ASSERT_EQ(ExifMakerNotePreview(restored.get(), &held, &size), 1);
  ASSERT_EQ(size, 26u);
  EXPECT_TRUE(std::equal(preview.begin(), preview.end(), held));
}

// A note rebuilt through the save path with one edit of its own reads in ExifTool as before,
// apart from the edit and the preview's place. (Rebuilds after an edit outside the note are
// compared with ExifTool and Exiv2 by SavePeers.)
TEST(NikonCorpus, RebuiltNoteReadsAsBeforeWithItsEdit) {
  TAVEXON_REQUIRE_SHARED("corpus/makers/nikon");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool not installed";
  testsupport::ScratchDir scratch;
  int rebuilt = 0;
  for (const fs::path& file : NikonFiles()) {
    SCOPED_TRACE(file.filename().string());
    ExifDocumentPtr document = OpenDocument(file);
    if (!Nikon(document.get()) || ExifSourceKind(document.get()) != 1) continue;  // a NEF is read only
    const fs::path saved = scratch / file.filename().string();
    const char quality[] = "TAVEXON";
    ASSERT_EQ(ExifMakerNoteContext(document.get())->PutTag(NikonMainTable, 4, TypeAscii, sizeof quality, quality), 1);
    ASSERT_EQ(ExifSaveFile(file.string(), saved.string(), document.get(), nullptr, 0), SaveWritten)
        << "error " << ErrorPeek();
    auto before = testsupport::ExifToolNames(file, "-MakerNotes:all");
    auto after = testsupport::ExifToolNames(saved, "-MakerNotes:all");
    EXPECT_EQ(after["Quality"], "TAVEXON");
    for (const char* name : {"Quality", "PreviewImageStart"}) before.erase(name), after.erase(name);
    EXPECT_EQ(before, after);
    EXPECT_EQ(testsupport::ExifToolBinary(file, "PreviewImage"), testsupport::ExifToolBinary(saved, "PreviewImage"));
    ++rebuilt;
  }
  EXPECT_GE(rebuilt, 6);
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
  ExifDocumentPtr document = OpenDocument(damaged);
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
  ExifDocumentPtr document = OpenDocument(damaged, &status);
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
  EXPECT_EQ(ExifSaveFile(damaged.string(), saved.string(), document.get(), nullptr, 0), SaveFailed);
  EXPECT_FALSE(fs::exists(saved));
  // Nor is the Exif around it rewritten: an edit of a plain tag refuses too.
  ErrorClear();
  const char artist[] = "someone whose name is long enough to move the note";
  ASSERT_EQ(ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 315, TypeAscii, sizeof artist, artist), 1);
  EXPECT_EQ(ExifSaveFile(damaged.string(), saved.string(), document.get(), nullptr, 1), SaveFailed);
  EXPECT_EQ(ErrorPop(), uint32_t(ErrMakerNoteParse));
  EXPECT_FALSE(fs::exists(saved));
  // The same when the note is opened by the save itself.
  ExifCloseMakerNote(document.get());
  ErrorClear();
  EXPECT_EQ(ExifSaveFile(damaged.string(), damaged.string(), document.get(), nullptr, 1), SaveFailed);
  EXPECT_EQ(ErrorPeek(), uint32_t(ErrMakerNoteParse));
  EXPECT_EQ(testsupport::ReadBytes(damaged), damagedBytes);
  ErrorClear();
}

// Every file of the corpus, hostile ones included: a Nikon note that opens also builds, and what
// it builds reads again.
TEST(NikonBadInput, EveryCorpusNoteThatOpensRebuilds) {
  TAVEXON_REQUIRE_SHARED("corpus");
  int opened = 0;
  for (const fs::path& file : testsupport::FilesUnder(testsupport::SharedSub("corpus"))) {
    SCOPED_TRACE(file.filename().string());
    ExifDocumentPtr document = OpenDocument(file);
    NikonContext* nikon = Nikon(document.get());
    if (!nikon) continue;
    ++opened;
    uint32_t size = 0;
    ASSERT_EQ(nikon->Build(nullptr, 0, &size), 1);
    std::vector<uint8_t> note(size);
    ASSERT_EQ(nikon->Build(note.data(), size, &size), 1);
    NoteSegment segment = SegmentOf(note, size);
    ContextPtr again(NikonCreate());
    EXPECT_EQ(again->Parse(segment.bytes.data(), uint32_t(segment.bytes.size()), 0, &segment.tag), 1);
    EXPECT_EQ(AsNikon(again)->preview, nikon->preview);
  }
  EXPECT_GE(opened, 8);
  ErrorClear();
}
