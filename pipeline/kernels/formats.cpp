// Converts raster lines to RGB rows, and RGB rows to rows of planes.
//
// The reference implementation: plain loops for any CPU, without a branch per pixel where possible,
// so that the compiler can vectorize them.
#include <array>

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

// Each factor of a four-color pixel depends on one byte only, so it is in a table: a division per
// pixel would be nearly the whole cost of this kernel.
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

}  // namespace

void add_formats(Table& table) {
  table.rgb16_to_rgb = rgb16_to_rgb;
  table.gray8_to_rgb = gray8_to_rgb;
  table.gray1_to_rgb = gray1_to_rgb;
  table.four_inverted_to_rgb = four_inverted_to_rgb;
  table.four_with_black_to_rgb = four_with_black_to_rgb;
  table.split = split;
  table.split_mirrored = split_mirrored;
}

}  // namespace kernels
