#include "apps/image/draw.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <utility>

#include "apps/base/descriptor.h"
#include "apps/image/photo.h"
#include "apps/image/vips_image.h"

namespace k905 {

namespace {

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
};
using Image = std::unique_ptr<VipsImage, Unref>;

struct Free {
  void operator()(gchar* text) const { g_free(text); }
};

}  // namespace

void paste(Picture& picture, const Picture& tile, std::uint32_t x, std::uint32_t y) {
  const Image onto(vips_image_over(picture));
  const Image sub(vips_image_over(tile));
  if (!onto || !sub ||
      vips_draw_image(onto.get(), sub.get(), static_cast<int>(x), static_cast<int>(y), nullptr) !=
          0) {
    throw std::bad_alloc();
  }
}

namespace {

// The letters as a mask of one channel; null without a font or memory, and for an empty text.
void make_text(Chain& mask, const std::string& text, std::uint32_t font_size, double density) {
  if (text.find_first_not_of(' ') == std::string::npos) {
    return;
  }
  // libvips reads the text as markup.
  const std::unique_ptr<gchar, Free> plain(
      g_markup_escape_text(text.data(), static_cast<gssize>(text.size())));
  const std::string font = "sans " + std::to_string(font_size);
  mask.start([&](VipsImage** out) {
    return vips_text(out, plain.get(), "font", font.c_str(), "dpi", 72, nullptr);
  });
  if (density != 1) {
    mask.then([&](VipsImage* in, VipsImage** out) {
      return vips_resize(in, out, 1.0, "vscale", density, nullptr);
    });
  }
}

int rounded(VipsImage* in, VipsImage** out) {
  VipsImage* whole = nullptr;
  const int result =
      vips_rint(in, &whole, nullptr) == 0 ? vips_cast(whole, out, VIPS_FORMAT_UCHAR, nullptr) : -1;
  g_clear_object(&whole);
  return result;
}

bool draw_mask(VipsImage* onto, VipsImage* mask, double ink, int x, int y) {
  std::array<double, 3> color{ink, ink, ink};
  return vips_draw_mask(onto, color.data(), onto->Bands, mask, x, y, nullptr) == 0;
}

}  // namespace

PixelSize draw_text(Picture& picture, const std::string& text, const TextPlace& place) {
  Chain mask(nullptr);
  make_text(mask, text, place.font_size, place.density);
  mask.then([&](VipsImage* in, VipsImage** out) {
    return vips_crop(in, out, 0, 0, std::min(in->Xsize, static_cast<int>(place.most_width)),
                     in->Ysize, nullptr);
  });
  const Image onto(vips_image_over(picture));
  if (mask.get() == nullptr || onto == nullptr ||
      !draw_mask(onto.get(), mask.get(), 0, static_cast<int>(place.x), static_cast<int>(place.y))) {
    return {};
  }
  return {static_cast<std::uint32_t>(mask.get()->Xsize),
          static_cast<std::uint32_t>(mask.get()->Ysize)};
}

bool draw_caption(Picture& picture, const std::string& text, const PixelArea& area,
                  std::uint32_t font_size, double density) {
  Chain mask(nullptr);
  make_text(mask, text, font_size, density);
  mask.then([&](VipsImage* in, VipsImage** out) {
    return vips_resize(in, out, std::min(1.0, 0.9 * area.width / in->Xsize), nullptr);
  });
  const Image onto(vips_image_over(picture));
  if (mask.get() == nullptr || onto == nullptr) {
    return false;
  }
  const int outline = std::max(1, static_cast<int>(font_size / 16));
  const int outline_down = std::max(1, static_cast<int>(outline * density));
  const int margin = static_cast<int>(font_size * density);
  const int x = static_cast<int>(area.left + area.width / 2) - mask.get()->Xsize / 2;
  const int y = static_cast<int>(area.top + area.height) - mask.get()->Ysize - margin;
  bool drawn = true;
  for (const int dy : {-outline_down, 0, outline_down}) {
    for (const int dx : {-outline, 0, outline}) {
      drawn = drawn && draw_mask(onto.get(), mask.get(), 0, x + dx, y + dy);
    }
  }
  return drawn && draw_mask(onto.get(), mask.get(), 255, x, y);
}

std::optional<Overlay> read_overlay(const std::string& path, PixelSize size, std::string& error) {
  const Descriptor file = open_photo_file(path, error);
  if (!file) {
    return std::nullopt;
  }
  if (!start_vips()) {
    error = "libvips cannot be started";
    return std::nullopt;
  }
  vips_error_clear();
  const std::unique_ptr<VipsSource, Unref> source(vips_source_new_from_descriptor(file.get()));
  Chain chain(nullptr);
  chain.start([&](VipsImage** out) {
    return source == nullptr
               ? -1
               : vips_pngload_source(source.get(), out, "fail_on", VIPS_FAIL_ON_TRUNCATED, nullptr);
  });
  if (chain.get() != nullptr && vips_image_hasalpha(chain.get()) == FALSE) {
    error = "has no transparency, so it would cover the photo";
    return std::nullopt;
  }
  chain.then([](VipsImage* in, VipsImage** out) {
    return vips_colourspace(in, out, VIPS_INTERPRETATION_sRGB, nullptr);
  });
  // Premultiplied, so that the colors of transparent pixels do not spread over the edges.
  chain.then([](VipsImage* in, VipsImage** out) { return vips_premultiply(in, out, nullptr); });
  add_scaling(chain, size);
  chain.then([](VipsImage* in, VipsImage** out) { return vips_unpremultiply(in, out, nullptr); });
  chain.then(rounded);
  Picture pixels;
  if (chain.get() == nullptr || !render(chain.get(), pixels)) {
    error = vips_reason();
    return std::nullopt;
  }
  return Overlay{pixels.width, pixels.height, std::move(pixels.bytes)};
}

void draw_overlay(Picture& picture, const Overlay& overlay) {
  const auto in_srgb = [](VipsImage* in, VipsImage** out) {
    return vips_copy(in, out, "interpretation", VIPS_INTERPRETATION_sRGB, nullptr);
  };
  Chain above(vips_image_new_from_memory(overlay.bytes.data(), overlay.bytes.size(),
                                         static_cast<int>(overlay.width),
                                         static_cast<int>(overlay.height), 4, VIPS_FORMAT_UCHAR));
  above.then(in_srgb);
  Chain chain(vips_image_over(picture));
  chain.then(in_srgb);
  chain.then([](VipsImage* in, VipsImage** out) {  // with bytes the result would be truncated
    return vips_cast(in, out, VIPS_FORMAT_FLOAT, nullptr);
  });
  chain.then([&](VipsImage* in, VipsImage** out) {
    return above.get() == nullptr
               ? -1
               : vips_composite2(in, above.get(), out, VIPS_BLEND_MODE_OVER, nullptr);
  });
  chain.then([](VipsImage* in, VipsImage** out) {
    return vips_extract_band(in, out, 0, "n", 3, nullptr);
  });
  chain.then(rounded);
  Picture result;
  if (chain.get() == nullptr || !render(chain.get(), result)) {
    throw std::bad_alloc();
  }
  picture = std::move(result);
}

}  // namespace k905
