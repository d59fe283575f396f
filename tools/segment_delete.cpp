#include "tools/segment_delete.h"

#include <cstdio>
#include <memory>
#include <vector>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/jpeg_file.h"
#include "exif/jpeg_segments.h"
#include "frame/error_stack.h"
#include "frame/message_table.h"
#include "frame/settings.h"

namespace {


struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

bool IsDropped(uint8_t code, uint32_t mask) { return code >= 0xE0 && code <= 0xEF && ((mask >> (code & 0x0F)) & 1) != 0; }

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
  return settings.type != 0 && (settings.mask & 0xFFFF) == 0 ? MsgNothingSelected : 0u;
}

int SegmentDeleteApp(const std::string& input, const std::string& output, uint32_t mask) {
  // The writer's rewrite: a temporary in the output's folder that replaces the output only when
  // complete, with the output's links, owner and mode kept.
  return JpegDeleteSegments(input, output, mask, JpegMaskReach::Applications);
}

int SegmentDeleteExif(const std::string& input, const std::string& output, uint32_t* message) {
  ExifDocumentPtr document;
  const uint32_t status = ExifCheckFile(input, document);
  *message = 0;
  if (status & StatusNoExif) *message = MsgNoExif;
  else if (status >= StatusParseFailed) *message = MsgExifError;
  if (*message != 0 || (status & StatusJpeg) == 0) return 0;  // the read's codes stay for the caller
  ErrorClear();
  if (JpegReplaceApp1(input, output, nullptr, 0)) return 1;
  *message = MsgExifError;
  return 0;
}

std::string SegmentDeleteDescribe(const std::string& input, uint32_t mask) {
  std::vector<uint8_t> bytes(1u << 20);
  FilePtr in(std::fopen(input.c_str(), "rb"));
  if (!in) return {};
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), in.get()));
  std::string lines;
  JpegSegments walk(bytes);
  if (walk.Start() != JpegStep::Segment) return lines;
  JpegSegment segment;
  while (walk.Next(&segment) == JpegStep::Segment) {
    if (IsDropped(segment.code, mask)) {
      char line[64];
      std::snprintf(line, sizeof line, "APP%u at %llu, %u bytes\n", unsigned(segment.code & 0x0F),
                    static_cast<unsigned long long>(segment.position), segment.length + 2);
      lines += line;
    }
    if (!walk.Skip(segment)) break;
  }
  return lines;
}
