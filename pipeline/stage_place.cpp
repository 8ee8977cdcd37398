#include <algorithm>
#include <cstring>
#include <utility>

#include "diag/debug_image.h"
#include "diag/log.h"
#include "paper/paper_table.h"
#include "pipeline/stages.h"
#include "settings/print_options.h"

namespace {

constexpr std::uint8_t kWhite = 255;

// Columns that are stood up on the canvas in one go.
constexpr std::size_t kColumnsAtOnce = 256;

// The source line of line `i` of a stretch by `scale`: nearest neighbour, pixel centers aligned.
// The half that is taken away and added again is part of the arithmetic.
std::size_t nearest(std::size_t i, double scale, std::size_t source_size) {
  const double at = ((static_cast<double>(i) + 0.5) * (1.0 / scale)) - 0.5 + 0.5;
  return at < 1.0 ? 0 : std::min(static_cast<std::size_t>(at), source_size - 1);
}

using Runs = std::span<const kernels::CopyRun>;

// Joins single bytes of a line to runs: byte i of the target is byte source_of(i) of the source.
template <typename SourceOf>
Runs make_runs(kernels::CopyRun* runs, std::size_t length, SourceOf source_of) {
  std::size_t used = 0;
  for (std::size_t i = 0; i < length; ++i) {
    const auto from = static_cast<std::uint32_t>(source_of(i));
    if (used > 0 && from == runs[used - 1].from + runs[used - 1].length) {
      ++runs[used - 1].length;
    } else {
      runs[used++] = {.to = static_cast<std::uint32_t>(i), .from = from, .length = 1};
    }
  }
  return {runs, used};
}

// How much of an effective side the canvas has room for behind a bleed.
std::size_t room(std::int32_t effective, std::int32_t bleed, std::int32_t canvas) {
  const std::int64_t behind_bleed = std::int64_t{canvas} - bleed;
  return static_cast<std::size_t>(
      std::max<std::int64_t>(0, std::min<std::int64_t>(effective, behind_bleed)));
}

}  // namespace

void PlaceStage::prepare(const PageLayout& layout, std::size_t width, std::size_t height,
                         bool turned) {
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
  const bool has_maps = make_maps(turned);
  ready_ = has_canvas_ && has_maps;
  if (!stretch_) {
    has_canvas_ = ready_;  // Nothing is scaled here that could be said to have failed.
  }
  if (ready_) {
    fill_outside();
  }
}

bool PlaceStage::make_maps(bool turned) {
  runs_room_ = make_buffer<kernels::CopyRun>(turned ? rows_ : columns_);
  map_ = turned ? make_buffer<std::uint32_t>(columns_) : nullptr;
  if (runs_room_ == nullptr || (turned && map_ == nullptr)) {
    return false;
  }
  kernels::CopyRun* runs = runs_room_.get();
  const auto source_column = [this](std::size_t x) {
    return stretch_ ? nearest(x, scale_w_, image_width_) : x;
  };
  if (!turned) {
    runs_ = make_runs(runs, columns_, source_column);
    return true;
  }
  // A column comes with its lowest pixel first, and so it stays until it stands on the canvas.
  runs_ = make_runs(
      runs, rows_, [this](std::size_t i) { return image_height_ - 1 - source_row(rows_ - 1 - i); });
  for (std::size_t x = 0; x < columns_; ++x) {
    map_[x] = static_cast<std::uint32_t>(source_column(x));
  }
  return true;
}

std::size_t PlaceStage::source_row(std::size_t row) const {
  return stretch_ ? nearest(row, scale_h_, image_height_) : row;
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
      kernels::chosen_table().copy_runs(runs_, row.plane[i],
                                        canvas_row(i, on_canvas) + layout_.bleed_left);
    }
  }
}

void PlaceStage::stretch(const std::uint8_t* column, std::uint8_t* line) const {
  if (ready_) {
    kernels::chosen_table().copy_runs(runs_, column, line);
  }
}

void PlaceStage::columns(std::size_t first, std::size_t count, const PlaneRow& lines,
                         std::size_t stride) {
  if (!ready_ || rows_ == 0) {
    return;
  }
  for (std::size_t row = 0; first == 0 && row < rows_; ++row) {
    fill_beside(static_cast<std::size_t>(layout_.bleed_top) + row);
  }
  const std::uint32_t* map = map_.get();
  const std::uint32_t* at = std::lower_bound(map, map + columns_, first);
  const std::uint32_t* const end = std::lower_bound(at, map + columns_, first + count);
  const std::size_t lowest = static_cast<std::size_t>(layout_.bleed_top) + rows_ - 1;
  while (at != end) {
    // Where the stretch repeats a column, its line is named again.
    const std::uint8_t* named[3][kColumnsAtOnce];
    const std::ptrdiff_t column = layout_.bleed_left + (at - map);
    std::size_t used = 0;
    for (; at != end && used < kColumnsAtOnce; ++at, ++used) {
      for (std::size_t i = 0; i < 3; ++i) {
        named[i][used] = lines.plane[i] + (*at - first) * stride;
      }
    }
    for (std::size_t i = 0; i < 3; ++i) {
      kernels::chosen_table().transpose({named[i], used}, rows_, canvas_row(i, lowest) + column,
                                        -std::ptrdiff_t{layout_.canvas_width});
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
