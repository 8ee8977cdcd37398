// Color models, on RGB rows in place. For AVX2.
#include "pipeline/kernels/avx2.h"
#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

// One channel of the four pixels in each half, as floats.
template <int channel>
K905_AVX2 inline __m256 as_floats(__m256i pixels) {
  constexpr char c = channel;
  const __m128i shuffle =
      _mm_setr_epi8(c, -1, -1, -1, c + 3, -1, -1, -1, c + 6, -1, -1, -1, c + 9, -1, -1, -1);
  return _mm256_cvtepi32_ps(_mm256_shuffle_epi8(pixels, both_halves(shuffle)));
}

K905_AVX2 inline __m256i load_eight_pixels(const std::uint8_t* row) {
  return load_halves(row, row + 12);
}

// `flip` is 0 for gray and -1 for black. Each half is stored with the four bytes after its pixels
// unchanged. The next pixels are loaded before the store, because a load that overlaps a pending
// store has to wait for it.
K905_AVX2 std::size_t luminance_in_place(std::uint8_t* row, std::size_t width, char flip) {
  const __m256i thrice =
      both_halves(_mm_setr_epi8(0, 0, 0, 4, 4, 4, 8, 8, 8, 12, 12, 12, -1, -1, -1, -1));
  const __m256i own = both_halves(_mm_setr_epi32(-1, -1, -1, 0));
  if (width < 10) return 0;
  std::size_t x = 0;
  for (__m256i next = load_eight_pixels(row); x + 10 <= width; x += 8) {
    const __m256i pixels = next;
    std::uint8_t* low = row + 3 * x;
    next = load_eight_pixels(low + 24);
    const __m256 sum =
        _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(as_floats<0>(pixels), _mm256_set1_ps(0.299F)),
                                    _mm256_mul_ps(as_floats<1>(pixels), _mm256_set1_ps(0.587F))),
                      _mm256_mul_ps(as_floats<2>(pixels), _mm256_set1_ps(0.114F)));
    const __m256i light = _mm256_xor_si256(_mm256_cvttps_epi32(sum), _mm256_set1_epi8(flip));
    const __m256i gray = _mm256_blendv_epi8(pixels, _mm256_shuffle_epi8(light, thrice), own);
    store_half(low, _mm256_castsi256_si128(gray));
    store_half(low + 12, _mm256_extracti128_si256(gray, 1));
  }
  return x;
}

K905_AVX2 void to_gray(std::uint8_t* row, std::size_t width) {
  const std::size_t done = luminance_in_place(row, width, 0);
  portable_table().to_gray(row + 3 * done, width - done);
}

K905_AVX2 void to_black(std::uint8_t* row, std::size_t width) {
  const std::size_t done = luminance_in_place(row, width, -1);
  portable_table().to_black(row + 3 * done, width - done);
}

// Five pixels at a time; the sixteenth byte is stored unchanged, and the next pixels are loaded
// before the store, as above.
K905_AVX2 void to_kcmy(std::uint8_t* row, std::size_t width) {
  const __m128i order = _mm_setr_epi8(1, 2, 0, 4, 5, 3, 7, 8, 6, 10, 11, 9, 13, 14, 12, 15);
  const __m128i flip = _mm_setr_epi8(0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0);
  std::size_t x = 0;
  for (__m128i next = load_half(row); x + 6 <= width; x += 5) {
    const __m128i pixels = next;
    next = load_half(row + 3 * x + 15);
    store_half(row + 3 * x, _mm_xor_si128(_mm_shuffle_epi8(pixels, order), flip));
  }
  portable_table().to_kcmy(row + 3 * x, width - x);
}

}  // namespace

void add_color_avx2(Table& table) {
  table.to_gray = to_gray;
  table.to_black = to_black;
  table.to_kcmy = to_kcmy;
}

}  // namespace kernels
