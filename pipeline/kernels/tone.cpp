// Tone, on rows of planes in place.
//
// The reference form: plain loops for any processor, without a branch a pixel where that can be
// had, so that the compiler can make vectors of them.
#include <algorithm>
#include <array>
#include <bit>
#include <limits>

#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

void look_up(std::uint8_t* bytes, const std::uint8_t* table, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) bytes[i] = table[bytes[i]];
}

struct Rgb {
  float r, g, b;
};

float mean_of(const Rgb& pixel) { return ((pixel.r + pixel.g) + pixel.b) * 0.333333F; }

Rgb spread_from_mean(const Rgb& pixel, float factor) {
  const float mean = mean_of(pixel);
  return {(pixel.r - mean) * factor + mean, (pixel.g - mean) * factor + mean,
          (pixel.b - mean) * factor + mean};
}

Rgb corrected(const Rgb& pixel, Correction correction) {
  switch (correction) {
    case Correction::kNone:
      break;
    case Correction::kBright:
      return {pixel.r * 1.1F, pixel.g * 1.1F, pixel.b * 1.1F};
    case Correction::kAccurate:
      return spread_from_mean(pixel, 0.95F);
    case Correction::kHue:
      return {0.95F * pixel.r + 0.05F * pixel.b, pixel.g, 0.95F * pixel.b + 0.05F * pixel.r};
    case Correction::kDesaturated:
      return spread_from_mean(pixel, 0.7F);
  }
  return pixel;
}

float contrasted(float value) { return (value - 128.0F) * 1.2F + 128.0F; }

// Written so that NaN ends in the same branch as what is below zero.
std::uint8_t stored(float value) {
  return value > 0.0F ? static_cast<std::uint8_t>(std::min(value, 255.0F)) : std::uint8_t{0};
}

// Every comparison with NaN fails, so that it ends at the lowest value.
std::uint8_t stored_by_stairs(float value, const Staircase& stairs) {
  if (value == -std::numeric_limits<float>::infinity()) return 255;
  const float above = value > Staircase::kLowest ? value : Staircase::kLowest;
  const auto bits = std::bit_cast<std::uint32_t>(std::min(above, Staircase::kHighest));
  constexpr auto kFirst = std::bit_cast<std::uint32_t>(Staircase::kLowest) >> 16U;
  return static_cast<std::uint8_t>((stairs.entry[(bits >> 16U) - kFirst] + (bits & 0xFFFFU)) >>
                                   16U);
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
    Rgb pixel = {red[plane0[x]], green[plane1[x]], blue[plane2[x]]};
    if (mix.saturate) pixel = spread_from_mean(pixel, mix.saturation);
    pixel = {pixel.r * mix.balance[0], pixel.g * mix.balance[1], pixel.b * mix.balance[2]};
    pixel = corrected(pixel, mix.correction);
    if (mix.linear_contrast) {
      pixel = {contrasted(pixel.r), contrasted(pixel.g), contrasted(pixel.b)};
    }
    if (mix.legacy != nullptr) {
      plane0[x] = stored_by_stairs(pixel.r, *mix.legacy);
      plane1[x] = stored_by_stairs(pixel.g, *mix.legacy);
      plane2[x] = stored_by_stairs(pixel.b, *mix.legacy);
    } else {
      plane0[x] = stored(pixel.r);
      plane1[x] = stored(pixel.g);
      plane2[x] = stored(pixel.b);
    }
  }
}

}  // namespace

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

void add_tone(Table& table) {
  table.look_up = look_up;
  table.tone_mix = tone_mix;
}

}  // namespace kernels
