// The message table: every text the user sees, by number, in CP932.
#pragma once

#include <cstdint>

// The text of a message, or nullptr for a number not in the table.
const char* MessageText(uint32_t id);

// The message used as a printf format with the arguments, into one static buffer that stays
// valid until the next call (a main-thread operation). An unknown number gives "".
const char* MessageFormat(uint32_t id, ...);
