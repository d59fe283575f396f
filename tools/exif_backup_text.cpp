// The plain text dump of a file's Exif: a header line, then every table's tags with their
// raw fields, display text and, for values beyond the entry, a hexadecimal dump.
#include <cstdio>
#include <string>
#include <vector>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/makernote_handler.h"
#include "exif/tag_catalogue.h"
#include "exif/value_format.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"
#include "makernote/nikon.h"
#include "tools/exif_backup.h"

namespace {

// The sections in their order; the MakerNote ones exist only for a Nikon note.
struct DumpSection {
  uint32_t kind;
  const char* heading;  // UTF-8 here, CP932 in the text
  bool nikon;
};
constexpr DumpSection kSections[] = {
    {IfdPrimary, "●Primary(0th IFD)\r\n", false},
    {IfdExif, "●Exif IFD\r\n", false},
    {kNikonMainKind, "<<Nikon Makernote>>\r\n", true},
    {kNikonThumbnailKind, "<<Nikon Makernote Thumbnail>>\r\n", true},
    {kNikonScannerKind, "<<Nikon Makernote Scaner>>\r\n", true},
    {IfdInterop, "●Interoperabiliy IFD\r\n", false},
    {IfdGps, "●GPS IFD\r\n", false},
    {IfdThumbnail, "●Thumbnail(1st IFD)\r\n", false},
};
constexpr uint32_t kDisplayRoom = 33;  // 32 characters and the terminator

uint32_t Swap32(uint32_t v) { return (v >> 24) | ((v >> 8) & 0xFF00) | ((v << 8) & 0xFF0000) | (v << 24); }
uint16_t Swap16(uint16_t v) { return uint16_t((v >> 8) | (v << 8)); }

void Append(std::string* text, const char* format, auto... values) {
  char line[160];
  std::snprintf(line, sizeof line, format, values...);
  *text += line;
}

// 16 bytes a line: "%04X: ", two digits a byte and a blank, but '-' after the eighth.
void AppendHexDump(std::string* text, const uint8_t* bytes, uint32_t size) {
  for (uint32_t line = 0; line < size; line += 16) {
    Append(text, "%04X: ", line);
    for (uint32_t i = line; i < size && i < line + 16; ++i) Append(text, "%02X%c", bytes[i], i - line == 7 ? '-' : ' ');
    *text += "\r\n";
  }
}

void AppendTag(std::string* text, ExifDocument* document, const ExifContext* order, uint32_t kind,
               const TagEntry& entry) {
  const TagDefinition* row = TagCatalogueFind(TagCatalogueTable(document, kind), entry.tag);
  if (row != nullptr && row->displayName != nullptr) *text += std::string(Cp932Text("○")) + TagRowDisplayName(row) + "\r\n";
  char display[kDisplayRoom] = {};
  ExifFormatTag(document, &entry, kind, display, kDisplayRoom);
  // The numbers show the bytes as the file stores them: reversed for a little-endian file.
  const bool little = order->bigEndian == 0;
  Append(text, "[%04X %04X %08X %08X]:", little ? Swap16(entry.tag) : entry.tag, little ? Swap16(entry.type) : entry.type,
         little ? Swap32(entry.count) : entry.count, little ? Swap32(entry.sourceWord) : entry.sourceWord);
  *text += std::string(display) + "\r\n";
  const uint32_t size = entry.ValueSize();
  if (size > 4) {
    std::vector<uint8_t> stored(size);
    ExifWriteValue(order, stored.data(), entry.type, entry.count, entry.Data());
    AppendHexDump(text, stored.data(), size);
  }
  *text += "\r\n";
}

}  // namespace

int ExfDumpText(const std::string& path, std::string* text) {
  text->clear();
  ExifDocumentPtr document;
  const uint32_t status = ExifCheckFile(path, document);
  ErrorClear();
  if ((status & (StatusJpeg | StatusNef)) == 0 || !document) return 0;
  ExifDocument* doc = document.get();
  const uint8_t* tiff = doc->raw.data() + doc->tiffBase;
  const char* identifier = "Exif";
  // CP932 throughout: the display texts go in as the engine made them.
  std::string& out = *text;
  out = Cp932Text("◆");
  Append(&out, "%s %c%c %02X%02X %02X%02X%02X%02X\r\n\r\n", identifier, tiff[0], tiff[1], tiff[2], tiff[3], tiff[4],
         tiff[5], tiff[6], tiff[7]);
  const bool nikon = ExifMakerNoteFamily(doc) == FamilyNikon;
  bool noteHeading = false;
  for (const DumpSection& section : kSections) {
    if (section.nikon && !nikon) continue;
    const IfdTable* table = section.nikon ? ExifMakerNoteTable(doc, section.kind) : ExifIfdTable(doc, section.kind);
    if (table == nullptr || table->tags.empty()) continue;
    const ExifContext* order = doc;
    if (section.nikon) {
      order = ExifMakerNoteContext(doc);
      if (!noteHeading) out += std::string(Cp932Text("●Makernote ")) + (order->bigEndian ? "( big endian )\r\n" : "( little endian )\r\n");
      noteHeading = true;
    }
    out += Cp932Text(section.heading);
    for (const TagEntry& entry : table->tags) AppendTag(&out, doc, order, section.kind, entry);
  }
  return 1;
}
