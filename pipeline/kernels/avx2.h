// Shared by the kernels for x86 CPUs with AVX2 (since 2013).
//
// The target is set on each function and never on the file: with a flag on the file, the linker
// could use this file's copy of a shared inline function on every CPU. A kernel handles whole
// vectors and leaves the rest of the row to the portable one.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#define K905_AVX2 __attribute__((target("avx2")))

namespace kernels {

K905_AVX2 inline __m256i load(const std::uint8_t* bytes) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}

K905_AVX2 inline __m128i load_half(const std::uint8_t* bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

// Sixteen bytes from each of two addresses, one in each half.
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

// Drops every fourth byte of sixteen; the last four bytes of the result are zero.
K905_AVX2 inline __m128i without_fourth() {
  return _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
}

}  // namespace kernels
