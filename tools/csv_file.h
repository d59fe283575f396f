// CSV files of Exif values: CP932 text (or UTF-8 behind a byte order mark), "," between cells,
// CR LF after each row.
//
// CsvWriter quotes a cell that holds a comma, a quote, a carriage return or a line feed, with
// every quote doubled, so that a spreadsheet and Python's csv module read it back as one cell.
// It writes into a temporary file beside the target and renames it over the target only when
// the file is complete, so no reader ever sees a half-written CSV.
//
// CsvReader parses a whole file into rows when it opens, with the reading rules of the import
// tool, and marks the cells those rules read differently from the way the writer meant them.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

// The row buffer of export and import alike.
constexpr uint32_t kCsvRowCapacity = 1048576;

enum CsvEncoding : int { CsvCp932 = 0, CsvUtf8 = 1 };

struct CsvWriter {
  uint32_t capacity = kCsvRowCapacity;
  uint32_t rowLength = 0;
  uint32_t cellCount = 0;
  std::string row;
  std::string separator = ",";
  std::FILE* file = nullptr;
  int mode = 1;  // 1 write
  CsvEncoding encoding = CsvCp932;
  std::string path;           // the finished file
  std::string temporaryPath;  // where it is written until closed
  bool failed = false;        // a write or a conversion failed: close discards the file
};

// Opens the temporary file beside path ("wb"); a UTF-8 file starts with its byte order mark.
// Returns 1, 0 when the file cannot be created.
int CsvWriterOpen(CsvWriter* writer, const std::string& path, uint32_t capacity, int mode,
                  CsvEncoding encoding = CsvCp932);
void CsvWriterClearRow(CsvWriter* writer);
// Adds one CP932 cell. A cell that would not fit the row buffer is dropped, yet counted, so
// later cells keep their separator. In a UTF-8 file a cell CP932 cannot carry exactly back is
// refused: 0, and the writer is marked failed.
int CsvWriterAddCell(CsvWriter* writer, std::string_view text);
// Writes the row and CR LF. Returns 1, 0 on a write failure.
int CsvWriterEndRow(CsvWriter* writer);
// Finishes the file: the temporary file replaces the target. With keep 0, or after a failure,
// the temporary file is removed and the target stays as it was. Returns 1 when the target was
// written.
int CsvWriterClose(CsvWriter* writer, int keep = 1);

// One parsed row: its cells, CP932.
struct CsvRow {
  std::vector<std::string> cells;
  // Per cell, 1 where the reading rules gave another text than a standard CSV reader would
  // (two commas in quotes read as one, a quote after a comma in quotes kept literally), or
  // where a UTF-8 file held a character CP932 cannot represent.
  std::vector<uint8_t> inexact;
  uint32_t byteLength = 0;
};

struct CsvReader {
  std::vector<CsvRow> rows;
  CsvEncoding encoding = CsvCp932;
  uint32_t capacity = kCsvRowCapacity;
};

// Reads and parses the whole file ("rb"). A UTF-8 byte order mark selects UTF-8, whose cells
// are converted to CP932. Returns 1, 0 when the file cannot be read.
int CsvReaderOpen(CsvReader* reader, const std::string& path);
// Parses bytes already in memory (the same rules; no byte order mark handling).
void CsvReaderParse(CsvReader* reader, std::string_view bytes);
