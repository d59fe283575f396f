#include <gtest/gtest.h>

#include "shooting/shooting_convert.h"

namespace {

ShootingRational Read(const char* text) {
  ShootingRational rational;
  RationalFromText(text, &rational);
  return rational;
}

ShootingRational Apex(uint32_t mode, ShootingRational rational) {
  EXPECT_EQ(ApexFromRational(mode, &rational), 1);
  return rational;
}

void ExpectRational(const ShootingRational& actual, int32_t numerator, uint32_t denominator) {
  EXPECT_EQ(int32_t(actual.numerator), numerator);
  EXPECT_EQ(actual.denominator, denominator);
}

TEST(RationalFromText, DecimalsFractionsAndSigns) {
  ExpectRational(Read("5.6"), 56, 10);
  ExpectRational(Read("  \t250"), 250, 1);
  ExpectRational(Read("-0.7"), -7, 10);
  ExpectRational(Read("+1.3"), 13, 10);
  ExpectRational(Read("0.0"), 0, 10);
  ExpectRational(Read("1/250"), 1, 250);
  ExpectRational(Read("1,000"), 1000, 1);
  // The number ends at the first character it does not know.
  ExpectRational(Read("2\""), 2, 1);
  ExpectRational(Read("38(24-120)"), 38, 1);
  ExpectRational(Read("3.5-F5.6"), 35, 10);
  ExpectRational(Read("1.2.3"), 12, 10);
  ExpectRational(Read("F4"), 0, 1);
  ExpectRational(Read(""), 0, 1);
  ExpectRational(Read("7/"), 7, 1);
}

TEST(ApexFromRational, ShutterSpeedValues) {
  // 1/250 s: a scale of 100,000, no trailing zero to take off.
  ExpectRational(Apex(ShootingApexShutter, {1, 250}), 796578, 100000);
  ExpectRational(Apex(ShootingApexShutter, {1, 100}), 664385, 100000);
  // Long exposures are negative.
  ExpectRational(Apex(ShootingApexShutter, {2, 1}), -1, 1);
  ExpectRational(Apex(ShootingApexShutter, {5400, 1}), -12398, 1000);
}

TEST(ApexFromRational, ApertureAndPlainValues) {
  ExpectRational(Apex(ShootingApexAperture, {56, 10}), 49708, 10000);
  ExpectRational(Apex(ShootingApexAperture, {4, 1}), 4, 1);
  ExpectRational(Apex(ShootingApexAperture, {1, 1}), 0, 1);
  ExpectRational(Apex(ShootingApexPlain, {8, 1}), 3, 1);
  // A huge denominator keeps the result within 32 bits.
  const ShootingRational fine = Apex(ShootingApexShutter, {1, 4000000000u});
  EXPECT_LE(fine.denominator, 4294967295u);
  EXPECT_NEAR(double(int32_t(fine.numerator)) / fine.denominator, 31.897, 0.001);
}

TEST(ApexFromRational, RefusesWhatHasNoLogarithm) {
  ShootingRational zero{0, 1};
  EXPECT_EQ(ApexFromRational(ShootingApexShutter, &zero), 0);
  ShootingRational noDenominator{1, 0};
  EXPECT_EQ(ApexFromRational(ShootingApexShutter, &noDenominator), 0);
  ShootingRational badMode{2, 1};
  EXPECT_EQ(ApexFromRational(9, &badMode), 0);
  ExpectRational(badMode, 2, 1);
}

}  // namespace
