#include "makernote/makernote_families.h"

#include <array>

#include "makernote/makernote_recognise.h"
#include "makernote/nikon.h"

namespace {

// One row per family, in the order the recognisers run. Canon comes last because its test
// looks only at the note's tail, which a note of another family could match by chance.
constexpr std::array<MakerNoteFamilyRow, 8> kFamilies{{
    {FamilyNikon, "Nikon", 1, MakerNoteRecogniseNikon, MakerNoteNikonOperations},
    {FamilyPentax, "Pentax", 2, MakerNoteRecognisePentax, nullptr},
    {FamilyFujifilm, "FUJFILM", 3, MakerNoteRecogniseFujifilm, nullptr},
    {FamilySony, "SONY", 4, MakerNoteRecogniseSony, nullptr},
    {FamilyPanasonic, "Panasonic", 5, MakerNoteRecognisePanasonic, nullptr},
    {FamilyCasio, "CASIO", 6, MakerNoteRecogniseCasio, nullptr},
    {FamilyOlympus, "OLYMUPS", 7, MakerNoteRecogniseOlympus, nullptr},
    {FamilyCanon, "Canon", 8, MakerNoteRecogniseCanon, nullptr},
}};

constexpr bool RowsInRecognitionOrder() {
  for (size_t i = 0; i < kFamilies.size(); ++i)
    if (kFamilies[i].recognitionOrder != i + 1) return false;
  return true;
}
static_assert(RowsInRecognitionOrder(), "family rows must stand in recognition order 1 to 8");

}  // namespace

std::span<const MakerNoteFamilyRow> MakerNoteFamilies() { return kFamilies; }

const MakerNoteFamilyRow* MakerNoteFamilyFind(uint32_t family) {
  for (const MakerNoteFamilyRow& row : kFamilies)
    if (row.family == family) return &row;
  return nullptr;
}

const char* MakerFamilyName(uint32_t family) {
  const MakerNoteFamilyRow* row = MakerNoteFamilyFind(family);
  return row != nullptr ? row->displayName : "Unknown";
}
