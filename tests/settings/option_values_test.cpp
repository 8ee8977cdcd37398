#include "settings/option_values.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <string>

namespace {

TEST(OptionNumber, ReadsTheDecimalNumberAtTheBeginning) {
  EXPECT_EQ(option_int("1200"), 1200);
  EXPECT_EQ(option_int("-150"), -150);
  EXPECT_EQ(option_int("+7"), 7);
  EXPECT_EQ(option_int(" \t12"), 12);
  EXPECT_EQ(option_int("12mm"), 12);
  EXPECT_EQ(option_int("1.9"), 1);
  EXPECT_EQ(option_int("1e3"), 1);
  EXPECT_EQ(option_int("0x10"), 0);
}

TEST(OptionNumber, WhatIsNoNumberGivesZero) {
  EXPECT_EQ(option_int(""), 0);
  EXPECT_EQ(option_int("bright"), 0);
  EXPECT_EQ(option_int("None"), 0);
  EXPECT_EQ(option_int("--5"), 0);
}

TEST(OptionNumber, SaturatesAtTheLimitsOfInt32) {
  EXPECT_EQ(option_int("2147483647"), INT_MAX);
  EXPECT_EQ(option_int("2147483648"), INT_MAX);
  EXPECT_EQ(option_int("99999999999999999999999"), INT_MAX);
  EXPECT_EQ(option_int("-2147483648"), INT_MIN);
  EXPECT_EQ(option_int("-2147483649"), INT_MIN);
  EXPECT_EQ(option_int("-99999999999999999999999"), INT_MIN);
}

TEST(OptionNumber, NoneAndAbsenceGiveTheFallback) {
  EXPECT_EQ(parse_option_int("None", 1000), 1000);
  EXPECT_EQ(parse_option_int(nullptr, 1000), 1000);
  EXPECT_EQ(parse_option_int("1100", 1000), 1100);
  EXPECT_EQ(parse_option_int("0", 1000), 0);
}

TEST(OptionNumber, OnlyTheWholeWordNoneIsNone) {
  EXPECT_EQ(parse_option_int("none", 1000), 0);
  EXPECT_EQ(parse_option_int("None ", 1000), 0);
  EXPECT_EQ(parse_option_int("", 1000), 0);
}

TEST(Millimeters, ReadWhatStandsAtTheBeginning) {
  EXPECT_EQ(option_millimeters("1.0"), 1.0);
  EXPECT_EQ(option_millimeters("-0.25mm"), -0.25);
  EXPECT_EQ(option_millimeters("1e1"), 10.0);
  EXPECT_EQ(option_millimeters("1,5"), 1.0);
  EXPECT_EQ(option_millimeters("None"), 0.0);
  EXPECT_EQ(option_millimeters(""), 0.0);
}

// mm * 300 / 25.4 + 0.5: 1 mm 12.31, 0.5 mm 6.41, 25.4 mm 300.5, 0.04 mm 0.97, 0.05 mm 1.09.
TEST(Millimeters, BecomePixelsAt300Dpi) {
  EXPECT_EQ(millimeters_to_pixels(0.0), 0);
  EXPECT_EQ(millimeters_to_pixels(0.04), 0);
  EXPECT_EQ(millimeters_to_pixels(0.05), 1);
  EXPECT_EQ(millimeters_to_pixels(0.5), 6);
  EXPECT_EQ(millimeters_to_pixels(1.0), 12);
  EXPECT_EQ(millimeters_to_pixels(25.4), 300);
}

// Below zero: -1 mm -11.31, -0.1 mm -0.68, -0.2 mm -1.86.
TEST(Millimeters, AreTruncatedTowardZeroAlsoBelowZero) {
  EXPECT_EQ(millimeters_to_pixels(-1.0), -11);
  EXPECT_EQ(millimeters_to_pixels(-0.1), 0);
  EXPECT_EQ(millimeters_to_pixels(-0.2), -1);
}

TEST(Millimeters, SaturateAndNotANumberIsZero) {
  EXPECT_EQ(millimeters_to_pixels(1e300), INT_MAX);
  EXPECT_EQ(millimeters_to_pixels(-1e300), INT_MIN);
  EXPECT_EQ(millimeters_to_pixels(std::numeric_limits<double>::infinity()), INT_MAX);
  EXPECT_EQ(millimeters_to_pixels(-std::numeric_limits<double>::infinity()), INT_MIN);
  EXPECT_EQ(millimeters_to_pixels(std::nan("")), 0);
}

TEST(Saturation, LeavesInt32AsItIsAndStopsAtItsLimits) {
  EXPECT_EQ(saturate_to_int32(-5), -5);
  EXPECT_EQ(saturate_to_int32(INT_MAX), INT_MAX);
  EXPECT_EQ(saturate_to_int32(INT_MAX + std::int64_t{1}), INT_MAX);
  EXPECT_EQ(saturate_to_int32(INT_MIN), INT_MIN);
  EXPECT_EQ(saturate_to_int32(INT_MIN - std::int64_t{1}), INT_MIN);
  EXPECT_EQ(saturate_to_int32(std::numeric_limits<std::int64_t>::max()), INT_MAX);
}

TEST(TextCopy, FillsTheFieldAndEndsIt) {
  char field[8] = "xxxxxxx";
  copy_text(field, "Matte");
  EXPECT_STREQ(field, "Matte");
}

TEST(TextCopy, CutsToTheCapacityLessOne) {
  char field[8];
  copy_text(field, "1234567");
  EXPECT_STREQ(field, "1234567");
  copy_text(field, "12345678");
  EXPECT_STREQ(field, "1234567");
  char one[1] = {'x'};
  copy_text(one, "long");
  EXPECT_EQ(one[0], '\0');
}

TEST(TextCopy, TouchesNothingBehindTheTerminator) {
  char field[8] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
  copy_text(std::span<char>(field, 4), "abcdef");
  EXPECT_EQ(std::string(field, 8), std::string("abc\0xxxx", 8));
}

TEST(TextCopy, NullCountsAsEmpty) {
  char field[8] = "before";
  copy_text(field, nullptr);
  EXPECT_STREQ(field, "");
}

TEST(TextCopy, AFieldMayBeCopiedOntoItself) {
  char field[8] = "Glossy";
  copy_text(field, field);
  EXPECT_STREQ(field, "Glossy");
}

}  // namespace
