#include "tools/shrink.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "codec/jpeg_decoder.h"
#include "codec/raster_scale.h"
#include "codec/thumbnail.h"
#include "frame/file_list.h"
#include "frame/message_table.h"
#include "frame/settings.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kSection = "FILE";

PromptAnswer Ask(const Prompt* prompt, uint32_t id, uint32_t title, PromptButtons buttons) {
  PromptQuestion question;
  question.messageId = id;
  question.text = MessageText(id);
  question.titleId = title;
  question.buttons = buttons;
  question.icon = buttons == PromptButtonsOk ? PromptIconError : PromptIconQuestion;
  return PromptAsk(prompt, question);
}

// Where a folder really is, for comparing two of them (missing parts kept as written).
fs::path Resolved(const std::string& folder) {
  std::error_code error;
  fs::path path = fs::weakly_canonical(fs::absolute(folder, error), error);
  return path.empty() ? fs::path(folder) : path;
}

// The size-mode rule: fit into W x H when the picture is larger in either direction.
float FitBox(uint32_t w, uint32_t h, uint32_t boxW, uint32_t boxH) {
  if (boxW >= w && boxH >= h) return 1.0f;
  return float(boxH) / float(h) <= float(boxW) / float(w) ? ScaleFactorFor(h, boxH) : ScaleFactorFor(w, boxW);
}

}  // namespace

ShrinkSettings ShrinkSettingsLoad() {
  ShrinkSettings s;
  s.inputFolder = SettingsGetText(kSection, "SHRINKIN");
  s.outputFolder = SettingsGetText(kSection, "SHRINKOUT");
  s.type = SettingsGetInt(kSection, "SHTYPE", ShrinkBySize);
  s.width1 = uint32_t(std::max(0, SettingsGetInt(kSection, "WIDTH1", 0)));
  s.height1 = uint32_t(std::max(0, SettingsGetInt(kSection, "HEIGHT1", 0)));
  s.width2 = uint32_t(std::max(0, SettingsGetInt(kSection, "WIDTH2", 0)));
  s.height2 = uint32_t(std::max(0, SettingsGetInt(kSection, "HEIGHT2", 0)));
  s.percent = SettingsGetText(kSection, "PERCENT");
  s.sharp = SettingsGetInt(kSection, "SHARP", 0);
  if (s.sharp < 0 || s.sharp > 3) s.sharp = 0;
  s.quality = SettingsGetInt(kSection, "SIZE", 5);
  if (s.quality < 0 || s.quality > 10) s.quality = 5;
  return s;
}

void ShrinkSettingsStore(const ShrinkSettings& s) {
  SettingsPutString(kSection, "SHRINKIN", s.inputFolder.c_str());
  SettingsPutString(kSection, "SHRINKOUT", s.outputFolder.c_str());
  SettingsPutString(kSection, "SHTYPE", std::to_string(s.type).c_str());
  SettingsPutUInt(kSection, "WIDTH1", s.width1);
  SettingsPutUInt(kSection, "HEIGHT1", s.height1);
  SettingsPutUInt(kSection, "WIDTH2", s.width2);
  SettingsPutUInt(kSection, "HEIGHT2", s.height2);
  SettingsPutString(kSection, "PERCENT", s.percent.c_str());
  SettingsPutUInt(kSection, "SHARP", uint32_t(s.sharp));
  SettingsPutUInt(kSection, "SIZE", uint32_t(s.quality));
}

float ShrinkPercentFactor(const std::string& text) {
  const size_t end = text.find_first_not_of("0123456789.");
  const std::string number = text.substr(0, end);
  if (number.empty() || number.find_first_of("0123456789") == std::string::npos) return 0.0f;
  const double value = std::strtod(number.c_str(), nullptr);
  return value > 1.0 && value < 100.0 ? float(value / 100.0) : 0.0f;
}

uint32_t ShrinkCheck(const ShrinkSettings& s) {
  if (s.inputFolder.empty()) return MsgNoInputFolder;
  std::error_code error;
  if (!fs::is_directory(s.inputFolder, error)) return MsgFolderMissing;
  if (s.outputFolder.empty()) return MsgNoOutputFolder;
  // The same folder, or an output tree inside the input tree (which the scan would walk into).
  const fs::path in = Resolved(s.inputFolder), out = Resolved(s.outputFolder);
  const auto mismatch = std::mismatch(in.begin(), in.end(), out.begin(), out.end());
  if (mismatch.first == in.end()) return MsgSameFolders;
  switch (s.type) {
    case ShrinkBySize:
      return s.width1 && s.height1 ? 0u : uint32_t(MsgBadValue);
    case ShrinkByLongShort:
      return s.width2 && s.height2 ? 0u : uint32_t(MsgBadValue);
    case ShrinkByPercent:
      return ShrinkPercentFactor(s.percent) > 0.0f ? 0u : uint32_t(MsgBadValue);
    default:
      return MsgBadValue;
  }
}

float ShrinkFactorFor(const ShrinkSettings& s, uint32_t w, uint32_t h) {
  if (w == 0 || h == 0) return 1.0f;
  switch (s.type) {
    case ShrinkByPercent:
      return ShrinkPercentFactor(s.percent);
    case ShrinkByLongShort:
      if (h <= w) return FitBox(w, h, s.width2, s.height2);  // landscape: long side across
      if (h <= s.width2 && w <= s.height2) return 1.0f;
      return float(s.width2) / float(h) <= float(s.height2) / float(w) ? ScaleFactorFor(h, s.width2)
                                                                      : ScaleFactorFor(w, s.height2);
    default:
      return FitBox(w, h, s.width1, s.height1);
  }
}

ShrinkResult ShrinkBatchRun(const ShrinkSettings& s, const Progress* progress, const Prompt* prompt) {
  ShrinkResult result;
  if (const uint32_t refused = ShrinkCheck(s)) {
    result.messageId = refused;
    return result;
  }
  FileList list;
  FileListScan(list, s.inputFolder, "jpg", kFileListFiles, 1);
  const size_t total = size_t(FileListFileCount(list));
  auto walk = FileListCursor(list);
  const fs::path input = Resolved(s.inputFolder);
  size_t index = 0;
  while (const FileEntry* entry = FileListNext(walk.get(), kFileEntryFile)) {
    ++index;
    if (!ProgressStep(progress, entry->path, index, total)) {
      result.stopped = true;
      break;
    }
    const fs::path relative = Resolved(entry->path).lexically_relative(input);
    const fs::path destination = fs::path(s.outputFolder) / relative;
    std::error_code error;
    fs::create_directories(destination.parent_path(), error);
    if (error) {
      Ask(prompt, MsgFolderNotMade, MsgTitleError, PromptButtonsOk);
      result.messageId = MsgFolderNotMade;
      result.failedPath = destination.string();
      break;
    }
    if (fs::exists(fs::symlink_status(destination, error))) {
      const PromptAnswer answer = Ask(prompt, MsgOverwrite, MsgTitleProduct, PromptButtonsYesNoCancel);
      if (answer == PromptAnswerNo) {
        ++result.skipped;
        continue;
      }
      if (answer != PromptAnswerYes) {
        result.stopped = true;
        break;
      }
      // The old file stays until the new one replaces it: the shrink writes through a
      // temporary file, so nothing is lost if it fails.
      if (::access(destination.c_str(), W_OK) != 0) {
        Ask(prompt, MsgCannotOverwrite, MsgTitleError, PromptButtonsOk);
        result.messageId = MsgCannotOverwrite;
        result.failedPath = destination.string();
        break;
      }
    }
    int32_t width = 0, height = 0;
    if (JpegProbeSize(entry->path, &width, &height) != 0) {
      if (Ask(prompt, MsgUnsupportedStop, MsgTitleError, PromptButtonsYesNo) == PromptAnswerYes) {
        result.stopped = true;
        result.failedPath = entry->path;
        break;
      }
      ++result.skipped;
      continue;
    }
    const float factor = ShrinkFactorFor(s, uint32_t(width), uint32_t(height));
    if (!ShrinkJpegFile(entry->path, destination.string(), factor, s.sharp, s.quality, prompt)) {
      Ask(prompt, MsgWriteFailed, MsgTitleError, PromptButtonsOk);
      result.messageId = MsgWriteFailed;
      result.failedPath = entry->path;
      break;
    }
    ++result.written;
  }
  return result;
}
