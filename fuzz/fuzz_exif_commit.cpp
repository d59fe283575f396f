// Any bytes as an APP1 payload, then every road of a commit: the in-place patch, the rebuild in
// both byte orders with the MakerNote kept in place, and the rebuild of an open note. Whatever
// a commit builds must read again and pass the save's comparison (the MakerNote's extent walked
// in both); nothing may crash or run past a buffer.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/exif_writer.h"
#include "exif/makernote_handler.h"
#include "frame/error_stack.h"
#include "fuzz/fuzz_input.h"
#include "makernote/makernote_verify.h"
#include "shooting/engine_install.h"

namespace {

// Reads the payload, queues one edit chosen by `road`, commits, and reads the result again.
void CommitOnce(const std::vector<uint8_t>& payload, int road) {
  ExifDocumentPtr document;
  ExifCheckSegment(payload.data(), uint32_t(payload.size()), document);
  if (!document) return;
  static const char kShort[] = "x";
  static const char kLong[] = "a name long enough that no value behind it can stay where it was";
  const uint16_t nikonIso[2] = {0, 400};
  switch (road) {
    case 0: ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 271, TypeAscii, sizeof kShort, kShort); break;
    case 1: ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 315, TypeAscii, sizeof kLong, kLong); break;
    case 2: ExifQueueEdit(document.get(), PendingDelete, IfdExif, 33434, 0, 0, nullptr); break;
    default: ExifQueueEdit(document.get(), PendingSet, FamilyNikon | 257, 2, TypeShort, 2, nikonIso); break;
  }
  const uint8_t* bytes = nullptr;
  uint32_t size = 0;
  const uint32_t order = road == 2 ? document->bigEndian ^ 1u : document->bigEndian;
  if (ExifCommit(document.get(), &bytes, &size, order, road == 1 ? 1 : 0, road == 3 ? CommitMode::ForceRebuild : CommitMode::Classify) && bytes && size) {
    const std::vector<uint8_t> built(bytes, bytes + size);
    ExifDocumentPtr again;
    ExifCheckSegment(built.data(), uint32_t(built.size()), again);
    ExifPayloadPreserves(document.get(), built.data(), uint32_t(built.size()));  // the save's safety net
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool installed = (EngineInstall(), true);
  (void)installed;
  if (size < 2 || size > 0xFFFFFF) return 0;
  // The road comes from the input's length, so that whole camera files stay good seeds.
  const std::vector<uint8_t> payload = FuzzPayload(data, size);
  if (payload.size() > kApp1PayloadMax) return 0;
  CommitOnce(payload, int(size & 3));
  ErrorClear();
  return 0;
}
