// make_workloads page KIND WIDTH HEIGHT PAGES FORMAT DPI_Y ORIENTATION POINTS_W POINTS_H OUTPUT.ras
// make_workloads profiles FOLDER
// make_workloads ppm KIND WIDTH HEIGHT OUTPUT.ppm
//
// Creates inputs for the benchmarks, the same bytes on every run and every machine: pages that
// resemble photographs (KIND photo), photographs without grain (KIND smooth) or random noise (KIND
// noise) as raster streams (FORMAT plain or packed) and as PPM, and two printer profiles that need
// as much work from a color engine as real ones.
#include <cups/raster.h>
#include <fcntl.h>
#include <lcms2.h>
#include <lcms2_plugin.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

// ---- Pictures -----------------------------------------------------------------------------------

struct Generator {
  std::uint64_t state = 0x2545F4914F6CDD1DU;
  std::uint32_t next() {
    state ^= state >> 12U;
    state ^= state << 25U;
    state ^= state >> 27U;
    return static_cast<std::uint32_t>((state * 0x9E3779B97F4A7C15U) >> 32U);
  }
};

// A value of 0 to 1 for a lattice point.
float lattice(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
  std::uint32_t h = x * 0x85EBCA6BU ^ y * 0xC2B2AE35U ^ seed * 0x27D4EB2FU;
  h ^= h >> 15U;
  h *= 0x2C1B3C6DU;
  h ^= h >> 12U;
  h *= 0x297A2D39U;
  h ^= h >> 15U;
  return static_cast<float>(h & 0xFFFFU) / 65535.0F;
}

// Smoothly interpolated lattice values: the shapes of a scene at one scale.
float smooth(float x, float y, std::uint32_t seed) {
  const auto x0 = static_cast<std::uint32_t>(x);
  const auto y0 = static_cast<std::uint32_t>(y);
  const float fx = x - static_cast<float>(x0);
  const float fy = y - static_cast<float>(y0);
  const float sx = fx * fx * (3.0F - 2.0F * fx);
  const float sy = fy * fy * (3.0F - 2.0F * fy);
  const float top = lattice(x0, y0, seed) * (1.0F - sx) + lattice(x0 + 1, y0, seed) * sx;
  const float bottom = lattice(x0, y0 + 1, seed) * (1.0F - sx) + lattice(x0 + 1, y0 + 1, seed) * sx;
  return top * (1.0F - sy) + bottom * sy;
}

std::uint8_t to_byte(float value) {
  return static_cast<std::uint8_t>(std::clamp(value, 0.0F, 255.0F));
}

// Large soft shapes to fine texture, slowly changing colors, a few edges, and optionally camera
// noise: weak, and nearly the same in all channels.
Bytes photo(std::size_t width, std::size_t height, bool grainy) {
  Bytes pixels;
  pixels.reserve(width * height * 3);
  Generator noise;
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x) {
      const float u = static_cast<float>(x) / 600.0F;
      const float v = static_cast<float>(y) / 600.0F;
      float light = 130.0F * smooth(u, v, 1) + 60.0F * smooth(4 * u, 4 * v, 2);
      const float detail = smooth(1.5F * u, 1.5F * v, 3);
      if (detail > 0.55F) light += 40.0F * smooth(40 * u, 40 * v, 4) - 20.0F;
      if (smooth(2 * u, 2 * v, 5) > 0.6F) light += 45.0F;
      if (grainy) light += static_cast<float>(noise.next() % 5) - 2.0F;
      const float warmth = 70.0F * smooth(u, 0.7F * v, 6) - 35.0F;
      const float green = 40.0F * smooth(1.3F * u, v, 7) - 20.0F;
      const std::uint32_t grain = grainy ? noise.next() : 0;
      pixels.push_back(to_byte(light + warmth + static_cast<float>(grain & 1U)));
      pixels.push_back(to_byte(light + green));
      pixels.push_back(to_byte(light - warmth + static_cast<float>((grain >> 1U) & 1U)));
    }
  }
  return pixels;
}

Bytes pure_noise(std::size_t width, std::size_t height) {
  Generator noise;
  Bytes pixels(width * height * 3);
  for (std::uint8_t& byte : pixels) byte = static_cast<std::uint8_t>(noise.next() >> 24U);
  return pixels;
}

Bytes picture(const std::string& kind, std::size_t width, std::size_t height) {
  return kind == "noise" ? pure_noise(width, height) : photo(width, height, kind != "smooth");
}

// ---- Raster streams -----------------------------------------------------------------------------

cups_page_header2_t header_of(unsigned width, unsigned height, unsigned dpi_y, unsigned orientation,
                              unsigned points_wide, unsigned points_high) {
  cups_page_header2_t header;
  std::memset(&header, 0, sizeof header);
  header.HWResolution[0] = 300;
  header.HWResolution[1] = dpi_y;
  header.PageSize[0] = points_wide;
  header.PageSize[1] = points_high;
  header.Orientation = static_cast<cups_orient_t>(orientation);
  header.NumCopies = 1;
  header.cupsWidth = width;
  header.cupsHeight = height;
  header.cupsBitsPerColor = 8;
  header.cupsBitsPerPixel = 24;
  header.cupsBytesPerLine = width * 3;
  header.cupsColorOrder = CUPS_ORDER_CHUNKED;
  header.cupsColorSpace = CUPS_CSPACE_RGB;
  header.cupsNumColors = 3;
  return header;
}

int write_stream(char** argument) {
  const auto number = [argument](int i) {
    return static_cast<unsigned>(std::strtoul(argument[i], nullptr, 10));
  };
  const std::string kind = argument[0];
  const unsigned width = number(1);
  const unsigned height = number(2);
  const unsigned pages = number(3);
  const bool packed = std::strcmp(argument[4], "packed") == 0;
  cups_page_header2_t header = header_of(width, height, number(5), number(6), number(7), number(8));
  const int descriptor = open(argument[9], O_WRONLY | O_CREAT | O_TRUNC, 0644);
  cups_raster_t* raster =
      cupsRasterOpen(descriptor, packed ? CUPS_RASTER_WRITE_COMPRESSED : CUPS_RASTER_WRITE);
  if (raster == nullptr) return 1;
  Bytes pixels = picture(kind, width, height);
  for (unsigned page = 0; page < pages; ++page) {
    if (cupsRasterWriteHeader2(raster, &header) == 0) return 1;
    for (std::size_t y = 0; y < height; ++y) {
      std::uint8_t* line = pixels.data() + y * header.cupsBytesPerLine;
      if (cupsRasterWritePixels(raster, line, header.cupsBytesPerLine) == 0) return 1;
    }
  }
  cupsRasterClose(raster);
  return close(descriptor);
}

int write_ppm(char** argument) {
  const std::size_t width = std::strtoul(argument[1], nullptr, 10);
  const std::size_t height = std::strtoul(argument[2], nullptr, 10);
  const Bytes pixels = picture(argument[0], width, height);
  std::FILE* file = std::fopen(argument[3], "wb");
  if (file == nullptr) return 1;
  std::fprintf(file, "P6\n%zu %zu\n255\n", width, height);
  const bool complete = std::fwrite(pixels.data(), 1, pixels.size(), file) == pixels.size();
  return std::fclose(file) == 0 && complete ? 0 : 1;
}

// ---- Profiles -----------------------------------------------------------------------------------

// An RGB printer: three primaries and a tone curve.
bool write_matrix_profile(const std::string& path) {
  const cmsCIExyY white = {0.3457, 0.3585, 1.0};
  const cmsCIExyYTRIPLE primaries = {{0.61, 0.34, 1.0}, {0.27, 0.60, 1.0}, {0.16, 0.09, 1.0}};
  cmsToneCurve* curve = cmsBuildGamma(nullptr, 1.9);
  cmsToneCurve* curves[3] = {curve, curve, curve};
  const cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, curves);
  const bool saved = profile != nullptr && cmsSaveProfileToFile(profile, path.c_str()) != 0;
  cmsCloseProfile(profile);
  cmsFreeToneCurve(curve);
  return saved;
}

double lab_to_linear(double f) { return f > 6.0 / 29.0 ? f * f * f : (f - 4.0 / 29.0) * 0.128419; }

// Lab to inks: the complement of a color's light in three bands, with most of the common part
// replaced by black; a smooth, curved table as in the profile of a real printer.
cmsInt32Number lab_to_inks(const cmsUInt16Number in[], cmsUInt16Number out[], void* /*unused*/) {
  const double lightness = in[0] * 100.0 / 65280.0;
  const double a = in[1] / 256.0 - 128.0;
  const double b = in[2] / 256.0 - 128.0;
  const double fy = (lightness + 16.0) / 116.0;
  const double x = 0.9642 * lab_to_linear(fy + a / 500.0);
  const double y = lab_to_linear(fy);
  const double z = 0.8249 * lab_to_linear(fy - b / 200.0);
  const double light[3] = {3.1339 * x - 1.6169 * y - 0.4906 * z,
                           -0.9788 * x + 1.9161 * y + 0.0335 * z,
                           0.0719 * x - 0.2290 * y + 1.4052 * z};
  double ink[3];
  for (int c = 0; c < 3; ++c) ink[c] = 1.0 - std::pow(std::clamp(light[c], 0.0, 1.0), 1.0 / 2.1);
  const double black = 0.7 * std::pow(std::min({ink[0], ink[1], ink[2]}), 1.8);
  for (int c = 0; c < 3; ++c) {
    out[c] = static_cast<cmsUInt16Number>(std::clamp(ink[c] - 0.8 * black, 0.0, 1.0) * 65535.0);
  }
  out[3] = static_cast<cmsUInt16Number>(black * 65535.0);
  return 1;
}

bool write_table_profile(const std::string& path) {
  const cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
  cmsSetProfileVersion(profile, 2.4);
  cmsSetDeviceClass(profile, cmsSigOutputClass);
  cmsSetColorSpace(profile, cmsSigCmykData);
  cmsSetPCS(profile, cmsSigLabData);
  cmsPipeline* table = cmsPipelineAlloc(nullptr, 3, 4);
  cmsStage* grid = cmsStageAllocCLut16bit(nullptr, 33, 3, 4, nullptr);
  const bool made = cmsStageSampleCLut16bit(grid, lab_to_inks, nullptr, 0) != 0 &&
                    cmsPipelineInsertStage(table, cmsAT_END, grid) != 0 &&
                    cmsWriteTag(profile, cmsSigBToA0Tag, table) != 0;
  const bool saved = made && cmsSaveProfileToFile(profile, path.c_str()) != 0;
  cmsPipelineFree(table);
  cmsCloseProfile(profile);
  return saved;
}

bool write_srgb_profile(const std::string& path) {
  const cmsHPROFILE profile = cmsCreate_sRGBProfile();
  const bool saved = cmsSaveProfileToFile(profile, path.c_str()) != 0;
  cmsCloseProfile(profile);
  return saved;
}

int write_profiles(const std::string& folder) {
  const bool written = write_srgb_profile(folder + "/k905-bench-source.icc") &&
                       write_matrix_profile(folder + "/k905-bench-matrix.icc") &&
                       write_table_profile(folder + "/k905-bench-table.icc");
  return written ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc > 1 ? argv[1] : "";
  if (what == "page" && argc == 12) return write_stream(argv + 2);
  if (what == "ppm" && argc == 6) return write_ppm(argv + 2);
  if (what == "profiles" && argc == 3) return write_profiles(argv[2]);
  std::fprintf(stderr,
               "usage: make_workloads page photo|smooth|noise WIDTH HEIGHT PAGES plain|packed DPI_Y"
               " ORIENTATION POINTS_W POINTS_H OUTPUT\n"
               "       make_workloads ppm photo|smooth|noise WIDTH HEIGHT OUTPUT\n"
               "       make_workloads profiles FOLDER\n");
  return 2;
}
