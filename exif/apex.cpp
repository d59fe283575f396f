// APEX decoding rounds as the list window always has: F-numbers to one decimal by the digit of
// the hundredths, times to tenths of a second above one second and to whole fractions below.
#include "exif/apex.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace {

constexpr double kWordLimit = double(std::numeric_limits<uint32_t>::max());

int Fail(uint32_t* rational) {
  rational[0] = 0;
  rational[1] = 0;
  return 0;
}

int Store(uint32_t* rational, uint64_t numerator, uint64_t denominator) {
  rational[0] = uint32_t(numerator);
  rational[1] = uint32_t(denominator);
  return 1;
}

int DecodeAperture(uint32_t* rational) {
  const double av = double(rational[0]) / double(rational[1]);
  const double hundredths = std::floor(std::pow(2.0, av / 2.0) * 100.0);
  if (!(hundredths < kWordLimit)) return Fail(rational);
  const uint64_t whole = uint64_t(hundredths);
  const uint64_t tenths = whole / 10 + (whole % 10 >= 5 ? 1 : 0);
  if (tenths % 10 == 0) return Store(rational, tenths / 10, 1);
  return Store(rational, tenths, 10);
}

int DecodeTime(uint32_t mode, uint32_t* rational) {
  const double tv = double(int32_t(rational[0])) / double(int32_t(rational[1]));
  const double seconds = std::pow(2.0, mode == ApexShutter ? -tv : tv);
  if (seconds >= 1.0) {
    const double tenths = std::ceil(seconds * 10.0);
    if (!(tenths <= kWordLimit)) return Fail(rational);
    return Store(rational, uint64_t(tenths), 10);
  }
  const double inverse = std::trunc(10.0 / seconds);
  if (!(inverse <= kWordLimit * 10.0)) return Fail(rational);
  const uint64_t whole = uint64_t(inverse);
  return Store(rational, 1, (whole + 9) / 10);
}

}  // namespace

int ApexDecode(uint32_t mode, uint32_t* rational) {
  if (!rational) return 0;
  if (rational[1] == 0) return Fail(rational);
  switch (mode) {
    case ApexAperture:
      return DecodeAperture(rational);
    case ApexShutter:
    case ApexShutterInverse:
      return DecodeTime(mode, rational);
    default:
      return Fail(rational);
  }
}

int ApexEncode(uint32_t mode, uint32_t* rational) {
  if (!rational) return 0;
  if (rational[0] == 0 || rational[1] == 0) return Fail(rational);
  const double log2 = std::log2(double(rational[0]) / double(rational[1]));
  double apex = 0;
  switch (mode) {
    case ApexAperture:
      apex = 2.0 * log2;
      break;
    case ApexShutter:
      apex = -log2;
      break;
    case ApexShutterInverse:
      apex = log2;
      break;
    default:
      return Fail(rational);
  }
  // The scale follows the precision of the given denominator, kept within 32 bits.
  int64_t scale = 1;
  for (uint32_t i = 0, n = 3 + TruncatedLog10(rational[1]); i < n && scale < 1000000000; ++i) scale *= 10;
  double numerator = std::trunc(apex * double(scale));
  while (std::fabs(numerator) > double(std::numeric_limits<int32_t>::max()) && scale > 1) {
    scale /= 10;
    numerator = std::trunc(apex * double(scale));
  }
  if (std::fabs(numerator) > double(std::numeric_limits<int32_t>::max())) return Fail(rational);
  int64_t top = int64_t(numerator);
  while (scale > 1 && top % 10 == 0) {
    top /= 10;
    scale /= 10;
  }
  return Store(rational, uint64_t(uint32_t(int32_t(top))), uint64_t(scale));
}

uint32_t TruncatedLog10(uint64_t value) {
  uint32_t digits = 0;
  while (value >= 10) {
    value /= 10;
    ++digits;
  }
  return digits;
}
