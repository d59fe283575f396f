// A camera data file: the comma-separated text the MV-1 data reader writes for one film of a
// Nikon F6, F5 or F100, read into private tags, one record per frame.
//
// Line 1 holds the header titles, line 2 the header values, line 3 the column titles, and
// every later line one frame. The file does not say which of the eight layouts it has: the
// caller names the data type, and only the column counts check it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "exif/exif_document.h"
#include "frame/error_stack.h"

// One frame: an ASCII entry for every row of the frame table, in table order; a column the
// layout lacks is an empty text of count 1. Consumers test count above 1 for content.
using ShootingRecord = TagList;

struct CameraDataFile {
  std::string path;
  uint32_t frameCount = 0;
  uint32_t dataType = 0;
  TagList header;                       // the four header fields, from line 2
  std::vector<ShootingRecord> frames;   // one per frame line
  // Why the last read failed, for the user beyond message 73: the line (from 1, counting the
  // file's own line ends) and what was expected there; or errno and the path when the file
  // could not be opened. Cleared by a read that succeeds.
  ErrorDetail failure;
};

void CameraDataFileDestroy(CameraDataFile* file);
struct CameraDataFileDeleter {
  void operator()(CameraDataFile* file) const { CameraDataFileDestroy(file); }
};
using CameraDataFilePtr = std::unique_ptr<CameraDataFile, CameraDataFileDeleter>;

// An empty record for the file at path; nullptr, with 1026 and the system's reason (EISDIR for
// a folder) pushed, when the path is not a regular file.
CameraDataFilePtr CameraDataFileCreate(const char* path);

// Reads the file as data type dataType (stored first). Returns 1, or 0: 1026 (with errno and
// the path) when the file cannot be opened, 769 when memory runs out, and 1282 for a wrong
// field count, with the line and the expectation that `failure` keeps too. A failure leaves the
// record partly filled.
int CameraDataFileRead(CameraDataFile* file, uint32_t dataType);

// The failure of the last read as one line of ASCII: "line 5: 8 fields, 17 expected for F6
// detailed"; empty when the read did not fail at a line. Shown after message 73.
std::string CameraDataFileFailureText(const CameraDataFile* file);

uint32_t CameraDataFileFrameCount(const CameraDataFile* file);

// Puts one header entry (the embedder's film name, tag 62980) and keeps the header sorted.
int CameraDataFileAddHeader(CameraDataFile* file, uint16_t tag, uint16_t type, uint32_t count, const void* value);

// Appends copies of the (at most 4) header entries and the (at most 18) entries of one frame
// to list. On a failure the list is emptied and 0 returned.
int CameraDataFileCopyRecord(const CameraDataFile* file, uint32_t frame, TagList* list);

// The entry of a record or header with that tag when it has content (count above 1), else
// nullptr; its text is the entry's value.
const TagEntry* ShootingFieldText(const TagList& list, uint16_t tag);
