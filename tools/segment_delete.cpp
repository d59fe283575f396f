#include "tools/segment_delete.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/jpeg_file.h"
#include "frame/error_stack.h"
#include "frame/settings.h"

namespace {

enum : uint32_t { kMessageExifError = 5, kMessageNoExif = 31, kMessageNothingChosen = 78 };

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

bool IsDropped(uint8_t code, uint32_t mask) { return code >= 0xE0 && code <= 0xEF && ((mask >> (code & 0x0F)) & 1) != 0; }

// One marker segment ahead of the first SOS, as the copy meets it.
struct SegmentHead {
  uint8_t marker[2];
  uint8_t length[2];
  uint32_t Length() const { return (uint32_t(length[0]) << 8) | length[1]; }
};

bool Copy(std::FILE* in, std::FILE* out, uint64_t count) {
  std::vector<uint8_t> block(std::size_t(std::min<uint64_t>(count, 1u << 20)));
  while (count > 0) {
    const std::size_t part = std::size_t(std::min<uint64_t>(count, block.size()));
    if (std::fread(block.data(), 1, part, in) != part || std::fwrite(block.data(), 1, part, out) != part) return false;
    count -= part;
  }
  return true;
}

// The copy itself: 0 or the error code. Short reads give 1025.
uint32_t CopyWithout(std::FILE* in, std::FILE* out, uint64_t size, uint32_t mask) {
  uint8_t start[2];
  if (std::fread(start, 1, 2, in) != 2) return ErrFileIo;
  if (start[0] != 0xFF || start[1] != 0xD8) return ErrNotJpeg;
  if (std::fwrite(start, 1, 2, out) != 2) return ErrFileIo;
  for (;;) {
    SegmentHead head;
    if (std::fread(head.marker, 1, 2, in) != 2) return ErrFileIo;
    if (head.marker[0] != 0xFF) return ErrMarkerStructure;
    if (head.marker[1] == 0xDA) {
      const long sos = std::ftell(in) - 2;
      if (sos < 0 || uint64_t(sos) > size || std::fseek(in, sos, SEEK_SET) != 0) return ErrFileIo;
      return Copy(in, out, size - uint64_t(sos)) ? 0u : uint32_t(ErrFileIo);
    }
    if (std::fread(head.length, 1, 2, in) != 2) return ErrFileIo;
    if (head.Length() < 2) return ErrMarkerStructure;  // a length that would step backwards
    if (IsDropped(head.marker[1], mask)) {
      if (std::fseek(in, long(head.Length() - 2), SEEK_CUR) != 0) return ErrFileIo;
      continue;
    }
    if (std::fwrite(&head, 1, 4, out) != 4 || !Copy(in, out, head.Length() - 2)) return ErrFileIo;
  }
}

}  // namespace

SegmentDeleteSettings SegmentDeleteLoadSettings() {
  SegmentDeleteSettings settings;
  settings.type = SettingsGetInt("EDIT", "DELTYPE", 0) == 0 ? 0 : 1;
  settings.mask = uint32_t(SettingsGetInt("EDIT", "DELAPPSEG", 0)) & 0xFFFF;
  return settings;
}

void SegmentDeleteStoreSettings(const SegmentDeleteSettings& settings) {
  SettingsPutUInt("EDIT", "DELTYPE", settings.type == 0 ? 0u : 1u);
  if (settings.type != 0) SettingsPutUInt("EDIT", "DELAPPSEG", settings.mask);
}

uint32_t SegmentDeleteCheck(const SegmentDeleteSettings& settings) {
  return settings.type != 0 && (settings.mask & 0xFFFF) == 0 ? kMessageNothingChosen : 0u;
}

int SegmentDeleteApp(const std::string& input, const std::string& output, uint32_t mask) {
  FilePtr in(std::fopen(input.c_str(), "rb"));
  if (!in) return ErrorPush(ErrFileOpen), 0;
  std::error_code error;
  const uint64_t size = std::filesystem::file_size(input, error);
  if (error) return ErrorPush(ErrFileStatus), 0;
  const std::string temporary = FileTemporaryPath(output);
  FilePtr out(std::fopen(temporary.c_str(), "wbx"));
  if (!out) return ErrorPush(ErrFileOpen), 0;
  uint32_t code = CopyWithout(in.get(), out.get(), size, mask);
  in.reset();
  // On the disk before it takes the output's name, so a crash never leaves a cut file there.
  if (code == 0 && (std::fflush(out.get()) != 0 || ::fsync(fileno(out.get())) != 0)) code = ErrFileIo;
  if (std::fclose(out.release()) != 0 && code == 0) code = ErrFileIo;
  if (code != 0) {
    std::remove(temporary.c_str());
    return ErrorPush(code), 0;
  }
  // The replacement keeps the old output until the new one stands, and removes the temporary
  // on failure.
  return FileReplaceDestination(temporary, output);
}

int SegmentDeleteExif(const std::string& input, const std::string& output, uint32_t* message) {
  ExifDocumentPtr document;
  const uint32_t status = ExifCheckFile(input, document);
  ErrorClear();
  *message = 0;
  if (status & StatusNoExif) *message = kMessageNoExif;
  else if (status >= StatusParseFailed) *message = kMessageExifError;
  if (*message != 0 || (status & StatusJpeg) == 0) return 0;
  if (JpegReplaceApp1(input, output, nullptr, 0)) return 1;
  *message = kMessageExifError;
  return 0;
}

std::string SegmentDeleteDescribe(const std::string& input, uint32_t mask) {
  std::vector<uint8_t> bytes(1u << 20);
  FilePtr in(std::fopen(input.c_str(), "rb"));
  if (!in) return {};
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), in.get()));
  std::string lines;
  if (bytes.size() < 2 || bytes[0] != 0xFF || bytes[1] != 0xD8) return lines;
  for (std::size_t at = 2; at + 4 <= bytes.size() && bytes[at] == 0xFF && bytes[at + 1] != 0xDA;) {
    const uint32_t length = (uint32_t(bytes[at + 2]) << 8) | bytes[at + 3];
    if (length < 2) break;
    if (IsDropped(bytes[at + 1], mask)) {
      char line[64];
      std::snprintf(line, sizeof line, "APP%u at %zu, %u bytes\n", unsigned(bytes[at + 1] & 0x0F), at, length + 2);
      lines += line;
    }
    at += 2 + length;
  }
  return lines;
}
