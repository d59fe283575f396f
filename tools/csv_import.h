// CSV import: the values of a CSV file, one row per JPEG file named by its full path, written
// into each file's Exif.
//
// Every row from the start row is checked before any file is touched; the first bad row ends
// the run with nothing changed. Then the files are changed row by row, each saved through
// ExifSaveFile (a temporary file and a rename, MakerNotes guarded as in every save). Only edits
// are written: a cell that gives the value the file already holds changes nothing, and a file
// whose cells change nothing is not rewritten in place.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "frame/progress.h"
#include "frame/prompt.h"
#include "tools/csv_file.h"
#include "tools/tag_selection.h"

// What a run ends with: 1 completed (message 51 shown), 0 stopped after a failure (no
// completion message), -1 cancelled by an answer, the progress hook or the run flag.
enum CsvImportResult : int { CsvImportDone = 1, CsvImportFailed = 0, CsvImportCancelled = -1 };

struct CsvImportOptions {
  std::string destination;  // a folder to save into; empty overwrites each file in place
  int startRow = 0;         // 1-based; 0 takes the first data row the analysis finds
  int dryRun = 0;           // check and plan every row, write nothing
};

// One file of the run and the tags whose values change in it.
struct CsvImportChange {
  int row = 0;
  std::string path;    // the file named by the row (native path)
  std::string output;  // where it is (or would be) saved
  std::vector<std::pair<uint32_t, uint32_t>> tags;  // (IfdNumber, tag) of each changed value
  int written = 0;     // 1 when the file was saved
};

struct CsvImportReport {
  std::vector<CsvImportChange> files;
  int rowsChecked = 0;
};

// The analysis of a chosen file: a "TAGID" row (any case) replaces fileList with its columns;
// the first row whose first cell names an existing regular file is the first data row (0 when
// none). Returns 1, 0 when a "TAGID" cell is malformed (message 109 is the caller's).
int CsvImportAnalyse(const CsvReader& reader, TagSelection* fileList, int* firstDataRow);

// The run. storedSelection stands when the file has no "TAGID" row. Messages go to the prompt
// (111, 66, 109, 78, 108, 105, 107, 104, 85, 58, 106, 51), and so do the save's questions.
int CsvImportRun(const std::string& csvPath, const TagSelection& storedSelection, const CsvImportOptions& options,
                 const Progress* progress, const Prompt* prompt, RunFlag* runFlag = nullptr,
                 CsvImportReport* report = nullptr);
