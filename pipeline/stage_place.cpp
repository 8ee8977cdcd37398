#include <algorithm>
#include <cstring>
#include <utility>

#include "diag/debug_image.h"
#include "diag/log.h"
#include "geometry/paper_table.h"
#include "pipeline/stages.h"
#include "settings/print_options.h"

namespace {

constexpr std::uint8_t kWhite = 255;

// The source line of line `i` of a stretch by `scale`: nearest neighbour, pixel centres aligned.
// The half that is taken away and added again is part of the arithmetic.
std::size_t nearest(std::size_t i, double scale, std::size_t source_size) {
  const double at = ((static_cast<double>(i) + 0.5) * (1.0 / scale)) - 0.5 + 0.5;
  return at < 1.0 ? 0 : std::min(static_cast<std::size_t>(at), source_size - 1);
}

// How much of an effective side the canvas has room for behind a bleed.
std::size_t room(std::int32_t effective, std::int32_t bleed, std::int32_t canvas) {
  const std::int64_t behind_bleed = std::int64_t{canvas} - bleed;
  return static_cast<std::size_t>(
      std::max<std::int64_t>(0, std::min<std::int64_t>(effective, behind_bleed)));
}

}  // namespace

void PlaceStage::prepare(const PageLayout& layout, std::size_t width, std::size_t height) {
  layout_ = layout;
  image_width_ = width;
  image_height_ = height;
  const auto effective_width = static_cast<std::size_t>(layout.effective_width);
  const auto effective_height = static_cast<std::size_t>(layout.effective_height);
  stretch_ = width != effective_width || height != effective_height;
  scale_w_ = static_cast<double>(effective_width) / static_cast<double>(width);
  scale_h_ = static_cast<double>(effective_height) / static_cast<double>(height);
  const bool empty = width == 0 || height == 0;
  rows_ = empty ? 0 : room(layout.effective_height, layout.bleed_top, layout.canvas_height);
  columns_ = empty ? 0 : room(layout.effective_width, layout.bleed_left, layout.canvas_width);
  next_row_ = 0;

  has_canvas_ = make_planes(canvas_, static_cast<std::size_t>(layout.canvas_width),
                            static_cast<std::size_t>(layout.canvas_height));
  const bool has_map = make_column_map();
  ready_ = has_canvas_ && has_map;
  if (!stretch_) {
    has_canvas_ = ready_;  // Nothing is scaled here that could be said to have failed.
  }
  if (ready_) {
    fill_outside();
    row_runs_ = make_runs(0, width);
  }
}

bool PlaceStage::make_column_map() {
  map_ = make_plane(columns_ * sizeof(std::uint32_t));
  runs_ = make_plane(columns_ * sizeof(kernels::CopyRun));
  if (map_ == nullptr || runs_ == nullptr) {
    return false;
  }
  auto* map = reinterpret_cast<std::uint32_t*>(map_.get());
  for (std::size_t x = 0; x < columns_; ++x) {
    map[x] = static_cast<std::uint32_t>(stretch_ ? nearest(x, scale_w_, image_width_) : x);
  }
  return true;
}

std::size_t PlaceStage::source_row(std::size_t row) const {
  return stretch_ ? nearest(row, scale_h_, image_height_) : row;
}

// What source columns `first` to `first + count` give, with `from` counted from `first`.
std::span<const kernels::CopyRun> PlaceStage::make_runs(std::size_t first, std::size_t count) {
  const auto* map = reinterpret_cast<const std::uint32_t*>(map_.get());
  auto* runs = reinterpret_cast<kernels::CopyRun*>(runs_.get());
  std::size_t used = 0;
  for (auto x = static_cast<std::size_t>(std::lower_bound(map, map + columns_, first) - map);
       x < columns_ && map[x] < first + count; ++x) {
    const auto from = static_cast<std::uint32_t>(map[x] - first);
    if (used > 0 && from == runs[used - 1].from + runs[used - 1].length) {
      ++runs[used - 1].length;
    } else {
      runs[used++] = {.to = static_cast<std::uint32_t>(x), .from = from, .length = 1};
    }
  }
  return {runs, used};
}

std::uint8_t* PlaceStage::canvas_row(std::size_t plane, std::size_t row) {
  return canvas_.plane[plane].get() + row * static_cast<std::size_t>(layout_.canvas_width);
}

// White above and below the effective area.
void PlaceStage::fill_outside() {
  const auto canvas_width = static_cast<std::size_t>(layout_.canvas_width);
  const auto canvas_height = static_cast<std::size_t>(layout_.canvas_height);
  const std::size_t top = std::min(static_cast<std::size_t>(layout_.bleed_top), canvas_height);
  const std::size_t below = top + rows_;
  for (std::size_t i = 0; i < 3; ++i) {
    std::memset(canvas_row(i, 0), kWhite, top * canvas_width);
    std::memset(canvas_row(i, below), kWhite, (canvas_height - below) * canvas_width);
  }
}

// White left and right of the effective area, in one row of the canvas.
void PlaceStage::fill_beside(std::size_t row) {
  const auto canvas_width = static_cast<std::size_t>(layout_.canvas_width);
  const std::size_t left = std::min(static_cast<std::size_t>(layout_.bleed_left), canvas_width);
  for (std::size_t i = 0; i < 3; ++i) {
    std::memset(canvas_row(i, row), kWhite, left);
    std::memset(canvas_row(i, row) + left + columns_, kWhite, canvas_width - left - columns_);
  }
}

void PlaceStage::row(std::size_t y, const PlaneRow& row) {
  if (!ready_) {
    return;
  }
  for (; next_row_ < rows_ && source_row(next_row_) == y; ++next_row_) {
    const std::size_t on_canvas = static_cast<std::size_t>(layout_.bleed_top) + next_row_;
    fill_beside(on_canvas);
    for (std::size_t i = 0; i < 3 && columns_ > 0; ++i) {
      kernels::chosen_table().copy_runs(row_runs_, row.plane[i],
                                        canvas_row(i, on_canvas) + layout_.bleed_left);
    }
  }
}

void PlaceStage::columns(std::size_t first, std::size_t count, const PlaneRow& pixels,
                         std::ptrdiff_t stride) {
  if (!ready_) {
    return;
  }
  const std::span<const kernels::CopyRun> runs = make_runs(first, count);
  for (std::size_t row = 0; row < rows_; ++row) {
    const std::size_t on_canvas = static_cast<std::size_t>(layout_.bleed_top) + row;
    const auto source = static_cast<std::ptrdiff_t>(source_row(row));
    if (first == 0) {
      fill_beside(on_canvas);
    }
    for (std::size_t i = 0; i < 3 && columns_ > 0; ++i) {
      kernels::chosen_table().copy_runs(runs, pixels.plane[i] + source * stride,
                                        canvas_row(i, on_canvas) + layout_.bleed_left);
    }
  }
}

bool PlaceStage::report() const {
  const int image_width = static_cast<int>(image_width_);
  const int image_height = static_cast<int>(image_height_);
  const PrintOptions& options = current_options;
  const bool any_delta = options.bleed_top_px != 0 || options.bleed_bottom_px != 0 ||
                         options.bleed_left_px != 0 || options.bleed_right_px != 0;
  log_line("K905-1: === STAGE 8: Place on canvas ===");
  log_line("K905-1: Paper config: %s, canvas=%dx%d", options.paper_config->label,
           layout_.canvas_width, layout_.canvas_height);
  log_line("K905-1: Image size: %dx%d", image_width, image_height);
  log_line("K905-1: Bleed values from %s - Top(A):%d, Bottom(B):%d, Left(C):%d, Right(D):%d",
           any_delta ? "default + delta (PPD/CLI)" : "default (CUPSFile)", layout_.bleed_top,
           layout_.bleed_bottom, layout_.bleed_left, layout_.bleed_right);
  log_line("K905-1: Effective image area: %dx%d (already used in stage 1.5)",
           layout_.effective_width, layout_.effective_height);
  if (!has_canvas_) {
    log_line("K905-1: malloc canvas planes failed");
    return false;
  }
  if (!stretch_) {
    log_line("K905-1: Image already matches effective area size");
  } else {
    log_line("K905-1: WARNING: Image size doesn't match effective area, stretching to fill...");
    log_line("K905-1:   Image: %dx%d, Effective area: %dx%d", image_width, image_height,
             layout_.effective_width, layout_.effective_height);
    log_line("K905-1: Stretching %dx%d -> %dx%d (scale_w=%.4f, scale_h=%.4f, non-proportional)",
             image_width, image_height, layout_.effective_width, layout_.effective_height, scale_w_,
             scale_h_);
  }
  if (!ready_) {
    log_line("K905-1: malloc scaled planes failed");
    return false;
  }
  log_line("K905-1: Canvas created with bleed: %dx%d", layout_.canvas_width, layout_.canvas_height);
  return true;
}

void PlaceStage::report_final() const {
  log_line("K905-1: === STAGE 9: Final result ===");
  save_debug_image("09_final_canvas", canvas_.plane[0].get(), canvas_.plane[1].get(),
                   canvas_.plane[2].get(), static_cast<unsigned>(layout_.canvas_width),
                   layout_.canvas_height);
}

PlaneSet PlaceStage::take_canvas() { return std::move(canvas_); }
