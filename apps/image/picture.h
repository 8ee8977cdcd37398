// An image in memory, as the programs read, draw and write it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace k905 {

struct PixelSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

struct PixelArea {
  std::uint32_t left = 0;
  std::uint32_t top = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

// Rows from the top, pixels from the left, samples of a pixel side by side: no padding anywhere.
// 16-bit samples are two bytes each in the machine's own order.
struct Picture {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  // 1 (gray), 3 (RGB) or 4 (CMYK: the maximum value is full ink).
  int channels = 3;
  int bits = 8;  // 8 or 16 per sample
  std::vector<std::uint8_t> bytes;
  std::vector<std::uint8_t> icc_profile;  // as embedded; empty if there is none for these channels

  [[nodiscard]] std::size_t sample_bytes() const { return bits == 16 ? 2 : 1; }
  [[nodiscard]] std::size_t row_bytes() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(channels) * sample_bytes();
  }
  // A sample widened to 16 bits: 255 becomes 65535.
  [[nodiscard]] std::uint16_t sample(std::uint32_t x, std::uint32_t y, int channel) const;
};

// The largest number of pixels that is read or made, about 16000 x 16000: a file of a few bytes can
// claim any size.
inline constexpr std::uint64_t kMaxPixels = 1ULL << 28;
// The longest side, because decoders allocate a complete row.
inline constexpr std::uint64_t kMaxSide = 1ULL << 20;

// A black image of 8-bit red, green and blue.
[[nodiscard]] Picture black_picture(std::uint32_t width, std::uint32_t height);

// Returns a gray or color image in 8 bits of red, green and blue, without color conversion.
[[nodiscard]] Picture eight_bit_colors(const Picture& picture);

// Converts an 8-bit CMYK image to RGB without a profile: red is (1 - cyan) * (1 - black), and so
// on.
void inks_to_colors(Picture& picture);

}  // namespace k905
