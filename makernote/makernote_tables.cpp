#include "makernote/makernote_tables.h"

#include <array>
#include <cstddef>
#include <iterator>

#include "exif/makernote_handler.h"

namespace {

struct ProtectedTag {
  uint32_t family;
  uint32_t table;
  uint16_t tag;
};

// The pointers each handler keeps itself; Canon, Fujifilm and Panasonic have none.
constexpr ProtectedTag kProtectedTags[] = {
    {FamilyNikon, 257, 17},
    {FamilyNikon, 257, 3600},
    {FamilyNikon, 258, 513},
    {FamilyNikon, 258, 514},
    {FamilyOlympus, 257, 8208},
    {FamilyOlympus, 257, 8224},
    {FamilyOlympus, 257, 8240},
    {FamilyOlympus, 257, 8256},
    {FamilyOlympus, 257, 8272},
    {FamilyCasio, 257, 3},
    {FamilyCasio, 257, 4},
    {FamilyCasio, 257, 8192},
    {FamilyPentax, 257, 3},
    {FamilyPentax, 257, 4},
    {FamilySony, 257, 45096},
};
static_assert(std::size(kProtectedTags) == 15, "fifteen protected tags over five families");

// Table names, each list ended by table -1.
constexpr MakerNoteTableName kNikonNames[] = {
    {257, "Nikon MakerNote"}, {258, "Nikon MakerNote Thumbnail"}, {259, "Nikon MakerNote Scanner"}, {-1, nullptr}};
constexpr MakerNoteTableName kOlympusNames[] = {{257, "OLYMPUS MakerNote Main IFD"},
                                                {258, "OLYMPUS MakerNote Sub IFD1"},
                                                {259, "OLYMPUS MakerNote Sub IFD2"},
                                                {260, "OLYMPUS MakerNote Sub IFD3"},
                                                {261, "OLYMPUS MakerNote Sub IFD4"},
                                                {262, "OLYMPUS MakerNote Sub IFD5"},
                                                {-1, nullptr}};
constexpr MakerNoteTableName kSonyNames[] = {
    {257, "Sony MakerNote Main IFD"}, {258, "Sony MakerNote Sub IFD"}, {-1, nullptr}};
constexpr MakerNoteTableName kCanonNames[] = {{257, "Canon MakerNote"}, {-1, nullptr}};
constexpr MakerNoteTableName kPentaxNames[] = {{257, "Pentax MakerNote"}, {-1, nullptr}};
constexpr MakerNoteTableName kFujifilmNames[] = {{257, "FUJIFILM MakerNote"}, {-1, nullptr}};
constexpr MakerNoteTableName kPanasonicNames[] = {{257, "Panasonic MakerNote"}, {-1, nullptr}};
constexpr MakerNoteTableName kCasioNames[] = {{257, "CASIO MakerNote"}, {-1, nullptr}};

struct FamilyNames {
  uint32_t family;
  const MakerNoteTableName* names;
};
constexpr std::array<FamilyNames, 8> kFamilyNames{{
    {FamilyNikon, kNikonNames},
    {FamilyCanon, kCanonNames},
    {FamilyPentax, kPentaxNames},
    {FamilySony, kSonyNames},
    {FamilyFujifilm, kFujifilmNames},
    {FamilyPanasonic, kPanasonicNames},
    {FamilyCasio, kCasioNames},
    {FamilyOlympus, kOlympusNames},
}};

}  // namespace

const MakerNoteTableName* MakerNoteTableNames(uint32_t family) {
  for (const FamilyNames& row : kFamilyNames)
    if (row.family == family) return row.names;
  return nullptr;
}

int MakerNoteTagEditable(uint32_t family, uint32_t table, uint16_t tag) {
  for (const ProtectedTag& row : kProtectedTags)
    if (row.family == family && row.table == table && row.tag == tag) return 0;
  return 1;
}
