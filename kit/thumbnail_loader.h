// The thread that fills a thumbnail list: rows appear at once with their names, and gain their
// pictures as the thread reaches them.
//
// The thread never touches a widget: it makes each picture and posts it to the list, which
// takes it on the main thread (a post to a list already gone is dropped). It is controlled by
// its state word alone: 0 idle, 1 running, 2 stop requested. A stop sets 2 and joins; the
// thread looks at the word before every file, so a join waits for one file at most. No thread
// is ever killed.
#pragma once

#include <QImage>
#include <QListWidget>
#include <QPointer>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "frame/file_list.h"

// Makes the thumbnail of a file at an edge of `size` pixels; a null image when it has none.
// Runs on the loader thread: it may use only the core.
using ThumbnailSource = std::function<QImage(const std::string& path, int size)>;

struct ThumbnailListLoader {
  QPointer<QListWidget> list;
  std::unique_ptr<FileList> files;  // private copy of the files shown
  int size = 0;
  std::thread thread;
  std::atomic<uint32_t> state{0};
  std::string folder;  // the folder shown, without its trailing separator
  ThumbnailSource source;
  // Counts the starts; a picture posted by an earlier run finds another number and is dropped.
  std::shared_ptr<std::atomic<uint32_t>> generation = std::make_shared<std::atomic<uint32_t>>(0);
  ~ThumbnailListLoader();
};

enum ThumbnailLoaderState : uint32_t { LoaderIdle = 0, LoaderRunning = 1, LoaderStopRequested = 2 };

// Stops a running thread and joins it.
void ThumbnailListLoaderStop(ThumbnailListLoader& loader);

// Shows the files of `files` in list (one row per file, by bare name) and starts the thread
// that gives each row its picture from `source` (without one, or when it gives none, a white
// square of 160 by 160). An empty list clears the view and starts no thread: -1. Else 1.
int ThumbnailListLoaderStart(ThumbnailListLoader& loader, QListWidget* list, const std::string& folder,
                             const FileList& files, int size, ThumbnailSource source);
