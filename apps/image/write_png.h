// Writes an image as a PNG file.
#pragma once

#include <string>

#include "apps/image/picture.h"

namespace k905 {

// Pixels per inch of paper; 0 if unknown. The file then has the default of libvips, 1 pixel per
// millimeter.
struct PixelDensity {
  int horizontal_dpi = 0;
  int vertical_dpi = 0;
};

// Writes the image to `path`, or to standard output for "-". False on failure, with the reason in
// `error`; an incomplete file is removed.
[[nodiscard]] bool write_png(const std::string& path, const Picture& picture, PixelDensity density,
                             std::string& error);

}  // namespace k905
