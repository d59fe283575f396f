// DebugLog: a printf-style trace that costs nothing unless a log function is installed.
#pragma once

using DebugLogFunction = void (*)(const char* text);

// Installs the function that receives each formatted line; none switches logging off.
void DebugLogInstall(DebugLogFunction function);

// Formats into a 1,024-byte buffer (longer texts are cut) and hands it to the log function.
void DebugLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
