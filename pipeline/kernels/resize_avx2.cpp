// The bilinear resize. For AVX2.
#include "pipeline/kernels/avx2.h"
#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

// Eight bytes for each of four pixels; the first six are the pixel and its right neighbor.
K905_AVX2 inline __m256i load_pairs(const std::uint8_t* row, const std::uint32_t* left) {
  const auto pair = [row, left](int i) K905_AVX2 {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + left[i]));
  };
  return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi64(pair(0), pair(1))),
                                 _mm_unpacklo_epi64(pair(2), pair(3)), 1);
}

// Eight bytes for each of eight pixels, as two words: the first word contains the pixel's R, G, B
// and the R of its right neighbor; the second one begins with the neighbor's G and B.
struct EightPairs {
  __m256i first_words, second_words;
};

K905_AVX2 inline __m256i load_pairs(const std::uint8_t* row, const std::uint32_t* low,
                                    const std::uint32_t* high) {
  const auto pairs = [row](const std::uint32_t* left) K905_AVX2 {
    const auto* first = reinterpret_cast<const __m128i*>(row + left[0]);
    const auto* second = reinterpret_cast<const __m128i*>(row + left[1]);
    return _mm_unpacklo_epi64(_mm_loadl_epi64(first), _mm_loadl_epi64(second));
  };
  return _mm256_inserti128_si256(_mm256_castsi128_si256(pairs(low)), pairs(high), 1);
}

K905_AVX2 inline EightPairs load_eight_pairs(const std::uint8_t* row, const std::uint32_t* left) {
  const __m256 even = _mm256_castsi256_ps(load_pairs(row, left, left + 4));
  const __m256 odd = _mm256_castsi256_ps(load_pairs(row, left + 2, left + 6));
  return {_mm256_castps_si256(_mm256_shuffle_ps(even, odd, 0x88)),
          _mm256_castps_si256(_mm256_shuffle_ps(even, odd, 0xDD))};
}

// Byte `index` of every word.
template <int index>
K905_AVX2 inline __m256i byte_of(__m256i words) {
  return _mm256_and_si256(_mm256_srli_epi32(words, 8 * index), _mm256_set1_epi32(255));
}

K905_AVX2 inline __m256 interpolate(__m256i left, __m256i right, __m256 fraction) {
  const __m256 step = _mm256_cvtepi32_ps(_mm256_sub_epi32(right, left));
  return _mm256_add_ps(_mm256_cvtepi32_ps(left), _mm256_mul_ps(step, fraction));
}

K905_AVX2 void resize_across(const ResizeColumns& columns, const std::uint8_t* row,
                             float* estimate) {
  constexpr std::size_t kPixels = ResizeLine::kBlockPixels;
  for (std::size_t x = 0; x + kPixels <= columns.width; x += kPixels) {
    const auto [first, second] = load_eight_pairs(row, columns.left + x);
    const __m256 fraction = _mm256_loadu_ps(columns.float_fraction + x);
    _mm256_storeu_ps(estimate, interpolate(byte_of<0>(first), byte_of<3>(first), fraction));
    _mm256_storeu_ps(estimate + 8, interpolate(byte_of<1>(first), byte_of<0>(second), fraction));
    _mm256_storeu_ps(estimate + 16, interpolate(byte_of<2>(first), byte_of<1>(second), fraction));
    estimate += ResizeLine::kBlockFloats;
  }
}

// The lowest bytes that eight values can have. Adds to `unsure` the bits in which the highest ones
// differ.
K905_AVX2 inline __m256i blend(const float* top, const float* bottom, __m256 fraction,
                               __m256i& unsure) {
  const __m256 upper = _mm256_loadu_ps(top);
  const __m256 step = _mm256_sub_ps(_mm256_loadu_ps(bottom), upper);
  const __m256 value = _mm256_add_ps(upper, _mm256_mul_ps(step, fraction));
  const __m256i lowest =
      _mm256_cvttps_epi32(_mm256_add_ps(value, _mm256_set1_ps(0.5F - kEstimateError)));
  const __m256i highest =
      _mm256_cvttps_epi32(_mm256_add_ps(value, _mm256_set1_ps(0.5F + kEstimateError)));
  unsure = _mm256_or_si256(unsure, _mm256_xor_si256(lowest, highest));
  return lowest;
}

K905_AVX2 void resize_down(const ResizeColumns& columns, double fraction, const ResizeLine& top,
                           const ResizeLine& bottom, std::uint8_t* row) {
  const __m256 float_fraction = _mm256_set1_ps(static_cast<float>(fraction));
  const float* upper = top.estimate;
  const float* lower = bottom.estimate;
  std::size_t x = 0;
  // 28 bytes are stored, of which 24 are pixels.
  for (; x + 10 <= columns.width; x += ResizeLine::kBlockPixels) {
    __m256i unsure = _mm256_setzero_si256();
    const __m256i red = blend(upper, lower, float_fraction, unsure);
    const __m256i green = _mm256_slli_epi32(blend(upper + 8, lower + 8, float_fraction, unsure), 8);
    const __m256i blue =
        _mm256_slli_epi32(blend(upper + 16, lower + 16, float_fraction, unsure), 16);
    const __m256i pixels = _mm256_shuffle_epi8(_mm256_or_si256(_mm256_or_si256(red, green), blue),
                                               both_halves(without_fourth()));
    store_half(row + 3 * x, _mm256_castsi256_si128(pixels));
    store_half(row + 3 * x + 12, _mm256_extracti128_si256(pixels, 1));
    if (_mm256_testz_si256(unsure, unsure) == 0) {
      resize_exactly(columns.from(x, ResizeLine::kBlockPixels), fraction, top.row, bottom.row,
                     row + 3 * x);
    }
    upper += ResizeLine::kBlockFloats;
    lower += ResizeLine::kBlockFloats;
  }
  resize_exactly(columns.from(x, columns.width - x), fraction, top.row, bottom.row, row + 3 * x);
}

// Two pixels in each half, each with its right neighbor: every channel's two bytes side by side, to
// be multiplied by the two shares of that pixel and added in one instruction.
K905_AVX2 void sixteenths_across(const SixteenthColumns& columns, const std::uint8_t* row,
                                 std::uint16_t* sum) {
  const __m256i channels =
      both_halves(_mm_setr_epi8(0, 3, 1, 4, 2, 5, 8, 11, 9, 12, 10, 13, -1, -1, -1, -1));
  const __m256i pixels = _mm256_setr_epi8(0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, -1, -1, -1, -1,  //
                                          4, 5, 4, 5, 4, 5, 6, 7, 6, 7, 6, 7, -1, -1, -1, -1);
  std::size_t x = 0;
  // 14 words are stored, of which 12 are sums.
  for (; x + 6 <= columns.width; x += 4) {
    const __m256i pairs = _mm256_shuffle_epi8(load_pairs(row, columns.left + x), channels);
    const __m128i four = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(columns.share + x));
    const __m256i shares = _mm256_shuffle_epi8(both_halves(four), pixels);
    const __m256i sums = _mm256_maddubs_epi16(pairs, shares);
    auto* to = reinterpret_cast<std::uint8_t*>(sum + 3 * x);
    store_half(to, _mm256_castsi256_si128(sums));
    store_half(to + 12, _mm256_extracti128_si256(sums, 1));
  }
  portable_table().sixteenths_across({columns.left + x, columns.share + x, columns.width - x}, row,
                                     sum + 3 * x);
}

K905_AVX2 inline __m256i load_words(const std::uint16_t* words) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(words));
}

// Sixteen bytes, each in a word.
K905_AVX2 inline __m256i weighted(const std::uint16_t* top, __m256i top_share,
                                  const std::uint16_t* bottom, __m256i bottom_share) {
  const __m256i sum = _mm256_add_epi16(_mm256_mullo_epi16(load_words(top), top_share),
                                       _mm256_mullo_epi16(load_words(bottom), bottom_share));
  return _mm256_srli_epi16(_mm256_add_epi16(sum, _mm256_set1_epi16(128)), 8);
}

K905_AVX2 void sixteenths_down(const std::uint16_t* top, const std::uint16_t* bottom,
                               std::uint16_t bottom_share, std::uint8_t* row, std::size_t width) {
  const __m256i lower = _mm256_set1_epi16(static_cast<short>(bottom_share));
  const __m256i upper = _mm256_sub_epi16(_mm256_set1_epi16(16), lower);
  std::size_t x = 0;
  for (; x + 32 <= width; x += 32) {
    for (std::size_t i = 3 * x; i < 3 * x + 96; i += 32) {
      const __m256i first = weighted(top + i, upper, bottom + i, lower);
      const __m256i second = weighted(top + i + 16, upper, bottom + i + 16, lower);
      // Packing works within each half, so the middle quarters must be exchanged.
      store(row + i, _mm256_permute4x64_epi64(_mm256_packus_epi16(first, second), 0xD8));
    }
  }
  portable_table().sixteenths_down(top + 3 * x, bottom + 3 * x, bottom_share, row + 3 * x,
                                   width - x);
}

}  // namespace

void add_resize_avx2(Table& table) {
  table.resize_across = resize_across;
  table.resize_down = resize_down;
  table.sixteenths_across = sixteenths_across;
  table.sixteenths_down = sixteenths_down;
}

}  // namespace kernels
