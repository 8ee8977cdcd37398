// The steps of the legacy gamma against powf, and the step function made of them.
#include "pipeline/legacy_gamma.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <random>

#include "tests/support/plain_formulas.h"

namespace {

int by_steps(const float* steps, float value) {
  int byte = 0;
  while (byte < 255 && value >= steps[byte + 1]) ++byte;
  return byte;
}

TEST(LegacySteps, EqualTheFormulaForEveryFloatNearAStep) {
  float steps[256];
  ASSERT_TRUE(fill_legacy_steps(steps));
  for (int byte = 1; byte < 256; ++byte) {
    const std::uint32_t step = std::bit_cast<std::uint32_t>(steps[byte]);
    for (std::uint32_t bits = step - 300; bits <= step + 300; ++bits) {
      const float value = std::bit_cast<float>(bits);
      ASSERT_EQ(by_steps(steps, value), plain::legacy_gamma_byte(value)) << byte << " at " << value;
    }
  }
}

TEST(LegacySteps, EqualTheFormulaForRandomAndSpecialFloats) {
  float steps[256];
  ASSERT_TRUE(fill_legacy_steps(steps));
  std::mt19937 random(7);
  for (int i = 0; i < 300000; ++i) {
    const float value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
    // The kernels make it 255, see kernels.h.
    if (value == -std::numeric_limits<float>::infinity()) continue;
    ASSERT_EQ(by_steps(steps, value), plain::legacy_gamma_byte(value)) << value;
  }
  const float special[] = {0.0f,
                           -0.0f,
                           -1.0f,
                           1e-45f,
                           3e38f,
                           std::numeric_limits<float>::infinity(),
                           std::numeric_limits<float>::quiet_NaN()};
  for (const float value : special)
    EXPECT_EQ(by_steps(steps, value), plain::legacy_gamma_byte(value)) << value;
}

TEST(StepFunction, RefusesStepsThatDoNotRiseOrAreTooCloseOrOutside) {
  std::array<float, 256> good;
  ASSERT_TRUE(fill_legacy_steps(good.data()));
  kernels::StepFunction step_function;
  EXPECT_TRUE(build_step_function(good.data(), step_function));
  std::array<float, 256> steps = good;
  std::swap(steps[10], steps[11]);
  EXPECT_FALSE(build_step_function(steps.data(), step_function));
  steps = good;
  steps[200] = std::nextafter(steps[199], 255.0F);
  EXPECT_FALSE(build_step_function(steps.data(), step_function));
  steps = good;
  steps[1] = kernels::StepFunction::kLowest / 2.0F;
  EXPECT_FALSE(build_step_function(steps.data(), step_function));
  steps = good;
  steps[255] = 256.0F;
  EXPECT_FALSE(build_step_function(steps.data(), step_function));
}

}  // namespace
