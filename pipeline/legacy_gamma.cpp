#include "pipeline/legacy_gamma.h"

#include <algorithm>
#include <bit>

#include "pipeline/kernels/tone_rules.h"

namespace {

// How many floats on either side of each step are compared with powf.
constexpr int kCheckedNeighbors = 4;

// Non-negative floats have the same order as their bits, which makes bisection possible.
float float_of(std::uint32_t bits) { return std::bit_cast<float>(bits); }
std::uint32_t bits_of(float value) { return std::bit_cast<std::uint32_t>(value); }

// The bits of the smallest float between `low` and 255 that the legacy gamma stores as `byte` or
// more.
std::uint32_t legacy_step(int byte, std::uint32_t low) {
  std::uint32_t high = bits_of(kernels::tone::kWhite);
  while (low < high) {
    const std::uint32_t middle = low + (high - low) / 2;
    if (stored_after_legacy_gamma(float_of(middle)) >= byte) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return high;
}

// No math library guarantees that powf is monotonic, so each step is checked from both sides.
// Every step is far above the smallest floats, so `step - offset` cannot wrap.
bool is_monotonic_at(int byte, std::uint32_t step) {
  for (int i = 1; i <= kCheckedNeighbors; ++i) {
    const auto offset = static_cast<std::uint32_t>(i);
    if (stored_after_legacy_gamma(float_of(step - offset)) >= byte ||
        stored_after_legacy_gamma(float_of(step + offset - 1)) < byte) {
      return false;
    }
  }
  return true;
}

}  // namespace

std::uint8_t stored_after_legacy_gamma(float c) {
  return kernels::tone::stored(kernels::tone::raised(c, kernels::tone::kLegacyExponent));
}

bool fill_legacy_steps(float steps[256]) {
  steps[0] = 0.0F;
  std::uint32_t previous = 0;
  for (int byte = 1; byte < 256; ++byte) {
    const std::uint32_t step = legacy_step(byte, previous);
    if (step == previous || !is_monotonic_at(byte, step)) {
      return false;
    }
    steps[byte] = float_of(step);
    previous = step;
  }
  return true;
}

bool build_step_function(const float steps[256], kernels::StepFunction& step_function) {
  using kernels::StepFunction;
  if (!std::is_sorted(steps + 1, steps + 256) || steps[1] < StepFunction::kLowest ||
      steps[255] > StepFunction::kHighest) {
    return false;
  }
  constexpr std::uint32_t kHalf = 1U << 16U;
  const std::uint32_t first = bits_of(StepFunction::kLowest) / kHalf;
  std::uint32_t byte = 0;
  for (std::uint32_t i = 0; i < StepFunction::kEntries; ++i) {
    const std::uint32_t begin = (first + i) * kHalf;
    const auto is_step_before = [&](std::uint32_t end) {
      return byte < 255 && bits_of(steps[byte + 1]) < end;
    };
    step_function.entry[i] = byte * kHalf;
    if (is_step_before(begin + kHalf)) {
      ++byte;
      step_function.entry[i] += kHalf - (bits_of(steps[byte]) - begin);
    }
    if (is_step_before(begin + kHalf)) {
      return false;
    }
  }
  return true;
}
