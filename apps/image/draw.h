// Drawing into an image, by libvips. Parts outside the image are clipped.
#pragma once

#include <optional>
#include <string>

#include "apps/image/picture.h"

namespace k905 {

// Copies `tile` to x, y (its top left); both have the same channels and bits.
void paste(Picture& picture, const Picture& tile, std::uint32_t x, std::uint32_t y);

struct TextPlace {
  std::uint32_t x = 0;  // of the top left
  std::uint32_t y = 0;
  std::uint32_t max_width = 0;   // wider text is cut
  std::uint32_t font_size = 14;  // pixels
  double dpi_ratio = 1;          // vertical dpi divided by horizontal dpi; 1 for square pixels
};

// Draws one line of black text into an 8-bit image. Returns the size of the drawn text; 0 x 0 if
// the text is empty or there is no font or memory for it.
PixelSize draw_text(Picture& picture, const std::string& text, const TextPlace& place);

// One line of text at the bottom of an area of an 8-bit picture, centered, white with black
// outlines so that it can be read on any photo. A text that is too wide is drawn smaller.
// `font_size` and `dpi_ratio` as above. False if the text is empty or there is no font or memory
// for it.
[[nodiscard]] bool draw_caption(Picture& picture, const std::string& text, const PixelArea& area,
                                std::uint32_t font_size, double dpi_ratio);

// Red, green, blue and opacity, 8 bits each: not a Picture, where four channels are inks.
struct Overlay {
  Picture rgba;
};

// Reads a PNG file with transparency and scales it to that size. Null with one line in `error`.
[[nodiscard]] std::optional<Overlay> read_overlay(const std::string& path, PixelSize size,
                                                  std::string& error);

// Draws an overlay of the same size over an 8-bit RGB picture. Throws std::bad_alloc if there is
// not enough memory.
void draw_overlay(Picture& picture, const Overlay& overlay);

}  // namespace k905
