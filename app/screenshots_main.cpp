// tavexon-screenshots OUTDIR JPEG: opens each tool window built so far on a sample file and
// writes what it shows as PNG files into OUTDIR (for the README and for a look without a
// display). The settings file is the caller's (TAVEXON_INI); the licence is taken as agreed.
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTimer>
#include <QTreeWidget>
#include <cstdio>

#include "app/app_init.h"
#include "frame/settings.h"
#include "frame/version.h"
#include "kit/tool_window.h"
#include "views/exif_list_window.h"
#include "views/viewer_window.h"

namespace {

bool Grab(QWidget* widget, const QString& file) {
  const bool saved = widget && widget->grab().save(file);
  std::printf("%s %s\n", saved ? "wrote" : "FAILED", file.toLocal8Bit().constData());
  return saved;
}

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  if (argc != 3) {
    std::fprintf(stderr, "usage: tavexon-screenshots OUTDIR JPEG\n");
    return 2;
  }
  const QString out = QString::fromLocal8Bit(argv[1]);
  QDir().mkpath(out);
  SettingsPutUInt("FLAG", "LICENSE", 1);
  SettingsPutString("FLAG", "MSGOK1", kTavexonVersion);
  SettingsPutString("FLAG", "MSGOK3", kTavexonVersion);
  SettingsPutString("FLAG", "MSGOK5", kTavexonVersion);
  SettingsPutUInt("OPTION", "FIRSTVIEW", 1);
  if (!AppInit(std::string("\"") + argv[2] + "\"")) return 1;
  OpenToolWindow(kToolEmbed, "");
  OpenToolWindow(kToolImageViewer, argv[2]);
  int failures = 0;
  QTimer::singleShot(200, [&] {
    auto* list = static_cast<ExifListWindow*>(ToolWindowOf(kToolExifList));
    failures += !Grab(list, out + "/exif_list.png");
    failures += !Grab(ToolWindowOf(kToolEmbed), out + "/embed.png");
    // The viewer with one picture, then with a second slot on the folder's next file.
    auto* viewer = static_cast<ViewerWindow*>(ToolWindowOf(kToolImageViewer));
    auto waitShown = [viewer] {
      QElapsedTimer limit;
      limit.start();
      while (limit.elapsed() < 30000 &&
             (viewer->Loading() || viewer->Slot(viewer->ActiveSlot()).shownPath != viewer->CurrentPath()))
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
    };
    viewer->resize(1000, 700);
    waitShown();
    failures += !Grab(viewer, out + "/viewer.png");
    const std::string first = viewer->CurrentPath();
    viewer->RunCommand(40028);  // side by side: the second slot becomes active
    viewer->OpenFile(first);
    waitShown();
    viewer->RunCommand(40007);  // and steps to the next file
    waitShown();
    failures += !Grab(viewer, out + "/viewer_two.png");
    // The edit dialog on the first tag, grabbed while it is open, then cancelled.
    QTimer::singleShot(200, [&] {
      QWidget* dialog = QApplication::activeModalWidget();
      failures += !Grab(dialog, out + "/tag_edit.png");
      if (dialog) dialog->close();
    });
    list->List()->setCurrentItem(list->List()->topLevelItem(1));
    list->CommandModify();
    QApplication::exit(0);
  });
  application.exec();
  return failures ? 1 : 0;
}
