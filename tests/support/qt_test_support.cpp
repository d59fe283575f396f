#include "tests/support/qt_test_support.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QTimer>
#include <deque>
#include <gtest/gtest.h>

#include "frame/settings.h"

namespace qttest {

namespace {

struct Script {
  std::deque<std::function<void(QWidget*)>> actions;
  int unexpected = 0;
  QTimer* poll = nullptr;
};

Script& TheScript() {
  static Script script;
  return script;
}

// Looks for a modal widget not yet handled, every few milliseconds, in every event loop.
void Poll() {
  Script& script = TheScript();
  QWidget* modal = QApplication::activeModalWidget();
  if (!modal || modal->property("qttestHandled").toBool() || !modal->isVisible()) return;
  modal->setProperty("qttestHandled", true);
  if (script.actions.empty()) {
    ++script.unexpected;
    QMetaObject::invokeMethod(modal, "close", Qt::QueuedConnection);
    return;
  }
  auto action = std::move(script.actions.front());
  script.actions.pop_front();
  action(modal);
}

void EnsurePoll() {
  Script& script = TheScript();
  if (script.poll) return;
  script.poll = new QTimer(qApp);  // owned by the application
  QObject::connect(script.poll, &QTimer::timeout, &Poll);
  script.poll->start(5);
}

}  // namespace

void OnNextModal(std::function<void(QWidget*)> action) {
  EnsurePoll();
  TheScript().actions.push_back(std::move(action));
}

int UnexpectedModals() {
  EnsurePoll();
  return TheScript().unexpected;
}

int DropQueuedActions() {
  const int left = int(TheScript().actions.size());
  TheScript().actions.clear();
  return left;
}

void Press(QWidget* modal, const QString& number) {
  auto* button = modal->findChild<QAbstractButton*>(number);
  ASSERT_NE(button, nullptr) << "no button " << number.toStdString() << " in " << modal->objectName().toStdString();
  // Queued, so the action returns first: a press that opens another modal widget (a chooser
  // behind an OK) would otherwise run that widget's loop inside this poll, where the poll
  // timer cannot fire again.
  QMetaObject::invokeMethod(button, "click", Qt::QueuedConnection);
}

std::function<void(QWidget*)> Answer(int messageId, int answer, std::string* text) {
  return [messageId, answer, text](QWidget* modal) {
    EXPECT_EQ(modal->objectName(), QString::number(messageId));
    if (auto* box = qobject_cast<QMessageBox*>(modal); box && text) *text = box->text().toStdString();
    Press(modal, QString::number(answer));
  };
}

std::function<void(QWidget*)> Choose(const std::string& path) {
  return [path](QWidget* modal) {
    auto* chooser = qobject_cast<QFileDialog*>(modal);
    ASSERT_NE(chooser, nullptr) << "expected a chooser, got " << modal->objectName().toStdString();
    chooser->selectFile(QString::fromStdString(path));
    QMetaObject::invokeMethod(chooser, "accept", Qt::QueuedConnection);
  };
}

void FlushDeletes() {
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  QCoreApplication::processEvents();
}

void FreshSettings(const std::filesystem::path& folder, std::initializer_list<const char*> noticesSeen) {
  SettingsSetFilePath((folder / "tvx1App.ini").string());
  for (const char* notice : noticesSeen) SettingsPutString("FLAG", notice, "0.9.0b");
}

}  // namespace qttest
