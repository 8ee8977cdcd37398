// The tone settings, prepared once per page so that little work is left for each pixel.
//
// One fixed chain of steps (brightness and contrast, gammas, saturation, balance, correction,
// linear contrast, legacy gamma) is applied to every pixel in single precision. TonePlan
// computes the same bytes with as little work as the settings allow.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pipeline/kernels/kernels.h"

struct PrintOptions;

// The settings as the factors and exponents that the steps use.
struct ToneFactors {
  float brightness;           // kB in docs/numerics.md
  float contrast;             // kC in docs/numerics.md
  float channel_exponent[3];  // 1.0F: the step is left out
  float exponent;             // 1.0F: the step is left out
  kernels::ToneMix mix;       // without its tables and its step function
  bool legacy_gamma;
};

class TonePlan {
 public:
  // Evaluates the settings. Allocates nothing and cannot fail; may be called again for the next
  // page.
  void prepare(const PrintOptions& options);

  // Three plane rows of `width` bytes, in place. Neutral settings do not change or even read them.
  void apply(std::uint8_t* plane0, std::uint8_t* plane1, std::uint8_t* plane2,
             std::size_t width) const;

 private:
  enum class Method {
    kUntouched,     // neutral settings
    kTables,        // no step mixes channels: one table of bytes per channel
    kMix,           // tables up to the mixing step, the rest by the kernel
    kPixelByPixel,  // powf is not monotonic: the plain chain itself
  };

  void prepare_byte_tables();
  void prepare_mix();

  Method method_ = Method::kUntouched;
  ToneFactors factors_ = {};
  bool identity_[3] = {};  // this channel's table changes nothing
  std::uint8_t byte_table_[3][256] = {};
  float mix_table_[3][256] = {};       // kMix
  kernels::StepFunction legacy_ = {};  // kMix with legacy gamma
};
