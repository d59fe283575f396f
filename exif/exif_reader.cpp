// The container reader: marker scans, the first APP1, the NEF path, the TIFF header, the IFD
// walk in its fixed order, the thumbnail and the inspection that every view starts from.
#include "exif/exif_reader.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <new>
#include <vector>

#include "exif/ifd_view.h"
#include "exif/jpeg_segments.h"
#include "exif/makernote_handler.h"
#include "frame/error_stack.h"

namespace {

constexpr uint32_t kDirectBlock = 65536;
const uint8_t kExifHeader[6] = {'E', 'x', 'i', 'f', 0, 0};

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

// The first number of a tag: a SHORT as 16 bits, anything else as a 32-bit word.
uint32_t TagFirstNumber(const TagEntry* entry) {
  if (!entry) return 0;
  return entry->type == TypeShort || entry->type == TypeSShort ? entry->U16(0) : entry->U32(0);
}

// The last three characters of the name are "NEF", in any case.
bool PathHasNefName(const std::string& path) {
  if (path.size() < 3) return false;
  std::string tail = path.substr(path.size() - 3);
  std::transform(tail.begin(), tail.end(), tail.begin(), [](unsigned char c) { return char(std::toupper(c)); });
  return tail == "NEF";
}

// A read the system refused replaces the code the scan pushed with the system's reason. A
// folder opens for reading on POSIX systems and fails its first read with EISDIR: it is told
// as an open failure, as a missing file is.
void ReadRefused(int reason, const std::string& path) {
  ErrorPop();
  ErrorPushSystem(reason == EISDIR ? ErrFileOpen : ErrFileIo, reason, path);
}

// The walk from the start of image to the first APP1: 0 when found, the walk standing before
// its payload; otherwise the code. segment->code is APP1 when the APP1 was found but its length
// is missing or below 2.
uint32_t App1Find(JpegSegments& walk, JpegSegment* segment) {
  *segment = JpegSegment{};
  if (walk.Start() != JpegStep::Segment) return ErrNotJpeg;
  return JpegStepError(JpegSegmentsFind(walk, kJpegApp1, segment));
}

}  // namespace

int ExifReadApp1(const std::string& path, uint8_t* buffer, uint32_t* size) {
  FilePtr file(std::fopen(path.c_str(), "rb"));
  if (!file) {
    ErrorPushSystem(ErrFileOpen, errno, path);
    return 0;
  }
  // One read brings in the head, where the markers before APP1 and APP1 itself stand.
  std::setvbuf(file.get(), nullptr, _IOFBF, kDirectBlock);
  errno = 0;
  JpegSegments walk(file.get());
  JpegSegment segment;
  const uint32_t code = App1Find(walk, &segment);
  if (code != 0) {
    // An APP1 cut short within its length is a failed read, whatever the system says.
    ErrorPush(segment.code == kJpegApp1 ? uint32_t(ErrFileIo) : code);
    if (segment.code == kJpegApp1) return 0;
    if (std::ferror(file.get()) && errno != 0) {
      ReadRefused(errno, path);
    } else if (code == ErrScanReached) {
      ErrorPop();
      ErrorPush(ErrNoExif);
    }
    return 0;
  }
  const uint32_t payload = segment.Payload();
  if (size) *size = payload;
  if (!buffer) return 1;
  if (std::fread(buffer, 1, payload, file.get()) != payload) {
    ErrorPush(ErrFileIo);
    return 0;
  }
  return 1;
}

int ExifReadApp1Direct(const std::string& path, uint8_t* buffer, uint32_t* size) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    ErrorPushSystem(ErrFileOpen, errno, path);
    return 0;
  }
  std::vector<uint8_t> block(2 * kDirectBlock);
  ssize_t got = ::pread(fd, block.data(), kDirectBlock, 0);
  const uint32_t first = got > 0 ? uint32_t(got) : 0;
  uint32_t held = first;
  int result = 0;
  const int reason = got < 0 ? errno : 0;
  JpegSegments walk(std::span<const uint8_t>(block.data(), first));
  JpegSegment segment;
  const uint32_t code = App1Find(walk, &segment);
  if (code != 0 && segment.code == kJpegApp1) {
    ErrorPush(ErrFileIo);  // the APP1 is cut short within its length
  } else if (code != 0) {
    ErrorPush(code);
    if (reason != 0) {
      ReadRefused(reason, path);
    } else if (code == ErrScanReached) {
      ErrorPop();
      ErrorPush(ErrNoExif);
    }
  } else {
    const uint32_t payload = segment.Payload();
    const uint64_t start = walk.Position();
    if (start + payload > held) {
      // The payload runs past the first block: one more block holds the rest.
      got = ::pread(fd, block.data() + held, kDirectBlock, held);
      held += got > 0 ? uint32_t(got) : 0;
    }
    if (start + payload > held) {
      ErrorPush(ErrFileIo);
    } else {
      if (size) *size = payload;
      if (buffer) std::memcpy(buffer, block.data() + start, payload);
      result = 1;
    }
  }
  // A folder scan touches thousands of files once; their heads need not stay cached.
  ::posix_fadvise(fd, 0, held, POSIX_FADV_DONTNEED);
  ::close(fd);
  return result;
}

int ExifLoadFile(const std::string& path, ExifDocumentPtr& out) {
  out.reset();
  // One buffer a thread, reused: a folder of thousands of files should not clear 64 KiB for
  // each (the document copies what it needs).
  static thread_local std::vector<uint8_t> payload(kApp1PayloadMax);
  uint32_t size = 0;
  if (ExifReadApp1(path, payload.data(), &size)) {
    if (!ExifCreateFromSegment(payload.data(), size, out)) return 0;
    out->path = path;
    out->sourceKind = SourceKind::Jpeg;
    return 1;
  }
  // The code stays on the stack with its detail for the caller.
  if (ErrorPeek() != ErrNotJpeg) return 0;

  // A NEF file is a TIFF structure as a whole: the six header bytes in front of it give the
  // payload form every later step reads.
  std::error_code ec;
  const uint64_t fileSize = std::filesystem::file_size(path, ec);
  FilePtr file(std::fopen(path.c_str(), "rb"));
  if (ec || !file) {
    ErrorPushSystem(ErrFileIo, ec ? ec.value() : errno, path);
    return 0;
  }
  if (!PathHasNefName(path)) {
    ErrorPush(ErrMarkerStructure);
    return 0;
  }
  uint8_t header[8];
  ExifContext context;
  if (std::fread(header, 1, 8, file.get()) != 8 || !ExifReadTiffHeader(header, &context)) {
    ErrorPush(ErrMarkerStructure);
    return 0;
  }
  if (fileSize > 0xFFFFFFFFull - 16) {
    ErrorPush(ErrNoMemory);
    return 0;
  }
  std::vector<uint8_t> whole;
  try {
    whole.resize(size_t(fileSize) + 6);
  } catch (const std::bad_alloc&) {
    ErrorPush(ErrNoMemory);
    return 0;
  }
  std::memcpy(whole.data(), kExifHeader, 6);
  if (std::fseek(file.get(), 0, SEEK_SET) != 0 ||
      std::fread(whole.data() + 6, 1, size_t(fileSize), file.get()) != size_t(fileSize)) {
    ErrorPush(ErrFileIo);
    return 0;
  }
  if (!ExifCreateFromSegment(whole.data(), uint32_t(whole.size()), out)) return 0;
  out->path = path;
  out->sourceKind = SourceKind::Nef;
  return 1;
}

int ExifReadTiffHeader(const uint8_t* bytes, ExifContext* context) {
  if (!context) return 0;
  context->typeSize = ExifTypeSize;
  if (!bytes) {
    context->bigEndian = 0;
    context->firstIfdOffset = 0;
    return 1;
  }
  TiffHeader header;
  if (!TiffHeaderRead(bytes, IfdCheck::Push, &header)) return 0;
  context->bigEndian = header.bigEndian;
  context->firstIfdOffset = header.firstIfdOffset;
  return 1;
}

int ExifParseIfd(const ExifContext* context, const uint8_t* bytes, uint32_t remaining, uint32_t baseOffset,
                 IfdTable* table, int limitValues) {
  if (!context || !bytes || !table) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  const uint32_t bigEndian = context->bigEndian;
  const TypeSizeFunction sizeOf = context->typeSize ? context->typeSize : ExifTypeSize;
  table->baseOffset = uint16_t(baseOffset);
  // The view counts from the TIFF header, which stands baseOffset bytes before the directory,
  // so a value may lie before the directory; every bound pushes 788.
  const TiffSpan span{bytes - baseOffset, uint64_t(remaining) + baseOffset, bigEndian, IfdCheck::Push};
  const IfdView directory(span, baseOffset);
  if (!directory.HasCount()) {
    table->entryCount = 0;
    table->nextIfdOffset = 0;
    return 0;
  }
  const uint32_t entryCount = directory.Count();
  table->entryCount = uint16_t(entryCount);
  int ok = directory.Holds(0) ? 1 : 0;
  uint32_t i = 0;
  std::vector<uint8_t> swapped;
  for (; ok && i < entryCount; ++i) {
    const IfdEntry entry = directory.Entry(i);
    const uint32_t elementSize = sizeOf(entry.type);
    if (elementSize == 0) {
      ErrorPush(ErrUnknownType);
      ok = 0;
      break;
    }
    // Sized in 64 bits: a count of four thousand million is refused here by the bound below,
    // before anything is allocated for it.
    const uint64_t size = entry.ValueSize(sizeOf);
    if (limitValues == 1 && size > kApp1PayloadMax) {
      ErrorPush(ErrValueTooLarge);
      ok = 0;
      break;
    }
    const uint8_t* value = directory.Value(entry, size);
    if (!value) {
      ok = 0;
      break;
    }
    if (bigEndian && size > 0) {
      try {
        swapped.resize(size_t(size));
      } catch (const std::bad_alloc&) {
        ErrorPush(ErrNoMemory);
        ok = 0;
        break;
      }
      if (ExifTypeSize(entry.type) == elementSize)
        ExifSwapValue(value, swapped.data(), entry.type, entry.count);
      else
        std::memcpy(swapped.data(), value, size_t(size));  // a handler's own type: kept as bytes
      value = swapped.data();
    }
    if (!TagListAppend(context, &table->tags, entry.tag, entry.type, entry.count, entry.word, value)) {
      ok = 0;
      break;
    }
  }
  // The link behind the entries, or, when the walk stopped early, the word where it stopped.
  table->nextIfdOffset = span.U32(directory.Entry(i).position);
  return ok;
}

int ExifParseIfdLimited(const ExifContext* context, const uint8_t* bytes, uint32_t remaining, uint32_t baseOffset,
                        IfdTable* table) {
  return ExifParseIfd(context, bytes, remaining, baseOffset, table, 1);
}

namespace {

// Parses the directory at `offset` from the TIFF header into the kind's table; on failure
// pushes `failure` after the step's own code.
int ExifParseAt(ExifDocument* document, uint32_t kind, uint32_t offset, int limitValues, uint32_t failure) {
  if (offset > document->rawSize) {
    ErrorPush(ErrOutOfRange);
    ErrorPush(failure);
    return 0;
  }
  document->cursor = document->tiffBase + offset;
  const uint8_t* directory = document->raw.data() + document->cursor;
  if (!ExifParseIfd(document, directory, document->rawSize - offset, offset, ExifIfdTable(document, kind),
                    limitValues)) {
    ErrorPush(failure);
    return 0;
  }
  return 1;
}

int ExifParseSteps(ExifDocument* document) {
  if (document->rawSize < 6 || std::memcmp(document->raw.data(), kExifHeader, 6) != 0) {
    ErrorPush(ErrNoExif);
    return 0;
  }
  if (document->rawSize < 14) {
    ErrorPush(ErrOutOfRange);
    return 0;
  }
  if (!ExifReadTiffHeader(document->raw.data() + 6, document)) return 0;
  document->tiffBase = 6;

  if (!ExifParseAt(document, IfdPrimary, document->firstIfdOffset, 1, ErrIfdPrimary)) return 0;
  const IfdTable* primary = ExifIfdTable(document, IfdPrimary);
  if (const TagEntry* pointer = ExifFindInTable(primary, TagExifIfdPointer)) {
    // Only a document read from a JPEG limits the Exif IFD's values: a NEF's MakerNote may be
    // larger than a segment could hold.
    if (!ExifParseAt(document, IfdExif, pointer->U32(0), document->sourceKind == SourceKind::Jpeg ? 1 : 0, ErrIfdExif)) return 0;
    if (const TagEntry* interop = ExifFindTag(document, IfdExif, TagInteropIfdPointer))
      if (!ExifParseAt(document, IfdInterop, interop->U32(0), 1, ErrIfdInterop)) return 0;
  }
  if (const TagEntry* gps = ExifFindInTable(primary, TagGpsIfdPointer))
    if (!ExifParseAt(document, IfdGps, gps->U32(0), 1, ErrIfdGps)) return 0;
  if (primary->nextIfdOffset == 0) return 1;
  if (!ExifParseAt(document, IfdThumbnail, primary->nextIfdOffset, 1, ErrIfdThumbnail)) return 0;

  const IfdTable* first = ExifIfdTable(document, IfdThumbnail);
  const uint32_t offset = TagFirstNumber(ExifFindInTable(first, TagThumbnailOffset));
  const uint32_t size = TagFirstNumber(ExifFindInTable(first, TagThumbnailLength)) & 0xFFFF;
  document->thumbnailSize = size;
  if (offset == 0 && size == 0) return 1;
  if (offset != 0 && size != 0) {
    if (offset > document->rawSize) {
      ErrorPush(ErrOutOfRange);
      return 0;
    }
    if (document->rawSize - offset >= size) {
      document->thumbnail = document->raw.data() + document->tiffBase + offset;
      return 1;
    }
  }
  ErrorPush(ErrThumbnail);
  return 0;
}

}  // namespace

int ExifParse(ExifDocument* document) {
  if (!document) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  if (document->parsed) return 1;
  const int ok = ExifParseSteps(document);
  document->parsed = 1;
  return ok;
}

uint32_t ExifInspect(ExifDocumentPtr& document) { return ExifInspectKeepPartial(document, nullptr); }

uint32_t ExifInspectKeepPartial(ExifDocumentPtr& document, ExifDocumentPtr* partial) {
  uint32_t error = 0;
  if (!ExifParse(document.get())) {
    error = ErrorPeek();
    if (error != ErrThumbnail) {
      if (partial)
        *partial = std::move(document);
      else
        document.reset();
      return StatusParseFailed;
    }
  }
  const bool nef = document->sourceKind == SourceKind::Nef;
  uint32_t flags = nef ? uint32_t(StatusNef) : document->sourceKind == SourceKind::Jpeg ? uint32_t(StatusJpeg) : 0u;
  if (error == ErrThumbnail || document->tables[SlotThumbnail].tags.empty() || !document->thumbnail)
    flags |= StatusNoThumbnail;
  if (!ExifOpenMakerNote(document.get())) {
    const uint32_t code = ErrorPeek();
    if (code == ErrMakerNoteParse) return nef ? StatusNef : flags | StatusMakerNoteFailed;
    // No note, or a note no handler knows: the note travels as an opaque tag.
    if (code == ErrNoMakerNote || code == ErrMakerNoteUnknown) ErrorPop();
  } else if (!ExifMakerNoteEnabled(document.get())) {
    ExifCloseMakerNote(document.get());
  }
  return nef ? StatusNef : flags;
}

uint32_t ExifCheckFile(const std::string& path, ExifDocumentPtr& out) {
  out.reset();
  if (path.empty()) return StatusUnusable;
  if (!ExifLoadFile(path, out)) {
    return ErrorPop() == ErrNoExif ? StatusNoExif : StatusUnusable;
  }
  return ExifInspect(out);
}

uint32_t ExifCheckSegment(const uint8_t* bytes, uint32_t size, ExifDocumentPtr& out) {
  out.reset();
  if (!bytes) return StatusUnusable;
  if (!ExifCreateFromSegment(bytes, size, out)) {
    return ErrorPop() == ErrNoExif ? StatusNoExif : StatusUnusable;
  }
  return ExifInspect(out);
}

uint32_t FileProbe(const std::string& path) {
  FilePtr file(std::fopen(path.c_str(), "rb"));
  uint8_t head[8];
  if (!file || std::fread(head, 1, 8, file.get()) != 8) return FileKindUnreadable;
  if (head[0] == 0xFF && head[1] == 0xD8) return FileKindJpeg;
  ExifContext context;
  if (ExifReadTiffHeader(head, &context)) return FileKindTiff;
  ErrorPop();
  return FileKindOther;
}

uint32_t RawFindEntry(const uint8_t* tiff, uint32_t size, uint32_t ifdOffset, uint16_t tag, uint32_t bigEndian) {
  if (!tiff || ifdOffset == 0) return 0;
  const IfdView directory(TiffSpan{tiff, size, bigEndian}, ifdOffset);
  if (!directory.HasCount()) return 0;
  const int64_t index = directory.Find(tag);
  return index < 0 ? 0 : uint32_t(directory.Entry(uint32_t(index)).position);
}

uint32_t RawIfdOffset(const uint8_t* tiff, uint32_t size, uint32_t kind) {
  ExifContext header;
  if (!tiff || size < 8 || !ExifReadTiffHeader(tiff, &header)) return 0;
  const TiffSpan span{tiff, size, header.bigEndian};
  const uint32_t primary = header.firstIfdOffset;
  auto pointer = [&](uint32_t ifd, uint16_t tag) -> uint32_t {
    const uint32_t at = RawFindEntry(tiff, size, ifd, tag, span.bigEndian);
    return at ? span.U32(at + 8) : 0;
  };
  switch (kind) {
    case IfdPrimary:
      return primary;
    case IfdThumbnail: {
      const IfdView directory(span, primary);
      return primary != 0 && directory.HasCount() ? directory.Next() : 0;
    }
    case IfdExif:
      return pointer(primary, TagExifIfdPointer);
    case IfdInterop:
      return pointer(pointer(primary, TagExifIfdPointer), TagInteropIfdPointer);
    case IfdGps:
      return pointer(primary, TagGpsIfdPointer);
    default:
      return 0;
  }
}

int RawReadEntry(const uint8_t* tiff, uint32_t size, uint32_t kind, uint16_t tag, RawEntry* entry) {
  ExifContext header;
  if (!tiff || !entry || size < 8 || !ExifReadTiffHeader(tiff, &header)) return 0;
  const uint32_t offset = RawIfdOffset(tiff, size, kind);
  const IfdView directory(TiffSpan{tiff, size, header.bigEndian}, offset);
  const int64_t index = offset != 0 && directory.HasCount() ? directory.Find(tag) : -1;
  if (index < 0) return 0;
  const IfdEntry found = directory.Entry(uint32_t(index));
  entry->tag = tag;
  entry->type = found.type;
  entry->count = found.count;
  entry->valueWord = found.word;
  entry->position = uint32_t(found.position);
  return 1;
}
