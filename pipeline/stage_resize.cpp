// Stage 1.5: which source rows and columns make a row of the target.
#include <algorithm>
#include <cmath>

#include "diag/log.h"
#include "pipeline/stages.h"

namespace {

// A physical size for the log: always at 300 dpi, whatever the resolution in the header is.
double millimeters(std::size_t pixels) { return static_cast<double>(pixels) * 25.4 / 300.0; }

// `fraction` in sixteenths; exact, as it is a multiplication by a power of two.
double sixteenths(double fraction) { return fraction * 16.0; }

}  // namespace

// There is no half-pixel offset: target 0 is source 0 exactly, and the last source line is reached
// only through the clamp.
ResizeStage::Position ResizeStage::position(std::size_t i, double scale, std::size_t source_size) {
  const double at = static_cast<double>(i) * (1.0 / scale);
  const auto whole = static_cast<std::size_t>(at);
  const std::size_t last = source_size - 1;
  return {std::min(whole, last), whole >= last ? last : whole + 1, at - static_cast<double>(whole)};
}

// Whether every position is a whole number of sixteenths from its low line. The positions are
// computed and checked, because the ratio of the sizes does not decide this: the formula multiplies
// by the reciprocal of the scale, which is rounded.
bool ResizeStage::is_in_sixteenths() const {
  const auto is_whole = [](const Position& at) {
    const double fraction = sixteenths(at.fraction);
    return fraction == std::trunc(fraction);
  };
  for (std::size_t x = 0; x < target_width_; ++x) {
    if (!is_whole(position(x, scale_w_, source_width_))) {
      return false;
    }
  }
  for (std::size_t y = 0; y < target_height_; ++y) {
    if (!is_whole(position(y, scale_h_, source_height_))) {
      return false;
    }
  }
  return true;
}

bool ResizeStage::prepare(std::size_t source_width, std::size_t source_height,
                          std::size_t target_width, std::size_t target_height) {
  source_width_ = source_width;
  source_height_ = source_height;
  target_width_ = target_width;
  target_height_ = target_height;
  is_needed_ = source_width_ != target_width_ || source_height_ != target_height_;
  if (!is_needed_) {
    return true;
  }
  scale_w_ = static_cast<double>(target_width_) / static_cast<double>(source_width_);
  scale_h_ = static_cast<double>(target_height_) / static_cast<double>(source_height_);
  in_sixteenths_ = is_in_sixteenths();
  row_ = make_row(3 * target_width_);
  if (row_ == nullptr || !(in_sixteenths_ ? make_sixteenth_columns() : make_columns())) {
    log_line("K905-1: malloc resized planes failed");
    return false;
  }
  resized_.prepare(target_width_, target_height_);
  return true;
}

bool ResizeStage::make_columns() {
  left_ = make_buffer<std::uint32_t>(target_width_);
  fraction_ = make_buffer<double>(target_width_);
  float_fraction_ = make_buffer<float>(target_width_);
  estimate_[0] = make_buffer<float>(3 * target_width_);
  estimate_[1] = make_buffer<float>(3 * target_width_);
  if (left_ == nullptr || fraction_ == nullptr || float_fraction_ == nullptr ||
      estimate_[0] == nullptr || estimate_[1] == nullptr) {
    return false;
  }
  for (std::size_t x = 0; x < target_width_; ++x) {
    const Position at = position(x, scale_w_, source_width_);
    left_[x] = static_cast<std::uint32_t>(3 * at.low);
    fraction_[x] = at.fraction;
    float_fraction_[x] = at.high == at.low ? 0.0F : static_cast<float>(at.fraction);
  }
  columns_ = {left_.get(), fraction_.get(), float_fraction_.get(), target_width_,
              static_cast<std::uint32_t>(3 * (source_width_ - 1))};
  return true;
}

bool ResizeStage::make_sixteenth_columns() {
  left_ = make_buffer<std::uint32_t>(target_width_);
  share_ = make_buffer<kernels::Sixteenths>(target_width_);
  sum_[0] = make_buffer<std::uint16_t>(3 * target_width_);
  sum_[1] = make_buffer<std::uint16_t>(3 * target_width_);
  if (left_ == nullptr || share_ == nullptr || sum_[0] == nullptr || sum_[1] == nullptr) {
    return false;
  }
  for (std::size_t x = 0; x < target_width_; ++x) {
    const Position at = position(x, scale_w_, source_width_);
    // The last source column is its own right neighbor: all 16 shares are its own.
    const double right = at.high == at.low ? 0.0 : sixteenths(at.fraction);
    left_[x] = static_cast<std::uint32_t>(3 * at.low);
    share_[x] = {static_cast<std::uint8_t>(16.0 - right), static_cast<std::uint8_t>(right)};
  }
  sixteenth_columns_ = {left_.get(), share_.get(), target_width_};
  return true;
}

// A source row is one of the two taken last; it is scaled horizontally when it is first used.
void ResizeStage::scale_across(std::size_t source_row) {
  const std::size_t slot = source_row % 2;
  if (scaled_[slot] == source_row + 1) {
    return;
  }
  const kernels::Table& kernels = kernels::chosen_table();
  if (in_sixteenths_) {
    kernels.sixteenths_across(sixteenth_columns_, source_[slot], sum_[slot].get());
  } else {
    kernels.resize_across(columns_, source_[slot], estimate_[slot].get());
  }
  scaled_[slot] = source_row + 1;
}

void ResizeStage::scale_down(std::size_t low, std::size_t high, double fraction) {
  scale_across(low);
  scale_across(high);
  const kernels::Table& kernels = kernels::chosen_table();
  if (in_sixteenths_) {
    kernels.sixteenths_down(sum_[low % 2].get(), sum_[high % 2].get(),
                            static_cast<std::uint16_t>(sixteenths(fraction)), row_.get(),
                            target_width_);
  } else {
    kernels.resize_down(columns_, fraction, {source_[low % 2], estimate_[low % 2].get()},
                        {source_[high % 2], estimate_[high % 2].get()}, row_.get());
  }
}

void ResizeStage::take(std::uint8_t* row) {
  source_[rows_taken_ % 2] = row;
  ++rows_taken_;
}

std::uint8_t* ResizeStage::next_row() {
  if (rows_returned_ == target_height_) {
    return nullptr;
  }
  if (!is_needed_) {
    return rows_returned_ < rows_taken_ ? source_[rows_returned_++ % 2] : nullptr;
  }
  const Position at = position(rows_returned_, scale_h_, source_height_);
  if (at.high >= rows_taken_) {
    return nullptr;
  }
  // A lower line of weight 0 is not scaled.
  scale_down(at.low, at.fraction == 0.0 ? at.low : at.high, at.fraction);
  ++rows_returned_;
  resized_.take_rgb(row_.get());
  return row_.get();
}

void ResizeStage::report() const {
  log_line("K905-1: === STAGE 1.5: Resize to standard size (non-proportional scaling) ===");
  const int source_width = static_cast<int>(source_width_);
  const int source_height = static_cast<int>(source_height_);
  const int target_width = static_cast<int>(target_width_);
  const int target_height = static_cast<int>(target_height_);
  const double source_width_mm = millimeters(source_width_);
  const double source_height_mm = millimeters(source_height_);
  const double target_width_mm = millimeters(target_width_);
  const double target_height_mm = millimeters(target_height_);

  log_line("K905-1: Source image: %dx%d pixels", source_width, source_height);
  log_line("K905-1: Target size from paper_sizes: %dx%d pixels", target_width, target_height);
  log_line("K905-1: Source physical size (assuming 300DPI): %.2f x %.2f mm", source_width_mm,
           source_height_mm);
  log_line("K905-1: Target physical size (300DPI): %.2f x %.2f mm", target_width_mm,
           target_height_mm);
  if (!is_needed_) {
    log_line("K905-1: Image size already matches target size, skipping resize");
    return;
  }
  log_line("K905-1: Non-proportional scaling: scale_w=%.4f, scale_h=%.4f", scale_w_, scale_h_);
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
}
