// ICC profiles made on the spot, in a scratch folder of their own, so that no test depends on what
// the machine has installed.
#pragma once

#include <lcms2.h>

#include <cstdint>
#include <string>
#include <vector>

class ProfileFolder {
 public:
  ProfileFolder();
  ~ProfileFolder();
  ProfileFolder(const ProfileFolder&) = delete;
  ProfileFolder& operator=(const ProfileFolder&) = delete;

  [[nodiscard]] std::string path(const std::string& name) const { return folder_ + "/" + name; }

  // Each writes a profile and returns its path.
  std::string rgb_matrix(const std::string& name, double gamma = 1.8) const;  // wide primaries
  std::string rgb_table(const std::string& name) const;   // printer: B2A per intent, all different
  std::string cmyk_table(const std::string& name) const;  // printer: white paper is 0, 0, 0, 0
  std::string gray(const std::string& name) const;
  std::string lab(const std::string& name) const;
  std::string xyz(const std::string& name) const;
  // An empty profile whose header says `space`: opens, and cannot be transformed with.
  std::string bare(const std::string& name, cmsColorSpaceSignature space) const;

  // Any bytes as a file; returns the path.
  std::string file(const std::string& name, const std::string& bytes) const;

 private:
  std::string folder_;
};

[[nodiscard]] std::string bytes_of(const std::string& path);

// What Little CMS makes of `rgb` (three bytes a pixel) in one call over all of them. An empty path
// is the built-in sRGB.
[[nodiscard]] std::vector<std::uint8_t> converted_directly(const std::string& source,
                                                           const std::string& target,
                                                           cmsUInt32Number output_format,
                                                           cmsUInt32Number intent,
                                                           const std::vector<std::uint8_t>& rgb);
