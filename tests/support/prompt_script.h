// A Prompt for the engine's questions that records what was asked and answers from a script.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "frame/cp932.h"
#include "frame/prompt.h"

namespace testsupport {

// Each question's number and text (UTF-8) are kept in order. The answer is the one scripted for
// its number, else `otherwise` when set, else the answer that writes nothing.
struct PromptScript {
  std::vector<uint32_t> ids;
  std::vector<std::string> texts;
  std::map<uint32_t, PromptAnswer> answers;
  std::optional<PromptAnswer> otherwise;
  Prompt prompt{Ask, this};

  PromptScript() = default;
  PromptScript(const PromptScript&) = delete;
  PromptScript& operator=(const PromptScript&) = delete;
  void Forget() { ids.clear(), texts.clear(); }

  static PromptAnswer Ask(void* user, const PromptQuestion& question) {
    auto* script = static_cast<PromptScript*>(user);
    script->ids.push_back(question.messageId);
    script->texts.push_back(Utf8FromCp932(question.text));
    const auto found = script->answers.find(question.messageId);
    if (found != script->answers.end()) return found->second;
    return script->otherwise.value_or(PromptSafeAnswer(question.buttons));
  }
};

}  // namespace testsupport
