// The read-ahead reader over a real folder: every file delivered exactly once, with the same
// reading as a plain read, unreadable and vanished files as failures, by every method.
#include "codec/read_ahead.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <thread>

#include "exif/exif_reader.h"
#include "tests/support/test_support.h"

namespace fs = std::filesystem;

namespace {

// The corpus JPEGs copied into one folder, plus a file that is no JPEG, one whose APP1 starts
// past the first 64 KiB, and one that vanishes after the scan.
struct Folder {
  testsupport::ScratchDir scratch;
  FileList list;
  std::map<std::string, uint32_t> expected;  // path -> class of a plain read
};

void Prepare(Folder& folder) {
  for (const fs::path& file : testsupport::FilesUnder(testsupport::SharedSub("corpus/jpeg")))
    fs::copy_file(file, folder.scratch / file.filename().string());
  for (const fs::path& file : testsupport::SharedJpegs({"corpus/makers"}))
    fs::copy_file(file, folder.scratch / (file.parent_path().filename().string() + "_" + file.filename().string()),
                  fs::copy_options::skip_existing);
  testsupport::WriteBytes(folder.scratch / "not_a_jpeg.jpg", {'h', 'e', 'l', 'l', 'o'});
  // A comment segment of 65,000 bytes twice in front of the Exif of the first corpus file.
  const auto first = testsupport::FilesUnder(folder.scratch.path()).front();
  std::vector<unsigned char> bytes = testsupport::ReadBytes(first), late = {0xFF, 0xD8};
  for (int i = 0; i < 2; ++i) {
    late.insert(late.end(), {0xFF, 0xFE, 0xFD, 0xEA});
    late.insert(late.end(), 65000, 'c');
  }
  late.insert(late.end(), bytes.begin() + 2, bytes.end());
  testsupport::WriteBytes(folder.scratch / "late_app1.jpg", late);
  testsupport::WriteBytes(folder.scratch / "vanishes.jpg", bytes);
  ASSERT_GT(FileListScan(folder.list, folder.scratch.path().string(), "jpg", kFileListFiles, 0), 3);
  for (const fs::path& file : testsupport::FilesUnder(folder.scratch.path())) {
    ExifDocumentPtr document;
    folder.expected[file.string()] = ExifCheckFile(file.string(), document);
  }
  fs::remove(folder.scratch / "vanishes.jpg");
  folder.expected[(folder.scratch / "vanishes.jpg").string()] = StatusUnusable;
}

std::vector<ReadAheadResult> ReadAll(const FileList& list, int method, int slots, bool ordered) {
  // Every other file out of the page cache: method 1 takes cached heads on the caller's thread
  // and sends the others to its pool, and the two roads must interleave in order.
  for (size_t i = 0; i < list.entries->size(); i += 2) {
    const int fd = ::open((*list.entries)[i].path.c_str(), O_RDONLY);
    if (fd < 0) continue;
    ::fdatasync(fd);
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    ::close(fd);
  }
  ReadAheadReaderPtr reader;
  EXPECT_EQ(ReadAheadOpenWith(list, reader, method, slots, ordered, false), 0);
  std::vector<ReadAheadResult> results;
  int status = 0;
  while ((status = ReadAheadNext(reader.get(), results)) != ReadAheadEnd) EXPECT_GE(status, 0);
  return results;
}

}  // namespace

TEST(ReadAhead, EveryFileOnceByEveryMethod) {
  TAVEXON_REQUIRE_SHARED("corpus/jpeg");
  Folder folder;
  Prepare(folder);
  std::vector<std::string> listOrder;
  for (const FileEntry& entry : *folder.list.entries) listOrder.push_back(entry.path);
  struct Case {
    int method, slots;
    bool ordered;
  };
  for (const Case c : {Case{0, 8, false}, Case{1, 64, false}, Case{1, 4, true}, Case{2, 32, false},
                       Case{1, 0, false}, Case{2, 8, true}}) {
    SCOPED_TRACE("method " + std::to_string(c.method) + " slots " + std::to_string(c.slots) +
                 (c.ordered ? " ordered" : ""));
    const std::vector<ReadAheadResult> results = ReadAll(folder.list, c.method, c.slots, c.ordered);
    ASSERT_EQ(results.size(), listOrder.size());
    std::map<std::string, int> seen;
    for (size_t i = 0; i < results.size(); ++i) {
      const ReadAheadResult& result = results[i];
      ++seen[result.path];
      const uint32_t expected = folder.expected.at(result.path);
      // A file that is no JPEG, or is gone, is unusable to a plain read and without Exif to a
      // head read: either way a failure the walk passes over.
      if (expected == StatusUnusable) {
        EXPECT_TRUE(result.fileClass == StatusUnusable || result.fileClass == StatusNoExif) << result.path;
        if (c.method == 1 && c.slots > 0 && result.path.ends_with("vanishes.jpg")) {
          EXPECT_EQ(result.systemError, ENOENT);
        }
      } else {
        EXPECT_EQ(result.fileClass, expected) << result.path;
      }
      EXPECT_EQ(result.document != nullptr, (result.fileClass & (StatusJpeg | StatusNef)) != 0) << result.path;
      if (c.ordered || c.method == 0 || c.slots == 0) {
        EXPECT_EQ(result.path, listOrder[i]);
      }
    }
    for (const auto& [path, count] : seen) EXPECT_EQ(count, 1) << path;
  }
}

// Closing part way joins every worker and frees what was not taken.
TEST(ReadAhead, CloseMidFolder) {
  TAVEXON_REQUIRE_SHARED("corpus/jpeg");
  Folder folder;
  Prepare(folder);
  for (int method : {1, 2}) {
    ReadAheadReaderPtr reader;
    ASSERT_EQ(ReadAheadOpenWith(folder.list, reader, method, 16, false, true), 0);
    std::vector<ReadAheadResult> results;
    while (results.empty()) ASSERT_GE(ReadAheadNext(reader.get(), results), 0);
    reader.reset();
  }
}
