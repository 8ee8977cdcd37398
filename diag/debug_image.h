// Images of the pipeline's stages, saved if the filter is run by hand.
#pragma once

#include <cstdint>

// The folder of the debug images; created with mode 0755 if it is missing.
inline constexpr char kDebugImageFolder[] = "/tmp/k905_debug";

// True when the filter was started by hand, that is, without the environment variable PPD (even an
// empty PPD counts as set). A stage asks this before it does any work for an image.
[[nodiscard]] bool debug_images_wanted();

// Writes the three planes as a binary PPM, one byte of each plane per pixel, rows from the top, to
// "<kDebugImageFolder>/<local time as YYYYmmdd_HHMMSS>_<tag>.ppm". The planes are width x height
// bytes each with stride `width`; a height or width that is not positive gives the PPM header
// alone. Does nothing unless debug_images_wanted(). Logs "Saved debug image" or "Cannot save debug
// image"; never fails the page. An existing file of that name is overwritten, unless
// open_plain_file refuses it. Nothing is saved if the folder is a symbolic link.
void save_debug_image(const char* tag, const std::uint8_t* plane0, const std::uint8_t* plane1,
                      const std::uint8_t* plane2, unsigned width, int height);
