// CP932 (Windows Shift-JIS) <-> Unicode, from the complete Windows code page 932 table (NEC
// and IBM extensions included), kept as data.
//
// The system's own texts are CP932 byte strings inside the core so that every byte-counted
// bound behaves as on Windows; the sources hold them as readable UTF-8 literals and
// Cp932Text converts each once, at first use.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// True for a byte that opens a two-byte CP932 character (0x81-0x9F, 0xE0-0xFC).
bool Cp932IsLeadByte(uint8_t byte);

// UTF-8 to CP932. A character CP932 cannot represent becomes '?' and, when ok is given,
// *ok is set to false (true otherwise).
std::string Cp932FromUtf8(std::string_view utf8, bool* ok = nullptr);

// CP932 to UTF-8. An undefined or cut pair becomes U+FFFD.
std::string Utf8FromCp932(std::string_view cp932);

// The CP932 form of a UTF-8 literal, converted once and kept for the life of the process.
// Safe on any thread. The literal must have static storage (its address is the key).
const char* Cp932Text(const char* utf8Literal);

// One code point each way, for tests and tools: 0 when unmapped.
uint32_t Cp932ToUnicode(uint16_t code);    // code: a single byte, or lead << 8 | trail
uint16_t Cp932FromUnicode(uint32_t codePoint);
