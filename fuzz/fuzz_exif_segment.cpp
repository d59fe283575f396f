// Any bytes as an APP1 payload: the reader, the MakerNote handlers and the value texts must
// end in a described status, never a crash, a hang or an unbounded allocation.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/value_format.h"
#include "frame/error_stack.h"
#include "fuzz/fuzz_input.h"
#include "shooting/engine_install.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool installed = (EngineInstall(), true);
  (void)installed;
  if (size > 0xFFFFFF) return 0;
  const std::vector<uint8_t> payload = FuzzPayload(data, size);
  ExifDocumentPtr document;
  const uint32_t status = ExifCheckSegment(payload.data(), uint32_t(payload.size()), document);
  if (document && !(status & StatusParseFailed)) {
    char text[256];
    for (uint32_t kind = IfdPrimary; kind <= IfdGps; ++kind) {
      ExifBeginTagWalk(document.get(), kind);
      while (const TagEntry* entry = ExifNextTag(document.get())) {
        const char* name = nullptr;
        ExifDescribeTag(document.get(), kind, entry, &name, text, sizeof text);
      }
      ExifEndTagWalk(document.get());
    }
  }
  ErrorClear();
  return 0;
}
