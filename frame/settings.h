// The settings store: the ini file "tvx1App.ini", read and written with the semantics of the
// Windows profile calls. There is no cache: every call goes to the file.
//
// - A missing key (or section, or file) gives the caller's default.
// - A number is read from the leading digits of the text (an optional sign first); no digits
//   give 0.
// - Sections and keys match without regard to case; the first of duplicated keys wins.
// - A write creates the section and the file as needed, and keeps everything else in place.
// Texts are CP932 bytes, stored as they are.
#pragma once

#include <cstdint>
#include <string>

// The settings file's full path: TAVEXON_INI when set; else "tvx1App.ini" beside the program
// when that folder is writable; else the per-user settings folder ($XDG_CONFIG_HOME/tavexon/).
// Decided once, at the first call, unless SettingsSetFilePath set it.
const std::string& SettingsFilePath();
void SettingsSetFilePath(const std::string& path);

// Copies the value (or the default) into buffer, cut to size - 1 bytes and terminated;
// returns the length copied.
uint32_t SettingsGetString(const char* section, const char* key, const char* defaultValue, char* buffer,
                           uint32_t size);
std::string SettingsGetText(const char* section, const char* key, const char* defaultValue = "");
int SettingsGetInt(const char* section, const char* key, int defaultValue);
// Returns 1 on success, 0 when the file could not be written.
int SettingsPutString(const char* section, const char* key, const char* value);
// Writes "%u", so a negative number is stored as its unsigned form.
int SettingsPutUInt(const char* section, const char* key, uint32_t value);

// A settings number from its text as the reader takes it: blanks, an optional sign, then the
// leading decimal digits; no digits give 0. Digits beyond the range of 32 bits wrap.
int SettingsParseInt(const std::string& text);
