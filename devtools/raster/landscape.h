// The one test picture that is also pretty: what a photograph asks of a printer, all in one.
#pragma once

#include "apps/image/picture.h"

// A lake between mountains with a low sun: smooth sky, soft clouds, hard edges, fine texture,
// saturated flowers, a strip of color patches, and in each corner a mark of another color, so
// that a picture that was turned or mirrored shows it at once.
[[nodiscard]] Picture draw_landscape(std::uint32_t width, std::uint32_t height);
