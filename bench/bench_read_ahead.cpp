// Reads the Exif of every JPEG of a folder, the way a folder view does, and prints how many
// files had Exif, for side-by-side timing of the read-ahead reader against one file at a time:
//   bench_read_ahead FOLDER METHOD [SLOTS]
// METHOD 0 reads on this thread, one file after another (ExifCheckFile); 1 and 2 are the
// reader's asynchronous heads and its worker pool.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "codec/read_ahead.h"
#include "exif/exif_reader.h"
#include "frame/file_list.h"
#include "shooting/engine_install.h"

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: bench_read_ahead FOLDER METHOD [SLOTS]\n");
    return 2;
  }
  EngineInstall();
  const int method = std::atoi(argv[2]);
  const int slots = argc > 3 ? std::atoi(argv[3]) : 64;
  std::unique_ptr<FileList> list = FileListCreate();
  if (FileListScan(*list, argv[1], "jpg", kFileListFiles, 0) <= 0) return 1;
  size_t withExif = 0, files = 0;
  if (method == 0) {
    for (const FileEntry& entry : *list->entries) {
      ExifDocumentPtr document;
      withExif += (ExifCheckFile(entry.path, document) & StatusNoExif) == 0 && document;
      ++files;
    }
  } else {
    ReadAheadReaderPtr reader;
    if (ReadAheadOpenWith(*list, reader, method, slots, true, false) != 0) return 1;
    std::vector<ReadAheadResult> results;
    while (ReadAheadNext(reader.get(), results) != ReadAheadEnd) {
      for (const ReadAheadResult& result : results) withExif += result.document != nullptr;
      files += results.size();
      results.clear();
    }
  }
  std::printf("%zu files, %zu with Exif\n", files, withExif);
  return 0;
}
