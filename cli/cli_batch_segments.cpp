// tavexon-cli strip, backup and restore: segments removed before publishing, and a file's
// Exif kept in an ".exf" backup (or a text dump) to be put back later.
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "cli/cli_batch.h"
#include "cli/cli_output.h"
#include "cli/commands.h"
#include "frame/error_stack.h"
#include "frame/message_table.h"
#include "makernote/makernote_save.h"
#include "tools/exif_backup.h"
#include "tools/segment_delete.h"

namespace {

struct SegmentOptions {
  std::vector<std::string> files;
  bool exif = false;
  std::string apps;
  std::string out;
  std::string text;
  std::string from;
  std::string fromJpeg;
  bool asIs = false;
  bool dryRun = false;
  bool progress = false;
};

// "1,2,13" as a mask of APPn bits; false for anything but numbers 0 to 15.
bool ParseApps(const std::string& text, uint32_t* mask) {
  std::stringstream list(text);
  std::string item;
  *mask = 0;
  while (std::getline(list, item, ',')) {
    if (item.empty() || item.size() > 2 || item.find_first_not_of("0123456789") != std::string::npos) return false;
    const int n = std::stoi(item);
    if (n > 15) return false;
    *mask |= 1u << n;
  }
  return *mask != 0;
}

int RunStrip(const SegmentOptions& options) {
  SegmentDeleteSettings settings;
  if (!options.apps.empty()) {
    settings.type = 1;
    if (!ParseApps(options.apps, &settings.mask)) {
      CliReportFailure("strip", 0, MsgNothingSelected);
      return CliUsage;
    }
  }
  if (options.exif && settings.type == 1) {
    std::fprintf(stderr, "strip: choose --exif or --app, not both\n");
    return CliUsage;
  }
  CliBatchProgress progress;
  progress.show = options.progress;
  int failures = 0;
  std::size_t index = 0;
  for (const std::string& file : options.files) {
    if (!ProgressStep(&progress.hook, file, ++index, options.files.size())) return CliFailure;
    const uint32_t mask = settings.type == 0 ? 2u : settings.mask;
    if (options.dryRun) {
      // The Exif choice removes the first APP1 only; the list shows every segment of the mask.
      const std::string plan = SegmentDeleteDescribe(file, mask);
      std::printf("%s:\n%s", file.c_str(), plan.empty() ? "  nothing to remove\n" : plan.c_str());
      continue;
    }
    ErrorClear();
    uint32_t message = 0;
    const int done = settings.type == 0 ? SegmentDeleteExif(file, file, &message) : SegmentDeleteApp(file, file, settings.mask);
    if (!done) {
      CliReportError(file, ErrorPopDetail(), settings.type == 0 ? message : uint32_t(MsgSegmentDeleteFailed));
      ++failures;
    }
  }
  return failures ? CliFailure : CliSuccess;
}

int WriteText(const std::string& path, const std::string& text) {
  std::FILE* out = std::fopen(path.c_str(), "wb");
  const bool good = out && std::fwrite(text.data(), 1, text.size(), out) == text.size();
  if (out && std::fclose(out) != 0) return 0;
  return good;
}

int RunBackup(const SegmentOptions& options) {
  const std::string& file = options.files.front();
  if (!options.text.empty()) {
    std::string text;
    if (!ExfDumpText(file, &text)) return CliReportFailure(file, 0, MsgNoExif), CliFailure;
    if (options.dryRun) return std::printf("%s: %zu bytes of text would go to %s\n", file.c_str(), text.size(), options.text.c_str()), CliSuccess;
    if (!WriteText(options.text, text)) return CliReportFailure(options.text, 0, MsgExportFailed), CliFailure;
    return CliSuccess;
  }
  const std::string out = options.out.empty() ? ExfDefaultName(file) : ExfFixName(options.out);
  if (options.dryRun) {
    std::vector<uint8_t> payload;
    if (!ExfExtractPayload(file, &payload)) return CliReportFailure(file, 0, MsgNoExif), CliFailure;
    std::printf("%s: %zu bytes would go to %s\n", file.c_str(), payload.size() + kExfHeaderSize, out.c_str());
    return CliSuccess;
  }
  uint32_t message = 0;
  if (!ExfExport(file, out, &message)) return CliReportError(file, ErrorPopDetail(), message), CliFailure;
  std::printf("%s\n", out.c_str());
  return CliSuccess;
}

int SegmentsRunRestore(const SegmentOptions& options) {
  const std::string& target = options.files.front();
  if (options.from.empty() == options.fromJpeg.empty()) {
    std::fprintf(stderr, "restore: give --from OUT.exf or --from-jpeg OTHER.jpg\n");
    return CliUsage;
  }
  const std::string& source = options.from.empty() ? options.fromJpeg : options.from;
  std::vector<uint8_t> payload;
  uint32_t message = 0;
  ErrorClear();
  if (!ExfReadSource(source, &payload, &message)) return CliReportError(source, ErrorPopDetail(), message), CliFailure;
  const std::string output = options.out.empty() ? target : options.out;
  if (options.dryRun) {
    std::printf("%s: %zu bytes of Exif would be written%s into %s\n", source.c_str(), payload.size(),
                options.asIs ? " unchanged" : ", fitted to the image,", output.c_str());
    return CliSuccess;
  }
  CliBatchPrompt prompt;
  const int result = ExfImport(payload, target, output, options.asIs ? kExfImportAsIs : kExfImportFit, &prompt.prompt, &message);
  if (result == SaveWritten) return CliSuccess;
  if (message != 0) CliReportError(output, ErrorPopDetail(), message);
  return CliFailure;
}

}  // namespace

void CliBatchSegmentsRegister(CLI::App& app) {
  static SegmentOptions strip;
  static SegmentOptions backup;
  static SegmentOptions restore;
  CLI::App* command = app.add_subcommand("strip", "Remove the Exif segment, or chosen APPn segments, from JPEG files");
  command->add_option("FILES", strip.files, "the JPEG files, each rewritten in place")->required()->check(CLI::ExistingFile);
  command->add_flag("--exif", strip.exif, "remove the Exif segment (the default)");
  command->add_option("--app", strip.apps, "remove every APPn segment of these numbers, e.g. 1,13 (1 also takes XMP)");
  CliBatchWritingFlags(command, &strip.dryRun, &strip.progress);
  command->footer("Example: tavexon-cli strip --app 1,13 photo.jpg --dry-run");
  command->callback([] {
    if (const int code = RunStrip(strip)) throw CLI::RuntimeError(code);
  });
  command = app.add_subcommand("backup", "Save a JPEG's Exif as an .exf backup, or as a text dump");
  command->add_option("FILE", backup.files, "the JPEG file")->required()->expected(1)->check(CLI::ExistingFile);
  command->add_option("-o,--out", backup.out, "the backup (default: FILE with .exf)");
  command->add_option("--text", backup.text, "write the text dump here instead");
  command->add_flag("--dry-run", backup.dryRun, "print what would be written, write nothing");
  command->footer("Example: tavexon-cli backup photo.jpg -o photo.exf");
  command->callback([] {
    if (const int code = RunBackup(backup)) throw CLI::RuntimeError(code);
  });
  command = app.add_subcommand("restore", "Put Exif from an .exf backup or another JPEG into a JPEG");
  command->add_option("FILE", restore.files, "the JPEG file that takes the Exif")->required()->expected(1)->check(CLI::ExistingFile);
  command->add_option("--from", restore.from, "an .exf backup")->check(CLI::ExistingFile);
  command->add_option("--from-jpeg", restore.fromJpeg, "another JPEG whose Exif is taken")->check(CLI::ExistingFile);
  command->add_option("--out", restore.out, "write to this file instead of FILE");
  command->add_flag("--as-is", restore.asIs, "copy the Exif unedited (default: fit pixel size and thumbnail to FILE)");
  command->add_flag("--dry-run", restore.dryRun, "print what would be written, write nothing");
  command->footer("Example: tavexon-cli restore stripped.jpg --from photo.exf");
  command->callback([] {
    if (const int code = SegmentsRunRestore(restore)) throw CLI::RuntimeError(code);
  });
}
