#include "makernote/makernote_families.h"

#include <array>

#include "makernote/canon.h"
#include "makernote/fujifilm.h"
#include "makernote/header_note.h"
#include "makernote/nikon.h"
#include "makernote/olympus.h"

namespace {

// One row per family, in the order the recognisers run. Canon comes last because its test
// looks only at the note's tail, which a note of another family could match by chance.
const std::array<const MakerNoteDescriptor*, 8> kFamilies{{
    &kNikonNote,
    &kPentaxNote,
    &kFujifilmNote,
    &kSonyNote,
    &kPanasonicNote,
    &kCasioNote,
    &kOlympusNote,
    &kCanonNote,
}};

}  // namespace

std::span<const MakerNoteDescriptor* const> MakerNoteFamilies() { return kFamilies; }

const MakerNoteDescriptor* MakerNoteFamilyFind(uint32_t family) {
  for (const MakerNoteDescriptor* row : kFamilies)
    if (row->family == family) return row;
  return nullptr;
}

const char* MakerFamilyName(uint32_t family) {
  const MakerNoteDescriptor* row = MakerNoteFamilyFind(family);
  return row != nullptr ? row->displayName : "Unknown";
}
