// The color conversion: one call of Little CMS for the complete image.
#include <lcms2.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>

#include "tests/support/reference_state.h"

namespace reference {
namespace {

// As bytes: a profile can contain values that the enumeration cannot represent.
std::uint32_t space_of(cmsHPROFILE profile) {
  return static_cast<std::uint32_t>(cmsGetColorSpace(profile));
}

const char* space_name(std::uint32_t space) {
  switch (space) {
    case cmsSigRgbData:
      return "RGB";
    case cmsSigCmykData:
      return "CMYK";
    case cmsSigGrayData:
      return "Gray";
    case cmsSigLabData:
      return "Lab";
    case cmsSigLuvData:
      return "Luv";
    case cmsSigXYZData:
      return "XYZ";
    case cmsSigYCbCrData:
      return "YCbCr";
    case cmsSigYxyData:
      return "Yxy";
    default:
      return "Unknown";
  }
}

// Samples of a pixel after the transform; 0 for a space that is no target.
std::size_t samples_of(std::uint32_t space) {
  switch (space) {
    case cmsSigRgbData:
      return 3;
    case cmsSigCmykData:
      return 4;
    case cmsSigGrayData:
      return 1;
    default:
      return 0;
  }
}

cmsUInt32Number format_of(std::size_t samples) {
  return samples == 3 ? TYPE_RGB_8 : samples == 4 ? TYPE_CMYK_8 : TYPE_GRAY_8;
}

std::size_t center_of(const Image& image) { return image.plane[0].size() / 2; }

}  // namespace

// The file of a profile setting, or sRGB if it cannot be used.
void* PlainFilter::open_profile(const char* which, const std::string& path) {
  log_message("K905-1: Loading %s profile: %s", which, path.c_str());
  const std::string file = resolve_path(path);
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) {
    log_message("K905-1: WARNING: %s profile not found, using sRGB",
                which[0] == 's' ? "Source" : "Target");
    return cmsCreate_sRGBProfile();
  }
  cmsHPROFILE profile =
      S_ISREG(status.st_mode) ? cmsOpenProfileFromFile(file.c_str(), "r") : nullptr;
  if (profile == nullptr) {
    log_message("K905-1: WARNING: Cannot open %s profile, using sRGB", which);
    profile = cmsCreate_sRGBProfile();
  }
  return profile;
}

unsigned PlainFilter::choose_intent() {
  const std::string& name = settings.icc_intent;
  if (name == "Relative") {
    log_message("K905-1: Using Relative Colorimetric intent");
    return INTENT_RELATIVE_COLORIMETRIC;
  }
  if (name == "Saturation") {
    log_message("K905-1: Using Saturation intent");
    return INTENT_SATURATION;
  }
  if (name == "Absolute") {
    log_message("K905-1: Using Absolute Colorimetric intent");
    return INTENT_ABSOLUTE_COLORIMETRIC;
  }
  log_message("K905-1: Using Perceptual intent (default)");
  return INTENT_PERCEPTUAL;
}

void PlainFilter::convert_icc(Image& image) {
  const Settings& s = settings;
  const auto log_pixels = [this, &image](const char* when) {
    const std::size_t center = center_of(image);
    log_message("K905-1: %s ICC - Pixel[0]: R=%d, G=%d, B=%d", when, pixel(image, 0, 0),
                pixel(image, 1, 0), pixel(image, 2, 0));
    log_message("K905-1: %s ICC - Pixel[center]: R=%d, G=%d, B=%d", when, pixel(image, 0, center),
                pixel(image, 1, center), pixel(image, 2, center));
  };
  log_pixels("Before");
  if (!s.icc_enabled || s.icc_name.empty()) {
    log_message("K905-1: ICC conversion not enabled or no profile specified");
    return;
  }
  log_message("K905-1: ===== STARTING ICC CONVERSION =====");
  log_message("K905-1: Source profile: %s", s.color_base_path.c_str());
  log_message("K905-1: Target profile: %s", s.icc_path.c_str());
  log_message("K905-1: Image size: %dx%d", image.width, image.height);
  log_message("K905-1: Rendering intent: %s", s.icc_intent.c_str());
  log_message("K905-1: Color base: %s", s.color_base.c_str());
  const std::size_t center = center_of(image);
  log_message("K905-1: Before conversion center pixel: R=%d, G=%d, B=%d", pixel(image, 0, center),
              pixel(image, 1, center), pixel(image, 2, center));

  cmsHPROFILE source = open_profile("source", s.color_base_path);
  cmsHPROFILE target = open_profile("target", s.icc_path);
  const bool success = transform_image(image, source, target);
  cmsCloseProfile(target);
  log_message("K905-1: Target profile closed");
  cmsCloseProfile(source);
  log_message("K905-1: Source profile closed");
  if (success) {
    log_pixels("After");
  } else {
    log_message("K905-1: WARNING: ICC conversion failed, using original colors");
  }
}

bool PlainFilter::transform_image(Image& image, void* source, void* target) {
  const std::uint32_t from = space_of(source);
  const std::uint32_t to = space_of(target);
  log_message("K905-1: Source color space: %s", space_name(from));
  log_message("K905-1: Target color space: %s", space_name(to));
  const unsigned intent = choose_intent();
  log_message("K905-1: Creating transform: %s -> %s", space_name(from), space_name(to));
  const std::size_t samples = samples_of(to);
  if (from != cmsSigRgbData || samples == 0) {
    log_message("K905-1: ERROR: Unsupported color space conversion");
    log_message("K905-1: Source: %s, Target: %s", space_name(from), space_name(to));
    return false;
  }
  log_message("K905-1: Setting up RGB->%s transform", space_name(to));
  cmsHTRANSFORM transform =
      cmsCreateTransform(source, TYPE_RGB_8, target, format_of(samples), intent, 0);
  if (transform == nullptr) {
    // A second attempt fails too, so the test with one pixel logs nothing more.
    log_message("K905-1: ERROR: Failed to create ICC transform");
    log_message("K905-1: Testing with simple color...");
    return false;
  }
  log_message("K905-1: ICC transform created successfully");
  log_sample_colors(transform, samples);
  const bool buffers = !short_of_memory("K905-1: ERROR: Failed to allocate conversion buffers");
  if (buffers) {
    transform_pixels(image, transform, samples);
  } else {
    log_message("K905-1: ERROR: Failed to allocate conversion buffers");
  }
  cmsDeleteTransform(transform);
  log_message("K905-1: Transform deleted");
  return buffers;
}

void PlainFilter::log_sample_colors(void* transform, std::size_t samples) {
  struct Sample {
    const char* name;
    std::uint8_t rgb[3];
  };
  log_message("K905-1: Testing transform with sample colors:");
  for (const Sample& sample : {Sample{"Red", {255, 0, 0}}, Sample{"Green", {0, 255, 0}},
                               Sample{"Blue", {0, 0, 255}}, Sample{"Yellow", {255, 255, 0}}}) {
    std::uint8_t o[4] = {};
    const std::uint8_t* c = sample.rgb;
    cmsDoTransform(transform, c, o, 1);
    if (samples == 3) {
      log_message("  %s: [%3d,%3d,%3d] -> [%3d,%3d,%3d] (ΔR=%+3d, ΔG=%+3d, ΔB=%+3d)", sample.name,
                  c[0], c[1], c[2], o[0], o[1], o[2], o[0] - c[0], o[1] - c[1], o[2] - c[2]);
    } else if (samples == 4) {
      log_message("  %s: RGB[%3d,%3d,%3d] -> CMYK[%3d,%3d,%3d,%3d]", sample.name, c[0], c[1], c[2],
                  o[0], o[1], o[2], o[3]);
    }
  }
}

void PlainFilter::transform_pixels(Image& image, void* transform, std::size_t samples) {
  const std::size_t count = image.plane[0].size();
  const std::size_t center = center_of(image);
  const int before[3] = {pixel(image, 0, center), pixel(image, 1, center), pixel(image, 2, center)};
  log_message("K905-1: Preparing input data...");
  std::vector<std::uint8_t> in(count * 3);
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t channel = 0; channel < 3; ++channel) {
      in[3 * i + channel] = image.plane[channel][i];
    }
  }
  log_message("K905-1: First pixel in input buffer: R=%d, G=%d, B=%d", in[0], in[1], in[2]);
  log_message("K905-1: Performing bulk color conversion...");
  std::vector<std::uint8_t> out(count * 4);
  cmsDoTransform(transform, in.data(), out.data(), static_cast<cmsUInt32Number>(count));
  log_message("K905-1: Bulk conversion completed");
  begin_log_message("K905-1: First pixel in output buffer: ");
  if (samples == 3) {
    log_message("R=%d, G=%d, B=%d", out[0], out[1], out[2]);
  } else if (samples == 4) {
    log_message("C=%d, M=%d, Y=%d, K=%d", out[0], out[1], out[2], out[3]);
  }  // For a gray target nothing is logged, and the line continues with the next message.
  log_message("K905-1: Processing converted data...");
  if (samples == 4) {
    log_message("K905-1: Converting CMYK to CMY for printer");
  }
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t channel = 0; channel < 3; ++channel) {
      const std::uint8_t value = samples == 1 ? out[i] : out[samples * i + channel];
      image.plane[channel][i] = samples == 4 ? static_cast<std::uint8_t>(255 - value) : value;
    }
  }
  if (samples == 3) {
    log_message("K905-1: Copied RGB data back to channels");
  }

  const int after[3] = {pixel(image, 0, center), pixel(image, 1, center), pixel(image, 2, center)};
  log_message("K905-1: After conversion center pixel: R=%d, G=%d, B=%d", after[0], after[1],
              after[2]);
  log_message("K905-1: Change: ΔR=%+3d, ΔG=%+3d, ΔB=%+3d", after[0] - before[0],
              after[1] - before[1], after[2] - before[2]);
  if (std::equal(before, before + 3, after)) {
    log_message("K905-1: WARNING: No change detected in center pixel!");
    int changed = 0;
    for (std::size_t i = 0; i < count; i += 1000) {
      const bool same = image.plane[0][i] == before[0] && image.plane[1][i] == before[1] &&
                        image.plane[2][i] == before[2];
      changed += same ? 0 : 1;
    }
    log_message("K905-1: Changed pixels in sample: %d", changed);
  }
  log_message("K905-1: ICC color conversion completed");
  log_message("K905-1: ===== END ICC CONVERSION =====");
}

}  // namespace reference
