// Pictures in another size. Integer arithmetic behind weights of plain double precision: the same
// bytes on every machine.
#pragma once

#include "apps/image/picture.h"

// The picture in exactly width x height pixels (both at least 1): a triangle as wide as the larger
// of the two pixel grids, so that nothing is skipped when it shrinks. Its own size gives the same
// bytes.
[[nodiscard]] Picture scaled(const Picture& picture, std::uint32_t width, std::uint32_t height);

enum class Fit {
  fill,     // cover everything, cut what hangs over evenly at both ends
  whole,    // show everything, leave white at both ends
  stretch,  // each direction by itself
};

// The picture put on width x height pixels that lie `density` times closer together from top to
// bottom than from left to right (1 for square pixels).
[[nodiscard]] Picture fitted(const Picture& picture, std::uint32_t width, std::uint32_t height,
                             Fit fit, double density = 1.0);

// The w x h pixels from x, y on, which must lie inside.
[[nodiscard]] Picture cropped(const Picture& picture, std::uint32_t x, std::uint32_t y,
                              std::uint32_t w, std::uint32_t h);

// Copies `tile` into `picture` with its top left pixel at x, y; both alike in channels and bits,
// and the tile must lie inside.
void paste(Picture& picture, const Picture& tile, std::uint32_t x, std::uint32_t y);
