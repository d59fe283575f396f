#include "shooting/shooting_convert.h"

#include <cmath>
#include <cstdlib>
#include <limits>

void RationalFromText(const char* text, ShootingRational* rational) {
  if (rational == nullptr) return;
  uint32_t numerator = 0;
  uint32_t denominator = 0;
  bool negative = false;
  bool seenPoint = false;
  bool inDenominator = false;
  const char* p = text ? text : "";
  while (*p == ' ' || *p == '\t') ++p;
  if (*p == '+' || *p == '-') negative = *p++ == '-';
  // Digits accumulate in unsigned words: a runaway text wraps rather than overflows.
  for (; *p; ++p) {
    const char c = *p;
    if (c >= '0' && c <= '9') {
      if (inDenominator) {
        denominator = denominator * 10 + uint32_t(c - '0');
      } else {
        numerator = numerator * 10 + uint32_t(c - '0');
        if (seenPoint) denominator *= 10;
      }
    } else if (c == '.' && !seenPoint && !inDenominator) {
      seenPoint = true;
      denominator = 1;
    } else if (c == '/' && !inDenominator) {
      inDenominator = true;
      denominator = 0;
    } else if (c != ',') {
      break;
    }
  }
  rational->numerator = negative ? 0u - numerator : numerator;
  rational->denominator = denominator == 0 ? 1 : denominator;
}

namespace {

// 10 to the power of the truncated decimal logarithm of d, for d of 1 or more.
int64_t ApexDecimalPower(uint32_t d) {
  int64_t power = 1;
  for (uint32_t rest = d; rest >= 10; rest /= 10) power *= 10;
  return power;
}

double ApexValue(uint32_t mode, double v) {
  switch (mode) {
    case ShootingApexAperture: return 2.0 * std::log(v) / std::log(2.0);
    case ShootingApexShutter: return -std::log(v) / std::log(2.0);
    case ShootingApexPlain: return std::log(v) / std::log(2.0);
    default: return std::numeric_limits<double>::quiet_NaN();
  }
}

}  // namespace

int ApexFromRational(uint32_t mode, ShootingRational* rational) {
  if (rational == nullptr || rational->numerator == 0 || rational->denominator == 0) return 0;
  const double value = ApexValue(mode, double(rational->numerator) / double(rational->denominator));
  if (!std::isfinite(value)) return 0;
  int64_t scale = ApexDecimalPower(rational->denominator) * 1000;
  // |value| is at most 64 (log2 of a 32-bit quotient, doubled) and scale at most 10^12, so
  // the product stays far inside 64 bits.
  int64_t numerator = int64_t(value * double(scale));
  while (scale > 1 && numerator % 10 == 0) {
    numerator /= 10;
    scale /= 10;
  }
  // A very large denominator can leave more digits than a 32-bit word holds: drop the
  // finest ones until it fits.
  while (scale > 1 && (scale > std::numeric_limits<uint32_t>::max() ||
                       numerator > std::numeric_limits<int32_t>::max() ||
                       numerator < std::numeric_limits<int32_t>::min())) {
    numerator /= 10;
    scale /= 10;
  }
  rational->numerator = uint32_t(numerator);
  rational->denominator = uint32_t(scale);
  return 1;
}

double ShootingNumber(const char* text) { return text ? std::strtod(text, nullptr) : 0.0; }

int ShootingTenths(double value) {
  const double tenfold = std::fabs(value) * 10.0;
  // Beyond 2^53 a double has no tenths left, and the cast below must stay in range.
  if (!(tenfold < 9007199254740992.0)) return 0;
  return int(int64_t(tenfold) % 10);
}
