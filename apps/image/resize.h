// Scaling of images, by libvips. Throws std::bad_alloc.
#pragma once

#include "apps/image/picture.h"

namespace k905 {

// The largest part of `whole` with a width of `shape` times its height; at least one pixel.
[[nodiscard]] PixelSize largest_part(PixelSize whole, double shape);

// The part of this size with its top left at x, y; it must be inside the image.
[[nodiscard]] Picture cropped(const Picture& picture, std::uint32_t x, std::uint32_t y,
                              PixelSize size);

// The image scaled to exactly this size. If it already has this size, the bytes do not change.
[[nodiscard]] Picture scaled(const Picture& picture, PixelSize size);

// The image in the middle of a white one of this size, which must not be smaller.
[[nodiscard]] Picture on_white(Picture picture, PixelSize size);

enum class Fit {
  fill,     // cover the whole area, crop equally at two opposite edges
  whole,    // show the whole image, with white edges
  stretch,  // scale each direction separately
};

// Scales the image to `size` pixels. `dpi_ratio` is the vertical dpi divided by the horizontal dpi;
// 1 for square pixels.
[[nodiscard]] Picture fitted(const Picture& picture, PixelSize size, Fit fit,
                             double dpi_ratio = 1.0);

}  // namespace k905
