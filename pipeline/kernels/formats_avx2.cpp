// Raster lines to RGB rows, and those to rows of planes. For AVX2.
#include "pipeline/kernels/avx2.h"
#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

// ---- Raster line to RGB row ---------------------------------------------------------------------

K905_AVX2 void gray8_to_rgb(const std::uint8_t* line, std::uint8_t* row, std::size_t width) {
  const __m128i first = _mm_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5);
  const __m128i second = _mm_setr_epi8(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10);
  const __m128i third =
      _mm_setr_epi8(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15);
  std::size_t x = 0;
  for (; x + 16 <= width; x += 16) {
    const __m128i gray = load_half(line + x);
    store_half(row + 3 * x, _mm_shuffle_epi8(gray, first));
    store_half(row + 3 * x + 16, _mm_shuffle_epi8(gray, second));
    store_half(row + 3 * x + 32, _mm_shuffle_epi8(gray, third));
  }
  portable_table().gray8_to_rgb(line + x, row + 3 * x, width - x);
}

K905_AVX2 void four_inverted_to_rgb(const std::uint8_t* line, std::uint8_t* row,
                                    std::size_t width) {
  const __m128i ones = _mm_set1_epi8(-1);
  std::size_t x = 0;
  for (; x + 6 <= width; x += 4) {  // sixteen bytes are stored for twelve
    const __m128i inks = _mm_xor_si128(load_half(line + 4 * x), ones);
    store_half(row + 3 * x, _mm_shuffle_epi8(inks, without_fourth()));
  }
  portable_table().four_inverted_to_rgb(line + 4 * x, row + 3 * x, width - x);
}

// ---- RGB row to planes --------------------------------------------------------------------------

// Sixteen pixels in each half, as three vectors of the row.
struct Chunky {
  __m256i first, second, third;
};

// The sixteen bytes of one channel are at different positions in the three vectors, so two blends
// collect them in one vector, and one shuffle puts them in order.
template <int channel>
K905_AVX2 inline __m256i one_channel(const Chunky& chunky, __m256i order) {
  // -1 if byte i of a vector whose first byte belongs to channel `phase` belongs to `channel`.
  constexpr auto own = [](int i, int phase) {
    return static_cast<char>((i + phase) % 3 == channel ? -1 : 0);
  };
  const __m128i in_second = _mm_setr_epi8(
      own(0, 1), own(1, 1), own(2, 1), own(3, 1), own(4, 1), own(5, 1), own(6, 1), own(7, 1),
      own(8, 1), own(9, 1), own(10, 1), own(11, 1), own(12, 1), own(13, 1), own(14, 1), own(15, 1));
  const __m128i in_third = _mm_setr_epi8(
      own(0, 2), own(1, 2), own(2, 2), own(3, 2), own(4, 2), own(5, 2), own(6, 2), own(7, 2),
      own(8, 2), own(9, 2), own(10, 2), own(11, 2), own(12, 2), own(13, 2), own(14, 2), own(15, 2));
  const __m256i two = _mm256_blendv_epi8(chunky.first, chunky.second, both_halves(in_second));
  const __m256i all = _mm256_blendv_epi8(two, chunky.third, both_halves(in_third));
  return _mm256_shuffle_epi8(all, order);
}

// Where pixel p of a channel is after the blends: at byte (3p + channel) mod 16.
template <int channel>
K905_AVX2 inline __m256i forward_order() {
  constexpr auto at = [](int p) { return static_cast<char>((3 * p + channel) % 16); };
  return both_halves(_mm_setr_epi8(at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7), at(8),
                                   at(9), at(10), at(11), at(12), at(13), at(14), at(15)));
}

template <int channel>
K905_AVX2 inline __m256i backward_order() {
  constexpr auto at = [](int p) { return static_cast<char>((3 * (15 - p) + channel) % 16); };
  return both_halves(_mm_setr_epi8(at(0), at(1), at(2), at(3), at(4), at(5), at(6), at(7), at(8),
                                   at(9), at(10), at(11), at(12), at(13), at(14), at(15)));
}

K905_AVX2 void split(const std::uint8_t* row, std::uint8_t* plane0, std::uint8_t* plane1,
                     std::uint8_t* plane2, std::size_t width) {
  std::size_t x = 0;
  for (; x + 32 <= width; x += 32) {
    const std::uint8_t* low = row + 3 * x;
    const std::uint8_t* high = low + 48;
    const Chunky chunky = {load_halves(low, high), load_halves(low + 16, high + 16),
                           load_halves(low + 32, high + 32)};
    store(plane0 + x, one_channel<0>(chunky, forward_order<0>()));
    store(plane1 + x, one_channel<1>(chunky, forward_order<1>()));
    store(plane2 + x, one_channel<2>(chunky, forward_order<2>()));
  }
  portable_table().split(row + 3 * x, plane0 + x, plane1 + x, plane2 + x, width - x);
}

K905_AVX2 void split_mirrored(const std::uint8_t* row, std::uint8_t* plane0, std::uint8_t* plane1,
                              std::uint8_t* plane2, std::size_t width) {
  std::size_t remaining = width;  // pixels at the beginning of the row
  std::size_t x = 0;
  for (; remaining >= 32; x += 32) {
    remaining -= 32;
    const std::uint8_t* low = row + 3 * remaining;
    const std::uint8_t* high = low + 48;
    const Chunky chunky = {load_halves(high, low), load_halves(high + 16, low + 16),
                           load_halves(high + 32, low + 32)};
    store(plane0 + x, one_channel<0>(chunky, backward_order<0>()));
    store(plane1 + x, one_channel<1>(chunky, backward_order<1>()));
    store(plane2 + x, one_channel<2>(chunky, backward_order<2>()));
  }
  portable_table().split_mirrored(row, plane0 + x, plane1 + x, plane2 + x, remaining);
}

}  // namespace

void add_formats_avx2(Table& table) {
  table.gray8_to_rgb = gray8_to_rgb;
  table.four_inverted_to_rgb = four_inverted_to_rgb;
  table.split = split;
  table.split_mirrored = split_mirrored;
}

}  // namespace kernels
