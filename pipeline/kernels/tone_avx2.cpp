// Tone, on rows of planes in place. For AVX2.
#include "pipeline/kernels/avx2.h"
#include "pipeline/kernels/tone_rules.h"
#include "pipeline/kernels/variants.h"

namespace kernels {
namespace {

// The half of four candidates that bit `bit` of each byte of `index` selects.
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

// The results of the steps before the mixing, for eight bytes.
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
  const __m256 mean = _mm256_mul_ps(sum, _mm256_set1_ps(tone::kMeanFactor));
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
      const __m256 gain = _mm256_set1_ps(tone::kBrightGain);
      return times(pixel, gain, gain, gain);
    }
    case Correction::kAccurate:
      return spread_from_mean(pixel, _mm256_set1_ps(tone::kAccurateSpread));
    case Correction::kHue: {
      const __m256 own = _mm256_set1_ps(tone::kHueOwn);
      const __m256 other = _mm256_set1_ps(tone::kHueOther);
      return {_mm256_add_ps(_mm256_mul_ps(own, pixel.r), _mm256_mul_ps(other, pixel.b)), pixel.g,
              _mm256_add_ps(_mm256_mul_ps(own, pixel.b), _mm256_mul_ps(other, pixel.r))};
    }
    case Correction::kDesaturated:
      return spread_from_mean(pixel, _mm256_set1_ps(tone::kDesaturatedSpread));
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
  return _mm256_cvttps_epi32(_mm256_min_ps(positive, _mm256_set1_ps(tone::kWhite)));
}

// As in the portable kernel; max returns its second operand when the first is NaN.
K905_AVX2 inline __m256i stored_by_steps(__m256 value, const StepFunction& step_function) {
  const __m256 above = _mm256_max_ps(value, _mm256_set1_ps(StepFunction::kLowest));
  const __m256 within = _mm256_min_ps(above, _mm256_set1_ps(StepFunction::kHighest));
  const __m256i bits = _mm256_castps_si256(within);
  const __m256i lowest = _mm256_castps_si256(_mm256_set1_ps(StepFunction::kLowest));
  const __m256i index = _mm256_srli_epi32(_mm256_sub_epi32(bits, lowest), 16);
  const __m256i entry = looked_up(step_function.entry, index);
  const __m256i lower = _mm256_and_si256(bits, _mm256_set1_epi32(0xFFFF));
  const __m256i byte = _mm256_srli_epi32(_mm256_add_epi32(entry, lower), 16);
  const __m256 minus_infinity = _mm256_set1_ps(-__builtin_inff());
  const __m256i white = _mm256_castps_si256(_mm256_cmp_ps(value, minus_infinity, _CMP_EQ_OQ));
  return _mm256_or_si256(byte, _mm256_srli_epi32(white, 24));
}

K905_AVX2 inline __m256i finished(__m256 value, const ToneMix& mix) {
  if (mix.linear_contrast) {
    value = spread(value, _mm256_set1_ps(tone::kMiddle), _mm256_set1_ps(tone::kLinearContrast));
  }
  return mix.legacy != nullptr ? stored_by_steps(value, *mix.legacy) : stored(value);
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

}  // namespace

void add_tone_avx2(Table& table) {
  table.look_up = look_up;
  table.tone_mix = tone_mix;
}

}  // namespace kernels
