#include "apps/image/picture.h"

#include <cstring>
#include <utility>

namespace {

struct Place {
  std::uint32_t x;
  std::uint32_t y;
};

// Where the stored picture (width x height) keeps the pixel that is seen at x, y.
Place stored_place(int orientation, std::uint32_t width, std::uint32_t height, Place seen) {
  switch (orientation) {
    case 2:
      return {width - 1 - seen.x, seen.y};
    case 3:
      return {width - 1 - seen.x, height - 1 - seen.y};
    case 4:
      return {seen.x, height - 1 - seen.y};
    case 5:
      return {seen.y, seen.x};
    case 6:
      return {seen.y, height - 1 - seen.x};
    case 7:
      return {width - 1 - seen.y, height - 1 - seen.x};
    case 8:
      return {width - 1 - seen.y, seen.x};
    default:
      return seen;
  }
}

}  // namespace

std::uint16_t Picture::sample(std::uint32_t x, std::uint32_t y, int channel) const {
  const std::size_t index =
      (static_cast<std::size_t>(y) * width + x) * static_cast<std::size_t>(channels) +
      static_cast<std::size_t>(channel);
  if (bits == 8) {
    return static_cast<std::uint16_t>(bytes[index] * 257);
  }
  std::uint16_t value = 0;
  std::memcpy(&value, bytes.data() + 2 * index, sizeof value);
  return value;
}

Picture blank_picture(std::uint32_t width, std::uint32_t height) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  picture.bytes.resize(picture.row_bytes() * height);
  return picture;
}

Picture eight_bit_colours(const Picture& picture) {
  Picture colours = blank_picture(picture.width, picture.height);
  std::uint8_t* out = colours.bytes.data();
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    for (std::uint32_t x = 0; x < picture.width; ++x) {
      for (int channel = 0; channel < 3; ++channel) {
        const unsigned sample = picture.sample(x, y, picture.channels == 1 ? 0 : channel);
        *out++ = static_cast<std::uint8_t>((sample + 128) / 257);
      }
    }
  }
  return colours;
}

void inks_to_colours(Picture& picture) {
  const std::size_t pixels = static_cast<std::size_t>(picture.width) * picture.height;
  for (std::size_t i = 0; i < pixels; ++i) {
    const unsigned black = 255U - picture.bytes[4 * i + 3];
    for (std::size_t channel = 0; channel < 3; ++channel) {
      const unsigned light = 255U - picture.bytes[4 * i + channel];
      picture.bytes[3 * i + channel] = static_cast<std::uint8_t>((light * black + 127) / 255);
    }
  }
  picture.channels = 3;
  picture.bytes.resize(3 * pixels);
}

Picture upright(const Picture& picture) {
  if (picture.orientation < 2 || picture.orientation > 8) {
    return picture;
  }
  Picture turned;
  turned.width = picture.width;
  turned.height = picture.height;
  turned.channels = picture.channels;
  turned.bits = picture.bits;
  turned.icc_profile = picture.icc_profile;
  // From 5 on the camera was held upright: rows and columns change places.
  if (picture.orientation >= 5) {
    std::swap(turned.width, turned.height);
  }
  const std::size_t pixel = static_cast<std::size_t>(picture.channels) * picture.sample_bytes();
  turned.bytes.resize(picture.bytes.size());
  std::uint8_t* out = turned.bytes.data();
  for (std::uint32_t y = 0; y < turned.height; ++y) {
    for (std::uint32_t x = 0; x < turned.width; ++x, out += pixel) {
      const Place from = stored_place(picture.orientation, picture.width, picture.height, {x, y});
      const std::size_t index = static_cast<std::size_t>(from.y) * picture.width + from.x;
      std::memcpy(out, picture.bytes.data() + index * pixel, pixel);
    }
  }
  return turned;
}
