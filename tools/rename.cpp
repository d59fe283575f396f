// Batch rename, the run: folder checks, the checks of the whole set of names, and the apply
// step, in which nothing can overwrite a file the user did not agree to lose.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>
#include <system_error>
#include <unordered_map>

#include "exif/exif_document.h"
#include "exif/jpeg_file.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"
#include "frame/message_table.h"
#include "frame/path.h"
#include "tools/date_update.h"
#include "tools/rename.h"

namespace fs = std::filesystem;

namespace {

std::string Folded(const std::string& path) {
  std::string folded = path;
  for (char& c : folded) c = char(c >= 'A' && c <= 'Z' ? c + 32 : c);
  return folded;
}

int Refuse(RenameResult* result, uint32_t message, const char* text = nullptr) {
  result->message = message;
  result->text = text != nullptr ? text : MessageText(message);
  return 0;
}

bool Exists(const std::string& path) {
  std::error_code error;
  return fs::exists(fs::symlink_status(path, error));
}

// Renames without ever replacing: a link under the new name fails when the name is taken, and
// only then is the old name removed.
bool RenameNoReplace(const std::string& from, const std::string& to) {
  if (::link(from.c_str(), to.c_str()) == 0) return ::unlink(from.c_str()) == 0 || (::unlink(to.c_str()), false);
  // A file system without hard links: rename, after checking the name is free.
  if (errno == EEXIST || Exists(to)) return false;
  return std::rename(from.c_str(), to.c_str()) == 0;
}

// One entry in place. With overwrite, the existing output is moved to a temporary name first,
// and is put back when the rename fails.
bool ApplyInPlace(const RenameEntry& entry, bool overwrite) {
  std::string aside;
  if (overwrite) {
    aside = FileTemporaryPath(entry.output);
    if (std::rename(entry.output.c_str(), aside.c_str()) != 0) return false;
  }
  if (!RenameNoReplace(entry.input, entry.output)) {
    if (!aside.empty()) std::rename(aside.c_str(), entry.output.c_str());
    return false;
  }
  if (!aside.empty()) std::remove(aside.c_str());
  return true;
}

// One entry copied: through a temporary in the output's folder, which replaces an output only
// when written whole. The copy's time is then set from its capture date.
bool ApplyCopy(const RenameEntry& entry, bool overwrite) {
  const std::string temporary = FileTemporaryPath(entry.output);
  std::error_code error;
  if (!fs::copy_file(entry.input, temporary, fs::copy_options::none, error) || error) {
    std::remove(temporary.c_str());
    return false;
  }
  bool placed = false;
  if (overwrite) placed = FileReplaceDestination(temporary, entry.output);
  else placed = RenameNoReplace(temporary, entry.output) || (std::remove(temporary.c_str()), false);
  ErrorClear();
  if (placed) FileDateRestoreOne(entry.output);
  return placed;
}

}  // namespace

int RenameCheck(const std::vector<RenameEntry>& entries, const RenameSettings& settings, const Prompt* prompt,
                std::vector<int>* decisions, RenameResult* result) {
  decisions->assign(entries.size(), kRenameGo);
  // Duplicates: the first pair i < j in loop order, found by the folded path.
  std::unordered_map<std::string, std::size_t> first;
  std::size_t bestI = entries.size(), bestJ = 0;
  for (std::size_t j = 0; j < entries.size(); ++j) {
    auto [it, fresh] = first.emplace(Folded(entries[j].output), j);
    if (fresh) continue;
    // Each i's first later match: the smallest i wins, and the smallest j for it.
    if (it->second < bestI) bestI = it->second, bestJ = j;
  }
  if (bestI < entries.size()) {
    const char* text =
        MessageFormat(MsgRenameDuplicate, Cp932FromUtf8(entries[bestI].input).c_str(),
                      Cp932FromUtf8(entries[bestJ].input).c_str(), Cp932FromUtf8(entries[bestI].output).c_str());
    return Refuse(result, MsgRenameDuplicate, text);
  }
  if (settings.type == kRenameInPlace) {
    std::unordered_map<std::string, std::size_t> inputs;
    for (std::size_t j = 0; j < entries.size(); ++j) inputs.emplace(Folded(entries[j].input), j);
    // The last entry's new name is not held against the inputs.
    for (std::size_t i = 0; i + 1 < entries.size(); ++i) {
      const auto hit = inputs.find(Folded(entries[i].output));
      if (hit != inputs.end() && hit->second != i) return Refuse(result, MsgRenameCollision);
    }
  }
  // Every question before any file is touched: an existing output is overwritten only with
  // the user's yes; cancel refuses the whole run.
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (PathSameNoCase(entries[i].input, entries[i].output)) {
      (*decisions)[i] = kRenameUnchanged;
      continue;
    }
    if (!Exists(entries[i].output)) continue;
    const std::string text = Cp932FromUtf8(entries[i].output) + MessageText(MsgOverwrite);
    PromptQuestion question{MsgOverwrite, text.c_str(), MsgTitleProduct, PromptButtonsYesNoCancel, PromptIconQuestion};
    const PromptAnswer answer = PromptAsk(prompt, question);
    if (answer == PromptAnswerCancel) return Refuse(result, MsgOverwrite, text.c_str());
    (*decisions)[i] = answer == PromptAnswerYes ? kRenameOverwrite : kRenameSkip;
  }
  return 1;
}

int RenameRun(const RenameSettings& settings, bool dryRun, const Progress* progress, const Prompt* prompt,
              RunFlag* runFlag, std::vector<RenameEntry>* entries, std::vector<int>* decisions, RenameResult* result) {
  *result = RenameResult{};
  if (!PathIsFolder(settings.source)) return Refuse(result, MsgFolderMissing);
  if (settings.type == kRenameCopy) {
    if (!PathIsFolder(settings.destination)) return Refuse(result, MsgFolderMissing);
    std::error_code error;
    if (PathSameNoCase(settings.source, settings.destination) || fs::equivalent(settings.source, settings.destination, error))
      return Refuse(result, MsgSameFolders);
  }
  if (runFlag != nullptr) runFlag->store(1);
  auto finish = [&](int value) {
    if (runFlag != nullptr) runFlag->store(0);
    return value;
  };
  FileList list;
  if (FileListScan(list, settings.source, "jpg", kFileListFiles, settings.subfolders ? 1 : 0) < 0)
    return finish(Refuse(result, MsgSearchError));
  const std::vector<std::string> inputs = RenameOrder(list, nullptr);
  if (!RenameBuildNames(inputs, settings, progress, entries, result)) return finish(0);
  if (runFlag != nullptr && runFlag->load() == kRenameAbort) return finish((result->aborted = true, 0));
  if (!RenameCheck(*entries, settings, prompt, decisions, result)) return finish(0);
  if (dryRun) return finish(1);
  for (std::size_t k = 0; k < entries->size(); ++k) {
    const RenameEntry& entry = (*entries)[k];
    if (!ProgressStep(progress, entry.input, k + 1, entries->size()) && runFlag != nullptr) runFlag->store(kRenameAbort);
    if (runFlag != nullptr && runFlag->load() == kRenameAbort) return finish((result->aborted = true, 1));
    const int decision = (*decisions)[k];
    if (decision == kRenameUnchanged || decision == kRenameSkip) {
      ++result->skipped;
      continue;
    }
    const bool overwrite = decision == kRenameOverwrite;
    const bool done = settings.type == kRenameInPlace ? ApplyInPlace(entry, overwrite) : ApplyCopy(entry, overwrite);
    if (!done) {
      ErrorPushSystem(ErrFileIo, errno, entry.output);  // the system's reason beside the message
      const char* text = MessageFormat(MsgRenameFailed, Cp932FromUtf8(entry.input).c_str(), Cp932FromUtf8(entry.output).c_str());
      return finish(Refuse(result, MsgRenameFailed, text));
    }
    ++result->renamed;
  }
  return finish(1);
}
