// The tone kernels, which change rows of planes in place. For 64-bit ARM.
//
// Products and sums are rounded separately here too: no vfma, and no vmla on floats, which the
// compiler may fuse.
#include <arm_neon.h>

#include <bit>
#include <limits>

#include "pipeline/kernels/tone_rules.h"
#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

// One instruction looks up 64 entries and leaves the result unchanged for other indexes.
void look_up(std::uint8_t* bytes, const std::uint8_t* table, std::size_t count) {
  const uint8x16x4_t part[4] = {vld1q_u8_x4(table), vld1q_u8_x4(table + 64),
                                vld1q_u8_x4(table + 128), vld1q_u8_x4(table + 192)};
  const uint8x16_t step = vdupq_n_u8(64);
  std::size_t i = 0;
  for (; i + 16 <= count; i += 16) {
    uint8x16_t index = vld1q_u8(bytes + i);
    uint8x16_t found = vqtbl4q_u8(part[0], index);
    for (int p = 1; p < 4; ++p) {
      index = vsubq_u8(index, step);
      found = vqtbx4q_u8(found, part[p], index);
    }
    vst1q_u8(bytes + i, found);
  }
  portable_table().look_up(bytes + i, table, count - i);
}

// Four pixels.
struct Rgb {
  float32x4_t r, g, b;
};

float32x4_t spread(float32x4_t value, float32x4_t around, float factor) {
  return vaddq_f32(vmulq_n_f32(vsubq_f32(value, around), factor), around);
}

Rgb spread_from_mean(const Rgb& pixel, float factor) {
  const float32x4_t sum = vaddq_f32(vaddq_f32(pixel.r, pixel.g), pixel.b);
  const float32x4_t mean = vmulq_n_f32(sum, tone::kMeanFactor);
  return {spread(pixel.r, mean, factor), spread(pixel.g, mean, factor),
          spread(pixel.b, mean, factor)};
}

Rgb times(const Rgb& pixel, float r, float g, float b) {
  return {vmulq_n_f32(pixel.r, r), vmulq_n_f32(pixel.g, g), vmulq_n_f32(pixel.b, b)};
}

float32x4_t hue(float32x4_t own, float32x4_t other) {
  return vaddq_f32(vmulq_n_f32(own, tone::kHueOwn), vmulq_n_f32(other, tone::kHueOther));
}

inline Rgb corrected(const Rgb& pixel, Correction correction) {
  switch (correction) {
    case Correction::kNone:
      break;
    case Correction::kBright:
      return times(pixel, tone::kBrightGain, tone::kBrightGain, tone::kBrightGain);
    case Correction::kAccurate:
      return spread_from_mean(pixel, tone::kAccurateSpread);
    case Correction::kHue:
      return {hue(pixel.r, pixel.b), pixel.g, hue(pixel.b, pixel.r)};
    case Correction::kDesaturated:
      return spread_from_mean(pixel, tone::kDesaturatedSpread);
  }
  return pixel;
}

inline Rgb mixed(Rgb pixel, const ToneMix& mix) {
  if (mix.saturate) pixel = spread_from_mean(pixel, mix.saturation);
  pixel = times(pixel, mix.balance[0], mix.balance[1], mix.balance[2]);
  pixel = corrected(pixel, mix.correction);
  if (mix.linear_contrast) {
    const float32x4_t middle = vdupq_n_f32(tone::kMiddle);
    pixel = {spread(pixel.r, middle, tone::kLinearContrast),
             spread(pixel.g, middle, tone::kLinearContrast),
             spread(pixel.b, middle, tone::kLinearContrast)};
  }
  return pixel;
}

// As in the portable kernel; maxnm returns the other operand if one is NaN.
uint32x4_t stored_by_steps(float32x4_t value, const StepFunction& step_function) {
  const float32x4_t above = vmaxnmq_f32(value, vdupq_n_f32(StepFunction::kLowest));
  const uint32x4_t bits =
      vreinterpretq_u32_f32(vminq_f32(above, vdupq_n_f32(StepFunction::kHighest)));
  const uint32x4_t first = vdupq_n_u32(std::bit_cast<std::uint32_t>(StepFunction::kLowest));
  const uint32x4_t index = vshrq_n_u32(vsubq_u32(bits, first), 16);
  uint32x4_t entry = vld1q_dup_u32(step_function.entry + vgetq_lane_u32(index, 0));
  entry = vld1q_lane_u32(step_function.entry + vgetq_lane_u32(index, 1), entry, 1);
  entry = vld1q_lane_u32(step_function.entry + vgetq_lane_u32(index, 2), entry, 2);
  entry = vld1q_lane_u32(step_function.entry + vgetq_lane_u32(index, 3), entry, 3);
  const uint32x4_t byte = vshrq_n_u32(vaddq_u32(entry, vandq_u32(bits, vdupq_n_u32(0xFFFF))), 16);
  const float32x4_t minus_infinity = vdupq_n_f32(-std::numeric_limits<float>::infinity());
  return vorrq_u32(byte, vshrq_n_u32(vceqq_f32(value, minus_infinity), 24));
}

// The conversion truncates and saturates; NaN and negative values give 0.
uint16x4_t finished(float32x4_t value, const ToneMix& mix) {
  return vqmovn_u32(mix.legacy != nullptr ? stored_by_steps(value, *mix.legacy)
                                          : vcvtq_u32_f32(value));
}

void store_eight(std::uint8_t* bytes, float32x4_t low, float32x4_t high, const ToneMix& mix) {
  vst1_u8(bytes, vqmovn_u16(vcombine_u16(finished(low, mix), finished(high, mix))));
}

// The result of the steps before the mixing, for eight bytes.
struct Eight {
  float32x4_t low, high;
};

float32x4_t four_entries(const float* table, const std::uint8_t* bytes) {
  float32x4_t entries = vld1q_dup_f32(table + bytes[0]);
  entries = vld1q_lane_f32(table + bytes[1], entries, 1);
  entries = vld1q_lane_f32(table + bytes[2], entries, 2);
  return vld1q_lane_f32(table + bytes[3], entries, 3);
}

Eight entries(const float* table, const std::uint8_t* bytes) {
  if (table == nullptr) {
    const uint16x8_t wide = vmovl_u8(vld1_u8(bytes));
    return {vcvtq_f32_u32(vmovl_u16(vget_low_u16(wide))),
            vcvtq_f32_u32(vmovl_u16(vget_high_u16(wide)))};
  }
  return {four_entries(table, bytes), four_entries(table, bytes + 4)};
}

void tone_mix(const ToneMix& mix, std::uint8_t* plane0, std::uint8_t* plane1, std::uint8_t* plane2,
              std::size_t width) {
  std::size_t x = 0;
  for (; x + 8 <= width; x += 8) {
    const Eight red = entries(mix.table[0], plane0 + x);
    const Eight green = entries(mix.table[1], plane1 + x);
    const Eight blue = entries(mix.table[2], plane2 + x);
    const Rgb low = mixed({red.low, green.low, blue.low}, mix);
    const Rgb high = mixed({red.high, green.high, blue.high}, mix);
    store_eight(plane0 + x, low.r, high.r, mix);
    store_eight(plane1 + x, low.g, high.g, mix);
    store_eight(plane2 + x, low.b, high.b, mix);
  }
  portable_table().tone_mix(mix, plane0 + x, plane1 + x, plane2 + x, width - x);
}

}  // namespace

void add_tone_neon(Table& table) {
  table.look_up = look_up;
  table.tone_mix = tone_mix;
}

}  // namespace kernels
