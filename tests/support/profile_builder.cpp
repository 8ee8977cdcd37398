#include "tests/support/profile_builder.h"

#include <lcms2.h>

#include <algorithm>

namespace {

std::string saved(cmsHPROFILE profile) {
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(profile, nullptr, &size);
  std::string bytes(size, '\0');
  cmsSaveProfileToMem(profile, bytes.data(), &size);
  cmsCloseProfile(profile);
  return bytes;
}

cmsHPROFILE empty_profile(cmsColorSpaceSignature space, cmsProfileClassSignature kind) {
  cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
  cmsSetProfileVersion(profile, 2.4);
  cmsSetDeviceClass(profile, kind);
  cmsSetColorSpace(profile, space);
  cmsSetPCS(profile, cmsSigLabData);
  return profile;
}

// A simple printer: the lightness determines the amount of ink, the a and b axes divide it.
int lab_to_inks(const cmsUInt16Number in[], cmsUInt16Number out[], void*) {
  const int ink = 65535 - std::min(65535, in[0] + in[0] / 256);
  const int a = in[1] - 32768;
  const int b = in[2] - 32768;
  const auto limited = [](int value) {
    return static_cast<cmsUInt16Number>(std::clamp(value, 0, 65535));
  };
  out[0] = limited(ink - a / 2);
  out[1] = limited(ink + a / 2);
  out[2] = limited(ink + b / 2);
  out[3] = limited(ink / 4);
  return TRUE;
}

int inks_to_lab(const cmsUInt16Number in[], cmsUInt16Number out[], void*) {
  out[0] = static_cast<cmsUInt16Number>(65280 - (in[0] + in[1] + in[2]) / 4);
  out[1] = static_cast<cmsUInt16Number>(32768 + (in[1] - in[0]) / 4);
  out[2] = static_cast<cmsUInt16Number>(32768 + (in[2] - in[3]) / 4);
  return TRUE;
}

void add_table(cmsHPROFILE profile, cmsTagSignature tag, cmsUInt32Number in, cmsUInt32Number out,
               cmsSAMPLER16 sampler) {
  cmsPipeline* table = cmsPipelineAlloc(nullptr, in, out);
  cmsStage* grid = cmsStageAllocCLut16bit(nullptr, 9, in, out, nullptr);
  cmsStageSampleCLut16bit(grid, sampler, nullptr, 0);
  cmsPipelineInsertStage(table, cmsAT_END, grid);
  cmsWriteTag(profile, tag, table);
  cmsPipelineFree(table);
}

}  // namespace

std::string rgb_matrix_profile() {
  cmsCIExyY white;
  cmsWhitePointFromTemp(&white, 5500);
  const cmsCIExyYTRIPLE primaries = {{0.70, 0.29, 1.0}, {0.20, 0.72, 1.0}, {0.14, 0.06, 1.0}};
  cmsToneCurve* curve = cmsBuildGamma(nullptr, 1.8);
  cmsToneCurve* curves[3] = {curve, curve, curve};
  cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, curves);
  cmsFreeToneCurve(curve);
  return saved(profile);
}

std::string cmyk_table_profile() {
  cmsHPROFILE profile = empty_profile(cmsSigCmykData, cmsSigOutputClass);
  for (const cmsTagSignature tag : {cmsSigBToA0Tag, cmsSigBToA1Tag, cmsSigBToA2Tag}) {
    add_table(profile, tag, 3, 4, lab_to_inks);
  }
  for (const cmsTagSignature tag : {cmsSigAToB0Tag, cmsSigAToB1Tag, cmsSigAToB2Tag}) {
    add_table(profile, tag, 4, 3, inks_to_lab);
  }
  const cmsCIEXYZ white = {0.85, 0.88, 0.70};
  cmsWriteTag(profile, cmsSigMediaWhitePointTag, &white);
  return saved(profile);
}

std::string gray_profile() {
  cmsToneCurve* curve = cmsBuildGamma(nullptr, 2.2);
  cmsHPROFILE profile = cmsCreateGrayProfile(cmsD50_xyY(), curve);
  cmsFreeToneCurve(curve);
  return saved(profile);
}

std::string lab_profile() { return saved(cmsCreateLab2Profile(nullptr)); }

std::string hollow_rgb_profile() { return saved(empty_profile(cmsSigRgbData, cmsSigDisplayClass)); }
