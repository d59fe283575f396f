#include "kit/kit_progress.h"

#include <QCoreApplication>
#include <QKeyEvent>

#include "frame/path.h"
#include "kit/kit_text.h"

KitRun::KitRun(QLabel* label) : label_(label) {
  hook_.step = &KitRun::Step;
  hook_.user = this;
  QCoreApplication::instance()->installEventFilter(this);
}

KitRun::~KitRun() { QCoreApplication::instance()->removeEventFilter(this); }

void KitRun::Stop() { flag_.store(2); }

bool KitRun::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
    Stop();
    return true;
  }
  return QObject::eventFilter(watched, event);
}

bool KitRun::Step(void* user, const std::string& path, std::size_t, std::size_t) {
  auto* run = static_cast<KitRun*>(user);
  if (run->label_) {
    run->label_->setText(KitPathText(PathFileName(path)));
    run->label_->repaint();
  }
  QCoreApplication::processEvents(QEventLoop::AllEvents);
  return run->Running();
}
