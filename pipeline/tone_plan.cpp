#include "pipeline/tone_plan.h"

#include <bit>
#include <cmath>
#include <cstring>

#include "settings/print_options.h"

namespace {

using kernels::Correction;

constexpr float kMeanFactor = 0.333333f;  // Deliberate: not 1/3; a gray pixel may lose one step.
constexpr float kLegacyExponent = 0.45454544f;

// How many floats on either side of each legacy step are compared with the chain.
constexpr int kCheckedNeighbours = 4;

struct CorrectionName {
  const char* text;
  Correction correction;
};
constexpr CorrectionName kCorrections[] = {
    {"Bright", Correction::kBright},
    {"Accurate", Correction::kAccurate},
    {"Hue", Correction::kHue},
    {"Desaturated", Correction::kDesaturated},
};

Correction correction_named(const char* text) {
  for (const CorrectionName& entry : kCorrections) {
    if (std::strcmp(text, entry.text) == 0) {
      return entry.correction;
    }
  }
  return Correction::kNone;
}

float thousandths(std::int32_t value) { return static_cast<float>(value) / 1000.0f; }

// A gamma of 0 or below gives an infinite or negative exponent; powf has an answer to both.
float exponent_of(std::int32_t gamma) { return 1.0f / thousandths(gamma); }

float power(float c, float exponent) { return std::pow(c / 255.0f, exponent) * 255.0f; }

float stretch(float c, float around, float factor) { return (c - around) * factor + around; }

void stretch_around_mean(float rgb[3], float factor) {
  const float mean = ((rgb[0] + rgb[1]) + rgb[2]) * kMeanFactor;
  for (int c = 0; c < 3; ++c) {
    rgb[c] = stretch(rgb[c], mean, factor);
  }
}

// The steps before any channel can look at another.
float before_mixing(const ToneFactors& factors, int channel, std::uint8_t byte) {
  float c = static_cast<float>(byte);
  c = (c * factors.brightness - 128.0f) * factors.contrast + 128.0f;
  if (factors.channel_exponent[channel] != 1.0f) {
    c = power(c, factors.channel_exponent[channel]);
  }
  if (factors.exponent != 1.0f) {
    c = power(c, factors.exponent);
  }
  return c;
}

void correct(Correction correction, float rgb[3]) {
  switch (correction) {
    case Correction::kNone:
      return;
    case Correction::kBright:
      for (int c = 0; c < 3; ++c) {
        rgb[c] *= 1.1f;
      }
      return;
    case Correction::kAccurate:
      stretch_around_mean(rgb, 0.95f);
      return;
    case Correction::kHue: {
      // Deliberate: green stays out of it.
      const float red = rgb[0];
      const float blue = rgb[2];
      rgb[0] = 0.95f * red + 0.05f * blue;
      rgb[2] = 0.95f * blue + 0.05f * red;
      return;
    }
    case Correction::kDesaturated:
      stretch_around_mean(rgb, 0.7f);
      return;
  }
}

// Truncates. Compares before it converts: NaN gives 0, and no huge value meets the integer type.
std::uint8_t stored(float c) {
  if (!(c > 0.0f)) {
    return 0;
  }
  return c >= 255.0f ? std::uint8_t{255} : static_cast<std::uint8_t>(c);
}

std::uint8_t stored_after_legacy_gamma(float c) { return stored(power(c, kLegacyExponent)); }

void run_chain(const ToneFactors& factors, std::uint8_t rgb[3]) {
  float value[3];
  for (int c = 0; c < 3; ++c) {
    value[c] = before_mixing(factors, c, rgb[c]);
  }
  if (factors.saturation != 1.0f) {
    stretch_around_mean(value, factors.saturation);
  }
  for (int c = 0; c < 3; ++c) {
    value[c] *= factors.balance[c];
  }
  correct(factors.correction, value);
  for (int c = 0; c < 3; ++c) {
    if (factors.linear_contrast) {
      value[c] = stretch(value[c], 128.0f, 1.2f);
    }
    rgb[c] = factors.legacy_gamma ? stored_after_legacy_gamma(value[c]) : stored(value[c]);
  }
}

bool are_all(const float values[3], float wanted) {
  return values[0] == wanted && values[1] == wanted && values[2] == wanted;
}

bool changes_nothing(const ToneFactors& factors) {
  return factors.brightness == 1.0f && factors.contrast == 1.0f &&
         are_all(factors.channel_exponent, 1.0f) && factors.exponent == 1.0f &&
         factors.saturation == 1.0f && are_all(factors.balance, 1.0f) &&
         factors.correction == Correction::kNone && !factors.linear_contrast &&
         !factors.legacy_gamma;
}

bool mixes_channels(const ToneFactors& factors) {
  return factors.saturation != 1.0f || factors.correction == Correction::kAccurate ||
         factors.correction == Correction::kHue || factors.correction == Correction::kDesaturated;
}

// Floats from 0 up are ordered as their bits are, which is what makes bisection over them possible.
float float_of(std::uint32_t bits) { return std::bit_cast<float>(bits); }
std::uint32_t bits_of(float value) { return std::bit_cast<std::uint32_t>(value); }

// The bits of the smallest float between `low` and 255 that the legacy gamma stores as `byte` or
// more.
std::uint32_t legacy_step(int byte, std::uint32_t low) {
  std::uint32_t high = bits_of(255.0f);
  while (low < high) {
    const std::uint32_t middle = low + (high - low) / 2;
    if (stored_after_legacy_gamma(float_of(middle)) >= byte) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return high;
}

// No mathematics library promises that powf rises everywhere, so each step is looked at from both
// sides. A step of byte 1 or more lies far above the smallest floats.
bool step_is_clean(int byte, std::uint32_t step) {
  for (int i = 1; i <= kCheckedNeighbours; ++i) {
    const auto offset = static_cast<std::uint32_t>(i);
    if (stored_after_legacy_gamma(float_of(step - offset)) >= byte ||
        stored_after_legacy_gamma(float_of(step + offset - 1)) < byte) {
      return false;
    }
  }
  return true;
}

}  // namespace

ToneFactors tone_factors(const PrintOptions& options) {
  return ToneFactors{
      .brightness = 1.0f + thousandths(options.brightness),
      .contrast = 1.0f + thousandths(options.contrast),
      .channel_exponent = {exponent_of(options.cyan_gamma), exponent_of(options.magenta_gamma),
                           exponent_of(options.yellow_gamma)},
      .exponent = exponent_of(options.gamma),
      .saturation = 1.0f + thousandths(options.saturation),
      .balance = {thousandths(options.cyan_balance), thousandths(options.magenta_balance),
                  thousandths(options.yellow_balance)},
      .correction = correction_named(options.color_correction),
      .linear_contrast = options.linear_contrast != 0,
      .legacy_gamma = options.legacy_gamma != 0,
  };
}

void adjust_pixel(const PrintOptions& options, std::uint8_t rgb[3]) {
  run_chain(tone_factors(options), rgb);
}

bool fill_legacy_steps(float steps[256]) {
  steps[0] = 0.0f;
  std::uint32_t previous = 0;
  for (int byte = 1; byte < 256; ++byte) {
    const std::uint32_t step = legacy_step(byte, previous);
    if (step == previous || !step_is_clean(byte, step)) {
      return false;
    }
    steps[byte] = float_of(step);
    previous = step;
  }
  return true;
}

void TonePlan::prepare(const PrintOptions& options) {
  factors_ = tone_factors(options);
  if (changes_nothing(factors_)) {
    road_ = Road::kUntouched;
  } else if (!mixes_channels(factors_)) {
    prepare_byte_tables();
  } else {
    prepare_mix();
  }
}

// A channel that looks at no other is a function of one byte, so gray pixels show all of it.
void TonePlan::prepare_byte_tables() {
  road_ = Road::kTables;
  for (int c = 0; c < 3; ++c) {
    identity_[c] = true;
  }
  for (int byte = 0; byte < 256; ++byte) {
    const auto b = static_cast<std::uint8_t>(byte);
    std::uint8_t rgb[3] = {b, b, b};
    run_chain(factors_, rgb);
    for (int c = 0; c < 3; ++c) {
      byte_table_[c][byte] = rgb[c];
      identity_[c] = identity_[c] && rgb[c] == b;
    }
  }
}

void TonePlan::prepare_mix() {
  for (int c = 0; c < 3; ++c) {
    identity_[c] = true;
    for (int byte = 0; byte < 256; ++byte) {
      mix_table_[c][byte] = before_mixing(factors_, c, static_cast<std::uint8_t>(byte));
      identity_[c] = identity_[c] && mix_table_[c][byte] == static_cast<float>(byte);
    }
  }
  float steps[256];
  const bool steps_hold =
      !factors_.legacy_gamma || (fill_legacy_steps(steps) && legacy_.build(steps));
  road_ = steps_hold ? Road::kMix : Road::kPixelByPixel;
}

void TonePlan::apply(std::uint8_t* plane0, std::uint8_t* plane1, std::uint8_t* plane2,
                     std::size_t width) const {
  std::uint8_t* const planes[3] = {plane0, plane1, plane2};
  switch (road_) {
    case Road::kUntouched:
      return;
    case Road::kTables:
      for (int c = 0; c < 3; ++c) {
        if (!identity_[c]) {
          kernels::chosen_table().look_up(planes[c], byte_table_[c], width);
        }
      }
      return;
    case Road::kMix: {
      const kernels::ToneMix mix{
          .table = {identity_[0] ? nullptr : mix_table_[0], identity_[1] ? nullptr : mix_table_[1],
                    identity_[2] ? nullptr : mix_table_[2]},
          .saturate = factors_.saturation != 1.0f,
          .saturation = factors_.saturation,
          .balance = {factors_.balance[0], factors_.balance[1], factors_.balance[2]},
          .correction = factors_.correction,
          .linear_contrast = factors_.linear_contrast,
          .legacy = factors_.legacy_gamma ? &legacy_ : nullptr,
      };
      kernels::chosen_table().tone_mix(mix, plane0, plane1, plane2, width);
      return;
    }
    case Road::kPixelByPixel:
      for (std::size_t x = 0; x < width; ++x) {
        std::uint8_t rgb[3] = {plane0[x], plane1[x], plane2[x]};
        run_chain(factors_, rgb);
        for (int c = 0; c < 3; ++c) {
          planes[c][x] = rgb[c];
        }
      }
      return;
  }
}
