// Pictures from one color profile to sRGB, the colors that screens, the print system and the
// filter mean by red, green and blue.
#pragma once

#include <string>
#include <vector>

#include "apps/image/picture.h"

// Brings a picture that carries a profile to sRGB, red, green and blue in the bits it had; the
// profile is gone then. A picture without one is left as it is. False, with the reason in `error`
// and the picture untouched, when Little CMS can make nothing of the profile.
[[nodiscard]] bool convert_to_srgb(Picture& picture, std::string& error);

// An opened printer profile, to show sheets with. Relative colorimetric: the paper's white is the
// screen's, and a color that the screen does not have becomes its nearest.
class ProofProfile {
 public:
  // From a file, by path or by a name that the filter would find in its profile folders. Only a
  // profile of a device with red, green and blue, four inks or gray will do; otherwise ok() is
  // false and error() says why, in words that go on behind the profile's name.
  explicit ProofProfile(const std::string& path_or_name);
  ~ProofProfile();
  ProofProfile(const ProofProfile&) = delete;
  ProofProfile& operator=(const ProofProfile&) = delete;

  [[nodiscard]] bool ok() const { return transform_ != nullptr; }
  [[nodiscard]] const std::string& error() const { return error_; }

  // An 8-bit picture of a sheet's planes: afterwards as a screen would show the sheet.
  void show(Picture& sheet) const;

 private:
  void* transform_ = nullptr;
  int channels_ = 3;
  std::string error_;
};
