// The 64-bit FNV-1a hash, to compare contents and names. It detects accidental changes, not
// deliberate collisions.
#pragma once

#include <cstdint>
#include <string_view>

inline constexpr std::uint64_t kFnv1aOffsetBasis = 0xcbf29ce484222325;

// The hash of `bytes`, or, if `hash` is that of earlier bytes, of those bytes followed by `bytes`.
[[nodiscard]] constexpr std::uint64_t fnv1a(std::string_view bytes,
                                            std::uint64_t hash = kFnv1aOffsetBasis) {
  constexpr std::uint64_t prime = 0x100000001b3;
  for (const char byte : bytes) {
    hash = (hash ^ static_cast<unsigned char>(byte)) * prime;
  }
  return hash;
}
