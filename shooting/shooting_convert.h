// Number conversions of the shooting data: texts of the camera data file into rationals, and
// rationals into APEX values.
#pragma once

#include <cstdint>

// A rational as a TagEntry holds it: two 32-bit words in host order. For a signed value the
// numerator holds the two's complement bits.
struct ShootingRational {
  uint32_t numerator = 0;
  uint32_t denominator = 0;
};

// Reads a decimal or a fraction: blanks and tabs first, then a sign, digits, at most one ".",
// and a "/" after which digits go to the denominator; commas are passed over and any other
// character ends the number. With no denominator the value is over 1; the sign goes on the
// numerator. Text that does not read gives 0/1.
void RationalFromText(const char* text, ShootingRational* rational);

enum ShootingApexMode : uint32_t {
  ShootingApexAperture = 1,  // 2 log2(v): an f-number to an aperture value
  ShootingApexShutter = 2,   // -log2(v): an exposure time to a shutter speed value (signed)
  ShootingApexPlain = 3,     // log2(v)
};

// Replaces the rational by its APEX value, to 3 more decimal places than the denominator had,
// with trailing zeros taken off. Returns 1, or 0 and leaves it alone when either part is 0 or
// the mode is unknown.
int ApexFromRational(uint32_t mode, ShootingRational* rational);

// The number of a text read by the standard decimal reader; 0 when none reads.
double ShootingNumber(const char* text);

// The tenths digit of a number: its truncated tenfold absolute value, modulo 10.
int ShootingTenths(double value);
