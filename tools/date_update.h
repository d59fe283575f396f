// Capture date update and file date restore: two loops over a FileList.
//
// The update rewrites DateTimeOriginal (36867) of every file, to a given day or by a signed
// difference, optionally DateTimeDigitized (36868) and DateTime (306) with the same text, and
// then sets the file's time from it. The restore leaves the Exif alone and sets each file's
// time from its DateTimeOriginal. A dialog, the command line and the tests call the same code.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "frame/file_list.h"
#include "frame/progress.h"
#include "frame/prompt.h"

// EXIFDATE/TYPE: which radio is chosen.
enum DateUpdateType : int { kDateTypeNone = -1, kDateTypeShift = 0, kDateTypeSet = 1 };

// The other date tags that take the same text as 36867.
enum DateAlsoTags : uint32_t { kDateAlsoDigitized = 1, kDateAlsoModified = 2 };

// The RunFlag value that asks the update loop to stop.
constexpr int kDateUpdateAbort = 3;
// The RunFlag value that asks the restore loop to stop.
constexpr int kDateRestoreAbort = 2;

struct DateUpdateSettings {
  int type = kDateTypeNone;
  int year = 0, month = 0, day = 0;  // the day of date mode; the time of day of each file stays
  int hour = -1, minute = 0, second = 0;  // with hour 0 or more, date mode sets the time as well
  int shift[6] = {};                 // year, month, day, hour, minute, second, signed
  uint32_t alsoTags = 0;             // DateAlsoTags; the dialog's check box sets both
  bool dryRun = false;               // compute and report, write nothing
};

// What happened to one file.
enum DateOutcome : int {
  kDateUpdated = 0,
  kDateSkipped = 1,   // no Exif, no 36867, or a 36867 shorter than 20 bytes: silently left
  kDateFailed = 2,    // the save failed; the file keeps its old Exif
  kDateNotInPlace = 3 // the new text does not fit the file's bytes: nothing written
};

struct DateFileReport {
  std::string path;
  std::string oldText;
  std::string newText;
  int outcome = kDateSkipped;
};
using DateReportHook = std::function<void(const DateFileReport&)>;

struct DateRunResult {
  int updated = 0;
  int failed = 0;
  int skipped = 0;
  bool aborted = false;
  uint32_t message = 0;  // a message that refused the run before any file (96), or 0
};

// Reads the chosen radio (EXIFDATE/TYPE, default 0) and writes it, with the folder in
// FILE/DATESRCPATH when one is given.
int DateUpdateLoadType();
void DateUpdateStoreSettings(const DateUpdateSettings& settings, const std::string& folder);

// The new text for an old one: the six values added field by field (difference mode) or the
// day replaced (date mode), then normalised and printed. A date the normalisation refuses is
// printed as it stands after the addition.
std::string DateUpdateText(const char* oldText, std::size_t size, const DateUpdateSettings& settings);

// Writes newText into one file's 36867 (and the chosen other tags, where present with 20 bytes
// or more) by the in-place road only. Returns a DateOutcome; reads and writes nothing in dry run.
int DateUpdateFile(const std::string& path, const DateUpdateSettings& settings, const Prompt* prompt,
                   DateFileReport* report);

// The whole update over the files of a list, in list order. Date mode first asks message 91;
// a failed file asks message 92 whether to go on. Returns 1 when the loop ran (aborted or not),
// 0 when it was refused (result->message) or the user declined message 91.
int DateUpdateRun(const FileList& files, const DateUpdateSettings& settings, const Progress* progress,
                  const Prompt* prompt, RunFlag* runFlag, DateRunResult* result, const DateReportHook& onFile = {});

// Sets a file's access and modification times from its DateTimeOriginal, read as local time.
// 1 on success; 0 when the file has no Exif, no 36867, or the time cannot be set.
int FileDateRestoreOne(const std::string& path);

// The restore over a list; returns the number of files that were not updated. The result says
// whether the loop was stopped (message 69) and carries message 121 when files failed.
int FileDateRestoreRun(const FileList& files, bool dryRun, const Progress* progress, RunFlag* runFlag,
                       DateRunResult* result, const DateReportHook& onFile = {});
