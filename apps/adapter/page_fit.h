// Places a page from any program on the sheet: at its physical size, in the middle of the paper,
// rotated if its orientation differs.
#pragma once

#include <cstdint>

#include "apps/adapter/axis_map.h"
#include "apps/layout/sheet_place.h"

namespace k905 {

// A page as its raster header describes it. The raster may contain only a part of the page; the
// rest is white.
struct DrawnPage {
  std::uint32_t width = 0;  // of the raster, in pixels, at least 1
  std::uint32_t height = 0;
  double dpi_across = 0;  // above 0, like the next three members
  double dpi_down = 0;
  double page_across = 0;  // of the page, in pixels of the raster
  double page_down = 0;
  double left = 0;  // of the raster on the page, in pixels
  double top = 0;
};

// How to place a page whose size differs from the paper.
enum class Scaling {
  automatic,      // a larger page covers the paper, a smaller one keeps its size
  automatic_fit,  // a larger page is reduced to fit, a smaller one keeps its size
  fill,           // cover the paper, crop equally at two opposite edges
  fit,            // show the complete page
  none,           // keep the size
};

// How the raster becomes the page for the filter. A page with the other orientation is rotated
// clockwise: print systems rotate such photos counterclockwise, and this undoes it.
struct PageFit {
  enum class Rotation {
    none,
    by_filter,       // the header gives the orientation, and the filter rotates the page
    before_mapping,  // the raster is rotated first
  };
  Rotation rotation = Rotation::none;
  AxisMap columns;  // of the filter's page, from the (rotated) raster
  AxisMap rows;
};

// `place` must have a frame.
[[nodiscard]] PageFit fit_page(const DrawnPage& page, const SheetPlace& place, Scaling scaling);

}  // namespace k905
