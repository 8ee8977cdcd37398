// Pictures in another size, by libvips. Throws std::bad_alloc when there is no memory for one.
#pragma once

#include "apps/image/picture.h"

// The largest part of `whole` whose width is `shape` times its height; at least one pixel.
[[nodiscard]] PixelSize largest_part(PixelSize whole, double shape);

// The part of that size whose top left is at x, y; it must be inside.
[[nodiscard]] Picture cropped(const Picture& picture, std::uint32_t x, std::uint32_t y,
                              PixelSize size);

// The picture in exactly that size. Its own size gives the same bytes.
[[nodiscard]] Picture scaled(const Picture& picture, PixelSize size);

// The picture in the middle of that size, which must not be smaller.
[[nodiscard]] Picture on_white(Picture picture, PixelSize size);

enum class Fit {
  fill,     // cover everything, crop evenly at both ends
  whole,    // show everything, white at both ends
  stretch,  // each direction by itself
};

// The picture on `size` pixels that are `density` times closer together from top to bottom than
// from left to right (1 for square pixels).
[[nodiscard]] Picture fitted(const Picture& picture, PixelSize size, Fit fit, double density = 1.0);
