#include <algorithm>
#include <bit>

#include "pipeline/kernels/kernels.h"

namespace kernels {

bool Staircase::build(const float* step) {
  if (!std::is_sorted(step + 1, step + 256) || step[1] < kLowest || step[255] > kHighest) {
    return false;
  }
  constexpr std::uint32_t kHalf = 1U << 16U;
  const std::uint32_t first = std::bit_cast<std::uint32_t>(kLowest) / kHalf;
  std::uint32_t byte = 0;
  for (std::uint32_t i = 0; i < kEntries; ++i) {
    const std::uint32_t begin = (first + i) * kHalf;
    const auto steps_before = [&](std::uint32_t end) {
      return byte < 255 && std::bit_cast<std::uint32_t>(step[byte + 1]) < end;
    };
    entry[i] = byte * kHalf;
    if (steps_before(begin + kHalf)) {
      ++byte;
      entry[i] += kHalf - (std::bit_cast<std::uint32_t>(step[byte]) - begin);
    }
    if (steps_before(begin + kHalf)) {
      return false;
    }
  }
  return true;
}

}  // namespace kernels
