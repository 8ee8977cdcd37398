// The bilinear resize. For 64-bit ARM.
#include <arm_neon.h>

#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

// Eight pixels and their right neighbors, channel by channel: two channels per vector.
struct EightPairs {
  uint8x16_t left_rg, left_b_right_r, right_gb;
};

// Loads eight bytes for each of eight pixels; the first six are the pixel and its right neighbor.
// Transposes them in three rounds, which interleave pixel i with pixel i + 4, i + 2 and i + 1.
EightPairs load_eight_pairs(const std::uint8_t* row, const std::uint32_t* left) {
  const auto pair = [row, left](std::size_t i) {
    return vcombine_u8(vld1_u8(row + left[i]), vdup_n_u8(0));
  };
  const uint8x16_t by_four[4] = {vzip1q_u8(pair(0), pair(4)), vzip1q_u8(pair(1), pair(5)),
                                 vzip1q_u8(pair(2), pair(6)), vzip1q_u8(pair(3), pair(7))};
  const uint8x16_t even = vzip1q_u8(by_four[0], by_four[2]);
  const uint8x16_t odd = vzip1q_u8(by_four[1], by_four[3]);
  const uint8x16_t even_end = vzip2q_u8(by_four[0], by_four[2]);
  const uint8x16_t odd_end = vzip2q_u8(by_four[1], by_four[3]);
  return {vzip1q_u8(even, odd), vzip2q_u8(even, odd), vzip1q_u8(even_end, odd_end)};
}

float32x4_t interpolate(uint16x4_t left, int16x4_t step, float32x4_t fraction) {
  const float32x4_t offset = vmulq_f32(vcvtq_f32_s32(vmovl_s16(step)), fraction);
  return vaddq_f32(vcvtq_f32_u32(vmovl_u16(left)), offset);
}

// One channel of eight pixels.
void estimate_channel(uint8x8_t left, uint8x8_t right, const float32x4x2_t& fraction,
                      float* estimate) {
  const uint16x8_t wide = vmovl_u8(left);
  const int16x8_t step = vreinterpretq_s16_u16(vsubl_u8(right, left));
  vst1q_f32(estimate, interpolate(vget_low_u16(wide), vget_low_s16(step), fraction.val[0]));
  vst1q_f32(estimate + 4, interpolate(vget_high_u16(wide), vget_high_s16(step), fraction.val[1]));
}

void resize_across(const ResizeColumns& columns, const std::uint8_t* row, float* estimate) {
  constexpr std::size_t kPixels = ResizeLine::kBlockPixels;
  // Local copies: for the compiler, a store of floats could change the members of `columns`.
  const std::uint32_t* const left = columns.left;
  const float* const float_fraction = columns.float_fraction;
  const std::size_t width = columns.width;
  for (std::size_t x = 0; x + kPixels <= width; x += kPixels) {
    const EightPairs pairs = load_eight_pairs(row, left + x);
    const float32x4x2_t fraction = {
        {vld1q_f32(float_fraction + x), vld1q_f32(float_fraction + x + 4)}};
    estimate_channel(vget_low_u8(pairs.left_rg), vget_high_u8(pairs.left_b_right_r), fraction,
                     estimate);
    estimate_channel(vget_high_u8(pairs.left_rg), vget_low_u8(pairs.right_gb), fraction,
                     estimate + kPixels);
    estimate_channel(vget_low_u8(pairs.left_b_right_r), vget_high_u8(pairs.right_gb), fraction,
                     estimate + 2 * kPixels);
    estimate += ResizeLine::kBlockFloats;
  }
}

// Four values, a half and the estimate's error added, in 1/65536.
uint32x4_t blend(const float* top, const float* bottom, float32x4_t fraction) {
  const float32x4_t upper = vld1q_f32(top);
  const float32x4_t offset = vmulq_f32(vsubq_f32(vld1q_f32(bottom), upper), fraction);
  const float32x4_t value = vaddq_f32(upper, offset);
  return vcvtq_n_u32_f32(vaddq_f32(value, vdupq_n_f32(0.5F + kEstimateError)), 16);
}

// The highest bytes that eight values can have. Lowers `rest` to their fractions where those are
// smaller: with a fraction below twice the error, the byte could also be the one before.
uint8x8_t blend_eight(const float* top, const float* bottom, float32x4_t fraction,
                      uint16x8_t& rest) {
  const uint16x8_t low = vreinterpretq_u16_u32(blend(top, bottom, fraction));
  const uint16x8_t high = vreinterpretq_u16_u32(blend(top + 4, bottom + 4, fraction));
  rest = vminq_u16(rest, vuzp1q_u16(low, high));
  return vmovn_u16(vuzp2q_u16(low, high));
}

void resize_down(const ResizeColumns& columns, double fraction, const ResizeLine& top,
                 const ResizeLine& bottom, std::uint8_t* row) {
  constexpr std::size_t kPixels = ResizeLine::kBlockPixels;
  constexpr auto kTwiceTheError = static_cast<std::uint16_t>(2.0F * kEstimateError * 65536.0F);
  const float32x4_t float_fraction = vdupq_n_f32(static_cast<float>(fraction));
  const float* upper = top.estimate;
  const float* lower = bottom.estimate;
  std::size_t x = 0;
  for (; x + kPixels <= columns.width; x += kPixels) {
    uint16x8_t rest = vdupq_n_u16(0xFFFF);
    const uint8x8_t red = blend_eight(upper, lower, float_fraction, rest);
    const uint8x8_t green = blend_eight(upper + kPixels, lower + kPixels, float_fraction, rest);
    const uint8x8_t blue =
        blend_eight(upper + 2 * kPixels, lower + 2 * kPixels, float_fraction, rest);
    const uint8x8x3_t pixels = {{red, green, blue}};
    vst3_u8(row + 3 * x, pixels);
    if (vminvq_u16(rest) < kTwiceTheError) {
      resize_exactly(columns.from(x, kPixels), fraction, top.row, bottom.row, row + 3 * x);
    }
    upper += ResizeLine::kBlockFloats;
    lower += ResizeLine::kBlockFloats;
  }
  resize_exactly(columns.from(x, columns.width - x), fraction, top.row, bottom.row, row + 3 * x);
}

void sixteenths_across(const SixteenthColumns& columns, const std::uint8_t* row,
                       std::uint16_t* sum) {
  std::size_t x = 0;
  for (; x + 8 <= columns.width; x += 8) {
    const EightPairs pairs = load_eight_pairs(row, columns.left + x);
    const uint8x8x2_t share = vld2_u8(&columns.share[x].left);
    const auto weighted = [&share](uint8x8_t left, uint8x8_t right) {
      return vmlal_u8(vmull_u8(left, share.val[0]), right, share.val[1]);
    };
    const uint16x8x3_t sums = {
        {weighted(vget_low_u8(pairs.left_rg), vget_high_u8(pairs.left_b_right_r)),
         weighted(vget_high_u8(pairs.left_rg), vget_low_u8(pairs.right_gb)),
         weighted(vget_low_u8(pairs.left_b_right_r), vget_high_u8(pairs.right_gb))}};
    vst3q_u16(sum + 3 * x, sums);
  }
  portable_table().sixteenths_across({columns.left + x, columns.share + x, columns.width - x}, row,
                                     sum + 3 * x);
}

}  // namespace

void add_resize_neon(Table& table) {
  table.resize_across = resize_across;
  table.resize_down = resize_down;
  table.sixteenths_across = sixteenths_across;
}

}  // namespace kernels
