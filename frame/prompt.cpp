#include "frame/prompt.h"

PromptAnswer PromptSafeAnswer(PromptButtons buttons) {
  switch (buttons) {
    case PromptButtonsOkCancel:
    case PromptButtonsYesNoCancel:
      return PromptAnswerCancel;
    case PromptButtonsYesNo:
      return PromptAnswerNo;
    case PromptButtonsOk:
      break;
  }
  return PromptAnswerOk;
}

PromptAnswer PromptAsk(const Prompt* prompt, const PromptQuestion& question) {
  if (prompt == nullptr || prompt->ask == nullptr) return PromptSafeAnswer(question.buttons);
  return prompt->ask(prompt->user, question);
}
