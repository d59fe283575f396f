// The questions the engine puts to the user, through an interface its caller passes in.
//
// The engine never shows anything itself: where a save must ask (a MakerNote that may not
// survive, a read-only destination) it calls the prompt it was given. The desktop answers with a
// message box, the command line from an option or the terminal, a test from a script. With no
// prompt at all the answer is the one that writes nothing.
#pragma once

#include <cstdint>

// The buttons a question offers, numbered as the message box styles they stand for.
enum PromptButtons : uint32_t {
  PromptButtonsOk = 0,
  PromptButtonsOkCancel = 1,
  PromptButtonsYesNoCancel = 3,
  PromptButtonsYesNo = 4,
};

// The icon beside the text.
enum PromptIcon : uint32_t {
  PromptIconNone = 0,
  PromptIconError = 0x10,
  PromptIconQuestion = 0x20,
  PromptIconWarning = 0x30,
  PromptIconInformation = 0x40,
};

// The answers, numbered as the message box results they stand for.
enum PromptAnswer : int {
  PromptAnswerOk = 1,
  PromptAnswerCancel = 2,
  PromptAnswerYes = 6,
  PromptAnswerNo = 7,
};

// One question: the message's number (so a script can answer by number), its finished CP932
// text, the number of the title message, the buttons and the icon.
struct PromptQuestion {
  uint32_t messageId = 0;
  const char* text = "";
  uint32_t titleId = 1000;
  PromptButtons buttons = PromptButtonsOk;
  PromptIcon icon = PromptIconNone;
};

// What a caller passes to an operation that may ask.
struct Prompt {
  PromptAnswer (*ask)(void* user, const PromptQuestion& question) = nullptr;
  void* user = nullptr;
};

// Asks through the prompt. With no prompt, or no function in it, the answer is the one that
// writes nothing: Cancel where it is offered, No where only Yes and No are, else Ok.
PromptAnswer PromptAsk(const Prompt* prompt, const PromptQuestion& question);

// The answer that writes nothing, for the given buttons.
PromptAnswer PromptSafeAnswer(PromptButtons buttons);
