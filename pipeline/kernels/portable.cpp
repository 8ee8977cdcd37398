// The reference form of every kernel: plain loops for any processor, without a branch a pixel where
// that can be had, so that the compiler can make vectors of them.
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>

#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

// ---- Raster line to RGB row ---------------------------------------------------------------------

void rgb16_to_rgb(const std::uint8_t* line, std::uint8_t* row, std::size_t width) {
  for (std::size_t i = 0; i < width * 3; ++i) row[i] = line[2 * i + 1];
}

void gray8_to_rgb(const std::uint8_t* line, std::uint8_t* row, std::size_t width) {
  for (std::size_t x = 0; x < width; ++x) {
    row[3 * x] = row[3 * x + 1] = row[3 * x + 2] = line[x];
  }
}

void gray1_to_rgb(const std::uint8_t* line, std::uint8_t* row, std::size_t width) {
  for (std::size_t x = 0; x < width; ++x) {
    const unsigned ink = (line[x >> 3] >> (7 - (x & 7))) & 1U;
    row[3 * x] = row[3 * x + 1] = row[3 * x + 2] = static_cast<std::uint8_t>(ink - 1U);
  }
}

void four_inverted_to_rgb(const std::uint8_t* line, std::uint8_t* row, std::size_t width) {
  for (std::size_t x = 0; x < width; ++x) {
    for (std::size_t c = 0; c < 3; ++c) {
      row[3 * x + c] = static_cast<std::uint8_t>(255 - line[4 * x + c]);
    }
  }
}

// Both factors of a four-colour pixel depend on one byte each; a division a pixel would be the
// whole cost of this kernel.
struct InkFactors {
  std::array<float, 256> light;  // (1 - c/255) * 255
  std::array<float, 256> gray;   // 1 - k/255
};

constexpr InkFactors make_ink_factors() {
  InkFactors factors{};
  for (std::size_t i = 0; i < 256; ++i) {
    const float share = static_cast<float>(i) / 255.0F;
    factors.light[i] = (1.0F - share) * 255.0F;
    factors.gray[i] = 1.0F - share;
  }
  return factors;
}

constexpr InkFactors kInkFactors = make_ink_factors();

void four_with_black_to_rgb(const std::uint8_t* line, std::uint8_t* row, std::size_t width) {
  for (std::size_t x = 0; x < width; ++x) {
    const float gray = kInkFactors.gray[line[4 * x + 3]];
    for (std::size_t c = 0; c < 3; ++c) {
      row[3 * x + c] = static_cast<std::uint8_t>(kInkFactors.light[line[4 * x + c]] * gray);
    }
  }
}

// Half of one, added before a value that is never negative is cut off.
constexpr double kHalf = 0.5;

// ---- Resize -------------------------------------------------------------------------------------

void resize_row(const ResizeColumns& columns, double fraction, const std::uint8_t* top,
                const std::uint8_t* bottom, std::uint8_t* row) {
  const double fy = fraction;
  for (std::size_t x = 0; x < columns.width; ++x) {
    const double fx = columns.fraction[x];
    const double w00 = (1.0 - fy) * (1.0 - fx);
    const double w01 = (1.0 - fy) * fx;
    const double w10 = fy * (1.0 - fx);
    const double w11 = fy * fx;
    const std::size_t left = std::size_t{3} * columns.left[x];
    const std::size_t right = std::size_t{3} * columns.right[x];
    for (std::size_t c = 0; c < 3; ++c) {
      const double sum = bottom[right + c] * w11 +
                         (bottom[left + c] * w10 + (top[left + c] * w00 + top[right + c] * w01));
      row[3 * x + c] = static_cast<std::uint8_t>(sum + kHalf);
    }
  }
}

void resize_across(const ResizeColumns& columns, const std::uint8_t* row, float* estimate) {
  constexpr std::size_t kPixels = ResizeLine::kBlockPixels;
  for (std::size_t x = 0; x + kPixels <= columns.width; x += kPixels) {
    for (std::size_t i = 0; i < kPixels; ++i) {
      const std::uint8_t* left = row + std::size_t{3} * columns.left[x + i];
      const std::uint8_t* right = row + std::size_t{3} * columns.right[x + i];
      for (std::size_t c = 0; c < 3; ++c) {
        const auto step = static_cast<float>(right[c] - left[c]);
        estimate[c * kPixels + i] = static_cast<float>(left[c]) + step * columns.rough[x + i];
      }
    }
    estimate += ResizeLine::kBlockFloats;
  }
}

// One block of bytes between two blocks of estimates, channel after channel. False when one of them
// could also be its neighbour.
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
  const auto rough = static_cast<float>(fraction);
  std::size_t x = 0;
  for (; x + kPixels <= columns.width; x += kPixels) {
    const std::size_t at = x / kPixels * ResizeLine::kBlockFloats;
    std::uint8_t bytes[ResizeLine::kBlockFloats];
    if (blend(top.estimate + at, bottom.estimate + at, rough, bytes)) {
      for (std::size_t i = 0; i < kPixels; ++i) {
        for (std::size_t c = 0; c < 3; ++c) row[3 * (x + i) + c] = bytes[c * kPixels + i];
      }
    } else {
      resize_row(columns.from(x, kPixels), fraction, top.row, bottom.row, row + 3 * x);
    }
  }
  resize_row(columns.from(x, columns.width - x), fraction, top.row, bottom.row, row + 3 * x);
}

void sixteenths_across(const SixteenthColumns& columns, const std::uint8_t* row,
                       std::uint16_t* sum) {
  for (std::size_t x = 0; x < columns.width; ++x) {
    const std::uint8_t* left = row + std::size_t{3} * columns.left[x];
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

// ---- Colour model, in place ---------------------------------------------------------------------

std::uint8_t luminance(const std::uint8_t* rgb) {
  return static_cast<std::uint8_t>(
      (static_cast<float>(rgb[0]) * 0.299F + static_cast<float>(rgb[1]) * 0.587F) +
      static_cast<float>(rgb[2]) * 0.114F);
}

void to_gray(std::uint8_t* row, std::size_t width) {
  for (std::size_t x = 0; x < width; ++x) {
    row[3 * x] = row[3 * x + 1] = row[3 * x + 2] = luminance(row + 3 * x);
  }
}

void to_black(std::uint8_t* row, std::size_t width) {
  for (std::size_t x = 0; x < width; ++x) {
    const auto ink = static_cast<std::uint8_t>(255 - luminance(row + 3 * x));
    row[3 * x] = row[3 * x + 1] = row[3 * x + 2] = ink;
  }
}

void invert(std::uint8_t* row, std::size_t width) {
  for (std::size_t i = 0; i < width * 3; ++i) row[i] = static_cast<std::uint8_t>(~row[i]);
}

void to_kcmy(std::uint8_t* row, std::size_t width) {
  for (std::size_t x = 0; x < width; ++x) {
    std::uint8_t* pixel = row + 3 * x;
    const std::uint8_t red = pixel[0];
    pixel[0] = pixel[1];
    pixel[1] = pixel[2];
    pixel[2] = static_cast<std::uint8_t>(255 - red);
  }
}

// ---- Deinterlace --------------------------------------------------------------------------------

// The whole product fits 25 bits; 13108 / 65536 stands for one fifth.
void deinterlace(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* row,
                 std::size_t width) {
  for (std::size_t i = 0; i < width * 3; ++i) {
    row[i] = static_cast<std::uint8_t>(((3U * upper[i] + 2U * lower[i]) * 13108U) >> 16U);
  }
}

// ---- RGB row to planes --------------------------------------------------------------------------

void split(const std::uint8_t* row, std::uint8_t* plane0, std::uint8_t* plane1,
           std::uint8_t* plane2, std::size_t width) {
  for (std::size_t x = 0; x < width; ++x) {
    plane0[x] = row[3 * x];
    plane1[x] = row[3 * x + 1];
    plane2[x] = row[3 * x + 2];
  }
}

void split_mirrored(const std::uint8_t* row, std::uint8_t* plane0, std::uint8_t* plane1,
                    std::uint8_t* plane2, std::size_t width) {
  for (std::size_t x = 0; x < width; ++x) {
    const std::uint8_t* pixel = row + 3 * (width - 1 - x);
    plane0[x] = pixel[0];
    plane1[x] = pixel[1];
    plane2[x] = pixel[2];
  }
}

// ---- Tone ---------------------------------------------------------------------------------------

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

// ---- Quarter turn -------------------------------------------------------------------------------

// In strips, so that the target's cache lines are still there when their next byte comes.
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

// ---- Nearest neighbour --------------------------------------------------------------------------

void copy_runs(std::span<const CopyRun> runs, const std::uint8_t* source, std::uint8_t* target) {
  for (const CopyRun& run : runs) {
    std::memcpy(target + run.to, source + run.from, run.length);
  }
}

constexpr Table kTable = {
    .name = "portable",
    .rgb16_to_rgb = rgb16_to_rgb,
    .gray8_to_rgb = gray8_to_rgb,
    .gray1_to_rgb = gray1_to_rgb,
    .four_inverted_to_rgb = four_inverted_to_rgb,
    .four_with_black_to_rgb = four_with_black_to_rgb,
    .resize_row = resize_row,
    .resize_across = resize_across,
    .resize_down = resize_down,
    .sixteenths_across = sixteenths_across,
    .sixteenths_down = sixteenths_down,
    .to_gray = to_gray,
    .to_black = to_black,
    .invert = invert,
    .to_kcmy = to_kcmy,
    .deinterlace = deinterlace,
    .split = split,
    .split_mirrored = split_mirrored,
    .look_up = look_up,
    .tone_mix = tone_mix,
    .transpose = transpose,
    .copy_runs = copy_runs,
};

}  // namespace

const Table& portable_table() { return kTable; }

}  // namespace kernels
