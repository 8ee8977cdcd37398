// Color models, on RGB rows in place.
//
// The reference implementation: plain loops for any CPU, without a branch per pixel where possible,
// so that the compiler can vectorize them.
#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

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

}  // namespace

void add_color(Table& table) {
  table.to_gray = to_gray;
  table.to_black = to_black;
  table.invert = invert;
  table.to_kcmy = to_kcmy;
}

}  // namespace kernels
