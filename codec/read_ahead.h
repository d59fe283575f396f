// The read-ahead reader: walks a FileList and hands back, for each file, its parsed Exif and a
// class flag, in batches, with the heads of many files requested at once. Exif browsing of a
// folder on a slow disk is dominated by seek time, not parsing.
//
// Three methods, by the settings READMETHOD and MULTIREADNUM of section OPTION:
//   1 (default): asynchronous reads of each file's first 64 KiB, one slot a file, polled from the
//      caller's thread, which extracts and parses; in ordered mode results keep list order.
//   2: a pool of worker threads that read and parse; results arrive in completion order.
//   other, or MULTIREADNUM below 1: one file at a time on the caller's thread.
// Heads are read without filling the page cache where the system allows it (O_DIRECT with an
// aligned buffer, else a plain read followed by POSIX_FADV_DONTNEED), unless unbufferedOff. A
// head that stands whole in the page cache already is taken from there on the caller's thread,
// without a trip through the pool (method 1).
// Workers are never killed: they watch a stop flag, and closing joins them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "exif/exif_document.h"
#include "frame/file_list.h"

// One delivered file: its path, its document (none when it has no readable Exif) and its class,
// the ExifStatus word of the read (512 no Exif or unreadable within the walk, 1024 unusable).
struct ReadAheadResult {
  std::string path;
  ExifDocumentPtr document;
  uint32_t fileClass = 0;
  int systemError = 0;           // why the file could not be opened or read (method 1), else 0
  std::vector<uint8_t> segment;  // readers opened for segments: the first APP1 payload found
  bool segmentFound = false;     // readers opened for segments: the head held an APP1
};

enum ReadAheadNextResult : int { ReadAheadNothingYet = 0, ReadAheadFailed = -1, ReadAheadEnd = -3 };

struct ReadAheadReader;
void ReadAheadClose(ReadAheadReader* reader);
struct ReadAheadReaderDeleter {
  void operator()(ReadAheadReader* reader) const { ReadAheadClose(reader); }
};
using ReadAheadReaderPtr = std::unique_ptr<ReadAheadReader, ReadAheadReaderDeleter>;

// Opens a reader over the files of list (folders are passed over). 0, or -1.
int ReadAheadOpen(const FileList& list, ReadAheadReaderPtr& out, bool ordered, bool unbufferedOff);

// The same with the method and slot count given instead of read from the settings.
int ReadAheadOpenWith(const FileList& list, ReadAheadReaderPtr& out, int method, int slotCount, bool ordered,
                      bool unbufferedOff);

// Method 1 in list order over the given paths (folders included, which fail), for callers that
// parse for themselves: each result carries the first APP1 payload of the file's head instead
// of a document. A file the head does not answer for (no APP1, not a JPEG, unreadable) comes
// with segmentFound false, for the caller to read as it always does. 0, or -1.
int ReadAheadOpenSegments(const std::vector<std::string>& paths, ReadAheadReaderPtr& out, int slotCount);

// Appends what is ready to results and returns how many; 0 for nothing yet (call again, pumping
// events between calls), -3 when every file has been delivered.
int ReadAheadNext(ReadAheadReader* reader, std::vector<ReadAheadResult>& results);

// Files delivered as unreadable or timed out (method 1).
int ReadAheadFailures(const ReadAheadReader* reader);
