#include "apps/adapter/page_pixels.h"

#include <lcms2.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace k905 {

namespace {

// The largest number of pixels that the filter accepts.
constexpr std::uint64_t kMaxPixels = std::uint64_t{1} << 29;
// The largest plausible padding of lines.
constexpr std::uint64_t kMaxUnusedBytes = 4096;

bool is_consistent(const cups_page_header2_t& header) {
  const std::uint64_t bits =
      std::uint64_t{header.cupsBitsPerColor} * header.cupsNumColors * header.cupsWidth;
  return header.cupsWidth > 0 && header.cupsHeight > 0 &&
         std::uint64_t{header.cupsWidth} * header.cupsHeight <= kMaxPixels &&
         header.cupsBytesPerLine >= (bits + 7) / 8 &&
         header.cupsBytesPerLine <= (bits + 7) / 8 + kMaxUnusedBytes &&
         header.HWResolution[0] > 0 && header.HWResolution[1] > 0 &&
         (header.cupsColorOrder == CUPS_ORDER_CHUNKED || header.cupsNumColors == 1);
}

bool is_ink(cups_cspace_t space) { return space == CUPS_CSPACE_CMY || space == CUPS_CSPACE_YMC; }

struct ProfileCloser {
  void operator()(void* profile) const { cmsCloseProfile(profile); }
};
using Profile = std::unique_ptr<void, ProfileCloser>;

struct CurveDeleter {
  void operator()(cmsToneCurve* curve) const { cmsFreeToneCurve(curve); }
};

// The published primaries, white point and exponent of Adobe RGB (1998).
Profile adobe_rgb() {
  const cmsCIExyY white{0.3127, 0.3290, 1.0};
  const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1.0}, {0.21, 0.71, 1.0}, {0.15, 0.06, 1.0}};
  const std::unique_ptr<cmsToneCurve, CurveDeleter> gamma(cmsBuildGamma(nullptr, 563.0 / 256.0));
  if (gamma == nullptr) throw std::bad_alloc();
  cmsToneCurve* const curves[3] = {gamma.get(), gamma.get(), gamma.get()};
  return Profile(cmsCreateRGBProfile(&white, &primaries, curves));
}

cmsHTRANSFORM adobe_rgb_to_srgb(std::size_t sample_bytes) {
  const Profile from = adobe_rgb();
  const Profile to(cmsCreate_sRGBProfile());
  const cmsUInt32Number format = sample_bytes == 2 ? TYPE_RGB_16 : TYPE_RGB_8;
  cmsHTRANSFORM transform =
      cmsCreateTransform(from.get(), format, to.get(), format, INTENT_RELATIVE_COLORIMETRIC, 0);
  if (transform == nullptr) throw std::bad_alloc();
  return transform;
}

std::uint8_t over_white(unsigned value, unsigned opacity) {
  return static_cast<std::uint8_t>((value * opacity + 255U * (255U - opacity) + 127U) / 255U);
}

}  // namespace

void PagePixels::TransformDeleter::operator()(void* transform) const {
  cmsDeleteTransform(transform);
}

PagePixels::PagePixels(const cups_page_header2_t& header, Conversion conversion,
                       cups_cspace_t space, const RowFormat& format)
    : width_(header.cupsWidth), conversion_(conversion), space_(space), format_(format) {
  if (conversion_ != Conversion::none) row_.resize(width_ * format_.pixel_bytes());
  if (conversion_ == Conversion::from_adobe_rgb) {
    to_srgb_.reset(adobe_rgb_to_srgb(format_.sample_bytes));
  }
}

std::optional<PagePixels> PagePixels::of(const cups_page_header2_t& header) {
  if (!is_consistent(header)) return std::nullopt;
  const unsigned colors = header.cupsNumColors;
  const unsigned bits = header.cupsBitsPerColor;
  const cups_cspace_t space = header.cupsColorSpace;
  const RowFormat gray{.channels = 1};
  if (colors == 1) {
    // The filter reads a gray byte as brightness, even if the color space of the header is ink.
    const bool ink = space == CUPS_CSPACE_K;
    const cups_cspace_t light = ink || space == CUPS_CSPACE_SW ? CUPS_CSPACE_W : space;
    if (bits == 1) return PagePixels(header, Conversion::bits_to_gray, light, gray);
    if (bits == 8) {
      return PagePixels(header, ink ? Conversion::inverted : Conversion::none, light, gray);
    }
    if (bits == 16) {
      return PagePixels(header, ink ? Conversion::inverted_high_byte : Conversion::high_byte, light,
                        gray);
    }
  }
  if (colors == 3 && (bits == 8 || bits == 16)) {
    const RowFormat rgb{.sample_bytes = bits / 8,
                        .white = static_cast<std::uint8_t>(is_ink(space) ? 0x00 : 0xFF)};
    if (space == CUPS_CSPACE_SRGB)
      return PagePixels(header, Conversion::none, CUPS_CSPACE_RGB, rgb);
    if (space == CUPS_CSPACE_ADOBERGB) {
      return PagePixels(header, Conversion::from_adobe_rgb, CUPS_CSPACE_RGB, rgb);
    }
    return PagePixels(header, Conversion::none, space, rgb);
  }
  if (colors == 4 && bits == 8) {
    if (space == CUPS_CSPACE_RGBA) {
      return PagePixels(header, Conversion::over_white, CUPS_CSPACE_RGB, {});
    }
    // Deliberate: in CMY and YMC the filter inverts four inks twice, so that it prints the bytes as
    // brightness.
    const RowFormat inks{.channels = 4,
                         .white = static_cast<std::uint8_t>(is_ink(space) ? 0xFF : 0)};
    return PagePixels(header, Conversion::none, space, inks);
  }
  return std::nullopt;
}

void PagePixels::set_format(cups_page_header2_t& header) const {
  header.cupsNumColors = static_cast<unsigned>(format_.channels);
  header.cupsBitsPerColor = static_cast<unsigned>(8 * format_.sample_bytes);
  header.cupsBitsPerPixel = static_cast<unsigned>(8 * format_.pixel_bytes());
  header.cupsColorOrder = CUPS_ORDER_CHUNKED;
  header.cupsColorSpace = space_;
}

const std::uint8_t* PagePixels::convert(const std::uint8_t* line) {
  switch (conversion_) {
    case Conversion::none:
      return line;
    case Conversion::bits_to_gray:
      for (std::size_t x = 0; x < width_; ++x) {
        row_[x] = (line[x / 8] & 0x80U >> x % 8) != 0 ? 0x00 : 0xFF;
      }
      break;
    case Conversion::inverted:
      std::transform(line, line + width_, row_.begin(),
                     [](std::uint8_t ink) { return static_cast<std::uint8_t>(0xFF - ink); });
      break;
    case Conversion::high_byte:
    case Conversion::inverted_high_byte: {
      const std::uint8_t flipped = conversion_ == Conversion::high_byte ? 0x00 : 0xFF;
      for (std::size_t x = 0; x < width_; ++x) {
        std::uint16_t sample = 0;
        std::memcpy(&sample, line + 2 * x, sizeof sample);
        row_[x] = static_cast<std::uint8_t>(sample >> 8 ^ flipped);
      }
      break;
    }
    case Conversion::over_white:
      for (std::size_t x = 0; x < width_; ++x) {
        for (std::size_t channel = 0; channel < 3; ++channel) {
          row_[3 * x + channel] = over_white(line[4 * x + channel], line[4 * x + 3]);
        }
      }
      break;
    case Conversion::from_adobe_rgb:
      cmsDoTransform(to_srgb_.get(), line, row_.data(), static_cast<cmsUInt32Number>(width_));
      break;
  }
  return row_.data();
}

}  // namespace k905
