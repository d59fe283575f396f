// Any bytes as an APP1 payload: the reader, the MakerNote handlers and the value texts must
// end in a described status, never a crash, a hang or an unbounded allocation. The input's
// first bytes also make one entry of any kind, tag, type and count over the bytes behind them,
// whose text must stay inside every room from 0 to 64 bytes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "exif/value_format.h"
#include "frame/error_stack.h"
#include "fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  uint32_t status = 0;
  ExifDocumentPtr document = FuzzReadSegment(data, size, &status);
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
  if (size >= 8) {
    TagEntry entry;
    entry.tag = uint16_t(data[0] | data[1] << 8);
    entry.type = data[2] % 14;
    std::memcpy(&entry.count, data + 4, 4);
    entry.value.assign(data + 8, data + std::min<size_t>(size, 40));
    entry.value.insert(entry.value.end(), 4, 0);
    if (!document) ExifCreateEmpty(document);
    for (uint32_t room : {0u, 1u, 3u, 4u, 5u, 13u, 64u}) {
      auto text = std::make_unique<char[]>(room);  // exactly room: the sanitizer sees any write past it
      ExifFormatTag(document.get(), &entry, data[3] % 7, text.get(), room);
    }
  }
  ErrorClear();
  return 0;
}
