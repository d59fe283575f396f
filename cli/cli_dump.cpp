// tavexon-cli dump: the Exif of files, tag by tag, as text or as one JSON document.
#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "cli/cli_output.h"
#include "cli/commands.h"
#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/makernote_handler.h"
#include "exif/tag_catalogue.h"
#include "exif/value_format.h"
#include "makernote/makernote_tables.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"

namespace {

struct DumpOptions {
  std::vector<std::string> files;
  bool json = false;
  bool raw = false;
  std::string preview;
};

// The document's tables in storage order, with the names the dump prints.
struct DumpTable {
  uint32_t kind;
  const char* name;
};
constexpr DumpTable kDumpTables[] = {
    {IfdPrimary, "0th"}, {IfdThumbnail, "1st"}, {IfdExif, "exif"}, {IfdGps, "gps"}, {IfdInterop, "interop"},
};

// A file's reading: the document when there is one, the status and the error code.
struct DumpReading {
  ExifDocumentPtr document;
  uint32_t status = 0;
  uint32_t code = 0;
};

DumpReading DumpRead(const std::string& path) {
  DumpReading reading;
  ErrorClear();
  if (!ExifLoadFile(path, reading.document)) {
    reading.code = ErrorPop();
    reading.status = reading.code == ErrNoExif ? StatusNoExif : StatusUnusable;
    return reading;
  }
  reading.status = ExifInspect(reading.document);
  if (reading.status & StatusParseFailed || reading.status & StatusMakerNoteFailed)
    reading.code = ErrorPop();
  else if (reading.status & StatusNoThumbnail && ErrorPeek() == ErrThumbnail)
    reading.code = ErrorPop();
  ErrorClear();
  return reading;
}

bool DumpFailed(const DumpReading& reading) {
  return reading.status & (StatusParseFailed | StatusNoExif | StatusUnusable);
}

std::string DumpStatusText(uint32_t status) {
  static const struct {
    uint32_t bit;
    const char* name;
  } kNames[] = {{StatusJpeg, "jpeg"},           {StatusNef, "nef"},
                {StatusNoThumbnail, "no-thumbnail"}, {StatusMakerNoteFailed, "makernote-failed"},
                {StatusParseFailed, "parse-failed"}, {StatusNoExif, "no-exif"},
                {StatusUnusable, "unusable"}};
  std::string text;
  for (const auto& n : kNames)
    if (status & n.bit) text += (text.empty() ? "" : ",") + std::string(n.name);
  return text.empty() ? "none" : text;
}

bool DumpIsByteType(uint16_t type) {
  return type == TypeByte || type == TypeUndefined || type == TypeSignedByte || ExifTypeSize(type) == 0;
}

// The ASCII value up to its first zero byte, in UTF-8.
std::string DumpAsciiText(const TagEntry& entry) {
  const char* text = reinterpret_cast<const char*>(entry.Data());
  return Utf8FromCp932(std::string_view(text, strnlen(text, entry.ValueSize())));
}

std::string DumpHex(const TagEntry& entry) {
  static const char kDigits[] = "0123456789abcdef";
  const uint32_t size = entry.ValueSize();
  std::string text;
  text.reserve(size_t(size) * 3);
  for (uint32_t i = 0; i < size; ++i) {
    if (i) text += ' ';
    text += kDigits[entry.Data()[i] >> 4];
    text += kDigits[entry.Data()[i] & 15];
  }
  return text;
}

// Element i of a numeric value as text: an integer, or numerator/denominator.
std::string DumpNumber(const TagEntry& entry, uint32_t i) {
  switch (entry.type) {
    case TypeShort: return std::to_string(entry.U16(i));
    case TypeSShort: return std::to_string(entry.S16(i));
    case TypeLong: return std::to_string(entry.U32(i));
    case TypeSLong: return std::to_string(entry.S32(i));
    case TypeRational: return std::to_string(entry.U32(2 * i)) + "/" + std::to_string(entry.U32(2 * i + 1));
    case TypeSRational: return std::to_string(entry.S32(2 * i)) + "/" + std::to_string(entry.S32(2 * i + 1));
    default: return {};
  }
}

uint32_t DumpElementCount(const TagEntry& entry) {
  const uint32_t size = ExifTypeSize(entry.type);
  return size ? std::min(entry.count, entry.ValueSize() / size) : 0;
}

std::string DumpValueText(const TagEntry& entry) {
  if (entry.type == TypeAscii) return "\"" + DumpAsciiText(entry) + "\"";
  if (DumpIsByteType(entry.type)) return DumpHex(entry);
  std::string text;
  const uint32_t n = DumpElementCount(entry);
  for (uint32_t i = 0; i < n; ++i) text += (i ? " " : "") + DumpNumber(entry, i);
  return text;
}

nlohmann::json DumpValueJson(const TagEntry& entry) {
  if (entry.type == TypeAscii) return DumpAsciiText(entry);
  if (DumpIsByteType(entry.type)) return DumpHex(entry);
  const uint32_t n = DumpElementCount(entry);
  const bool rational = entry.type == TypeRational || entry.type == TypeSRational;
  auto element = [&](uint32_t i) -> nlohmann::json {
    if (rational) return DumpNumber(entry, i);
    if (entry.type == TypeSShort) return entry.S16(i);
    if (entry.type == TypeSLong) return entry.S32(i);
    if (entry.type == TypeShort) return entry.U16(i);
    return entry.U32(i);
  };
  if (n == 1) return element(0);
  nlohmann::json values = nlohmann::json::array();
  for (uint32_t i = 0; i < n; ++i) values.push_back(element(i));
  return values;
}

// One table as the dump lists it: its kind, its short name and its display name.
struct DumpTableRef {
  uint32_t kind;
  std::string name;
  std::string displayName;  // UTF-8
};

// Every table of the document that has tags: the five in storage order, then the tables of
// the open MakerNote handler in its own order.
std::vector<DumpTableRef> DumpTables(ExifDocument* document) {
  std::vector<DumpTableRef> tables;
  for (const DumpTable& table : kDumpTables) {
    if (ExifTagCount(document, table.kind) <= 0) continue;
    const char* display = IfdDisplayName(table.kind);
    tables.push_back({table.kind, table.name, display ? Utf8FromCp932(display) : table.name});
  }
  const uint32_t family = ExifMakerNoteFamily(document);
  const auto* names = reinterpret_cast<const MakerNoteTableName*>(ExifMakerNoteControl(document, MnTableNames, 0, 0));
  for (; family && names && names->table >= 0; ++names) {
    const uint32_t kind = family | uint32_t(names->table);
    if (ExifTagCount(document, kind) <= 0) continue;
    tables.push_back({kind, std::to_string(names->table), Utf8FromCp932(names->name ? names->name : "")});
  }
  return tables;
}

// The display name and display text of one tag, in UTF-8. The text is bounded as the Exif
// list's value column bounds it: 128 bytes.
std::pair<std::string, std::string> DumpDescribe(ExifDocument* document, uint32_t kind, const TagEntry& entry) {
  char text[129];
  const char* name = nullptr;
  ExifDescribeTag(document, kind, &entry, &name, text, sizeof text);
  return {Utf8FromCp932(name ? name : ""), Utf8FromCp932(text)};
}

void DumpText(const std::string& path, DumpReading& reading, bool raw, std::string& out) {
  out += "== " + path + "\n";
  out += "status: " + std::to_string(reading.status) + " (" + DumpStatusText(reading.status) + ")";
  if (DumpFailed(reading)) {
    out += "\n";
    return;
  }
  ExifDocument* document = reading.document.get();
  out += document->bigEndian ? "  byte order: MM\n" : "  byte order: II\n";
  for (const DumpTableRef& table : DumpTables(document)) {
    out += "[" + (raw ? table.name : table.displayName) + "]\n";
    char head[64];
    ExifBeginTagWalk(document, table.kind);
    while (const TagEntry* entry = ExifNextTag(document)) {
      if (raw) {
        std::snprintf(head, sizeof head, "  0x%04X %5u %-9s %6" PRIu32 "  ", entry->tag, entry->tag,
                      Utf8FromCp932(ExifTypeName(entry->type)).c_str(), entry->count);
        out += head;
        out += DumpValueText(*entry);
      } else {
        std::snprintf(head, sizeof head, "  0x%04X ", entry->tag);
        const auto [name, text] = DumpDescribe(document, table.kind, *entry);
        out += head + name + ": " + text;
      }
      out += '\n';
    }
    ExifEndTagWalk(document);
  }
}

nlohmann::json DumpJson(const std::string& path, DumpReading& reading) {
  nlohmann::json file = {{"file", path}, {"status", reading.status}, {"error", reading.code}};
  const uint32_t message = CliReadMessage(reading.status, reading.code);
  if (message) file["message"] = CliMessage(message);
  if (DumpFailed(reading)) return file;
  ExifDocument* document = reading.document.get();
  file["byteOrder"] = document->bigEndian ? "MM" : "II";
  nlohmann::json ifds = nlohmann::json::array();
  for (const DumpTableRef& table : DumpTables(document)) {
    nlohmann::json list = nlohmann::json::array();
    ExifBeginTagWalk(document, table.kind);
    while (const TagEntry* entry = ExifNextTag(document)) {
      const auto [name, text] = DumpDescribe(document, table.kind, *entry);
      nlohmann::json tag = {{"tag", entry->tag}, {"type", entry->type},   {"count", entry->count},
                            {"value", DumpValueJson(*entry)}, {"name", name}, {"text", text}};
      if (const char* exifName = TagExifName(document, table.kind, entry->tag)) tag["tagName"] = exifName;
      list.push_back(std::move(tag));
    }
    ExifEndTagWalk(document);
    ifds.push_back({{"kind", table.name}, {"name", table.displayName}, {"tags", std::move(list)}});
  }
  file["ifds"] = std::move(ifds);
  return file;
}

// Writes the preview a MakerNote holds (a NEF's, say) to a file; 1 on success.
int DumpWritePreview(ExifDocument* document, const std::string& out) {
  const uint8_t* bytes = nullptr;
  uint32_t size = 0;
  if (!ExifMakerNoteControl(document, MnGetPreview, reinterpret_cast<intptr_t>(&bytes),
                            reinterpret_cast<intptr_t>(&size)) || !bytes || !size) {
    std::fprintf(stderr, "%s: the MakerNote holds no preview\n", document->path.c_str());
    return 0;
  }
  std::FILE* f = std::fopen(out.c_str(), "wb");
  const bool ok = f && std::fwrite(bytes, 1, size, f) == size;
  if (f && std::fclose(f) != 0) return 0;
  if (!ok) std::fprintf(stderr, "%s: cannot write the preview\n", out.c_str());
  return ok ? 1 : 0;
}

int DumpRun(const DumpOptions& options) {
  int exitCode = CliSuccess;
  std::string out;
  // The JSON array is written file by file, so a folder of thousands never stands in memory.
  if (options.json) std::fputs("[", stdout);
  bool first = true;
  for (const std::string& path : options.files) {
    DumpReading reading = DumpRead(path);
    if (DumpFailed(reading)) {
      exitCode = CliFailure;
      CliReportFailure(path, reading.code, CliReadMessage(reading.status, reading.code));
    } else if (const uint32_t warning = CliReadMessage(reading.status, reading.code)) {
      std::fprintf(stderr, "%s: %s\n", path.c_str(), CliMessage(warning).c_str());
    }
    if (!options.preview.empty() && reading.document && !DumpWritePreview(reading.document.get(), options.preview))
      exitCode = CliFailure;
    if (options.json) {
      out = (first ? "\n" : ",\n") + DumpJson(path, reading).dump(1);
      std::fwrite(out.data(), 1, out.size(), stdout);
      first = false;
    } else {
      out.clear();
      DumpText(path, reading, options.raw, out);
      std::fwrite(out.data(), 1, out.size(), stdout);
    }
  }
  if (options.json) std::fputs("\n]\n", stdout);
  return exitCode;
}

}  // namespace

void CliDumpRegister(CLI::App& app) {
  auto options = std::make_shared<DumpOptions>();
  CLI::App* dump = app.add_subcommand("dump", "Print every tag of every IFD of JPEG or NEF files.");
  dump->footer(
      "For each file: the read status flags (1 jpeg, 2 nef, 4 no thumbnail, 8 MakerNote failed,\n"
      "256 parse failed, 512 no Exif, 1024 unusable), the byte order, and every tag of every IFD\n"
      "in storage order (0th, 1st, Exif, GPS, Interoperability, then the MakerNote's tables), each\n"
      "with its display name and display text as the Exif list shows them.\n"
      "--raw lists tag, type, count and value instead: numbers for numeric types (a rational as\n"
      "numerator/denominator), the text for ASCII (converted from CP932 to UTF-8), hex bytes for\n"
      "byte types.\n"
      "A file that fails prints its error code and message on standard error and the run goes on;\n"
      "the exit status is 1 if any file failed.\n"
      "--json prints one JSON array, one object per file: file, status, error, message (when a\n"
      "message applies), byteOrder, ifds [{kind, name, tags [{tag, type, count, value, name,\n"
      "tagName (where the catalogue has one), text}]}]; texts in UTF-8.\n"
      "--preview OUT.jpg writes the preview held in the MakerNote (a NEF's) to OUT.jpg.");
  dump->add_option("files", options->files, "JPEG or NEF files")->required();
  dump->add_flag("--json", options->json, "Print one JSON document");
  dump->add_flag("--raw", options->raw, "List type, count and value instead of names and display texts");
  dump->add_option("--preview", options->preview, "Write the preview the MakerNote holds to this JPEG file");
  dump->callback([options]() {
    const int code = DumpRun(*options);
    if (code != CliSuccess) throw CLI::RuntimeError(code);
  });
}
