// The tone chain as the plan runs it, compared with numbers computed by hand and with the plain
// formulas.
#include "pipeline/tone_plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <limits>
#include <random>
#include <vector>

#include "settings/print_options.h"
#include "tests/support/plain_formulas.h"

namespace {

using testing::ElementsAre;
using Rgb = std::array<std::uint8_t, 3>;

PrintOptions defaults() { return PrintOptions{.paper_config = nullptr}; }

using Field = std::int32_t PrintOptions::*;

struct Case {
  std::vector<std::pair<Field, std::int32_t>> settings;
  const char* correction;
  Rgb in;
  Rgb out;
};

// Computed by hand. In single precision the mean of three channels is their sum times 0.333333,
// which is a little less than a third.
const std::vector<Case>& cases() {
  using O = PrintOptions;
  static const std::vector<Case> all = {
      {{}, "None", {1, 128, 254}, {1, 128, 254}},
      {{{&O::brightness, 100}}, "None", {200, 200, 200}, {220, 220, 220}},
      {{{&O::brightness, 1000}}, "None", {200, 100, 60}, {255, 200, 120}},
      {{{&O::contrast, -1000}}, "None", {0, 77, 255}, {128, 128, 128}},
      {{{&O::contrast, -1000}, {&O::cyan_balance, 500}}, "None", {0, 77, 255}, {64, 128, 128}},
      // sqrt(64 / 255) * 255 = 127.7, and twice: 180.5
      {{{&O::gamma, 2000}}, "None", {64, 64, 64}, {127, 127, 127}},
      {{{&O::cyan_gamma, 2000}}, "None", {64, 64, 64}, {127, 64, 64}},
      {{{&O::magenta_gamma, 2000}}, "None", {64, 64, 64}, {64, 127, 64}},
      {{{&O::yellow_gamma, 2000}}, "None", {64, 64, 64}, {64, 64, 127}},
      {{{&O::cyan_gamma, 2000}, {&O::gamma, 2000}}, "None", {64, 64, 64}, {180, 127, 127}},
      {{{&O::saturation, -1000}}, "None", {10, 20, 60}, {29, 29, 29}},
      {{{&O::saturation, -1000}}, "None", {100, 100, 100}, {99, 99, 99}},
      // 2 * 10 - 29.99997 is negative, 2 * 20 - 29.99997 = 10.00003
      {{{&O::saturation, 1000}}, "None", {10, 20, 60}, {0, 10, 90}},
      {{{&O::cyan_balance, 500}, {&O::magenta_balance, 2000}, {&O::yellow_balance, 0}},
       "None",
       {101, 100, 99},
       {50, 200, 0}},
      {{{&O::cyan_balance, -1000}}, "None", {101, 100, 99}, {0, 100, 99}},
      // 265 / 1000 is a little less than 0.265: 52.9999985
      {{{&O::cyan_balance, 265}}, "None", {200, 200, 200}, {52, 200, 200}},
      {{}, "Bright", {100, 210, 240}, {110, 231, 255}},
      {{}, "Hue", {255, 0, 0}, {242, 0, 12}},
      // 0.95 * 100 + 0.05 * 200 = 105: of the old red, not of the new one
      {{}, "Hue", {200, 50, 100}, {195, 50, 105}},
      // Mean 99.9999: (200 - m) * 0.7 + m = 169.99997, (50 - m) * 0.7 + m = 64.99997
      {{}, "Desaturated", {200, 50, 50}, {169, 64, 64}},
      // 248 when products and sums are rounded one by one, 247 when fused
      {{}, "Accurate", {252, 14, 250}, {248, 21, 246}},
      {{{&O::linear_contrast, 1}}, "None", {0, 68, 255}, {0, 56, 255}},
      // (64 / 255) ^ (1 / 2.2) * 255 = 136.06
      {{{&O::legacy_gamma, 1}}, "None", {0, 64, 255}, {0, 136, 255}},
      // Contrast changes 10 to -108: its root is NaN, its square is 45.7.
      {{{&O::contrast, 1000}, {&O::gamma, 2200}}, "None", {10, 10, 10}, {0, 0, 0}},
      {{{&O::contrast, 1000}, {&O::legacy_gamma, 1}}, "None", {10, 10, 10}, {0, 0, 0}},
      {{{&O::contrast, 1000}, {&O::gamma, 500}}, "None", {10, 10, 10}, {45, 45, 45}},
      {{{&O::contrast, 1000}, {&O::gamma, 2200}, {&O::saturation, 100}},
       "None",
       {10, 200, 200},
       {0, 0, 0}},
      // Gamma 0 is an infinite exponent, and 0 ^ -1 is infinite.
      {{{&O::gamma, 0}}, "None", {0, 254, 255}, {0, 0, 255}},
      {{{&O::gamma, -1000}}, "None", {0, 128, 255}, {255, 255, 255}},
      // Red becomes infinite, and with it the mean; balance -1 gives minus infinity.
      {{{&O::brightness, 1000},
        {&O::gamma, 0},
        {&O::saturation, -3000},
        {&O::cyan_balance, -1000},
        {&O::magenta_balance, -1000},
        {&O::yellow_balance, -1000}},
       "None",
       {200, 20, 20},
       {0, 0, 0}},
      {{{&O::brightness, 1000},
        {&O::gamma, 0},
        {&O::saturation, -3000},
        {&O::cyan_balance, -1000},
        {&O::magenta_balance, -1000},
        {&O::yellow_balance, -1000},
        {&O::legacy_gamma, 1}},
       "None",
       {200, 20, 20},
       {0, 255, 255}},
  };
  return all;
}

PrintOptions with_correction(const char* text) {
  PrintOptions options = defaults();
  std::snprintf(options.color_correction, sizeof options.color_correction, "%s", text);
  return options;
}

TEST(ToneChain, PlanAndPlainFormulasGiveTheNumbersComputedByHand) {
  for (const Case& c : cases()) {
    PrintOptions options = with_correction(c.correction);
    for (const auto& [field, value] : c.settings) options.*field = value;
    Rgb rgb = c.in;
    TonePlan plan;
    plan.prepare(options);
    plan.apply(&rgb[0], &rgb[1], &rgb[2], 1);
    const auto index = &c - cases().data();
    EXPECT_EQ(rgb, c.out) << "case " << index;
    EXPECT_EQ(plain::tone_chain_of(options)(c.in), c.out) << "case " << index;
  }
}

TEST(ToneChain, NeutralSettingsDoNotAccessTheRows) {
  for (const char* text : {"None", "bright", "Bright ", " Bright", "BRIGHT", "Hue2", ""}) {
    TonePlan plan;
    plan.prepare(with_correction(text));
    plan.apply(nullptr, nullptr, nullptr, 1844);
  }
}

// ---- Random settings ----------------------------------------------------------------------------

class RandomSettings {
 public:
  explicit RandomSettings(unsigned seed) : random_(seed) {}

  PrintOptions next() {
    PrintOptions o = defaults();
    o.brightness = tone(0);
    o.contrast = tone(0);
    o.saturation = tone(0);
    o.gamma = tone(1000);
    o.cyan_gamma = tone(1000);
    o.magenta_gamma = tone(1000);
    o.yellow_gamma = tone(1000);
    o.cyan_balance = tone(1000);
    o.magenta_balance = tone(1000);
    o.yellow_balance = tone(1000);
    o.linear_contrast = below(3) == 0 ? 1 : 0;
    o.legacy_gamma = below(3) == 0 ? 1 : 0;
    constexpr const char* kTexts[] = {"None", "None",        "Bright", "Accurate",
                                      "Hue",  "Desaturated", "?"};
    std::snprintf(o.color_correction, sizeof o.color_correction, "%s", kTexts[below(7)]);
    return o;
  }

  std::vector<Rgb> pixels(std::size_t count) {
    std::vector<Rgb> all(count);
    for (Rgb& rgb : all) {
      for (std::uint8_t& byte : rgb) {
        byte = static_cast<std::uint8_t>(below(8) == 0 ? 255 * below(2) : below(256));
      }
    }
    return all;
  }

  unsigned below(unsigned limit) { return static_cast<unsigned>(random_()) % limit; }

 private:
  // Mostly neutral or common settings, sometimes any value.
  std::int32_t tone(std::int32_t neutral) {
    switch (below(10)) {
      case 0:
      case 1:
      case 2:
        return neutral + static_cast<std::int32_t>(below(1000)) - 500;
      case 3:
        return static_cast<std::int32_t>(below(8000)) - 4000;
      case 4: {
        constexpr std::int32_t kUnusual[] = {0,
                                             -1000,
                                             -2000,
                                             500,
                                             2000,
                                             1,
                                             -1,
                                             std::numeric_limits<std::int32_t>::max(),
                                             std::numeric_limits<std::int32_t>::min()};
        return kUnusual[below(9)];
      }
      default:
        return neutral;
    }
  }

  std::mt19937 random_;
};

std::string described(const PrintOptions& o) {
  std::string text;
  for (const std::int32_t value :
       {o.brightness, o.contrast, o.saturation, o.gamma, o.cyan_gamma, o.magenta_gamma,
        o.yellow_gamma, o.cyan_balance, o.magenta_balance, o.yellow_balance, o.linear_contrast,
        o.legacy_gamma}) {
    text += std::to_string(value) + " ";
  }
  return text + o.color_correction;
}

TEST(TonePlan, EqualsThePlainFormulasForRandomSettingsAndWidths) {
  RandomSettings random(906);
  for (int round = 0; round < 1500; ++round) {
    const PrintOptions options = random.next();
    const std::vector<Rgb> pixels = random.pixels(random.below(120));
    std::vector<std::uint8_t> planes[3];
    for (std::size_t c = 0; c < 3; ++c) {
      for (const Rgb& rgb : pixels) planes[c].push_back(rgb[c]);
      planes[c].resize(pixels.size() + kernels::kRowSlack, 0xA5);
    }
    const plain::ToneChain formula = plain::tone_chain_of(options);
    TonePlan plan;
    plan.prepare(options);
    plan.apply(planes[0].data(), planes[1].data(), planes[2].data(), pixels.size());
    for (std::size_t x = 0; x < pixels.size(); ++x) {
      ASSERT_THAT(formula(pixels[x]), ElementsAre(planes[0][x], planes[1][x], planes[2][x]))
          << described(options) << " on " << +pixels[x][0] << " " << +pixels[x][1] << " "
          << +pixels[x][2];
    }
    for (const std::vector<std::uint8_t>& plane : planes) {
      EXPECT_EQ(plane[pixels.size()], 0xA5) << "written beyond the row";
    }
  }
}

TEST(TonePlan, KeepsNothingOfThePreviousPage) {
  PrintOptions options = defaults();
  options.cyan_balance = 500;
  options.legacy_gamma = 1;
  options.saturation = 300;
  TonePlan plan;
  plan.prepare(options);
  options = defaults();
  options.yellow_balance = 500;
  plan.prepare(options);
  Rgb rgb = {100, 100, 100};
  plan.apply(&rgb[0], &rgb[1], &rgb[2], 1);
  EXPECT_THAT(rgb, ElementsAre(100, 100, 50));
  plan.prepare(defaults());
  plan.apply(&rgb[0], &rgb[1], &rgb[2], 1);
  EXPECT_THAT(rgb, ElementsAre(100, 100, 50));
}

}  // namespace
