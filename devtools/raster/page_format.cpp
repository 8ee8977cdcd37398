#include "devtools/raster/page_format.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr unsigned kFull = 65535;
constexpr unsigned kSpaceK = 3;

using Samples = std::array<unsigned, 4>;  // of one pixel, 16 bits each

Samples color_at(const k905::Picture& picture, std::uint32_t x, std::uint32_t y) {
  if (picture.channels == 1) {
    const unsigned gray = picture.sample(x, y, 0);
    return {gray, gray, gray, 0};
  }
  return {picture.sample(x, y, 0), picture.sample(x, y, 1), picture.sample(x, y, 2), 0};
}

unsigned lightness(const Samples& color) {
  return static_cast<unsigned>((std::uint64_t{color[0]} * 299 + std::uint64_t{color[1]} * 587 +
                                std::uint64_t{color[2]} * 114 + 500) /
                               1000);
}

// The darkness that all three inks have in common becomes black.
Samples inks_of(const Samples& color) {
  const unsigned light = std::max({color[0], color[1], color[2]});
  Samples inks{0, 0, 0, kFull - light};
  for (std::size_t i = 0; i < 3 && light > 0; ++i) {
    const std::uint64_t own = light - color[i];
    inks[i] = static_cast<unsigned>((own * kFull + light / 2) / light);
  }
  return inks;
}

Samples samples_for(const Samples& color, const PageFormat& format, unsigned color_space) {
  switch (format.colors) {
    case 1: {
      const unsigned light = lightness(color);
      return {color_space == kSpaceK ? kFull - light : light, 0, 0, 0};
    }
    case 4:
      return inks_of(color);
    default:
      return color;
  }
}

// Whether a 1-bit sample is set at this position: an 8 x 8 threshold pattern dithers grays; black
// and white stay pure.
bool is_set_by_dithering(unsigned sample, std::uint32_t x, std::uint32_t y) {
  unsigned rank = 0;
  for (unsigned bit = 0; bit < 3; ++bit) {
    const unsigned column = x >> bit & 1;
    const unsigned row = y >> bit & 1;
    rank = rank << 2 | (column ^ row) << 1 | row;
  }
  return sample * 64ULL > (rank * 2ULL + 1) * kFull / 2;
}

void put_sample(std::vector<std::uint8_t>& line, std::size_t index, unsigned bits, unsigned sample,
                std::uint32_t x, std::uint32_t y) {
  if (bits == 16) {
    const auto wide = static_cast<std::uint16_t>(sample);
    std::memcpy(line.data() + 2 * index, &wide, sizeof wide);
  } else if (bits == 8) {
    line[index] = static_cast<std::uint8_t>((sample + 128) / 257);
  } else if (is_set_by_dithering(sample, x, y)) {
    line[index / 8] = static_cast<std::uint8_t>(line[index / 8] | 0x80U >> index % 8);
  }
}

}  // namespace

const PageFormat* find_page_format(const std::string& name) {
  const auto* found =
      std::find_if(page_formats.begin(), page_formats.end(),
                   [&name](const PageFormat& format) { return name == format.name; });
  return found == page_formats.end() ? nullptr : found;
}

unsigned line_bytes(const PageFormat& format, unsigned width) {
  return static_cast<unsigned>((std::uint64_t{width} * format.bits_per_pixel() + 7) / 8);
}

void encode_line(const k905::Picture& picture, std::uint32_t y, const PageFormat& format,
                 unsigned color_space, std::vector<std::uint8_t>& line) {
  line.assign(line_bytes(format, picture.width), 0);
  std::size_t index = 0;
  for (std::uint32_t x = 0; x < picture.width; ++x) {
    const Samples samples = samples_for(color_at(picture, x, y), format, color_space);
    for (unsigned i = 0; i < format.colors; ++i) {
      put_sample(line, index++, format.bits, samples[i], x, y);
    }
  }
}
