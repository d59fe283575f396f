#include "cli/cli_batch.h"

#include <csignal>
#include <cstdio>

#include "cli/cli_output.h"
#include "frame/cp932.h"
#include "frame/message_table.h"
#include "frame/path.h"

namespace {

std::atomic<bool> gInterrupted{false};

void BatchOnInterrupt(int) { gInterrupted.store(true); }

bool BatchStep(void* user, const std::string& path, std::size_t index, std::size_t count) {
  const auto* progress = static_cast<const CliBatchProgress*>(user);
  if (progress->show) std::fprintf(stderr, "[%zu/%zu] %s\n", index, count, PathFileName(path).c_str());
  return !gInterrupted.load();
}

PromptAnswer BatchAnswer(void* user, const PromptQuestion& question) {
  const auto* prompt = static_cast<const CliBatchPrompt*>(user);
  const auto known = prompt->answers.find(question.messageId);
  const PromptAnswer answer = known != prompt->answers.end() ? known->second : PromptSafeAnswer(question.buttons);
  // Questions the run answers for itself stay quiet; the others are shown with the answer.
  if (known == prompt->answers.end())
    std::fprintf(stderr, "%s\n-> %s\n", Utf8FromCp932(question.text).c_str(),
                 answer == PromptAnswerYes ? "yes" : answer == PromptAnswerNo ? "no" : answer == PromptAnswerOk ? "ok" : "cancel");
  return answer;
}

}  // namespace

CliBatchProgress::CliBatchProgress() {
  hook.step = BatchStep;
  hook.user = this;
  gInterrupted.store(false);
  std::signal(SIGINT, BatchOnInterrupt);
}

CliBatchProgress::~CliBatchProgress() { std::signal(SIGINT, SIG_DFL); }

CliBatchPrompt::CliBatchPrompt() {
  prompt.ask = BatchAnswer;
  prompt.user = this;
}

int CliBatchCollect(const std::vector<std::string>& arguments, bool subfolders, FileList* list) {
  for (const std::string& argument : arguments) {
    if (PathIsFolder(argument)) {
      FileList folder;
      FileListScan(folder, argument, "jpg", kFileListFiles, subfolders ? 1 : 0);
      for (const FileEntry& entry : *folder.entries)
        if (entry.type == kFileEntryFile) list->entries->push_back(entry);
    } else if (PathIsFile(argument)) {
      FileEntry entry;
      entry.path = argument;
      list->entries->push_back(entry);
    } else {
      CliReportFailure(argument, 0, MsgFolderMissing);
      return 0;
    }
  }
  return 1;
}

void CliBatchWritingFlags(CLI::App* command, bool* dryRun, bool* progress) {
  command->add_flag("--dry-run", *dryRun, "print what would change and write nothing");
  command->add_flag("--progress", *progress, "print each file as it is reached");
}

void CliBatchReport(const std::string& where, const std::string& cp932Text) {
  std::fprintf(stderr, "%s%s%s\n", where.c_str(), where.empty() ? "" : ": ", Utf8FromCp932(cp932Text).c_str());
}
