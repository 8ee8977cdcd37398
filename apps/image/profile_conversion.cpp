#include "apps/image/profile_conversion.h"

#include <lcms2.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

#include "apps/base/profiles.h"

namespace k905 {

namespace {

struct ProfileCloser {
  void operator()(void* profile) const { cmsCloseProfile(profile); }
};
using Profile = std::unique_ptr<void, ProfileCloser>;

struct TransformDeleter {
  void operator()(void* transform) const { cmsDeleteTransform(transform); }
};
using Transform = std::unique_ptr<void, TransformDeleter>;

// By default Little CMS writes to standard error.
void discard_message(cmsContext, cmsUInt32Number, const char*) {}

cmsUInt32Number format_of(const Picture& picture) {
  const bool wide = picture.bits == 16;
  switch (picture.channels) {
    case 1:
      return wide ? TYPE_GRAY_16 : TYPE_GRAY_8;
    case 4:
      return wide ? TYPE_CMYK_16 : TYPE_CMYK_8;
    default:
      return wide ? TYPE_RGB_16 : TYPE_RGB_8;
  }
}

// Perceptual, as in photo programs; matrix profiles give relative colorimetric colors.
Transform transform_to_srgb(const Picture& picture) {
  const Profile source(cmsOpenProfileFromMem(
      picture.icc_profile.data(), static_cast<cmsUInt32Number>(picture.icc_profile.size())));
  const Profile srgb(cmsCreate_sRGBProfile());
  if (!source || !srgb) {
    return nullptr;
  }
  return Transform(cmsCreateTransform(source.get(), format_of(picture), srgb.get(),
                                      picture.bits == 16 ? TYPE_RGB_16 : TYPE_RGB_8,
                                      INTENT_PERCEPTUAL, 0));
}

struct DeviceFormat {
  cmsColorSpaceSignature space;
  cmsUInt32Number format;
  int channels;
};
constexpr std::array<DeviceFormat, 3> kDeviceFormats{{{cmsSigRgbData, TYPE_RGB_8, 3},
                                                      {cmsSigCmykData, TYPE_CMYK_8, 4},
                                                      {cmsSigGrayData, TYPE_GRAY_8, 1}}};

// Printer profiles can have any of these classes. Scanner profiles and device links are refused.
bool is_for_output(cmsHPROFILE profile) {
  // A profile can contain any four bytes, and the enumeration cannot represent all of them.
  const auto kind = static_cast<cmsUInt32Number>(cmsGetDeviceClass(profile));
  return kind == cmsSigOutputClass || kind == cmsSigDisplayClass || kind == cmsSigColorSpaceClass;
}

// Converts plane values to the device values of the printer's profile: the filter inverted the inks
// and removed black; gray is the same in all three planes.
void device_pixel(const std::uint8_t* plane_values, int channels, std::uint8_t* pixel) {
  for (int i = 0; i < 3 && i < channels; ++i) {
    pixel[i] = channels == 4 ? static_cast<std::uint8_t>(255 - plane_values[i]) : plane_values[i];
  }
}

}  // namespace

bool convert_to_srgb(Picture& picture, std::string& error) {
  if (picture.icc_profile.empty()) {
    return true;
  }
  cmsSetLogErrorHandler(discard_message);
  const Transform transform = transform_to_srgb(picture);
  if (!transform) {
    error = "its color profile is broken";
    return false;
  }
  Picture converted;
  converted.width = picture.width;
  converted.height = picture.height;
  converted.bits = picture.bits;
  converted.bytes.resize(converted.row_bytes() * converted.height);
  for (std::size_t y = 0; y < picture.height; ++y) {
    cmsDoTransform(transform.get(), picture.bytes.data() + y * picture.row_bytes(),
                   converted.bytes.data() + y * converted.row_bytes(), picture.width);
  }
  picture = std::move(converted);
  return true;
}

ProofProfile::ProofProfile(const std::string& path_or_name) {
  const std::string file = find_profile_file(path_or_name);
  if (file.empty()) {
    error_ = "is not found";
    return;
  }
  cmsSetLogErrorHandler(discard_message);
  // Little CMS would block on a FIFO.
  std::error_code ignored;
  const bool is_file = std::filesystem::is_regular_file(file, ignored);
  const Profile printer(is_file ? cmsOpenProfileFromFile(file.c_str(), "r") : nullptr);
  const Profile screen(cmsCreate_sRGBProfile());
  if (!printer || !screen) {
    error_ = "cannot be read";
    return;
  }
  const bool usable = is_for_output(printer.get());
  for (const DeviceFormat& device : kDeviceFormats) {
    if (usable && cmsGetColorSpace(printer.get()) == device.space) {
      channels_ = device.channels;
      transform_.reset(cmsCreateTransform(printer.get(), device.format, screen.get(), TYPE_RGB_8,
                                          INTENT_RELATIVE_COLORIMETRIC, 0));
    }
  }
  if (transform_ == nullptr) {
    error_ = "is not a printer profile";
  }
}

void ProofProfile::Deleter::operator()(void* transform) const { cmsDeleteTransform(transform); }

void ProofProfile::convert_to_screen(Picture& sheet) const {
  std::vector<std::uint8_t> row(std::size_t{sheet.width} * static_cast<std::size_t>(channels_));
  for (std::size_t y = 0; y < sheet.height; ++y) {
    std::uint8_t* pixels = sheet.bytes.data() + y * sheet.row_bytes();
    for (std::size_t x = 0; x < sheet.width; ++x) {
      device_pixel(pixels + 3 * x, channels_, row.data() + x * static_cast<std::size_t>(channels_));
    }
    cmsDoTransform(transform_.get(), row.data(), pixels, sheet.width);
  }
}

}  // namespace k905
