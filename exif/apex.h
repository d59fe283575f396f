// APEX conversions: between the Exif APEX values of tags 37377, 37378 and 37381 and the
// seconds or F-numbers a photographer reads.
//
// A rational is two 32-bit words, numerator then denominator, converted in place. The APEX
// side of modes 2 and 4 is signed (a long exposure has a negative shutter value); the
// aperture and the seconds are unsigned.
#pragma once

#include <cstdint>

enum ApexMode : uint32_t {
  ApexAperture = 1,       // Av, F = 2^(Av/2)
  ApexShutter = 2,        // Tv, t = 2^-Tv
  ApexShutterInverse = 4, // as 2 with the opposite sign, t = 2^Tv
};

// APEX value to seconds or F-number. Returns 1, or 0 with the rational set to 0/0 when the
// mode is unknown, the denominator is 0 or the result does not fit in 32 bits.
int ApexDecode(uint32_t mode, uint32_t* rational);

// Seconds or F-number to an APEX value over a power of ten. Returns 1, or 0 with 0/0 as above
// (a numerator of 0 has no logarithm).
int ApexEncode(uint32_t mode, uint32_t* rational);

// The number of decimal digits of value minus one: the truncated common logarithm, counted in
// integers so that 1000 is exactly 3. The value texts use it to choose their decimals.
uint32_t TruncatedLog10(uint64_t value);
