// Fails if the build changes the arithmetic: contraction into fused multiply-add, reordered sums,
// divisions replaced by multiplications, or the assumption that there is no NaN and no infinity.
//
// The result for every input is so close to a whole number that one rounding more or less changes
// the stored byte. The comments show the exact values.
#include <gtest/gtest.h>

#include <array>
#include <cfloat>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <vector>

#include "pipeline/kernels/kernels.h"
#include "pipeline/tone_plan.h"
#include "settings/print_options.h"

#ifdef __FAST_MATH__
#error "fast-math changes the pixels that are printed"
#endif
#if defined(__FINITE_MATH_ONLY__) && __FINITE_MATH_ONLY__
#error "the tone chain needs NaN and infinity"
#endif
#if defined(__ASSOCIATIVE_MATH__) || defined(__RECIPROCAL_MATH__)
#error "sums and divisions have the order in which they are written"
#endif
static_assert(FLT_EVAL_METHOD == 0, "single precision must stay single in between");
static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559);

// The function is compiled for a processor with fused multiply-add, so that a missing flag is
// detected on every machine.
#if defined(__x86_64__)
#define ON_A_FUSING_PROCESSOR [[gnu::noinline, gnu::target("fma")]]
#else
#define ON_A_FUSING_PROCESSOR [[gnu::noinline]]
#endif

namespace {

ON_A_FUSING_PROCESSOR float sum_after_product(float a, float b, float c) { return a * b + c; }

bool processor_can_fuse() {
#if defined(__x86_64__)
  return __builtin_cpu_supports("fma") != 0;
#else
  return true;
#endif
}

using Pixel = std::array<std::uint8_t, 3>;

// Sends a row of `width` equal pixels through the plan, which may select tables and vector kernels,
// so that vector loops run and not only their scalar remainders.
Pixel adjusted(const PrintOptions& options, Pixel pixel, std::size_t width) {
  TonePlan plan;
  plan.prepare(options);
  std::vector<std::uint8_t> planes[3];
  for (int p = 0; p < 3; ++p) {
    planes[p].assign(width + kernels::kRowSlack, pixel[p]);
  }
  plan.apply(planes[0].data(), planes[1].data(), planes[2].data(), width);
  for (int p = 0; p < 3; ++p) {
    for (std::size_t x = 1; x < width; ++x) {
      EXPECT_EQ(planes[p][x], planes[p][0]);
    }
  }
  return {planes[0][0], planes[1][0], planes[2][0]};
}

// A row of equal pixels with the slack that kernels require.
std::vector<std::uint8_t> row_of(Pixel pixel, std::size_t width) {
  std::vector<std::uint8_t> row;
  for (std::size_t x = 0; x < width; ++x) {
    row.insert(row.end(), pixel.begin(), pixel.end());
  }
  row.resize(row.size() + kernels::kRowSlack);
  return row;
}

constexpr std::size_t kRowWidth = 70;

// ---- Products and sums are not fused

// a = 1 + 2^-12, a * a = 1 + 2^-11 + 2^-24, which rounds to 1 + 2^-11 if the product is rounded
// separately.
TEST(Contraction, ProductIsRoundedBeforeTheSum) {
  if (!processor_can_fuse()) {
    GTEST_SKIP() << "this processor cannot fuse";
  }
  const volatile float a = 1.0F + 0x1p-12F;
  const volatile float c = -(1.0F + 0x1p-11F);
  EXPECT_EQ(sum_after_product(a, a, c), 0.0F) << "fused it would be 2^-24";
}

// 59 * .299 + 25 * .587 + 6 * .114 = 33 and 105 * .299 + 95 * .587 + 60 * .114 = 94, exactly.
TEST(Contraction, GrayReachesWholeNumbersInEveryKernel) {
  for (const kernels::Table* table : kernels::all_tables()) {
    SCOPED_TRACE(table->name);
    auto row = row_of({59, 25, 6}, kRowWidth);
    table->to_gray(row.data(), kRowWidth);
    EXPECT_EQ(row[0], 33);
    EXPECT_EQ(row[3 * kRowWidth - 1], 33);
    row = row_of({105, 95, 60}, kRowWidth);
    table->to_black(row.data(), kRowWidth);
    EXPECT_EQ(row[0], 255 - 94);
    EXPECT_EQ(row[3 * kRowWidth - 1], 255 - 94);
  }
}

struct Corners {
  double fx, fy;
  std::uint8_t top_left, top_right, bottom_left, bottom_right;
  std::uint8_t expected;
};

// Exact halves, which round up, and sums that end just below one half and just above it when fused.
//   207 * .06 + 8 * .24 + 210 * .14 + 71 * .56 = 83.5
//   37 * .3 + 59 * .2 + 150 * .3 + 28 * .2     = 73.5
//   252 * .06 + 28 * .24 + 53 * .14 + 154 * .56 = 115.5
TEST(Contraction, ResizeRoundsHalvesUpInEveryKernel) {
  const Corners all_corners[] = {
      {0.8, 0.7, 207, 8, 210, 71, 84},
      {0.4, 0.5, 37, 59, 150, 28, 74},
      {0.8, 0.7, 252, 28, 53, 154, 116},
  };
  const std::vector<std::uint32_t> left(kRowWidth, 0);
  for (const kernels::Table* table : kernels::all_tables()) {
    SCOPED_TRACE(table->name);
    for (const Corners& corners : all_corners) {
      auto top = row_of({corners.top_left, corners.top_left, corners.top_left}, 2);
      auto bottom = row_of({corners.bottom_left, corners.bottom_left, corners.bottom_left}, 2);
      for (int c = 3; c < 6; ++c) {
        top[c] = corners.top_right;
        bottom[c] = corners.bottom_right;
      }
      const std::vector<double> fraction(kRowWidth, corners.fx);
      const std::vector<float> float_fraction(kRowWidth, static_cast<float>(corners.fx));
      const kernels::ResizeColumns columns = {left.data(), fraction.data(), float_fraction.data(),
                                              kRowWidth, 3};
      std::vector<float> upper(3 * kRowWidth);
      std::vector<float> lower(3 * kRowWidth);
      table->resize_across(columns, top.data(), upper.data());
      table->resize_across(columns, bottom.data(), lower.data());
      auto row = row_of({0, 0, 0}, kRowWidth);
      table->resize_down(columns, corners.fy, {top.data(), upper.data()},
                         {bottom.data(), lower.data()}, row.data());
      for (std::size_t i = 0; i < 3 * kRowWidth; ++i) {
        ASSERT_EQ(row[i], corners.expected) << "byte " << i;
      }
    }
  }
}

kernels::ToneMix neutral_mix(const float (&table)[256]) {
  return {.table = {table, table, table},
          .saturate = false,
          .saturation = 1.0F,
          .balance = {1.0F, 1.0F, 1.0F},
          .correction = kernels::Correction::kNone,
          .linear_contrast = false,
          .legacy = nullptr};
}

TEST(Contraction, ToneKernelsKeepProductsApartInEveryVariant) {
  float bytes[256];
  for (int i = 0; i < 256; ++i) {
    bytes[i] = static_cast<float>(i);
  }
  kernels::ToneMix contrast = neutral_mix(bytes);
  contrast.linear_contrast = true;
  kernels::ToneMix accurate = neutral_mix(bytes);
  accurate.correction = kernels::Correction::kAccurate;

  for (const kernels::Table* table : kernels::all_tables()) {
    SCOPED_TRACE(table->name);
    const auto mixed = [&](const kernels::ToneMix& mix, Pixel pixel) {
      std::vector<std::uint8_t> planes[3];
      for (int p = 0; p < 3; ++p) {
        planes[p].assign(kRowWidth + kernels::kRowSlack, pixel[p]);
      }
      table->tone_mix(mix, planes[0].data(), planes[1].data(), planes[2].data(), kRowWidth);
      return std::array<Pixel, 2>{
          Pixel{planes[0][0], planes[1][0], planes[2][0]},
          Pixel{planes[0][kRowWidth - 1], planes[1][kRowWidth - 1], planes[2][kRowWidth - 1]}};
    };
    for (const Pixel& pixel : mixed(contrast, {68, 68, 68})) {
      EXPECT_EQ(pixel, (Pixel{56, 56, 56}));
    }
    for (const Pixel& pixel : mixed(accurate, {252, 14, 250})) {
      EXPECT_EQ(pixel, (Pixel{248, 21, 246}));
    }
  }
}

// ---- The order of sums and the divisions are unchanged

// 4 * .299 + 6 * .587 + 213 * .114 = 29 exactly; with red and green added first the result is 29,
// with any other order 28.
TEST(Order, GrayAddsBlueLastInEveryKernel) {
  for (const kernels::Table* table : kernels::all_tables()) {
    SCOPED_TRACE(table->name);
    auto row = row_of({4, 6, 213}, kRowWidth);
    table->to_gray(row.data(), kRowWidth);
    EXPECT_EQ(row[0], 29);
  }
}

struct Case {
  std::vector<std::pair<std::int32_t PrintOptions::*, std::int32_t>> settings;
  const char* correction;
  Pixel in;
  Pixel out;
};

const std::vector<Case>& cases() {
  using O = PrintOptions;
  static const std::vector<Case> all = {
      // (68 - 128) * 1.2f = -72.0000029, rounded to -72; plus 128 is 56. Fused: 55.999996.
      {{{&O::linear_contrast, 1}}, "None", {68, 68, 68}, {56, 56, 56}},
      // m = 516 * 0.333333f = 171.999817; red: (252 - m) * 0.95f + m = 247.99999..., rounded twice
      // to 248. Green: -157.999817 * 0.95 + m = 21.8999..., blue: 78.000183 * 0.95 + m = 246.1.
      {{}, "Accurate", {252, 14, 250}, {248, 21, 246}},
      // kB = 0.5, kC = 0.6: (6 * 0.5 - 128) * 0.6 + 128 = 53, for 16 it is 56, for 26 it is 59.
      // 0.6f is slightly greater than 0.6; fused, each result is too low by one.
      {{{&O::brightness, -500}, {&O::contrast, -400}}, "None", {6, 16, 26}, {53, 56, 59}},
      // 265 / 1000 in single precision is below 0.265, so 200 gives less than 53; 265 multiplied by
      // 0.001 is above it. 525 / 1000 times 120 is 62.99999... in the same way.
      {{{&O::cyan_balance, 265}, {&O::magenta_balance, 525}}, "None", {200, 120, 77}, {52, 62, 77}},
      // Each factor is 1 plus a fraction, added in single precision, which rounds the fraction to
      // the coarser steps of floats near 1. 1 - 984/1000 is 0.01599997, so 250 gives less than 4; 1
      // + 180/1000 is 1.18000007, so -100 times it, plus 128, is less than 10; 1 - 160/1000 is
      // 0.84000003, and 168 is above the mean of (168, 35, 1), 67.999931. With thousandths added
      // first, or a sum in double precision, the results are 4, 10 and 151.
      {{{&O::brightness, -984}}, "None", {250, 250, 250}, {3, 3, 3}},
      {{{&O::contrast, 180}}, "None", {28, 28, 28}, {9, 9, 9}},
      {{{&O::saturation, -160}}, "None", {168, 35, 1}, {152, 40, 11}},
      // Brightness 0.8 changes the pixel to 173.6, 62.4 and 176.8, brightness 1.2 to 44.4, 260.4
      // and 230.4. With red and green added first the means are 137.599854 and 178.399811; in any
      // other order they are one or two floats larger, and the bytes are 170 and 244.
      {{{&O::brightness, -200}, {&O::saturation, -100}}, "None", {217, 78, 221}, {169, 69, 172}},
      {{{&O::brightness, 200}, {&O::saturation, -200}}, "None", {37, 217, 192}, {71, 243, 219}},
      // 765 * 0.333333f = 254.99974: the factor of the mean is a truncated decimal, not 1/3.
      {{{&O::saturation, -1000}}, "None", {255, 255, 255}, {254, 254, 254}},
      // Contrast 1000 changes 0 to -128; its root is NaN.
      {{{&O::contrast, 1000}, {&O::gamma, 2000}}, "None", {0, 0, 0}, {0, 0, 0}},
      // A gamma of 0 gives an infinite exponent: values above 255 become infinity, values below 255
      // become 0.
      {{{&O::brightness, 1000}, {&O::gamma, 0}}, "None", {200, 100, 255}, {255, 0, 255}},
  };
  return all;
}

TEST(ToneNumbers, AreRoundedAfterEveryStepInTheWrittenOrder) {
  for (const Case& c : cases()) {
    PrintOptions options{.paper_config = nullptr};
    std::snprintf(options.color_correction, sizeof options.color_correction, "%s", c.correction);
    for (const auto& [field, value] : c.settings) options.*field = value;
    for (const std::size_t width : {1, 100}) {  // scalar remainder, vector loop
      EXPECT_EQ(adjusted(options, c.in, width), c.out)
          << "case " << &c - cases().data() << ", width " << width;
    }
  }
}

}  // namespace
