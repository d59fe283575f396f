// The dialog helpers every window uses: the notice with its "do not show again" box, the file
// and folder choosers, centring on the owner, the wait cursor.
#pragma once

#include <QString>
#include <QWidget>

// The modal notice, dialog 119 "警告": the text read-only, check box 1021
// "今後このメッセージを表示しない", an OK button. Returns 1 when the box was ticked.
int NoticeDialog(QWidget* owner, const QString& text);

// The choosers. They return the chosen path, or an empty string on cancel. filter is Qt's form
// ("Jpeg(*.jpg)"). Each is a Qt dialog carrying objectName "chooser" so a test can answer it.
QString ChooseOpenFile(QWidget* owner, const QString& start, const QString& filter);
QString ChooseSaveFile(QWidget* owner, const QString& start, const QString& filter);
QString ChooseFolder(QWidget* owner, const QString& start);

// Moves the dialog to the centre of its owner's rectangle, left and top no less than 0.
void CentreOnOwner(QWidget* dialog);

// The wait cursor for as long as the object lives.
class WaitCursor {
 public:
  WaitCursor();
  ~WaitCursor();
  WaitCursor(const WaitCursor&) = delete;
  WaitCursor& operator=(const WaitCursor&) = delete;
};

// Opens the help page that stands beside the program ("Tavexon.html") with the platform's
// viewer; nothing when there is none.
void ShowHelp();
// The modal dialog "Version": kTavexonVersionLine in control 1020, a line in 1021.
void ShowAbout(QWidget* owner);
