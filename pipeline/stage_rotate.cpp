#include "diag/debug_image.h"
#include "diag/log.h"
#include "pipeline/stages.h"

bool RotateStage::prepare(bool wanted, std::size_t width, std::size_t height,
                          std::size_t line_length) {
  wanted_ = wanted;
  width_ = width;
  height_ = height;
  row_ = make_row(3 * (width + kernels::kRowSlack));
  ready_ = true;
  picture_ = {};
  if (wanted) {
    line_stride_ = line_length + kernels::kRowSlack;
    band_ = make_row(3 * kBandRows * line_stride_);
    // A page that cannot be turned still goes through the stages before, whose log people read.
    ready_ = band_ != nullptr;
    if (debug_images_wanted()) {
      (void)make_planes(picture_, height, width);
    }
  }
  return row_ != nullptr;
}

PlaneRow RotateStage::target() {
  const std::size_t stride = width_ + kernels::kRowSlack;
  return {{row_.get(), row_.get() + stride, row_.get() + 2 * stride}};
}

std::uint8_t* RotateStage::band_row(std::size_t plane, std::size_t row) {
  return band_.get() + (plane * kBandRows + row) * line_stride_;
}

void RotateStage::row_done(std::size_t y, PlaceStage& place) {
  if (!ready_) {
    return;
  }
  const PlaneRow row = target();
  if (!wanted_) {
    place.row(y, row);
    return;
  }
  take_picture(y);
  const std::size_t in_band = y % kBandRows;
  for (std::size_t i = 0; i < 3; ++i) {
    place.stretch(row.plane[i], band_row(i, in_band));
  }
  if (in_band + 1 == kBandRows || y + 1 == height_) {
    const PlaneRow band = {{band_row(0, 0), band_row(1, 0), band_row(2, 0)}};
    place.columns(y - in_band, in_band + 1, band, line_stride_);
  }
}

// Counter-clockwise: the rightmost pixel comes to the top.
void RotateStage::take_picture(std::size_t y) {
  const PlaneRow row = target();
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t x = 0; picture_.plane[i] != nullptr && x < width_; ++x) {
      picture_.plane[i][(width_ - 1 - x) * height_ + y] = row.plane[i][x];
    }
  }
}

bool RotateStage::report() const {
  log_line("K905-1: === STAGE 7: Rotation (if needed) ===");
  if (!ready_) {
    log_line("K905-1: malloc rotated planes failed");
    return false;
  }
  if (picture_.plane[0] != nullptr) {
    save_debug_image("07_rotated", picture_.plane[0].get(), picture_.plane[1].get(),
                     picture_.plane[2].get(), static_cast<unsigned>(height_),
                     static_cast<int>(width_));
  }
  return true;
}
