#include "shooting/camera_data_file.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
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

// Drops the line end: a carriage return and a line feed alike end the text.
void CameraDataLineCut(char* line) { line[std::strcspn(line, "\r\n")] = '\0'; }

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

int CameraDataReadLine(CameraDataFile* file, const DataTypeInfo& layout, uint32_t number, char* line) {
  const uint32_t fields = CameraDataFieldCount(line);
  if (number <= 2) {
    if (fields < layout.minimumHeaderFields) return 0;
    if (number == 2) return ParseShootingFields(kHeaderFields, line, &file->header, file->dataType);
    return 1;
  }
  // The title line is checked like a frame line although it is not kept.
  if (fields != layout.columns) return 0;
  return number == 3 ? 1 : CameraDataAddFrame(file, line);
}

}  // namespace

void CameraDataFileDestroy(CameraDataFile* file) { std::unique_ptr<CameraDataFile> owned(file); }

CameraDataFilePtr CameraDataFileCreate(const char* path) {
  std::error_code error;
  if (path == nullptr || !std::filesystem::is_regular_file(path, error)) return nullptr;
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
  FileHandle stream(std::fopen(file->path.c_str(), "rb"));
  if (!stream) {
    ErrorPush(ErrFileOpen);
    return 0;
  }
  // A second read starts afresh rather than adding the frames twice.
  file->frameCount = 0;
  file->frames.clear();
  char line[kLineBuffer];
  for (uint32_t number = 1; std::fgets(line, kLineBuffer, stream.get()) != nullptr; ++number) {
    CameraDataLineCut(line);
    if (!CameraDataReadLine(file, *layout, number, line)) return 0;
  }
  return 1;
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
