#include "app/home_window.h"

#include <QMenuBar>
#include <QStatusBar>

#include "frame/path.h"
#include "kit/kit_dialogs.h"
#include "kit/kit_text.h"
#include "views/embed_one_dialog.h"

HomeWindow::HomeWindow(const std::string& path) : ToolWindow(kToolImageViewer), path_(path) {
  setObjectName("Tavexon");
  setWindowTitle(KitMessage(1000));
  pane_ = new PaintPane(this, QSize(640, 480), "picture");  // owned by the window
  pane_->setMinimumSize(1, 1);
  pane_->setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
  setCentralWidget(pane_);
  auto command = [this](QMenu* menu, const char* text, const char* number, const QKeySequence& key, auto slot) {
    QAction* action = menu->addAction(QString::fromUtf8(text));
    action->setObjectName(number);
    if (!key.isEmpty()) action->setShortcut(key);
    connect(action, &QAction::triggered, this, slot);
  };
  QMenu* file = menuBar()->addMenu(QString::fromUtf8("ファイル(&F)"));
  command(file, "開く(&O)...", "40004", QKeySequence(Qt::CTRL | Qt::Key_O), [this] {
    const QString chosen = ChooseOpenFile(this, KitPathText(path_), "Jpeg(*.jpg *.jpeg *.nef)");
    if (chosen.isEmpty()) return;
    path_ = KitPath(chosen);
    statusBar()->showMessage(KitPathText(PathFileName(path_)));
  });
  command(file, "閉じる(&X)", "40002", QKeySequence(), [this] { close(); });
  QMenu* edit = menuBar()->addMenu(QString::fromUtf8("編集(&E)"));
  command(edit, "撮影データ埋込(&M)...", "40027", QKeySequence(), [this] {
    std::string written;
    if (!path_.empty() && ShowEmbedDialog(this, path_, &written)) path_ = written;
  });
  QMenu* tools = menuBar()->addMenu(QString::fromUtf8("ツール(&T)"));
  command(tools, "撮影データ埋込(&M)...", "40010", QKeySequence(), [] { OpenToolWindow(kToolEmbed, ""); });
  command(tools, "EXIF一覧表示/編集(&E)...", "40014", QKeySequence(),
          [this] { OpenToolWindow(kToolExifList, path_); });
  QMenu* help = menuBar()->addMenu(QString::fromUtf8("ヘルプ(&H)"));
  command(help, "ヘルプの表示(&H)", "40112", QKeySequence(Qt::Key_F1), [] { ShowHelp(); });
  command(help, "バージョン情報(&A)...", "40017", QKeySequence(), [this] { ShowAbout(this); });
  if (!path_.empty()) statusBar()->showMessage(KitPathText(PathFileName(path_)));
  resize(800, 600);
}

void HomeWindow::resizeEvent(QResizeEvent* event) {
  ToolWindow::resizeEvent(event);
  pane_->SetSize(pane_->size());
  pane_->ShowNoPicture();
}

ToolWindow* HomeWindowCreate(const std::string& path) { return new HomeWindow(path); }
