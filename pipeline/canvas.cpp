// Places an image on the canvas and fills the white around it. The margins are computed and clamped
// to the canvas once, in prepare.
#include "pipeline/canvas.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "diag/log.h"

namespace {

constexpr std::uint8_t kWhite = 255;

// The row (column) of the image that becomes row (column) `i` when the image is stretched by
// `scale`: nearest neighbor, pixel centers aligned.
std::size_t nearest(std::size_t i, double scale, std::size_t source_size) {
  // Deliberate: the half is subtracted and added again, because this changes the rounding.
  const double at = ((static_cast<double>(i) + 0.5) * (1.0 / scale)) - 0.5 + 0.5;
  return at < 1.0 ? 0 : std::min(static_cast<std::size_t>(at), source_size - 1);
}

// The part of an effective side that fits on the canvas after a bleed.
std::size_t clamped_side(std::int32_t effective, std::int32_t bleed, std::int32_t canvas) {
  const std::int64_t after_bleed = std::int64_t{canvas} - bleed;
  return static_cast<std::size_t>(
      std::max<std::int64_t>(0, std::min<std::int64_t>(effective, after_bleed)));
}

}  // namespace

bool Canvas::prepare(const PageLayout& layout, std::size_t width, std::size_t height) {
  layout_ = layout;
  image_width_ = width;
  image_height_ = height;
  const auto effective_width = static_cast<std::size_t>(layout.effective_width);
  const auto effective_height = static_cast<std::size_t>(layout.effective_height);
  stretched_ = width != effective_width || height != effective_height;
  scale_w_ = static_cast<double>(effective_width) / static_cast<double>(width);
  scale_h_ = static_cast<double>(effective_height) / static_cast<double>(height);

  width_ = static_cast<std::size_t>(layout.canvas_width);
  height_ = static_cast<std::size_t>(layout.canvas_height);
  const std::size_t rows =
      clamped_side(layout.effective_height, layout.bleed_top, layout.canvas_height);
  const std::size_t columns =
      clamped_side(layout.effective_width, layout.bleed_left, layout.canvas_width);
  if (width > 0 && height > 0 && rows > 0 && columns > 0) {
    rows_ = rows;
    columns_ = columns;
    top_ = static_cast<std::size_t>(layout.bleed_top);
    left_ = static_cast<std::size_t>(layout.bleed_left);
  }

  if (!make_planes(planes_, width_, height_)) {
    log_line("K905-1: malloc canvas planes failed");
    return false;
  }
  const std::size_t below = top_ + rows_;
  for (Plane& plane : planes_.plane) {
    std::memset(plane.get(), kWhite, top_ * width_);
    std::memset(plane.get() + below * width_, kWhite, (height_ - below) * width_);
  }
  return true;
}

std::size_t Canvas::source_row(std::size_t row) const {
  return nearest(row, scale_h_, image_height_);
}

std::size_t Canvas::source_column(std::size_t column) const {
  return nearest(column, scale_w_, image_width_);
}

PlaneRow Canvas::area_row(std::size_t row) {
  const std::size_t offset = (top_ + row) * width_ + left_;
  return {{planes_.plane[0].get() + offset, planes_.plane[1].get() + offset,
           planes_.plane[2].get() + offset}};
}

void Canvas::fill_sides(std::size_t row) {
  for (std::uint8_t* area : area_row(row).plane) {
    std::memset(area - left_, kWhite, left_);
    std::memset(area + columns_, kWhite, width_ - left_ - columns_);
  }
}

void Canvas::log_no_memory_to_stretch() const {
  if (stretched_) {
    log_line("K905-1: malloc scaled planes failed");
  } else {
    log_line("K905-1: malloc canvas planes failed");
  }
}

void Canvas::report() const {
  log_line("K905-1: === STAGE 8: Place on canvas ===");
  log_line("K905-1: Paper config: %s, canvas=%dx%d", layout_.paper_label, layout_.canvas_width,
           layout_.canvas_height);
  log_line("K905-1: Image size: %dx%d", static_cast<int>(image_width_),
           static_cast<int>(image_height_));
  log_line("K905-1: Bleed values from %s - Top(A):%d, Bottom(B):%d, Left(C):%d, Right(D):%d",
           layout_.has_user_bleed ? "default + delta (PPD/CLI)" : "default (CUPSFile)",
           layout_.bleed_top, layout_.bleed_bottom, layout_.bleed_left, layout_.bleed_right);
  log_line("K905-1: Effective image area: %dx%d (already used in stage 1.5)",
           layout_.effective_width, layout_.effective_height);
  report_stretch();
  log_line("K905-1: Canvas created with bleed: %dx%d", layout_.canvas_width, layout_.canvas_height);
}

void Canvas::report_stretch() const {
  if (!stretched_) {
    log_line("K905-1: Image already matches effective area size");
    return;
  }
  const int width = static_cast<int>(image_width_);
  const int height = static_cast<int>(image_height_);
  log_line("K905-1: WARNING: Image size doesn't match effective area, stretching to fill...");
  log_line("K905-1:   Image: %dx%d, Effective area: %dx%d", width, height, layout_.effective_width,
           layout_.effective_height);
  log_line("K905-1: Stretching %dx%d -> %dx%d (scale_w=%.4f, scale_h=%.4f, non-proportional)",
           width, height, layout_.effective_width, layout_.effective_height, scale_w_, scale_h_);
}

SheetImage Canvas::take() {
  return {std::move(planes_), layout_.canvas_width, layout_.canvas_height};
}
