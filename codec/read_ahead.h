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
// aligned buffer, else a plain read followed by POSIX_FADV_DONTNEED), unless unbufferedOff.
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

// Appends what is ready to results and returns how many; 0 for nothing yet (call again, pumping
// events between calls), -3 when every file has been delivered.
int ReadAheadNext(ReadAheadReader* reader, std::vector<ReadAheadResult>& results);

// Files delivered as unreadable or timed out (method 1).
int ReadAheadFailures(const ReadAheadReader* reader);
