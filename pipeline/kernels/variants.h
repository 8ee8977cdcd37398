// The functions with which each family fills a table. Private to this folder. A variant starts from
// the portable table and replaces the kernels that its CPU runs faster.
#pragma once

#include "pipeline/kernels/kernels.h"

namespace kernels {

// The largest error of a resize's estimate, with a margin: the rounding errors of its steps add up
// to less than 2^-13. The steps are two products, each of a number up to 255 and a fraction that
// was rounded once, and three sums.
inline constexpr float kEstimateError = 1.0F / 4096.0F;

// Computes a row of a resize by its formula, for pixels that an estimate cannot decide.
void resize_exactly(const ResizeColumns& columns, double fraction, const std::uint8_t* top,
                    const std::uint8_t* bottom, std::uint8_t* row);

// Where the next block of `step` begins: the last one overlaps the one before it rather than being
// smaller.
inline std::size_t next_block(std::size_t at, std::size_t step, std::size_t end) {
  const std::size_t last = end - step;
  return at == last ? end : at + step < last ? at + step : last;
}

void add_formats(Table& table);
void add_color(Table& table);
void add_resize(Table& table);
void add_tone(Table& table);
void add_rotate(Table& table);

[[nodiscard]] const Table& portable_table();

#if defined(__x86_64__)
void add_formats_avx2(Table& table);
void add_color_avx2(Table& table);
void add_resize_avx2(Table& table);
void add_tone_avx2(Table& table);
void add_rotate_avx2(Table& table);
void add_tone_avx512(Table& table);

[[nodiscard]] const Table& avx2_table();
#elif defined(__aarch64__)
void add_formats_neon(Table& table);
void add_resize_neon(Table& table);
void add_tone_neon(Table& table);
void add_rotate_neon(Table& table);
#endif

}  // namespace kernels
