// Stage 5: color conversion, then the tone chain, and the log lines of both.
#include "diag/log.h"
#include "pipeline/stages.h"
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
                          IccTransform& icc) {
  width_ = width;
  before_.prepare(width, height);
  after_.prepare(width, height);
  tone_.prepare(options);
  if (options.icc_enabled == 0) {
    return;
  }
  icc_ = &icc;
  after_icc_.prepare(width, height);
  const bool is_named = options.icc_profile_name[0] != '\0';
  if (is_named) {
    icc.prepare(options);
  }
  converts_ = icc_report_.prepare(width, height) && is_named && icc.is_ready();
}

void AdjustStage::row(const PlaneRow& row) {
  if (is_first_row_) {
    first_before_ = pixel_at(row, 0);
  }
  before_.take(row);
  if (icc_ != nullptr) {
    convert_colors(row);
  }
  tone_.apply(row.plane[0], row.plane[1], row.plane[2], width_);
  after_.take(row);
  if (is_first_row_) {
    first_after_ = pixel_at(row, 0);
    is_first_row_ = false;
  }
}

void AdjustStage::convert_colors(const PlaneRow& row) {
  icc_report_.take_before(row);
  if (converts_) {
    icc_->convert(row, width_);
  }
  icc_report_.take_after(row);
  after_icc_.take(row);
}

void AdjustStage::report(const PrintOptions& options) const {
  log_line("K905-1: === STAGE 5: Image adjustments ===");
  log_line("K905-1: Before adjustments - Pixel[0]: R=%d, G=%d, B=%d", first_before_[0],
           first_before_[1], first_before_[2]);
  before_.save("05a_before_adjustments");
  log_settings(options);
  before_.save("adjust_before");
  if (icc_ != nullptr) {
    icc_report_.log(options, *icc_);
    after_icc_.save("adjust_after_icc");
  }
  after_.save("adjust_after");
  log_line("K905-1: Image adjustments applied");
  after_.save("05b_after_adjustments");
  log_line("K905-1: After adjustments - Pixel[0]: R=%d, G=%d, B=%d", first_after_[0],
           first_after_[1], first_after_[2]);
}
