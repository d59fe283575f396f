// Building Nikon notes and reading them back: notes made from nothing, the layout of the three
// tables and the preview, and notes that reach too far, repeat a tag or are hostile.
#include <gtest/gtest.h>

#include <cstring>

#include "exif/exif_writer.h"
#include "frame/error_stack.h"
#include "makernote/makernote_install.h"
#include "makernote/makernote_save.h"
#include "makernote/nikon.h"
#include "tests/support/peers.h"
#include "tests/support/test_support.h"

namespace fs = std::filesystem;

namespace {

using ContextPtr = std::unique_ptr<MakerNoteContext>;
NikonContext* AsNikon(const ContextPtr& context) { return dynamic_cast<NikonContext*>(context.get()); }

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

// Parses note bytes as the value of a tag 37500 with the given count, in a payload "Exif\0\0" + note.
int Parse(MakerNoteContext* context, const std::vector<uint8_t>& note, uint32_t count) {
  std::vector<uint8_t> payload{'E', 'x', 'i', 'f', 0, 0};
  payload.insert(payload.end(), note.begin(), note.end());
  TagEntry tag;
  tag.tag = TagMakerNote, tag.type = TypeUndefined, tag.count = count, tag.sourceWord = 0;
  tag.value.assign(4, 0);
  return context->Parse(payload.data(), uint32_t(payload.size()), 0, &tag);
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
// whichever tables a note has, a link present only where its table is (where each stands is read
// back by ExifTool in the family sweep).
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
    EXPECT_EQ(ExifFindInTable(&b->mainTable, NikonTagThumbnailIfd) != nullptr, !a->thumbnailTable.tags.empty());
    EXPECT_EQ(ExifFindInTable(&b->mainTable, NikonTagScannerIfd) != nullptr, !a->scannerTable.tags.empty());
    if (!a->preview.empty()) {
      const uint8_t* bytes = nullptr;
      uint32_t size = 0;
      ASSERT_EQ(read->Preview(&bytes, &size), 1);
      EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + size), a->preview);
    }
    // A second build of what was read gives the same bytes, pad bytes apart.
    EXPECT_EQ(Build(read.get()).size(), note.size());
  }
}

// Pointers past the count ask for a rebuild; a repeated tag makes the note read-only.
TEST(NikonParse, PointersPastTheCountAndRepeatedTags) {
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

  ContextPtr repeated(NikonCreate());
  NikonContext* nikon = AsNikon(repeated);
  for (const char* quality : {"FINE ", "BASIC"})
    ASSERT_EQ(TagListAppend(nikon, &nikon->mainTable.tags, 4, TypeAscii, 6, 0, quality), 1);
  const std::vector<uint8_t> twice = Build(repeated.get());
  ContextPtr read(NikonCreate());
  ASSERT_EQ(Parse(read.get(), twice, uint32_t(twice.size())), 1);
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

// A link back to the main table ends after one read; a preview outside the note is dropped and
// its tags stay.
TEST(NikonHostile, LinksAndPreviewsOutOfPlace) {
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

  auto tags = testsupport::ExifToolArgs(saved, "-MakerNotes:all");
  for (const auto& [name, text] : {std::pair{"Nikon:MakerNoteVersion", "0210"}, {"Nikon:ISO", "0 400"},
                                   {"Nikon:Lens", "35 105 3.5 4.5"}, {"Nikon:FlashSetting", "RED-EYE SLOW"}})
    EXPECT_EQ(tags[name], text) << name;
  EXPECT_EQ(testsupport::ExifToolBinary(saved, "PreviewImage"), std::string(preview.begin(), preview.end()));
}
