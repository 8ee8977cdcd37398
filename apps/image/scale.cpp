#include "apps/image/scale.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// The source samples that make one new sample, from `first` on; the weights sum up to kWhole.
struct Taps {
  std::size_t first = 0;
  std::vector<std::uint32_t> weights;
};
constexpr std::uint32_t kWhole = 65536;

Taps taps_of(std::size_t index, std::size_t old_length, std::size_t new_length) {
  const double step = static_cast<double>(old_length) / static_cast<double>(new_length);
  const double radius = std::max(1.0, step);
  const double centre = (static_cast<double>(index) + 0.5) * step - 0.5;
  const double last = static_cast<double>(old_length - 1);
  const auto from = static_cast<std::size_t>(std::max(0.0, std::ceil(centre - radius)));
  const auto to = static_cast<std::size_t>(std::min(last, std::floor(centre + radius)));
  std::vector<double> triangle;
  double sum = 0;
  for (std::size_t i = from; i <= to; ++i) {
    triangle.push_back(std::max(0.0, 1.0 - std::fabs(static_cast<double>(i) - centre) / radius));
    sum += triangle.back();
  }
  Taps taps;
  taps.first = from;
  std::uint32_t given = 0;
  for (const double height : triangle) {
    taps.weights.push_back(static_cast<std::uint32_t>(height / sum * kWhole));
    given += taps.weights.back();
  }
  // Rounding left a little over; the strongest sample takes it.
  *std::max_element(taps.weights.begin(), taps.weights.end()) += kWhole - given;
  return taps;
}

// Samples seen as [outer][length][inner]; the middle axis gets a new length. One function for rows
// (inner: the channels of a pixel) and columns (inner: a whole row).
std::vector<std::uint16_t> resampled(const std::vector<std::uint16_t>& in, std::size_t outer,
                                     std::size_t length, std::size_t inner,
                                     std::size_t new_length) {
  if (length == new_length) {
    return in;
  }
  std::vector<Taps> all_taps;
  for (std::size_t i = 0; i < new_length; ++i) {
    all_taps.push_back(taps_of(i, length, new_length));
  }
  std::vector<std::uint16_t> out;
  out.reserve(outer * new_length * inner);
  std::vector<std::uint32_t> sums(inner);
  for (std::size_t block = 0; block < outer; ++block) {
    for (const Taps& taps : all_taps) {
      std::fill(sums.begin(), sums.end(), kWhole / 2);
      const std::uint16_t* from = in.data() + (block * length + taps.first) * inner;
      for (const std::uint32_t weight : taps.weights) {
        for (std::size_t i = 0; i < inner; ++i) {
          sums[i] += weight * from[i];
        }
        from += inner;
      }
      for (const std::uint32_t sum : sums) {
        out.push_back(static_cast<std::uint16_t>(sum / kWhole));
      }
    }
  }
  return out;
}

std::vector<std::uint16_t> wide_samples(const Picture& picture) {
  std::vector<std::uint16_t> samples(picture.bytes.size() / picture.sample_bytes());
  if (picture.bits == 16) {
    std::memcpy(samples.data(), picture.bytes.data(), picture.bytes.size());
  } else {
    std::transform(picture.bytes.begin(), picture.bytes.end(), samples.begin(),
                   [](std::uint8_t byte) { return static_cast<std::uint16_t>(byte * 257); });
  }
  return samples;
}

void store_samples(Picture& picture, const std::vector<std::uint16_t>& samples) {
  picture.bytes.resize(samples.size() * picture.sample_bytes());
  if (picture.bits == 16) {
    std::memcpy(picture.bytes.data(), samples.data(), picture.bytes.size());
  } else {
    std::transform(samples.begin(), samples.end(), picture.bytes.begin(), [](std::uint16_t wide) {
      return static_cast<std::uint8_t>((wide + 128U) / 257U);
    });
  }
}

Picture like(const Picture& picture, std::uint32_t width, std::uint32_t height) {
  Picture other;
  other.width = width;
  other.height = height;
  other.channels = picture.channels;
  other.bits = picture.bits;
  other.icc_profile = picture.icc_profile;
  return other;
}

std::uint32_t at_least_one(double length, std::uint32_t most) {
  return static_cast<std::uint32_t>(std::clamp(std::floor(length + 0.5), 1.0, double{1.0} * most));
}

}  // namespace

Picture scaled(const Picture& picture, std::uint32_t width, std::uint32_t height) {
  if (width == picture.width && height == picture.height) {
    return picture;
  }
  Picture result = like(picture, width, height);
  const auto channels = static_cast<std::size_t>(picture.channels);
  std::vector<std::uint16_t> samples = wide_samples(picture);
  // The axis that shrinks most goes first: a picture one pixel wide and a million tall must not be
  // widened before it is shortened.
  const bool rows_first =
      std::uint64_t{width} * picture.height <= std::uint64_t{picture.width} * height;
  if (rows_first) {
    samples = resampled(samples, picture.height, picture.width, channels, width);
    samples = resampled(samples, 1, picture.height, width * channels, height);
  } else {
    samples = resampled(samples, 1, picture.height, picture.width * channels, height);
    samples = resampled(samples, height, picture.width, channels, width);
  }
  store_samples(result, samples);
  return result;
}

Picture fitted(const Picture& picture, std::uint32_t width, std::uint32_t height, Fit fit,
               double density) {
  const double page_shape = static_cast<double>(width) * density / static_cast<double>(height);
  const double shape = static_cast<double>(picture.width) / static_cast<double>(picture.height);
  if (fit == Fit::stretch || shape == page_shape) {
    return scaled(picture, width, height);
  }
  const bool too_wide = shape > page_shape;
  if (fit == Fit::fill) {
    const std::uint32_t w =
        too_wide ? at_least_one(picture.height * page_shape, picture.width) : picture.width;
    const std::uint32_t h =
        too_wide ? picture.height : at_least_one(picture.width / page_shape, picture.height);
    return scaled(cropped(picture, (picture.width - w) / 2, (picture.height - h) / 2, w, h), width,
                  height);
  }
  const std::uint32_t w = too_wide ? width : at_least_one(width * shape / page_shape, width);
  const std::uint32_t h = too_wide ? at_least_one(height * page_shape / shape, height) : height;
  Picture page = like(picture, width, height);
  page.bytes.assign(page.row_bytes() * height, 0xFF);
  paste(page, scaled(picture, w, h), (width - w) / 2, (height - h) / 2);
  return page;
}

Picture cropped(const Picture& picture, std::uint32_t x, std::uint32_t y, std::uint32_t w,
                std::uint32_t h) {
  if (w == picture.width && h == picture.height) {
    return picture;
  }
  Picture part = like(picture, w, h);
  part.bytes.resize(part.row_bytes() * h);
  const std::size_t pixel = part.row_bytes() / w;
  for (std::size_t row = 0; row < h; ++row) {
    std::memcpy(part.bytes.data() + row * part.row_bytes(),
                picture.bytes.data() + (y + row) * picture.row_bytes() + x * pixel,
                part.row_bytes());
  }
  return part;
}

void paste(Picture& picture, const Picture& tile, std::uint32_t x, std::uint32_t y) {
  const std::size_t pixel = tile.row_bytes() / tile.width;
  for (std::size_t row = 0; row < tile.height; ++row) {
    std::memcpy(picture.bytes.data() + (y + row) * picture.row_bytes() + x * pixel,
                tile.bytes.data() + row * tile.row_bytes(), tile.row_bytes());
  }
}
