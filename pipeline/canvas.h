// The canvas of a sheet: three planes with the image, stretched to the area between the bleeds, and
// white around it (stages 8 and 9).
//
// Below, "the area" is the part of the effective area that is on the canvas. Its rows are written
// one by one from the top (PlaceStage) or column by column (RotateStage); the canvas computes
// where they are and which row and column of the image belong there.
#pragma once

#include <cstddef>
#include <cstdint>

#include "geometry/page_layout.h"
#include "pipeline/planes.h"

class Canvas {
 public:
  // Allocates the planes for an upright image of width x height pixels and whitens the rows above
  // and below the area; without an area, all of them. False, logged, when there is no memory.
  [[nodiscard]] bool prepare(const PageLayout& layout, std::size_t width, std::size_t height);

  // Size of the area. Both are 0 when the image is empty or the bleeds leave no room on the canvas.
  [[nodiscard]] std::size_t rows() const { return rows_; }
  [[nodiscard]] std::size_t columns() const { return columns_; }

  // The row (column) of the image that a row (column) of the area shows.
  [[nodiscard]] std::size_t source_row(std::size_t row) const;
  [[nodiscard]] std::size_t source_column(std::size_t column) const;

  // A row of the area in each plane, from its first column on.
  [[nodiscard]] PlaneRow area_row(std::size_t row);
  [[nodiscard]] std::size_t stride() const { return width_; }

  // Whitens the canvas left and right of a row of the area.
  void fill_sides(std::size_t row);

  // To be called by a stage that cannot allocate its memory for stretching.
  void log_no_memory_to_stretch() const;

  // Logs stage 8.
  void report() const;

  // The finished canvas; the caller becomes its owner.
  [[nodiscard]] SheetImage take();

 private:
  void report_stretch() const;

  PageLayout layout_ = {};
  std::size_t image_width_ = 0;
  std::size_t image_height_ = 0;
  double scale_w_ = 1.0;
  double scale_h_ = 1.0;
  bool stretched_ = false;

  std::size_t width_ = 0;
  std::size_t height_ = 0;
  std::size_t top_ = 0;
  std::size_t left_ = 0;
  std::size_t rows_ = 0;
  std::size_t columns_ = 0;
  PlaneSet planes_;
};
