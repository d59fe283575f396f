// The Nikon handler: recognition, reading, rebuilding and the family's facts.
#include "makernote/nikon.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>

#include "exif/exif_reader.h"
#include "exif/exif_writer.h"
#include "exif/tag_catalogue.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"
#include "makernote/makernote_recognise.h"

namespace {

// The two forms of the note's first 10 bytes; the byte that differs says which order the
// writer meant, but on reading the embedded TIFF header decides.
constexpr std::array<uint8_t, 10> kHeaderLittle{'N', 'i', 'k', 'o', 'n', 0, 2, 0, 0, 0};
constexpr std::array<uint8_t, 10> kHeaderBig{'N', 'i', 'k', 'o', 'n', 0, 2, 16, 0, 0};
constexpr uint32_t kHeaderSize = 10;  // bytes before the embedded TIFF header
constexpr uint32_t kTiffHeaderSize = 8;
constexpr uint32_t kShortestNote = 24;  // header, TIFF header and an empty directory's count

bool NikonHeaderMatches(const uint8_t* note) {
  return std::memcmp(note, kHeaderLittle.data(), kHeaderSize) == 0 ||
         std::memcmp(note, kHeaderBig.data(), kHeaderSize) == 0;
}

// The embedded TIFF header, read without a word on the error stack: the measure asks, it does
// not fail.
bool NikonTiffHeader(const uint8_t* bytes, uint32_t* bigEndian, uint32_t* first) {
  if (!((bytes[0] == 'I' && bytes[1] == 'I') || (bytes[0] == 'M' && bytes[1] == 'M'))) return false;
  *bigEndian = bytes[0] == 'M' ? 1 : 0;
  if (ExifReadU16(*bigEndian, bytes + 2) != 42) return false;
  *first = ExifReadU32(*bigEndian, bytes + 4);
  return true;
}

void NikonClearTable(IfdTable* table) { *table = IfdTable{}; }

void NikonSyncCount(IfdTable* table) { table->entryCount = uint16_t(std::min<size_t>(table->tags.size(), 0xFFFF)); }

// The measuring walk of NikonNoteExtent over one directory: raises `extent` to the directory's end
// and to the end of each out-of-line value. Returns false when the walk ran past `limit` (or past
// what may be read), which leaves the note at its declared size.
struct ExtentWalk {
  const uint8_t* header;  // the embedded TIFF header
  uint32_t bigEndian;
  uint64_t readable;  // bytes that may be read from header on
  uint64_t limit;     // the caller's bound, compared with the extent as measured from the header
  uint64_t extent = 0;

  bool Raise(uint64_t end) {
    extent = std::max(extent, end);
    return limit >= extent;
  }
  // Entry count of the directory at offset, or -1 when it cannot be read whole.
  int64_t DirectoryEntries(uint64_t offset) const {
    if (offset + 2 > readable) return -1;
    const uint16_t n = ExifReadU16(bigEndian, header + offset);
    if (offset + 2 + uint64_t(n) * 12 + 4 > readable) return -1;
    return n;
  }
  const uint8_t* Entry(uint64_t directory, uint32_t i) const { return header + directory + 2 + uint64_t(i) * 12; }
  uint64_t ValueSize(const uint8_t* entry) const {
    return uint64_t(ExifTypeSize(ExifReadU16(bigEndian, entry + 2))) * ExifReadU32(bigEndian, entry + 4);
  }
  uint32_t Word(const uint8_t* entry) const { return ExifReadU32(bigEndian, entry + 8); }
  uint16_t Tag(const uint8_t* entry) const { return ExifReadU16(bigEndian, entry); }

  // One sub-directory; in the thumbnail directory the preview's end counts too.
  bool SubDirectory(uint64_t offset, bool withPreview) {
    const int64_t n = DirectoryEntries(offset);
    if (n < 0) return false;
    if (!Raise(offset + 2 + uint64_t(n) * 12 + 4)) return false;
    uint64_t previewOffset = 0;
    for (uint32_t i = 0; i < uint32_t(n); ++i) {
      const uint8_t* entry = Entry(offset, i);
      const uint64_t size = ValueSize(entry);
      if (size > 4 && !Raise(Word(entry) + size)) return false;
      if (!withPreview) continue;
      if (Tag(entry) == NikonTagPreviewOffset) previewOffset = Word(entry);
      if (Tag(entry) == NikonTagPreviewLength && !Raise(previewOffset + Word(entry))) return false;
    }
    return true;
  }
};

// Copies a preview, reporting 769 when the memory is refused.
int NikonCopyPreview(std::vector<uint8_t>* preview, const uint8_t* bytes, uint32_t size) {
  try {
    preview->assign(bytes, bytes + size);
  } catch (const std::bad_alloc&) {
    preview->clear();
    ErrorPush(ErrNoMemory);
    return 0;
  }
  return 1;
}

// Table 258 and the preview it points at. A preview outside the note's bytes, or one that does
// not open with a JPEG start-of-image, is dropped in silence and the tags stay.
int NikonReadThumbnail(NikonContext* nikon, const uint8_t* header, uint32_t readable, uint32_t offset) {
  if (offset > readable ||
      !ExifParseIfd(nikon, header + offset, readable - offset, offset, &nikon->thumbnailTable, 0))
    return 0;
  const TagEntry* start = ExifFindInTable(&nikon->thumbnailTable, NikonTagPreviewOffset);
  const TagEntry* length = ExifFindInTable(&nikon->thumbnailTable, NikonTagPreviewLength);
  if (!start || !length) return 1;
  const uint64_t at = start->U32(0);
  const uint64_t size = length->U32(0);
  if (at >= readable || at + size > readable) return 1;
  nikon->preview.clear();
  if (size >= 2 && header[at] == 0xFF && header[at + 1] == 0xD8)
    return NikonCopyPreview(&nikon->preview, header + at, uint32_t(size));
  return 1;
}

// The body of a parse behind the checks of its first two steps; 0 on any failure.
int NikonParseTables(NikonContext* nikon, const uint8_t* note, uint32_t available) {
  if (!NikonHeaderMatches(note) || !ExifReadTiffHeader(note + kHeaderSize, nikon)) return 0;
  const uint8_t* header = note + kHeaderSize;
  const uint32_t readable = available - kHeaderSize;
  const uint32_t first = nikon->firstIfdOffset;
  if (first > readable || !ExifParseIfd(nikon, header + first, readable - first, first, &nikon->mainTable, 0))
    return 0;
  if (const TagEntry* link = ExifFindInTable(&nikon->mainTable, NikonTagThumbnailIfd))
    if (!NikonReadThumbnail(nikon, header, readable, link->U32(0))) return 0;
  if (const TagEntry* link = ExifFindInTable(&nikon->mainTable, NikonTagScannerIfd)) {
    const uint32_t offset = link->U32(0);
    if (offset > readable ||
        !ExifParseIfd(nikon, header + offset, readable - offset, offset, &nikon->scannerTable, 0))
      return 0;
  }
  return 1;
}

// Writes one directory at `offset` from the embedded header (output may be nullptr to measure).
int NikonWriteTable(const NikonContext* nikon, const IfdTable* table, uint8_t* output, uint32_t room,
                    uint32_t offset, uint32_t* used) {
  uint8_t* at = output ? output + kHeaderSize + offset : nullptr;
  const uint32_t left = output ? room - kHeaderSize - offset : 0xFFFFFFFFu;
  if (output && room < kHeaderSize + offset) return 0;
  return ExifWriteIfd(nikon, table, at, offset, left, used);
}

void NikonWriteHeader(const NikonContext* nikon, uint8_t* output) {
  std::memcpy(output, nikon->bigEndian ? kHeaderBig.data() : kHeaderLittle.data(), kHeaderSize);
  uint8_t* tiff = output + kHeaderSize;
  tiff[0] = tiff[1] = nikon->bigEndian ? 'M' : 'I';
  ExifWriteU16(nikon->bigEndian, tiff + 2, 42);
  ExifWriteU32(nikon->bigEndian, tiff + 4, kTiffHeaderSize);
}

// Step 2 of a build: the links of table 257 follow what the other two tables hold.
int NikonPlaceLinks(NikonContext* nikon) {
  const uint32_t placeholder = 0;
  const struct {
    const IfdTable* target;
    uint16_t tag;
  } links[] = {{&nikon->thumbnailTable, NikonTagThumbnailIfd}, {&nikon->scannerTable, NikonTagScannerIfd}};
  for (const auto& link : links) {
    if (!link.target->tags.empty()) {
      if (!TagListPut(nikon, &nikon->mainTable.tags, link.tag, TypeLong, 1, 0, &placeholder)) return 0;
    } else {
      TagListRemove(&nikon->mainTable.tags, link.tag);
    }
  }
  NikonSyncCount(&nikon->mainTable);
  TagListSort(&nikon->mainTable.tags);
  return 1;
}

int NikonStorePreview(NikonContext* nikon, const uint8_t* bytes, uint32_t size) {
  if (!bytes || size == 0) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  if (!NikonCopyPreview(&nikon->preview, bytes, size)) return 0;
  const uint16_t jpeg = 6;
  const uint32_t placeholder = 0;
  IfdTable* table = &nikon->thumbnailTable;
  if (!TagListPut(nikon, &table->tags, NikonTagCompression, TypeShort, 1, 0, &jpeg) ||
      !TagListPut(nikon, &table->tags, NikonTagPreviewOffset, TypeLong, 1, 0, &placeholder) ||
      !TagListPut(nikon, &table->tags, NikonTagPreviewLength, TypeLong, 1, 0, &size))
    return 0;
  NikonSyncCount(table);
  TagListSort(&table->tags);
  return 1;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Recognition and measuring

uint32_t NikonNoteExtent(const uint8_t* note, uint32_t declared, uint32_t limit) {
  if (!note) return declared;
  ExtentWalk walk{note + kHeaderSize, 0, limit > kHeaderSize ? limit - kHeaderSize : 0, limit};
  uint32_t firstOffset = 0;
  if (declared >= kShortestNote && limit >= kHeaderSize + kTiffHeaderSize &&
      NikonTiffHeader(note + kHeaderSize, &walk.bigEndian, &firstOffset)) {
    const uint64_t first = firstOffset;
    const int64_t n = walk.DirectoryEntries(first);
    if (n < 0) return declared;
    if (!walk.Raise(first + uint64_t(n) * 12 + 6)) return declared;
    uint32_t scanner = 0;
    uint32_t thumbnail = 0;
    bool hasScanner = false;
    bool hasThumbnail = false;
    for (uint32_t i = 0; i < uint32_t(n); ++i) {
      const uint8_t* entry = walk.Entry(first, i);
      const uint64_t size = walk.ValueSize(entry);
      if (size > 4) walk.Raise(walk.Word(entry) + size);
      // Only the low 16 bits of a link are taken: a sub-directory beyond 65,535 is measured
      // short, as the notes this handler was made for never reach that far.
      if (walk.Tag(entry) == NikonTagScannerIfd) {
        scanner = walk.Word(entry) & 0xFFFFu;
        hasScanner = true;
      } else if (walk.Tag(entry) == NikonTagThumbnailIfd) {
        thumbnail = walk.Word(entry) & 0xFFFFu;
        hasThumbnail = true;
      }
    }
    if (limit < walk.extent) return declared;
    if (hasScanner && !walk.SubDirectory(scanner, false)) return declared;
    if (hasThumbnail && !walk.SubDirectory(thumbnail, true)) return declared;
  }
  return uint32_t(std::max<uint64_t>(declared, walk.extent + kHeaderSize));
}

// ---------------------------------------------------------------------------------------------
// The open note

std::unique_ptr<MakerNoteContext> NikonCreate() {
  try {
    return std::make_unique<NikonContext>();
  } catch (const std::bad_alloc&) {
    ErrorPush(ErrNoMemory);
    return nullptr;
  }
}

int NikonContext::Parse(const uint8_t* segment, uint32_t segmentSize, uint32_t /*offsetBias*/,
                        const TagEntry* noteTag) {
  // The bias of tag 59933 plays no part: every pointer of the note counts from its own header.
  NikonContext* nikon = this;
  if (!segment || !noteTag) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  NikonClearTable(&nikon->mainTable);
  NikonClearTable(&nikon->thumbnailTable);
  NikonClearTable(&nikon->scannerTable);
  nikon->editable = 0;
  nikon->needsRebuild = 0;
  nikon->readFailed = 1;
  const uint64_t start = 6 + uint64_t(noteTag->sourceWord);
  const uint32_t available = start <= segmentSize ? segmentSize - uint32_t(start) : 0;
  const uint8_t* note = segment + (start <= segmentSize ? start : 0);
  if (available > 0 && noteTag->count < NikonNoteExtent(note, noteTag->count, available)) nikon->needsRebuild = 1;
  if (available < kShortestNote) {
    ErrorPush(ErrNikonParse);
    return 0;
  }
  if (!NikonParseTables(nikon, note, available)) {
    // What was read stays; a note whose main table broke off part way must be rebuilt to be saved.
    if (!nikon->mainTable.tags.empty()) nikon->needsRebuild = 1;
    ErrorPush(ErrNikonParse);
    return 0;
  }
  nikon->readFailed = 0;
  nikon->editable = TagListAllDistinct(&nikon->mainTable) && TagListAllDistinct(&nikon->thumbnailTable) &&
                    TagListAllDistinct(&nikon->scannerTable);
  return 1;
}

int NikonContext::Build(uint8_t* output, uint32_t room, uint32_t* size) {
  NikonContext* nikon = this;
  // A note read only in part would lose what was not read: it is carried as it stands or not at all.
  if (nikon->readFailed ||
      (nikon->mainTable.tags.empty() && nikon->thumbnailTable.tags.empty() && nikon->scannerTable.tags.empty())) {
    ErrorPush(ErrMakerNoteBuild);
    return 0;
  }
  if (!NikonPlaceLinks(nikon)) return 0;
  if (output) {
    if (room < kHeaderSize + kTiffHeaderSize) {
      ErrorPush(ErrNikonBuild);
      return 0;
    }
    NikonWriteHeader(nikon, output);
  }
  // Positions count from the embedded TIFF header, as every pointer of the note does.
  uint32_t position = kTiffHeaderSize;
  uint32_t used = 0;
  if (!NikonWriteTable(nikon, &nikon->mainTable, output, room, position, &used)) {
    ErrorPush(ErrNikonBuild);
    return 0;
  }
  position += used;
  const uint32_t thumbnailAt = position;
  if (ExifFindInTable(&nikon->mainTable, NikonTagThumbnailIfd)) {
    if (!NikonWriteTable(nikon, &nikon->thumbnailTable, output, room, position, &used)) {
      ErrorPush(ErrNikonBuild);
      return 0;
    }
    position += used;
  }
  const uint32_t scannerAt = position;
  if (ExifFindInTable(&nikon->mainTable, NikonTagScannerIfd)) {
    if (!NikonWriteTable(nikon, &nikon->scannerTable, output, room, position, &used)) {
      ErrorPush(ErrNikonBuild);
      return 0;
    }
    position += used;
  }
  const uint32_t previewAt = position;
  if (!nikon->preview.empty()) {
    if (uint64_t(position) + nikon->preview.size() + kHeaderSize > 0xFFFFFFFFu) {
      ErrorPush(ErrNikonBuild);
      return 0;
    }
    position += uint32_t(nikon->preview.size());
  }
  const uint32_t total = kHeaderSize + position;
  if (output) {
    if (room < total) {
      ErrorPush(ErrNikonBuild);
      return 0;
    }
    uint8_t* header = output + kHeaderSize;
    if (!nikon->preview.empty()) {
      std::memcpy(header + previewAt, nikon->preview.data(), nikon->preview.size());
      ExifPatchValueField(header + thumbnailAt, NikonTagPreviewOffset, 1, previewAt, nikon->bigEndian);
    }
    ExifPatchValueField(header + kTiffHeaderSize, NikonTagThumbnailIfd, 1, thumbnailAt, nikon->bigEndian);
    ExifPatchValueField(header + kTiffHeaderSize, NikonTagScannerIfd, 1, scannerAt, nikon->bigEndian);
    nikon->built = 1;
  }
  if (size) *size = total;
  return 1;
}

IfdTable* NikonContext::Table(uint32_t table) {
  switch (table) {
    case NikonMainTable:
      return &mainTable;
    case NikonThumbnailTable:
      return &thumbnailTable;
    case NikonScannerTable:
      return &scannerTable;
    default:
      return nullptr;
  }
}

uint32_t NikonContext::TagCount() {
  return uint32_t(mainTable.entryCount) + thumbnailTable.entryCount + scannerTable.entryCount;
}

int NikonContext::Preview(const uint8_t** bytes, uint32_t* size) {
  if (preview.empty()) return 0;
  if (bytes) *bytes = preview.data();
  if (size) *size = uint32_t(preview.size());
  return 1;
}

int NikonContext::SetPreview(const uint8_t* bytes, uint32_t size) { return NikonStorePreview(this, bytes, size); }

namespace {

constexpr MakerNoteTableName kNikonTables[] = {
    {NikonMainTable, "Nikon MakerNote"},
    {NikonThumbnailTable, "Nikon MakerNote Thumbnail"},
    {NikonScannerTable, "Nikon MakerNote Scanner"},
};

constexpr MakerNoteProtectedTag kNikonProtected[] = {
    {NikonMainTable, NikonTagThumbnailIfd},
    {NikonMainTable, NikonTagScannerIfd},
    {NikonThumbnailTable, NikonTagPreviewOffset},
    {NikonThumbnailTable, NikonTagPreviewLength},
};

}  // namespace

const MakerNoteDescriptor kNikonNote{
    .family = FamilyNikon,
    .displayName = "Nikon",
    .recognise = MakerNoteRecogniseNikon,
    .create = NikonCreate,
    .tables = kNikonTables,
    .protectedTags = kNikonProtected,
    .catalogue = NikonCatalogue,
    .formatValue = NikonFormatValue,
    .lensText = NikonContextLensText,
    .previewLimit = kNikonPreviewLimit,
    .alwaysRead = true,
    .creatable = true,
};
