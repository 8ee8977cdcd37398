#include <algorithm>
#include <cstring>

#include "diag/debug_image.h"
#include "diag/log.h"
#include "pipeline/stages.h"

bool TurnStage::prepare(bool wanted, std::size_t width, std::size_t height) {
  wanted_ = wanted;
  width_ = width;
  height_ = height;
  stride_ = width + kernels::kRowSlack;
  picture_ = {};
  ready_ = true;
  if (wanted) {
    rows_ = make_row(3 * stride_ * kBandRows);
    turned_ = make_row(3 * kBandRows * width);
    ready_ = rows_ != nullptr && turned_ != nullptr;
    if (debug_images_wanted()) {
      (void)make_planes(picture_, height, width);
    }
  }
  rows_of_plane_ = wanted && ready_ ? kBandRows : 1;
  if (rows_of_plane_ == 1) {
    // A page that cannot be turned still goes through the stages before, whose log people read.
    rows_ = make_row(3 * stride_);
  }
  return rows_ != nullptr;
}

std::uint8_t* TurnStage::row_of_plane(std::size_t plane, std::size_t row) {
  return rows_.get() + (plane * rows_of_plane_ + row) * stride_;
}

PlaneRow TurnStage::target(std::size_t y) {
  const std::size_t row = y % rows_of_plane_;
  return {{row_of_plane(0, row), row_of_plane(1, row), row_of_plane(2, row)}};
}

void TurnStage::row_done(std::size_t y, PlaceStage& place) {
  if (!ready_) {
    return;
  }
  if (!wanted_) {
    place.row(y, target(y));
    return;
  }
  const std::size_t in_band = y % kBandRows;
  if (in_band + 1 < kBandRows && y + 1 < height_) {
    return;
  }
  const std::size_t first = y - in_band;
  const std::size_t count = in_band + 1;

  // Counter-clockwise: the rightmost column becomes the top row. The transpose has it at the
  // bottom, so the rows of the turned band are handed on from the last one upwards.
  PlaneRow turned = {};
  for (std::size_t i = 0; i < 3; ++i) {
    std::uint8_t* band = turned_.get() + i * kBandRows * width_;
    kernels::chosen_table().transpose(row_of_plane(i, 0), stride_, band, kBandRows, width_, count);
    turned.plane[i] = band + (width_ - 1) * kBandRows;
    for (std::size_t row = 0; picture_.plane[i] != nullptr && row < width_; ++row) {
      std::memcpy(picture_.plane[i].get() + row * height_ + first,
                  turned.plane[i] - row * kBandRows, count);
    }
  }
  place.columns(first, count, turned, -static_cast<std::ptrdiff_t>(kBandRows));
}

bool TurnStage::report() const {
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
