// Look-up and the tone steps that mix channels.
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>

#include "pipeline/legacy_gamma.h"
#include "tests/pipeline_kernels/guarded_rows.h"
#include "tests/support/plain_formulas.h"

namespace {

using kernels::Correction;
using kernels::ToneMix;

using FloatTable = std::array<float, 256>;

FloatTable filled(const std::function<float(float)>& step) {
  FloatTable table;
  for (std::size_t i = 0; i < 256; ++i) table[i] = step(static_cast<float>(i));
  return table;
}

const FloatTable kUnchanged = filled([](float value) { return value; });

ToneMix neutral_mix() {
  return {.table = {kUnchanged.data(), kUnchanged.data(), kUnchanged.data()},
          .saturate = false,
          .saturation = 1.0F,
          .balance = {1.0F, 1.0F, 1.0F},
          .correction = Correction::kNone,
          .linear_contrast = false,
          .legacy = nullptr};
}

using ThreeRows = std::array<Bytes, 3>;

ThreeRows mixed(const kernels::Table& table, const ToneMix& mix, const ThreeRows& rows,
                const std::array<std::size_t, 3>& offset = {0, 0, 0}) {
  TargetRow target[3] = {{rows[0], offset[0]}, {rows[1], offset[1]}, {rows[2], offset[2]}};
  table.tone_mix(mix, target[0].data(), target[1].data(), target[2].data(), rows[0].size());
  ThreeRows result;
  for (std::size_t c = 0; c < 3; ++c) {
    EXPECT_TRUE(target[c].guards_intact()) << "width " << rows[0].size();
    result[c] = target[c].content();
  }
  return result;
}

// In the order of plain::Correction.
const Correction kCorrections[] = {Correction::kNone, Correction::kBright, Correction::kAccurate,
                                   Correction::kHue, Correction::kDesaturated};

plain::Pixel pixel_by_formula(const ToneMix& mix, const plain::Pixel& rgb) {
  std::array<float, 3> c;
  for (std::size_t i = 0; i < 3; ++i)
    c[i] = mix.table[i] != nullptr ? mix.table[i][rgb[i]] : rgb[i];
  return plain::mixed(
      c, {.saturate = mix.saturate,
          .saturation = mix.saturation,
          .balance = {mix.balance[0], mix.balance[1], mix.balance[2]},
          .correction = static_cast<plain::Correction>(
              std::find(kCorrections, std::end(kCorrections), mix.correction) - kCorrections),
          .linear_contrast = mix.linear_contrast,
          .legacy_gamma = mix.legacy != nullptr});
}

ThreeRows by_formula(const ToneMix& mix, const ThreeRows& rows) {
  ThreeRows result;
  for (std::size_t x = 0; x < rows[0].size(); ++x) {
    const plain::Pixel pixel = pixel_by_formula(mix, {rows[0][x], rows[1][x], rows[2][x]});
    for (std::size_t c = 0; c < 3; ++c) result[c].push_back(pixel[c]);
  }
  return result;
}

// ---- Look-up ------------------------------------------------------------------------------------

TEST_P(EveryTable, LookUpEqualsItsFormulaAtAnyCountAndAddress) {
  for (const std::size_t count : interesting_widths()) {
    const Bytes entries = dice.bytes(256);
    const Bytes bytes = dice.bytes(count);
    Bytes expected;
    for (const std::uint8_t byte : bytes) expected.push_back(entries[byte]);
    TargetRow target(bytes, any_offset());
    table().look_up(target.data(), entries.data(), count);
    EXPECT_TRUE(target.guards_intact());
    EXPECT_EQ(target.content(), expected);
  }
}

// The smallest value that the legacy gamma stores as each byte, found by bisection.
FloatTable legacy_steps() {
  FloatTable steps{};
  for (unsigned b = 1; b < 256; ++b) {
    // Positive floats are ordered like their bits; 0 gives byte 0 and 256 gives byte 255.
    std::uint32_t below = 0;
    auto reached = std::bit_cast<std::uint32_t>(256.0F);
    while (reached - below > 1) {
      const std::uint32_t middle = below + (reached - below) / 2;
      (plain::legacy_gamma_byte(std::bit_cast<float>(middle)) >= b ? reached : below) = middle;
    }
    steps[b] = std::bit_cast<float>(reached);
  }
  return steps;
}

kernels::StepFunction legacy_step_function() {
  kernels::StepFunction step_function = {};
  EXPECT_TRUE(build_step_function(legacy_steps().data(), step_function));
  return step_function;
}

// ---- Mixing steps -------------------------------------------------------------------------------

TEST_P(EveryTable, MixesEqualTheirFormulaForManyColors) {
  Bytes red;
  Bytes green;
  Bytes blue;
  for (int r = 0; r < 256; r += 5) {
    for (int g = 0; g < 256; g += 3) {
      for (int b = 0; b < 256; b += 5) {
        red.push_back(static_cast<std::uint8_t>(r));
        green.push_back(static_cast<std::uint8_t>(g));
        blue.push_back(static_cast<std::uint8_t>(b));
      }
    }
  }
  const ThreeRows rows = {red, green, blue};
  for (const Correction correction : kCorrections) {
    for (const bool saturate : {false, true}) {
      ToneMix mix = neutral_mix();
      mix.correction = correction;
      mix.saturate = saturate;
      mix.saturation = 1.0F + 250.0F / 1000.0F;
      mix.linear_contrast = saturate;
      EXPECT_TRUE(mixed(table(), mix, rows) == by_formula(mix, rows))
          << static_cast<int>(correction) << saturate;
    }
  }
}

// Tables as the steps before the mix can leave them: out of range, not a number, infinite.
FloatTable any_table(Dice& dice) {
  FloatTable table;
  for (float& value : table) {
    switch (dice.below(12)) {
      case 0:
        value = std::numeric_limits<float>::quiet_NaN();
        break;
      case 1:
        value = std::numeric_limits<float>::infinity();
        break;
      case 2:
        value = -std::numeric_limits<float>::infinity();
        break;
      case 3:
        value = static_cast<float>((dice.fraction() - 0.5) * 1e30);
        break;
      case 4:
        value = -0.0F;
        break;
      default:
        value = static_cast<float>(dice.fraction() * 400.0 - 80.0);
    }
  }
  return table;
}

ToneMix any_mix(Dice& dice, const FloatTable (&tables)[3],
                const kernels::StepFunction& step_function) {
  ToneMix mix = neutral_mix();
  for (int c = 0; c < 3; ++c) {
    mix.table[c] = dice.below(5) == 0 ? nullptr : tables[c].data();
    mix.balance[c] = static_cast<float>(dice.fraction() * 4.0 - 1.0);
  }
  mix.saturate = dice.below(2) == 0;
  mix.saturation = static_cast<float>(dice.fraction() * 6.0 - 2.0);
  mix.correction = kCorrections[dice.below(5)];
  mix.linear_contrast = dice.below(2) == 0;
  mix.legacy = dice.below(2) == 0 ? &step_function : nullptr;
  return mix;
}

TEST_P(EveryTable, MixesEqualTheirFormulaAtAnyWidthAddressAndSetting) {
  const kernels::StepFunction step_function = legacy_step_function();
  for (int round = 0; round < 6; ++round) {
    for (const std::size_t width : interesting_widths()) {
      const FloatTable tables[3] = {any_table(dice), any_table(dice), any_table(dice)};
      const ToneMix mix = any_mix(dice, tables, step_function);
      const ThreeRows rows = {dice.bytes(width), dice.bytes(width), dice.bytes(width)};
      EXPECT_EQ(mixed(table(), mix, rows, {any_offset(), any_offset(), any_offset()}),
                by_formula(mix, rows));
    }
  }
}

// ---- Store and legacy gamma ---------------------------------------------------------------------

// Runs `values`, 256 at a time, through a mix that only stores.
Bytes stored(const kernels::Table& table, const std::vector<float>& values,
             const kernels::StepFunction* step_function) {
  Bytes result;
  for (std::size_t at = 0; at < values.size(); at += 256) {
    FloatTable entries{};
    const std::size_t count = std::min<std::size_t>(256, values.size() - at);
    std::copy_n(values.begin() + static_cast<std::ptrdiff_t>(at), count, entries.begin());
    ToneMix mix = neutral_mix();
    for (const float*& entry : mix.table) entry = entries.data();
    mix.legacy = step_function;
    Bytes every_byte(count);
    std::iota(every_byte.begin(), every_byte.end(), std::uint8_t{0});
    const ThreeRows rows = mixed(table, mix, {every_byte, every_byte, every_byte});
    EXPECT_EQ(rows[0], rows[1]);
    EXPECT_EQ(rows[0], rows[2]);
    result.insert(result.end(), rows[0].begin(), rows[0].end());
  }
  return result;
}

const float kNan = std::numeric_limits<float>::quiet_NaN();
const float kInfinity = std::numeric_limits<float>::infinity();

TEST_P(EveryTable, StoreTruncatesAndMakesNanBlackAndInfinityWhite) {
  EXPECT_EQ(stored(table(), {-1.0F, -0.0F, 0.99F, 1.0F, 254.99F, 255.0F, 1e30F}, nullptr),
            (Bytes{0, 0, 0, 1, 254, 255, 255}));
  EXPECT_EQ(stored(table(), {kNan, -kNan, kInfinity, -kInfinity}, nullptr), (Bytes{0, 0, 255, 0}));
}

TEST_P(EveryTable, LegacyGammaMakesMinusInfinityWhite) {
  const kernels::StepFunction step_function = legacy_step_function();
  EXPECT_EQ(stored(table(), {kNan, -kNan, kInfinity, -kInfinity, -1.0F, -0.0F}, &step_function),
            (Bytes{0, 0, 255, 255, 0, 0}));
}

TEST_P(EveryTable, LegacyGammaStepsUpExactlyAtEveryStep) {
  const FloatTable steps = legacy_steps();
  const kernels::StepFunction step_function = legacy_step_function();
  std::vector<float> values;
  Bytes expected;
  for (std::size_t b = 1; b < 256; ++b) {
    values.insert(values.end(), {std::nextafter(steps[b], 0.0F), steps[b]});
    expected.insert(expected.end(),
                    {static_cast<std::uint8_t>(b - 1), static_cast<std::uint8_t>(b)});
  }
  EXPECT_EQ(stored(table(), values, &step_function), expected);
}

TEST_P(EveryTable, LegacyGammaEqualsPowfOverItsWholeRange) {
  const kernels::StepFunction step_function = legacy_step_function();
  std::vector<float> values;
  Bytes expected;
  // Positive floats are ordered like their bits: walk them from the smallest to beyond white.
  for (std::uint32_t bits = 0; bits < std::bit_cast<std::uint32_t>(300.0F); bits += 4999) {
    values.push_back(std::bit_cast<float>(bits));
    expected.push_back(plain::legacy_gamma_byte(values.back()));
  }
  EXPECT_TRUE(stored(table(), values, &step_function) == expected);
}

}  // namespace
