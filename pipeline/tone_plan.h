// The tone settings worked out once per page: what is left to do per pixel.
//
// One fixed chain of steps (brightness and contrast, gammas, saturation, balance, correction,
// linear contrast, legacy gamma) runs over every pixel in single precision. adjust_pixel is that
// chain, step by step; TonePlan gives the same bytes with as little work as the settings allow.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pipeline/kernels/kernels.h"

struct PrintOptions;

// The settings as the factors and exponents that the steps use.
struct ToneFactors {
  float brightness;           // kB
  float contrast;             // kC
  float channel_exponent[3];  // 1.0f: the step is left out
  float exponent;             // 1.0f: the step is left out
  float saturation;           // kS; 1.0f: the step is left out
  float balance[3];
  kernels::Correction correction;
  bool linear_contrast;
  bool legacy_gamma;
};

[[nodiscard]] ToneFactors tone_factors(const PrintOptions& options);

class TonePlan {
 public:
  // Works the settings out. Allocates nothing and cannot fail; may be called again for the next
  // page.
  void prepare(const PrintOptions& options);

  // Three plane rows of `width` bytes, in place. Neutral settings leave them untouched at no cost.
  void apply(std::uint8_t* plane0, std::uint8_t* plane1, std::uint8_t* plane2,
             std::size_t width) const;

 private:
  enum class Road {
    kUntouched,     // neutral settings
    kTables,        // no step mixes channels: one table of bytes a channel
    kMix,           // tables up to the mixing step, the rest by the kernel
    kPixelByPixel,  // a powf that has no clean steps: the plain chain itself
  };

  void prepare_byte_tables();
  void prepare_mix();

  Road road_ = Road::kUntouched;
  ToneFactors factors_ = {};
  bool identity_[3] = {};  // this channel's table changes nothing
  std::uint8_t byte_table_[3][256] = {};
  float mix_table_[3][256] = {};    // kMix
  kernels::Staircase legacy_ = {};  // kMix with legacy gamma
};

// The plain chain: one pixel, every step in its order, in single precision. The measure of every
// other form.
void adjust_pixel(const PrintOptions& options, std::uint8_t rgb[3]);

// The steps of the legacy gamma and the store, as kernels::Staircase wants them: steps[b] is the
// smallest value that is stored as b or more. False when this machine's powf does not rise cleanly
// there.
[[nodiscard]] bool fill_legacy_steps(float steps[256]);
