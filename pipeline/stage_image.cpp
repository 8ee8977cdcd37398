#include "pipeline/stage_image.h"

#include <cstring>

#include "diag/debug_image.h"

void StageImage::prepare(std::size_t width, std::size_t height) {
  width_ = width;
  height_ = height;
  planes_ = {};
  if (debug_images_wanted()) {
    (void)make_planes(planes_, width, height);
  }
}

void StageImage::take_rgb(std::size_t y, const std::uint8_t* rgb, bool mirrored) {
  if (!wanted()) {
    return;
  }
  for (std::size_t c = 0; c < 3; ++c) {
    std::uint8_t* row = planes_.plane[c].get() + y * width_;
    for (std::size_t x = 0; x < width_; ++x) {
      row[mirrored ? width_ - 1 - x : x] = rgb[3 * x + c];
    }
  }
}

void StageImage::take_planes(std::size_t y, const std::uint8_t* plane0, const std::uint8_t* plane1,
                             const std::uint8_t* plane2) {
  if (!wanted()) {
    return;
  }
  const std::uint8_t* rows[3] = {plane0, plane1, plane2};
  for (std::size_t c = 0; c < 3; ++c) {
    std::memcpy(planes_.plane[c].get() + y * width_, rows[c], width_);
  }
}

void StageImage::save(const char* tag) const {
  if (wanted()) {
    save_debug_image(tag, planes_.plane[0].get(), planes_.plane[1].get(), planes_.plane[2].get(),
                     static_cast<unsigned>(width_), static_cast<int>(height_));
  }
}
