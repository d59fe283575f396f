// tavexon-measure: the desktop's timings, for the report and for anyone checking them.
//   tavexon-measure first-paint JPEG   start of main to the Exif list window painted on JPEG
//   tavexon-measure list JPEG          a file chosen to its Exif list filled (best of 20)
//   tavexon-measure embed ROLL FOLDER  the embed window's run over a folder of scans
// The settings file is the caller's (TAVEXON_INI); the licence is taken as agreed.
#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QTimer>
#include <cstdio>
#include <cstring>

#include "app/app_init.h"
#include "frame/settings.h"
#include "kit/tool_window.h"
#include "shooting/engine_install.h"
#include "views/embed_window.h"
#include "views/exif_list_window.h"

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
  SettingsPutString("FLAG", "MSGOK1", "0.9.0b");
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

}  // namespace

int main(int argc, char** argv) {
  sinceStart.start();
  QApplication application(argc, argv);
  SettingsPutUInt("FLAG", "LICENSE", 1);
  if (argc == 3 && std::strcmp(argv[1], "first-paint") == 0) return MeasureFirstPaint(argv[2]);
  if (argc == 3 && std::strcmp(argv[1], "list") == 0) return MeasureList(argv[2]);
  if (argc == 4 && std::strcmp(argv[1], "embed") == 0) return MeasureEmbed(argv[2], argv[3]);
  std::fprintf(stderr, "usage: tavexon-measure first-paint JPEG | list JPEG | embed ROLL FOLDER\n");
  return 2;
}
