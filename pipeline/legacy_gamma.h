// The legacy gamma with the store after it: c becomes powf(c / 255, 0.45454544) * 255, truncated
// to a byte. By powf for one value, and as a staircase that the tone kernels look up.
#pragma once

#include <cstdint>

#include "pipeline/kernels/kernels.h"

[[nodiscard]] std::uint8_t stored_after_legacy_gamma(float c);

// steps[b] is the smallest value that is stored as b or more; steps[0] is 0. False when this
// machine's powf does not rise cleanly there.
[[nodiscard]] bool fill_legacy_steps(float steps[256]);

// Lays the staircase with these steps, of which the first is not read. False when they do not rise,
// are beyond the staircase's limits or so close that two of them share the upper half of their
// bits.
[[nodiscard]] bool build_staircase(const float steps[256], kernels::Staircase& staircase);
