// Small path helpers.
//
// Two kinds of text carry paths. The platform's own paths (UTF-8 here) separate folders by
// '/', and no byte of a multi-byte UTF-8 character can be taken for a separator, so they are
// walked byte by byte. CP932 text (a path as a Windows install writes it into a settings,
// CSV or backup file) separates by '\' or '/', and there a byte 0x81-0x9F or 0xE0-0xEF opens
// a pair whose second byte may be 0x5C, the code of '\': those pairs are stepped over whole.
#pragma once

#include <string>
#include <string_view>

// The folder of a platform path: the text before its last '/'. The root "/" keeps its slash;
// a path without a separator has no folder ("").
std::string PathFolderOf(std::string_view path);

// The folder of a CP932 path: before its last '\' or '/', never inside a two-byte character.
// A root ("C:\", "\", "/") keeps its separator.
std::string PathFolderOfCp932(std::string_view path);

// The last component of a platform path (the whole text when it has no '/').
std::string PathFileName(std::string_view path);

// The text behind the last point of a file name; a name without a point is its own
// extension, as the folder scan's filter compares it.
std::string PathExtension(std::string_view fileName);

// A platform path joined with a name, with one '/' between them.
std::string PathJoin(std::string_view folder, std::string_view name);

// By the file's status, following links.
bool PathIsFolder(const std::string& path);
bool PathIsFile(const std::string& path);

// Byte-wise equality and order of two texts with ASCII letters compared without case, as
// the Windows calls compare names.
bool PathSameNoCase(std::string_view a, std::string_view b);
int PathCompareNoCase(std::string_view a, std::string_view b);

// A file name against a wildcard pattern: '*' any run, '?' any one byte, letters without
// case. "*.*" takes every name, also one without a point, as on Windows.
bool PathMatchesPattern(std::string_view name, std::string_view pattern);
