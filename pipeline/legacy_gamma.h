// The legacy gamma and the conversion to a byte after it: c becomes
// powf(c / 255, 0.45454544) * 255, truncated. One function computes it with powf for one value; the
// others prepare a table, the step function, in which the tone kernels look it up.
#pragma once

#include <cstdint>

#include "pipeline/kernels/kernels.h"

[[nodiscard]] std::uint8_t stored_after_legacy_gamma(float c);

// steps[b] is the smallest value that is stored as b or more; steps[0] is 0. False if powf is not
// monotonic near a step on this machine.
[[nodiscard]] bool fill_legacy_steps(float steps[256]);

// Builds the step function with these steps; steps[0] is not read. False if the steps are not in
// ascending order, are outside the step function's limits, or are so close that two of them share
// the upper half of their bits.
[[nodiscard]] bool build_step_function(const float steps[256],
                                       kernels::StepFunction& step_function);
