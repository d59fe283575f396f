// JSON written straight into an output buffer, for `dump --json`: no document tree per file,
// so a folder of thousands of files costs what its values cost to print.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Appends `text` as a JSON string, quotes included. Bytes that do not form UTF-8 become
// U+FFFD, so the output stays valid JSON whatever a hostile file or a path holds.
void JsonAppendString(std::string& out, std::string_view text);

// Appends "key": with the key as given (the dump's keys are plain ASCII).
void JsonAppendKey(std::string& out, std::string_view key);

// Appends bytes as base64 text in quotes.
void JsonAppendBase64(std::string& out, const uint8_t* bytes, size_t size);

// Appends a decimal number.
void JsonAppendNumber(std::string& out, int64_t value);
