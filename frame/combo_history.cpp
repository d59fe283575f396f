// Combo box histories in the settings store.
#include "frame/combo_history.h"

#include <cstdio>

#include "frame/settings.h"

namespace {

// "VAL%02d" holds numbers up to 99 within its room.
constexpr int kSaveStop = 100;
constexpr int kLoadLast = 98;

std::string ComboKey(int number) {
  char key[16];
  std::snprintf(key, sizeof key, "VAL%02d", number);
  return key;
}

}  // namespace

int SaveComboHistory(const std::vector<std::string>& items, const std::string& editText, const char* section) {
  if (editText.empty()) return 1;
  if (!SettingsPutString(section, ComboKey(0).c_str(), editText.c_str())) return 0;
  int number = 1;
  for (const std::string& item : items) {
    if (number >= kSaveStop) break;
    if (item == editText) continue;
    if (!SettingsPutString(section, ComboKey(number).c_str(), item.c_str())) return 0;
    ++number;
  }
  return 1;
}

std::vector<std::string> LoadComboHistory(const char* section) {
  std::vector<std::string> items;
  for (int number = 0; number <= kLoadLast; ++number) {
    std::string value = SettingsGetText(section, ComboKey(number).c_str(), "");
    if (value.empty()) break;
    items.push_back(std::move(value));
  }
  return items;
}
