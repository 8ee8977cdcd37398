// Stage 8 of an upright page: copies each row of the image to the canvas rows that show it, with
// one list of runs for all rows.
#include "pipeline/stages.h"

bool PlaceStage::prepare(const Canvas& canvas) {
  if (runs_.build(canvas.columns(), [&](std::size_t x) { return canvas.source_column(x); })) {
    return true;
  }
  canvas.log_no_memory_to_stretch();
  return false;
}

void PlaceStage::row(const PlaneRow& row, Canvas& canvas) {
  for (; next_row_ < canvas.rows(); ++next_row_) {
    if (canvas.source_row(next_row_) != image_row_) {
      break;
    }
    canvas.fill_sides(next_row_);
    const PlaneRow target = canvas.area_row(next_row_);
    for (std::size_t i = 0; i < 3; ++i) {
      runs_.copy(row.plane[i], target.plane[i]);
    }
  }
  ++image_row_;
}
