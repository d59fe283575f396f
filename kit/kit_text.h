// The edge where the core's CP932 texts become Qt strings, and the shared font.
#pragma once

#include <QFont>
#include <QString>
#include <cstdint>
#include <string>

// A CP932 text of the core as a Qt string (converted once here, never inside the core).
QString KitText(const char* cp932);
QString KitText(const std::string& cp932);
// A message of the table by number, as a Qt string ("" for an unknown number).
QString KitMessage(uint32_t id);
// A Qt string as CP932 for the core; ok false when a character has no CP932 code.
std::string KitCp932(const QString& text, bool* ok = nullptr);
// A platform path (UTF-8 on this system) and back.
QString KitPathText(const std::string& path);
std::string KitPath(const QString& path);

// The shared font: "ＭＳ ゴシック" where installed, else the platform's Japanese gothic face
// (Noto Sans CJK JP, IPAGothic), 12 pixels high, regular weight.
QFont KitFont();
