#include "apps/layout/page_header.h"

#include <cmath>
#include <cstdio>
#include <utility>

namespace {

unsigned rounded(double value) { return static_cast<unsigned>(std::lround(value)); }

unsigned pixels_of(float points, unsigned dpi) {
  return rounded(static_cast<double>(points) * dpi / 72.0);
}

}  // namespace

void page_pixels(const PagePlan& plan, unsigned& width, unsigned& height) {
  width = pixels_of(plan.paper->page_width_pt, plan.horizontal_dpi);
  height = pixels_of(plan.paper->page_height_pt, plan.vertical_dpi);
  // The fallback paper has no page size of its own; its target stands in.
  if (width == 0 || height == 0) {
    width = static_cast<unsigned>(plan.paper->target_width);
    height = static_cast<unsigned>(plan.paper->target_height) * plan.vertical_dpi / 300;
  }
  if (plan.turned()) {
    std::swap(width, height);
  }
}

cups_page_header2_t make_page_header(const PagePlan& plan, unsigned width, unsigned height) {
  cups_page_header2_t header{};
  header.HWResolution[0] = plan.horizontal_dpi;
  header.HWResolution[1] = plan.vertical_dpi;
  header.NumCopies = plan.copies;
  header.Orientation = static_cast<cups_orient_t>(plan.orientation);
  header.PageSize[0] = rounded(static_cast<double>(plan.paper->page_width_pt));
  header.PageSize[1] = rounded(static_cast<double>(plan.paper->page_height_pt));
  if (plan.page_width_pt != 0) {
    header.PageSize[0] = plan.page_width_pt;
    header.PageSize[1] = plan.page_height_pt;
  }
  header.ImagingBoundingBox[2] = header.PageSize[0];
  header.ImagingBoundingBox[3] = header.PageSize[1];
  header.cupsWidth = width;
  header.cupsHeight = height;
  header.cupsBitsPerColor = plan.format->bits;
  header.cupsBitsPerPixel = plan.format->bits_per_pixel();
  header.cupsBytesPerLine = line_bytes(*plan.format, width);
  header.cupsColorOrder = CUPS_ORDER_CHUNKED;
  header.cupsColorSpace = static_cast<cups_cspace_t>(plan.colour_space);
  header.cupsNumColors = plan.format->colours;
  header.cupsBorderlessScalingFactor = 1.0F;
  const bool as_paper = plan.page_width_pt == 0;
  header.cupsPageSize[0] =
      as_paper ? plan.paper->page_width_pt : static_cast<float>(plan.page_width_pt);
  header.cupsPageSize[1] =
      as_paper ? plan.paper->page_height_pt : static_cast<float>(plan.page_height_pt);
  header.cupsImagingBBox[2] = header.cupsPageSize[0];
  header.cupsImagingBBox[3] = header.cupsPageSize[1];
  std::snprintf(header.cupsPageSizeName, sizeof header.cupsPageSizeName, "%s",
                plan.paper->ppd_name);
  return header;
}
