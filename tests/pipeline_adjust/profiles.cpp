#include "tests/pipeline_adjust/profiles.h"

#include <gtest/gtest.h>

namespace {

cmsHPROFILE opened(const std::string& path) {
  return path.empty() ? cmsCreate_sRGBProfile() : cmsOpenProfileFromFile(path.c_str(), "r");
}

}  // namespace

std::vector<std::uint8_t> converted_directly(const std::string& source, const std::string& target,
                                             cmsUInt32Number output_format, cmsUInt32Number intent,
                                             const std::vector<std::uint8_t>& rgb) {
  cmsHPROFILE from = opened(source);
  cmsHPROFILE to = opened(target);
  cmsHTRANSFORM transform = cmsCreateTransform(from, TYPE_RGB_8, to, output_format, intent, 0);
  EXPECT_NE(transform, nullptr);
  const std::size_t pixels = rgb.size() / 3;
  std::vector<std::uint8_t> out(pixels * T_CHANNELS(output_format));
  cmsDoTransform(transform, rgb.data(), out.data(), static_cast<cmsUInt32Number>(pixels));
  cmsDeleteTransform(transform);
  cmsCloseProfile(to);
  cmsCloseProfile(from);
  return out;
}
