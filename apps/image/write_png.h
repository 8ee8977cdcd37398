// Writing a picture as a PNG file.
#pragma once

#include <string>

#include "apps/image/picture.h"

// How many pixels lie on an inch of paper; 0 leaves it out of the file.
struct PixelDensity {
  int horizontal_dpi = 0;
  int vertical_dpi = 0;
};

// Writes the picture to `path`, or to standard output for "-". False on failure, with the reason in
// `error`; no half a file is left behind.
[[nodiscard]] bool write_png(const std::string& path, const Picture& picture, PixelDensity density,
                             std::string& error);
