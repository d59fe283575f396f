// Path helpers and the folder scan, over a scratch folder.
#include "frame/path.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "frame/cp932.h"
#include "frame/file_list.h"
#include "tests/support/test_support.h"

namespace fs = std::filesystem;

// Each helper as a table of input -> expected. Folders of CP932 paths never split a pair whose
// second byte is '\\' (表 is 0x95 0x5C); UTF-8 bytes 0x81-0x9F never take the separator along.
TEST(PathHelpers, InputToExpected) {
  const std::string hyo = Cp932FromUtf8("表");
  ASSERT_EQ(hyo, "\x95\x5C");
  using Helper = std::string (*)(const std::string&);
  const Helper folder = [](const std::string& p) { return PathFolderOf(p); };
  const Helper folderCp932 = [](const std::string& p) { return PathFolderOfCp932(p); };
  const Helper name = [](const std::string& p) { return PathFileName(p); };
  const Helper extension = [](const std::string& p) { return PathExtension(p); };
  const struct {
    Helper helper;
    std::string in, out;
  } rows[] = {
      {folder, "/photos/roll1/IMG_0001.JPG", "/photos/roll1"}, {folder, "/photos/", "/photos"},
      {folder, "/photos", "/"}, {folder, "/", "/"}, {folder, "IMG_0001.JPG", ""}, {folder, "/写真/ā/x.jpg", "/写真/ā"},
      {folderCp932, "C:\\" + hyo, "C:\\"}, {folderCp932, "C:\\" + hyo + "\\a.jpg", "C:\\" + hyo},
      {folderCp932, "C:\\photo\\" + hyo, "C:\\photo"}, {folderCp932, "D:\\" + hyo + hyo + "\\", "D:\\" + hyo + hyo},
      {folderCp932, "C:\\a.jpg", "C:\\"},           // a drive root keeps its separator
      {folderCp932, "C:\\photo\\", "C:\\photo"},  // a deeper folder loses it
      {folderCp932, "/photo/" + hyo, "/photo"}, {folderCp932, "/" + hyo, "/"}, {folderCp932, hyo, ""},
      {name, "/a/b/IMG.1.JPG", "IMG.1.JPG"}, {extension, "IMG.1.JPG", "JPG"},
      {extension, "README", "README"},  // no point: the whole name
      {extension, "trail.", ""},
  };
  for (const auto& row : rows) EXPECT_EQ(row.helper(row.in), row.out) << row.in;
  EXPECT_EQ(PathJoin("/a", "b"), "/a/b");
  EXPECT_EQ(PathJoin("/", "b"), "/b");
  const struct {
    const char* name;
    const char* pattern;
    bool matches;
  } patterns[] = {{"IMG_0001.jpg", "img_????.JPG", true}, {"a.b.c", "*.c", true}, {"noext", "*.*", true},
                  {"IMG_01.jpg", "IMG_???.jpg", false}, {"x.jpeg", "*.jpg", false}};
  for (const auto& p : patterns) EXPECT_EQ(PathMatchesPattern(p.name, p.pattern), p.matches) << p.name;
  EXPECT_LT(PathCompareNoCase("abc", "ABD"), 0);
  EXPECT_EQ(PathCompareNoCase("Roll", "rOLL"), 0);
}

namespace {

// A scratch tree:
//   b.JPG  a.jpg  c.txt  NOEXT  jpg(folder: x.jpg, deep(folder: y.JPG))  A(folder)
class FileListScanTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* file : {"b.JPG", "a.jpg", "c.txt", "NOEXT", "jpg/x.jpg", "jpg/deep/y.JPG"}) Touch(file);
    fs::create_directories(root_ / "A");
  }
  void Touch(const std::string& relative) {
    fs::create_directories((root_ / relative).parent_path());
    std::ofstream(root_ / relative) << relative;
  }
  std::string Root() const { return root_.string(); }
  std::string At(const std::string& relative) const { return (root_ / relative).string(); }
  static std::vector<std::string> Paths(const FileList& list, const std::string& root) {
    std::vector<std::string> paths;
    for (const FileEntry& e : *list.entries) paths.push_back(e.path.substr(root.size() + 1));
    return paths;
  }

  testsupport::ScratchDir scratch_;
  fs::path root_ = scratch_.path() / "scan";
};

using Names = std::vector<std::string>;

}  // namespace

TEST_F(FileListScanTest, FilterAndOrder) {
  FileList list;
  EXPECT_EQ(FileListScan(list, Root(), "*", kFileListFiles | kFileListFolders, 0), 6);
  EXPECT_EQ(Paths(list, Root()), (Names{"A", "jpg", "a.jpg", "b.JPG", "c.txt", "NOEXT"}));
  EXPECT_EQ(FileListFileCount(list), 4);

  EXPECT_EQ(FileListScan(list, Root(), "JPG", kFileListFiles, 0), 2);  // case does not count
  EXPECT_EQ(Paths(list, Root()), (Names{"a.jpg", "b.JPG"}));

  EXPECT_EQ(FileListScan(list, Root(), "noext", kFileListFiles, 0), 1);  // whole name as extension
  EXPECT_EQ(Paths(list, Root()), (Names{"NOEXT"}));

  list.sortKey = kFileSortExtension;
  list.sortDirection = -1;
  EXPECT_EQ(FileListScan(list, Root(), "*", kFileListFiles, 0), 4);
  EXPECT_EQ(Paths(list, Root()), (Names{"c.txt", "NOEXT", "b.JPG", "a.jpg"}));
}

TEST_F(FileListScanTest, FolderBeforeFileOfTheSameName) {
  Touch("sub/twin.d/inner.jpg");
  Touch("sub/twin.e");
  fs::create_directories(root_ / "sub" / "twin");
  Touch("sub/twim");
  FileList list;
  ASSERT_EQ(FileListScan(list, At("sub"), "*", kFileListFiles | kFileListFolders, 0), 4);
  EXPECT_EQ(Paths(list, At("sub")), (Names{"twin", "twin.d", "twim", "twin.e"}));
}

TEST_F(FileListScanTest, SubfoldersAndWalks) {
  FileList list;
  // Entering the tree takes its folders in even when only files were asked for.
  EXPECT_EQ(FileListScan(list, Root(), "jpg", kFileListFiles, 1), 7);
  EXPECT_EQ(Paths(list, Root()), (Names{"A", "jpg", "jpg/deep", "a.jpg", "b.JPG", "jpg/deep/y.JPG", "jpg/x.jpg"}));

  auto walk = FileListCursor(list);
  std::vector<std::string> files;
  while (const FileEntry* e = FileListNext(walk.get(), kFileEntryFile)) files.push_back(e->path);
  EXPECT_EQ(files.size(), 4u);
  EXPECT_EQ(FileListNext(walk.get(), kFileEntryFile), nullptr);
  FileListCloseCursor(walk);
  EXPECT_EQ(walk, nullptr);

  FileList folders;
  ASSERT_EQ(FileListScan(folders, Root(), "*", kFileListFolders, 0), 2);
  auto folderWalk = FileListCursor(folders);
  EXPECT_EQ(FileListNext(folderWalk.get(), kFileEntryFile), nullptr);  // no files among folders
}

TEST_F(FileListScanTest, OnEntryEndsTheScan) {
  FileList list;
  int calls = 0;
  list.onEntry = [&](const std::string& folder, const std::string& name) {
    EXPECT_EQ(folder, Root());
    EXPECT_FALSE(name.empty());
    return ++calls == 2 ? 1 : 0;
  };
  EXPECT_EQ(FileListScan(list, Root(), "*", kFileListFiles, 0), 2);
  EXPECT_EQ(calls, 2);
}

TEST_F(FileListScanTest, RefusalsAndFailures) {
  EXPECT_TRUE(PathIsFolder(Root()) && PathIsFile(At("a.jpg")));
  EXPECT_FALSE(PathIsFolder(At("a.jpg")) || PathIsFile(Root()) || PathIsFile("") || PathIsFolder(At("missing")));
  FileList list;
  EXPECT_EQ(FileListScan(list, At("missing"), "*", kFileListFiles, 0), 0);
  EXPECT_EQ(FileListScan(list, At("a.jpg"), "*", kFileListFiles, 0), 0);
  EXPECT_TRUE(list.entries->empty());
  // A start path of 257 bytes or more is refused, 256 is scanned.
  std::string longPath = Root() + "/";
  longPath += std::string(255 - longPath.size(), 'x');
  fs::create_directories(longPath);
  std::ofstream(longPath + "/f.jpg") << "f";
  EXPECT_EQ(FileListScan(list, longPath, "*", kFileListFiles, 0), 1);
  fs::create_directories(longPath + "y");
  std::ofstream(longPath + "y/f.jpg") << "f";
  EXPECT_EQ(FileListScan(list, longPath + "y", "*", kFileListFiles, 0), 1);
  fs::create_directories(longPath + "yz");
  std::ofstream(longPath + "yz/f.jpg") << "f";
  EXPECT_EQ(FileListScan(list, longPath + "yz", "*", kFileListFiles, 0), 0);
}

TEST_F(FileListScanTest, PatternScan) {
  FileList list;
  EXPECT_EQ(FileListScanPattern(list, At("?.jpg"), kFileListFiles), 2);
  EXPECT_EQ(Paths(list, Root()), (Names{"a.jpg", "b.JPG"}));
  EXPECT_EQ(FileListScanPattern(list, At("*"), kFileListFolders), 2);  // no recursion
  EXPECT_EQ(FileListScanPattern(list, At("*.*"), kFileListFiles), 4);
}

TEST_F(FileListScanTest, SelectSortByTimeAndShare) {
  FileList list;
  const auto now = fs::file_time_type::clock::now();
  fs::last_write_time(At("c.txt"), now - std::chrono::hours(3));
  fs::last_write_time(At("a.jpg"), now - std::chrono::hours(2));
  fs::last_write_time(At("NOEXT"), now - std::chrono::hours(1));
  fs::last_write_time(At("b.JPG"), now);
  list.sortKey = kFileSortTime;
  ASSERT_EQ(FileListScan(list, Root(), "*", kFileListFiles, 0), 4);
  EXPECT_EQ(Paths(list, Root()), (Names{"c.txt", "a.jpg", "NOEXT", "b.JPG"}));

  EXPECT_EQ(FileListSelect(list, At("NOEXT")), 1);
  EXPECT_EQ(FileListCurrent(list)->path, At("NOEXT"));
  EXPECT_EQ(FileListSelect(list, Root() + "/A.JPG"), 0);  // exists only as "a.jpg" here
  EXPECT_EQ(list.currentIndex, 0u);
  EXPECT_EQ(FileListSelect(list, At("jpg")), 0);  // a folder: the first entry
  EXPECT_EQ(list.currentIndex, 0u);

  // A second list shares the entries; they outlive the first.
  auto second = FileListCreate();
  FileListAdopt(*second, list.entries);
  EXPECT_EQ(list.entries.use_count(), 2);
  auto walk = FileListCursor(*second);
  FileListRelease(second);
  EXPECT_EQ(second, nullptr);
  list.entries.reset();
  ASSERT_NE(FileListNext(walk.get(), 0), nullptr);
  EXPECT_EQ(PathFileName(FileListNext(walk.get(), 0)->path), "a.jpg");
}
