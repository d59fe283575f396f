#include "shooting/shooting_convert.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>

double ShootingNumber(const char* text) { return text ? std::strtod(text, nullptr) : 0.0; }

int ShootingTenths(double value) {
  const double tenfold = std::fabs(value) * 10.0;
  // Beyond 2^53 a double has no tenths left, and the cast below must stay in range.
  if (!(tenfold < 9007199254740992.0)) return 0;
  return int(int64_t(tenfold) % 10);
}
