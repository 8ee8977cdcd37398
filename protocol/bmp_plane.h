// One color plane in the format of the printer: an 8-bit grayscale BMP.
//
// Deliberate: the height is positive although the rows are sent top first and without padding. That
// is the printer's layout; a general BMP reader shows the image upside down.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// File header 14, information header 40, palette 1024, and 10 bytes of 0 before the pixels.
inline constexpr std::size_t kBmpHeaderSize = 1088;

using BmpHeader = std::array<std::uint8_t, kBmpHeaderSize>;

// Everything before the pixels. Width and height are written in 16 bits, the total size (width *
// height + kBmpHeaderSize) in 32.
[[nodiscard]] BmpHeader make_bmp_header(std::uint32_t width, std::uint32_t height);

// The complete image in one block: header, then the width x height bytes of `plane`. Newly
// allocated, the caller frees it with free(); stores the size in bytes where `size` is not null.
// Null if there is no memory (logged).
[[nodiscard]] std::uint8_t* k905_build_bmp_plane(std::uint32_t width, std::uint32_t height,
                                                 const std::uint8_t* plane, std::size_t* size);
