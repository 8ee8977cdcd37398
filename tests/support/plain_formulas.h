// Every kernel once more, as the formula on one pixel or one byte says it: slow, and short enough
// to be seen to be right. Shares nothing with the kernels.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "pipeline/kernels/kernels.h"
#include "tests/pipeline_kernels/guarded_rows.h"

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

// The chain from the mixing step on. Legacy gamma by powf itself, whenever `mix` has stairs.
Pixel tone_mixed(const kernels::ToneMix& mix, Pixel rgb);

// What powf with the legacy exponent stores for `value`: NaN and negatives 0, infinity 255.
std::uint8_t legacy_stored(float value);

// The smallest value for which legacy_stored gives at least b, for every b, found by bisection.
std::array<float, 256> legacy_steps();

// The same as a kernel wants it.
kernels::Staircase legacy_stairs();

}  // namespace plain
