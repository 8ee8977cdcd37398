// The arithmetic of the pixels, one pixel or one byte at a time: slow, and short enough to be
// checked by reading. It shares no code and no type with the product; the reference and the tests
// of kernels and tone plans use it.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace plain {

using Pixel = std::array<std::uint8_t, 3>;

Pixel rgb16(const std::uint8_t* sample);
Pixel four_inverted(const std::uint8_t* inks);
Pixel four_with_black(const std::uint8_t* inks);
Pixel gray(Pixel rgb);
Pixel black(Pixel rgb);
Pixel inverted(Pixel rgb);
Pixel kcmy(Pixel rgb);
std::uint8_t deinterlaced(std::uint8_t upper, std::uint8_t lower);

// One byte of a resized row: the four neighbors, fy and fx.
std::uint8_t resized(std::uint8_t s00, std::uint8_t s01, std::uint8_t s10, std::uint8_t s11,
                     double fy, double fx);

enum class Correction { kNone, kBright, kAccurate, kHue, kDesaturated };

// The tone chain from the mixing step to the end.
struct Mix {
  bool saturate = false;
  float saturation = 1.0F;
  float balance[3] = {1.0F, 1.0F, 1.0F};
  Correction correction = Correction::kNone;
  bool linear_contrast = false;
  bool legacy_gamma = false;
};
Pixel mixed(std::array<float, 3> c, const Mix& mix);

// The byte that the legacy gamma stores for `value`: NaN and negatives 0, infinity 255.
std::uint8_t legacy_gamma_byte(float value);

// The settings of a tone chain, in thousandths as users give them; gammas and balances by plane.
struct ToneSettings {
  int brightness = 0;
  int contrast = 0;
  int saturation = 0;
  int gamma = 1000;
  int channel_gamma[3] = {1000, 1000, 1000};
  int balance[3] = {1000, 1000, 1000};
  std::string correction = "None";
  bool linear_contrast = false;
  bool legacy_gamma = false;
};

// The whole chain. Single precision throughout, nothing is clamped before the end.
class ToneChain {
 public:
  explicit ToneChain(const ToneSettings& settings);
  [[nodiscard]] Pixel operator()(Pixel rgb) const;

 private:
  float brightness_;
  float contrast_;
  float exponent_;
  float channel_exponent_[3];
  Mix mix_;
};

// The chain of a settings record: the program's or the reference's, which name these fields alike.
template <typename Settings>
ToneChain tone_chain_of(const Settings& s) {
  return ToneChain({.brightness = s.brightness,
                    .contrast = s.contrast,
                    .saturation = s.saturation,
                    .gamma = s.gamma,
                    .channel_gamma = {s.cyan_gamma, s.magenta_gamma, s.yellow_gamma},
                    .balance = {s.cyan_balance, s.magenta_balance, s.yellow_balance},
                    .correction = s.color_correction,
                    .linear_contrast = s.linear_contrast != 0,
                    .legacy_gamma = s.legacy_gamma != 0});
}

}  // namespace plain
