// Checks every float that can decide a byte of the legacy gamma.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>

#include "pipeline/legacy_gamma.h"
#include "tests/support/plain_formulas.h"

namespace {

// From 2^-11, where the byte is still 0 (2^-11 = 0.000488; byte 1 begins near 255 / 255^2.2 =
// 0.0013), up to 256.
TEST(LegacySteps, EqualTheFormulaForEveryFloatBetweenBlackAndWhite) {
  float steps[256];
  ASSERT_TRUE(fill_legacy_steps(steps));
  const auto first = std::bit_cast<std::uint32_t>(0x1p-11f);
  const auto last = std::bit_cast<std::uint32_t>(256.0f);
  ASSERT_EQ(plain::legacy_gamma_byte(0x1p-11f), 0);
  int byte = 0;
  for (std::uint32_t bits = first; bits <= last; ++bits) {
    const float value = std::bit_cast<float>(bits);
    while (byte < 255 && value >= steps[byte + 1]) ++byte;
    ASSERT_EQ(plain::legacy_gamma_byte(value), byte) << value;
  }
  EXPECT_EQ(byte, 255);
}

}  // namespace
