// Collects rows for a debug image. Speed does not matter here: under CUPS there are no such images.
#include "pipeline/stage_image.h"

#include <cstring>

#include "diag/debug_image.h"

void StageImage::prepare(std::size_t width, std::size_t height) {
  width_ = width;
  height_ = height;
  if (debug_images_wanted()) {
    (void)make_planes(planes_, width, height);
  }
}

void StageImage::take_rgb(const std::uint8_t* rgb) {
  if (!is_wanted()) {
    return;
  }
  for (std::size_t c = 0; c < 3; ++c) {
    std::uint8_t* row = planes_.plane[c].get() + taken_ * width_;
    for (std::size_t x = 0; x < width_; ++x) {
      row[x] = rgb[3 * x + c];
    }
  }
  ++taken_;
}

void StageImage::take(const PlaneRow& row) {
  if (!is_wanted()) {
    return;
  }
  for (std::size_t c = 0; c < 3; ++c) {
    std::memcpy(planes_.plane[c].get() + taken_ * width_, row.plane[c], width_);
  }
  ++taken_;
}

void StageImage::take_rotated(const PlaneRow& row) {
  if (!is_wanted()) {
    return;
  }
  for (std::size_t c = 0; c < 3; ++c) {
    std::uint8_t* column = planes_.plane[c].get() + taken_;
    for (std::size_t y = 0; y < height_; ++y) {
      column[y * width_] = row.plane[c][height_ - 1 - y];
    }
  }
  ++taken_;
}

void StageImage::save(const char* tag) const {
  if (!is_wanted()) {
    return;
  }
  save_debug_image(tag, planes_.plane[0].get(), planes_.plane[1].get(), planes_.plane[2].get(),
                   static_cast<unsigned>(width_), static_cast<int>(height_));
}
