// The transpose of a rotated page. For 64-bit ARM.
#include <arm_neon.h>

#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

// Sixteen rows, sixteen columns: four rounds of interleaving row i with row i + 8.
void transpose_block(const std::uint8_t* const* source, std::size_t x, std::uint8_t* target,
                     std::ptrdiff_t target_stride) {
  uint8x16_t rows[16];
  for (int i = 0; i < 16; ++i) rows[i] = vld1q_u8(source[i] + x);
  for (int round = 0; round < 4; ++round) {
    uint8x16_t mixed[16];
    for (std::size_t i = 0; i < 8; ++i) {
      mixed[2 * i] = vzip1q_u8(rows[i], rows[i + 8]);
      mixed[2 * i + 1] = vzip2q_u8(rows[i], rows[i + 8]);
    }
    for (int i = 0; i < 16; ++i) rows[i] = mixed[i];
  }
  for (int i = 0; i < 16; ++i) vst1q_u8(target + i * target_stride, rows[i]);
}

void transpose(std::span<const std::uint8_t* const> rows, std::size_t width, std::uint8_t* target,
               std::ptrdiff_t target_stride) {
  if (rows.size() < 16 || width < 16) {
    portable_table().transpose(rows, width, target, target_stride);
    return;
  }
  for (std::size_t x = 0; x < width; x = next_block(x, 16, width)) {
    std::uint8_t* line = target + static_cast<std::ptrdiff_t>(x) * target_stride;
    for (std::size_t i = 0; i < rows.size(); i = next_block(i, 16, rows.size())) {
      transpose_block(rows.data() + i, x, line + i, target_stride);
    }
  }
}

}  // namespace

void add_rotate_neon(Table& table) { table.transpose = transpose; }

}  // namespace kernels
