// The reader's rules on layouts made to measure: which APP1 counts, the NEF path, the
// thumbnail's cases, the bounds, and the document's tag operations.
#include <gtest/gtest.h>

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
  EXPECT_EQ(ExifFindTag(nef.document.get(), IfdExif, 37500)->count, 70000u);
  EXPECT_EQ(ExifFindTag(nef.document.get(), IfdExif, 34855)->U16(), 400);

  // The same size in the 0th IFD is refused.
  layout.primary.push_back({700, TypeByte, 70000, std::vector<uint8_t>(70000, 1)});
  WriteBytes(dir / "DSC_0002.NEF", BuildTiff(layout));
  const ReadResult bad = ReadFile(dir / "DSC_0002.NEF");
  EXPECT_EQ(bad.status, uint32_t(StatusParseFailed));
  EXPECT_EQ(bad.error, uint32_t(ErrIfdPrimary));
  EXPECT_EQ(ErrorPop(), 0u);
}

TEST(ReaderThumbnail, TheFourCasesOfTags513And514) {
  TiffLayout layout = SimpleLayout();
  layout.thumbnailBytes = {0xFF, 0xD8, 0xFF, 0xD9};
  layout.thumbnail = {{259, TypeShort, 1, U16s(false, {6})}};
  ReadResult good = ReadSegment(BuildExifPayload(layout));
  ASSERT_TRUE(good.document);
  EXPECT_EQ(good.status, 0u);  // a segment is not a file: no bit 1
  ASSERT_EQ(ExifThumbnailSize(good.document.get()), 4u);
  EXPECT_EQ(ExifThumbnail(good.document.get())[1], 0xD8);

  layout.thumbnailBytes.clear();
  ReadResult none = ReadSegment(BuildExifPayload(layout));
  ASSERT_TRUE(none.document);
  EXPECT_EQ(none.status, uint32_t(StatusNoThumbnail));

  // An offset without a length: a failed parse that inspection turns into a good document.
  layout.thumbnail.push_back({513, TypeLong, 1, U32s(false, {8})});
  ReadResult half = ReadSegment(BuildExifPayload(layout));
  ASSERT_TRUE(half.document);
  EXPECT_EQ(half.status, uint32_t(StatusNoThumbnail));
  EXPECT_EQ(half.error, uint32_t(ErrThumbnail));

  // A length past the payload.
  layout.thumbnail.push_back({514, TypeLong, 1, U32s(false, {60000})});
  ReadResult past = ReadSegment(BuildExifPayload(layout));
  ASSERT_TRUE(past.document);
  EXPECT_EQ(past.status, uint32_t(StatusNoThumbnail));
}

TEST(ReaderBounds, ValuesMayReachSixBytesPastTheTiffDataAndNoFurther) {
  for (uint32_t past : {0u, 6u, 7u}) {
    SCOPED_TRACE(past);
    TiffLayout layout = SimpleLayout();
    std::vector<uint8_t> probe = BuildTiff(layout);
    // A value whose offset puts its end `past` bytes beyond the TIFF data.
    TiffEntry entry{700, TypeUndefined, 16, {}, true, uint32_t(probe.size() + 12 + past - 16)};
    layout.primary.push_back(entry);
    const ReadResult r = ReadSegment(BuildExifPayload(layout));
    if (past <= 6) {
      ASSERT_TRUE(r.document);
      EXPECT_EQ(ExifFindTag(r.document.get(), IfdPrimary, 700)->count, 16u);
    } else {
      EXPECT_EQ(r.status, uint32_t(StatusParseFailed));
      EXPECT_EQ(r.error, uint32_t(ErrIfdPrimary));
    }
  }
}

TEST(ReaderBounds, HugeCountsAndBadHeadersAreRefusedBeforeAnyAllocation) {
  TiffLayout layout = SimpleLayout();
  layout.exif.push_back({700, TypeLong, 0x40000001u, {}, true, 8});  // 4 GiB and a few bytes
  ReadResult r = ReadSegment(BuildExifPayload(layout));
  EXPECT_EQ(r.status, uint32_t(StatusParseFailed));
  EXPECT_EQ(r.error, uint32_t(ErrIfdExif));

  layout = SimpleLayout();
  layout.primary.push_back({700, 99, 1, {1, 2, 3, 4}});
  r = ReadSegment(BuildExifPayload(layout));
  EXPECT_EQ(r.error, uint32_t(ErrIfdPrimary));

  std::vector<uint8_t> payload = BuildExifPayload(SimpleLayout());
  payload[6] = 'X';
  EXPECT_EQ(ReadSegment(payload).status, uint32_t(StatusParseFailed));
  payload[6] = 'I';
  payload[8] = 43;
  EXPECT_EQ(ReadSegment(payload).status, uint32_t(StatusParseFailed));
  EXPECT_EQ(ReadSegment({'J', 'F', 'I', 'F', 0, 0}).status, uint32_t(StatusNoExif));
  // A 0th IFD pointing past the payload.
  payload = BuildExifPayload(SimpleLayout());
  payload[10] = 0xFF;
  payload[11] = 0xFF;
  EXPECT_EQ(ReadSegment(payload).status, uint32_t(StatusParseFailed));
}

TEST(ReaderValues, BigEndianValuesArriveInHostOrder) {
  TiffLayout layout = SimpleLayout(true);
  layout.exif.push_back({37386, TypeRational, 1, U32s(true, {350, 10})});
  layout.exif.push_back({37381, TypeSRational, 1, U32s(true, {uint32_t(-2), 3})});
  layout.exif.push_back({40000, TypeShort, 0, {}});
  layout.primary.push_back({305, TypeAscii, 4, {'a', 'b', 'c', 'd'}});  // no terminator in the file
  ReadResult r = ReadSegment(BuildExifPayload(layout));
  ASSERT_TRUE(r.document);
  ExifDocument* d = r.document.get();
  EXPECT_EQ(ExifFindTag(d, IfdExif, 33434)->U32(1), 250u);
  EXPECT_EQ(ExifFindTag(d, IfdExif, 37386)->U32(0), 350u);
  EXPECT_EQ(ExifFindTag(d, IfdExif, 37381)->S32(0), -2);
  EXPECT_EQ(ExifFindTag(d, IfdExif, 40000)->ValueSize(), 0u);
  EXPECT_STREQ(reinterpret_cast<const char*>(ExifFindTag(d, IfdPrimary, 305)->Data()), "abcd");
}

TEST(DocumentTags, DuplicatesSurviveParsingAndTheFirstIsTheOneEdited) {
  TiffLayout layout = SimpleLayout();
  layout.primary = {{305, TypeAscii, 2, Text("b")}, {271, TypeAscii, 2, Text("x")}, {305, TypeAscii, 2, Text("c")}};
  ReadResult r = ReadSegment(BuildExifPayload(layout));
  ASSERT_TRUE(r.document);
  ExifDocument* d = r.document.get();
  EXPECT_EQ(ExifTagCount(d, IfdPrimary), 4);  // three from the file and the Exif pointer
  EXPECT_STREQ(reinterpret_cast<const char*>(ExifFindTag(d, IfdPrimary, 305)->Data()), "b");

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

TEST(DocumentTags, KindsOutsideTheTablesFindNothing) {
  ExifDocumentPtr d;
  ASSERT_EQ(ExifCreateEmpty(d), 1);
  EXPECT_EQ(ExifFindTag(d.get(), 6, 271), nullptr);
  EXPECT_EQ(ExifFindTag(d.get(), 300, 1), nullptr);
  EXPECT_EQ(ExifTagCount(d.get(), 6), -1);
  EXPECT_EQ(ExifBeginTagWalk(d.get(), 0), -1);
  EXPECT_EQ(ExifIfdBase(d.get(), 9), -1);
  EXPECT_EQ(ExifSourceKind(nullptr), -1);
  const uint16_t v = 1;
  EXPECT_EQ(ExifPutTag(d.get(), 300, 1, TypeShort, 1, &v), 0);
  EXPECT_EQ(ExifPutTag(d.get(), IfdPrimary, 1, 11, 1, &v), 0);
  EXPECT_EQ(ErrorPop(), uint32_t(ErrUnknownType));
}

TEST(DocumentTags, ASecondWalkReplacesTheFirst) {
  ReadResult r = ReadSegment(BuildExifPayload(SimpleLayout()));
  ASSERT_TRUE(r.document);
  ExifDocument* d = r.document.get();
  ASSERT_EQ(ExifBeginTagWalk(d, IfdPrimary), 3);
  ASSERT_EQ(ExifNextTag(d)->tag, 271);
  ASSERT_EQ(ExifBeginTagWalk(d, IfdExif), 2);
  EXPECT_EQ(ExifNextTag(d)->tag, 33434);
  EXPECT_EQ(ExifNextTag(d)->tag, 34855);
  EXPECT_EQ(ExifNextTag(d), nullptr);
}

TEST(DocumentEdits, QueueingChecksAndThumbnailTags) {
  ExifDocumentPtr d;
  ASSERT_EQ(ExifCreateEmpty(d), 1);
  const uint16_t v = 3;
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
