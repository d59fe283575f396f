// The batch shrink: every JPEG under one folder shrunk into a parallel tree under another, with
// its Exif carried along and corrected by ShrinkJpegFile. The dialog, the command line and the
// tests all call these functions; questions go through the caller's prompt, progress through
// its hook.
#pragma once

#include <cstdint>
#include <string>

#include "frame/progress.h"
#include "frame/prompt.h"

// How the new size is chosen (SHTYPE).
enum ShrinkType : int { ShrinkBySize = 1, ShrinkByLongShort = 2, ShrinkByPercent = 4 };

// The keys of section FILE.
struct ShrinkSettings {
  std::string inputFolder;   // SHRINKIN
  std::string outputFolder;  // SHRINKOUT
  int type = ShrinkBySize;   // SHTYPE
  uint32_t width1 = 0, height1 = 0;  // WIDTH1, HEIGHT1: the box of the size mode
  uint32_t width2 = 0, height2 = 0;  // WIDTH2, HEIGHT2: long and short side
  std::string percent;       // PERCENT
  int sharp = 0;             // SHARP: 0 off, 1 weak, 2 middle, 3 strong
  int quality = 5;           // SIZE: the encoder's level
};

ShrinkSettings ShrinkSettingsLoad();
void ShrinkSettingsStore(const ShrinkSettings& settings);

// Checks the fields before a run: 0, or the message to show (63, 64, 65, 67, 68). Folders that
// resolve to the same place, or an output folder inside the input folder, count as the same.
uint32_t ShrinkCheck(const ShrinkSettings& settings);

// The percent text as a factor: the text up to the first character that is neither a digit nor
// a point, above 1 and below 100; 0 when it is refused.
float ShrinkPercentFactor(const std::string& text);

// The factor for a picture of width x height under the settings' mode.
float ShrinkFactorFor(const ShrinkSettings& settings, uint32_t width, uint32_t height);

// What a run did.
struct ShrinkResult {
  uint32_t written = 0;
  uint32_t skipped = 0;      // declined overwrites and sources that did not decode
  uint32_t messageId = 0;    // the message that ended the run early (57, 59, 61), or 0
  std::string failedPath;    // the file it was at
  bool stopped = false;      // the hook or the prompt ended it
};

// Runs the batch over the settings' folders (checked first: a refusal is reported as its
// message with nothing written). Each file is reported to the hook before it is read.
ShrinkResult ShrinkBatchRun(const ShrinkSettings& settings, const Progress* progress, const Prompt* prompt);
