#include "cli/cli_output.h"

#include <cstdio>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "frame/cp932.h"
#include "frame/message_table.h"

std::string CliMessage(uint32_t id) {
  const char* text = MessageText(id);
  return text ? Utf8FromCp932(text) : std::string();
}

void CliReportFailure(const std::string& path, uint32_t code, uint32_t messageId) {
  if (code)
    std::fprintf(stderr, "%s: error %u: %s\n", path.c_str(), code, CliMessage(messageId).c_str());
  else
    std::fprintf(stderr, "%s: %s\n", path.c_str(), CliMessage(messageId).c_str());
}

uint32_t CliReadMessage(uint32_t status, uint32_t code) {
  if (status & StatusNoExif) return 31;
  if (status & StatusUnusable) return 32;
  if (status & StatusParseFailed) {
    if (code >= ErrIfdPrimary && code <= ErrIfdInterop) return 86 + (code - ErrIfdPrimary);
    return 85;
  }
  if (code == ErrThumbnail) return 110;
  if (status & StatusMakerNoteFailed) return 38;
  return 0;
}
