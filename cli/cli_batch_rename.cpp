// tavexon-cli rename: a folder renamed (or copied to another) by prefix, Exif values, serial
// number and suffix; every name is computed and checked before any file is touched.
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "cli/cli_batch.h"
#include "cli/cli_output.h"
#include "cli/commands.h"
#include "exif/exif_document.h"
#include "exif/tag_catalogue.h"
#include "frame/cp932.h"
#include "frame/message_table.h"
#include "tools/classify.h"
#include "tools/rename.h"

namespace {

struct RenameOptions {
  std::string folder;
  std::string to;
  std::string prefix;
  std::string by;
  std::string number;
  std::string suffix;
  int dateFormat = 5;
  bool convert = false;
  bool dropMaker = false;
  bool duplicatesOnly = false;
  bool subfolders = false;
  bool overwrite = false;
  bool skipExisting = false;
  bool dryRun = false;
  bool progress = false;
};

// TAG: an Exif name of the five tables (DateTimeOriginal, Model, FNumber ...), "lens", or
// KIND:TAG in numbers.
bool ParseKey(const std::string& text, RenameKey* key) {
  if (text == "lens") return *key = {kClassifyLensIfd, 1}, true;
  int kind = 0;
  int tag = 0;
  char extra = 0;
  if (std::sscanf(text.c_str(), "%d:%i%c", &kind, &tag, &extra) == 2 && tag >= 0 && tag <= 0xFFFF) return *key = {kind, tag}, true;
  for (uint32_t k : {uint32_t(IfdPrimary), uint32_t(IfdExif), uint32_t(IfdGps), uint32_t(IfdInterop), uint32_t(IfdThumbnail)}) {
    const TagDefinition* table = TagCatalogueOwnTable(k);
    for (uint32_t i = 0; i < TagCatalogueCount(table); ++i)
      if (table[i].tagName != nullptr && text == table[i].tagName) return *key = {int32_t(k), table[i].tag}, true;
  }
  return false;
}

// A text of the command line as the CP932 the names are built in; false when it has a
// character CP932 cannot hold (a name is never mangled).
bool ToCp932(const std::string& utf8, std::string* cp932) {
  bool ok = true;
  *cp932 = Cp932FromUtf8(utf8, &ok);
  return ok;
}

int Usage(const char* text) {
  std::fprintf(stderr, "rename: %s\n", text);
  return CliUsage;
}

int RunRename(const RenameOptions& options) {
  RenameSettings settings;
  settings.type = options.to.empty() ? kRenameInPlace : kRenameCopy;
  settings.source = options.folder;
  settings.destination = options.to;
  settings.subfolders = options.subfolders;
  settings.prefixOn = !options.prefix.empty();
  settings.suffixOn = !options.suffix.empty();
  if (!ToCp932(options.prefix, &settings.prefix) || !ToCp932(options.suffix, &settings.suffix))
    return Usage("--prefix and --suffix must be representable in CP932");
  std::stringstream keys(options.by);
  std::string name;
  for (std::size_t i = 0; std::getline(keys, name, ','); ++i)
    if (i >= 3 || !ParseKey(name, &settings.keys[i])) return Usage("--by takes up to three tag names (Exif names, lens, or KIND:TAG)");
  settings.exifOn = !options.by.empty();
  if (!options.number.empty()) {
    if (options.number.size() > 9 || options.number.find_first_not_of("0123456789") != std::string::npos)
      return Usage("--number takes digits; their count is the width");
    settings.numberOn = true;
    settings.numberStart = std::stoi(options.number);
    settings.digitsIndex = int(options.number.size()) - 1;
  }
  settings.sameFileOnly = options.duplicatesOnly;
  if (options.duplicatesOnly && !settings.numberOn) settings.numberOn = true;
  settings.dateFormat = options.dateFormat;
  settings.deleteModelWord = options.dropMaker ? 1 : 0;
  settings.invalidChar = options.convert ? 1 : 0;
  CliBatchProgress progress;
  progress.show = options.progress;
  CliBatchPrompt prompt;
  if (options.overwrite) prompt.answers[58] = PromptAnswerYes;
  if (options.skipExisting) prompt.answers[58] = PromptAnswerNo;
  RunFlag runFlag{0};
  std::vector<RenameEntry> entries;
  std::vector<int> decisions;
  RenameResult result;
  const int done = RenameRun(settings, options.dryRun, &progress.hook, &prompt.prompt, &runFlag, &entries, &decisions, &result);
  if (result.message != 0) {
    CliBatchReport("rename", result.text);
    return CliFailure;
  }
  if (options.dryRun) {
    static const char* const kWords[] = {"", " (unchanged)", " (exists: skipped)", " (exists: overwritten)"};
    for (std::size_t i = 0; i < entries.size(); ++i)
      std::printf("%s -> %s%s\n", entries[i].input.c_str(), entries[i].output.c_str(), kWords[decisions[i]]);
    return CliSuccess;
  }
  std::fprintf(stderr, "%s %d renamed, %d skipped\n", CliMessage(MsgDone).c_str(), result.renamed, result.skipped);
  return done && !result.aborted ? CliSuccess : CliFailure;
}

}  // namespace

void CliBatchRenameRegister(CLI::App& app) {
  static RenameOptions options;
  CLI::App* command = app.add_subcommand("rename", "Rename the JPEG files of a folder (or copy them) by Exif values");
  command->add_option("DIR", options.folder, "the folder of JPEG files")->required();
  command->add_option("--to", options.to, "copy into this folder instead of renaming in place");
  command->add_option("--prefix", options.prefix, "text before the name");
  command->add_option("--by", options.by, "up to three keys: DateTimeOriginal, Model, FNumber, ..., lens, or KIND:TAG");
  command->add_option("--number", options.number, "serial number from START, as wide as START is written (001)");
  command->add_option("--suffix", options.suffix, "text after the name");
  command->add_option("--date-format", options.dateFormat, "0 YYYY ... 4 YYYYMMDD, 5 YYYY年MM月DD日 (default), 6 YYYYMMDDHHMMSS, 7")
      ->check(CLI::Range(0, 7));
  command->add_flag("--convert-invalid", options.convert, "turn \" * / : < > ? \\ | into full-width characters instead of removing them");
  command->add_flag("--drop-maker", options.dropMaker, "drop the Model text up to its first blank");
  command->add_flag("--number-duplicates", options.duplicatesOnly, "number only names that would collide");
  command->add_flag("--subfolders", options.subfolders, "take the subfolders' files too");
  command->add_flag("--overwrite", options.overwrite, "overwrite outputs that exist already");
  command->add_flag("--skip-existing", options.skipExisting, "leave files whose output exists already");
  CliBatchWritingFlags(command, &options.dryRun, &options.progress);
  command->footer("Example: tavexon-cli rename scans/ --by DateTimeOriginal,Model --date-format 6 --number 001 --dry-run");
  command->callback([] {
    if (const int code = RunRename(options)) throw CLI::RuntimeError(code);
  });
}
