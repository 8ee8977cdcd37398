#include "apps/image/resize.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "apps/image/vips_image.h"

namespace k905 {

using vips::VImage;

namespace {

// `length` rounded to pixels, from 1 to `max`.
std::uint32_t bounded(double length, std::uint32_t max) {
  return static_cast<std::uint32_t>(
      std::clamp(std::floor(length + 0.5), 1.0, static_cast<double>(max)));
}

bool has_size(const Picture& picture, PixelSize size) {
  return picture.width == size.width && picture.height == size.height;
}

// An operation in memory fails only for lack of memory.
template <class Operation>
Picture in_memory(Operation operation) {
  try {
    return rendered(operation());
  } catch (const vips::VError&) {
    throw std::bad_alloc();
  }
}

}  // namespace

PixelSize largest_part(PixelSize whole, double shape) {
  const double own = static_cast<double>(whole.width) / whole.height;
  if (own > shape) {
    return {bounded(whole.height * shape, whole.width), whole.height};
  }
  return {whole.width, bounded(whole.width / shape, whole.height)};
}

Picture cropped(const Picture& picture, std::uint32_t x, std::uint32_t y, PixelSize size) {
  return in_memory([&] {
    return vips_image_over(picture).extract_area(static_cast<int>(x), static_cast<int>(y),
                                                 static_cast<int>(size.width),
                                                 static_cast<int>(size.height));
  });
}

Picture scaled(const Picture& picture, PixelSize size) {
  return has_size(picture, size)
             ? picture
             : in_memory([&] { return scaled_exactly(vips_image_over(picture), size); });
}

Picture on_white(Picture picture, PixelSize size) {
  if (has_size(picture, size)) {
    return picture;
  }
  return in_memory([&] {
    return vips_image_over(picture).embed(
        static_cast<int>((size.width - picture.width) / 2),
        static_cast<int>((size.height - picture.height) / 2), static_cast<int>(size.width),
        static_cast<int>(size.height), VImage::option()->set("extend", VIPS_EXTEND_WHITE));
  });
}

Picture fitted(const Picture& picture, PixelSize size, Fit fit, double dpi_ratio) {
  const double own = static_cast<double>(picture.width) / picture.height;
  const double wanted = static_cast<double>(size.width) / size.height * dpi_ratio;
  if (fit == Fit::fill) {
    const PixelSize part = largest_part({picture.width, picture.height}, wanted);
    return scaled(cropped(picture, (picture.width - part.width) / 2,
                          (picture.height - part.height) / 2, part),
                  size);
  }
  if (fit == Fit::whole) {
    return on_white(scaled(picture, largest_part(size, own / dpi_ratio)), size);
  }
  return scaled(picture, size);
}

}  // namespace k905
