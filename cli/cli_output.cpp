#include "cli/cli_output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "exif/exif_reader.h"
#include "frame/cp932.h"
#include "frame/message_table.h"

std::string CliMessage(uint32_t id, const std::string& path) {
  const char* text = MessageText(id);
  std::string message = text ? Utf8FromCp932(text) : std::string();
  if (const size_t at = message.find("%s"); at != std::string::npos) message.replace(at, 2, path);
  return message;
}

void CliReportFailure(const std::string& path, uint32_t code, uint32_t messageId) {
  if (code)
    std::fprintf(stderr, "%s: error %u: %s\n", path.c_str(), code, CliMessage(messageId, path).c_str());
  else
    std::fprintf(stderr, "%s: %s\n", path.c_str(), CliMessage(messageId, path).c_str());
}

void CliReportError(const std::string& path, const ErrorDetail& error, uint32_t messageId) {
  const std::string& named = error.path.empty() ? path : error.path;
  if (error.systemError != 0)
    std::fprintf(stderr, "%s: error %u: %s\n%s\n", named.c_str(), error.code, std::strerror(error.systemError),
                 CliMessage(messageId, named).c_str());
  else
    CliReportFailure(path, error.code, messageId);
  if (error.line != 0) std::fprintf(stderr, "%s: line %u: %s\n", named.c_str(), error.line, error.note.c_str());
}

uint32_t CliReadMessage(uint32_t status, const ErrorDetail& error) {
  if (error.code == ErrFileOpen && error.systemError != 0) return MsgFileUnreadable;
  if (error.code == ErrFileIo && error.systemError != 0) return MsgReadError;
  if (status & StatusNoExif) return MsgNoExif;
  if (status & StatusUnusable) return MsgUnsupported;
  if (status & StatusParseFailed) {
    if (error.code >= ErrIfdPrimary && error.code <= ErrIfdInterop)
      return MsgParseErrorIfd0 + (error.code - ErrIfdPrimary);
    return MsgParseError;
  }
  if (error.code == ErrThumbnail) return MsgThumbnailMissing;
  if (status & StatusMakerNoteFailed) return MsgMakerNoteParse;
  return 0;
}

namespace {

// The reading after the load: the refusal the stack holds, or the inspection of the document.
CliReading CliReadAfterLoad(int loaded, CliReading reading) {
  if (!loaded) {
    reading.error = ErrorPopDetail();
    reading.status = reading.error.code == ErrNoExif ? StatusNoExif : StatusUnusable;
    ErrorClear();
    return reading;
  }
  reading.status = ExifInspectKeepPartial(reading.document, &reading.document);
  if (reading.status & (StatusParseFailed | StatusMakerNoteFailed)) {
    reading.error = ErrorPopDetail();
    reading.partial = reading.document != nullptr;
  } else if (reading.status & StatusNoThumbnail && ErrorPeek() == ErrThumbnail) {
    reading.error = ErrorPopDetail();
  }
  ErrorClear();
  return reading;
}

}  // namespace

CliReading CliRead(const std::string& path) {
  CliReading reading;
  ErrorClear();
  const int loaded = ExifLoadFile(path, reading.document);
  return CliReadAfterLoad(loaded, std::move(reading));
}

CliReading CliReadSegment(const std::string& path, const std::vector<uint8_t>& app1) {
  CliReading reading;
  ErrorClear();
  // As ExifLoadFile takes a JPEG's first APP1 payload, from bytes already read.
  const int loaded = ExifCreateFromSegment(app1.data(), uint32_t(app1.size()), reading.document);
  if (loaded) {
    reading.document->path = path;
    reading.document->sourceKind = SourceKind::Jpeg;
  }
  return CliReadAfterLoad(loaded, std::move(reading));
}

bool CliReadFailed(const CliReading& reading) {
  return reading.partial || (reading.status & (StatusParseFailed | StatusNoExif | StatusUnusable)) != 0;
}

ErrorDetail CliWriteObstacle(const std::string& destination) {
  namespace fs = std::filesystem;
  ErrorDetail obstacle;
  std::error_code ec;
  const fs::path path(destination);
  if (fs::exists(path, ec)) {
    if (fs::is_directory(path, ec))
      obstacle = {ErrFileOpen, EISDIR, destination, 0, {}};
    else if (::access(destination.c_str(), W_OK) != 0)
      obstacle = {ErrFileOpen, errno, destination, 0, {}};
    return obstacle;
  }
  const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
  if (::access(folder.c_str(), W_OK) != 0) obstacle = {ErrFileOpen, errno, folder.string(), 0, {}};
  return obstacle;
}
