// tavexon-cli shrink: a folder of JPEGs shrunk into another folder's parallel tree, with the
// Exif carried along and corrected; tavexon-cli thumbnail: the Exif thumbnail Tavexon makes.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cli/cli_output.h"
#include "cli/commands.h"
#include "codec/thumbnail.h"
#include "frame/message_table.h"
#include "tools/shrink.h"

namespace {

struct ShrinkOptions {
  std::string source, destination, size, sides, percent;
  int level = -1;
  int sharp = -1;
  bool progress = false;
  bool overwrite = false;
};

std::atomic<bool> interrupted{false};
void ShrinkOnInterrupt(int) { interrupted = true; }

// "WxH" into two numbers; false when it is not that.
bool ParseBox(const std::string& text, uint32_t* width, uint32_t* height) {
  unsigned long w = 0, h = 0;
  char tail = 0;
  if (std::sscanf(text.c_str(), "%lux%lu%c", &w, &h, &tail) != 2 || w == 0 || h == 0 || w > 65535 || h > 65535)
    return false;
  *width = uint32_t(w);
  *height = uint32_t(h);
  return true;
}

struct ShrinkRunReport {
  bool progress;
};

bool ShrinkStep(void* user, const std::string& path, size_t index, size_t count) {
  if (static_cast<ShrinkRunReport*>(user)->progress) std::fprintf(stderr, "[%zu/%zu] %s\n", index, count, path.c_str());
  return !interrupted;
}

// The terminal's answers: overwrite only when asked to; at a file that does not decode, go on.
PromptAnswer ShrinkAnswer(void* user, const PromptQuestion& question) {
  const bool overwrite = *static_cast<bool*>(user);
  std::string text = CliMessage(question.messageId);
  while (!text.empty() && text.front() == '\n') text.erase(text.begin());
  if (question.messageId == MsgOverwrite) return overwrite ? PromptAnswerYes : PromptAnswerNo;
  std::fprintf(stderr, "%s\n", text.c_str());
  return PromptSafeAnswer(question.buttons);
}

int ShrinkRun(const ShrinkOptions& options) {
  ShrinkSettings settings = ShrinkSettingsLoad();
  settings.inputFolder = options.source;
  settings.outputFolder = options.destination;
  if (!options.size.empty()) {
    settings.type = ShrinkBySize;
    if (!ParseBox(options.size, &settings.width1, &settings.height1)) settings.width1 = 0;
  } else if (!options.sides.empty()) {
    settings.type = ShrinkByLongShort;
    if (!ParseBox(options.sides, &settings.width2, &settings.height2)) settings.width2 = 0;
  } else if (!options.percent.empty()) {
    settings.type = ShrinkByPercent;
    settings.percent = options.percent;
  }
  static constexpr int kLevels[] = {3, 5, 7};  // low, middle, high quality
  if (options.level >= 0) settings.quality = kLevels[options.level];
  if (options.sharp >= 0) settings.sharp = options.sharp;
  if (const uint32_t refused = ShrinkCheck(settings)) {
    std::fprintf(stderr, "%s\n", CliMessage(refused).c_str());
    return CliFailure;
  }
  ShrinkSettingsStore(settings);
  interrupted = false;
  auto previous = std::signal(SIGINT, ShrinkOnInterrupt);
  ShrinkRunReport report{options.progress};
  Progress progress{ShrinkStep, &report};
  bool overwrite = options.overwrite;
  Prompt prompt{ShrinkAnswer, &overwrite};
  const ShrinkResult result = ShrinkBatchRun(settings, &progress, &prompt);
  std::signal(SIGINT, previous);
  if (result.messageId) {
    std::string text = CliMessage(result.messageId);
    while (!text.empty() && text.front() == '\n') text.erase(text.begin());
    std::fprintf(stderr, "%s: %s\n", result.failedPath.c_str(), text.c_str());
  }
  std::fprintf(stderr, "%u written, %u skipped%s\n", result.written, result.skipped,
               interrupted ? ", stopped by Ctrl+C" : "");
  return result.messageId || interrupted ? CliFailure : CliSuccess;
}

struct ThumbnailOptions {
  std::string file, out;
};

int ThumbnailRun(const ThumbnailOptions& options) {
  std::vector<uint8_t> thumbnail;
  if (!GenerateExifThumbnail(options.file, nullptr, 0, thumbnail)) {
    std::string text = CliMessage(MsgUnsupportedFile);
    while (!text.empty() && text.front() == '\n') text.erase(text.begin());
    std::fprintf(stderr, "%s: %s\n", options.file.c_str(), text.c_str());
    return CliFailure;
  }
  std::string out = options.out;
  if (out.empty()) out = std::filesystem::path(options.file).stem().string() + "_thumbnail.jpg";
  std::ofstream file(out, std::ios::binary);
  file.write(reinterpret_cast<const char*>(thumbnail.data()), std::streamsize(thumbnail.size()));
  file.close();
  if (!file) {
    std::fprintf(stderr, "%s: cannot write\n", out.c_str());
    return CliFailure;
  }
  std::printf("%s\n", out.c_str());
  return CliSuccess;
}

}  // namespace

void CliShrinkRegister(CLI::App& app) {
  static ShrinkOptions options;
  CLI::App* command = app.add_subcommand(
      "shrink",
      "Shrink every JPEG under SRC_DIR into the same tree under DST_DIR, Exif carried along.\n"
      "Example: tavexon-cli shrink scans web --size 1600x1600 --level 1 --sharp 1 --progress");
  command->add_option("SRC_DIR", options.source, "the folder to read")->required();
  command->add_option("DST_DIR", options.destination, "the folder to write (not inside SRC_DIR)")->required();
  auto* size = command->add_option("--size", options.size, "fit into WIDTHxHEIGHT pixels");
  auto* sides = command->add_option("--long-short", options.sides, "fit LONGxSHORT, upright pictures turned");
  auto* percent = command->add_option("--percent", options.percent, "scale to N percent (above 1, below 100)");
  size->excludes(sides)->excludes(percent);
  sides->excludes(percent);
  command->add_option("--level", options.level, "quality: 0 low, 1 middle, 2 high (default: setting SIZE)")
      ->check(CLI::Range(0, 2));
  command->add_option("--sharp", options.sharp, "sharpening: 0 off, 1 weak, 2 middle, 3 strong")
      ->check(CLI::Range(0, 3));
  command->add_flag("--overwrite", options.overwrite, "replace files that exist in DST_DIR (default: keep them)");
  command->add_flag("--progress", options.progress, "name each file on standard error");
  command->callback([] {
    const int code = ShrinkRun(options);
    if (code != CliSuccess) throw CLI::RuntimeError(code);
  });

  static ThumbnailOptions thumbnail;
  CLI::App* thumb = app.add_subcommand(
      "thumbnail", "Write the Exif thumbnail Tavexon would make for a JPEG (160x120, 120x160 upright).\n"
                   "Example: tavexon-cli thumbnail scan.jpg -o scan_thumb.jpg");
  thumb->add_option("FILE", thumbnail.file, "the JPEG file")->required()->check(CLI::ExistingFile);
  thumb->add_option("-o,--out", thumbnail.out, "where to write it (default: NAME_thumbnail.jpg here)");
  thumb->callback([] {
    const int code = ThumbnailRun(thumbnail);
    if (code != CliSuccess) throw CLI::RuntimeError(code);
  });
}
