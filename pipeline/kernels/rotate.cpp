// Kernels that move bytes: the transpose of a rotated page and the runs of a stretched row.
//
// The reference implementation: plain loops for any CPU, without a branch per pixel where possible,
// so that the compiler can vectorize them.
#include <algorithm>
#include <cstring>

#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

// ---- Rotation by 90 degrees ---------------------------------------------------------------------

// In strips, so that the target's cache lines are still in the cache when their next byte is
// written.
void transpose(std::span<const std::uint8_t* const> rows, std::size_t width, std::uint8_t* target,
               std::ptrdiff_t target_stride) {
  constexpr std::size_t kStrip = 32;
  for (std::size_t begin = 0; begin < width; begin += kStrip) {
    const std::size_t end = std::min(begin + kStrip, width);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      std::uint8_t* to = target + static_cast<std::ptrdiff_t>(begin) * target_stride + i;
      for (std::size_t x = begin; x < end; ++x, to += target_stride) *to = rows[i][x];
    }
  }
}

// ---- Nearest neighbor --------------------------------------------------------------------------

// A copy of fixed size may write too much; the next run overwrites the excess. A copy that would
// write beyond the last run has its exact length.
void copy_runs(std::span<const CopyRun> runs, const std::uint8_t* source, std::uint8_t* target) {
  const std::size_t end = runs.empty() ? 0 : std::size_t{runs.back().to} + runs.back().length;
  for (const CopyRun& run : runs) {
    if (std::size_t{run.to} + CopyRun::kMaxLength <= end) {
      std::memcpy(target + run.to, source + run.from, CopyRun::kMaxLength);
    } else {
      std::memcpy(target + run.to, source + run.from, run.length);
    }
  }
}

}  // namespace

void add_rotate(Table& table) {
  table.transpose = transpose;
  table.copy_runs = copy_runs;
}

}  // namespace kernels
