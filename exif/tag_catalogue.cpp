// Lookups over the tag catalogue, the table names and the type names.
#include "exif/tag_catalogue.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <vector>

#include "exif/makernote_handler.h"
#include "frame/cp932.h"

namespace {

const char* UnknownText() {
  static const char* const unknown = Cp932Text("不明");
  return unknown;
}

// The CP932 display names of the document's own tables, converted once and kept sorted by
// tag: a file's list asks for every tag's name, and the conversion cache takes a lock.
class OwnNames {
 public:
  OwnNames() {
    for (uint32_t kind = IfdPrimary; kind <= IfdGps; ++kind) {
      const TagDefinition* table = TagCatalogueOwnTable(kind);
      auto& names = names_[kind];
      for (uint32_t row = 0, count = TagCatalogueCount(table); row < count; ++row)
        names.push_back({table[row].tag, Cp932Text(table[row].displayName)});
      // Stable, so that the first row of a tag stays first, as a scan of the table finds it.
      std::stable_sort(names.begin(), names.end(), [](const Named& a, const Named& b) { return a.tag < b.tag; });
    }
  }
  const char* Name(uint32_t kind, uint16_t tag) const {
    if (kind < IfdPrimary || kind > IfdGps) return UnknownText();
    const auto& names = names_[kind];
    const auto at = std::lower_bound(names.begin(), names.end(), tag,
                                     [](const Named& named, uint16_t wanted) { return named.tag < wanted; });
    return at != names.end() && at->tag == tag ? at->name : UnknownText();
  }

 private:
  struct Named {
    uint16_t tag;
    const char* name;
  };
  std::array<std::vector<Named>, IfdGps + 1> names_;
};

const OwnNames& OwnDisplayNames() {
  static const OwnNames names;
  return names;
}

// The display names of the TIFF types, by type number; type 6 has none.
constexpr std::array<const char*, 11> kTypeNames = {
    nullptr, "BYTE", "ASCII", "SHORT", "LONG", "RATIONAL", nullptr, "UNDEFINED", "SSHORT", "SLONG", "SRATIONAL",
};

// The table names in the order the explorer lists them.
constexpr std::array<IfdName, 8> kIfdNames{{
    {IfdPrimary, "Primary(0th IFD)"},
    {IfdExif, "Exif IFD"},
    {257, "Nikon MakerNote"},
    {258, "Nikon MakerNote Thumbnail"},
    {259, "Nikon MakerNote Scanner"},
    {IfdInterop, "Interoperabiliy"},
    {IfdGps, "GPS"},
    {IfdThumbnail, "Thumbnail(1st IFD)"},
}};

// The tags whose values are offsets that only the writer sets.
struct StructuralTag {
  uint32_t kind;
  uint16_t tag;
};
constexpr StructuralTag kStructuralTags[] = {
    {IfdPrimary, TagExifIfdPointer},   {IfdPrimary, TagGpsIfdPointer}, {IfdThumbnail, TagThumbnailOffset},
    {IfdThumbnail, TagThumbnailLength}, {IfdExif, TagMakerNote},       {IfdExif, TagInteropIfdPointer},
};
static_assert(std::size(kStructuralTags) == 6);

}  // namespace

MakerNoteHandler* TagKindHandler(const ExifDocument* document, uint32_t kind) {
  if (!document || !document->makerNote || kind < kIfdMakerNoteFirst) return nullptr;
  MakerNoteHandler* handler = document->makerNote.get();
  const uint32_t family = kind & 0xFFFF0000u;
  if (family != 0 && family != handler->family) return nullptr;
  return handler;
}

const TagDefinition* TagCatalogueTable(const ExifDocument* document, uint32_t kind) {
  if (kind < kIfdMakerNoteFirst) return TagCatalogueOwnTable(kind);
  MakerNoteHandler* handler = TagKindHandler(document, kind);
  if (!handler || !handler->descriptor || !handler->descriptor->catalogue) return nullptr;
  return handler->descriptor->catalogue(kind & 0xFFFFu);
}

uint32_t TagCatalogueCount(const TagDefinition* table) {
  uint32_t count = 0;
  if (table)
    while (table[count].displayName) ++count;
  return count;
}

const TagDefinition* TagCatalogueFind(const TagDefinition* table, uint16_t tag) {
  if (!table) return nullptr;
  for (const TagDefinition* row = table; row->displayName; ++row)
    if (row->tag == tag) return row;
  return nullptr;
}

const char* TagRowDisplayName(const TagDefinition* row) {
  return row && row->displayName ? Cp932Text(row->displayName) : UnknownText();
}

const char* TagDisplayName(const ExifDocument* document, uint32_t kind, uint16_t tag) {
  if (kind >= kIfdMakerNoteFirst) {
    // A tag the family's catalogue does not hold is unknown, as in the document's own tables.
    const TagDefinition* row = TagCatalogueFind(TagCatalogueTable(document, kind), tag);
    return row ? TagRowDisplayName(row) : UnknownText();
  }
  return OwnDisplayNames().Name(kind, tag);
}

const char* TagExifName(const ExifDocument* document, uint32_t kind, uint16_t tag) {
  const TagDefinition* row = TagCatalogueFind(TagCatalogueTable(document, kind), tag);
  return row ? row->tagName : nullptr;
}

int TagIsEditable(const ExifDocument* document, uint32_t kind, uint16_t tag) {
  if (kind >= kIfdMakerNoteFirst) {
    if (!TagKindHandler(document, kind)) return 0;
    return ExifMakerNoteTagEditable(document, kind & 0xFFFFu, tag);
  }
  for (const StructuralTag& structural : kStructuralTags)
    if (structural.kind == kind && structural.tag == tag) return 0;
  return 1;
}

std::span<const IfdName> IfdDisplayNameTable() { return kIfdNames; }

const char* IfdDisplayName(uint32_t kind) {
  for (const IfdName& entry : kIfdNames)
    if (uint32_t(entry.kind) == kind) return Cp932Text(entry.name);
  return nullptr;
}

const char* ExifTypeName(uint32_t type) {
  if (type < kTypeNames.size() && kTypeNames[type]) return Cp932Text(kTypeNames[type]);
  return UnknownText();
}
