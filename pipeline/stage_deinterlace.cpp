// Stage 3: pairs of rows, weighted three to two.
#include <cstring>

#include "diag/log.h"
#include "pipeline/stages.h"

void DeinterlaceStage::prepare(bool interlaced, std::size_t width, std::size_t height,
                               std::size_t expected_height) {
  interlaced_ = interlaced;
  width_ = width;
  input_height_ = height;
  expected_height_ = expected_height;
  // Deliberate: compared with the paper's upright height even when the page is rotated, where it
  // never matches and two rows always become one.
  is_needed_ = interlaced && height != expected_height;
  if (!is_needed_) {
    output_height_ = height;
    return;
  }
  rows_ = make_row(6 * width);
  output_height_ = rows_ != nullptr ? height / 2 : height;
  deinterlaced_.prepare(width, output_height_);
}

const std::uint8_t* DeinterlaceStage::row(const std::uint8_t* rgb) {
  if (!is_needed_) {
    return rgb;
  }
  if (rows_ == nullptr) {
    deinterlaced_.take_rgb(rgb);
    return rgb;
  }
  ++rows_taken_;
  if (rows_taken_ % 2 == 1) {  // the last row of an odd height is dropped
    std::memcpy(rows_.get(), rgb, 3 * width_);
    return nullptr;
  }
  std::uint8_t* mean = rows_.get() + 3 * width_;
  kernels::chosen_table().deinterlace(rows_.get(), rgb, mean, width_);
  deinterlaced_.take_rgb(mean);
  return mean;
}

void DeinterlaceStage::report() const {
  if (!interlaced_) {
    return;
  }
  const int width = static_cast<int>(width_);
  const int height = static_cast<int>(input_height_);
  log_line("K905-1: === STAGE 3: Deinterlace processing ===");
  log_line("K905-1: Source image height: %d pixels", height);
  log_line("K905-1: Expected 600DPI height: %d pixels", static_cast<int>(expected_height_));
  if (!is_needed_) {
    log_line("K905-1: Image is already full 600DPI resolution, skipping deinterlace");
    log_line("K905-1: Keeping original image size: %dx%d", width, height);
    return;
  }
  log_line("K905-1: Image is interlaced format, performing deinterlace");
  log_line("K905-1: Processing interlaced image: %dx%d -> %dx%d", width, height, width, height / 2);
  if (rows_ != nullptr) {
    log_line("K905-1: Deinterlace completed successfully");
  } else {
    log_line("K905-1: ERROR: Failed to allocate memory for deinterlace");
  }
  deinterlaced_.save("03_deinterlaced");
}
