// Driving the desktop's windows in tests: a Qt application on the offscreen platform, and a
// script of answers for the modal boxes and dialogs a command opens.
#pragma once

#include <QString>
#include <QWidget>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <string>

namespace qttest {

// Queues an action for the next modal widget that opens (a message box, a dialog, a chooser).
// The action runs once the widget is on screen; it must end it (press a button, accept).
void OnNextModal(std::function<void(QWidget* modal)> action);
// Modal widgets opened while no action was queued are closed and counted here.
int UnexpectedModals();
// Actions queued and not yet used; cleared.
int DropQueuedActions();

// Presses the button carrying this objectName in a box or dialog.
void Press(QWidget* modal, const QString& number);
// An action that checks the box is message `messageId` and presses the button `answer`.
std::function<void(QWidget*)> Answer(int messageId, int answer, std::string* text = nullptr);
// An action for a file chooser: selects the path and accepts.
std::function<void(QWidget*)> Choose(const std::string& path);

// Deletes the windows closed so far.
void FlushDeletes();

// A settings file of the test's own in `folder`, where the once-per-version notices named
// ("MSGOK3") count as seen.
void FreshSettings(const std::filesystem::path& folder, std::initializer_list<const char*> noticesSeen);

}  // namespace qttest
