#include "pipeline/stage_adjust.h"

#include <cstring>

#include "diag/log.h"
#include "pipeline/kernels/kernels.h"
#include "settings/print_options.h"

namespace {

void log_settings(const PrintOptions& options) {
  log_line("K905-1: Applying image adjustments:");
  log_line("  ICC Enabled: %s", options.icc_enabled != 0 ? "Yes" : "No");
  if (options.icc_enabled != 0) {
    log_line("  ICC Profile: %s", options.icc_profile_name);
  }
  log_line("  Brightness: %d (%.2f)", options.brightness, options.brightness / 1000.0);
  log_line("  Contrast: %d (%.2f)", options.contrast, options.contrast / 1000.0);
  log_line("  Saturation: %d (%.2f)", options.saturation, options.saturation / 1000.0);
  log_line("  Gamma: %d (%.3f)", options.gamma, options.gamma / 1000.0);
  log_line("  Image Type: %s", options.image_type);
  log_line("  Color Correction: %s", options.color_correction);
}

}  // namespace

void AdjustStage::prepare(const PrintOptions& options, std::size_t width, std::size_t height,
                          bool mirrored, IccCache* memory) {
  options_ = &options;
  width_ = width;
  mirrored_ = mirrored;
  std::memset(first_before_, 0, sizeof first_before_);
  std::memset(first_after_, 0, sizeof first_after_);
  before_.prepare(width, height);
  if (options.icc_enabled != 0) {
    icc_.prepare(options, width, height, mirrored, memory);
    after_icc_.prepare(width, height);
  }
  tone_.prepare(options);
  after_.prepare(width, height);
}

void AdjustStage::row(std::size_t y, std::uint8_t* rgb, std::uint8_t* plane0, std::uint8_t* plane1,
                      std::uint8_t* plane2) {
  if (width_ == 0) {
    return;
  }
  if (y == 0) {
    std::memcpy(first_before_, rgb + 3 * (mirrored_ ? width_ - 1 : 0), 3);
  }
  before_.take_rgb(y, rgb, mirrored_);
  if (options_->icc_enabled != 0) {
    icc_.row(y, rgb);
    after_icc_.take_rgb(y, rgb, mirrored_);
  }
  const kernels::Table& kernel = kernels::chosen_table();
  (mirrored_ ? kernel.split_mirrored : kernel.split)(rgb, plane0, plane1, plane2, width_);
  tone_.apply(plane0, plane1, plane2, width_);
  after_.take_planes(y, plane0, plane1, plane2);
  if (y == 0) {
    first_after_[0] = plane0[0];
    first_after_[1] = plane1[0];
    first_after_[2] = plane2[0];
  }
}

void AdjustStage::report() const {
  log_line("K905-1: === STAGE 5: Image adjustments ===");
  log_line("K905-1: Before adjustments - Pixel[0]: R=%d, G=%d, B=%d", first_before_[0],
           first_before_[1], first_before_[2]);
  before_.save("05a_before_adjustments");
  log_settings(*options_);
  before_.save("adjust_before");
  if (options_->icc_enabled != 0) {
    icc_.report(*options_);
    after_icc_.save("adjust_after_icc");
  }
  after_.save("adjust_after");
  log_line("K905-1: Image adjustments applied");
  after_.save("05b_after_adjustments");
  log_line("K905-1: After adjustments - Pixel[0]: R=%d, G=%d, B=%d", first_after_[0],
           first_after_[1], first_after_[2]);
}
