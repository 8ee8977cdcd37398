// The bilinear resize, and the merging of two interlaced rows into one.
//
// The reference implementation: plain loops for any CPU, without a branch per pixel where possible,
// so that the compiler can vectorize them.
#include <algorithm>

#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

// ---- Resize -------------------------------------------------------------------------------------

void resize_across(const ResizeColumns& columns, const std::uint8_t* row, float* estimate) {
  constexpr std::size_t kPixels = ResizeLine::kBlockPixels;
  for (std::size_t x = 0; x + kPixels <= columns.width; x += kPixels) {
    for (std::size_t i = 0; i < kPixels; ++i) {
      const std::uint8_t* left = row + columns.left[x + i];
      for (std::size_t c = 0; c < 3; ++c) {
        const auto step = static_cast<float>(left[c + 3] - left[c]);
        estimate[c * kPixels + i] =
            static_cast<float>(left[c]) + step * columns.float_fraction[x + i];
      }
    }
    estimate += ResizeLine::kBlockFloats;
  }
}

// One block of bytes between two blocks of estimates, channel after channel. False if, within the
// error of the estimates, one of them could be the next byte.
bool blend(const float* top, const float* bottom, float fraction,
           std::uint8_t (&bytes)[ResizeLine::kBlockFloats]) {
  int unsure = 0;
  for (std::size_t i = 0; i < ResizeLine::kBlockFloats; ++i) {
    const float value = top[i] + (bottom[i] - top[i]) * fraction;
    const auto lowest = static_cast<int>(value + (0.5F - kEstimateError));
    const auto highest = static_cast<int>(value + (0.5F + kEstimateError));
    unsure |= lowest ^ highest;
    bytes[i] = static_cast<std::uint8_t>(lowest);
  }
  return unsure == 0;
}

void resize_down(const ResizeColumns& columns, double fraction, const ResizeLine& top,
                 const ResizeLine& bottom, std::uint8_t* row) {
  constexpr std::size_t kPixels = ResizeLine::kBlockPixels;
  const auto float_fraction = static_cast<float>(fraction);
  std::size_t x = 0;
  for (; x + kPixels <= columns.width; x += kPixels) {
    const std::size_t at = x / kPixels * ResizeLine::kBlockFloats;
    std::uint8_t bytes[ResizeLine::kBlockFloats];
    if (blend(top.estimate + at, bottom.estimate + at, float_fraction, bytes)) {
      for (std::size_t i = 0; i < kPixels; ++i) {
        for (std::size_t c = 0; c < 3; ++c) row[3 * (x + i) + c] = bytes[c * kPixels + i];
      }
    } else {
      resize_exactly(columns.from(x, kPixels), fraction, top.row, bottom.row, row + 3 * x);
    }
  }
  resize_exactly(columns.from(x, columns.width - x), fraction, top.row, bottom.row, row + 3 * x);
}

void sixteenths_across(const SixteenthColumns& columns, const std::uint8_t* row,
                       std::uint16_t* sum) {
  for (std::size_t x = 0; x < columns.width; ++x) {
    const std::uint8_t* left = row + columns.left[x];
    const Sixteenths share = columns.share[x];
    for (std::size_t c = 0; c < 3; ++c) {
      sum[3 * x + c] = static_cast<std::uint16_t>(left[c] * share.left + left[c + 3] * share.right);
    }
  }
}

void sixteenths_down(const std::uint16_t* top, const std::uint16_t* bottom,
                     std::uint16_t bottom_share, std::uint8_t* row, std::size_t width) {
  const auto top_share = static_cast<std::uint16_t>(16 - bottom_share);
  for (std::size_t i = 0; i < width * 3; ++i) {
    const auto sum = static_cast<std::uint16_t>(top[i] * top_share + bottom[i] * bottom_share);
    row[i] = static_cast<std::uint8_t>(static_cast<std::uint16_t>(sum + 128) >> 8U);
  }
}

// ---- Deinterlace --------------------------------------------------------------------------------

// 13108 / 65536 is a little more than one fifth. Only the product needs more than 16 bits, so the
// compiler can use the instruction that returns its upper half.
void deinterlace(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* row,
                 std::size_t width) {
  for (std::size_t i = 0; i < width * 3; ++i) {
    const auto sum = static_cast<std::uint16_t>(3 * upper[i] + 2 * lower[i]);
    row[i] = static_cast<std::uint8_t>((static_cast<std::uint32_t>(sum) * 13108U) >> 16U);
  }
}

// Added before truncation to round a value that is never negative.
constexpr double kHalf = 0.5;

}  // namespace

void resize_exactly(const ResizeColumns& columns, double fraction, const std::uint8_t* top,
                    const std::uint8_t* bottom, std::uint8_t* row) {
  const double fy = fraction;
  for (std::size_t x = 0; x < columns.width; ++x) {
    const double fx = columns.fraction[x];
    const double w00 = (1.0 - fy) * (1.0 - fx);
    const double w01 = (1.0 - fy) * fx;
    const double w10 = fy * (1.0 - fx);
    const double w11 = fy * fx;
    const std::size_t left = columns.left[x];
    const std::size_t right = std::min(columns.left[x] + 3, columns.last);
    for (std::size_t c = 0; c < 3; ++c) {
      const double sum = bottom[right + c] * w11 +
                         (bottom[left + c] * w10 + (top[left + c] * w00 + top[right + c] * w01));
      row[3 * x + c] = static_cast<std::uint8_t>(sum + kHalf);
    }
  }
}

void add_resize(Table& table) {
  table.resize_across = resize_across;
  table.resize_down = resize_down;
  table.sixteenths_across = sixteenths_across;
  table.sixteenths_down = sixteenths_down;
  table.deinterlace = deinterlace;
}

}  // namespace kernels
