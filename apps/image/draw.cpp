#include "apps/image/draw.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>

#include "apps/image/vips_image.h"

namespace {

struct Unref {
  void operator()(VipsImage* image) const { g_object_unref(image); }
};
using Image = std::unique_ptr<VipsImage, Unref>;

struct Free {
  void operator()(gchar* text) const { g_free(text); }
};

}  // namespace

void paste(Picture& picture, const Picture& tile, std::uint32_t x, std::uint32_t y) {
  const Image onto(k905::vips_image_over(picture));
  const Image sub(k905::vips_image_over(tile));
  if (!onto || !sub ||
      vips_draw_image(onto.get(), sub.get(), static_cast<int>(x), static_cast<int>(y), nullptr) !=
          0) {
    throw std::bad_alloc();
  }
}

PixelSize draw_text(Picture& picture, const std::string& text, const TextPlace& place) {
  if (text.find_first_not_of(' ') == std::string::npos) {
    return {};
  }
  // The text is markup to libvips.
  const std::unique_ptr<gchar, Free> plain(
      g_markup_escape_text(text.data(), static_cast<gssize>(text.size())));
  const std::string font = "sans " + std::to_string(place.font_size);
  k905::Chain mask(nullptr);
  mask.start([&](VipsImage** out) {
    return vips_text(out, plain.get(), "font", font.c_str(), "dpi", 72, nullptr);
  });
  mask.then([&](VipsImage* in, VipsImage** out) {
    return vips_crop(in, out, 0, 0, std::min(in->Xsize, static_cast<int>(place.most_width)),
                     in->Ysize, nullptr);
  });
  const Image onto(k905::vips_image_over(picture));
  const std::array<double, 3> black{};
  if (mask.get() == nullptr || onto == nullptr ||
      vips_draw_mask(onto.get(), const_cast<double*>(black.data()), picture.channels, mask.get(),
                     static_cast<int>(place.x), static_cast<int>(place.y), nullptr) != 0) {
    return {};
  }
  return {static_cast<std::uint32_t>(mask.get()->Xsize),
          static_cast<std::uint32_t>(mask.get()->Ysize)};
}
