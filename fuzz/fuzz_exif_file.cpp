// Any bytes as a file on disk: the marker scan, the APP1 reads (buffered and direct) and the
// NEF path.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "frame/error_stack.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string path =
      (std::filesystem::temp_directory_path() / ("tavexon-fuzz-" + std::to_string(getpid()) + ".nef")).string();
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) return 0;
  std::fwrite(data, 1, size, f);
  std::fclose(f);
  ExifDocumentPtr document;
  ExifCheckFile(path, document);
  static uint8_t buffer[65536];
  uint32_t got = 0;
  ExifReadApp1Direct(path, buffer, &got);
  ErrorClear();
  return 0;
}
