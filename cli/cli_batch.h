// What the batch subcommands of tavexon-cli share: gathering files from DIR|FILE arguments,
// the progress line with Ctrl+C, and the prompt that answers from options.
#pragma once

#include <CLI/CLI.hpp>
#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "frame/file_list.h"
#include "frame/progress.h"
#include "frame/prompt.h"

// Fills a list from folders (their *.jpg, with subfolders when asked) and files, in argument
// order, each folder's files sorted by name. 1, or 0 after reporting a missing path (message 64).
int CliBatchCollect(const std::vector<std::string>& arguments, bool subfolders, FileList* list);

// A progress hook that prints "[i/n] name" when shown, and answers false after Ctrl+C.
struct CliBatchProgress {
  bool show = false;
  Progress hook;
  CliBatchProgress();
  ~CliBatchProgress();
};

// A prompt that prints each question and answers it by its message number from the table;
// questions not in the table get the answer that writes nothing.
struct CliBatchPrompt {
  std::map<uint32_t, PromptAnswer> answers;
  Prompt prompt;
  CliBatchPrompt();
};

// Adds --dry-run and --progress.
void CliBatchWritingFlags(CLI::App* command, bool* dryRun, bool* progress);

// Prints a refusal by its message's finished CP932 text (in UTF-8) on standard error.
void CliBatchReport(const std::string& where, const std::string& cp932Text);
