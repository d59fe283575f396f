// Start-up of the desktop program: the engine, the shared font, the settings, the licence
// prompt once per settings file, and the first tool window chosen by "FIRSTVIEW".
#pragma once

#include <string>

// Registers the tool windows that exist, one per kind.
void AppRegisterToolWindows();

// All of start-up, given the command line as one text. Returns false when the process must end
// at once (the licence terms declined, or no window could open).
bool AppInit(const std::string& commandLine);
