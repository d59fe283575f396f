// tavexon-cli dump: the Exif of files, tag by tag, as text or as one JSON document.
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "cli/cli_json.h"
#include "cli/cli_output.h"
#include "cli/commands.h"
#include "codec/read_ahead.h"
#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/makernote_handler.h"
#include "exif/tag_catalogue.h"
#include "exif/value_format.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"
#include "frame/settings.h"

namespace {

struct DumpOptions {
  std::vector<std::string> files;
  bool json = false;
  bool raw = false;
  bool binary = false;
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

using DumpReading = CliReading;

// Whether the reading has tables to show: a whole document, or what a failed parse kept.
bool DumpHasTables(const DumpReading& reading) { return reading.document != nullptr; }

// Values of these types longer than this are written in --json as {"binary": N}.
constexpr uint32_t kJsonInlineBytes = 64;

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

// One numeric element as JSON: an integer, or "numerator/denominator" in quotes.
void DumpJsonNumber(std::string& out, const TagEntry& entry, uint32_t i) {
  switch (entry.type) {
    case TypeShort: JsonAppendNumber(out, entry.U16(i)); break;
    case TypeSShort: JsonAppendNumber(out, entry.S16(i)); break;
    case TypeSLong: JsonAppendNumber(out, entry.S32(i)); break;
    case TypeRational:
    case TypeSRational:
      out += '"';
      out += DumpNumber(entry, i);
      out += '"';
      break;
    default: JsonAppendNumber(out, entry.U32(i));
  }
}

// The value: text for ASCII, hex text for short byte values, {"binary": N} (with its bytes in
// base64 under --binary) for long UNDEFINED and BYTE values, a number or an array of numbers.
void DumpJsonValue(std::string& out, const TagEntry& entry, bool binary) {
  if (entry.type == TypeAscii) return JsonAppendString(out, DumpAsciiText(entry));
  const uint32_t size = entry.ValueSize();
  if ((entry.type == TypeUndefined || entry.type == TypeByte) && size > kJsonInlineBytes) {
    out += "{\"binary\":";
    JsonAppendNumber(out, size);
    if (binary) {
      out += ",\"base64\":";
      JsonAppendBase64(out, entry.Data(), size);
    }
    out += '}';
    return;
  }
  if (DumpIsByteType(entry.type)) {
    out += '"';
    out += DumpHex(entry);
    out += '"';
    return;
  }
  const uint32_t n = DumpElementCount(entry);
  if (n == 1) return DumpJsonNumber(out, entry, 0);
  out += '[';
  for (uint32_t i = 0; i < n; ++i) {
    if (i) out += ',';
    DumpJsonNumber(out, entry, i);
  }
  out += ']';
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
  for (const MakerNoteTableName& name : ExifMakerNoteTables(document)) {
    const uint32_t kind = family | name.table;
    if (ExifTagCount(document, kind) <= 0) continue;
    tables.push_back({kind, std::to_string(name.table), Utf8FromCp932(name.name ? name.name : "")});
  }
  return tables;
}

// CP932 to UTF-8 for names and texts, which repeat from file to file: ASCII is taken as it
// stands, anything else converted once and remembered (the conversion searches a table for
// every character, and was the largest cost of a dump).
struct DumpTextHash {
  using is_transparent = void;
  size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};
std::string DumpUtf8(std::string_view cp932) {
  static std::unordered_map<std::string, std::string, DumpTextHash, std::equal_to<>> converted;
  if (std::all_of(cp932.begin(), cp932.end(), [](char c) { return uint8_t(c) < 0x80; })) return std::string(cp932);
  const auto found = converted.find(cp932);
  if (found != converted.end()) return found->second;
  if (converted.size() > 65536) converted.clear();  // a run over many odd texts stays bounded
  return converted.emplace(std::string(cp932), Utf8FromCp932(cp932)).first->second;
}

// The display name and display text of one tag, in UTF-8. The text is bounded as the Exif
// list's value column bounds it: 128 bytes.
std::pair<std::string, std::string> DumpDescribe(ExifDocument* document, uint32_t kind, const TagEntry& entry) {
  char text[129];
  const char* name = nullptr;
  ExifDescribeTag(document, kind, &entry, &name, text, sizeof text);
  return {DumpUtf8(name ? name : ""), DumpUtf8(text)};
}

void DumpText(const std::string& path, DumpReading& reading, bool raw, std::string& out) {
  out += "== " + path + "\n";
  out += "status: " + std::to_string(reading.status) + " (" + DumpStatusText(reading.status) +
         (reading.partial ? ", partial)" : ")");
  if (!DumpHasTables(reading)) {
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
  if (reading.partial)
    out += "-- partial: the read stopped here with error " + std::to_string(reading.error.code) + ": " +
           CliMessage(CliReadMessage(reading.status, reading.error)) + "\n";
}

void DumpJson(const std::string& path, DumpReading& reading, bool binary, std::string& out) {
  out += "{\"file\":";
  JsonAppendString(out, path);
  out += ",\"status\":";
  JsonAppendNumber(out, reading.status);
  out += ",\"error\":";
  JsonAppendNumber(out, reading.error.code);
  if (const uint32_t message = CliReadMessage(reading.status, reading.error)) {
    out += ",\"message\":";
    JsonAppendString(out, CliMessage(message, path));
  }
  if (reading.error.systemError != 0) {
    out += ",\"reason\":";
    JsonAppendString(out, std::strerror(reading.error.systemError));
  }
  if (!DumpHasTables(reading)) {
    out += '}';
    return;
  }
  if (reading.partial) out += ",\"partial\":true";
  ExifDocument* document = reading.document.get();
  out += document->bigEndian ? ",\"byteOrder\":\"MM\",\"ifds\":[" : ",\"byteOrder\":\"II\",\"ifds\":[";
  bool firstTable = true;
  for (const DumpTableRef& table : DumpTables(document)) {
    out += firstTable ? "\n {\"kind\":" : ",\n {\"kind\":";
    firstTable = false;
    JsonAppendString(out, table.name);
    out += ",\"name\":";
    JsonAppendString(out, table.displayName);
    out += ",\"tags\":[";
    bool firstTag = true;
    ExifBeginTagWalk(document, table.kind);
    while (const TagEntry* entry = ExifNextTag(document)) {
      const auto [name, text] = DumpDescribe(document, table.kind, *entry);
      out += firstTag ? "\n  {\"tag\":" : ",\n  {\"tag\":";
      firstTag = false;
      JsonAppendNumber(out, entry->tag);
      out += ",\"type\":";
      JsonAppendNumber(out, entry->type);
      out += ",\"count\":";
      JsonAppendNumber(out, entry->count);
      out += ",\"value\":";
      DumpJsonValue(out, *entry, binary);
      out += ",\"name\":";
      JsonAppendString(out, name);
      if (const char* exifName = TagExifName(document, table.kind, entry->tag)) {
        out += ",\"tagName\":";
        JsonAppendString(out, exifName);
      }
      out += ",\"text\":";
      JsonAppendString(out, text);
      out += '}';
    }
    ExifEndTagWalk(document);
    out += "]}";
  }
  out += "]}";
}

// Writes the preview a MakerNote holds (a NEF's, say) to a file; 1 on success.
int DumpWritePreview(ExifDocument* document, const std::string& out) {
  const uint8_t* bytes = nullptr;
  uint32_t size = 0;
  if (!ExifMakerNotePreview(document, &bytes, &size) || !bytes || !size) {
    std::fprintf(stderr, "%s: the MakerNote holds no preview\n", document->path.c_str());
    return 0;
  }
  std::FILE* f = std::fopen(out.c_str(), "wb");
  const bool ok = f && std::fwrite(bytes, 1, size, f) == size;
  if (f && std::fclose(f) != 0) return 0;
  if (!ok) std::fprintf(stderr, "%s: cannot write the preview\n", out.c_str());
  return ok ? 1 : 0;
}

// Prints one file's reading (and writes its preview when asked); false when the file failed.
bool DumpOne(const DumpOptions& options, const std::string& path, DumpReading& reading, bool first,
             std::string& out) {
  bool ok = true;
  if (CliReadFailed(reading)) {
    ok = false;
    CliReportError(path, reading.error, CliReadMessage(reading.status, reading.error));
  } else if (const uint32_t warning = CliReadMessage(reading.status, reading.error)) {
    std::fprintf(stderr, "%s: %s\n", path.c_str(), CliMessage(warning).c_str());
  }
  if (!options.preview.empty() && reading.document && !DumpWritePreview(reading.document.get(), options.preview))
    ok = false;
  out.clear();
  if (options.json) {
    out += first ? "\n" : ",\n";
    DumpJson(path, reading, options.binary, out);
  } else {
    DumpText(path, reading, options.raw, out);
  }
  std::fwrite(out.data(), 1, out.size(), stdout);
  return ok;
}

// From this many files on, the heads come through the read-ahead reader, in order, while this
// thread parses and prints; fewer are read one after another, and so are all when the setting
// MULTIREADNUM (the reader's slots) is below 1.
constexpr size_t kDumpReadAheadFiles = 8;
constexpr int kDumpReadAheadSlots = 64;

int DumpRun(const DumpOptions& options) {
  int exitCode = CliSuccess;
  std::string out;
  // The JSON array is written file by file, so a folder of thousands never stands in memory.
  if (options.json) std::fputs("[", stdout);
  size_t done = 0;
  ReadAheadReaderPtr reader;
  const int slots = SettingsGetInt("OPTION", "MULTIREADNUM", kDumpReadAheadSlots);
  if (options.files.size() >= kDumpReadAheadFiles && slots >= 1 &&
      ReadAheadOpenSegments(options.files, reader, slots) == 0) {
    std::vector<ReadAheadResult> results;
    while (ReadAheadNext(reader.get(), results) >= 0) {
      for (const ReadAheadResult& result : results) {
        // A head without an APP1 (a NEF, a file without Exif, one that cannot be opened or has
        // vanished) is read as a single file is, so its messages and reasons are the same.
        DumpReading reading = result.segmentFound ? CliReadSegment(result.path, result.segment) : CliRead(result.path);
        if (!DumpOne(options, result.path, reading, done++ == 0, out)) exitCode = CliFailure;
      }
      results.clear();
    }
  }
  for (; done < options.files.size(); ++done) {
    DumpReading reading = CliRead(options.files[done]);
    if (!DumpOne(options, options.files[done], reading, done == 0, out)) exitCode = CliFailure;
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
      "A file that fails prints its error code and message on standard error (with the system's\n"
      "reason when it could not be opened or read) and the run goes on; the exit status is 1 if\n"
      "any file failed. A file whose Exif fails part way shows the tables read before the failure,\n"
      "marked \"partial\", then the error.\n"
      "--json prints one JSON array, one object per file: file, status, error, message (when a\n"
      "message applies), reason (the system's), partial (true when the read stopped part way),\n"
      "byteOrder, ifds [{kind, name, tags [{tag, type, count, value, name, tagName (where the\n"
      "catalogue has one), text}]}]; texts in UTF-8. An UNDEFINED or BYTE value of more than 64\n"
      "bytes is {\"binary\": N}; --binary adds its bytes as \"base64\".\n"
      "--preview OUT.jpg writes the preview held in the MakerNote (a NEF's) to OUT.jpg.\n"
      "Example: tavexon-cli dump --json DSC_0001.JPG DSC_0002.JPG");
  dump->add_option("files", options->files, "JPEG or NEF files")->required();
  dump->add_flag("--json", options->json, "Print one JSON document");
  dump->add_flag("--binary", options->binary, "With --json, write long byte values whole, in base64");
  dump->add_flag("--raw", options->raw, "List type, count and value instead of names and display texts");
  dump->add_option("--preview", options->preview, "Write the preview the MakerNote holds to this JPEG file");
  dump->callback([options]() {
    const int code = DumpRun(*options);
    if (code != CliSuccess) throw CLI::RuntimeError(code);
  });
}
