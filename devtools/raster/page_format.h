// The pixel formats of a raster page, and the conversion of images to them.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "apps/image/picture.h"

struct PageFormat {
  const char* name;
  unsigned colors;       // samples per pixel
  unsigned bits;         // per sample
  unsigned color_space;  // the code in the header, unless the user sets another
  const char* note;

  [[nodiscard]] unsigned bits_per_pixel() const { return colors * bits; }
};

// The formats that the filter reads, followed by those for which it prints a black page and logs an
// error.
inline constexpr std::array<PageFormat, 9> page_formats{{
    {"rgb8", 3, 8, 1, "the ordinary photograph"},
    {"rgb16", 3, 16, 1, "in the byte order of the machine"},
    {"gray8", 1, 8, 0, ""},
    {"gray1", 1, 1, 3, "dithered, a set bit is black"},
    {"cmyk8", 4, 8, 6, "the darkness that all three inks share becomes black, the fourth sample"},
    {"gray16", 1, 16, 0, "the filter does not read it"},
    {"rgb1", 3, 1, 1, "the filter does not read it"},
    {"cmyk1", 4, 1, 6, "the filter does not read it"},
    {"cmyk16", 4, 16, 6, "the filter does not read it"},
}};

// The names of the color space codes in the header, in order from 0.
inline constexpr std::array<const char*, 7> color_space_names{"W",   "RGB", "RGBA", "K",
                                                              "CMY", "YMC", "CMYK"};

[[nodiscard]] const PageFormat* find_page_format(const std::string& name);

// Bytes of a line with this number of pixels.
[[nodiscard]] unsigned line_bytes(const PageFormat& format, unsigned width);

// Row y of the image as a raster line. Gray samples are amounts of ink in the color space K (3),
// and of light in all others.
void encode_line(const k905::Picture& picture, std::uint32_t y, const PageFormat& format,
                 unsigned color_space, std::vector<std::uint8_t>& line);
