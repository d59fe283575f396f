// Typed value text to value arrays: what the tag edit dialog and CSV import accept.
//
// Numbers are one per line: decimal with an optional sign where the type is signed, or
// hexadecimal after "0x" with no sign. Their range is checked on the digit string itself, so a
// number written with more digits than the type's largest value is refused even when its value
// would fit. Rationals are "n/d", a decimal "1.25" (125/100, unreduced) or a whole number.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

// Parses `length` bytes of `text` as values of `type`, lines split by `separator` ("\r\n" in
// the edit dialog). `values` receives the host-order array (ASCII with its terminator).
// Returns the element count, -1 for invalid input, -2 for no memory.
int ParseTypedValues(uint32_t type, const char* text, uint32_t length, std::string_view separator,
                     std::vector<uint8_t>* values);

// The looser parser of one rational ("1/250", "-0.7", "0x10/0x3", "1,000"): rational[0] the
// numerator (a negative one as its two's complement word), rational[1] the denominator, never
// 0. Always succeeds and returns 1; 0 only for a missing argument.
int ParseRationalText(const char* text, uint32_t rational[2]);
