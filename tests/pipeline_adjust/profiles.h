// Profiles in a scratch folder, and the result of Little CMS for them in one call.
#pragma once

#include <lcms2.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/profile_builder.h"

class ProfileFolder {
 public:
  [[nodiscard]] std::string path(const std::string& name) const {
    return folder_.path() + "/" + name;
  }

  // Each writes a profile, or any bytes, and returns the path.
  std::string rgb_matrix(const std::string& name, double gamma = 1.8) const {
    return file(name, rgb_matrix_profile(gamma));
  }
  std::string rgb_table(const std::string& name) const { return file(name, rgb_table_profile()); }
  std::string cmyk_table(const std::string& name) const { return file(name, cmyk_table_profile()); }
  std::string gray(const std::string& name) const { return file(name, gray_profile()); }
  std::string lab(const std::string& name) const { return file(name, lab_profile()); }
  std::string hollow(const std::string& name, cmsColorSpaceSignature space) const {
    return file(name, hollow_profile(space));
  }
  std::string file(const std::string& name, const std::string& bytes) const {
    return folder_.write(name, bytes);
  }

 private:
  ScratchFolder folder_;
};

// Converts `rgb` (three bytes per pixel) by Little CMS in one call. An empty path is the built-in
// sRGB.
[[nodiscard]] std::vector<std::uint8_t> converted_directly(const std::string& source,
                                                           const std::string& target,
                                                           cmsUInt32Number output_format,
                                                           cmsUInt32Number intent,
                                                           const std::vector<std::uint8_t>& rgb);
