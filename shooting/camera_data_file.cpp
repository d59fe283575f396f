#include "shooting/camera_data_file.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

#include "frame/error_stack.h"
#include "shooting/shooting_fields.h"

namespace {

// The reader takes lines of at most 1,023 bytes; a longer line is read as two and so fails
// its field count.
constexpr int kLineBuffer = 1024;

struct FileCloser {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

// The layouts in ASCII, for the failure text.
constexpr const char* kDataTypeNames[kDataTypeCount] = {"F6 detailed", "F6 simple", "F5 A",          "F5 B",
                                                        "F5 C",        "F5 D",      "F100 detailed", "F100 simple"};

// One line as the reader takes it: at most kLineBuffer - 1 bytes, through the line feed. The
// length is kept, so that a NUL byte inside can be told from the line's end.
struct DataLine {
  char text[kLineBuffer];
  size_t length = 0;
  size_t firstNul = 0;    // from 1; 0 when the piece holds none
  bool ended = false;     // the piece ends with its line feed
  uint32_t fileLine = 1;  // the file's own line number: a long line read in pieces keeps it
};

bool CameraDataReadPiece(std::FILE* stream, DataLine& line) {
  line.length = 0;
  line.firstNul = 0;
  line.ended = false;
  int c = 0;
  while (line.length < kLineBuffer - 1 && (c = std::getc(stream)) != EOF) {
    line.text[line.length++] = char(c);
    if (c == '\0' && line.firstNul == 0) line.firstNul = line.length;
    if (c == '\n') {
      line.ended = true;
      break;
    }
  }
  line.text[line.length] = '\0';
  return line.length > 0;
}

// Drops the line end: a carriage return, a line feed (and a NUL byte) alike end the text.
void CameraDataLineCut(char* line) { line[std::strcspn(line, "\r\n")] = '\0'; }

// What was wrong with a line beyond its field count: why the count came out as it did.
std::string CameraDataLineNote(const DataLine& line, uint32_t number) {
  const bool utf16 = number == 1 && line.length >= 2 && ((uint8_t(line.text[0]) == 0xFF && uint8_t(line.text[1]) == 0xFE) ||
                                                       (uint8_t(line.text[0]) == 0xFE && uint8_t(line.text[1]) == 0xFF));
  if (utf16) return "; the file is UTF-16 text, the data reader writes one byte a character";
  if (line.firstNul != 0)
    return "; a NUL byte at column " + std::to_string(line.firstNul) + (line.firstNul <= 2 ? " (UTF-16 text?)" : "");
  if (line.length == kLineBuffer - 1 && !line.ended)
    return "; the line is longer than " + std::to_string(kLineBuffer - 1) + " bytes";
  return {};
}

// Records why a line failed its field count.
void CameraDataLineFailed(CameraDataFile* file, const DataLine& line, uint32_t number, uint32_t fields,
                          uint32_t expected, bool atLeast) {
  // The file does not fit the layout it was read as (often the wrong layout chosen): the
  // layout is the argument at fault.
  file->failure = {};
  file->failure.code = ErrInvalidArgument;
  file->failure.path = file->path;
  file->failure.line = line.fileLine;
  file->failure.note = std::to_string(fields) + (fields == 1 ? " field, " : " fields, ") +
                       (atLeast ? "at least " : "") + std::to_string(expected) + " expected for " +
                       kDataTypeNames[file->dataType] + CameraDataLineNote(line, number);
  ErrorPushDetail(file->failure);
}

// The number of commas, plus one for a line that is not empty.
uint32_t CameraDataFieldCount(const char* line) {
  if (*line == '\0') return 0;
  uint32_t fields = 1;
  for (const char* p = line; *p; ++p) fields += *p == ',';
  return fields;
}

int CameraDataAddFrame(CameraDataFile* file, char* line) {
  try {
    file->frames.emplace_back();
  } catch (const std::bad_alloc&) {
    ErrorPush(ErrNoMemory);
    return 0;
  }
  if (!ParseShootingFields(kFrameFields, line, &file->frames.back(), file->dataType)) return 0;
  ++file->frameCount;
  return 1;
}

int CameraDataReadLine(CameraDataFile* file, const DataTypeInfo& layout, uint32_t number, DataLine& piece) {
  char* line = piece.text;
  const uint32_t fields = CameraDataFieldCount(line);
  if (number <= 2) {
    if (fields < layout.minimumHeaderFields) {
      CameraDataLineFailed(file, piece, number, fields, layout.minimumHeaderFields, true);
      return 0;
    }
    if (number == 2) return ParseShootingFields(kHeaderFields, line, &file->header, file->dataType);
    return 1;
  }
  // The title line is checked like a frame line although it is not kept.
  if (fields != layout.columns) {
    CameraDataLineFailed(file, piece, number, fields, layout.columns, false);
    return 0;
  }
  return number == 3 ? 1 : CameraDataAddFrame(file, line);
}

}  // namespace

void CameraDataFileDestroy(CameraDataFile* file) { std::unique_ptr<CameraDataFile> owned(file); }

CameraDataFilePtr CameraDataFileCreate(const char* path) {
  if (path == nullptr) return nullptr;
  struct stat status {};
  const bool found = ::stat(path, &status) == 0;
  if (!found || !S_ISREG(status.st_mode)) {
    // No regular file: the system's reason, a folder's as a folder opened for a file would give.
    ErrorPushSystem(ErrFileOpen, !found ? errno : S_ISDIR(status.st_mode) ? EISDIR : EINVAL, path);
    return nullptr;
  }
  try {
    auto made = std::make_unique<CameraDataFile>();
    // The whole path is kept: a path longer than 260 bytes simply works here.
    made->path = path;
    return CameraDataFilePtr(made.release());
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

int CameraDataFileRead(CameraDataFile* file, uint32_t dataType) {
  if (file == nullptr) return 0;
  file->dataType = dataType;
  const DataTypeInfo* layout = DataTypeFind(dataType);
  if (layout == nullptr) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  file->failure = {};
  FileHandle stream(std::fopen(file->path.c_str(), "rb"));
  if (!stream) {
    file->failure = {ErrFileOpen, errno, file->path, 0, {}};
    ErrorPushDetail(file->failure);
    return 0;
  }
  // A second read starts afresh rather than adding the frames twice.
  file->frameCount = 0;
  file->frames.clear();
  // Lines are taken as fgets takes them into 1,024 bytes; the piece keeps its length.
  auto line = std::make_unique<DataLine>();
  for (uint32_t number = 1; CameraDataReadPiece(stream.get(), *line); ++number) {
    CameraDataLineCut(line->text);
    if (!CameraDataReadLine(file, *layout, number, *line)) return 0;
    if (line->ended) ++line->fileLine;
  }
  return 1;
}

std::string CameraDataFileFailureText(const CameraDataFile* file) {
  if (file == nullptr || file->failure.line == 0) return {};
  return "line " + std::to_string(file->failure.line) + ": " + file->failure.note;
}

uint32_t CameraDataFileFrameCount(const CameraDataFile* file) { return file ? file->frameCount : 0; }

int CameraDataFileAddHeader(CameraDataFile* file, uint16_t tag, uint16_t type, uint32_t count, const void* value) {
  if (file == nullptr) return 0;
  if (!TagListPut(nullptr, &file->header, tag, type, count, 0, value)) return 0;
  TagListSort(&file->header);
  return 1;
}

namespace {

int CameraDataCopyEntries(const TagList& from, uint32_t most, TagList* list) {
  uint32_t copied = 0;
  for (const TagEntry& entry : from) {
    if (copied++ == most) break;
    if (!TagListAppend(nullptr, list, entry.tag, entry.type, entry.count, 0, entry.Data())) return 0;
  }
  return 1;
}

}  // namespace

int CameraDataFileCopyRecord(const CameraDataFile* file, uint32_t frame, TagList* list) {
  if (file == nullptr || list == nullptr || frame >= file->frames.size()) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  if (!CameraDataCopyEntries(file->header, kHeaderFieldCount, list) ||
      !CameraDataCopyEntries(file->frames[frame], kFrameFieldCount, list)) {
    list->clear();
    return 0;
  }
  return 1;
}

const TagEntry* ShootingFieldText(const TagList& list, uint16_t tag) {
  for (const TagEntry& entry : list)
    if (entry.tag == tag) return entry.count > 1 ? &entry : nullptr;
  return nullptr;
}
