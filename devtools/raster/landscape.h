// A test image that resembles a photo and contains features that are difficult to print.
#pragma once

#include "apps/image/picture.h"

// A lake between mountains with a low sun: smooth sky, soft clouds, hard edges, fine texture,
// saturated flowers, a strip of color patches, and in each corner a mark of a different color, so
// that a rotated or mirrored image is easy to see.
[[nodiscard]] k905::Picture draw_landscape(std::uint32_t width, std::uint32_t height);
