#include "tests/support/plain_formulas.h"

#include <cmath>

namespace plain {
namespace {

std::uint8_t luminance(Pixel rgb) {
  const float red_part = static_cast<float>(rgb[0]) * 0.299F;
  const float green_part = static_cast<float>(rgb[1]) * 0.587F;
  const float blue_part = static_cast<float>(rgb[2]) * 0.114F;
  const float sum = (red_part + green_part) + blue_part;
  return sum > 255.0F ? 255 : static_cast<std::uint8_t>(sum);
}

std::uint8_t to_byte(float value) {
  if (std::isnan(value) || value < 0.0F) return 0;
  return value > 255.0F ? 255 : static_cast<std::uint8_t>(value);
}

float with_exponent(float c, float exponent) {
  const float base = c / 255.0F;
  return powf(base, exponent) * 255.0F;
}

float thousandths(int value) { return static_cast<float>(value) / 1000.0F; }

float exponent_of(int gamma) { return 1.0F / thousandths(gamma); }

void scale_from_mean(std::array<float, 3>& c, float factor) {
  const float mean = ((c[0] + c[1]) + c[2]) * 0.333333F;
  for (float& value : c) {
    const float scaled = (value - mean) * factor;
    value = scaled + mean;
  }
}

Correction correction_named(const std::string& name) {
  if (name == "Bright") return Correction::kBright;
  if (name == "Accurate") return Correction::kAccurate;
  if (name == "Hue") return Correction::kHue;
  return name == "Desaturated" ? Correction::kDesaturated : Correction::kNone;
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

Pixel mixed(std::array<float, 3> c, const Mix& mix) {
  if (mix.saturate) scale_from_mean(c, mix.saturation);
  for (std::size_t i = 0; i < 3; ++i) c[i] = c[i] * mix.balance[i];
  if (mix.correction == Correction::kBright) {
    for (float& value : c) value = value * 1.1F;
  } else if (mix.correction == Correction::kAccurate) {
    scale_from_mean(c, 0.95F);
  } else if (mix.correction == Correction::kHue) {
    const float red = c[0];
    const float blue = c[2];
    c[0] = 0.95F * red + 0.05F * blue;
    c[2] = 0.95F * blue + 0.05F * red;
  } else if (mix.correction == Correction::kDesaturated) {
    scale_from_mean(c, 0.7F);
  }
  if (mix.linear_contrast) {
    for (float& value : c) value = (value - 128.0F) * 1.2F + 128.0F;
  }
  Pixel result;
  for (std::size_t i = 0; i < 3; ++i) {
    result[i] = mix.legacy_gamma ? legacy_gamma_byte(c[i]) : to_byte(c[i]);
  }
  return result;
}

std::uint8_t legacy_gamma_byte(float value) { return to_byte(with_exponent(value, 0.45454544F)); }

ToneChain::ToneChain(const ToneSettings& s)
    : brightness_(1.0F + thousandths(s.brightness)),
      contrast_(1.0F + thousandths(s.contrast)),
      exponent_(exponent_of(s.gamma)) {
  for (int i = 0; i < 3; ++i) {
    channel_exponent_[i] = exponent_of(s.channel_gamma[i]);
    mix_.balance[i] = thousandths(s.balance[i]);
  }
  mix_.saturation = 1.0F + thousandths(s.saturation);
  mix_.saturate = mix_.saturation != 1.0F;
  mix_.correction = correction_named(s.correction);
  mix_.linear_contrast = s.linear_contrast;
  mix_.legacy_gamma = s.legacy_gamma;
}

Pixel ToneChain::operator()(Pixel rgb) const {
  std::array<float, 3> c;
  for (std::size_t i = 0; i < 3; ++i) {
    c[i] = (static_cast<float>(rgb[i]) * brightness_ - 128.0F) * contrast_ + 128.0F;
    if (channel_exponent_[i] != 1.0F) c[i] = with_exponent(c[i], channel_exponent_[i]);
    if (exponent_ != 1.0F) c[i] = with_exponent(c[i], exponent_);
  }
  return mixed(c, mix_);
}

}  // namespace plain
