#include "tests/pipeline_kernels/plain_formulas.h"

#include <bit>
#include <cmath>

#include "pipeline/legacy_gamma.h"

namespace plain {
namespace {

std::uint8_t luminance(Pixel rgb) {
  const float red_part = static_cast<float>(rgb[0]) * 0.299F;
  const float green_part = static_cast<float>(rgb[1]) * 0.587F;
  const float blue_part = static_cast<float>(rgb[2]) * 0.114F;
  const float sum = (red_part + green_part) + blue_part;
  return sum > 255.0F ? 255 : static_cast<std::uint8_t>(sum);
}

std::uint8_t stored(float value) {
  if (std::isnan(value) || value < 0.0F) return 0;
  return value > 255.0F ? 255 : static_cast<std::uint8_t>(value);
}

void spread(float (&c)[3], float factor) {
  const float mean = ((c[0] + c[1]) + c[2]) * 0.333333F;
  for (float& value : c) value = (value - mean) * factor + mean;
}

}  // namespace

Pixel rgb16(const std::uint8_t* sample) { return {sample[1], sample[3], sample[5]}; }

Pixel four_inverted(const std::uint8_t* inks) { return inverted({inks[0], inks[1], inks[2]}); }

Pixel four_with_black(const std::uint8_t* inks) {
  const auto one = [k = inks[3]](std::uint8_t c) {
    const float light = (1.0F - static_cast<float>(c) / 255.0F) * 255.0F;
    return static_cast<std::uint8_t>(light * (1.0F - static_cast<float>(k) / 255.0F));
  };
  return {one(inks[0]), one(inks[1]), one(inks[2])};
}

Pixel gray(Pixel rgb) {
  const std::uint8_t light = luminance(rgb);
  return {light, light, light};
}

Pixel black(Pixel rgb) { return inverted(gray(rgb)); }

Pixel inverted(Pixel rgb) {
  for (std::uint8_t& byte : rgb) byte = static_cast<std::uint8_t>(255 - byte);
  return rgb;
}

Pixel kcmy(Pixel rgb) { return {rgb[1], rgb[2], static_cast<std::uint8_t>(255 - rgb[0])}; }

std::uint8_t deinterlaced(std::uint8_t upper, std::uint8_t lower) {
  const std::uint32_t weighted = std::uint32_t{3} * upper + std::uint32_t{2} * lower;
  return static_cast<std::uint8_t>((weighted * 13108U) >> 16U);
}

std::uint8_t resized(std::uint8_t s00, std::uint8_t s01, std::uint8_t s10, std::uint8_t s11,
                     double fy, double fx) {
  const double w00 = (1.0 - fy) * (1.0 - fx);
  const double w01 = (1.0 - fy) * fx;
  const double w10 = fy * (1.0 - fx);
  const double w11 = fy * fx;
  const double upper = s00 * w00 + s01 * w01;
  const double rounding = 0.5;
  return static_cast<std::uint8_t>(s11 * w11 + (s10 * w10 + upper) + rounding);
}

Pixel tone_mixed(const kernels::ToneMix& mix, Pixel rgb) {
  float c[3];
  for (int i = 0; i < 3; ++i) c[i] = mix.table[i] != nullptr ? mix.table[i][rgb[i]] : rgb[i];
  if (mix.saturate) spread(c, mix.saturation);
  for (int i = 0; i < 3; ++i) c[i] = c[i] * mix.balance[i];
  if (mix.correction == kernels::Correction::kBright) {
    for (float& value : c) value = value * 1.1F;
  } else if (mix.correction == kernels::Correction::kAccurate) {
    spread(c, 0.95F);
  } else if (mix.correction == kernels::Correction::kHue) {
    const float red = c[0];
    const float blue = c[2];
    c[0] = 0.95F * red + 0.05F * blue;
    c[2] = 0.95F * blue + 0.05F * red;
  } else if (mix.correction == kernels::Correction::kDesaturated) {
    spread(c, 0.7F);
  }
  if (mix.linear_contrast) {
    for (float& value : c) value = (value - 128.0F) * 1.2F + 128.0F;
  }
  Pixel result;
  for (int i = 0; i < 3; ++i) {
    result[i] = mix.legacy != nullptr ? legacy_stored(c[i]) : stored(c[i]);
  }
  return result;
}

std::uint8_t legacy_stored(float value) {
  return stored(std::pow(value / 255.0F, 0.45454544F) * 255.0F);
}

std::array<float, 256> legacy_steps() {
  std::array<float, 256> steps{};
  for (unsigned b = 1; b < 256; ++b) {
    // Positive floats are ordered like their bits; 0 gives byte 0 and 256 gives byte 255.
    std::uint32_t below = 0;
    auto reached = std::bit_cast<std::uint32_t>(256.0F);
    while (reached - below > 1) {
      const std::uint32_t middle = below + (reached - below) / 2;
      (legacy_stored(std::bit_cast<float>(middle)) >= b ? reached : below) = middle;
    }
    steps[b] = std::bit_cast<float>(reached);
  }
  return steps;
}

kernels::Staircase legacy_stairs() {
  kernels::Staircase stairs = {};
  EXPECT_TRUE(build_staircase(legacy_steps().data(), stairs));
  return stairs;
}

}  // namespace plain
