#include "settings/option_values.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>
#include <string>

namespace {

TEST(OptionNumber, IsTheDecimalNumberAtTheBeginningWithinInt32) {
  const struct {
    const char* text;
    std::int32_t number;
  } cases[] = {{"1200", 1200},
               {"-150", -150},
               {"+7", 7},
               {" \t12", 12},
               {"12mm", 12},
               {"1.9", 1},
               {"1e3", 1},
               {"0x10", 0},
               {"", 0},
               {"bright", 0},
               {"None", 0},
               {"--5", 0},
               {"2147483647", INT_MAX},
               {"2147483648", INT_MAX},
               {"99999999999999999999999", INT_MAX},
               {"-2147483648", INT_MIN},
               {"-2147483649", INT_MIN},
               {"-99999999999999999999999", INT_MIN}};
  for (const auto& [text, number] : cases) {
    EXPECT_EQ(option_int(text), number) << text;
  }
}

TEST(OptionNumber, IsTheFallbackForNullAndExactlyNone) {
  EXPECT_EQ(parse_option_int("None", 1000), 1000);
  EXPECT_EQ(parse_option_int(nullptr, 1000), 1000);
  EXPECT_EQ(parse_option_int("1100", 1000), 1100);
  for (const char* text : {"0", "none", "None ", "Now", ""}) {
    EXPECT_EQ(parse_option_int(text, 1000), 0) << text;
  }
}

TEST(Millimeters, AreTheNumberAtTheBeginning) {
  EXPECT_EQ(option_millimeters("1.0"), 1.0);
  EXPECT_EQ(option_millimeters("-0.25mm"), -0.25);
  EXPECT_EQ(option_millimeters("1e1"), 10.0);
  EXPECT_EQ(option_millimeters("1,5"), 1.0);
  EXPECT_EQ(option_millimeters("None"), 0.0);
}

// mm * 300 / 25.4 + 0.5, truncated: 1 mm 12.31, 0.5 mm 6.41, 25.4 mm 300.5, 0.04 mm 0.97, 0.05 mm
// 1.09, -1 mm -11.31, -0.1 mm -0.68, -0.2 mm -1.86.
TEST(Millimeters, BecomePixelsTruncatedTowardZeroWithinInt32) {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::pair<double, std::int32_t> cases[] = {{0.0, 0},
                                                   {0.04, 0},
                                                   {0.05, 1},
                                                   {0.5, 6},
                                                   {1.0, 12},
                                                   {25.4, 300},
                                                   {-1.0, -11},
                                                   {-0.1, 0},
                                                   {-0.2, -1},
                                                   {1e300, INT_MAX},
                                                   {-1e300, INT_MIN},
                                                   {infinity, INT_MAX},
                                                   {-infinity, INT_MIN},
                                                   {std::nan(""), 0}};
  for (const auto& [mm, pixels] : cases) {
    EXPECT_EQ(millimeters_to_pixels(mm), pixels) << mm;
  }
}

TEST(Saturation, StopsAtTheLimitsOfInt32) {
  EXPECT_EQ(saturate_to_int32(-5), -5);
  EXPECT_EQ(saturate_to_int32(INT_MAX + std::int64_t{1}), INT_MAX);
  EXPECT_EQ(saturate_to_int32(INT_MIN), INT_MIN);
  EXPECT_EQ(saturate_to_int32(INT_MIN - std::int64_t{1}), INT_MIN);
}

TEST(TextCopy, TruncatesToTheCapacityAndEndsTheField) {
  char field[8] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
  copy_text(std::span<char>(field, 4), "abcdef");
  EXPECT_EQ(std::string(field, 8), std::string("abc\0xxxx", 8));
  copy_text(field, "1234567");
  EXPECT_STREQ(field, "1234567");
  copy_text(field, field);
  EXPECT_STREQ(field, "1234567");
  copy_text(field, nullptr);
  EXPECT_STREQ(field, "");
  copy_text(std::span<char>(field, 1), "long");
  EXPECT_EQ(field[0], '\0');
}

}  // namespace
