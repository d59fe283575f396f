// Where the settings file stands when nobody has named it.
#pragma once

#include <string>

// "tvx1App.ini" chosen in this order: the file named by TAVEXON_INI; beside the program when
// the program's folder can be written to (a portable install); else the per-user settings
// folder, $XDG_CONFIG_HOME/tavexon/ or ~/.config/tavexon/.
std::string SettingsDefaultFilePath();

// The per-user settings folder alone, for the last of those choices.
std::string SettingsUserFolder();
