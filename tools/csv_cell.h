// The cell rule of CSV import: one cell's text to the value array of a type.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

// Parses a cell as values of `type` (1 to 10), numbers split at `separator` (",") and at line
// breaks. Returns the element count (0 for an empty numeric or byte cell), -1 when the cell is
// refused, -2 for no memory. ASCII takes the cell's CP932 bytes as they stand, with the
// terminator counted.
int CsvCellParse(uint32_t type, std::string_view text, std::string_view separator, std::vector<uint8_t>* values);

struct TagEntry;

// The size of the one value buffer a run reuses for every value text.
constexpr uint32_t kCsvValueBufferSize = 262144;

// The raw value text of an entry, as export writes it and import compares it: bytes as "%02X "
// groups, ASCII up to its terminator, numbers in decimal and rationals as "n/d", joined by ",".
// `buffer` is the run's value buffer (grown to kCsvValueBufferSize when smaller).
std::string_view CsvRawValue(const TagEntry* entry, std::vector<char>* buffer);
