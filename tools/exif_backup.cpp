#include "tools/exif_backup.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/jpeg_file.h"
#include "exif/jpeg_segments.h"
#include "exif/tags.h"
#include "frame/error_stack.h"
#include "frame/message_table.h"
#include "frame/settings.h"
#include "makernote/makernote_save.h"

namespace {

constexpr char kMagic[16] = {'E', 'X', 'I', 'F', '_', 'B', 'A', 'C', 'K', '_', 'U', 'P', 0, 0, 0, 0};

std::atomic<ExfThumbnailMaker> gThumbnailMaker{nullptr};

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

// A failed call of the system on `path`: the code with its errno (0 when the stream simply ended
// early) goes on the error stack, so the caller's message can say why.
void PushSystem(uint32_t code, std::FILE* stream, const std::string& path) {
  ErrorPushSystem(code, stream == nullptr || std::ferror(stream) ? errno : 0, path);
}

bool EndsWithExf(const std::string& name) {
  if (name.size() < 4) return false;
  std::string tail = name.substr(name.size() - 4);
  for (char& c : tail) c = char(c >= 'A' && c <= 'Z' ? c + 32 : c);
  return tail == ".exf";
}

// The payload size the stored bytes give when they agree with the file's size: the correct
// length, or the one the writer's wrapped low byte makes. -1 when they do not agree.
int64_t AgreedSize(const uint8_t length[2], uint64_t fileSize) {
  if (fileSize < kExfHeaderSize) return -1;
  const uint64_t size = fileSize - kExfHeaderSize;
  if (size > 0xFFFF) return -1;
  const std::vector<uint8_t> expected = ExfBuild(nullptr, uint32_t(size));
  const bool quirky = expected[18] == length[0] && expected[19] == length[1];
  const bool correct = uint8_t((size + 2) >> 8) == length[0] && uint8_t(size + 2) == length[1];
  return quirky || correct ? int64_t(size) : -1;
}

// The frame headers that carry a pixel size: every SOFn but DHT (C4), JPG (C8) and DAC (CC).
bool IsFrameHeader(uint8_t code) { return code >= 0xC0 && code <= 0xCF && code != 0xC4 && code != 0xC8 && code != 0xCC; }

// Sets 40962 and 40963 in the Exif table, as the type the file gave them where the value fits.
void QueuePixelSize(ExifDocument* document, uint16_t tag, uint32_t value) {
  const TagEntry* entry = ExifFindTag(document, IfdExif, tag);
  if (entry != nullptr && entry->type == TypeShort && entry->count == 1 && value <= 0xFFFF) {
    const uint16_t shortValue = uint16_t(value);
    ExifQueueEdit(document, PendingSet, IfdExif, tag, TypeShort, 1, &shortValue);
    return;
  }
  ExifQueueEdit(document, PendingSet, IfdExif, tag, TypeLong, 1, &value);
}

// Whether the target's first APP1 holds Exif: only then does the writer's replacement of the
// first APP1 put the backup in Exif's place. Otherwise (no APP1, or XMP first) the backup is
// inserted, so no segment of the target is lost.
bool FirstApp1IsExif(const std::string& target) {
  std::vector<uint8_t> payload;
  const bool found = ExfExtractPayload(target, &payload);
  ErrorClear();
  return found && payload.size() >= 6 && std::memcmp(payload.data(), "Exif\0\0", 6) == 0;
}

// Writes target with a new APP1 behind the start of image and a leading APP0 (JFIF wants its
// segment first), to a fresh temporary in output's folder. Returns its path, or "" on failure.
std::string InsertApp1(const std::string& target, const std::string& output, const std::vector<uint8_t>& payload) {
  FilePtr in(std::fopen(target.c_str(), "rb"));
  std::vector<uint8_t> bytes;
  if (!in) return PushSystem(ErrFileOpen, nullptr, target), std::string();
  std::error_code error;
  bytes.resize(std::size_t(std::filesystem::file_size(target, error)));
  if (error) return ErrorPushSystem(ErrFileStatus, error.value(), target), std::string();
  if (std::fread(bytes.data(), 1, bytes.size(), in.get()) != bytes.size())
    return PushSystem(ErrFileIo, in.get(), target), std::string();
  if (bytes.size() < 4 || bytes[0] != 0xFF || bytes[1] != 0xD8) return ErrorPush(ErrNotJpeg), std::string();
  std::size_t head = 2;
  if (bytes[2] == 0xFF && bytes[3] == 0xE0 && bytes.size() >= 6) head += 2 + ((std::size_t(bytes[4]) << 8) | bytes[5]);
  if (head > bytes.size()) return {};
  const std::string temporary = FileTemporaryPath(output);
  FilePtr out(std::fopen(temporary.c_str(), "wbx"));
  const uint8_t marker[4] = {0xFF, 0xE1, uint8_t((payload.size() + 2) >> 8), uint8_t(payload.size() + 2)};
  bool good = out && std::fwrite(bytes.data(), 1, head, out.get()) == head && std::fwrite(marker, 1, 4, out.get()) == 4 &&
              std::fwrite(payload.data(), 1, payload.size(), out.get()) == payload.size() &&
              std::fwrite(bytes.data() + head, 1, bytes.size() - head, out.get()) == bytes.size() - head;
  good = good && std::fflush(out.get()) == 0 && ::fsync(fileno(out.get())) == 0;
  good = out && std::fclose(out.release()) == 0 && good;
  if (!good) {
    PushSystem(ErrFileIo, nullptr, output);
    std::remove(temporary.c_str());
  }
  return good ? temporary : std::string();
}

}  // namespace

int ExfLoadImportType() { return SettingsGetInt("EDIT", "IMPORTTYPE", kExfImportFit) == 1 ? 1 : 0; }
void ExfStoreImportType(int type) { SettingsPutUInt("EDIT", "IMPORTTYPE", type == 1 ? 1u : 0u); }

void ExfInstallThumbnailMaker(ExfThumbnailMaker maker) { gThumbnailMaker.store(maker); }

int ExfExtractPayload(const std::string& jpegPath, std::vector<uint8_t>* payload) {
  payload->assign(kApp1PayloadMax, 0);
  uint32_t size = 0;
  if (!ExifReadApp1(jpegPath, payload->data(), &size)) {
    payload->clear();
    return 0;
  }
  payload->resize(size);
  return 1;
}

std::vector<uint8_t> ExfBuild(const uint8_t* payload, uint32_t size) {
  std::vector<uint8_t> bytes(kExfHeaderSize + (payload != nullptr ? size : 0));
  std::memcpy(bytes.data(), kMagic, sizeof kMagic);
  bytes[16] = 0xFF;
  bytes[17] = 0xE1;
  bytes[18] = uint8_t((size + 2) >> 8);
  bytes[19] = uint8_t(uint8_t(size & 0xFF) + 2);  // no carry into the high byte
  if (payload != nullptr && size > 0) std::memcpy(bytes.data() + kExfHeaderSize, payload, size);
  return bytes;
}

std::string ExfDefaultName(const std::string& sourcePath) {
  const std::size_t slash = sourcePath.find_last_of('/');
  const std::size_t dot = sourcePath.find_last_of('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return sourcePath;
  return sourcePath.substr(0, dot + 1) + "exf";
}

std::string ExfFixName(const std::string& chosen) {
  return chosen.size() > 4 && !EndsWithExf(chosen) ? chosen + ".exf" : chosen;
}

int ExfExport(const std::string& sourcePath, const std::string& outputPath, uint32_t* message) {
  std::vector<uint8_t> payload;
  ErrorClear();
  if (!ExfExtractPayload(sourcePath, &payload)) {
    *message = ErrorPeek() == ErrNoExif ? MsgNoExif : MsgExportFailed;
    return 0;
  }
  // A first APP1 that is not Exif (XMP) is no Exif backup.
  if (payload.size() < 6 || std::memcmp(payload.data(), "Exif\0\0", 6) != 0) {
    *message = MsgNoExif;
    return 0;
  }
  const std::vector<uint8_t> bytes = ExfBuild(payload.data(), uint32_t(payload.size()));
  // Through a temporary: a backup that was not written whole never stands under its name.
  const std::string temporary = FileTemporaryPath(outputPath);
  FilePtr out(std::fopen(temporary.c_str(), "wbx"));
  bool good = out && std::fwrite(bytes.data(), 1, bytes.size(), out.get()) == bytes.size();
  good = good && std::fflush(out.get()) == 0 && ::fsync(fileno(out.get())) == 0;
  good = out && std::fclose(out.release()) == 0 && good;
  if (!good || !FileReplaceDestination(temporary, outputPath)) {
    PushSystem(ErrFileIo, nullptr, outputPath);
    std::remove(temporary.c_str());
    *message = MsgExportFailed;
    return 0;
  }
  *message = 0;
  return 1;
}

int ExfReadSource(const std::string& path, std::vector<uint8_t>* payload, uint32_t* message) {
  payload->clear();
  FilePtr in(std::fopen(path.c_str(), "rb"));
  uint8_t head[kExfHeaderSize];
  if (!in) return PushSystem(ErrFileOpen, nullptr, path), *message = MsgBadInput, 0;
  if (std::fread(head, 1, 16, in.get()) != 16) return PushSystem(ErrFileIo, in.get(), path), *message = MsgBadInput, 0;
  if (std::memcmp(head, kMagic, 16) == 0) {
    if (std::fread(head + 16, 1, 4, in.get()) != 4) return PushSystem(ErrFileIo, in.get(), path), *message = MsgBadInput, 0;
    std::error_code error;
    const uint64_t fileSize = std::filesystem::file_size(path, error);
    int64_t size = error ? -1 : AgreedSize(head + 18, fileSize);
    if (size < 0) size = int64_t(int(head[19]) - 2) | (int64_t(head[18]) << 8);
    if (size < 0) return *message = MsgNoMemory, 0;
    payload->resize(std::size_t(size));
    if (std::fread(payload->data(), 1, payload->size(), in.get()) != payload->size())
      return PushSystem(ErrFileIo, in.get(), path), payload->clear(), *message = MsgReadError, 0;
  } else {
    in.reset();
    ErrorClear();
    if (!ExfExtractPayload(path, payload)) return *message = ErrorPeek() == ErrNoExif ? MsgNoExif : MsgBadInput, 0;
  }
  // Only Exif goes into a target's APP1: anything else would replace its Exif with bytes no
  // reader takes.
  ExifDocumentPtr document;
  const uint32_t status = ExifCheckSegment(payload->data(), uint32_t(payload->size()), document);
  // A payload that does not parse keeps its codes for the caller.
  if (!document || status >= StatusParseFailed) return payload->clear(), *message = MsgBadInput, 0;
  ErrorClear();
  *message = 0;
  return 1;
}

int ExfJpegPixelSize(const std::string& jpegPath, uint32_t* width, uint32_t* height) {
  FilePtr in(std::fopen(jpegPath.c_str(), "rb"));
  if (!in) return 0;
  JpegSegments walk(in.get());
  if (walk.Start() != JpegStep::Segment) return 0;
  JpegSegment segment;
  while (walk.Next(&segment) == JpegStep::Segment) {
    if (IsFrameHeader(segment.code)) {
      uint8_t frame[5];
      if (std::fread(frame, 1, 5, in.get()) != 5) return 0;
      *height = (uint32_t(frame[1]) << 8) | frame[2];
      *width = (uint32_t(frame[3]) << 8) | frame[4];
      return 1;
    }
    if (!walk.Skip(segment)) return 0;
  }
  return 0;
}

int ExfImport(const std::vector<uint8_t>& payload, const std::string& target, const std::string& output, int type,
              const Prompt* prompt, uint32_t* message) {
  *message = MsgCopyFailed;
  ErrorClear();
  if (payload.empty() || payload.size() >= kReplaceApp1Limit) return SaveFailed;
  // A target without Exif first takes the backup into a temporary copy, which replaces the
  // output only when everything succeeded.
  std::string staged;
  if (!FirstApp1IsExif(target)) {
    staged = InsertApp1(target, output, payload);
    if (staged.empty()) return SaveFailed;
  }
  if (type == kExfImportAsIs) {
    const bool done = staged.empty() ? JpegReplaceApp1(target, output, payload.data(), uint32_t(payload.size()))
                                     : FileReplaceDestination(staged, output) || (PushSystem(ErrFileIo, nullptr, output), false);
    if (!done) return SaveFailed;
    *message = 0;
    return SaveWritten;
  }
  const int result = ExfImportFitted(payload, staged.empty() ? target : staged, staged.empty() ? output : staged, prompt);
  if (!staged.empty() && (result != SaveWritten || !FileReplaceDestination(staged, output))) {
    if (result == SaveWritten) PushSystem(ErrFileIo, nullptr, output);
    std::remove(staged.c_str());
    return result == SaveWritten ? SaveFailed : result;
  }
  if (result == SaveWritten || result == SaveCancelled) *message = 0;
  return result;
}

int ExfImportFitted(const std::vector<uint8_t>& payload, const std::string& target, const std::string& output,
                    const Prompt* prompt) {
  ExifDocumentPtr document;
  const uint32_t status = ExifCheckSegment(payload.data(), uint32_t(payload.size()), document);
  if (!document || status >= StatusParseFailed) return SaveFailed;
  document->sourceKind = SourceKind::Jpeg;  // an APP1 payload, as a JPEG's read gives it
  uint32_t width = 0;
  uint32_t height = 0;
  if (!ExfJpegPixelSize(target, &width, &height)) return SaveFailed;
  QueuePixelSize(document.get(), TagPixelXDimension, width);
  QueuePixelSize(document.get(), TagPixelYDimension, height);
  std::vector<uint8_t> thumbnail;
  const ExfThumbnailMaker maker = gThumbnailMaker.load();
  if (maker != nullptr && ExifFindTag(document.get(), IfdThumbnail, TagThumbnailOffset) != nullptr &&
      maker(target, &thumbnail) && !thumbnail.empty())
    ExifSetThumbnail(document.get(), thumbnail.data(), uint32_t(thumbnail.size()), 1);
  return ExifSaveFile(target, output, document.get(), prompt, SaveMode::PendingEdits);
}
