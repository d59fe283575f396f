// tavexon-cli csv-export and csv-import: a folder's Exif out to a spreadsheet and back.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "cli/cli_output.h"
#include "cli/commands.h"
#include "exif/exif_document.h"
#include "exif/tag_catalogue.h"
#include "frame/cp932.h"
#include "frame/file_list.h"
#include "frame/message_table.h"
#include "frame/path.h"
#include "frame/prompt.h"
#include "makernote/nikon.h"
#include "tools/csv_export.h"
#include "tools/csv_import.h"
#include "tools/tag_selection.h"

namespace {

RunFlag g_runFlag{0};

void StopOnInterrupt(int) { g_runFlag.store(2); }

struct CsvExportCliOptions {
  std::vector<std::string> inputs;
  std::string output;
  std::string tags;
  bool fromSettings = false;
  bool recursive = false;
  bool utf8 = false;
  bool text = false;
  bool progress = false;
};

struct CsvImportCliOptions {
  std::string input;
  std::string destination;
  std::string tags;
  std::string makerNote;
  int startRow = 0;
  bool overwrite = false;
  bool dryRun = false;
  bool keepGoing = false;
};

struct NamedIfd {
  const char* name;
  uint32_t ifd;
};
constexpr NamedIfd kIfdNames[] = {
    {"0th", IfdPrimary}, {"1st", IfdThumbnail}, {"exif", IfdExif}, {"interop", IfdInterop}, {"gps", IfdGps},
    {"nikon", kNikonMainKind}, {"nikon-thumbnail", kNikonThumbnailKind}, {"nikon-scanner", kNikonScannerKind},
};

bool ParseWhole(const std::string& text, uint32_t* value) {
  if (text.empty()) return false;
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] | 0x20) == 'x';
  const std::string digits = hex ? text.substr(2) : text;
  if (digits.empty() || digits.size() > 10 || digits[0] == '-' || digits[0] == '+') return false;
  char* end = nullptr;
  const unsigned long long number = std::strtoull(digits.c_str(), &end, hex ? 16 : 10);
  if (*end != '\0' || number > 0xFFFFFFFFull) return false;
  *value = uint32_t(number);
  return true;
}

std::string IfdLabel(uint32_t ifd) {
  for (const NamedIfd& named : kIfdNames)
    if (named.ifd == ifd) return named.name;
  return std::to_string(ifd);
}

// The tag of a table by its Exif name, or by number.
bool ParseTagOf(uint32_t ifd, const std::string& text, uint32_t* tag) {
  if (ParseWhole(text, tag)) return *tag <= 0xFFFF;
  const TagDefinition* table =
      ifd < kIfdMakerNoteFirst ? TagCatalogueOwnTable(ifd) : NikonCatalogue(ifd & 0xFFFFu);
  for (uint32_t i = 0, n = TagCatalogueCount(table); i < n; ++i)
    if (table[i].tagName && text == table[i].tagName) {
      *tag = table[i].tag;
      return true;
    }
  return false;
}

bool ParseTypeText(const std::string& text, uint32_t* type) {
  for (uint32_t t = 1; t <= 10; ++t)
    if (text == ExifTypeName(t)) {
      *type = t;
      return true;
    }
  return ParseWhole(text, type) && *type >= 1 && *type <= 10;
}

// "ifd:tag[:TYPE],..." to a selection; the type comes from the catalogue unless given.
bool ParseTagList(const std::string& list, TagSelection* selection, std::string* bad) {
  size_t start = 0;
  while (start <= list.size()) {
    const size_t comma = std::min(list.find(',', start), list.size());
    const std::string item = list.substr(start, comma - start);
    start = comma + 1;
    if (item.empty()) continue;
    *bad = item;
    const size_t colon = item.find(':');
    if (colon == std::string::npos) return false;
    const size_t second = item.find(':', colon + 1);
    const std::string ifdText = item.substr(0, colon);
    const std::string tagText = item.substr(colon + 1, second == std::string::npos ? std::string::npos : second - colon - 1);
    TagPick pick;
    pick.ifd = 0;
    for (const NamedIfd& named : kIfdNames)
      if (ifdText == named.name) pick.ifd = named.ifd;
    if (pick.ifd == 0 && !ParseWhole(ifdText, &pick.ifd)) return false;
    if ((pick.ifd < 1 || pick.ifd > 5) && pick.ifd < kIfdMakerNoteFirst) return false;
    if (!ParseTagOf(pick.ifd, tagText, &pick.tag)) return false;
    pick.type = TagSelectionCatalogueType(pick.ifd, pick.tag);
    if (second != std::string::npos && !ParseTypeText(item.substr(second + 1), &pick.type)) return false;
    if (pick.type < 1 || pick.type > 10) return false;
    pick.selected = 1;
    selection->push_back(pick);
  }
  bad->clear();
  return !selection->empty();
}

// The files of the arguments: a folder's ".jpg" files (its tree with --recursive), a file as it is.
bool CollectInputs(const CsvExportCliOptions& options, FileList* list) {
  for (const std::string& given : options.inputs) {
    std::error_code error;
    const std::string input = std::filesystem::absolute(given, error).lexically_normal().string();
    if (PathIsFolder(input)) {
      FileList scan;
      if (FileListScan(scan, input, "jpg", kFileListFiles, options.recursive ? 1 : 0) < 0) return false;
      list->entries->insert(list->entries->end(), scan.entries->begin(), scan.entries->end());
    } else if (PathIsFile(input)) {
      FileEntry entry;
      entry.path = input;
      list->entries->push_back(entry);
    } else {
      std::fprintf(stderr, "%s: %s\n", input.c_str(), CliMessage(MsgFileMissing).c_str());
      return false;
    }
  }
  return true;
}

bool CsvShowProgress(void* user, const std::string& path, std::size_t index, std::size_t count) {
  if (*static_cast<bool*>(user)) std::fprintf(stderr, "%zu/%zu %s\n", index, count, path.c_str());
  return g_runFlag.load() != 2;
}

// Every message is printed but the completion notice; the questions of an import are answered
// from its options.
PromptAnswer CsvAsk(void* user, const PromptQuestion& question) {
  const CsvImportCliOptions* options = static_cast<const CsvImportCliOptions*>(user);
  if (question.messageId != MsgDone) std::fprintf(stderr, "%s\n", Utf8FromCp932(question.text).c_str());
  if (question.buttons == PromptButtonsOk || !options) return PromptSafeAnswer(question.buttons);
  switch (question.messageId) {
    case MsgOverwrite:  // the file exists in the destination folder
      return options->overwrite ? PromptAnswerYes : PromptAnswerNo;
    case MsgCsvRowFailed:  // a row failed: stop unless told to go on
      return options->keepGoing ? PromptAnswerNo : PromptAnswerYes;
    default:  // the MakerNote questions, as `set` answers them
      if (options->makerNote == "cancel" || options->makerNote.empty()) return PromptSafeAnswer(question.buttons);
      if (question.buttons == PromptButtonsOkCancel) return PromptAnswerOk;
      return options->makerNote == "rebuild" ? PromptAnswerYes : PromptAnswerNo;
  }
}

// The system's reason for a run that failed on a file, below the message the run showed.
void PrintSystemReason() {
  const ErrorDetail error = ErrorPopDetail();
  if (error.systemError != 0)
    std::fprintf(stderr, "%s: error %u: %s\n", error.path.c_str(), error.code, std::strerror(error.systemError));
}

int RunExport(const CsvExportCliOptions& options) {
  TagSelection selection;
  std::string bad;
  if (!options.tags.empty() && !ParseTagList(options.tags, &selection, &bad)) {
    std::fprintf(stderr, "--tags: cannot read '%s' (ifd:tag, e.g. exif:DateTimeOriginal,0th:0x013B)\n", bad.c_str());
    return CliUsage;
  }
  if (options.fromSettings) selection = TagSelectionLoad();
  if (options.tags.empty() && !options.fromSettings) selection = TagSelectionEverything();
  if (!options.tags.empty()) TagSelectionSave(selection);
  FileList files;
  if (!CollectInputs(options, &files)) return CliFailure;
  bool verbose = options.progress;
  Progress progress{CsvShowProgress, &verbose};
  Prompt prompt{CsvAsk, nullptr};
  CsvExportOptions exportOptions;
  exportOptions.raw = options.text ? 0 : 1;
  exportOptions.encoding = options.utf8 ? CsvUtf8 : CsvCp932;
  CsvExportSummary summary;
  std::signal(SIGINT, StopOnInterrupt);
  ErrorClear();
  const int done = CsvExportRun(files, selection, options.output, exportOptions, &progress, &prompt, &g_runFlag, &summary);
  std::signal(SIGINT, SIG_DFL);
  if (!done) return PrintSystemReason(), CliFailure;
  std::printf("%s: %u rows, %zu columns%s\n", options.output.c_str(), summary.rows, selection.size() + 1,
              summary.aborted ? " (stopped)" : "");
  return CliSuccess;
}

void PrintChanges(const CsvImportReport& report, bool dryRun) {
  for (const CsvImportChange& change : report.files) {
    std::printf("row %d: %s", change.row, change.output.c_str());
    if (change.tags.empty()) std::printf(": unchanged");
    for (size_t i = 0; i < change.tags.size(); ++i)
      std::printf("%s%s:0x%04X", i ? "," : ": ", IfdLabel(change.tags[i].first).c_str(), change.tags[i].second);
    std::printf("%s\n", dryRun ? " (dry run)" : change.written || change.tags.empty() ? "" : " (not written)");
  }
}

int RunImport(CsvImportCliOptions& options) {
  if (options.destination.empty() && !options.overwrite && !options.dryRun) {
    std::fprintf(stderr, "%s (--dest DIR, or --overwrite to write each file in place)\n",
                 CliMessage(MsgNoJpegDestination).c_str());
    return CliUsage;
  }
  if (!options.destination.empty() && !PathIsFolder(options.destination)) {
    std::fprintf(stderr, "%s: %s\n", options.destination.c_str(), CliMessage(MsgFolderMissing).c_str());
    return CliFailure;
  }
  TagSelection stored;
  std::string bad;
  if (!options.tags.empty() && !ParseTagList(options.tags, &stored, &bad)) {
    std::fprintf(stderr, "--tags: cannot read '%s'\n", bad.c_str());
    return CliUsage;
  }
  if (options.tags.empty()) stored = TagSelectionLoad();
  CsvImportOptions importOptions;
  importOptions.destination = options.destination;
  importOptions.startRow = options.startRow;
  importOptions.dryRun = options.dryRun ? 1 : 0;
  bool verbose = false;
  Progress progress{CsvShowProgress, &verbose};
  Prompt prompt{CsvAsk, &options};
  CsvImportReport report;
  std::signal(SIGINT, StopOnInterrupt);
  ErrorClear();
  const int result = CsvImportRun(options.input, stored, importOptions, &progress, &prompt, &g_runFlag, &report);
  std::signal(SIGINT, SIG_DFL);
  PrintChanges(report, options.dryRun);
  if (result == CsvImportDone) return CliSuccess;
  PrintSystemReason();
  if (report.rowsChecked == 0 && report.files.empty()) std::fprintf(stderr, "%s: nothing was written\n", options.input.c_str());
  return CliFailure;
}

}  // namespace

void CliCsvRegister(CLI::App& app) {
  static CsvExportCliOptions exportOptions;
  static CsvImportCliOptions importOptions;
  CLI::App* out = app.add_subcommand("csv-export", "Write chosen tags of JPEG files to a CSV file (CP932, CR LF)");
  out->add_option("PATH", exportOptions.inputs, "folders (their .jpg files) and files")->required();
  out->add_option("-o,--output", exportOptions.output, "the CSV file to write")->required();
  out->add_option("--tags", exportOptions.tags,
                  "columns as ifd:tag[:TYPE],...; ifd 0th 1st exif interop gps nikon nikon-thumbnail "
                  "nikon-scanner or a number; tag an Exif name or a number (default: every selectable tag)");
  out->add_flag("--selection-from-settings", exportOptions.fromSettings, "the columns stored by the last run")
      ->excludes(out->get_option("--tags"));
  out->add_flag("-r,--recursive", exportOptions.recursive, "take the .jpg files of subfolders too");
  out->add_flag("--utf8", exportOptions.utf8, "write UTF-8 with a byte order mark instead of CP932");
  out->add_flag("--text", exportOptions.text, "display texts instead of values, without the TAGID row");
  out->add_flag("--progress", exportOptions.progress, "print each file as it is read");
  out->footer("Example: tavexon-cli csv-export photos/ -o exif.csv --tags exif:DateTimeOriginal,0th:0x010E");
  out->callback([] {
    const int code = RunExport(exportOptions);
    if (code != CliSuccess) throw CLI::RuntimeError(code);
  });
  CLI::App* in = app.add_subcommand("csv-import", "Write the values of a CSV file into the JPEG files it names");
  in->add_option("CSV", importOptions.input, "the CSV file (CP932, or UTF-8 with a byte order mark)")->required();
  in->add_option("--dest", importOptions.destination, "save the changed files into this folder");
  in->add_flag("--overwrite", importOptions.overwrite,
               "write each file in place; with --dest, replace files already in the folder");
  in->add_flag("--dry-run", importOptions.dryRun, "check every row and cell, print what would change, write nothing");
  in->add_option("--start-row", importOptions.startRow, "the first row to read (default: the first data row)")
      ->check(CLI::PositiveNumber);
  in->add_option("--tags", importOptions.tags, "columns for a file without a TAGID row (default: the stored ones)");
  in->add_option("--makernote", importOptions.makerNote, "answer to the MakerNote questions")
      ->check(CLI::IsMember({"rebuild", "keep", "cancel"}));
  in->add_flag("--keep-going", importOptions.keepGoing, "after a row that fails, go on with the next");
  in->footer("Example: tavexon-cli csv-import exif.csv --dest edited/");
  in->callback([] {
    const int code = RunImport(importOptions);
    if (code != CliSuccess) throw CLI::RuntimeError(code);
  });
}
