// Startup of libvips, and images over the memory of a Picture; private to this folder. The
// functions throw vips::VError.
#pragma once

#include <string>
#include <vips/vips8>

#include "apps/image/picture.h"

namespace k905 {

// Starts libvips once, without the loaders that it marks as untrusted, except the PPM loader.
// Discards its warnings.
void start_vips();

// The reason of a failure in one line, without the name of the module of libvips. Clears the errors
// of libvips.
[[nodiscard]] std::string reason_of(const vips::VError& error);

// An image over the pixels of `picture`, which must outlive it.
[[nodiscard]] vips::VImage vips_image_over(const Picture& picture);

// Renders the image into our own memory, without its profile.
[[nodiscard]] Picture rendered(const vips::VImage& in);

[[nodiscard]] inline bool has_wide_samples(const vips::VImage& in) {
  return vips_format_sizeof(in.format()) > 1;
}

// Scales to exactly this size: averages if it shrinks, interpolates if it enlarges.
[[nodiscard]] vips::VImage scaled_exactly(const vips::VImage& in, PixelSize size);

}  // namespace k905
