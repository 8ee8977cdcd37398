// Stages 7 and 8 of a rotated page: rows become columns of the canvas. Rows are stretched to the
// area's height and collected in bands that stay in the processor's cache; each full band is
// transposed onto the canvas.
#include <algorithm>

#include "diag/log.h"
#include "pipeline/stages.h"

namespace {

// Columns that are transposed onto the canvas at once.
constexpr std::size_t kColumnsAtOnce = 256;

}  // namespace

bool RotateStage::prepare(Canvas& canvas, std::size_t width, std::size_t height) {
  height_ = height;
  line_stride_ = canvas.rows() + kernels::kRowSlack;
  band_ = make_row(3 * kBandRows * line_stride_);
  if (band_ == nullptr) {
    log_line("K905-1: malloc rotated planes failed");
    return false;
  }
  column_map_ = make_buffer<std::uint32_t>(canvas.columns());
  // The rightmost pixel of a row comes to the top of its column. A line is a column from its lowest
  // pixel up, because rows have them in that order.
  const bool has_runs = runs_.build(canvas.rows(), [&](std::size_t i) {
    return width - 1 - canvas.source_row(canvas.rows() - 1 - i);
  });
  if (column_map_ == nullptr || !has_runs) {
    canvas.log_no_memory_to_stretch();
    return false;
  }
  for (std::size_t x = 0; x < canvas.columns(); ++x) {
    column_map_[x] = static_cast<std::uint32_t>(canvas.source_column(x));
  }
  for (std::size_t row = 0; row < canvas.rows(); ++row) {
    canvas.fill_sides(row);
  }
  image_.prepare(height, width);
  return true;
}

std::uint8_t* RotateStage::band_line(std::size_t plane, std::size_t line) {
  return band_.get() + (plane * kBandRows + line) * line_stride_;
}

void RotateStage::row(const PlaneRow& row, Canvas& canvas) {
  image_.take_rotated(row);
  for (std::size_t i = 0; i < 3; ++i) {
    runs_.copy(row.plane[i], band_line(i, lines_));
  }
  ++lines_;
  if (lines_ == kBandRows || first_ + lines_ == height_) {
    transpose_band(canvas);
    first_ += lines_;
    lines_ = 0;
  }
}

// The band's lines are columns first_ to first_ + lines_ - 1 of the rotated image.
void RotateStage::transpose_band(Canvas& canvas) {
  if (canvas.rows() == 0) {
    return;
  }
  const std::uint32_t* const map = column_map_.get();
  const std::uint32_t* const map_end = map + canvas.columns();
  const std::uint32_t* column = std::lower_bound(map, map_end, first_);
  const std::uint32_t* const end = std::lower_bound(column, map_end, first_ + lines_);
  const PlaneRow lowest = canvas.area_row(canvas.rows() - 1);
  while (column != end) {
    // For a column that the stretch repeats, its line is listed again.
    const std::size_t count = std::min(kColumnsAtOnce, static_cast<std::size_t>(end - column));
    for (std::size_t i = 0; i < 3; ++i) {
      const std::uint8_t* lines[kColumnsAtOnce];
      for (std::size_t c = 0; c < count; ++c) {
        lines[c] = band_line(i, column[c] - first_);
      }
      kernels::chosen_table().transpose({lines, count}, canvas.rows(),
                                        lowest.plane[i] + (column - map),
                                        -static_cast<std::ptrdiff_t>(canvas.stride()));
    }
    column += count;
  }
}

void RotateStage::report() const {
  log_line("K905-1: === STAGE 7: Rotation (if needed) ===");
  image_.save("07_rotated");
}
