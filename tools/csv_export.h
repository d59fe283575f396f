// CSV export: one row per JPEG file of a FileList, one column per tag of a TagSelection.
//
// The same function serves the dialog, the command line and the tests: the files, the
// selection, a progress hook (which may stop the run after any file) and the prompt through
// which the run's messages are shown.
#pragma once

#include <cstdint>
#include <string>

#include "frame/file_list.h"
#include "frame/progress.h"
#include "frame/prompt.h"
#include "tools/csv_file.h"
#include "tools/tag_selection.h"

struct CsvExportOptions {
  int raw = 1;  // 1: unconverted values and the "TAGID" row (what import reads); 0: display texts
  CsvEncoding encoding = CsvCp932;
};

struct CsvExportSummary {
  uint32_t rows = 0;  // file rows written
  int aborted = 0;    // the progress hook or the run flag stopped the run
};

// Writes the CSV at outputPath. Messages: 78 for an empty selection, 93 when the file cannot be
// made or put in place, 51 on completion; a path CP932 cannot represent refuses the whole run
// before anything is written. An aborted run keeps the rows written so far. runFlag, when
// given, is 1 during the run and stops it at 2. Returns 1 when the file was written, else 0.
int CsvExportRun(const FileList& files, const TagSelection& selection, const std::string& outputPath,
                 const CsvExportOptions& options, const Progress* progress, const Prompt* prompt,
                 RunFlag* runFlag = nullptr, CsvExportSummary* summary = nullptr);
