#include "pipeline/tone_plan.h"

#include <cstring>

#include "pipeline/kernels/tone_rules.h"
#include "pipeline/legacy_gamma.h"
#include "settings/print_options.h"

namespace {

using kernels::Correction;
using kernels::ToneMix;

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

float thousandths(std::int32_t value) { return static_cast<float>(value) / 1000.0F; }

// A gamma of 0 or below gives an infinite or negative exponent; powf accepts both.
float exponent_of(std::int32_t gamma) { return 1.0F / thousandths(gamma); }

ToneFactors tone_factors(const PrintOptions& options) {
  const float saturation = 1.0F + thousandths(options.saturation);
  return ToneFactors{
      .brightness = 1.0F + thousandths(options.brightness),
      .contrast = 1.0F + thousandths(options.contrast),
      .channel_exponent = {exponent_of(options.cyan_gamma), exponent_of(options.magenta_gamma),
                           exponent_of(options.yellow_gamma)},
      .exponent = exponent_of(options.gamma),
      .mix = {.table = {},
              .saturate = saturation != 1.0F,
              .saturation = saturation,
              .balance = {thousandths(options.cyan_balance), thousandths(options.magenta_balance),
                          thousandths(options.yellow_balance)},
              .correction = correction_named(options.color_correction),
              .linear_contrast = options.linear_contrast != 0,
              .legacy = nullptr},
      .legacy_gamma = options.legacy_gamma != 0,
  };
}

// The steps that act on each channel separately.
float before_mixing(const ToneFactors& factors, int channel, std::uint8_t byte) {
  using kernels::tone::kMiddle;
  float c = static_cast<float>(byte);
  c = (c * factors.brightness - kMiddle) * factors.contrast + kMiddle;
  if (factors.channel_exponent[channel] != 1.0F) {
    c = kernels::tone::raised(c, factors.channel_exponent[channel]);
  }
  if (factors.exponent != 1.0F) {
    c = kernels::tone::raised(c, factors.exponent);
  }
  return c;
}

// The plain chain: one pixel, every step in its order.
void run_chain(const ToneFactors& factors, std::uint8_t rgb[3]) {
  const auto [r, g, b] =
      kernels::tone::mixed({before_mixing(factors, 0, rgb[0]), before_mixing(factors, 1, rgb[1]),
                            before_mixing(factors, 2, rgb[2])},
                           factors.mix);
  const auto store = factors.legacy_gamma ? stored_after_legacy_gamma : kernels::tone::stored;
  rgb[0] = store(r);
  rgb[1] = store(g);
  rgb[2] = store(b);
}

bool are_all(const float values[3], float wanted) {
  return values[0] == wanted && values[1] == wanted && values[2] == wanted;
}

bool changes_nothing(const ToneFactors& factors) {
  return factors.brightness == 1.0F && factors.contrast == 1.0F &&
         are_all(factors.channel_exponent, 1.0F) && factors.exponent == 1.0F &&
         !factors.mix.saturate && are_all(factors.mix.balance, 1.0F) &&
         factors.mix.correction == Correction::kNone && !factors.mix.linear_contrast &&
         !factors.legacy_gamma;
}

bool mixes_channels(const ToneMix& mix) {
  return mix.saturate || mix.correction == Correction::kAccurate ||
         mix.correction == Correction::kHue || mix.correction == Correction::kDesaturated;
}

}  // namespace

void TonePlan::prepare(const PrintOptions& options) {
  factors_ = tone_factors(options);
  if (changes_nothing(factors_)) {
    method_ = Method::kUntouched;
  } else if (!mixes_channels(factors_.mix)) {
    prepare_byte_tables();
  } else {
    prepare_mix();
  }
}

// No step mixes channels, so the result for a channel depends on its own byte only: the 256 gray
// pixels give the tables of all three channels.
void TonePlan::prepare_byte_tables() {
  method_ = Method::kTables;
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
  const bool has_step_function =
      !factors_.legacy_gamma || (fill_legacy_steps(steps) && build_step_function(steps, legacy_));
  method_ = has_step_function ? Method::kMix : Method::kPixelByPixel;
}

void TonePlan::apply(std::uint8_t* plane0, std::uint8_t* plane1, std::uint8_t* plane2,
                     std::size_t width) const {
  std::uint8_t* const planes[3] = {plane0, plane1, plane2};
  switch (method_) {
    case Method::kUntouched:
      return;
    case Method::kTables:
      for (int c = 0; c < 3; ++c) {
        if (!identity_[c]) {
          kernels::chosen_table().look_up(planes[c], byte_table_[c], width);
        }
      }
      return;
    case Method::kMix: {
      ToneMix mix = factors_.mix;
      for (int c = 0; c < 3; ++c) {
        mix.table[c] = identity_[c] ? nullptr : mix_table_[c];
      }
      mix.legacy = factors_.legacy_gamma ? &legacy_ : nullptr;
      kernels::chosen_table().tone_mix(mix, plane0, plane1, plane2, width);
      return;
    }
    case Method::kPixelByPixel:
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
