// The page adapter: reads raster pages as programs draw them and writes those from which the filter
// makes exactly the sheet that a person expects, undistorted and in size.
//
// A page is laid out by the physical size of the paper in force. What is 1:1 there passes through
// unchanged, everything else is scaled once. Pages that already are the filter's own (k905-print
// makes such), and those that it is to report itself, pass through as they are.
#pragma once

#include <optional>

#include "apps/adapter/page_fit.h"
#include "apps/layout/sheet_place.h"

namespace k905 {

struct AdapterSettings {
  SheetPlace place;
  Scaling scaling = Scaling::automatic;
};

// Adapts the raster stream on descriptor `in` onto the pipe `out` until one of them ends. A stream
// that ends too early ends too early for the filter as well, which then reports it. False when the
// adapter itself failed, for want of memory; the reason is reported.
[[nodiscard]] bool adapt_pages(int in, int out, const AdapterSettings& settings);

}  // namespace k905
