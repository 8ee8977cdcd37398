// The transpose of a rotated page. For AVX2.
#include "pipeline/kernels/avx2.h"
#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

// Transposes two squares of sixteen bytes, one in each half of the vectors: four rounds of
// interleaving row i with row i + 8 are a transpose.
K905_AVX2 inline void transpose_squares(__m256i (&rows)[16]) {
  for (int round = 0; round < 4; ++round) {
    __m256i mixed[16];
    for (int i = 0; i < 8; ++i) {
      mixed[i + i] = _mm256_unpacklo_epi8(rows[i], rows[i + 8]);
      mixed[i + i + 1] = _mm256_unpackhi_epi8(rows[i], rows[i + 8]);
    }
    for (int i = 0; i < 16; ++i) rows[i] = mixed[i];
  }
}

// Sixteen rows, 32 columns.
K905_AVX2 inline void transpose_block(const std::uint8_t* const* source, std::size_t x,
                                      std::uint8_t* target, std::ptrdiff_t target_stride) {
  __m256i rows[16];
  for (int i = 0; i < 16; ++i) rows[i] = load(source[i] + x);
  transpose_squares(rows);
  for (int i = 0; i < 16; ++i) {
    store_half(target + i * target_stride, _mm256_castsi256_si128(rows[i]));
    store_half(target + (i + 16) * target_stride, _mm256_extracti128_si256(rows[i], 1));
  }
}

K905_AVX2 void transpose(std::span<const std::uint8_t* const> rows, std::size_t width,
                         std::uint8_t* target, std::ptrdiff_t target_stride) {
  if (rows.size() < 16 || width < 32) {
    portable_table().transpose(rows, width, target, target_stride);
    return;
  }
  for (std::size_t x = 0; x < width; x = next_block(x, 32, width)) {
    std::uint8_t* line = target + static_cast<std::ptrdiff_t>(x) * target_stride;
    for (std::size_t i = 0; i < rows.size(); i = next_block(i, 16, rows.size())) {
      transpose_block(rows.data() + i, x, line + i, target_stride);
    }
  }
}

}  // namespace

void add_rotate_avx2(Table& table) { table.transpose = transpose; }

}  // namespace kernels
