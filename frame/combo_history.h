// The memory of an input combo box: the edit text and the list's items, kept in one settings
// section under the keys "VAL00", "VAL01", ...
#pragma once

#include <string>
#include <vector>

// Writes the edit text as "VAL00", then the items in order, each but one equal to the edit
// text, as "VAL01" onwards, stopping before "VAL100". An empty edit text saves nothing.
// Returns 1, or 0 when a write failed.
int SaveComboHistory(const std::vector<std::string>& items, const std::string& editText, const char* section);

// The items stored under "VAL00" to "VAL98", up to the first empty value. The combo box
// selects the first.
std::vector<std::string> LoadComboHistory(const char* section);
