#include <algorithm>

#include "diag/log.h"
#include "pipeline/stages.h"

namespace {

// The log's idea of a size on paper, whatever the header's resolution says.
double millimetres(std::size_t pixels) { return static_cast<double>(pixels) * 25.4 / 300.0; }

// Where row or column `i` of the target lies in the source: between `low` and `high`, `fraction` of
// the way. There is no half-pixel offset: target 0 is source 0 exactly, and the last source line is
// reached only through the clamp.
struct Position {
  std::size_t low;
  std::size_t high;
  double fraction;
};

Position position(std::size_t i, double scale, std::size_t source_size) {
  const double at = static_cast<double>(i) * (1.0 / scale);
  const auto whole = static_cast<std::size_t>(at);
  const std::size_t last = source_size - 1;
  return {std::min(whole, last), whole >= last ? last : whole + 1, at - static_cast<double>(whole)};
}

}  // namespace

void ResizeStage::prepare(std::size_t source_width, std::size_t source_height,
                          std::size_t target_width, std::size_t target_height) {
  source_width_ = source_width;
  source_height_ = source_height;
  target_width_ = target_width;
  target_height_ = target_height;
  needed_ = source_width_ != target_width_ || source_height_ != target_height_;
  ready_ = true;
  if (!needed_) {
    return;
  }
  scale_w_ = static_cast<double>(target_width_) / static_cast<double>(source_width_);
  scale_h_ = static_cast<double>(target_height_) / static_cast<double>(source_height_);
  row_ = make_row(3 * target_width_);
  ready_ = make_columns() && make_estimates() && row_ != nullptr;
  resized_.prepare(target_width_, target_height_);
}

bool ResizeStage::make_columns() {
  left_ = make_plane(target_width_ * sizeof(std::uint32_t));
  right_ = make_plane(target_width_ * sizeof(std::uint32_t));
  fraction_ = make_plane(target_width_ * sizeof(double));
  rough_ = make_plane(target_width_ * sizeof(float));
  if (left_ == nullptr || right_ == nullptr || fraction_ == nullptr || rough_ == nullptr) {
    return false;
  }
  auto* left = reinterpret_cast<std::uint32_t*>(left_.get());
  auto* right = reinterpret_cast<std::uint32_t*>(right_.get());
  auto* fraction = reinterpret_cast<double*>(fraction_.get());
  auto* rough = reinterpret_cast<float*>(rough_.get());
  for (std::size_t x = 0; x < target_width_; ++x) {
    const Position at = position(x, scale_w_, source_width_);
    left[x] = static_cast<std::uint32_t>(at.low);
    right[x] = static_cast<std::uint32_t>(at.high);
    fraction[x] = at.fraction;
    rough[x] = static_cast<float>(at.fraction);
  }
  columns_ = {left, right, fraction, rough, target_width_};
  return true;
}

bool ResizeStage::make_estimates() {
  for (Plane& estimate : estimate_) {
    estimate = make_plane(3 * target_width_ * sizeof(float));
  }
  return estimate_[0] != nullptr && estimate_[1] != nullptr;
}

// A source row, one of the two read last, estimated when it is wanted for the first time.
kernels::ResizeLine ResizeStage::line(std::size_t source_row, ReadStage& read) {
  const std::uint8_t* row = read.row(source_row);
  auto* estimate = reinterpret_cast<float*>(estimate_[source_row % 2].get());
  std::size_t& estimated = estimated_[source_row % 2];
  if (estimated != source_row + 1) {
    kernels::chosen_table().resize_across(columns_, row, estimate);
    estimated = source_row + 1;
  }
  return {row, estimate};
}

std::uint8_t* ResizeStage::row(std::size_t y, ReadStage& read, cups_raster_t* raster) {
  if (!needed_) {
    return read.next_row(raster);
  }
  // The lower of the two lines is always the one read last.
  const Position at = position(y, scale_h_, source_height_);
  while (read.rows_read() <= at.high) {
    if (read.next_row(raster) == nullptr) {
      return nullptr;
    }
  }
  kernels::chosen_table().resize_down(columns_, at.fraction, line(at.low, read),
                                      line(at.high, read), row_.get());
  resized_.take_rgb(y, row_.get());
  return row_.get();
}

bool ResizeStage::report() const {
  log_line("K905-1: === STAGE 1.5: Resize to standard size (non-proportional scaling) ===");
  const int source_width = static_cast<int>(source_width_);
  const int source_height = static_cast<int>(source_height_);
  const int target_width = static_cast<int>(target_width_);
  const int target_height = static_cast<int>(target_height_);
  const double source_width_mm = millimetres(source_width_);
  const double source_height_mm = millimetres(source_height_);
  const double target_width_mm = millimetres(target_width_);
  const double target_height_mm = millimetres(target_height_);

  log_line("K905-1: Source image: %dx%d pixels", source_width, source_height);
  log_line("K905-1: Target size from paper_sizes: %dx%d pixels", target_width, target_height);
  log_line("K905-1: Source physical size (assuming 300DPI): %.2f x %.2f mm", source_width_mm,
           source_height_mm);
  log_line("K905-1: Target physical size (300DPI): %.2f x %.2f mm", target_width_mm,
           target_height_mm);
  if (!needed_) {
    log_line("K905-1: Image size already matches target size, skipping resize");
    return true;
  }
  log_line("K905-1: Non-proportional scaling: scale_w=%.4f, scale_h=%.4f", scale_w_, scale_h_);
  if (!ready_) {
    log_line("K905-1: malloc resized planes failed");
    return false;
  }
  log_line("K905-1: Resized %dx%d -> %dx%d (non-proportional)", source_width, source_height,
           target_width, target_height);
  log_line("K905-1: Physical size change (assuming 300DPI):");
  log_line("K905-1:   Width:  %.2f mm -> %.2f mm (change: %+.2f mm)", source_width_mm,
           target_width_mm, target_width_mm - source_width_mm);
  log_line("K905-1:   Height: %.2f mm -> %.2f mm (change: %+.2f mm)", source_height_mm,
           target_height_mm, target_height_mm - source_height_mm);
  log_line("K905-1: NOTE: If original image has different DPI, physical size may differ!");
  log_line("K905-1:   Original DPI might be: %.0f (if height should stay same)",
           static_cast<double>(source_height_) * 25.4 / target_height_mm);
  resized_.save("01b_resized");
  return true;
}
