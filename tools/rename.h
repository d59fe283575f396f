// Batch rename: every JPEG of a folder gets a name built from a prefix, up to three Exif
// values, a serial number and a suffix, renamed in place or copied into another folder.
//
// The whole set of names is computed and checked first (length, duplicates, collisions with
// the inputs, existing outputs); only then is any file touched. Names are built as CP932 bytes,
// so every byte-counted bound behaves as on Windows, and become platform paths at the end.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "frame/file_list.h"
#include "frame/progress.h"
#include "frame/prompt.h"

enum RenameType : int { kRenameCopy = 0, kRenameInPlace = 1 };
constexpr int kRenameAbort = 3;      // the RunFlag value that stops a run
constexpr uint32_t kRenamePathMax = 260;

struct RenameKey {
  int32_t ifd = -1;  // -1 marks the first unused key
  int32_t tag = -1;
};

// The settings of section RENAME (and FILE/RENSRCPATH, FILE/RENDESTPATH). Texts are CP932.
struct RenameSettings {
  int type = kRenameCopy;         // RENAMETYPE
  std::string source;             // FILE/RENSRCPATH (a platform path)
  std::string destination;        // FILE/RENDESTPATH
  bool subfolders = false;        // no key
  bool prefixOn = false;          // PREFIXFLG
  std::string prefix;             // PREFIXSTR
  bool suffixOn = false;          // SUFIXFLG
  std::string suffix;             // SUFIXSTR
  bool exifOn = false;            // EXIFFLG
  bool exifDetail = false;        // EXIFDETAIL
  std::array<RenameKey, 3> keys;  // IFD01..IFD03, TAG01..TAG03
  bool numberOn = false;          // NUMBERFLG
  int digitsIndex = 0;            // NUMBER: digits less 1, taken modulo 10 on reading
  bool sameFileOnly = false;      // SAMEFILE: numbers only where names collide
  int dateFormat = 5;             // DATEFORMAT, 0 to 7
  int deleteModelWord = 0;        // DELETE: 1 drops the Model text up to its first blank
  int invalidChar = 0;            // INVALIDCHAR: 0 removes, 1 converts to full width
  int numberStart = 0;            // the first serial number (no key; the dialog starts at 0)
};
void RenameLoadSettings(RenameSettings* settings);
void RenameStoreSettings(const RenameSettings& settings);

// The sanitiser: leading and trailing blanks first, then byte by byte: CR and LF removed;
// " * : < > ? | (and / \ in file name mode) removed (mode 0) or converted to full width
// (mode 1); '.' only as the first output or last input character. Without the file name flag
// a leading drive prefix ("C:\") is kept. Returns the length, or -1 when the result would not
// fit room - 1 bytes.
int RenameSanitise(const std::string& input, std::string* output, std::size_t room, int mode, bool fileName);

struct RenameEntry {
  std::string input;   // platform path
  std::string output;  // platform path
  std::string name;    // the new name as CP932 bytes, ".jpg" included
};

// What a run reports: the message that refused it (0 when none) with its text's arguments,
// and the entry at which the apply step failed.
struct RenameResult {
  uint32_t message = 0;
  std::string text;  // the message's finished text (CP932)
  int renamed = 0;
  int skipped = 0;
  bool aborted = false;
};

// The files of a run in their processing order: classified by DateTimeOriginal, ascending,
// files without it last; ties by the full date text and then by path, so the same folder
// always gives the same order.
std::vector<std::string> RenameOrder(const FileList& files, const Progress* progress);

// Builds every name. 1, or 0 with message 80 (a name too long, or a key that gives no value
// where it must). A false progress answer stops with result->aborted.
int RenameBuildNames(const std::vector<std::string>& inputs, const RenameSettings& settings, const Progress* progress,
                     std::vector<RenameEntry>* entries, RenameResult* result);

// The checks before anything is touched: duplicate outputs (83), in place an output equal to
// another entry's input (97), then each output that exists already is put to the prompt
// (its path and message 58: yes overwrites, no skips, cancel refuses the run). Fills
// overwrite/skip per entry. 1 when the run may go on.
int RenameCheck(const std::vector<RenameEntry>& entries, const RenameSettings& settings, const Prompt* prompt,
                std::vector<int>* decision, RenameResult* result);

// Decisions of RenameCheck, per entry.
enum RenameDecision : int { kRenameGo = 0, kRenameUnchanged = 1, kRenameSkip = 2, kRenameOverwrite = 3 };

// The whole run as the dialog's OK: checks the folders (64, 67), scans, orders, builds, checks
// and applies. With dryRun nothing is touched, and entries receives the plan. Returns 1 when
// every file was done (message 51), 0 when refused or failed (result->message: 64, 67, 80,
// 82, 83, 84, 97).
int RenameRun(const RenameSettings& settings, bool dryRun, const Progress* progress, const Prompt* prompt,
              RunFlag* runFlag, std::vector<RenameEntry>* entries, std::vector<int>* decisions, RenameResult* result);
