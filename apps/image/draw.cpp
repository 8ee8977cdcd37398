#include "apps/image/draw.h"

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "apps/base/descriptor.h"
#include "apps/image/photo.h"
#include "apps/image/vips_image.h"

namespace k905 {

using vips::VImage;

namespace {

// The letters as a mask of one channel. Fails without a font, and for an empty text.
VImage text_mask(const std::string& text, std::uint32_t font_size, double dpi_ratio) {
  if (text.find_first_not_of(' ') == std::string::npos) {
    throw vips::VError("no text");
  }
  start_vips();
  // libvips reads the text as markup.
  const std::unique_ptr<gchar, decltype(&g_free)> plain(
      g_markup_escape_text(text.data(), static_cast<gssize>(text.size())), &g_free);
  const std::string font = "sans " + std::to_string(font_size);
  const VImage mask =
      VImage::text(plain.get(), VImage::option()->set("font", font.c_str())->set("dpi", 72));
  return dpi_ratio == 1 ? mask : mask.resize(1.0, VImage::option()->set("vscale", dpi_ratio));
}

VImage rounded(const VImage& in) { return in.rint().cast(VIPS_FORMAT_UCHAR); }

vips::VOption* as_srgb() {
  return VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB);
}

}  // namespace

void paste(Picture& picture, const Picture& tile, std::uint32_t x, std::uint32_t y) {
  try {
    vips_image_over(picture).draw_image(vips_image_over(tile), static_cast<int>(x),
                                        static_cast<int>(y));
  } catch (const vips::VError&) {
    throw std::bad_alloc();
  }
}

PixelSize draw_text(Picture& picture, const std::string& text, const TextPlace& place) {
  try {
    VImage mask = text_mask(text, place.font_size, place.dpi_ratio);
    mask = mask.extract_area(0, 0, std::min(mask.width(), static_cast<int>(place.max_width)),
                             mask.height());
    vips_image_over(picture).draw_mask(std::vector<double>(3), mask, static_cast<int>(place.x),
                                       static_cast<int>(place.y));
    return {static_cast<std::uint32_t>(mask.width()), static_cast<std::uint32_t>(mask.height())};
  } catch (const vips::VError&) {
    return {};
  }
}

bool draw_caption(Picture& picture, const std::string& text, const PixelArea& area,
                  std::uint32_t font_size, double dpi_ratio) {
  try {
    VImage mask = text_mask(text, font_size, dpi_ratio);
    mask = mask.resize(std::min(1.0, 0.9 * area.width / mask.width()));
    const int outline = std::max(1, static_cast<int>(font_size / 16));
    const int outline_down = std::max(1, static_cast<int>(outline * dpi_ratio));
    const int margin = static_cast<int>(font_size * dpi_ratio);
    const int x = static_cast<int>(area.left + area.width / 2) - mask.width() / 2;
    const int y = static_cast<int>(area.top + area.height) - mask.height() - margin;
    const VImage onto = vips_image_over(picture);
    for (const int dy : {-outline_down, 0, outline_down}) {
      for (const int dx : {-outline, 0, outline}) {
        onto.draw_mask({0, 0, 0}, mask, x + dx, y + dy);
      }
    }
    onto.draw_mask({255, 255, 255}, mask, x, y);
    return true;
  } catch (const vips::VError&) {
    return false;
  }
}

std::optional<Overlay> read_overlay(const std::string& path, PixelSize size, std::string& error) {
  const Descriptor file = open_photo_file(path, error);
  if (!file) {
    return std::nullopt;
  }
  try {
    start_vips();
    vips_error_clear();
    const VImage frame =
        VImage::pngload_source(vips::VSource::new_from_descriptor(file.get()),
                               VImage::option()->set("fail_on", VIPS_FAIL_ON_TRUNCATED));
    if (!frame.has_alpha()) {
      error = "has no transparency, so it would cover the photo";
      return std::nullopt;
    }
    // Premultiplied, so that the colors of transparent pixels do not spread over the edges.
    const VImage colors = frame.colourspace(VIPS_INTERPRETATION_sRGB).premultiply();
    return Overlay{rendered(rounded(scaled_exactly(colors, size).unpremultiply()))};
  } catch (const vips::VError& failure) {
    error = reason_of(failure);
    return std::nullopt;
  }
}

void draw_overlay(Picture& picture, const Overlay& overlay) {
  try {
    // Composited as 8-bit values, the result would be rounded down.
    const VImage below = vips_image_over(picture).copy(as_srgb()).cast(VIPS_FORMAT_FLOAT);
    const VImage above = vips_image_over(overlay.rgba).copy(as_srgb());
    picture = rendered(rounded(below.composite2(above, VIPS_BLEND_MODE_OVER)
                                   .extract_band(0, VImage::option()->set("n", 3))));
  } catch (const vips::VError&) {
    throw std::bad_alloc();
  }
}

}  // namespace k905
