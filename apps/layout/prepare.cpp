// From a photo to the picture on the sheet: geometry here, pixels by apps/image.
#include "apps/layout/prepare.h"

#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "apps/image/profile_conversion.h"
#include "apps/image/resize.h"

namespace k905 {

namespace {

// EXIF orientations from 5 to 8 exchange width and height.
bool exchanges_sides(int orientation) { return orientation >= 5; }

// The EXIF orientation after another counterclockwise rotation of the visible image.
int rotated_left(int orientation) {
  constexpr int next[] = {8, 8, 5, 6, 7, 4, 1, 2, 3};
  return next[orientation >= 1 && orientation <= 8 ? orientation : 0];
}

// A square sheet or a square photo needs no rotation.
bool fits_better_rotated(const Photo& photo, const SheetPlace& place) {
  std::uint32_t width = photo.width();
  std::uint32_t height = photo.height();
  if (exchanges_sides(photo.orientation())) {
    std::swap(width, height);
  }
  const double sheet_height = place.visible_height / place.dpi_ratio();
  return (width > height && place.visible_width < sheet_height) ||
         (width < height && place.visible_width > sheet_height);
}

void make_8_bit(Picture& picture) {
  if (picture.bits == 8) {
    return;
  }
  for (std::size_t i = 0; i < picture.bytes.size() / 2; ++i) {
    std::uint16_t wide = 0;
    std::memcpy(&wide, picture.bytes.data() + 2 * i, sizeof wide);
    picture.bytes[i] = static_cast<std::uint8_t>((wide + 128U) / 257U);
  }
  picture.bytes.resize(picture.bytes.size() / 2);
  picture.bits = 8;
}

// The area of the stored photo that is read, and the size to which it is scaled, both before it is
// rotated upright.
struct Crop {
  PixelArea area;
  PixelSize size;
};

Crop crop_for(const Photo& photo, const SheetPlace& place, bool fit, int orientation) {
  const PixelSize pixels = picture_size(place);
  PixelSize size = pixels;
  // Width over height, of the visible sheet and of one of its pixels.
  double shape = place.visible_width / (place.visible_height / place.dpi_ratio());
  double pixel_shape = shape * size.height / size.width;
  if (exchanges_sides(orientation)) {
    std::swap(size.width, size.height);
    shape = 1 / shape;
    pixel_shape = 1 / pixel_shape;
  }
  if (fit) {
    const double photo_shape = static_cast<double>(photo.width()) / photo.height();
    return {{0, 0, photo.width(), photo.height()}, largest_part(size, photo_shape / pixel_shape)};
  }
  const PixelSize part = largest_part({photo.width(), photo.height()}, shape);
  return {{(photo.width() - part.width) / 2, (photo.height() - part.height) / 2, part.width,
           part.height},
          size};
}

}  // namespace

std::optional<PreparedPhoto> prepare(const Photo& photo, const SheetPlace& place,
                                     const PrepareOptions& options, std::string& error) {
  int orientation = photo.orientation();
  if (options.rotate && fits_better_rotated(photo, place)) {
    orientation = rotated_left(orientation);
  }
  const Crop crop = crop_for(photo, place, options.fit, orientation);
  std::optional<Picture> picture =
      photo.pixels(crop.area, crop.size.width, crop.size.height, orientation, error);
  if (!picture) {
    return std::nullopt;
  }
  malloc_trim(0);  // frees the rows of libvips before the page is allocated
  PreparedPhoto prepared;
  std::string profile_error;
  if (!convert_to_srgb(*picture, profile_error)) {
    prepared.warning = profile_error + "; its colors are treated as sRGB";
  }
  if (picture->channels == 4) {
    inks_to_colors(*picture);
  }
  make_8_bit(*picture);
  prepared.picture = on_white(std::move(*picture), picture_size(place));
  return prepared;
}

}  // namespace k905
