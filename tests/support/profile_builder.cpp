#include "tests/support/profile_builder.h"

#include <algorithm>
#include <cmath>

namespace {

std::string saved(cmsHPROFILE profile) {
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(profile, nullptr, &size);
  std::string bytes(size, '\0');
  cmsSaveProfileToMem(profile, bytes.data(), &size);
  cmsCloseProfile(profile);
  return bytes;
}

// What a table is filled from: 16-bit values in, 16-bit values out, and a number that makes one
// table differ from the next.
using Sampler = cmsInt32Number (*)(const cmsUInt16Number in[], cmsUInt16Number out[],
                                   void* variant);

cmsUInt16Number with_gamma(double value, double gamma) {
  return static_cast<cmsUInt16Number>(std::lround(std::pow(value / 65535.0, gamma) * 65535.0));
}

// Lab (as the table has it: L, a, b with a = b = 128 neutral) to something like a printer's RGB.
cmsInt32Number lab_to_rgb(const cmsUInt16Number in[], cmsUInt16Number out[], void* variant) {
  const double gamma = 1.0 + 0.2 * *static_cast<const int*>(variant);
  const double a = (in[1] - 32896.0) * 0.5;
  const double b = (in[2] - 32896.0) * 0.5;
  out[0] = with_gamma(std::clamp(in[0] + a + 0.3 * b, 0.0, 65535.0), gamma);
  out[1] = with_gamma(std::clamp(in[0] - a + 0.1 * b, 0.0, 65535.0), gamma);
  out[2] = with_gamma(std::clamp(in[0] - b, 0.0, 65535.0), gamma);
  return TRUE;
}

cmsInt32Number rgb_to_lab(const cmsUInt16Number in[], cmsUInt16Number out[], void*) {
  out[0] = static_cast<cmsUInt16Number>((in[0] + in[1] + in[2]) / 3);
  out[1] = static_cast<cmsUInt16Number>(32896 + (in[0] - in[1]) / 4);
  out[2] = static_cast<cmsUInt16Number>(32896 + (in[1] - in[2]) / 4);
  return TRUE;
}

void write_table(cmsHPROFILE profile, cmsTagSignature tag, cmsUInt32Number inputs,
                 cmsUInt32Number outputs, Sampler sampler, int variant) {
  cmsPipeline* pipeline = cmsPipelineAlloc(nullptr, inputs, outputs);
  cmsStage* table = cmsStageAllocCLut16bit(nullptr, 9, inputs, outputs, nullptr);
  cmsStageSampleCLut16bit(table, sampler, &variant, 0);
  cmsPipelineInsertStage(pipeline, cmsAT_BEGIN, cmsStageAllocToneCurves(nullptr, inputs, nullptr));
  cmsPipelineInsertStage(pipeline, cmsAT_END, table);
  cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocToneCurves(nullptr, outputs, nullptr));
  cmsWriteTag(profile, tag, pipeline);
  cmsPipelineFree(pipeline);
}

// The paper is a little off white, so that the intent "absolute" differs.
cmsHPROFILE new_printer_profile(cmsColorSpaceSignature space,
                                const cmsCIEXYZ& paper = {0.90, 0.94, 0.75}) {
  cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
  cmsSetProfileVersion(profile, 2.4);
  cmsSetDeviceClass(profile, cmsSigOutputClass);
  cmsSetColorSpace(profile, space);
  cmsSetPCS(profile, cmsSigLabData);
  cmsWriteTag(profile, cmsSigMediaWhitePointTag, &paper);
  return profile;
}

// A rough model of a printer: the lightness decides the amount of ink, a and b distribute it.
cmsInt32Number lab_to_inks(const cmsUInt16Number in[], cmsUInt16Number out[], void*) {
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

cmsInt32Number inks_to_lab(const cmsUInt16Number in[], cmsUInt16Number out[], void*) {
  out[0] = static_cast<cmsUInt16Number>(65280 - (in[0] + in[1] + in[2]) / 4);
  out[1] = static_cast<cmsUInt16Number>(32768 + (in[1] - in[0]) / 4);
  out[2] = static_cast<cmsUInt16Number>(32768 + (in[2] - in[3]) / 4);
  return TRUE;
}

cmsHPROFILE rgb_profile(const cmsCIExyY& white, const cmsCIExyYTRIPLE& primaries, double gamma) {
  cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
  cmsToneCurve* curves[3] = {curve, curve, curve};
  cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, curves);
  cmsFreeToneCurve(curve);
  return profile;
}

}  // namespace

std::string wide_rgb_profile() {
  cmsCIExyY white;
  cmsWhitePointFromTemp(&white, 5500);
  return saved(rgb_profile(white, {{0.70, 0.29, 1.0}, {0.20, 0.72, 1.0}, {0.14, 0.06, 1.0}}, 1.8));
}

std::string cmyk_table_profile() {
  cmsHPROFILE profile = new_printer_profile(cmsSigCmykData, {0.85, 0.88, 0.70});
  for (const cmsTagSignature tag : {cmsSigBToA0Tag, cmsSigBToA1Tag, cmsSigBToA2Tag}) {
    write_table(profile, tag, 3, 4, lab_to_inks, 0);
  }
  for (const cmsTagSignature tag : {cmsSigAToB0Tag, cmsSigAToB1Tag, cmsSigAToB2Tag}) {
    write_table(profile, tag, 4, 3, inks_to_lab, 0);
  }
  return saved(profile);
}

std::string rgb_matrix_profile(double gamma) {
  return saved(rgb_profile({0.3127, 0.3290, 1.0},
                           {{0.64, 0.33, 1.0}, {0.21, 0.71, 1.0}, {0.15, 0.06, 1.0}}, gamma));
}

std::string rgb_table_profile() {
  cmsHPROFILE profile = new_printer_profile(cmsSigRgbData);
  write_table(profile, cmsSigAToB0Tag, 3, 3, rgb_to_lab, 0);
  write_table(profile, cmsSigBToA0Tag, 3, 3, lab_to_rgb, 0);
  write_table(profile, cmsSigBToA1Tag, 3, 3, lab_to_rgb, 1);
  write_table(profile, cmsSigBToA2Tag, 3, 3, lab_to_rgb, 2);
  return saved(profile);
}

std::string gray_profile() {
  cmsToneCurve* curve = cmsBuildGamma(nullptr, 2.2);
  cmsHPROFILE profile = cmsCreateGrayProfile(cmsD50_xyY(), curve);
  cmsFreeToneCurve(curve);
  return saved(profile);
}

std::string lab_profile() { return saved(cmsCreateLab2Profile(nullptr)); }

std::string hollow_profile(cmsColorSpaceSignature space) {
  return saved(new_printer_profile(space));
}

std::string hollow_rgb_profile() {
  cmsHPROFILE profile = new_printer_profile(cmsSigRgbData);
  cmsSetDeviceClass(profile, cmsSigDisplayClass);
  return saved(profile);
}
