// The raster page that shows a prepared picture at its place.
#pragma once

#include "apps/layout/page_header.h"
#include "apps/layout/sheet_place.h"

[[nodiscard]] inline PagePlan page_plan(const SheetPlace& place) {
  PagePlan plan;
  plan.paper = place.paper;
  plan.format = find_page_format(place.grey ? "gray8" : "rgb8");
  plan.colour_space = plan.format->colour_space;
  plan.vertical_dpi = place.fine ? 600 : 300;
  plan.size = PageSize::picture;
  return plan;
}
