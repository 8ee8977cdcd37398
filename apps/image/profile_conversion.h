// Converts images from one color profile to sRGB, the color space that screens, the print system
// and the filter use.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "apps/image/picture.h"

namespace k905 {

// Converts an image with a profile to sRGB, red, green and blue with the same number of bits, and
// removes the profile. An image without a profile is not changed. False, with the reason in `error`
// and the image unchanged, if Little CMS cannot use the profile.
[[nodiscard]] bool convert_to_srgb(Picture& picture, std::string& error);

// An open printer profile, for showing sheets on a screen. Relative colorimetric: the white of the
// paper becomes the white of the screen, and a color that the screen cannot show becomes the
// nearest one.
class ProofProfile {
 public:
  // Opens a file, by path or by a name in one of the filter's profile folders. The profile must be
  // for an RGB, CMYK or gray device; otherwise ok() is false, and error() gives the reason as a
  // phrase that follows the profile's name.
  explicit ProofProfile(const std::string& path_or_name);

  [[nodiscard]] bool ok() const { return transform_ != nullptr; }
  [[nodiscard]] const std::string& error() const { return error_; }

  // Converts an 8-bit image of a sheet's planes to the colors of a screen.
  void convert_to_screen(Picture& sheet) const;

 private:
  struct Deleter {
    void operator()(void* transform) const;
  };
  std::unique_ptr<void, Deleter> transform_;
  int channels_ = 3;
  std::string error_;
};

}  // namespace k905
