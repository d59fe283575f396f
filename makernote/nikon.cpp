// The Nikon handler: recognition, reading, rebuilding and the control codes of the note.
#include "makernote/nikon.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>

#include "exif/exif_reader.h"
#include "exif/exif_writer.h"
#include "exif/ifd_view.h"
#include "exif/tag_catalogue.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"
#include "makernote/makernote_tables.h"

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

NikonContext* NikonFromContext(MakerNoteContext* context) { return dynamic_cast<NikonContext*>(context); }

void NikonClearTable(IfdTable* table) { *table = IfdTable{}; }

void NikonSyncCount(IfdTable* table) { table->entryCount = uint16_t(std::min<size_t>(table->tags.size(), 0xFFFF)); }

// The measuring walk of NikonNoteExtent over one directory: raises `extent` to the directory's end
// and to the end of each out-of-line value. Returns false when the walk ran past `limit` (or past
// what may be read), which leaves the note at its declared size.
struct ExtentWalk {
  TiffSpan span;   // from the embedded TIFF header: the bytes that may be read
  uint64_t limit;  // the caller's bound, compared with the extent as measured from the header
  uint64_t extent = 0;

  bool Raise(uint64_t end) {
    extent = std::max(extent, end);
    return limit >= extent;
  }
  // Whether the directory can be read whole, its link included.
  static bool Readable(const IfdView& directory) { return directory.HasCount() && directory.Holds(4); }

  // One sub-directory; in the thumbnail directory the preview's end counts too.
  bool SubDirectory(uint64_t offset, bool withPreview) {
    const IfdView directory(span, offset);
    if (!Readable(directory)) return false;
    if (!Raise(directory.EntriesEnd() + 4)) return false;
    uint64_t previewOffset = 0;
    for (uint32_t i = 0; i < directory.Count(); ++i) {
      const IfdEntry entry = directory.Entry(i);
      const uint64_t size = entry.ValueSize(ExifTypeSize);
      if (size > 4 && !Raise(entry.word + size)) return false;
      if (!withPreview) continue;
      if (entry.tag == NikonTagPreviewOffset) previewOffset = entry.word;
      if (entry.tag == NikonTagPreviewLength && !Raise(previewOffset + entry.word)) return false;
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

int NikonSetPreview(NikonContext* nikon, const uint8_t* bytes, uint32_t size) {
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

intptr_t NikonGetPreview(const NikonContext* nikon, intptr_t bytesOut, intptr_t sizeOut) {
  if (nikon->preview.empty()) return 0;
  if (bytesOut) *reinterpret_cast<const uint8_t**>(bytesOut) = nikon->preview.data();
  if (sizeOut) *reinterpret_cast<uint32_t*>(sizeOut) = uint32_t(nikon->preview.size());
  return 1;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Recognition and measuring

uint32_t NikonNoteExtent(const uint8_t* note, uint32_t declared, uint32_t limit) {
  if (!note) return declared;
  ExtentWalk walk{TiffSpan{note + kHeaderSize, limit > kHeaderSize ? limit - kHeaderSize : 0, 0}, limit};
  TiffHeader header;
  // The embedded header is read without a word on the error stack: the measure asks, it does not fail.
  if (declared >= kShortestNote && limit >= kHeaderSize + kTiffHeaderSize &&
      TiffHeaderRead(note + kHeaderSize, IfdCheck::Quiet, &header)) {
    walk.span.bigEndian = header.bigEndian;
    const IfdView directory(walk.span, header.firstIfdOffset);
    if (!ExtentWalk::Readable(directory)) return declared;
    if (!walk.Raise(directory.EntriesEnd() + 4)) return declared;
    uint32_t scanner = 0;
    uint32_t thumbnail = 0;
    bool hasScanner = false;
    bool hasThumbnail = false;
    for (uint32_t i = 0; i < directory.Count(); ++i) {
      const IfdEntry entry = directory.Entry(i);
      const uint64_t size = entry.ValueSize(ExifTypeSize);
      if (size > 4) walk.Raise(entry.word + size);
      // Only the low 16 bits of a link are taken: a sub-directory beyond 65,535 is measured
      // short, as the notes this handler was made for never reach that far.
      if (entry.tag == NikonTagScannerIfd) {
        scanner = entry.word & 0xFFFFu;
        hasScanner = true;
      } else if (entry.tag == NikonTagThumbnailIfd) {
        thumbnail = entry.word & 0xFFFFu;
        hasThumbnail = true;
      }
    }
    if (limit < walk.extent) return declared;
    if (hasScanner && !walk.SubDirectory(scanner, false)) return declared;
    if (hasThumbnail && !walk.SubDirectory(thumbnail, true)) return declared;
  }
  return uint32_t(std::max<uint64_t>(declared, walk.extent + kHeaderSize));
}

uint32_t NikonNoteRecognise(const uint8_t* segment, const TagEntry* noteTag, uint32_t segmentSize) {
  if (!segment || !noteTag) return 0;
  const uint64_t start = 6 + uint64_t(noteTag->sourceWord);
  if (start > segmentSize) return 0;
  const uint32_t available = segmentSize - uint32_t(start);
  if (available < kHeaderSize || !NikonHeaderMatches(segment + start)) return 0;
  // The header alone makes it a Nikon note; the reads of the measure stay inside the segment.
  return NikonNoteExtent(segment + start, available, available);
}

// ---------------------------------------------------------------------------------------------
// The eleven operations

MakerNoteContext* NikonCreate() {
  try {
    return std::make_unique<NikonContext>().release();
  } catch (const std::bad_alloc&) {
    ErrorPush(ErrNoMemory);
    return nullptr;
  }
}

void NikonDestroy(MakerNoteContext* context) { std::unique_ptr<MakerNoteContext> owned(context); }

int NikonParse(MakerNoteContext* context, const uint8_t* segment, uint32_t segmentSize, uint32_t /*offsetBias*/,
               const TagEntry* noteTag) {
  // The bias of tag 59933 plays no part: every pointer of the note counts from its own header.
  NikonContext* nikon = NikonFromContext(context);
  if (!nikon || !segment || !noteTag) {
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

int NikonBuild(MakerNoteContext* context, uint8_t* output, uint32_t room, uint32_t* size) {
  NikonContext* nikon = NikonFromContext(context);
  if (!nikon) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
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

IfdTable* NikonTable(MakerNoteContext* context, uint32_t table) {
  NikonContext* nikon = NikonFromContext(context);
  if (!nikon) return nullptr;
  switch (table) {
    case NikonMainTable:
      return &nikon->mainTable;
    case NikonThumbnailTable:
      return &nikon->thumbnailTable;
    case NikonScannerTable:
      return &nikon->scannerTable;
    default:
      return nullptr;
  }
}

int NikonPutTag(MakerNoteContext* context, uint32_t table, uint16_t tag, uint16_t type, uint32_t count,
                const void* value) {
  IfdTable* target = NikonTable(context, table);
  if (!target) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  if (!TagListPut(context, &target->tags, tag, type, count, 0, value)) return 0;
  NikonSyncCount(target);
  // Kept in tag order, as the TIFF standard asks of a directory.
  TagListSort(&target->tags);
  return 1;
}

int NikonDeleteTag(MakerNoteContext* context, uint32_t table, uint16_t tag) {
  IfdTable* target = NikonTable(context, table);
  if (!target) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  if (!TagListRemove(&target->tags, tag)) return 0;
  if (target->entryCount > 0) --target->entryCount;
  return 1;
}

const char* NikonTagName(uint32_t table, uint16_t tag) {
  for (const TagDefinition* row = NikonCatalogue(table); row && row->displayName; ++row)
    if (row->tag == tag) return Cp932Text(row->displayName);
  return Cp932Text("不明");
}

intptr_t NikonControl(MakerNoteContext* context, uint32_t code, intptr_t first, intptr_t second) {
  NikonContext* nikon = NikonFromContext(context);
  if (!nikon) return 0;
  switch (code) {
    case MnSetPreview:
      return NikonSetPreview(nikon, reinterpret_cast<const uint8_t*>(first), uint32_t(second));
    case MnGetPreview:
      return NikonGetPreview(nikon, first, second);
    case MnByteOrder:
      return nikon->bigEndian;
    case MnRelocate:
      return 1;  // every pointer counts from the note's own header: nothing moves with the note
    case MnTableNames:
      return reinterpret_cast<intptr_t>(MakerNoteTableNames(FamilyNikon));
    case MnIsEditable:
      return nikon->editable;
    case MnNeedsRebuild:
      return nikon->needsRebuild;
    case MnTagCount:
      return intptr_t(nikon->mainTable.entryCount) + nikon->thumbnailTable.entryCount +
             nikon->scannerTable.entryCount;
    case MnPreviewLimit:
      if (first) *reinterpret_cast<uint32_t*>(first) = kNikonPreviewLimit;
      return kNikonPreviewLimit;
    case MnTagEditable:
      return MakerNoteTagEditable(FamilyNikon, uint32_t(first), uint16_t(second));
    default:
      return 0;
  }
}

void MakerNoteNikonOperations(MakerNoteHandler* handler) {
  if (!handler) return;
  handler->Create = NikonCreate;
  handler->Destroy = NikonDestroy;
  handler->Build = NikonBuild;
  handler->Parse = NikonParse;
  handler->PutTag = NikonPutTag;
  handler->DeleteTag = NikonDeleteTag;
  handler->Table = NikonTable;
  handler->FormatValue = NikonFormatValue;
  handler->TagName = NikonTagName;
  handler->Catalogue = NikonCatalogue;
  handler->Control = NikonControl;
}
