// The reader's rules on layouts made to measure: which APP1 counts, the NEF path, the
// thumbnail's cases, the bounds, and the document's tag operations.
#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/jpeg_segments.h"
#include "frame/error_stack.h"
#include "tests/support/test_support.h"
#include "tests/support/tiff_builder.h"

using namespace testsupport;

namespace {

constexpr uint8_t kApp0 = 0xE0, kApp1 = 0xE1;

TiffLayout SimpleLayout(bool bigEndian = false) {
  TiffLayout layout;
  layout.bigEndian = bigEndian;
  layout.primary = {{271, TypeAscii, 6, Text("Nikon")}, {272, TypeAscii, 13, Text("NIKON F6 SCN")}};
  layout.exif = {{33434, TypeRational, 1, U32s(bigEndian, {1, 250})}, {34855, TypeShort, 1, U16s(bigEndian, {400})}};
  return layout;
}

struct ReadResult {
  uint32_t status;
  uint32_t error;
  ExifDocumentPtr document;
};

ReadResult ReadFile(const std::filesystem::path& path) {
  ErrorClear();
  ReadResult r;
  r.status = ExifCheckFile(path.string(), r.document);
  r.error = ErrorPop();
  ErrorClear();
  return r;
}

ReadResult ReadSegment(const std::vector<uint8_t>& payload) {
  ErrorClear();
  ReadResult r;
  r.status = ExifCheckSegment(payload.data(), uint32_t(payload.size()), r.document);
  r.error = ErrorPop();
  ErrorClear();
  return r;
}

}  // namespace

TEST(ReaderJpeg, OnlyTheFirstApp1Counts) {
  ScratchDir dir;
  const auto exif = BuildExifPayload(SimpleLayout());
  const std::vector<uint8_t> xmp = {'h', 't', 't', 'p', ':', '/', '/', 'n', 's', 0};
  WriteBytes(dir / "xmp-first.jpg", BuildJpeg({{kApp1, xmp}, {kApp1, exif}}));
  EXPECT_EQ(ReadFile(dir / "xmp-first.jpg").status, uint32_t(StatusNoExif));

  WriteBytes(dir / "app0-first.jpg", BuildJpeg({{kApp0, {'J', 'F', 'I', 'F', 0}}, {kApp1, exif}}));
  ReadResult r = ReadFile(dir / "app0-first.jpg");
  ASSERT_TRUE(r.document);
  EXPECT_EQ(r.status, uint32_t(StatusJpeg | StatusNoThumbnail));
  EXPECT_STREQ(reinterpret_cast<const char*>(ExifFindTag(r.document.get(), IfdPrimary, 271)->Data()), "Nikon");

  // The scan reaches the image before any APP1: the caller hears "no Exif", not 772.
  WriteBytes(dir / "none.jpg", BuildJpeg({{kApp0, {'J', 'F', 'I', 'F', 0}}}));
  uint32_t size = 0;
  EXPECT_EQ(ExifReadApp1((dir / "none.jpg").string(), nullptr, &size), 0);
  EXPECT_EQ(ErrorPop(), uint32_t(ErrNoExif));
  EXPECT_EQ(ReadFile(dir / "none.jpg").status, uint32_t(StatusNoExif));
}

TEST(ReaderJpeg, BrokenStructuresEndInTheirCodes) {
  ScratchDir dir;
  WriteBytes(dir / "text.jpg", {'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd'});
  EXPECT_EQ(ReadFile(dir / "text.jpg").status, uint32_t(StatusUnusable));
  // A marker without its 0xFF, and a segment whose length runs past the end.
  auto loadError = [](const std::filesystem::path& path) {
    ErrorClear();
    ExifDocumentPtr document;
    EXPECT_EQ(ExifLoadFile(path.string(), document), 0);
    return ErrorPop();
  };
  WriteBytes(dir / "no-ff.jpg", {0xFF, 0xD8, 0x12, 0xE1, 0x00, 0x10});
  EXPECT_EQ(loadError(dir / "no-ff.jpg"), uint32_t(ErrMarkerStructure));
  EXPECT_EQ(ReadFile(dir / "no-ff.jpg").status, uint32_t(StatusUnusable));
  WriteBytes(dir / "short.jpg", {0xFF, 0xD8, 0xFF, 0xE1, 0x40, 0x00, 'E', 'x'});
  EXPECT_EQ(loadError(dir / "short.jpg"), uint32_t(ErrFileIo));
  EXPECT_EQ(ReadFile(dir / "missing.jpg").status, uint32_t(StatusUnusable));
  // The segment walk over bytes: found, cut short, and an APP1 whose length is below 2.
  std::vector<uint8_t> buffer = {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x04, 1, 2, 0xFF, 0xE1, 0, 2};
  auto find = [&](size_t size, JpegSegment* segment) {
    JpegSegments walk(std::span<const uint8_t>(buffer.data(), size));
    EXPECT_EQ(walk.Start(), JpegStep::Segment);
    return JpegSegmentsFind(walk, kJpegApp1, segment);
  };
  JpegSegment segment;
  EXPECT_EQ(find(buffer.size(), &segment), JpegStep::Segment);
  EXPECT_EQ(segment.position, 8u);
  EXPECT_EQ(find(9, &segment), JpegStep::Short);
  buffer.back() = 1;
  EXPECT_EQ(find(buffer.size(), &segment), JpegStep::Broken);
  EXPECT_EQ(segment.code, kJpegApp1);
}

TEST(ReaderNef, ATiffIsReadWholeOnlyUnderANefName) {
  ScratchDir dir;
  TiffLayout layout = SimpleLayout(true);
  // A NEF's MakerNote may be larger than a segment: the Exif IFD is not limited there.
  layout.exif.push_back({37500, TypeUndefined, 70000, std::vector<uint8_t>(70000, 0x55)});
  layout.exif.push_back({37386, TypeRational, 1, U32s(true, {350, 10})});
  layout.exif.push_back({37381, TypeSRational, 1, U32s(true, {uint32_t(-2), 3})});
  layout.exif.push_back({40000, TypeShort, 0, {}});
  layout.primary.push_back({305, TypeAscii, 4, {'a', 'b', 'c', 'd'}});  // no terminator in the file
  const auto tiff = BuildTiff(layout);
  WriteBytes(dir / "scan.tif", tiff);
  WriteBytes(dir / "DSC_0001.nef", tiff);
  const ReadResult tif = ReadFile(dir / "scan.tif");
  EXPECT_EQ(tif.status, uint32_t(StatusUnusable));
  EXPECT_EQ(FileProbe((dir / "scan.tif").string()), uint32_t(FileKindTiff));

  const ReadResult nef = ReadFile(dir / "DSC_0001.nef");
  ASSERT_TRUE(nef.document);
  EXPECT_EQ(nef.status, uint32_t(StatusNef));
  EXPECT_EQ(ExifSourceKind(nef.document.get()), 2);
  EXPECT_EQ(ExifByteOrder(nef.document.get()), 1u);
  // Big-endian values arrive in host order.
  ExifDocument* d = nef.document.get();
  EXPECT_EQ(ExifFindTag(d, IfdExif, 37500)->count, 70000u);
  EXPECT_EQ(ExifFindTag(d, IfdExif, 34855)->U16(), 400);
  EXPECT_EQ(ExifFindTag(d, IfdExif, 33434)->U32(1), 250u);
  EXPECT_EQ(ExifFindTag(d, IfdExif, 37386)->U32(0), 350u);
  EXPECT_EQ(ExifFindTag(d, IfdExif, 37381)->S32(0), -2);
  EXPECT_EQ(ExifFindTag(d, IfdExif, 40000)->ValueSize(), 0u);
  EXPECT_STREQ(reinterpret_cast<const char*>(ExifFindTag(d, IfdPrimary, 305)->Data()), "abcd");

  // The same size in the 0th IFD is refused.
  layout.primary.push_back({700, TypeByte, 70000, std::vector<uint8_t>(70000, 1)});
  WriteBytes(dir / "DSC_0002.NEF", BuildTiff(layout));
  const ReadResult bad = ReadFile(dir / "DSC_0002.NEF");
  EXPECT_EQ(bad.status, uint32_t(StatusParseFailed));
  EXPECT_EQ(bad.error, uint32_t(ErrIfdPrimary));
  EXPECT_EQ(ErrorPop(), 0u);
}

// Payloads made to measure, read as a segment: {what, payload -> status, error code (kAny: not
// checked), thumbnail bytes}. A segment is not a file: a good read has no bit 1.
TEST(ReaderSegment, LayoutsEndInTheirStatusAndCode) {
  constexpr uint32_t kAny = ~0u;
  auto with = [](const std::function<void(TiffLayout&)>& change) {
    TiffLayout layout = SimpleLayout();
    change(layout);
    return BuildExifPayload(layout);
  };
  auto patched = [](std::initializer_list<std::pair<size_t, uint8_t>> bytes) {
    std::vector<uint8_t> payload = BuildExifPayload(SimpleLayout());
    for (auto [at, value] : bytes) payload[at] = value;
    return payload;
  };
  // Tags 513 and 514: a thumbnail; none; an offset without a length, a failed parse that
  // inspection turns into a good document; a length past the payload.
  auto thumbnail = [](int tags) {
    return [tags](TiffLayout& layout) {
      layout.thumbnailBytes = {0xFF, 0xD8, 0xFF, 0xD9};
      layout.thumbnail = {{259, TypeShort, 1, U16s(false, {6})}};
      if (tags) layout.thumbnailBytes.clear();
      if (tags > 1) layout.thumbnail.push_back({513, TypeLong, 1, U32s(false, {8})});
      if (tags > 2) layout.thumbnail.push_back({514, TypeLong, 1, U32s(false, {60000})});
    };
  };
  // A value whose offset puts its end `past` bytes beyond the TIFF data: six bytes are allowed.
  const uint32_t tiffSize = uint32_t(BuildTiff(SimpleLayout()).size());
  auto past = [tiffSize](uint32_t past) {
    return [=](TiffLayout& layout) { layout.primary.push_back({700, TypeUndefined, 16, {}, true, tiffSize + 12 + past - 16}); };
  };
  const struct {
    const char* what;
    std::vector<uint8_t> payload;
    uint32_t status, error, thumbnailSize;
  } rows[] = {
      {"a thumbnail", with(thumbnail(0)), 0, 0, 4},
      {"no thumbnail", with(thumbnail(1)), StatusNoThumbnail, 0, 0},
      {"an offset without a length", with(thumbnail(2)), StatusNoThumbnail, ErrThumbnail, 0},
      {"a length past the payload", with(thumbnail(3)), StatusNoThumbnail, kAny, 0},
      {"a value ending at the TIFF data", with(past(0)), StatusNoThumbnail, 0, 0},
      {"a value six bytes past", with(past(6)), StatusNoThumbnail, 0, 0},
      {"a value seven bytes past", with(past(7)), StatusParseFailed, ErrIfdPrimary, 0},
      // Huge counts and bad headers are refused before any allocation.
      {"a count of 4 GiB", with([](TiffLayout& l) { l.exif.push_back({700, TypeLong, 0x40000001u, {}, true, 8}); }),
       StatusParseFailed, ErrIfdExif, 0},
      {"type 99", with([](TiffLayout& l) { l.primary.push_back({700, 99, 1, {1, 2, 3, 4}}); }), StatusParseFailed,
       ErrIfdPrimary, 0},
      {"byte order XI", patched({{6, 'X'}}), StatusParseFailed, kAny, 0},
      {"magic 43", patched({{8, 43}}), StatusParseFailed, kAny, 0},
      {"a 0th IFD past the payload", patched({{10, 0xFF}, {11, 0xFF}}), StatusParseFailed, kAny, 0},
      {"JFIF", {'J', 'F', 'I', 'F', 0, 0}, StatusNoExif, kAny, 0},
  };
  for (const auto& row : rows) {
    const ReadResult r = ReadSegment(row.payload);
    EXPECT_EQ(r.status, row.status) << row.what;
    EXPECT_EQ(r.error, row.error == kAny ? r.error : row.error) << row.what;
    ASSERT_EQ(r.document != nullptr, !(row.status & (StatusParseFailed | StatusNoExif))) << row.what;
    EXPECT_EQ(r.document ? ExifThumbnailSize(r.document.get()) : 0u, row.thumbnailSize) << row.what;
  }
}

TEST(DocumentTags, DuplicatesSurviveParsingAndTheFirstIsTheOneEdited) {
  TiffLayout layout = SimpleLayout();
  layout.primary = {{305, TypeAscii, 2, Text("b")}, {271, TypeAscii, 2, Text("x")}, {305, TypeAscii, 2, Text("c")}};
  ReadResult r = ReadSegment(BuildExifPayload(layout));
  ASSERT_TRUE(r.document);
  ExifDocument* d = r.document.get();
  EXPECT_EQ(ExifTagCount(d, IfdPrimary), 4);  // three from the file and the Exif pointer
  EXPECT_STREQ(reinterpret_cast<const char*>(ExifFindTag(d, IfdPrimary, 305)->Data()), "b");
  // A second walk replaces the first.
  ASSERT_EQ(ExifBeginTagWalk(d, IfdPrimary), 4);
  ASSERT_EQ(ExifNextTag(d)->tag, 305);
  ASSERT_EQ(ExifBeginTagWalk(d, IfdExif), 2);
  EXPECT_EQ(ExifNextTag(d)->tag, 33434);
  EXPECT_EQ(ExifNextTag(d)->tag, 34855);
  EXPECT_EQ(ExifNextTag(d), nullptr);

  const char text[] = "new";
  ASSERT_EQ(ExifPutTag(d, IfdPrimary, 305, TypeAscii, 4, text), 1);
  std::vector<std::string> order;
  ExifBeginTagWalk(d, IfdPrimary);
  while (const TagEntry* e = ExifNextTag(d)) order.push_back(std::to_string(e->tag) + reinterpret_cast<const char*>(e->Data()));
  ExifEndTagWalk(d);
  // Sorted at the first edit; the second 305 is left as the file had it.
  ASSERT_EQ(order.size(), 4u);
  EXPECT_EQ(order[0], "271x");
  EXPECT_TRUE((order[1] == "305new" && order[2] == "305c") || (order[1] == "305c" && order[2] == "305new"));
  EXPECT_EQ(ExifIfdTable(d, IfdPrimary)->entryCount, 4);

  EXPECT_EQ(ExifDeleteTag(d, IfdPrimary, 271), 1);
  EXPECT_EQ(ExifDeleteTag(d, IfdPrimary, 271), 0);
  EXPECT_EQ(ExifIfdTable(d, IfdPrimary)->entryCount, 3);
  EXPECT_EQ(TagListAllDistinct(ExifIfdTable(d, IfdPrimary)), 0);
}

// Kinds outside the tables find nothing and take no tag.
TEST(DocumentEdits, QueueingChecksAndThumbnailTags) {
  ExifDocumentPtr d;
  ASSERT_EQ(ExifCreateEmpty(d), 1);
  const uint16_t v = 3;
  EXPECT_EQ(ExifFindTag(d.get(), 6, 271), nullptr);
  EXPECT_EQ(ExifFindTag(d.get(), 300, 1), nullptr);
  EXPECT_EQ(ExifTagCount(d.get(), 6), -1);
  EXPECT_EQ(ExifBeginTagWalk(d.get(), 0), -1);
  EXPECT_EQ(ExifIfdBase(d.get(), 9), -1);
  EXPECT_EQ(ExifSourceKind(nullptr), -1);
  EXPECT_EQ(ExifPutTag(d.get(), 300, 1, TypeShort, 1, &v), 0);
  EXPECT_EQ(ExifPutTag(d.get(), IfdPrimary, 1, 11, 1, &v), 0);
  EXPECT_EQ(ErrorPop(), uint32_t(ErrUnknownType));
  EXPECT_EQ(ExifQueueEdit(d.get(), PendingSet, IfdExif, 34855, TypeShort, 65535, &v), 0);
  EXPECT_EQ(ErrorPop(), uint32_t(ErrInvalidArgument));
  EXPECT_EQ(ExifQueueEdit(d.get(), PendingSet, IfdExif, 34855, 12, 1, &v), 0);
  EXPECT_EQ(ErrorPop(), uint32_t(ErrUnknownType));
  EXPECT_EQ(ExifQueueEdit(d.get(), PendingDelete, IfdExif, 34855, 0, 0, nullptr), 1);
  EXPECT_EQ(d->pending.size(), 1u);
  EXPECT_EQ(ExifTagCount(d.get(), IfdExif), 0);  // the tables are untouched

  const uint8_t jpeg[] = {0xFF, 0xD8, 0xFF, 0xD9};
  ASSERT_EQ(ExifSetThumbnail(d.get(), jpeg, 4, 0), 1);
  EXPECT_EQ(ExifTagCount(d.get(), IfdThumbnail), 6);
  EXPECT_EQ(ExifFindTag(d.get(), IfdThumbnail, 514)->U32(), 4u);
  EXPECT_EQ(ExifFindTag(d.get(), IfdThumbnail, 282)->U32(1), 1u);
  ASSERT_EQ(ExifSetThumbnail(d.get(), jpeg, 4, 1), 1);
  EXPECT_EQ(d->pending.size(), 7u);
  ExifDiscardEdits(d.get());
  EXPECT_TRUE(d->pending.empty());
}

TEST(ErrorStack, CodesBelongToTheThreadThatPushedThem) {
  ErrorClear();
  ErrorPush(771);
  ErrorPush(788);
  uint32_t other = 1;
  std::thread([&] { other = ErrorPop(); }).join();
  EXPECT_EQ(other, 0u);
  EXPECT_EQ(ErrorPeek(), 788u);
  EXPECT_EQ(ErrorPop(), 788u);
  EXPECT_EQ(ErrorPop(), 771u);
  EXPECT_EQ(ErrorPop(), 0u);
}
