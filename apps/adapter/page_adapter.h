// The page adapter: reads raster pages from any program and writes pages that the filter prints
// undistorted and at their physical size.
//
// A page is laid out by the physical size of the selected paper. A page that fits 1:1 is not
// scaled; all other pages are scaled once. Pages that were made for the filter (by k905-print or
// phototok905) and pages that the filter will report as invalid are copied with their header.
#pragma once

#include <optional>

#include "apps/adapter/page_fit.h"
#include "apps/layout/sheet_place.h"

namespace k905 {

struct AdapterSettings {
  SheetPlace place;
  Scaling scaling = Scaling::automatic;
};

// Adapts the raster stream on descriptor `in` and writes it to the pipe `out`, until the stream
// ends or the pipe is closed. A truncated stream is truncated for the filter too, which then
// reports it. False, after a message, if there is not enough memory.
[[nodiscard]] bool adapt_pages(int in, int out, const AdapterSettings& settings);

}  // namespace k905
