// Where a page that another program drew goes on the sheet: turned if it lies across, at its
// physical size, in the middle of the paper.
#pragma once

#include <cstdint>

#include "apps/adapter/axis_map.h"
#include "apps/layout/sheet_place.h"

namespace k905 {

// A page as its raster header describes it. The raster may hold a part of the page only, with
// nothing but white around it.
struct DrawnPage {
  std::uint32_t width = 0;  // of the raster, in pixels, at least 1
  std::uint32_t height = 0;
  double dpi_across = 0;  // above 0, as all that follow
  double dpi_down = 0;
  double page_across = 0;  // of the page, in pixels of the raster
  double page_down = 0;
  double left = 0;  // of the raster on the page, in pixels
  double top = 0;
};

// What to do with a page that has not the size of the paper.
enum class Scaling {
  automatic,      // a larger page covers the paper, a smaller one keeps its size
  automatic_fit,  // a larger page is made to fit, a smaller one keeps its size
  fill,           // cover the paper, cut what hangs over evenly at both ends
  fit,            // show all of the page
  none,           // keep the size
};

// How the raster becomes the page for the filter. A page that lies across the paper is turned to
// the right: print systems turn a photo that lies across their page to the left, and this undoes
// it.
struct PageFit {
  enum class Turn {
    none,
    by_filter,  // the page for the filter lies across as well, and its header says so
    before,     // the raster is to be turned before it is mapped
  };
  Turn turn = Turn::none;
  AxisMap columns;  // of the filter's page, from the raster (or the turned raster)
  AxisMap rows;
};

// `place` must have a frame.
[[nodiscard]] PageFit fit_page(const DrawnPage& page, const SheetPlace& place, Scaling scaling);

}  // namespace k905
