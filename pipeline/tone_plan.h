// The tone settings worked out once per page: what is left to do per pixel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "pipeline/kernels/kernels.h"

struct PrintOptions;

class TonePlan {
 public:
  // Works the settings out. With neutral settings nothing is allocated and rows pass untouched; while
  // no step mixes channels the whole chain is one table of 256 bytes a channel, filled by the plain
  // chain itself; otherwise tables up to the mixing step and kernels::ToneMix for the rest.
  void prepare(const PrintOptions& options);

  // Three plane rows of `width` bytes, in place.
  void apply(std::uint8_t* plane0, std::uint8_t* plane1, std::uint8_t* plane2,
             std::size_t width) const;

 private:
  // What is needed is the concern of tone_plan.cpp.
};

// The plain chain: one pixel, every step in its order, in single precision. The measure of every other
// form.
void adjust_pixel(const PrintOptions& options, std::uint8_t rgb[3]);
