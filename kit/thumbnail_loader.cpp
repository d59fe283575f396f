#include "kit/thumbnail_loader.h"

#include <QApplication>
#include <QColor>
#include <QIcon>
#include <QPixmap>

#include "frame/path.h"
#include "kit/kit_text.h"

namespace {

constexpr int kBlankEdge = 160;

QImage LoaderBlank() {
  QImage blank(kBlankEdge, kBlankEdge, QImage::Format_RGB32);
  blank.fill(Qt::white);
  return blank;
}

// Posts one picture to its row; runs on the loader thread.
// The post goes to the application object, which outlives every list; the list itself is
// looked at only on the main thread.
void LoaderPost(const QPointer<QListWidget>& list, const std::shared_ptr<std::atomic<uint32_t>>& generation,
                uint32_t run, int row, QImage picture) {
  QMetaObject::invokeMethod(
      qApp,
      [list, generation, run, row, picture = std::move(picture)]() {
        if (!list || generation->load() != run) return;
        if (QListWidgetItem* item = list->item(row)) item->setIcon(QIcon(QPixmap::fromImage(picture)));
      },
      Qt::QueuedConnection);
}

void LoaderRun(ThumbnailListLoader* loader, QPointer<QListWidget> list,
               std::shared_ptr<std::atomic<uint32_t>> generation, uint32_t run) {
  const SharedFileEntries entries = loader->files->entries;
  int row = 0;
  for (const FileEntry& entry : *entries) {
    if (loader->state.load() != LoaderRunning) break;
    if (entry.type != kFileEntryFile) continue;
    QImage picture = loader->source ? loader->source(entry.path, loader->size) : QImage();
    if (picture.isNull()) picture = LoaderBlank();
    LoaderPost(list, generation, run, row++, std::move(picture));
  }
  uint32_t running = LoaderRunning;
  loader->state.compare_exchange_strong(running, LoaderIdle);
}

}  // namespace

ThumbnailListLoader::~ThumbnailListLoader() { ThumbnailListLoaderStop(*this); }

void ThumbnailListLoaderStop(ThumbnailListLoader& loader) {
  loader.state.store(LoaderStopRequested);
  if (loader.thread.joinable()) loader.thread.join();
  loader.state.store(LoaderIdle);
}

int ThumbnailListLoaderStart(ThumbnailListLoader& loader, QListWidget* list, const std::string& folder,
                             const FileList& files, int size, ThumbnailSource source) {
  ThumbnailListLoaderStop(loader);
  list->clear();
  loader.files.reset();
  loader.size = size;
  loader.folder = folder;
  while (loader.folder.size() > 1 && loader.folder.back() == '/') loader.folder.pop_back();
  loader.list = list;
  loader.source = std::move(source);
  if (FileListFileCount(files) == 0) return -1;
  loader.files = FileListCreate();
  loader.files->folder = files.folder;
  loader.files->entries = std::make_shared<FileEntries>(*files.entries);
  list->setViewMode(QListView::IconMode);
  list->setIconSize(QSize(size, size));
  for (const FileEntry& entry : *loader.files->entries)
    if (entry.type == kFileEntryFile) list->addItem(KitPathText(PathFileName(entry.path)));
  loader.state.store(LoaderRunning);
  const uint32_t run = ++*loader.generation;
  loader.thread = std::thread(LoaderRun, &loader, loader.list, loader.generation, run);
  return 1;
}
