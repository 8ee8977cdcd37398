// Kernels for x86 processors with AVX2 (since 2013): what gains from 32 bytes at a time.
//
// The target stands on each function and never on the file: with a flag on the file, the linker
// could keep this file's copy of a shared inline function for every processor. A kernel handles
// whole vectors and leaves the rest of the row to the portable one.
#include <immintrin.h>

#include "pipeline/kernels/variants.h"

#define K905_AVX2 __attribute__((target("avx2")))

namespace kernels {
namespace {

K905_AVX2 inline __m256i load(const std::uint8_t* bytes) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}

K905_AVX2 inline __m128i load_half(const std::uint8_t* bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

// Sixteen bytes from each of two places, one in each half.
K905_AVX2 inline __m256i load_halves(const std::uint8_t* low, const std::uint8_t* high) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(load_half(low)), load_half(high), 1);
}

K905_AVX2 inline void store(std::uint8_t* bytes, __m256i value) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), value);
}

K905_AVX2 inline void store_half(std::uint8_t* bytes, __m128i value) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), value);
}

K905_AVX2 inline __m256i both_halves(__m128i value) { return _mm256_broadcastsi128_si256(value); }

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

// Drops every fourth byte of sixteen; the last four bytes of the result are zero.
K905_AVX2 inline __m128i without_fourth() {
  return _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
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

// ---- Resize -------------------------------------------------------------------------------------

// 2^52: a double with this value has the units in its lowest bits, so that a byte put there is
// added exactly.
constexpr double kTwoTo52 = 4503599627370496.0;

// Byte `component` of each group of eight, as doubles.
template <int component>
K905_AVX2 inline __m256d as_doubles(__m256i pixels) {
  const auto pick = static_cast<char>(component);
  const auto pick_high = static_cast<char>(component + 8);
  const __m256i shuffle =
      _mm256_setr_epi8(pick, -1, -1, -1, -1, -1, -1, -1, pick_high, -1, -1, -1, -1, -1, -1, -1,
                       pick, -1, -1, -1, -1, -1, -1, -1, pick_high, -1, -1, -1, -1, -1, -1, -1);
  const __m256d magic = _mm256_set1_pd(kTwoTo52);
  const __m256i placed = _mm256_shuffle_epi8(pixels, shuffle);
  return _mm256_sub_pd(_mm256_or_pd(_mm256_castsi256_pd(placed), magic), magic);
}

struct Weights {
  __m256d w00, w01, w10, w11;
};

template <int channel>
K905_AVX2 inline __m128i resized(__m256i top, __m256i bottom, const Weights& weights) {
  const __m256d upper = _mm256_add_pd(_mm256_mul_pd(as_doubles<channel>(top), weights.w00),
                                      _mm256_mul_pd(as_doubles<channel + 3>(top), weights.w01));
  const __m256d left =
      _mm256_add_pd(_mm256_mul_pd(as_doubles<channel>(bottom), weights.w10), upper);
  const __m256d sum =
      _mm256_add_pd(_mm256_mul_pd(as_doubles<channel + 3>(bottom), weights.w11), left);
  return _mm256_cvttpd_epi32(_mm256_add_pd(sum, _mm256_set1_pd(0.5)));
}

// Eight bytes from each of four places: a pixel and its right neighbour.
K905_AVX2 inline __m256i load_pairs(const std::uint8_t* row, const std::uint32_t* left) {
  const auto pair = [row, left](int i) K905_AVX2 {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + std::size_t{3} * left[i]));
  };
  return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi64(pair(0), pair(1))),
                                 _mm_unpacklo_epi64(pair(2), pair(3)), 1);
}

// Whether each of four columns has its right neighbour at its side, as all but the last have.
K905_AVX2 inline bool are_neighbours(const std::uint32_t* left, const std::uint32_t* right) {
  const __m128i lefts = _mm_loadu_si128(reinterpret_cast<const __m128i*>(left));
  const __m128i rights = _mm_loadu_si128(reinterpret_cast<const __m128i*>(right));
  const __m128i next = _mm_add_epi32(lefts, _mm_set1_epi32(1));
  return _mm_movemask_epi8(_mm_cmpeq_epi32(next, rights)) == 0xFFFF;
}

K905_AVX2 void resize_row(const ResizeColumns& columns, double fraction, const std::uint8_t* top,
                          const std::uint8_t* bottom, std::uint8_t* row) {
  const __m256d one = _mm256_set1_pd(1.0);
  const __m256d fy = _mm256_set1_pd(fraction);
  const __m256d rest_y = _mm256_sub_pd(one, fy);
  std::size_t x = 0;
  // Sixteen bytes are stored for twelve.
  for (; x + 6 <= columns.width && are_neighbours(columns.left + x, columns.right + x); x += 4) {
    const __m256d fx = _mm256_loadu_pd(columns.fraction + x);
    const __m256d rest_x = _mm256_sub_pd(one, fx);
    const Weights weights = {_mm256_mul_pd(rest_y, rest_x), _mm256_mul_pd(rest_y, fx),
                             _mm256_mul_pd(fy, rest_x), _mm256_mul_pd(fy, fx)};
    const __m256i upper = load_pairs(top, columns.left + x);
    const __m256i lower = load_pairs(bottom, columns.left + x);
    const __m128i red = resized<0>(upper, lower, weights);
    const __m128i green = _mm_slli_epi32(resized<1>(upper, lower, weights), 8);
    const __m128i blue = _mm_slli_epi32(resized<2>(upper, lower, weights), 16);
    const __m128i pixels = _mm_or_si128(_mm_or_si128(red, green), blue);
    store_half(row + 3 * x, _mm_shuffle_epi8(pixels, without_fourth()));
  }
  portable_table().resize_row(columns.from(x, columns.width - x), fraction, top, bottom,
                              row + 3 * x);
}

// Eight bytes from each of eight places: of every pixel and its right neighbour one word with its
// R, G, B and the neighbour's R, and one that begins with the neighbour's G and B.
struct EightPairs {
  __m256i first_words, second_words;
};

K905_AVX2 inline __m256i load_pairs(const std::uint8_t* row, const std::uint32_t* low,
                                    const std::uint32_t* high) {
  const auto pairs = [row](const std::uint32_t* left) K905_AVX2 {
    const auto* first = reinterpret_cast<const __m128i*>(row + std::size_t{3} * left[0]);
    const auto* second = reinterpret_cast<const __m128i*>(row + std::size_t{3} * left[1]);
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

K905_AVX2 inline __m256 between(__m256i left, __m256i right, __m256 fraction) {
  const __m256 step = _mm256_cvtepi32_ps(_mm256_sub_epi32(right, left));
  return _mm256_add_ps(_mm256_cvtepi32_ps(left), _mm256_mul_ps(step, fraction));
}

K905_AVX2 void resize_across(const ResizeColumns& columns, const std::uint8_t* row,
                             float* estimate) {
  constexpr std::size_t kPixels = ResizeLine::kBlockPixels;
  for (std::size_t x = 0; x + kPixels <= columns.width; x += kPixels) {
    const std::uint32_t* left = columns.left + x;
    if (are_neighbours(left, columns.right + x) &&
        are_neighbours(left + 4, columns.right + x + 4)) {
      const auto [first, second] = load_eight_pairs(row, left);
      const __m256 fraction = _mm256_loadu_ps(columns.rough + x);
      _mm256_storeu_ps(estimate, between(byte_of<0>(first), byte_of<3>(first), fraction));
      _mm256_storeu_ps(estimate + 8, between(byte_of<1>(first), byte_of<0>(second), fraction));
      _mm256_storeu_ps(estimate + 16, between(byte_of<2>(first), byte_of<1>(second), fraction));
    } else {
      portable_table().resize_across(columns.from(x, kPixels), row, estimate);
    }
    estimate += ResizeLine::kBlockFloats;
  }
}

// The bytes that eight values can have: the lowest, and in `unsure` the bits in which the highest
// differs.
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
  const __m256 rough = _mm256_set1_ps(static_cast<float>(fraction));
  const float* upper = top.estimate;
  const float* lower = bottom.estimate;
  std::size_t x = 0;
  // 28 bytes are stored for 24.
  for (; x + 10 <= columns.width; x += ResizeLine::kBlockPixels) {
    __m256i unsure = _mm256_setzero_si256();
    const __m256i red = blend(upper, lower, rough, unsure);
    const __m256i green = _mm256_slli_epi32(blend(upper + 8, lower + 8, rough, unsure), 8);
    const __m256i blue = _mm256_slli_epi32(blend(upper + 16, lower + 16, rough, unsure), 16);
    const __m256i pixels = _mm256_shuffle_epi8(_mm256_or_si256(_mm256_or_si256(red, green), blue),
                                               both_halves(without_fourth()));
    store_half(row + 3 * x, _mm256_castsi256_si128(pixels));
    store_half(row + 3 * x + 12, _mm256_extracti128_si256(pixels, 1));
    if (_mm256_testz_si256(unsure, unsure) == 0) {
      resize_row(columns.from(x, ResizeLine::kBlockPixels), fraction, top.row, bottom.row,
                 row + 3 * x);
    }
    upper += ResizeLine::kBlockFloats;
    lower += ResizeLine::kBlockFloats;
  }
  resize_row(columns.from(x, columns.width - x), fraction, top.row, bottom.row, row + 3 * x);
}

// Two pixels in either half, each with its right neighbor: every channel's two bytes side by side,
// to be multiplied by the two shares of that pixel and added in one instruction.
K905_AVX2 void sixteenths_across(const SixteenthColumns& columns, const std::uint8_t* row,
                                 std::uint16_t* sum) {
  const __m256i channels =
      both_halves(_mm_setr_epi8(0, 3, 1, 4, 2, 5, 8, 11, 9, 12, 10, 13, -1, -1, -1, -1));
  const __m256i pixels = _mm256_setr_epi8(0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, -1, -1, -1, -1,  //
                                          4, 5, 4, 5, 4, 5, 6, 7, 6, 7, 6, 7, -1, -1, -1, -1);
  std::size_t x = 0;
  // Sixteen words are stored for twelve.
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

K905_AVX2 void sixteenths_down(const std::uint16_t* top, const std::uint16_t* bottom,
                               std::uint16_t bottom_share, std::uint8_t* row, std::size_t width) {
  const __m256i lower_share = _mm256_set1_epi16(static_cast<short>(bottom_share));
  const __m256i upper_share = _mm256_sub_epi16(_mm256_set1_epi16(16), lower_share);
  const auto bytes = [=](std::size_t i) K905_AVX2 {
    const auto load_words = [i](const std::uint16_t* words) K905_AVX2 {
      return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(words + i));
    };
    const __m256i sum = _mm256_add_epi16(_mm256_mullo_epi16(load_words(top), upper_share),
                                         _mm256_mullo_epi16(load_words(bottom), lower_share));
    return _mm256_srli_epi16(_mm256_add_epi16(sum, _mm256_set1_epi16(128)), 8);
  };
  std::size_t x = 0;
  for (; x + 32 <= width; x += 32) {
    for (std::size_t i = 3 * x; i < 3 * x + 96; i += 32) {
      // Packing works in halves: their middle quarters are exchanged.
      store(row + i, _mm256_permute4x64_epi64(_mm256_packus_epi16(bytes(i), bytes(i + 16)), 0xD8));
    }
  }
  portable_table().sixteenths_down(top + 3 * x, bottom + 3 * x, bottom_share, row + 3 * x,
                                   width - x);
}

// ---- Colour model, in place ---------------------------------------------------------------------

// One channel of the four pixels in either half, as floats.
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

// `flip` is 0 for gray and -1 for black. Each half is stored with the four bytes behind its pixels
// as they were; the next pixels are loaded before that, for a load that overlaps a store still
// under way has to wait for it.
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

K905_AVX2 void invert(std::uint8_t* row, std::size_t width) {
  const __m256i ones = _mm256_set1_epi8(-1);
  std::size_t x = 0;
  for (; x + 32 <= width; x += 32) {
    for (std::size_t part = 0; part < 96; part += 32) {
      store(row + 3 * x + part, _mm256_xor_si256(load(row + 3 * x + part), ones));
    }
  }
  portable_table().invert(row + 3 * x, width - x);
}

// Five pixels at a time; the sixteenth byte is stored as it was, and loads run ahead as above.
K905_AVX2 void to_kcmy(std::uint8_t* row, std::size_t width) {
  const __m128i turn = _mm_setr_epi8(1, 2, 0, 4, 5, 3, 7, 8, 6, 10, 11, 9, 13, 14, 12, 15);
  const __m128i flip = _mm_setr_epi8(0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0);
  std::size_t x = 0;
  for (__m128i next = load_half(row); x + 6 <= width; x += 5) {
    const __m128i pixels = next;
    next = load_half(row + 3 * x + 15);
    store_half(row + 3 * x, _mm_xor_si128(_mm_shuffle_epi8(pixels, turn), flip));
  }
  portable_table().to_kcmy(row + 3 * x, width - x);
}

// ---- Deinterlace --------------------------------------------------------------------------------

K905_AVX2 void deinterlace(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* row,
                           std::size_t width) {
  const __m256i three_to_two = _mm256_set1_epi16(0x0203);
  const __m256i fifth = _mm256_set1_epi16(13108);
  std::size_t x = 0;
  for (; x + 32 <= width; x += 32) {
    for (std::size_t part = 0; part < 96; part += 32) {
      const __m256i first = load(upper + 3 * x + part);
      const __m256i second = load(lower + 3 * x + part);
      const __m256i low = _mm256_maddubs_epi16(_mm256_unpacklo_epi8(first, second), three_to_two);
      const __m256i high = _mm256_maddubs_epi16(_mm256_unpackhi_epi8(first, second), three_to_two);
      store(row + 3 * x + part,
            _mm256_packus_epi16(_mm256_mulhi_epu16(low, fifth), _mm256_mulhi_epu16(high, fifth)));
    }
  }
  portable_table().deinterlace(upper + 3 * x, lower + 3 * x, row + 3 * x, width - x);
}

// ---- RGB row to planes --------------------------------------------------------------------------

// Sixteen pixels in each half, as three vectors of the row.
struct Chunky {
  __m256i first, second, third;
};

// The sixteen places that one channel has in three vectors are all different: two blends collect
// its bytes, one shuffle puts them in order.
template <int channel>
K905_AVX2 inline __m256i one_channel(const Chunky& chunky, __m256i order) {
  // -1 where byte i of a vector that begins with channel `phase` belongs to ours.
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

// Where pixel p of a channel lies after the blends: at byte (3p + channel) mod 16.
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
  std::size_t left = width;  // pixels still to be taken from the row's beginning
  std::size_t x = 0;
  for (; left >= 32; x += 32) {
    left -= 32;
    const std::uint8_t* low = row + 3 * left;
    const std::uint8_t* high = low + 48;
    const Chunky chunky = {load_halves(high, low), load_halves(high + 16, low + 16),
                           load_halves(high + 32, low + 32)};
    store(plane0 + x, one_channel<0>(chunky, backward_order<0>()));
    store(plane1 + x, one_channel<1>(chunky, backward_order<1>()));
    store(plane2 + x, one_channel<2>(chunky, backward_order<2>()));
  }
  portable_table().split_mirrored(row, plane0 + x, plane1 + x, plane2 + x, left);
}

// ---- Tone ---------------------------------------------------------------------------------------

// The half of four candidates that bit `bit` of each byte of `index` asks for.
template <int bit>
K905_AVX2 inline __m256i chosen(__m256i index, __m256i if_clear, __m256i if_set) {
  return _mm256_blendv_epi8(if_clear, if_set, _mm256_slli_epi16(index, 7 - bit));
}

// A shuffle looks up sixteen entries; blends by the upper four bits choose among sixteen such rows.
K905_AVX2 void look_up(std::uint8_t* bytes, const std::uint8_t* table, std::size_t count) {
  std::size_t i = 0;
  for (; i + 32 <= count; i += 32) {
    const __m256i index = load(bytes + i);
    const __m256i column = _mm256_and_si256(index, _mm256_set1_epi8(15));
    __m256i quarter[4];
    for (std::size_t q = 0; q < 4; ++q) {
      const auto row = [table, q, column](std::size_t r) K905_AVX2 {
        return _mm256_shuffle_epi8(both_halves(load_half(table + 64 * q + 16 * r)), column);
      };
      quarter[q] =
          chosen<5>(index, chosen<4>(index, row(0), row(1)), chosen<4>(index, row(2), row(3)));
    }
    store(bytes + i, chosen<7>(index, chosen<6>(index, quarter[0], quarter[1]),
                               chosen<6>(index, quarter[2], quarter[3])));
  }
  portable_table().look_up(bytes + i, table, count - i);
}

struct Rgb {
  __m256 r, g, b;
};

// Entry by entry: processors that have a gather instruction are often slower with it.
K905_AVX2 inline __m256i looked_up(const std::uint32_t* table, __m256i index) {
  const __m128i low = _mm256_castsi256_si128(index);
  const __m128i high = _mm256_extracti128_si256(index, 1);
  const auto first = static_cast<std::uint64_t>(_mm_cvtsi128_si64(low));
  const auto second = static_cast<std::uint64_t>(_mm_extract_epi64(low, 1));
  const auto third = static_cast<std::uint64_t>(_mm_cvtsi128_si64(high));
  const auto fourth = static_cast<std::uint64_t>(_mm_extract_epi64(high, 1));
  const auto entry = [table](std::uint64_t at) K905_AVX2 {
    return static_cast<int>(table[static_cast<std::uint32_t>(at)]);
  };
  return _mm256_setr_epi32(entry(first), entry(first >> 32U), entry(second), entry(second >> 32U),
                           entry(third), entry(third >> 32U), entry(fourth), entry(fourth >> 32U));
}

// What the steps before the mixing made of eight bytes.
K905_AVX2 inline __m256 entries(const float* table, const std::uint8_t* bytes) {
  if (table == nullptr) {
    const __m128i eight = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
    return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(eight));
  }
  return _mm256_setr_ps(table[bytes[0]], table[bytes[1]], table[bytes[2]], table[bytes[3]],
                        table[bytes[4]], table[bytes[5]], table[bytes[6]], table[bytes[7]]);
}

K905_AVX2 inline __m256 spread(__m256 value, __m256 around, __m256 factor) {
  return _mm256_add_ps(_mm256_mul_ps(_mm256_sub_ps(value, around), factor), around);
}

K905_AVX2 inline Rgb spread_from_mean(const Rgb& pixel, __m256 factor) {
  const __m256 sum = _mm256_add_ps(_mm256_add_ps(pixel.r, pixel.g), pixel.b);
  const __m256 mean = _mm256_mul_ps(sum, _mm256_set1_ps(0.333333F));
  return {spread(pixel.r, mean, factor), spread(pixel.g, mean, factor),
          spread(pixel.b, mean, factor)};
}

K905_AVX2 inline Rgb times(const Rgb& pixel, __m256 r, __m256 g, __m256 b) {
  return {_mm256_mul_ps(pixel.r, r), _mm256_mul_ps(pixel.g, g), _mm256_mul_ps(pixel.b, b)};
}

K905_AVX2 inline Rgb corrected(const Rgb& pixel, Correction correction) {
  switch (correction) {
    case Correction::kNone:
      break;
    case Correction::kBright: {
      const __m256 gain = _mm256_set1_ps(1.1F);
      return times(pixel, gain, gain, gain);
    }
    case Correction::kAccurate:
      return spread_from_mean(pixel, _mm256_set1_ps(0.95F));
    case Correction::kHue: {
      const __m256 own = _mm256_set1_ps(0.95F);
      const __m256 other = _mm256_set1_ps(0.05F);
      return {_mm256_add_ps(_mm256_mul_ps(own, pixel.r), _mm256_mul_ps(other, pixel.b)), pixel.g,
              _mm256_add_ps(_mm256_mul_ps(own, pixel.b), _mm256_mul_ps(other, pixel.r))};
    }
    case Correction::kDesaturated:
      return spread_from_mean(pixel, _mm256_set1_ps(0.7F));
  }
  return pixel;
}

K905_AVX2 inline void store_eight(std::uint8_t* bytes, __m256i values) {
  const __m128i words =
      _mm_packs_epi32(_mm256_castsi256_si128(values), _mm256_extracti128_si256(values, 1));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(bytes), _mm_packus_epi16(words, words));
}

// The order of the operands matters: max gives its second one when the first is NaN.
K905_AVX2 inline __m256i stored(__m256 value) {
  const __m256 positive = _mm256_max_ps(value, _mm256_setzero_ps());
  return _mm256_cvttps_epi32(_mm256_min_ps(positive, _mm256_set1_ps(255.0F)));
}

// As in the portable form; the first operand of max gives way to the second when it is NaN.
K905_AVX2 inline __m256i stored_by_stairs(__m256 value, const Staircase& stairs) {
  const __m256 above = _mm256_max_ps(value, _mm256_set1_ps(Staircase::kLowest));
  const __m256 within = _mm256_min_ps(above, _mm256_set1_ps(Staircase::kHighest));
  const __m256i bits = _mm256_castps_si256(within);
  const __m256i lowest = _mm256_castps_si256(_mm256_set1_ps(Staircase::kLowest));
  const __m256i index = _mm256_srli_epi32(_mm256_sub_epi32(bits, lowest), 16);
  const __m256i entry = looked_up(stairs.entry, index);
  const __m256i lower = _mm256_and_si256(bits, _mm256_set1_epi32(0xFFFF));
  const __m256i byte = _mm256_srli_epi32(_mm256_add_epi32(entry, lower), 16);
  const __m256 bottomless = _mm256_set1_ps(-__builtin_inff());
  const __m256i white = _mm256_castps_si256(_mm256_cmp_ps(value, bottomless, _CMP_EQ_OQ));
  return _mm256_or_si256(byte, _mm256_srli_epi32(white, 24));
}

K905_AVX2 inline __m256i finished(__m256 value, const ToneMix& mix) {
  if (mix.linear_contrast) {
    value = spread(value, _mm256_set1_ps(128.0F), _mm256_set1_ps(1.2F));
  }
  return mix.legacy != nullptr ? stored_by_stairs(value, *mix.legacy) : stored(value);
}

K905_AVX2 void tone_mix(const ToneMix& mix, std::uint8_t* plane0, std::uint8_t* plane1,
                        std::uint8_t* plane2, std::size_t width) {
  std::size_t x = 0;
  for (; x + 8 <= width; x += 8) {
    Rgb pixel = {entries(mix.table[0], plane0 + x), entries(mix.table[1], plane1 + x),
                 entries(mix.table[2], plane2 + x)};
    if (mix.saturate) pixel = spread_from_mean(pixel, _mm256_set1_ps(mix.saturation));
    pixel = times(pixel, _mm256_set1_ps(mix.balance[0]), _mm256_set1_ps(mix.balance[1]),
                  _mm256_set1_ps(mix.balance[2]));
    pixel = corrected(pixel, mix.correction);
    store_eight(plane0 + x, finished(pixel.r, mix));
    store_eight(plane1 + x, finished(pixel.g, mix));
    store_eight(plane2 + x, finished(pixel.b, mix));
  }
  portable_table().tone_mix(mix, plane0 + x, plane1 + x, plane2 + x, width - x);
}

// ---- Quarter turn -------------------------------------------------------------------------------

// Turns two squares of sixteen bytes, one in each half of the vectors: four rounds of interleaving
// row i with row i + 8 are a transpose.
K905_AVX2 inline void turn_squares(__m256i (&rows)[16]) {
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
K905_AVX2 inline void turn_block(const std::uint8_t* const* source, std::size_t x,
                                 std::uint8_t* target, std::ptrdiff_t target_stride) {
  __m256i rows[16];
  for (int i = 0; i < 16; ++i) rows[i] = load(source[i] + x);
  turn_squares(rows);
  for (int i = 0; i < 16; ++i) {
    store_half(target + i * target_stride, _mm256_castsi256_si128(rows[i]));
    store_half(target + (i + 16) * target_stride, _mm256_extracti128_si256(rows[i], 1));
  }
}

// Where the next block begins: the last one overlaps the one before it rather than being smaller.
inline std::size_t next_block(std::size_t at, std::size_t step, std::size_t end) {
  const std::size_t last = end - step;
  return at == last ? end : at + step < last ? at + step : last;
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
      turn_block(rows.data() + i, x, line + i, target_stride);
    }
  }
}

// ---- Nearest neighbour --------------------------------------------------------------------------

K905_AVX2 void copy_runs(std::span<const CopyRun> runs, const std::uint8_t* source,
                         std::uint8_t* target) {
  constexpr std::size_t kFixed = 64;
  const std::size_t end = runs.empty() ? 0 : std::size_t{runs.back().to} + runs.back().length;
  std::size_t i = 0;
  for (; i < runs.size() && runs[i].to + kFixed <= end; ++i) {
    std::uint8_t* to = target + runs[i].to;
    const std::uint8_t* from = source + runs[i].from;
    if (runs[i].length <= kFixed) {
      store(to, load(from));
      store(to + 32, load(from + 32));
    } else {
      __builtin_memcpy(to, from, runs[i].length);
    }
  }
  portable_table().copy_runs(runs.subspan(i), source, target);
}

Table make_table() {
  Table table = portable_table();
  table.name = "avx2";
  table.gray8_to_rgb = gray8_to_rgb;
  table.four_inverted_to_rgb = four_inverted_to_rgb;
  table.resize_row = resize_row;
  table.resize_across = resize_across;
  table.resize_down = resize_down;
  table.sixteenths_across = sixteenths_across;
  table.sixteenths_down = sixteenths_down;
  table.to_gray = to_gray;
  table.to_black = to_black;
  table.invert = invert;
  table.to_kcmy = to_kcmy;
  table.deinterlace = deinterlace;
  table.split = split;
  table.split_mirrored = split_mirrored;
  table.look_up = look_up;
  table.tone_mix = tone_mix;
  table.transpose = transpose;
  table.copy_runs = copy_runs;
  return table;
}

}  // namespace

const Table& avx2_table() {
  static const Table table = make_table();
  return table;
}

}  // namespace kernels
