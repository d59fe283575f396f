// The tag selection of the CSV tools and its persisted form.
#include "tools/tag_selection.h"

#include <array>
#include <cstdio>
#include <set>
#include <utility>

#include "exif/tag_catalogue.h"
#include "frame/settings.h"
#include "makernote/nikon.h"

namespace {

constexpr std::array<TagSelectionIfd, 8> kIfds = {{
    {IfdPrimary, "Primary(0th IFD)"},
    {IfdExif, "Exif IFD"},
    {IfdInterop, "Interoperabiliy"},  // the heading keeps its spelling
    {IfdGps, "GPS"},
    {IfdThumbnail, "Thumbnail(1st IFD)"},
    {kNikonMainKind, "Nikon MakerNote"},
    {kNikonThumbnailKind, "Nikon MakerNote Thumbnail"},
    {kNikonScannerKind, "Nikon MakerNote Scanner"},
}};

constexpr size_t kIdLength = 15;
constexpr size_t kPersistedStride = 16;
constexpr const char* kSection = "CSV";

bool Offered(uint32_t ifd) {
  for (const TagSelectionIfd& entry : kIfds)
    if (entry.ifd == ifd) return true;
  return false;
}

// The catalogue table of an offered kind: the document's own, or the Nikon note's, which the
// list always names whatever the files' maker.
const TagDefinition* CatalogueOf(uint32_t ifd) {
  if (ifd < kIfdMakerNoteFirst) return TagCatalogueOwnTable(ifd);
  if ((ifd & 0xFFFF0000u) != FamilyNikon) return nullptr;
  return NikonCatalogue(ifd & 0xFFFFu);
}

uint32_t DigitValue(char c) {
  if (c >= '0' && c <= '9') return uint32_t(c - '0');
  if (c >= 'a' && c <= 'f') return uint32_t(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return uint32_t(c - 'A' + 10);
  return 0;
}

uint32_t FoldDigits(std::string_view digits) {
  uint32_t value = 0;
  for (char c : digits) value = value << 4 | DigitValue(c);
  return value;
}

// One persisted entry from its 13 digits behind the "0x".
TagPick PickFromDigits(std::string_view digits) {
  TagPick pick;
  pick.ifd = FoldDigits(digits.substr(0, 8));
  pick.tag = FoldDigits(digits.substr(8, 4));
  pick.type = FoldDigits(digits.substr(12, 1));
  return pick;
}

}  // namespace

const TagSelectionIfd* TagSelectionIfds(size_t* count) {
  if (count) *count = kIfds.size();
  return kIfds.data();
}

TagSelection TagSelectionSelectable() {
  TagSelection list;
  for (const TagSelectionIfd& ifd : kIfds) {
    const TagDefinition* table = CatalogueOf(ifd.ifd);
    if (!table) continue;  // a table the catalogue lacks is left out with its heading
    TagPick heading;
    heading.kind = 0;
    heading.name = ifd.heading;
    heading.ifd = ifd.ifd;
    list.push_back(heading);
    for (uint32_t i = 0, n = TagCatalogueCount(table); i < n; ++i) {
      TagPick pick;
      pick.name = TagRowDisplayName(&table[i]);
      pick.ifd = ifd.ifd;
      pick.tag = table[i].tag;
      pick.type = table[i].type;
      list.push_back(pick);
    }
  }
  return list;
}

TagSelection TagSelectionEverything() {
  TagSelection everything;
  std::set<std::pair<uint32_t, uint32_t>> seen;
  for (TagPick pick : TagSelectionSelectable()) {
    if (pick.kind != 1 || !seen.insert({pick.ifd, pick.tag}).second) continue;
    pick.selected = 1;
    everything.push_back(pick);
  }
  return everything;
}

std::string TagSelectionTitle(uint32_t ifd, uint32_t tag) {
  if (!Offered(ifd)) return {};
  const TagDefinition* table = CatalogueOf(ifd);
  if (!table) return {};
  return TagRowDisplayName(TagCatalogueFind(table, uint16_t(tag)));
}

uint32_t TagSelectionCatalogueType(uint32_t ifd, uint32_t tag) {
  const TagDefinition* row = Offered(ifd) ? TagCatalogueFind(CatalogueOf(ifd), uint16_t(tag)) : nullptr;
  return row ? row->type : 0;
}

std::string TagPickId(const TagPick& pick) {
  char id[kIdLength + 1];
  std::snprintf(id, sizeof id, "0x%08X%04X%01X", pick.ifd, pick.tag & 0xFFFFu, pick.type & 0xFu);
  return id;
}

bool TagPickFromId(std::string_view id, TagPick* pick) {
  if (id.size() != kIdLength || id[0] != '0' || (id[1] | 0x20) != 'x') return false;
  *pick = PickFromDigits(id.substr(2));
  return true;
}

int TagSelectionSave(const TagSelection& selection) {
  if (selection.empty()) return 1;
  std::string list;
  list.reserve(selection.size() * kPersistedStride + 1);
  for (const TagPick& pick : selection) list += TagPickId(pick) + ",";
  if (!SettingsPutUInt(kSection, "TAGCOUNT", uint32_t(selection.size()))) return 0;
  return SettingsPutString(kSection, "TAGLIST", list.c_str());
}

TagSelection TagSelectionLoad() {
  TagSelection selection;
  const int count = SettingsGetInt(kSection, "TAGCOUNT", 0);
  if (count < 1) return selection;
  const std::string list = SettingsGetText(kSection, "TAGLIST", "");
  // Entries stand at a stride of 16: "0x", 13 digits, a comma. A cut last entry is still read,
  // as the fixed buffer of the persisted form reads it: its missing digits count as 0.
  for (size_t at = 0; int(selection.size()) < count && at < list.size(); at += kPersistedStride) {
    std::string entry = list.substr(at, kPersistedStride);
    entry.resize(kPersistedStride, '\0');
    selection.push_back(PickFromDigits(std::string_view(entry).substr(2, 13)));
  }
  return selection;
}
