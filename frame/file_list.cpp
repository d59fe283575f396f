// Folder scans into a FileList, its sort, its position and its walks.
#include "frame/file_list.h"

#include <algorithm>
#include <new>
#include <system_error>

#include "frame/path.h"

namespace fs = std::filesystem;

namespace {

// Paths this long are refused before the folder is opened: the scan gives 0.
constexpr size_t kScanPathRefused = 257;

enum class ScanEnd { Done, Stopped, Failed };

// What a scan takes in, by name.
struct ScanRule {
  std::function<bool(const std::string& name)> fileTaken;
  std::function<bool(const std::string& name)> folderTaken;
  int flags = 0;
  bool subfolders = false;
  const FileListEntryHook* hook = nullptr;
};

uint32_t FileEntryAttributes(const fs::directory_entry& item, const std::string& name, bool folder) {
  std::error_code error;
  uint32_t attributes = folder ? static_cast<uint32_t>(kFileAttributeFolder) : 0u;
  const fs::perms perms = item.status(error).permissions();
  if (!error && (perms & fs::perms::owner_write) == fs::perms::none) attributes |= kFileAttributeReadOnly;
  // A leading point is how this platform hides a name.
  if (!name.empty() && name.front() == '.') attributes |= kFileAttributeHidden;
  return attributes == 0 ? static_cast<uint32_t>(kFileAttributeNormal) : attributes;
}

FileEntry FileEntryFrom(const fs::directory_entry& item, const std::string& path, const std::string& name,
                        bool folder) {
  std::error_code error;
  FileEntry entry;
  entry.path = path;
  entry.type = folder ? kFileEntryFolder : kFileEntryFile;
  entry.attributes = FileEntryAttributes(item, name, folder);
  entry.size = folder ? 0 : item.file_size(error);
  if (error) entry.size = 0;
  entry.writeTime = item.last_write_time(error);
  return entry;
}

// Appends one entry and tells the hook; true when the hook asks the scan to end.
bool ScanTakeIn(FileEntries& out, FileEntry entry, const std::string& folder, const std::string& name,
                const ScanRule& rule) {
  out.push_back(std::move(entry));
  return rule.hook && *rule.hook && (*rule.hook)(folder, name) == 1;
}

ScanEnd ScanFolder(const std::string& folder, const ScanRule& rule, FileEntries& out) {
  if (folder.size() >= kScanPathRefused) return ScanEnd::Failed;
  std::error_code error;
  fs::directory_iterator items(folder.empty() ? fs::path(".") : fs::path(folder), error);
  if (error) return ScanEnd::Failed;
  for (const fs::directory_iterator end; items != end; items.increment(error)) {
    if (error) return ScanEnd::Failed;
    const fs::directory_entry& item = *items;
    const std::string name = item.path().filename().string();
    const std::string path = folder.empty() ? name : PathJoin(folder, name);
    std::error_code statusError;
    if (item.is_directory(statusError)) {
      if (!(rule.flags & kFileListFolders) || !rule.folderTaken(name)) continue;
      if (ScanTakeIn(out, FileEntryFrom(item, path, name, true), folder, name, rule)) return ScanEnd::Stopped;
      // A linked folder is listed but not entered, so that a link to a parent cannot loop.
      if (!rule.subfolders || item.is_symlink(statusError)) continue;
      const ScanEnd below = ScanFolder(path, rule, out);
      if (below != ScanEnd::Done) return below;
    } else if (item.is_regular_file(statusError)) {
      if (!(rule.flags & kFileListFiles) || !rule.fileTaken(name)) continue;
      if (ScanTakeIn(out, FileEntryFrom(item, path, name, false), folder, name, rule)) return ScanEnd::Stopped;
    }
    // Anything else (a broken link, a device, a socket) is no file a tool could open.
  }
  return ScanEnd::Done;
}

// Runs a scan into a fresh entry list, which replaces the list's own only on success.
int ScanInto(FileList& list, const std::string& folder, const ScanRule& rule) {
  try {
    auto entries = std::make_shared<FileEntries>();
    if (ScanFolder(folder, rule, *entries) == ScanEnd::Failed) {
      list.entries = std::make_shared<FileEntries>();
      list.currentIndex = 0;
      return 0;
    }
    list.folder = folder;
    list.entries = std::move(entries);
    FileListSort(list);
    FileListSelect(list, "");
    return static_cast<int>(list.entries->size());
  } catch (const std::bad_alloc&) {
    list.entries = std::make_shared<FileEntries>();
    list.currentIndex = 0;
    return kFileListNoMemory;
  }
}

int SortCompare(const FileList& list, const FileEntry& a, const FileEntry& b) {
  switch (list.sortKey) {
    case kFileSortName:
      return PathCompareNoCase(a.path, b.path);
    case kFileSortExtension: {
      const int byExtension =
          PathCompareNoCase(PathExtension(PathFileName(a.path)), PathExtension(PathFileName(b.path)));
      return byExtension != 0 ? byExtension : PathCompareNoCase(a.path, b.path);
    }
    case kFileSortTime:
      return a.writeTime < b.writeTime ? -1 : (b.writeTime < a.writeTime ? 1 : 0);
    default:
      return 0;
  }
}

}  // namespace

std::unique_ptr<FileList> FileListCreate() { return std::make_unique<FileList>(); }

int FileListScan(FileList& list, const std::string& startPath, const std::string& extension, int flags,
                 int subfolders) {
  ScanRule rule;
  rule.fileTaken = [&extension](const std::string& name) {
    return extension == "*" || PathSameNoCase(PathExtension(name), extension);
  };
  rule.folderTaken = [](const std::string&) { return true; };
  // Entering the tree means taking its folders in.
  rule.flags = subfolders ? flags | kFileListFolders : flags;
  rule.subfolders = subfolders != 0;
  rule.hook = &list.onEntry;
  return ScanInto(list, startPath, rule);
}

int FileListScanPattern(FileList& list, const std::string& pattern, int flags) {
  const std::string namePattern = PathFileName(pattern);
  ScanRule rule;
  rule.fileTaken = [&namePattern](const std::string& name) { return PathMatchesPattern(name, namePattern); };
  rule.folderTaken = rule.fileTaken;
  rule.flags = flags;
  rule.hook = &list.onEntry;
  return ScanInto(list, PathFolderOf(pattern), rule);
}

void FileListSort(FileList& list) {
  if (!list.entries) return;
  const int direction = list.sortDirection < 0 ? -1 : 1;
  std::stable_sort(list.entries->begin(), list.entries->end(), [&](const FileEntry& a, const FileEntry& b) {
    if (a.type != b.type) return a.type < b.type;  // folders before files
    return SortCompare(list, a, b) * direction < 0;
  });
}

int FileListSelect(FileList& list, const std::string& path) {
  list.currentIndex = 0;
  if (!list.entries || path.empty() || !PathIsFile(path)) return 0;
  const FileEntries& entries = *list.entries;
  for (size_t i = 0; i < entries.size(); ++i) {
    if (PathSameNoCase(entries[i].path, path)) {
      list.currentIndex = i;
      return 1;
    }
  }
  return 0;
}

const FileEntry* FileListCurrent(const FileList& list) {
  if (!list.entries || list.currentIndex >= list.entries->size()) return nullptr;
  return &(*list.entries)[list.currentIndex];
}

void FileListAdopt(FileList& list, SharedFileEntries entries) {
  list.entries = entries ? std::move(entries) : std::make_shared<FileEntries>();
  list.currentIndex = 0;
}

void FileListRelease(std::unique_ptr<FileList>& list) { list.reset(); }

std::unique_ptr<FileListWalk> FileListCursor(const FileList& list) {
  auto walk = std::make_unique<FileListWalk>();
  walk->entries = list.entries;
  return walk;
}

const FileEntry* FileListNext(FileListWalk* cursor, int type) {
  if (!cursor || !cursor->entries) return nullptr;
  const FileEntries& entries = *cursor->entries;
  while (cursor->next < entries.size()) {
    const FileEntry& entry = entries[cursor->next++];
    if (type == 0 || entry.type == type) return &entry;
  }
  return nullptr;
}

void FileListCloseCursor(std::unique_ptr<FileListWalk>& cursor) { cursor.reset(); }

int FileListFileCount(const FileList& list) {
  if (!list.entries) return 0;
  return static_cast<int>(std::count_if(list.entries->begin(), list.entries->end(),
                                        [](const FileEntry& e) { return e.type == kFileEntryFile; }));
}
