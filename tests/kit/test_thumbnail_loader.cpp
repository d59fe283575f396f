// The loader thread of a thumbnail list: rows at once, pictures as the thread reaches them, and
// a stop that joins within one file, never a killed thread.
#include <QApplication>
#include <QElapsedTimer>
#include <QListWidget>
#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <thread>

#include "frame/file_list.h"
#include "kit/thumbnail_loader.h"

namespace {

const std::string kScans = std::string(TAVEXON_SAMPLES) + "/scans";

// A source that takes a while per file and counts the files it was asked for.
ThumbnailSource SlowSource(std::atomic<int>* made) {
  return [made](const std::string&, int size) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ++*made;
    QImage picture(size, size, QImage::Format_RGB32);
    picture.fill(Qt::gray);
    return picture;
  };
}

int RowsWithPictures(const QListWidget& list) {
  int rows = 0;
  for (int i = 0; i < list.count(); ++i) rows += !list.item(i)->icon().isNull();
  return rows;
}

}  // namespace

TEST(ThumbnailListLoader, FillsStopsAndJoins) {
  auto files = FileListCreate();
  ASSERT_EQ(FileListScan(*files, kScans, "jpg", kFileListFiles, 0), 36);
  QListWidget list;
  ThumbnailListLoader loader;
  std::atomic<int> made{0};
  ASSERT_EQ(ThumbnailListLoaderStart(loader, &list, kScans + "/", *files, 64, SlowSource(&made)), 1);
  EXPECT_EQ(list.count(), 36);  // every row at once, by bare name
  EXPECT_EQ(list.item(0)->text(), "scan_0001.jpg");
  EXPECT_EQ(loader.folder, kScans);
  // Stopping mid-list joins the thread after the file in hand.
  while (made.load() < 3) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  ThumbnailListLoaderStop(loader);
  EXPECT_FALSE(loader.thread.joinable());
  EXPECT_EQ(loader.state.load(), uint32_t(LoaderIdle));
  const int stoppedAt = made.load();
  EXPECT_LT(stoppedAt, 36);
  QCoreApplication::processEvents();
  EXPECT_EQ(RowsWithPictures(list), stoppedAt);  // the posted pictures reach their rows

  // A restart runs to the end; a source that gives nothing leaves white squares.
  ASSERT_EQ(ThumbnailListLoaderStart(loader, &list, kScans, *files, 64,
                                     [](const std::string&, int) { return QImage(); }), 1);
  QElapsedTimer waited;
  waited.start();
  while (loader.state.load() == LoaderRunning && waited.elapsed() < 10000)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  QCoreApplication::processEvents();
  EXPECT_EQ(RowsWithPictures(list), 36);

  // An empty list clears the view and starts no thread.
  FileList empty;
  EXPECT_EQ(ThumbnailListLoaderStart(loader, &list, kScans, empty, 64, SlowSource(&made)), -1);
  EXPECT_EQ(list.count(), 0);
  EXPECT_FALSE(loader.thread.joinable());
}

TEST(ThumbnailListLoader, AListDestroyedWhileLoadingTakesNothing) {
  auto files = FileListCreate();
  ASSERT_EQ(FileListScan(*files, kScans, "jpg", kFileListFiles, 0), 36);
  ThumbnailListLoader loader;
  std::atomic<int> made{0};
  {
    QListWidget list;
    ThumbnailListLoaderStart(loader, &list, kScans, *files, 32, SlowSource(&made));
    while (made.load() < 2) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  QCoreApplication::processEvents();  // pictures posted to the list that is gone are dropped
  ThumbnailListLoaderStop(loader);
  EXPECT_FALSE(loader.thread.joinable());
}
