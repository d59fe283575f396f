#include "kit/kit_prompt.h"

#include <QMessageBox>
#include <QPushButton>

#include "frame/message_table.h"
#include "kit/kit_text.h"

namespace {

struct ButtonRow {
  PromptAnswer answer;
  QMessageBox::ButtonRole role;
  const char* text;  // the Japanese system's own captions
};
constexpr ButtonRow kOk = {PromptAnswerOk, QMessageBox::AcceptRole, "OK"};
constexpr ButtonRow kCancel = {PromptAnswerCancel, QMessageBox::RejectRole, "キャンセル"};
constexpr ButtonRow kYes = {PromptAnswerYes, QMessageBox::YesRole, "はい(&Y)"};
constexpr ButtonRow kNo = {PromptAnswerNo, QMessageBox::NoRole, "いいえ(&N)"};

struct ButtonSet {
  PromptButtons buttons;
  ButtonRow rows[3];
  int count;
};
constexpr ButtonSet kButtonSets[] = {
    {PromptButtonsOk, {kOk}, 1},
    {PromptButtonsOkCancel, {kOk, kCancel}, 2},
    {PromptButtonsYesNoCancel, {kYes, kNo, kCancel}, 3},
    {PromptButtonsYesNo, {kYes, kNo}, 2},
};

QMessageBox::Icon BoxIcon(PromptIcon icon) {
  switch (icon) {
    case PromptIconError: return QMessageBox::Critical;
    case PromptIconQuestion: return QMessageBox::Question;
    case PromptIconWarning: return QMessageBox::Warning;
    case PromptIconInformation: return QMessageBox::Information;
    default: return QMessageBox::NoIcon;
  }
}

PromptAnswer AskThroughPrompt(void* user, const PromptQuestion& question) {
  return KitAsk(static_cast<QWidget*>(user), question);
}

}  // namespace

PromptAnswer KitAsk(QWidget* owner, const PromptQuestion& question) {
  QMessageBox box(owner);
  box.setObjectName(QString::number(question.messageId));
  box.setFont(KitFont());
  box.setWindowTitle(KitMessage(question.titleId));
  box.setText(KitText(question.text).replace("\r\n", "\n"));
  box.setIcon(BoxIcon(question.icon));
  const ButtonSet* set = &kButtonSets[0];
  for (const ButtonSet& s : kButtonSets)
    if (s.buttons == question.buttons) set = &s;
  for (int i = 0; i < set->count; ++i) {
    QPushButton* button = box.addButton(QString::fromUtf8(set->rows[i].text), set->rows[i].role);
    button->setObjectName(QString::number(set->rows[i].answer));
    if (i == 0) box.setDefaultButton(button);
    if (set->rows[i].answer == PromptAnswerCancel || set->count == 1) box.setEscapeButton(button);
  }
  box.exec();
  QAbstractButton* clicked = box.clickedButton();
  if (!clicked) return PromptSafeAnswer(question.buttons);
  return PromptAnswer(clicked->objectName().toInt());
}

PromptAnswer KitMessageBox(QWidget* owner, uint32_t messageId, uint32_t titleId, PromptButtons buttons,
                           PromptIcon icon, const char* text) {
  PromptQuestion question;
  question.messageId = messageId;
  question.text = text ? text : MessageText(messageId) ? MessageText(messageId) : "";
  question.titleId = titleId;
  question.buttons = buttons;
  question.icon = icon;
  return KitAsk(owner, question);
}

Prompt KitPrompt(QWidget* owner) { return Prompt{AskThroughPrompt, owner}; }
