// tavexon-cli embed: a roll of film written into its folder of scans, frame by frame, with the
// embed window's checks and messages; --dry-run shows the pairing and writes nothing.
#include <algorithm>
#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

#include "cli/cli_output.h"
#include "cli/commands.h"
#include "exif/exif_document.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"
#include "frame/message_table.h"
#include "frame/path.h"
#include "frame/prompt.h"
#include "shooting/camera_data_file.h"
#include "shooting/embed.h"
#include "shooting/shooting_fields.h"
#include "shooting/shooting_to_exif.h"

namespace {

struct EmbedOptions {
  std::string data;
  std::string type;
  std::string jpegs;
  std::string maker;
  std::string camera;
  std::string film;
  bool privateTags = false;
  bool keepSoftware = false;
  bool dryRun = false;
  // For photo libraries; empty or false: as the settings hold them.
  std::string timePadding;
  std::string flash;
  bool lensTags = false;
  std::string filmIn;
};

// The photo library options of a run: the settings, overridden by what the command names.
void ApplyLibraryOptions(const EmbedOptions& options, EmbedRequest* request) {
  const EmbedWindowOptions stored = EmbedWindowOptionsLoad();
  request->timePadding = options.timePadding.empty() ? -1 : options.timePadding == "zeros" ? 1 : 0;
  request->flashOmit = options.flash.empty() ? stored.flashOmit : options.flash == "omit";
  request->lensTags = options.lensTags || stored.lensTags;
  request->filmIn = options.filmIn.empty()             ? stored.filmIn
                    : options.filmIn == "description" ? EmbedFilmInDescription
                    : options.filmIn == "comment"     ? EmbedFilmInComment
                                                      : EmbedFilmNone;
}

// The one line that tells of capture times strict readers refuse, and the option that mends them.
void PrintBlankSecondsHint(uint32_t files) {
  if (files == 0) return;
  std::fprintf(stderr,
               "hint: the capture time (DateTimeOriginal) of %u files ends in blank seconds, which strict date "
               "readers refuse; --time-padding zeros writes 00\n",
               files);
}

// The ASCII names of the eight layouts, in data type order.
constexpr const char* kTypeAliases[kDataTypeCount] = {"f6-detailed", "f6-simple", "f5-a",          "f5-b",
                                                      "f5-c",        "f5-d",      "f100-detailed", "f100-simple"};

// TYPE: a number 0 to 7, the layout's label ("F6 詳細" ...) or its ASCII alias; -1 otherwise.
int ParseDataType(const std::string& text) {
  for (uint32_t type = 0; type < kDataTypeCount; ++type) {
    if (text == std::to_string(type) || text == kTypeAliases[type] || text == Utf8FromCp932(DataTypeLabel(type)))
      return int(type);
  }
  return -1;
}

// What a run tells the terminal: progress per file, and which files it reached.
struct EmbedRunReport {
  std::vector<std::string> reached;
  bool terminal = false;
};

void EmbedShowProgress(void* user, const std::string& path, uint32_t index, uint32_t count) {
  auto* report = static_cast<EmbedRunReport*>(user);
  report->reached.push_back(path);
  if (report->terminal) std::fprintf(stderr, "\r\033[K%s (%u/%u)", PathFileName(path).c_str(), index, count);
}

// Every message of a run is printed; the save's questions get the answer that writes nothing.
PromptAnswer ShowMessage(void* user, const PromptQuestion& question) {
  const auto* report = static_cast<const EmbedRunReport*>(user);
  if (report->terminal && !report->reached.empty()) std::fputs("\n", stderr);
  std::fprintf(stderr, "%s\n", Utf8FromCp932(question.text).c_str());
  return PromptSafeAnswer(question.buttons);
}

// The text of a frame's field, or "-" when the frame has none.
std::string FieldText(const ShootingRecord& record, uint16_t tag) {
  const TagEntry* entry = ShootingFieldText(record, tag);
  return entry ? Utf8FromCp932(reinterpret_cast<const char*>(entry->Data())) : "-";
}

std::string OriginalDate(const CameraDataFile* data, uint32_t frame, const ShootingExifOptions& exifOptions,
                         uint32_t* blankSeconds) {
  TagList tags;
  ShootingRecordToExif(data, frame, exifOptions, &tags);
  if (ShootingBlankSeconds(tags)) ++*blankSeconds;
  for (const TagEntry& entry : tags)
    if (entry.tag == TagDateTimeOriginal) return reinterpret_cast<const char*>(entry.Data());
  return "-";
}

// Reads the data file, or says why it cannot: a path that is no readable file gives message
// 46 with the system's reason; a file that does not parse, message 73 and the line at fault.
CameraDataFilePtr ReadDataFile(const std::string& path, uint32_t dataType) {
  ErrorClear();
  CameraDataFilePtr data = CameraDataFileCreate(path.c_str());
  if (!data) {
    CliReportError(path, ErrorPopDetail(), 46);
    return nullptr;
  }
  if (CameraDataFileRead(data.get(), dataType) == 1) return data;
  const ErrorDetail& failure = data->failure;
  CliReportError(path, failure, failure.systemError != 0 ? 46 : 73);
  return nullptr;
}

// Prints file by file what each would get, and the counts; nothing is written.
int RunDryRun(const EmbedOptions& options, uint32_t dataType) {
  CameraDataFilePtr data = ReadDataFile(options.data, dataType);
  if (!data) return CliFailure;
  std::unique_ptr<FileList> list = FileListCreate();
  const int files = EmbedListJpegs(EmbedJpegPattern(options.jpegs), *list);
  if (files <= 0) {
    CliReportFailure(options.jpegs, 0, MsgNoJpegs);
    return CliFailure;
  }
  const uint32_t frames = CameraDataFileFrameCount(data.get());
  const size_t rows = std::max<size_t>(frames, size_t(files));
  ShootingExifOptions exifOptions = ShootingExifOptionsLoad();
  if (!options.timePadding.empty()) exifOptions.timePadding = options.timePadding == "zeros" ? 1 : 0;
  uint32_t blankSeconds = 0;
  std::printf("%-32s %5s %8s %6s %7s  %s\n", "file", "frame", "shutter", "f", "focal", "DateTimeOriginal");
  for (size_t i = 0; i < rows; ++i) {
    const std::string file = i < size_t(files) ? PathFileName((*list->entries)[i].path) : "-";
    if (i >= frames) {
      std::printf("%-32s %5s\n", file.c_str(), "-");
      continue;
    }
    const ShootingRecord& record = data->frames[i];
    std::printf("%-32s %5s %8s %6s %7s  %s\n", file.c_str(), FieldText(record, TagFrameNumber).c_str(),
                FieldText(record, TagShutterSpeed).c_str(), FieldText(record, TagAperture).c_str(),
                FieldText(record, TagFocalLength).c_str(),
                OriginalDate(data.get(), uint32_t(i), exifOptions, &blankSeconds).c_str());
  }
  std::printf("frames: %u, files: %d\n", frames, files);
  PrintBlankSecondsHint(blankSeconds);
  if (frames == uint32_t(files)) return CliSuccess;
  std::fprintf(stderr, "%s", Utf8FromCp932(MessageFormat(MsgCountMismatch, int(frames), files)).c_str());
  return CliFailure;
}

int RunEmbed(const EmbedOptions& options) {
  const int dataType = ParseDataType(options.type);
  if (dataType < 0) {
    std::fprintf(stderr, "--type: expected 0 to 7, a layout label or one of f6-detailed, f6-simple, f5-a, f5-b, "
                         "f5-c, f5-d, f100-detailed, f100-simple\n");
    return CliUsage;
  }
  if (options.dryRun) return RunDryRun(options, uint32_t(dataType));
  // The data file is read first so that its failure is told with its reason and its line.
  if (!ReadDataFile(options.data, uint32_t(dataType))) return CliFailure;
  EmbedRequest request;
  request.maker = Cp932FromUtf8(options.maker);
  request.camera = Cp932FromUtf8(options.camera);
  request.film = Cp932FromUtf8(options.film);
  request.dataFilePath = options.data;
  request.jpegPath = options.jpegs;
  request.dataType = dataType;
  request.privateTags = options.privateTags;
  request.keepSoftware = options.keepSoftware;
  ApplyLibraryOptions(options, &request);
  EmbedRunReport report;
  report.terminal = isatty(STDERR_FILENO) != 0;
  Prompt prompt{ShowMessage, &report};
  EmbedProgress progress{EmbedShowProgress, &report, &prompt};
  ErrorClear();
  const EmbedResult result = EmbedRun(request, &progress);
  const uint32_t written = result.written;
  for (uint32_t i = 0; i < written && i < report.reached.size(); ++i)
    std::printf("written: %s\n", report.reached[i].c_str());
  PrintBlankSecondsHint(result.blankSeconds);
  if (const uint32_t kept = result.filmKept)
    std::fprintf(stderr, "note: %u files kept their own %s; the film name was not written there\n", kept,
                 request.filmIn == EmbedFilmInComment ? "UserComment" : "ImageDescription");
  if (result.ok == 1) return CliSuccess;
  if (!result.failingPath.empty()) CliReportFailure(result.failingPath, result.code, MsgExifError);
  std::printf("written: %u of %zu\n", written, report.reached.size());
  return CliFailure;
}

}  // namespace

void CliEmbedRegister(CLI::App& app) {
  static EmbedOptions options;
  CLI::App* embed = app.add_subcommand("embed", "Embed a roll's shooting data into its scanned JPEG files");
  embed->footer("Example: tavexon-cli embed --data F6_032.txt --type f6-detailed --jpegs scans/ --maker Nikon --camera F6");
  embed->add_option("--data", options.data, "the MV-1 data file of the roll")->required();
  embed->add_option("--type", options.type, "its layout: 0 to 7, the label, or f6-detailed ... f100-simple")
      ->required();
  embed->add_option("--jpegs", options.jpegs, "the folder of scans (its .jpg files, by name) or one file")
      ->required();
  embed->add_option("--maker", options.maker, "Make (tag 271)");
  embed->add_option("--camera", options.camera, "Model (tag 272)");
  embed->add_option("--film", options.film, "film name, written with the private tags and as --film-in says");
  embed->add_flag("--private-tags", options.privateTags, "also write the private tags of every field");
  embed->add_flag("--keep-software", options.keepSoftware, "leave the Software tag as it is");
  embed->add_flag("--dry-run", options.dryRun, "print the pairing of files and frames, write nothing");
  embed->add_option("--time-padding", options.timePadding,
                    "an unknown part of the capture time as zeros or blanks (default: TIMEPADDING, blanks)")
      ->check(CLI::IsMember({"zeros", "blanks"}));
  embed->add_option("--flash", options.flash,
                    "omit: write Flash only where the data says the flash fired (default: FLASHOMIT, described)")
      ->check(CLI::IsMember({"described", "omit"}));
  embed->add_flag("--lens-tags", options.lensTags,
                  "also write LensSpecification, LensModel and LensMake, raising ExifVersion to 0230 (default: LENSTAGS, off)");
  embed->add_option("--film-in", options.filmIn,
                    "also write the film name into ImageDescription or UserComment (default: FILMIN, none)")
      ->check(CLI::IsMember({"description", "comment", "none"}));
  embed->callback([] {
    const int code = RunEmbed(options);
    if (code != CliSuccess) throw CLI::RuntimeError(code);
  });
}
