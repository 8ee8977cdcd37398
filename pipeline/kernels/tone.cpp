// The tone kernels, which change rows of planes in place.
//
// The reference implementation: plain loops for any CPU, without a branch per pixel where possible,
// so that the compiler can vectorize them.
#include <algorithm>
#include <array>
#include <bit>
#include <limits>

#include "pipeline/kernels/tone_rules.h"
#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

void look_up(std::uint8_t* bytes, const std::uint8_t* table, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) bytes[i] = table[bytes[i]];
}

// Every comparison with NaN is false, so NaN becomes the lowest value.
std::uint8_t stored_by_steps(float value, const StepFunction& step_function) {
  if (value == -std::numeric_limits<float>::infinity()) return 255;
  const float above = value > StepFunction::kLowest ? value : StepFunction::kLowest;
  const auto bits = std::bit_cast<std::uint32_t>(std::min(above, StepFunction::kHighest));
  constexpr auto kFirst = std::bit_cast<std::uint32_t>(StepFunction::kLowest) >> 16U;
  return static_cast<std::uint8_t>(
      (step_function.entry[(bits >> 16U) - kFirst] + (bits & 0xFFFFU)) >> 16U);
}

constexpr std::array<float, 256> make_bytes_as_floats() {
  std::array<float, 256> floats{};
  for (std::size_t i = 0; i < 256; ++i) floats[i] = static_cast<float>(i);
  return floats;
}

constexpr std::array<float, 256> kBytesAsFloats = make_bytes_as_floats();

const float* table_or_bytes(const float* table) {
  return table != nullptr ? table : kBytesAsFloats.data();
}

void tone_mix(const ToneMix& mix, std::uint8_t* plane0, std::uint8_t* plane1, std::uint8_t* plane2,
              std::size_t width) {
  const float* const red = table_or_bytes(mix.table[0]);
  const float* const green = table_or_bytes(mix.table[1]);
  const float* const blue = table_or_bytes(mix.table[2]);
  for (std::size_t x = 0; x < width; ++x) {
    const tone::Rgb pixel = tone::mixed({red[plane0[x]], green[plane1[x]], blue[plane2[x]]}, mix);
    if (mix.legacy != nullptr) {
      plane0[x] = stored_by_steps(pixel.r, *mix.legacy);
      plane1[x] = stored_by_steps(pixel.g, *mix.legacy);
      plane2[x] = stored_by_steps(pixel.b, *mix.legacy);
    } else {
      plane0[x] = tone::stored(pixel.r);
      plane1[x] = tone::stored(pixel.g);
      plane2[x] = tone::stored(pixel.b);
    }
  }
}

}  // namespace

void add_tone(Table& table) {
  table.look_up = look_up;
  table.tone_mix = tone_mix;
}

}  // namespace kernels
