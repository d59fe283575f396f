// tavexon-cli date and restore-dates: capture dates set or shifted over files and folders,
// and file times given back from the capture dates.
#include <cstdio>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "cli/cli_batch.h"
#include "cli/cli_output.h"
#include "cli/commands.h"
#include "frame/cp932.h"
#include "frame/message_table.h"
#include "tools/date_update.h"

namespace {

struct DateOptions {
  std::vector<std::string> paths;
  std::string set;
  std::string shift;
  std::string tags = "original";
  bool recursive = false;
  bool dryRun = false;
  bool progress = false;
};

// "YYYY:MM:DD" or "YYYY:MM:DD HH:MM:SS".
bool ParseSet(const std::string& text, DateUpdateSettings* settings) {
  std::smatch m;
  static const std::regex kForm(R"((\d{1,4}):(\d{1,2}):(\d{1,2})(?: (\d{1,2}):(\d{1,2}):(\d{1,2}))?)");
  if (!std::regex_match(text, m, kForm)) return false;
  settings->type = kDateTypeSet;
  settings->year = std::stoi(m[1]);
  settings->month = std::stoi(m[2]);
  settings->day = std::stoi(m[3]);
  if (m[4].matched) {
    settings->hour = std::stoi(m[4]);
    settings->minute = std::stoi(m[5]);
    settings->second = std::stoi(m[6]);
  }
  return true;
}

// "[+|-]D:HH:MM:SS", or "[+|-]Y:M:D H:M:S" for years and months too; negative with '-'.
bool ParseShift(const std::string& text, DateUpdateSettings* settings) {
  std::smatch m;
  static const std::regex kDays(R"(([+-]?)(\d{1,6}):(\d{1,6}):(\d{1,6}):(\d{1,6}))");
  static const std::regex kFull(R"(([+-]?)(\d{1,4}):(\d{1,6}):(\d{1,6}) (\d{1,6}):(\d{1,6}):(\d{1,6}))");
  int values[6] = {};
  if (std::regex_match(text, m, kDays)) {
    for (int i = 0; i < 4; ++i) values[2 + i] = std::stoi(m[std::size_t(i) + 2]);
  } else if (std::regex_match(text, m, kFull)) {
    for (int i = 0; i < 6; ++i) values[i] = std::stoi(m[std::size_t(i) + 2]);
  } else {
    return false;
  }
  const int sign = m[1] == "-" ? -1 : 1;
  settings->type = kDateTypeShift;
  for (int i = 0; i < 6; ++i) settings->shift[i] = sign * values[i];
  return true;
}

// "original,digitized,modified": 36867 always; the others as named.
bool ParseTags(const std::string& text, uint32_t* also) {
  std::stringstream list(text);
  std::string name;
  *also = 0;
  while (std::getline(list, name, ',')) {
    if (name == "digitized") *also |= kDateAlsoDigitized;
    else if (name == "modified") *also |= kDateAlsoModified;
    else if (name != "original") return false;
  }
  return true;
}

int RunDate(const DateOptions& options) {
  DateUpdateSettings settings;
  if (options.set.empty() == options.shift.empty() || (!options.set.empty() && !ParseSet(options.set, &settings)) ||
      (!options.shift.empty() && !ParseShift(options.shift, &settings)) || !ParseTags(options.tags, &settings.alsoTags)) {
    CliReportFailure("date", 0, MsgChooseDateOption);
    std::fprintf(stderr, "date: give --set \"YYYY:MM:DD[ HH:MM:SS]\" or --shift [+|-]D:HH:MM:SS\n");
    return CliUsage;
  }
  settings.dryRun = options.dryRun;
  FileList files;
  if (!CliBatchCollect(options.paths, options.recursive, &files)) return CliFailure;
  CliBatchProgress progress;
  progress.show = options.progress;
  CliBatchPrompt prompt;
  prompt.answers[91] = PromptAnswerYes;  // the date was given on the command line
  prompt.answers[92] = PromptAnswerYes;  // one failed file does not stop the others
  RunFlag runFlag{0};
  DateRunResult result;
  const int ran = DateUpdateRun(files, settings, &progress.hook, &prompt.prompt, &runFlag, &result, [&](const DateFileReport& r) {
    static const char* const kWords[] = {"", "skipped (no DateTimeOriginal of 20 bytes)", "failed", "not written: the date does not fit in place"};
    if (r.outcome == kDateUpdated) std::printf("%s: %s -> %s%s\n", r.path.c_str(), r.oldText.c_str(), r.newText.c_str(), options.dryRun ? " (dry run)" : "");
    else std::fprintf(stderr, "%s: %s\n", r.path.c_str(), kWords[r.outcome]);
  });
  if (!ran) return CliFailure;
  std::fprintf(stderr, "%s %d/%d\n", CliMessage(MsgDone).c_str(), result.updated, int(FileListFileCount(files)));
  if (result.aborted) return CliFailure;
  return result.failed > 0 ? CliFailure : CliSuccess;
}

int DatesRunRestore(const DateOptions& options) {
  FileList files;
  if (!CliBatchCollect(options.paths, options.recursive, &files)) return CliFailure;
  CliBatchProgress progress;
  progress.show = options.progress;
  RunFlag runFlag{0};
  DateRunResult result;
  FileDateRestoreRun(files, options.dryRun, &progress.hook, &runFlag, &result, [&](const DateFileReport& r) {
    if (r.outcome == kDateUpdated) std::printf("%s: %s%s\n", r.path.c_str(), r.newText.c_str(), options.dryRun ? " (dry run)" : "");
    else std::fprintf(stderr, "%s: no DateTimeOriginal, or the time cannot be set\n", r.path.c_str());
  });
  if (result.aborted) CliReportFailure("restore-dates", 0, MsgDatesStopped);
  if (result.message != 0) std::fprintf(stderr, "%s\n", Utf8FromCp932(MessageFormat(result.message, result.failed)).c_str());
  return result.aborted || result.failed > 0 ? CliFailure : CliSuccess;
}

}  // namespace

void CliBatchDatesRegister(CLI::App& app) {
  static DateOptions date;
  static DateOptions restore;
  CLI::App* command = app.add_subcommand("date", "Set or shift the capture date (36867) of JPEG files and folders");
  command->add_option("PATHS", date.paths, "folders (their *.jpg) and files")->required();
  command->add_option("--set", date.set, "\"YYYY:MM:DD\" keeps each file's time of day; \"YYYY:MM:DD HH:MM:SS\" sets it too");
  command->add_option("--shift", date.shift, "[+|-]D:HH:MM:SS, or [+|-]Y:M:D H:M:S");
  command->add_option("--tags", date.tags, "original,digitized,modified: 36868 and 306 take the same text");
  CliBatchWritingFlags(command, &date.dryRun, &date.progress);
  command->footer("Example: tavexon-cli date scans/ --shift +1:02:00:00 --tags original,digitized,modified");
  command->callback([] {
    if (const int code = RunDate(date)) throw CLI::RuntimeError(code);
  });
  command = app.add_subcommand("restore-dates", "Set each file's time from its capture date (36867)");
  command->add_option("PATHS", restore.paths, "folders (their *.jpg) and files")->required();
  command->add_flag("--recursive", restore.recursive, "take the subfolders' files too");
  CliBatchWritingFlags(command, &restore.dryRun, &restore.progress);
  command->footer("Example: tavexon-cli restore-dates scans/ --recursive");
  command->callback([] {
    if (const int code = DatesRunRestore(restore)) throw CLI::RuntimeError(code);
  });
}
