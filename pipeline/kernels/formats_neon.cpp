// Rows of pixels to rows of planes. For 64-bit ARM, which always has NEON. The compiler vectorizes
// all other loops itself.
#include <arm_neon.h>

#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

uint8x16_t backward(uint8x16_t bytes) {
  const uint8x16_t halves = vrev64q_u8(bytes);
  return vextq_u8(halves, halves, 8);
}

void split_mirrored(const std::uint8_t* row, std::uint8_t* plane0, std::uint8_t* plane1,
                    std::uint8_t* plane2, std::size_t width) {
  std::size_t remaining = width;  // pixels at the beginning of the row
  std::size_t x = 0;
  for (; remaining >= 16; x += 16) {
    remaining -= 16;
    const uint8x16x3_t pixels = vld3q_u8(row + 3 * remaining);
    vst1q_u8(plane0 + x, backward(pixels.val[0]));
    vst1q_u8(plane1 + x, backward(pixels.val[1]));
    vst1q_u8(plane2 + x, backward(pixels.val[2]));
  }
  portable_table().split_mirrored(row, plane0 + x, plane1 + x, plane2 + x, remaining);
}

}  // namespace

void add_formats_neon(Table& table) { table.split_mirrored = split_mirrored; }

}  // namespace kernels
