#include "apps/layout/prepare.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "apps/image/profile_conversion.h"
#include "apps/image/scale.h"

namespace {

bool has_sides_exchanged(const Picture& picture) { return picture.orientation >= 5; }

// Orientation as EXIF counts it, after a further quarter turn to the left of what is seen.
int turned_left(int orientation) {
  constexpr int after[] = {8, 8, 5, 6, 7, 4, 1, 2, 3};
  return after[orientation >= 1 && orientation <= 8 ? orientation : 0];
}

// A square fits either way; so does everything on a square sheet.
bool lies_across(const Picture& picture, const SheetPlace& place) {
  std::uint32_t width = picture.width;
  std::uint32_t height = picture.height;
  if (has_sides_exchanged(picture)) {
    std::swap(width, height);
  }
  const double sheet_height = place.seen_height / place.density();
  return (width > height && place.seen_width < sheet_height) ||
         (width < height && place.seen_width > sheet_height);
}

struct Part {
  std::uint32_t width;
  std::uint32_t height;
};

std::uint32_t bounded(double length, std::uint32_t most) {
  return static_cast<std::uint32_t>(std::clamp(std::floor(length + 0.5), 1.0, double{1.0} * most));
}

// The largest part of `whole` that is as wide, in its heights, as `shape` says.
Part largest_part(Part whole, double shape) {
  const double own = static_cast<double>(whole.width) / whole.height;
  if (own > shape) {
    return {bounded(whole.height * shape, whole.width), whole.height};
  }
  return {whole.width, bounded(whole.width / shape, whole.height)};
}

// What takes the most memory is a large picture's samples made wide for scaling. Left at more than
// twice the pixels in demand, averaging whole blocks first is as good and needs a fraction.
Picture scaled_down(Picture picture, Part size) {
  const std::uint32_t factor =
      std::min(picture.width / size.width, picture.height / size.height) / 2;
  if (factor >= 2) {
    picture = shrunk(picture, factor);
  }
  return scaled(picture, size.width, size.height);
}

template <typename Sample>
void average_row(const Picture& picture, std::uint32_t factor, std::uint32_t row,
                 std::vector<std::uint64_t>& sums, std::uint8_t* out) {
  const auto channels = static_cast<std::size_t>(picture.channels);
  const std::uint32_t first = row * factor;
  const std::uint32_t last = std::min(first + factor, picture.height);
  std::fill(sums.begin(), sums.end(), 0);
  for (std::uint32_t y = first; y < last; ++y) {
    const std::uint8_t* from = picture.bytes.data() + y * picture.row_bytes();
    for (std::uint32_t x = 0; x < picture.width; ++x) {
      std::uint64_t* sum = sums.data() + x / factor * channels;
      for (std::size_t channel = 0; channel < channels; ++channel, from += sizeof(Sample)) {
        Sample sample;
        std::memcpy(&sample, from, sizeof sample);
        sum[channel] += sample;
      }
    }
  }
  for (std::size_t i = 0; i < sums.size(); ++i, out += sizeof(Sample)) {
    const auto x = static_cast<std::uint32_t>(i / channels) * factor;
    const std::uint64_t pixels = std::max<std::uint64_t>(
        1, std::uint64_t{std::min(factor, picture.width - x)} * (last - first));
    const auto sample = static_cast<Sample>((sums[i] + pixels / 2) / pixels);
    std::memcpy(out, &sample, sizeof sample);
  }
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

Picture on_white(const Picture& picture, PixelSize size) {
  if (picture.width == size.width && picture.height == size.height) {
    return picture;
  }
  Picture sheet;
  sheet.width = size.width;
  sheet.height = size.height;
  sheet.channels = picture.channels;
  sheet.bytes.assign(sheet.row_bytes() * sheet.height, 0xFF);
  paste(sheet, picture, (size.width - picture.width) / 2, (size.height - picture.height) / 2);
  return sheet;
}

}  // namespace

Picture shrunk(const Picture& picture, std::uint32_t factor) {
  Picture small;
  small.width = (picture.width + factor - 1) / factor;
  small.height = (picture.height + factor - 1) / factor;
  small.channels = picture.channels;
  small.bits = picture.bits;
  small.icc_profile = picture.icc_profile;
  small.orientation = picture.orientation;
  small.bytes.resize(small.row_bytes() * small.height);
  std::vector<std::uint64_t> sums(std::size_t{small.width} *
                                  static_cast<std::size_t>(small.channels));
  for (std::uint32_t row = 0; row < small.height; ++row) {
    std::uint8_t* out = small.bytes.data() + row * small.row_bytes();
    if (picture.bits == 16) {
      average_row<std::uint16_t>(picture, factor, row, sums, out);
    } else {
      average_row<std::uint8_t>(picture, factor, row, sums, out);
    }
  }
  return small;
}

Prepared prepare(Picture picture, const SheetPlace& place, const Preparation& wishes) {
  Prepared prepared;
  if (wishes.turn && lies_across(picture, place)) {
    picture.orientation = turned_left(picture.orientation);
  }
  // The sheet as the picture lies now, before it is turned.
  const bool exchanged = has_sides_exchanged(picture);
  const PixelSize pixels = picture_size(place);
  Part target{pixels.width, pixels.height};
  // How much wider than tall the sheet is to the eye, and how much wider than tall its pixels are.
  double shape = place.seen_width / (place.seen_height / place.density());
  double stretch = shape * target.height / target.width;
  if (exchanged) {
    std::swap(target.width, target.height);
    shape = 1 / shape;
    stretch = 1 / stretch;
  }
  if (wishes.whole) {
    const double own = static_cast<double>(picture.width) / picture.height;
    target = largest_part(target, own / stretch);
  } else {
    const Part part = largest_part({picture.width, picture.height}, shape);
    picture = cropped(picture, (picture.width - part.width) / 2, (picture.height - part.height) / 2,
                      part.width, part.height);
  }
  picture = upright(scaled_down(std::move(picture), target));
  std::string broken;
  if (!convert_to_srgb(picture, broken)) {
    prepared.warning = broken + "; its colors are taken for sRGB";
    if (picture.channels == 4) {
      inks_to_colours(picture);
    }
  }
  make_8_bit(picture);
  prepared.page = page_for(on_white(picture, pixels), place);
  return prepared;
}
