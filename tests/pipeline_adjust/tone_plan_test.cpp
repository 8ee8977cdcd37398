// The tone chain as the plan runs it, against worked-out numbers and a second implementation.
#include "pipeline/tone_plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <limits>
#include <random>
#include <vector>

#include "settings/print_options.h"
#include "tests/pipeline_adjust/tone_reference.h"

namespace {

using testing::ElementsAre;
using Rgb = std::array<std::uint8_t, 3>;

PrintOptions defaults() { return PrintOptions{.paper_config = nullptr}; }

PrintOptions with_correction(const char* text) {
  PrintOptions options = defaults();
  std::snprintf(options.color_correction, sizeof options.color_correction, "%s", text);
  return options;
}

// One pixel by the plan, after making sure that a second implementation gives the same.
Rgb adjusted(const PrintOptions& options, Rgb rgb) {
  Rgb expected = rgb;
  reference::adjust(options, expected.data());
  TonePlan plan;
  plan.prepare(options);
  plan.apply(&rgb[0], &rgb[1], &rgb[2], 1);
  EXPECT_EQ(rgb, expected) << "plan and second implementation differ";
  return rgb;
}

Rgb gray(int value) {
  const auto byte = static_cast<std::uint8_t>(value);
  return {byte, byte, byte};
}

// ---- Worked-out numbers -------------------------------------------------------------------------

TEST(ToneChain, NeutralSettingsChangeNoByte) {
  for (int value = 0; value < 256; ++value) {
    EXPECT_EQ(adjusted(defaults(), gray(value)), gray(value));
  }
}

TEST(ToneChain, NeutralSettingsDoNotEvenTouchTheRows) {
  TonePlan plan;
  plan.prepare(defaults());
  plan.apply(nullptr, nullptr, nullptr, 1844);  // would fall over if it looked
}

TEST(ToneChain, ImageTypeChangesNothing) {
  PrintOptions options = defaults();
  std::snprintf(options.image_type, sizeof options.image_type, "Graphics");
  EXPECT_THAT(adjusted(options, {1, 128, 254}), ElementsAre(1, 128, 254));
}

TEST(ToneChain, Brightness100MakesTwoHundredTwoHundredAndTwenty) {
  PrintOptions options = defaults();
  options.brightness = 100;
  EXPECT_EQ(adjusted(options, gray(200)), gray(220));
}

TEST(ToneChain, Brightness1000DoublesAndClips) {
  PrintOptions options = defaults();
  options.brightness = 1000;
  EXPECT_THAT(adjusted(options, {200, 100, 60}), ElementsAre(255, 200, 120));
}

TEST(ToneChain, ContrastMinus1000MakesEveryChannel128BeforeTheLaterSteps) {
  PrintOptions options = defaults();
  options.contrast = -1000;
  EXPECT_THAT(adjusted(options, {0, 77, 255}), ElementsAre(128, 128, 128));
  options.cyan_balance = 500;
  EXPECT_THAT(adjusted(options, {0, 77, 255}), ElementsAre(64, 128, 128));
}

TEST(ToneChain, Gamma2000TakesTheSquareRoot) {
  PrintOptions options = defaults();
  options.gamma = 2000;
  EXPECT_EQ(adjusted(options, gray(64)), gray(127));  // sqrt(64 / 255) * 255 = 127.7
}

TEST(ToneChain, ColorGammasActOnTheirOwnPlane) {
  // sqrt(64 / 255) * 255 = 127.7
  PrintOptions options = defaults();
  options.cyan_gamma = 2000;
  EXPECT_THAT(adjusted(options, gray(64)), ElementsAre(127, 64, 64));
  options = defaults();
  options.magenta_gamma = 2000;
  EXPECT_THAT(adjusted(options, gray(64)), ElementsAre(64, 127, 64));
  options = defaults();
  options.yellow_gamma = 2000;
  EXPECT_THAT(adjusted(options, gray(64)), ElementsAre(64, 64, 127));
}

TEST(ToneChain, ColorGammaRunsBeforeTheGlobalOne) {
  PrintOptions options = defaults();
  options.cyan_gamma = 2000;
  options.gamma = 2000;
  // (64 / 255) ^ (1/4) * 255 = 180.5; one square root: 127.7
  EXPECT_THAT(adjusted(options, gray(64)), ElementsAre(180, 127, 127));
}

TEST(ToneChain, SaturationMinus1000GivesTheMeanTruncated) {
  PrintOptions options = defaults();
  options.saturation = -1000;
  // (10 + 20 + 60) * 0.333333f = 29.99997
  EXPECT_EQ(adjusted(options, {10, 20, 60}), gray(29));
}

TEST(ToneChain, MeanOfAGrayPixelIsSlightlyBelowIt) {
  PrintOptions options = defaults();
  options.saturation = -1000;
  EXPECT_EQ(adjusted(options, gray(100)), gray(99));  // 300 * 0.333333f = 99.9999
}

TEST(ToneChain, SaturationDoublesTheDistanceFromTheMean) {
  PrintOptions options = defaults();
  options.saturation = 1000;
  // mean 90 * 0.333333 = 29.99997: 2 * 10 - 29.99997 = -9.99, 2 * 20 - 29.99997
  // = 10.00003, 90.00003
  EXPECT_THAT(adjusted(options, {10, 20, 60}), ElementsAre(0, 10, 90));
}

TEST(ToneChain, BalanceActsOnEachPlaneAlone) {
  PrintOptions options = defaults();
  options.cyan_balance = 500;
  options.magenta_balance = 2000;
  options.yellow_balance = 0;
  EXPECT_THAT(adjusted(options, {101, 100, 99}), ElementsAre(50, 200, 0));
}

TEST(ToneChain, NegativeBalanceIsStoredAsZero) {
  PrintOptions options = defaults();
  options.cyan_balance = -1000;
  EXPECT_THAT(adjusted(options, {101, 100, 99}), ElementsAre(0, 100, 99));
}

TEST(ToneChain, BrightMultipliesByOnePointOne) {
  // 1.1f is slightly above 1.1, so no product falls below its integer.
  EXPECT_THAT(adjusted(with_correction("Bright"), {100, 210, 240}), ElementsAre(110, 231, 255));
}

TEST(ToneChain, CorrectionNamesAreComparedExactly) {
  for (const char* text :
       {"bright", "Bright ", " Bright", "BRIGHT", "Hue2", "accurate", "None", ""}) {
    EXPECT_THAT(adjusted(with_correction(text), {100, 210, 30}), ElementsAre(100, 210, 30)) << text;
  }
}

TEST(ToneChain, HueOnPureRedGivesALittleBlue) {
  EXPECT_THAT(adjusted(with_correction("Hue"), {255, 0, 0}), ElementsAre(242, 0, 12));
}

TEST(ToneChain, HueLeavesGreenAlone) {
  for (int value = 0; value < 256; ++value) {
    const auto green = static_cast<std::uint8_t>(value);
    EXPECT_EQ(adjusted(with_correction("Hue"), {90, green, 200})[1], green);
  }
}

TEST(ToneChain, HueTakesBothResultsFromTheOldValues) {
  // 0.95 * 200 + 0.05 * 100 = 195; 0.95 * 100 + 0.05 * 200 = 105 and not 0.95 * 100 + 0.05 * 195.
  // In single precision both sums lie on or a hair above the integer.
  EXPECT_THAT(adjusted(with_correction("Hue"), {200, 50, 100}), ElementsAre(195, 50, 105));
}

TEST(ToneChain, DesaturatedKeepsSevenTenths) {
  // mean 300 * 0.333333 = 99.9999: (200 - m) * 0.7 + m = 169.99997, (50 - m) * 0.7 + m = 64.99997
  EXPECT_THAT(adjusted(with_correction("Desaturated"), {200, 50, 50}), ElementsAre(169, 64, 64));
}

TEST(ToneChain, LinearContrastClipsBothEnds) {
  PrintOptions options = defaults();
  options.linear_contrast = 1;
  // 0 becomes -25.6, 255 becomes 280.4
  EXPECT_THAT(adjusted(options, {0, 128, 255}), ElementsAre(0, 128, 255));
}

TEST(ToneChain, LegacyGammaLiftsTheMiddle) {
  PrintOptions options = defaults();
  options.legacy_gamma = 1;
  // (64 / 255) ^ (1 / 2.2) * 255 = 136.06; the ends stay.
  EXPECT_THAT(adjusted(options, {0, 64, 255}), ElementsAre(0, 136, 255));
}

TEST(ToneChain, NegativeBeforeAPowerStepIsStoredAsZero) {
  PrintOptions options = defaults();
  options.contrast = 1000;  // 10 becomes -108
  options.gamma = 2200;
  EXPECT_EQ(adjusted(options, gray(10)), gray(0));
  options.gamma = 1000;
  options.legacy_gamma = 1;
  EXPECT_EQ(adjusted(options, gray(10)), gray(0));
}

TEST(ToneChain, ANegativeBaseWithTheExponentTwoIsAPositiveNumber) {
  PrintOptions options = defaults();
  options.contrast = 1000;  // 10 becomes -108
  options.gamma = 500;
  // (-108 / 255) ^ 2 * 255 = 45.7
  EXPECT_EQ(adjusted(options, gray(10)), gray(45));
}

TEST(ToneChain, NanInOneChannelMakesTheMeanNan) {
  PrintOptions options = defaults();
  options.contrast = 1000;
  options.gamma = 2200;
  options.saturation = 100;
  EXPECT_EQ(adjusted(options, {10, 200, 200}), gray(0));
}

TEST(ToneChain, GammaZeroIsAnInfiniteExponent) {
  PrintOptions options = defaults();
  options.gamma = 0;
  // below 1 to the infinity is 0, 1 stays 1
  EXPECT_THAT(adjusted(options, {0, 254, 255}), ElementsAre(0, 0, 255));
}

TEST(ToneChain, ANegativeGammaTurnsBlackToInfinityWhichIsStoredAs255) {
  PrintOptions options = defaults();
  options.gamma = -1000;
  // 0 ^ -1 is infinite, 128 becomes 255 * 255 / 128 = 508
  EXPECT_THAT(adjusted(options, {0, 128, 255}), ElementsAre(255, 255, 255));
}

TEST(ToneChain, MinusInfinityIsZeroButTheLegacyGammaRaisesItToWhite) {
  PrintOptions options = defaults();
  options.brightness = 1000;
  options.gamma = 0;           // 200 becomes 400, above 1: infinite
  options.saturation = -3000;  // kS = -2: mixes, so that the kernel is asked
  options.cyan_balance = options.magenta_balance = options.yellow_balance = -1000;
  // R infinite, G = B = 0: the mean is infinite, (inf - inf) is no number, (0 - inf) * -2 + inf =
  // inf; balance -1 gives minus infinity.
  EXPECT_THAT(adjusted(options, {200, 20, 20}), ElementsAre(0, 0, 0));
  options.legacy_gamma = 1;
  EXPECT_THAT(adjusted(options, {200, 20, 20}), ElementsAre(0, 255, 255));
}

// ---- No fused multiply-add, no fast-math --------------------------------------------------------

TEST(ToneChain, LinearContrastIsNotFused) {
  PrintOptions options = defaults();
  options.linear_contrast = 1;
  // -60 * 1.2f = -72.0000029 rounds to -72 before 128 is added; fused it would end at 55.
  EXPECT_EQ(adjusted(options, gray(68)), gray(56));
}

TEST(ToneChain, AccurateIsNotFused) {
  // With the products rounded on their own: 248; fused: 247.
  EXPECT_EQ(adjusted(with_correction("Accurate"), {252, 14, 250})[0], 248);
}

TEST(ToneChain, FactorsAreFormedInSinglePrecision) {
  PrintOptions options = defaults();
  options.cyan_balance = 265;  // 265 / 1000 is a hair below 0.265: 52.9999985
  EXPECT_THAT(adjusted(options, {200, 200, 200}), ElementsAre(52, 200, 200));
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
  // Mostly neutral or what a person would choose, now and then anything.
  std::int32_t tone(std::int32_t neutral) {
    switch (below(10)) {
      case 0:
      case 1:
      case 2:
        return neutral + static_cast<std::int32_t>(below(1000)) - 500;
      case 3:
        return static_cast<std::int32_t>(below(8000)) - 4000;
      case 4: {
        constexpr std::int32_t kOdd[] = {0,
                                         -1000,
                                         -2000,
                                         500,
                                         2000,
                                         1,
                                         -1,
                                         std::numeric_limits<std::int32_t>::max(),
                                         std::numeric_limits<std::int32_t>::min()};
        return kOdd[below(9)];
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

TEST(TonePlan, EqualsASecondImplementationForRandomSettingsAndWidths) {
  RandomSettings random(906);
  for (int round = 0; round < 1500; ++round) {
    const PrintOptions options = random.next();
    const std::vector<Rgb> pixels = random.pixels(random.below(120));
    std::vector<std::uint8_t> planes[3];
    for (std::size_t c = 0; c < 3; ++c) {
      for (const Rgb& rgb : pixels) planes[c].push_back(rgb[c]);
      planes[c].resize(pixels.size() + kernels::kRowSlack, 0xA5);
    }
    TonePlan plan;
    plan.prepare(options);
    plan.apply(planes[0].data(), planes[1].data(), planes[2].data(), pixels.size());
    for (std::size_t x = 0; x < pixels.size(); ++x) {
      Rgb expected = pixels[x];
      reference::adjust(options, expected.data());
      ASSERT_THAT(expected, ElementsAre(planes[0][x], planes[1][x], planes[2][x]))
          << described(options) << " on " << +pixels[x][0] << " " << +pixels[x][1] << " "
          << +pixels[x][2];
    }
    for (const std::vector<std::uint8_t>& plane : planes) {
      EXPECT_EQ(plane[pixels.size()], 0xA5) << "written beyond the row";
    }
  }
}

TEST(TonePlan, TakesNothingOverFromThePageBefore) {
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
