// Any bytes as an APP1 payload whose tag 37500 is handed to every family's Parse, recognised or
// not, then rebuilt and read again: each handler must end in its own code on any note, never a
// crash, a hang or an unbounded allocation.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "exif/makernote_handler.h"
#include "frame/error_stack.h"
#include "fuzz/fuzz_input.h"
#include "makernote/makernote_families.h"

namespace {

void FuzzFamily(const MakerNoteDescriptor& family, const ExifDocument& document, const TagEntry& note) {
  std::unique_ptr<MakerNoteContext> context = family.create();
  if (!context) return;
  if (!context->Parse(document.raw.data(), document.rawSize, 0, &note)) return;
  uint32_t size = 0;
  if (context->Build(nullptr, 0, &size) != 1 || size > (1u << 20)) return;
  std::vector<uint8_t> built(size);
  context->Build(built.data(), size, &size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  uint32_t status = 0;
  ExifDocumentPtr document = FuzzReadSegment(data, size, &status);
  if (document && !(status & StatusParseFailed)) {
    if (const TagEntry* note = ExifFindTag(document.get(), IfdExif, TagMakerNote))
      for (const MakerNoteDescriptor* family : MakerNoteFamilies())
        if (family->create) FuzzFamily(*family, *document, *note);
  }
  ErrorClear();
  return 0;
}
