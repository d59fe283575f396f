// tavexon-measure: the desktop's timings, for the report and for anyone checking them.
//   tavexon-measure first-paint JPEG   start of main to the Exif list window painted on JPEG
//   tavexon-measure list JPEG          a file chosen to its Exif list filled (best of 20)
//   tavexon-measure embed ROLL FOLDER  the embed window's run over a folder of scans
//   tavexon-measure viewer-next FOLDER [CLI]
//                                      the viewer: a key press on "next" to the next scan
//                                      painted, for each file of the folder in turn; with the
//                                      path of tavexon-cli, `CLI decode FILE` is timed just
//                                      before each press (start to exit), for the ratio
//   tavexon-measure viewer-hold FOLDER the key held through the folder: presses every 30 ms
// The settings file is the caller's (TAVEXON_INI); the licence is taken as agreed.
#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QLineEdit>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "app/app_init.h"
#include "frame/file_list.h"
#include "frame/settings.h"
#include "frame/version.h"
#include "kit/tool_window.h"
#include "shooting/engine_install.h"
#include "views/embed_window.h"
#include "views/exif_list_window.h"
#include "views/viewer_window.h"

namespace {

QElapsedTimer sinceStart;

// Ends the program at the first paint of the watched window.
class FirstPaint : public QObject {
 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::Paint) {
      std::printf("first window painted: %.1f ms after main\n", sinceStart.nsecsElapsed() / 1e6);
      QCoreApplication::exit(0);
    }
    return QObject::eventFilter(watched, event);
  }
};

int MeasureFirstPaint(const char* jpeg) {
  SettingsPutUInt("OPTION", "FIRSTVIEW", 1);
  if (!AppInit(std::string("\"") + jpeg + "\"")) return 1;
  FirstPaint watcher;
  ToolWindowOf(kToolExifList)->installEventFilter(&watcher);
  return QApplication::exec();
}

int MeasureList(const char* jpeg) {
  EngineInstall();
  ExifListWindow window("");
  double best = 1e9;
  for (int run = 0; run < 20; ++run) {
    QElapsedTimer timer;
    timer.start();
    window.OpenFile(jpeg);
    best = std::min(best, timer.nsecsElapsed() / 1e6);
  }
  std::printf("Exif list of %s: %.2f ms (best of 20), %d rows\n", jpeg, best, window.List()->topLevelItemCount());
  return 0;
}

int MeasureEmbed(const char* roll, const char* folder) {
  EngineInstall();
  SettingsPutString("FLAG", "MSGOK1", kTavexonVersion);
  EmbedWindow window;
  window.findChild<QComboBox*>("maker")->setEditText("Nikon");
  window.findChild<QComboBox*>("camera")->setEditText("F6");
  window.findChild<QLineEdit*>("datafile")->setText(roll);
  window.findChild<QLineEdit*>("jpegpath")->setText(folder);
  window.show();
  // The closing message box is answered at once, so the time is the run's.
  QTimer* answer = new QTimer(&window);
  QObject::connect(answer, &QTimer::timeout, [] {
    if (QWidget* box = QApplication::activeModalWidget()) box->close();
  });
  answer->start(1);
  QElapsedTimer timer;
  timer.start();
  const int result = window.Run();
  std::printf("embed window run: %.1f ms, result %d\n", timer.nsecsElapsed() / 1e6, result);
  return result == 1 ? 0 : 1;
}

// Counts the paints of the viewer's first picture pane that show a given file.
class PicturePaints : public QObject {
 public:
  explicit PicturePaints(ViewerWindow* window) : window_(window) {}
  std::string awaited;
  int shown = 0;  // paints of a loaded picture (any file)
  bool done = false;
  QEventLoop* waiting = nullptr;  // left when the awaited file is painted

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() == QEvent::Paint && window_->Slot(0).HasPicture()) {
      ++shown;
      if (window_->Slot(0).shownPath == awaited && !done) {
        done = true;
        if (waiting) waiting->quit();
      }
    }
    return QObject::eventFilter(watched, event);
  }

 private:
  ViewerWindow* window_;
};

std::vector<std::string> FolderFiles(const char* folder) {
  std::unique_ptr<FileList> list = FileListCreate();
  FileListScan(*list, folder, "jpg", kFileListFiles, 0);
  std::vector<std::string> files;
  for (const FileEntry& entry : *list->entries) files.push_back(entry.path);
  return files;
}

bool WaitPainted(PicturePaints& paints, const std::string& file) {
  paints.awaited = file;
  paints.done = false;
  // The wait sleeps in the event loop as the program does; a loop of processEvents calls would
  // spin on one of the cores the load needs.
  QEventLoop loop;
  QTimer::singleShot(60000, &loop, &QEventLoop::quit);
  paints.waiting = &loop;
  loop.exec();
  paints.waiting = nullptr;
  if (!paints.done) std::fprintf(stderr, "%s was not painted within a minute\n", file.c_str());
  return paints.done;
}

// The time of `cli decode file` from its start to its exit, as hyperfine -N takes it; -1 when
// it fails.
double DecodeAloneMs(const char* cli, const std::string& file) {
  QElapsedTimer timer;
  timer.start();
  std::string decode = "decode";
  std::string path = file;
  char* argv[] = {const_cast<char*>(cli), decode.data(), path.data(), nullptr};
  pid_t child = 0;
  int status = 0;
  if (posix_spawn(&child, cli, nullptr, nullptr, argv, environ) != 0 || waitpid(child, &status, 0) != child ||
      !WIFEXITED(status) || WEXITSTATUS(status) != 0)
    return -1;
  return timer.nsecsElapsed() / 1e6;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values.empty() ? 0 : values[values.size() / 2];
}

int MeasureViewer(const char* folder, bool hold, const char* cli = nullptr) {
  EngineInstall();
  SettingsPutString("FLAG", "MSGOK5", kTavexonVersion);
  const std::vector<std::string> files = FolderFiles(folder);
  if (files.size() < 2) return 1;
  ViewerWindow window("");
  // TAVEXON_MEASURE_WINDOW=WxH sets the window's size (a maximised window on a 4K screen shows
  // most of a 24-megapixel scan fitted to that screen).
  int windowWidth = 1280, windowHeight = 900;
  if (const char* size = std::getenv("TAVEXON_MEASURE_WINDOW")) std::sscanf(size, "%dx%d", &windowWidth, &windowHeight);
  window.resize(windowWidth, windowHeight);
  PicturePaints paints(&window);
  window.Slot(0).picturePane->installEventFilter(&paints);
  window.show();
  // The keys reach the window's shortcuts only while it is the active window.
  window.activateWindow();
  if (!QTest::qWaitForWindowActive(&window)) std::fprintf(stderr, "the window did not become active\n");
  // The first file once the window stands at its size, so its paint is not missed.
  window.OpenFile(files[0]);
  if (!WaitPainted(paints, files[0])) return 1;
  QElapsedTimer timer;
  if (hold) {
    // The key held: a press every 30 ms, as a keyboard repeats, then released on the last file.
    paints.shown = 0;
    timer.start();
    for (size_t i = 1; i < files.size(); ++i) {
      QTest::keyClick(&window, Qt::Key_Right);
      QTest::qWait(30);
    }
    const double pressing = timer.nsecsElapsed() / 1e6;
    if (!WaitPainted(paints, files.back())) return 1;
    std::printf("held through %zu files in %.0f ms: last painted %.0f ms after the last press, %d pictures "
                "painted on the way\n",
                files.size() - 1, pressing, timer.nsecsElapsed() / 1e6 - pressing, paints.shown);
    return 0;
  }
  std::vector<double> viewer, alone;
  for (size_t i = 1; i < files.size(); ++i) {
    // The decode alone right before the press, so both see the same load on the machine.
    if (cli) alone.push_back(DecodeAloneMs(cli, files[i]));
    timer.start();
    QTest::keyClick(&window, Qt::Key_Right);
    if (!WaitPainted(paints, files[i])) return 1;
    viewer.push_back(timer.nsecsElapsed() / 1e6);
    const std::array<float, 4> t = window.Timings();
    std::printf("next -> painted: %.1f ms (Exif %.1f, decode %.1f, display %.1f ms)", viewer.back(), t[0] * 1e3,
                t[1] * 1e3, t[2] * 1e3);
    if (cli) std::printf("; tavexon-cli decode alone: %.1f ms", alone.back());
    std::printf("\n");
  }
  if (cli)
    std::printf("median of %zu: next -> painted %.1f ms, tavexon-cli decode %.1f ms: the window adds %.0f %%\n",
                viewer.size(), Median(viewer), Median(alone), (Median(viewer) / Median(alone) - 1) * 100);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  sinceStart.start();
  QApplication application(argc, argv);
  SettingsPutUInt("FLAG", "LICENSE", 1);
  if (argc == 3 && std::strcmp(argv[1], "first-paint") == 0) return MeasureFirstPaint(argv[2]);
  if (argc == 3 && std::strcmp(argv[1], "list") == 0) return MeasureList(argv[2]);
  if (argc == 4 && std::strcmp(argv[1], "embed") == 0) return MeasureEmbed(argv[2], argv[3]);
  if ((argc == 3 || argc == 4) && std::strcmp(argv[1], "viewer-next") == 0)
    return MeasureViewer(argv[2], false, argc == 4 ? argv[3] : nullptr);
  if (argc == 3 && std::strcmp(argv[1], "viewer-hold") == 0) return MeasureViewer(argv[2], true);
  std::fprintf(stderr,
               "usage: tavexon-measure first-paint JPEG | list JPEG | embed ROLL FOLDER | viewer-next FOLDER [CLI] | "
               "viewer-hold FOLDER\n");
  return 2;
}
