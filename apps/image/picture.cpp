#include "apps/image/picture.h"

#include <cstring>

namespace k905 {

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

Picture black_picture(std::uint32_t width, std::uint32_t height) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  picture.bytes.resize(picture.row_bytes() * height);
  return picture;
}

Picture eight_bit_colors(const Picture& picture) {
  Picture colors = black_picture(picture.width, picture.height);
  std::uint8_t* out = colors.bytes.data();
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    for (std::uint32_t x = 0; x < picture.width; ++x) {
      for (int channel = 0; channel < 3; ++channel) {
        const unsigned sample = picture.sample(x, y, picture.channels == 1 ? 0 : channel);
        *out++ = static_cast<std::uint8_t>((sample + 128) / 257);
      }
    }
  }
  return colors;
}

void inks_to_colors(Picture& picture) {
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

}  // namespace k905
