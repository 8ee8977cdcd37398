#include "devtools/raster/test_pictures.h"

#include <algorithm>
#include <array>

#include "devtools/raster/landscape.h"

namespace {

using Rgb = std::array<std::uint8_t, 3>;

constexpr Rgb kWhite{255, 255, 255};
constexpr Rgb kBlack{0, 0, 0};
constexpr std::array<Rgb, 8> kPrimaries{{{0, 0, 0},
                                         {255, 0, 0},
                                         {0, 255, 0},
                                         {0, 0, 255},
                                         {0, 255, 255},
                                         {255, 0, 255},
                                         {255, 255, 0},
                                         {255, 255, 255}}};

// index * range / length without overflow; 0 for a length of 0.
std::uint32_t part_of(std::uint32_t index, std::uint32_t range, std::uint32_t length) {
  return length == 0 ? 0 : static_cast<std::uint32_t>(std::uint64_t{index} * range / length);
}

std::uint8_t ramp(std::uint32_t index, std::uint32_t length) {
  return static_cast<std::uint8_t>(part_of(index, 255, length - 1));
}

// Red, green, blue and black squares of a tenth of the shorter side, clockwise from the top left.
Rgb corners(k905::PixelSize size, std::uint32_t x, std::uint32_t y) {
  const std::uint32_t side = std::max<std::uint32_t>(1, std::min(size.width, size.height) / 10);
  const bool left = x < side;
  const bool right = x >= size.width - std::min(side, size.width);
  const bool top = y < side;
  const bool bottom = y >= size.height - std::min(side, size.height);
  if (top && left) {
    return kPrimaries[1];
  }
  if (top && right) {
    return kPrimaries[2];
  }
  if (bottom && right) {
    return kPrimaries[3];
  }
  return bottom && left ? kBlack : kWhite;
}

// Red increases to the right, green downwards, blue from the bottom left to the top right.
Rgb gradient(k905::PixelSize size, std::uint32_t x, std::uint32_t y) {
  const std::uint8_t red = ramp(x, size.width);
  const std::uint8_t green = ramp(y, size.height);
  return {red, green, static_cast<std::uint8_t>((red + 255 - green) / 2)};
}

Rgb checker(k905::PixelSize, std::uint32_t x, std::uint32_t y) {
  return (x / 16 + y / 16) % 2 == 0 ? kWhite : kBlack;
}

Rgb steps(k905::PixelSize size, std::uint32_t x, std::uint32_t) {
  const auto gray = static_cast<std::uint8_t>(part_of(x, 16, size.width) * 17);
  return {gray, gray, gray};
}

Rgb patches(k905::PixelSize size, std::uint32_t x, std::uint32_t) {
  return kPrimaries[part_of(x, 8, size.width)];
}

// Each pixel has a random color that depends only on its position.
Rgb noise(k905::PixelSize, std::uint32_t x, std::uint32_t y) {
  std::uint32_t hash = x * 0x9E3779B1U ^ y * 0x85EBCA77U;
  hash = (hash ^ hash >> 15) * 0x2C1B3C6DU;
  hash = (hash ^ hash >> 12) * 0x297A2D39U;
  hash ^= hash >> 15;
  return {static_cast<std::uint8_t>(hash), static_cast<std::uint8_t>(hash >> 8),
          static_cast<std::uint8_t>(hash >> 16)};
}

Rgb white(k905::PixelSize, std::uint32_t, std::uint32_t) { return kWhite; }
Rgb black(k905::PixelSize, std::uint32_t, std::uint32_t) { return kBlack; }

template <Rgb (*color_at)(k905::PixelSize size, std::uint32_t x, std::uint32_t y)>
k905::Picture drawn(std::uint32_t width, std::uint32_t height) {
  k905::Picture picture = k905::black_picture(width, height);
  std::uint8_t* out = picture.bytes.data();
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const Rgb color = color_at({width, height}, x, y);
      out = std::copy(color.begin(), color.end(), out);
    }
  }
  return picture;
}

constexpr auto kTestPictures = std::to_array<TestPicture>({
    {"landscape", "a lake between mountains, like a photograph", draw_landscape},
    {"corners", "white with a red, green, blue and black square, clockwise from the top left",
     drawn<corners>},
    {"gradient", "red increases to the right, green downwards", drawn<gradient>},
    {"checker", "black and white squares of 16 pixels", drawn<checker>},
    {"steps", "16 grays from black to white", drawn<steps>},
    {"patches", "black, the six pure colors and white", drawn<patches>},
    {"noise", "every pixel in a different color", drawn<noise>},
    {"white", "nothing but white", drawn<white>},
    {"black", "nothing but black", drawn<black>},
});

}  // namespace

std::span<const TestPicture> test_pictures() { return kTestPictures; }

std::optional<k905::Picture> draw_test_picture(const std::string& name, std::uint32_t width,
                                               std::uint32_t height) {
  for (const TestPicture& picture : kTestPictures) {
    if (name == picture.name) {
      return picture.draw(width, height);
    }
  }
  return std::nullopt;
}
