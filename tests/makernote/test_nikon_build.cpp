// Building Nikon notes and reading them back: notes made from nothing, the layout of the three
// tables and the preview, and notes that reach too far, repeat a tag or are hostile.
#include <gtest/gtest.h>

#include <cstring>

#include "exif/exif_writer.h"
#include "frame/error_stack.h"
#include "makernote/makernote_save.h"
#include "tests/makernote/test_nikon_support.h"

using namespace nikontest;
namespace fs = std::filesystem;

namespace {

// A stand-in preview: a start-of-image, some bytes, an end-of-image.
std::vector<uint8_t> SmallJpeg(size_t size) {
  std::vector<uint8_t> bytes(size, 0x5A);
  bytes[0] = 0xFF;
  bytes[1] = 0xD8;
  bytes[size - 2] = 0xFF;
  bytes[size - 1] = 0xD9;
  return bytes;
}

// A note with values in and out of line in all three tables, and a preview.
ContextPtr FullNote(uint32_t bigEndian) {
  ContextPtr context(NikonCreate());
  context->bigEndian = bigEndian;
  const char version[4] = {'0', '2', '1', '0'};
  const uint16_t iso[2] = {0, 400};
  const char quality[] = "FINE   ";
  const uint32_t lens[8] = {24, 1, 85, 1, 28, 10, 40, 10};
  const char film[] = "Color Negative";
  const int32_t gain[2] = {-3, 10};
  EXPECT_EQ(context->PutTag(NikonMainTable, 4, TypeAscii, sizeof quality, quality), 1);
  EXPECT_EQ(context->PutTag(NikonMainTable, 1, TypeUndefined, 4, version), 1);
  EXPECT_EQ(context->PutTag(NikonMainTable, 2, TypeShort, 2, iso), 1);
  EXPECT_EQ(context->PutTag(NikonMainTable, 132, TypeRational, 4, lens), 1);
  EXPECT_EQ(context->PutTag(NikonScannerTable, 2, TypeAscii, sizeof film, film), 1);
  EXPECT_EQ(context->PutTag(NikonScannerTable, 80, TypeSRational, 1, gain), 1);
  const std::vector<uint8_t> preview = SmallJpeg(301);
  EXPECT_EQ(context->SetPreview(preview.data(), 301), 1);
  return context;
}

std::vector<uint8_t> Build(MakerNoteContext* context) {
  uint32_t size = 0;
  EXPECT_EQ(context->Build(nullptr, 0, &size), 1);
  std::vector<uint8_t> bytes(size);
  uint32_t written = 0;
  EXPECT_EQ(context->Build(bytes.data(), size, &written), 1);
  EXPECT_EQ(written, size);
  return bytes;
}

// Parses note bytes as the value of a tag 37500 with the given count.
int Parse(MakerNoteContext* context, const std::vector<uint8_t>& note, uint32_t count) {
  NoteSegment segment = SegmentOf(note, count);
  return context->Parse(segment.bytes.data(), uint32_t(segment.bytes.size()), 0, &segment.tag);
}

void ExpectSameTable(const IfdTable& a, const IfdTable& b) {
  ASSERT_EQ(a.tags.size(), b.tags.size());
  auto x = a.tags.begin();
  for (auto y = b.tags.begin(); y != b.tags.end(); ++x, ++y) {
    EXPECT_EQ(x->tag, y->tag);
    EXPECT_EQ(x->type, y->type);
    EXPECT_EQ(x->count, y->count);
    // The links and the preview's place are the builder's to set; the rest must come back as put.
    if (x->tag == NikonTagThumbnailIfd || x->tag == NikonTagScannerIfd || x->tag == NikonTagPreviewOffset) continue;
    EXPECT_EQ(x->value, y->value) << "tag " << x->tag;
  }
}

uint32_t Measure(const NikonContext* context, const IfdTable& table, uint32_t at) {
  uint32_t used = 0;
  EXPECT_EQ(ExifWriteIfd(context, &table, nullptr, at, 0xFFFF, &used), 1);
  return used;
}

}  // namespace

// A note of one tag is the header and one directory; nothing to build fails; too little room
// fails with 820; the tag count follows edits, and a build adds the links.
TEST(NikonBuild, SizesRoomAndTagCount) {
  ContextPtr one(NikonCreate());
  uint32_t size = 0;
  EXPECT_EQ(one->Build(nullptr, 0, &size), 0);
  EXPECT_NE(ErrorPop(), 0u);
  const char version[4] = {'0', '2', '1', '0'};
  ASSERT_EQ(one->PutTag(NikonMainTable, 1, TypeUndefined, 4, version), 1);
  const std::vector<uint8_t> note = Build(one.get());
  ASSERT_EQ(note.size(), 18u + 2 + 12 + 4);
  const uint8_t header[18] = {'N', 'i', 'k', 'o', 'n', 0, 2, 0, 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0};
  EXPECT_EQ(std::memcmp(note.data(), header, 18), 0);
  EXPECT_EQ(int(one->TagCount()), 1);

  ContextPtr full = FullNote(1);
  // Four tags of 257, three of 258 (the preview's), two of 259; the links are added by a build.
  EXPECT_EQ(int(full->TagCount()), 9);
  ASSERT_EQ(full->Build(nullptr, 0, &size), 1);
  std::vector<uint8_t> bytes(size);
  ErrorClear();
  EXPECT_EQ(full->Build(bytes.data(), size - 1, &size), 0);
  EXPECT_EQ(ErrorPop(), uint32_t(ErrNikonBuild));
  Build(full.get());
  EXPECT_EQ(int(full->TagCount()), 11);
  EXPECT_EQ(full->DeleteTag(NikonMainTable, 2), 1);
  EXPECT_EQ(full->DeleteTag(NikonMainTable, 2), 0);
  EXPECT_EQ(int(full->TagCount()), 10);
  ErrorClear();
}

// Build, parse, build: every table and the preview come back as put, in both byte orders and
// whichever tables a note has; the tables stand in order behind the header, each link (present
// only where its table is) pointing at its table, the preview behind the last of them.
TEST(NikonBuild, BuiltNotesReadBackWithTheirLayout) {
  const char film[] = "Reversal";
  const uint16_t bits = 14;
  const std::vector<uint8_t> small = SmallJpeg(64);
  ContextPtr scannerOnly(NikonCreate()), previewOnly(NikonCreate());
  ASSERT_EQ(scannerOnly->PutTag(NikonScannerTable, 2, TypeAscii, sizeof film, film), 1);
  ASSERT_EQ(scannerOnly->PutTag(NikonScannerTable, 65, TypeShort, 1, &bits), 1);
  ASSERT_EQ(previewOnly->SetPreview(small.data(), 64), 1);
  // A preview set on an empty note makes its thumbnail table.
  EXPECT_EQ(ExifFindInTable(&AsNikon(previewOnly)->thumbnailTable, NikonTagCompression)->U16(0), 6);
  EXPECT_EQ(ExifFindInTable(&AsNikon(previewOnly)->thumbnailTable, NikonTagPreviewLength)->U32(0), 64u);
  std::vector<ContextPtr> notes;
  notes.push_back(FullNote(0));
  notes.push_back(FullNote(1));
  notes.push_back(std::move(scannerOnly));
  notes.push_back(std::move(previewOnly));
  for (size_t n = 0; n < notes.size(); ++n) {
    SCOPED_TRACE(n);
    const NikonContext* a = AsNikon(notes[n]);
    const std::vector<uint8_t> note = Build(notes[n].get());
    EXPECT_EQ(note[7], a->bigEndian ? 16 : 0);
    EXPECT_EQ(note[10], a->bigEndian ? 'M' : 'I');
    ContextPtr read(NikonCreate());
    ASSERT_EQ(Parse(read.get(), note, uint32_t(note.size())), 1);
    const NikonContext* b = AsNikon(read);
    EXPECT_EQ(b->bigEndian, a->bigEndian);
    ExpectSameTable(a->mainTable, b->mainTable);
    ExpectSameTable(a->thumbnailTable, b->thumbnailTable);
    ExpectSameTable(a->scannerTable, b->scannerTable);
    EXPECT_EQ(a->preview, b->preview);
    EXPECT_EQ(b->editable, 1u);
    EXPECT_EQ(b->needsRebuild, 0u);

    const uint32_t thumbnailAt = 8 + Measure(a, a->mainTable, 8);
    const uint32_t scannerAt =
        thumbnailAt + (a->thumbnailTable.tags.empty() ? 0 : Measure(a, a->thumbnailTable, thumbnailAt));
    const uint32_t previewAt = scannerAt + (a->scannerTable.tags.empty() ? 0 : Measure(a, a->scannerTable, scannerAt));
    const TagEntry* thumbnailLink = ExifFindInTable(&b->mainTable, NikonTagThumbnailIfd);
    const TagEntry* scannerLink = ExifFindInTable(&b->mainTable, NikonTagScannerIfd);
    ASSERT_EQ(thumbnailLink != nullptr, !a->thumbnailTable.tags.empty());
    ASSERT_EQ(scannerLink != nullptr, !a->scannerTable.tags.empty());
    if (thumbnailLink) {
      EXPECT_EQ(thumbnailLink->U32(0), thumbnailAt);
    }
    if (scannerLink) {
      EXPECT_EQ(scannerLink->U32(0), scannerAt);
    }
    if (!a->preview.empty()) {
      EXPECT_EQ(ExifFindInTable(&b->thumbnailTable, NikonTagPreviewOffset)->U32(0), previewAt);
      EXPECT_EQ(note.size(), 10 + previewAt + a->preview.size());
      const uint8_t* bytes = nullptr;
      uint32_t size = 0;
      ASSERT_EQ(read->Preview(&bytes, &size), 1);
      EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + size), a->preview);
    }
    // A second build of what was read gives the same bytes, pad bytes apart.
    EXPECT_EQ(Build(read.get()).size(), note.size());
  }
}

TEST(NikonParse, PointersPastTheCountAskForARebuild) {
  ContextPtr made = FullNote(1);
  const std::vector<uint8_t> note = Build(made.get());
  ContextPtr exact(NikonCreate());
  ASSERT_EQ(Parse(exact.get(), note, uint32_t(note.size())), 1);
  EXPECT_EQ(exact->NeedsRebuild(), 0);
  // The count says less than the preview's end: still read whole, but it must be rebuilt.
  ContextPtr shorter(NikonCreate());
  ASSERT_EQ(Parse(shorter.get(), note, uint32_t(note.size()) - 100), 1);
  EXPECT_EQ(shorter->NeedsRebuild(), 1);
  EXPECT_EQ(AsNikon(shorter)->preview, AsNikon(made)->preview);
  EXPECT_EQ(NikonNoteExtent(note.data(), 24, uint32_t(note.size())), note.size());
  EXPECT_EQ(NikonNoteExtent(note.data(), 5000, uint32_t(note.size())), 5000u);
}

TEST(NikonParse, RepeatedTagMakesTheNoteReadOnly) {
  ContextPtr made(NikonCreate());
  const char first[] = "FINE ";
  const char second[] = "BASIC";
  NikonContext* nikon = AsNikon(made);
  ASSERT_EQ(TagListAppend(nikon, &nikon->mainTable.tags, 4, TypeAscii, sizeof first, 0, first), 1);
  ASSERT_EQ(TagListAppend(nikon, &nikon->mainTable.tags, 4, TypeAscii, sizeof second, 0, second), 1);
  const std::vector<uint8_t> note = Build(made.get());
  ContextPtr read(NikonCreate());
  ASSERT_EQ(Parse(read.get(), note, uint32_t(note.size())), 1);
  EXPECT_EQ(AsNikon(read)->mainTable.tags.size(), 2u);
  EXPECT_EQ(int(read->editable), 0);
}

// Truncated, looping and out-of-range notes end in a failed parse or a dropped preview, never in
// a read outside the note (random damage is fuzz_makernote's).
TEST(NikonHostile, EveryTruncationFailsCleanly) {
  ContextPtr made = FullNote(0);
  const std::vector<uint8_t> note = Build(made.get());
  for (size_t length = 0; length < note.size(); ++length) {
    std::vector<uint8_t> cut(note.begin(), note.begin() + length);
    ContextPtr read(NikonCreate());
    ErrorClear();
    if (!Parse(read.get(), cut, uint32_t(length))) {
      EXPECT_EQ(ErrorPop(), uint32_t(ErrNikonParse)) << length;
    }
  }
  ErrorClear();
}

TEST(NikonHostile, LinkBackToTheMainTableEndsAfterOneRead) {
  ContextPtr made = FullNote(0);
  std::vector<uint8_t> note = Build(made.get());
  // Point tag 17 at the main directory itself (offset 8).
  const uint8_t* directory = note.data() + 18;
  const uint16_t entries = ExifReadU16(0, directory);
  for (uint16_t i = 0; i < entries; ++i)
    if (ExifReadU16(0, directory + 2 + 12 * i) == NikonTagThumbnailIfd) ExifWriteU32(0, note.data() + 18 + 2 + 12 * i + 8, 8);
  ContextPtr read(NikonCreate());
  ASSERT_EQ(Parse(read.get(), note, uint32_t(note.size())), 1);
  EXPECT_EQ(AsNikon(read)->thumbnailTable.tags.size(), AsNikon(read)->mainTable.tags.size());
  EXPECT_EQ(read->Preview(nullptr, nullptr), 0);
  uint32_t size = 0;
  EXPECT_EQ(read->Build(nullptr, 0, &size), 1);
}

TEST(NikonHostile, PreviewOutsideTheNoteIsDroppedAndItsTagsStay) {
  for (uint32_t offset : {0xFFFFFFF0u, 0x10000u, 8u}) {
    ContextPtr made = FullNote(1);
    std::vector<uint8_t> note = Build(made.get());
    ContextPtr good(NikonCreate());
    ASSERT_EQ(Parse(good.get(), note, uint32_t(note.size())), 1);
    const uint32_t thumbnailAt = ExifFindInTable(&AsNikon(good)->mainTable, NikonTagThumbnailIfd)->U32(0);
    uint8_t* directory = note.data() + 10 + thumbnailAt;
    ExifPatchValueField(directory, NikonTagPreviewOffset, 1, offset, 1);
    ContextPtr read(NikonCreate());
    ASSERT_EQ(Parse(read.get(), note, uint32_t(note.size())), 1) << offset;
    EXPECT_EQ(read->Preview(nullptr, nullptr), 0) << offset;
    EXPECT_EQ(ExifFindInTable(&AsNikon(read)->thumbnailTable, NikonTagPreviewOffset)->U32(0), offset);
  }
}

// A note made from nothing in a file that had no Exif, as the embedding of film data makes one.
TEST(NikonCreated, NoteFromNothingReadsInExifToolAsNikon) {
  TAVEXON_REQUIRE_SHARED("corpus/jpeg/ljt_testorig.jpg");
  if (!testsupport::HaveProgram("exiftool")) GTEST_SKIP() << "exiftool not installed";
  MakerNoteInstall();
  const fs::path source = testsupport::SharedSub("corpus/jpeg/ljt_testorig.jpg");
  testsupport::ScratchDir scratch;
  const fs::path copy = scratch / "scan.jpg";
  const fs::path saved = scratch / "scan_saved.jpg";
  fs::copy_file(source, copy);
  const std::vector<unsigned char> preview = testsupport::ReadBytes(source);

  ExifDocumentPtr document;
  ASSERT_EQ(ExifCreateEmpty(document), 1);
  const char make[] = "Nikon";
  ASSERT_EQ(ExifPutTag(document.get(), IfdPrimary, 271, TypeAscii, sizeof make, make), 1);
  const char date[] = "2004:05:06 07:08:09";
  ASSERT_EQ(ExifPutTag(document.get(), IfdExif, TagDateTimeOriginal, TypeAscii, sizeof date, date), 1);
  ASSERT_EQ(ExifCreateMakerNote(document.get()), 1);
  ASSERT_EQ(ExifMakerNoteFamily(document.get()), uint32_t(FamilyNikon));
  MakerNoteHandler* handler = document->makerNote.get();
  const char version[4] = {'0', '2', '1', '0'};
  const uint16_t iso[2] = {0, 400};
  const uint32_t lens[8] = {35, 1, 105, 1, 35, 10, 45, 10};
  const char sync[] = "RED-EYE SLOW";
  ASSERT_EQ(handler->context->PutTag(NikonMainTable, 1, TypeUndefined, 4, version), 1);
  ASSERT_EQ(handler->context->PutTag(NikonMainTable, 2, TypeShort, 2, iso), 1);
  ASSERT_EQ(handler->context->PutTag(NikonMainTable, 132, TypeRational, 4, lens), 1);
  ASSERT_EQ(handler->context->PutTag(NikonMainTable, 8, TypeAscii, sizeof sync, sync), 1);
  ASSERT_EQ(ExifMakerNoteContext(document.get())->SetPreview(preview.data(), uint32_t(preview.size())), 1);
  ASSERT_EQ(ExifRebuildMakerNote(document.get()), 1);
  ASSERT_EQ(ExifSaveFile(copy.string(), saved.string(), document.get(), nullptr, SaveMode::Tables), SaveWritten)
      << "error " << ErrorPeek();

  const auto tags = testsupport::ExifToolNames(saved, "-MakerNotes:all");
  EXPECT_EQ(tags.count("MakerNoteVersion") ? tags.at("MakerNoteVersion") : "", "0210");
  EXPECT_EQ(tags.count("ISO") ? tags.at("ISO") : "", "0 400");
  EXPECT_EQ(tags.count("Lens") ? tags.at("Lens") : "", "35 105 3.5 4.5");
  EXPECT_EQ(tags.count("FlashSetting") ? tags.at("FlashSetting") : "", "RED-EYE SLOW");
  EXPECT_EQ(testsupport::ExifToolBinary(saved, "PreviewImage"), std::string(preview.begin(), preview.end()));

  // And Tavexon reads back the tables it wrote.
  ExifDocumentPtr reread = OpenDocument(saved);
  ASSERT_NE(Nikon(reread.get()), nullptr);
  ExpectSameTable(Nikon(document.get())->mainTable, Nikon(reread.get())->mainTable);
}
