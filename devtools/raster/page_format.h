// The ways in which a raster page can hold its pixels, and pictures turned into them.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "apps/image/picture.h"

struct PageFormat {
  const char* name;
  unsigned colors;       // samples a pixel
  unsigned bits;         // a sample
  unsigned color_space;  // the header's code unless the user names another
  const char* note;

  [[nodiscard]] unsigned bits_per_pixel() const { return colors * bits; }
};

// What the filter reads, and behind it what it answers with a black page and a word in the log.
inline constexpr std::array<PageFormat, 9> page_formats{{
    {"rgb8", 3, 8, 1, "the ordinary photograph"},
    {"rgb16", 3, 16, 1, "high byte first or last as the machine has it"},
    {"gray8", 1, 8, 0, ""},
    {"gray1", 1, 1, 3, "dithered, a set bit is black"},
    {"cmyk8", 4, 8, 6, "common darkness in the fourth sample"},
    {"gray16", 1, 16, 0, "the filter does not read it"},
    {"rgb1", 3, 1, 1, "the filter does not read it"},
    {"cmyk1", 4, 1, 6, "the filter does not read it"},
    {"cmyk16", 4, 16, 6, "the filter does not read it"},
}};

// The names of the header's color space codes, in their order from 0.
inline constexpr std::array<const char*, 7> color_space_names{"W",   "RGB", "RGBA", "K",
                                                              "CMY", "YMC", "CMYK"};

[[nodiscard]] const PageFormat* find_page_format(const std::string& name);

// Bytes of a line of that many pixels.
[[nodiscard]] unsigned line_bytes(const PageFormat& format, unsigned width);

// Row y of the picture as a raster line. Gray samples count ink where the color space is K (3),
// and light everywhere else.
void encode_line(const Picture& picture, std::uint32_t y, const PageFormat& format,
                 unsigned color_space, std::vector<std::uint8_t>& line);
