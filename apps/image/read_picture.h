// Reading PNG, JPEG and PPM/PGM files, hostile ones included.
#pragma once

#include <optional>
#include <string>

#include "apps/image/picture.h"

// What becomes of a JPEG of four inks.
enum class Inks {
  to_colours,    // red, green, blue by plain arithmetic; its profile is dropped
  keep_profiled  // stays as it is when it carries a profile that tells what the inks look like
};

// Reads the picture in the file `path`, or on standard input for "-". The kind is told by the first
// byte, never by the name. Null on failure, with `error` saying in one line what is wrong with the
// file. Sizes that overflow, files that end early, pictures above kMostPixels, kLongestSide or
// kMostReadingBytes, and paths of anything but a regular file are failures.
//
// PNG: all depths; palettes are resolved, transparency is laid on white paper. JPEG: grey, colour
// and four inks. PPM and PGM: binary, up to 16 bits.
[[nodiscard]] std::optional<Picture> read_picture(const std::string& path, std::string& error,
                                                  Inks inks = Inks::to_colours);
