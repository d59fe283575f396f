// The engine's questions (frame/prompt.h) answered by a message box on the screen.
//
// Each box carries the message's number as its objectName and each button its answer's number
// ("1" OK, "2" Cancel, "6" Yes, "7" No), so a test finds and presses them by number.
#pragma once

#include <QWidget>
#include <cstdint>

#include "frame/prompt.h"

// Shows one question as a modal message box over owner (none for a free box).
PromptAnswer KitAsk(QWidget* owner, const PromptQuestion& question);

// Shows message `messageId` (or `text`, a finished CP932 text, when given) under the title
// message `titleId`, with the buttons and icon.
PromptAnswer KitMessageBox(QWidget* owner, uint32_t messageId, uint32_t titleId,
                           PromptButtons buttons = PromptButtonsOk, PromptIcon icon = PromptIconNone,
                           const char* text = nullptr);

// A prompt for the engine that asks over owner. The prompt points at owner; it lives as long
// as the caller keeps it.
Prompt KitPrompt(QWidget* owner);
