#include "tests/pipeline_adjust/profiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

// What a table is filled from: 16-bit values in, 16-bit values out, and a number that makes one
// table differ from the next.
using Sampler = cmsInt32Number (*)(const cmsUInt16Number in[], cmsUInt16Number out[],
                                   void* variant);

cmsUInt16Number bent(double value, double gamma) {
  return static_cast<cmsUInt16Number>(std::lround(std::pow(value / 65535.0, gamma) * 65535.0));
}

// Lab (as the table has it: L, a, b with a = b = 128 neutral) to something like a printer's RGB.
cmsInt32Number lab_to_rgb(const cmsUInt16Number in[], cmsUInt16Number out[], void* variant) {
  const double gamma = 1.0 + 0.2 * *static_cast<const int*>(variant);
  const double a = (in[1] - 32896.0) * 0.5;
  const double b = (in[2] - 32896.0) * 0.5;
  out[0] = bent(std::clamp(in[0] + a + 0.3 * b, 0.0, 65535.0), gamma);
  out[1] = bent(std::clamp(in[0] - a + 0.1 * b, 0.0, 65535.0), gamma);
  out[2] = bent(std::clamp(in[0] - b, 0.0, 65535.0), gamma);
  return TRUE;
}

cmsInt32Number lab_to_cmyk(const cmsUInt16Number in[], cmsUInt16Number out[], void* variant) {
  cmsUInt16Number rgb[3];
  lab_to_rgb(in, rgb, variant);
  const cmsUInt16Number ink[3] = {static_cast<cmsUInt16Number>(65535 - rgb[0]),
                                  static_cast<cmsUInt16Number>(65535 - rgb[1]),
                                  static_cast<cmsUInt16Number>(65535 - rgb[2])};
  const cmsUInt16Number black = std::min({ink[0], ink[1], ink[2]});
  out[3] = bent(black, 3.0);
  for (int i = 0; i < 3; ++i) out[i] = static_cast<cmsUInt16Number>(ink[i] - out[3] / 2);
  return TRUE;
}

cmsInt32Number rgb_to_lab(const cmsUInt16Number in[], cmsUInt16Number out[], void*) {
  out[0] = static_cast<cmsUInt16Number>((in[0] + in[1] + in[2]) / 3);
  out[1] = static_cast<cmsUInt16Number>(32896 + (in[0] - in[1]) / 4);
  out[2] = static_cast<cmsUInt16Number>(32896 + (in[1] - in[2]) / 4);
  return TRUE;
}

cmsInt32Number cmyk_to_lab(const cmsUInt16Number in[], cmsUInt16Number out[], void* variant) {
  cmsUInt16Number rgb[3];
  for (int i = 0; i < 3; ++i) {
    rgb[i] = static_cast<cmsUInt16Number>(65535 - std::min(65535, in[i] + in[3]));
  }
  return rgb_to_lab(rgb, out, variant);
}

void write_table(cmsHPROFILE profile, cmsTagSignature tag, cmsUInt32Number inputs,
                 cmsUInt32Number outputs, Sampler sampler, int variant) {
  cmsPipeline* pipeline = cmsPipelineAlloc(nullptr, inputs, outputs);
  cmsStage* table = cmsStageAllocCLut16bit(nullptr, 9, inputs, outputs, nullptr);
  cmsStageSampleCLut16bit(table, sampler, &variant, 0);
  cmsPipelineInsertStage(pipeline, cmsAT_BEGIN, cmsStageAllocToneCurves(nullptr, inputs, nullptr));
  cmsPipelineInsertStage(pipeline, cmsAT_END, table);
  cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocToneCurves(nullptr, outputs, nullptr));
  EXPECT_TRUE(cmsWriteTag(profile, tag, pipeline));
  cmsPipelineFree(pipeline);
}

cmsHPROFILE new_printer(cmsColorSpaceSignature space) {
  cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
  cmsSetProfileVersion(profile, 2.4);
  cmsSetDeviceClass(profile, cmsSigOutputClass);
  cmsSetColorSpace(profile, space);
  cmsSetPCS(profile, cmsSigLabData);
  const cmsCIEXYZ paper = {0.90, 0.94, 0.75};  // a little off white, so that "absolute" differs
  EXPECT_TRUE(cmsWriteTag(profile, cmsSigMediaWhitePointTag, &paper));
  return profile;
}

std::string saved(cmsHPROFILE profile, const std::string& path) {
  EXPECT_NE(profile, nullptr);
  EXPECT_TRUE(cmsSaveProfileToFile(profile, path.c_str()));
  cmsCloseProfile(profile);
  return path;
}

cmsHPROFILE opened(const std::string& path) {
  return path.empty() ? cmsCreate_sRGBProfile() : cmsOpenProfileFromFile(path.c_str(), "r");
}

}  // namespace

ProfileFolder::ProfileFolder() {
  std::string pattern = testing::TempDir() + "k905_profiles_XXXXXX";
  folder_ = mkdtemp(pattern.data());
}

ProfileFolder::~ProfileFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::string ProfileFolder::rgb_matrix(const std::string& name, double gamma) const {
  const cmsCIExyY white = {0.3127, 0.3290, 1.0};
  const cmsCIExyYTRIPLE primaries = {{0.64, 0.33, 1.0}, {0.21, 0.71, 1.0}, {0.15, 0.06, 1.0}};
  cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
  cmsToneCurve* curves[3] = {curve, curve, curve};
  cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, curves);
  cmsFreeToneCurve(curve);
  return saved(profile, path(name));
}

std::string ProfileFolder::rgb_table(const std::string& name) const {
  cmsHPROFILE profile = new_printer(cmsSigRgbData);
  write_table(profile, cmsSigAToB0Tag, 3, 3, rgb_to_lab, 0);
  write_table(profile, cmsSigBToA0Tag, 3, 3, lab_to_rgb, 0);
  write_table(profile, cmsSigBToA1Tag, 3, 3, lab_to_rgb, 1);
  write_table(profile, cmsSigBToA2Tag, 3, 3, lab_to_rgb, 2);
  return saved(profile, path(name));
}

std::string ProfileFolder::cmyk_table(const std::string& name) const {
  cmsHPROFILE profile = new_printer(cmsSigCmykData);
  write_table(profile, cmsSigAToB0Tag, 4, 3, cmyk_to_lab, 0);
  write_table(profile, cmsSigBToA0Tag, 3, 4, lab_to_cmyk, 0);
  return saved(profile, path(name));
}

std::string ProfileFolder::gray(const std::string& name) const {
  cmsToneCurve* curve = cmsBuildGamma(nullptr, 2.2);
  cmsHPROFILE profile = cmsCreateGrayProfile(cmsD50_xyY(), curve);
  cmsFreeToneCurve(curve);
  return saved(profile, path(name));
}

std::string ProfileFolder::lab(const std::string& name) const {
  return saved(cmsCreateLab4Profile(nullptr), path(name));
}

std::string ProfileFolder::xyz(const std::string& name) const {
  return saved(cmsCreateXYZProfile(), path(name));
}

std::string ProfileFolder::bare(const std::string& name, cmsColorSpaceSignature space) const {
  return saved(new_printer(space), path(name));
}

std::string ProfileFolder::file(const std::string& name, const std::string& bytes) const {
  std::ofstream(path(name), std::ios::binary) << bytes;
  return path(name);
}

std::string bytes_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

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
