// Drawing on a picture, by libvips. What is outside of the picture is not drawn.
#pragma once

#include <string>

#include "apps/image/picture.h"

// Copies `tile` to x, y (its top left); both have the same channels and bits.
void paste(Picture& picture, const Picture& tile, std::uint32_t x, std::uint32_t y);

struct TextPlace {
  std::uint32_t x = 0;  // of the top left
  std::uint32_t y = 0;
  std::uint32_t most_width = 0;  // what is wider is cut off
  std::uint32_t font_size = 14;  // pixels
};

// One line of text in black on an 8-bit picture. The size of what was drawn; 0 x 0 for an empty
// text and when there is no font or memory for it.
PixelSize draw_text(Picture& picture, const std::string& text, const TextPlace& place);
