// The rules of the tone chain in single precision: its constants, and its steps on one pixel. The
// chain of the tone plan, the portable kernel and the vector kernels share them.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "pipeline/kernels/kernels.h"

namespace kernels::tone {

inline constexpr float kWhite = 255.0F;
inline constexpr float kMiddle = 128.0F;  // the fixed point of contrast

// Deliberate: not 1/3; a gray pixel may lose one step.
inline constexpr float kMeanFactor = 0.333333F;

inline constexpr float kBrightGain = 1.1F;
inline constexpr float kAccurateSpread = 0.95F;
inline constexpr float kDesaturatedSpread = 0.7F;
inline constexpr float kHueOwn = 0.95F;
inline constexpr float kHueOther = 0.05F;
inline constexpr float kLinearContrast = 1.2F;
inline constexpr float kLegacyExponent = 0.45454544F;

struct Rgb {
  float r, g, b;
};

// A gamma step.
inline float raised(float c, float exponent) { return std::pow(c / kWhite, exponent) * kWhite; }

inline float spread(float c, float around, float factor) { return (c - around) * factor + around; }

inline Rgb spread_from_mean(const Rgb& pixel, float factor) {
  const float mean = ((pixel.r + pixel.g) + pixel.b) * kMeanFactor;
  return {spread(pixel.r, mean, factor), spread(pixel.g, mean, factor),
          spread(pixel.b, mean, factor)};
}

inline Rgb corrected(const Rgb& pixel, Correction correction) {
  switch (correction) {
    case Correction::kNone:
      break;
    case Correction::kBright:
      return {pixel.r * kBrightGain, pixel.g * kBrightGain, pixel.b * kBrightGain};
    case Correction::kAccurate:
      return spread_from_mean(pixel, kAccurateSpread);
    case Correction::kHue:  // Deliberate: green is unchanged.
      return {kHueOwn * pixel.r + kHueOther * pixel.b, pixel.g,
              kHueOwn * pixel.b + kHueOther * pixel.r};
    case Correction::kDesaturated:
      return spread_from_mean(pixel, kDesaturatedSpread);
  }
  return pixel;
}

// Saturation, balance, correction and linear contrast, in this order.
inline Rgb mixed(Rgb pixel, const ToneMix& mix) {
  if (mix.saturate) pixel = spread_from_mean(pixel, mix.saturation);
  pixel = {pixel.r * mix.balance[0], pixel.g * mix.balance[1], pixel.b * mix.balance[2]};
  pixel = corrected(pixel, mix.correction);
  if (mix.linear_contrast) {
    pixel = {spread(pixel.r, kMiddle, kLinearContrast), spread(pixel.g, kMiddle, kLinearContrast),
             spread(pixel.b, kMiddle, kLinearContrast)};
  }
  return pixel;
}

// Truncates. Compares before it converts: NaN gives 0, and every value fits the integer type.
inline std::uint8_t stored(float c) {
  return c > 0.0F ? static_cast<std::uint8_t>(std::min(c, kWhite)) : std::uint8_t{0};
}

}  // namespace kernels::tone
