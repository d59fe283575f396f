// The contents of a folder, or of a folder tree, sorted, with a current position. Every
// command that steps to the next or previous file, and every batch tool, works on a FileList.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

enum FileEntryType : int { kFileEntryFolder = 1, kFileEntryFile = 2 };

// Attribute bits of an entry, with the values the Windows directory records use.
enum FileAttribute : uint32_t {
  kFileAttributeReadOnly = 0x01,
  kFileAttributeHidden = 0x02,
  kFileAttributeFolder = 0x10,
  kFileAttributeNormal = 0x80,
};

struct FileEntry {
  std::string path;  // full path
  int type = kFileEntryFile;
  uint32_t attributes = 0;
  uint64_t size = 0;
  std::filesystem::file_time_type writeTime{};
};

// Entries are shared: a second list, or the read-ahead reader, holds the same entries.
using FileEntries = std::vector<FileEntry>;
using SharedFileEntries = std::shared_ptr<FileEntries>;

// Called for every entry taken in, with its folder and name. A result of 1 ends the scan.
using FileListEntryHook = std::function<int(const std::string& folder, const std::string& name)>;

enum FileListFlag : int { kFileListFolders = 1, kFileListFiles = 2 };
enum FileListSortKey : int { kFileSortNone = 0, kFileSortName = 1, kFileSortExtension = 2, kFileSortTime = 3 };

// The scan result for a failed allocation.
constexpr int kFileListNoMemory = -101;

struct FileList {
  std::string folder;  // the scanned folder
  size_t currentIndex = 0;
  SharedFileEntries entries = std::make_shared<FileEntries>();
  int sortKey = kFileSortName;
  int sortDirection = 1;  // 1 ascending, -1 descending
  FileListEntryHook onEntry;
};

std::unique_ptr<FileList> FileListCreate();

// Fills the list from a folder: files whose extension equals the filter without regard to
// case (a filter "*" takes every file), folders when asked for by flags, and with subfolders
// non-zero the whole tree. The list is then sorted and its position set to the first entry.
// Returns the number of entries; 0 when the scan failed (also for a start path of 257 bytes
// or more, which is refused); kFileListNoMemory when the list could not grow.
int FileListScan(FileList& list, const std::string& startPath, const std::string& extension, int flags, int subfolders);

// The same from a wildcard pattern such as "/photos/roll*/IMG_????.JPG": '*' and '?' on the
// file name, in one folder, without recursion.
int FileListScanPattern(FileList& list, const std::string& pattern, int flags);

// Orders the entries: folders before files, then by the list's sort key and direction.
void FileListSort(FileList& list);

// Moves the position to the entry equal to path (without regard to case), or to the first
// entry when path is empty, not a file, or not in the list. Returns 1 when path was found.
int FileListSelect(FileList& list, const std::string& path);

// The entry at the position, or nullptr for an empty list.
const FileEntry* FileListCurrent(const FileList& list);

// Takes a shared entry list; the list keeps it alive until released or replaced.
void FileListAdopt(FileList& list, SharedFileEntries entries);

// Drops the list and its reference to the entries, and clears the caller's pointer.
void FileListRelease(std::unique_ptr<FileList>& list);

// A walk over entries of one type, with a reference of its own to the entries, so that it
// stays valid while the list is scanned again.
struct FileListWalk {
  SharedFileEntries entries;
  size_t next = 0;
};

std::unique_ptr<FileListWalk> FileListCursor(const FileList& list);
// The next entry of the type (kFileEntryFolder or kFileEntryFile; 0 for any), or nullptr at
// the end.
const FileEntry* FileListNext(FileListWalk* cursor, int type);
void FileListCloseCursor(std::unique_ptr<FileListWalk>& cursor);

// The number of entries of type file.
int FileListFileCount(const FileList& list);
