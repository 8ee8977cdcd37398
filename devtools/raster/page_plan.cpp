#include "devtools/raster/page_plan.h"

#include <cmath>
#include <utility>

#include "apps/layout/raster_writer.h"

namespace {

unsigned pixels_of(float points, unsigned dpi) {
  return static_cast<unsigned>(std::lround(static_cast<double>(points) * dpi / 72.0));
}

}  // namespace

k905::PixelSize page_pixels(const PagePlan& plan) {
  k905::PixelSize size{pixels_of(plan.paper->page_width_pt, plan.horizontal_dpi),
                       pixels_of(plan.paper->page_height_pt, plan.vertical_dpi)};
  // The fallback paper has no page size; its target size is used.
  if (size.width == 0 || size.height == 0) {
    size = {static_cast<unsigned>(plan.paper->target_width),
            static_cast<unsigned>(plan.paper->target_height) * plan.vertical_dpi / 300};
  }
  if (plan.is_rotated()) {
    std::swap(size.width, size.height);
  }
  return size;
}

cups_page_header2_t make_page_header(const PagePlan& plan, k905::PixelSize size) {
  cups_page_header2_t header = k905::page_header(*plan.paper, size, plan.vertical_dpi);
  header.HWResolution[0] = plan.horizontal_dpi;
  header.NumCopies = plan.copies;
  header.Orientation = static_cast<cups_orient_t>(plan.orientation);
  if (plan.page_width_pt != 0) {
    header.PageSize[0] = header.ImagingBoundingBox[2] = plan.page_width_pt;
    header.PageSize[1] = header.ImagingBoundingBox[3] = plan.page_height_pt;
    header.cupsPageSize[0] = header.cupsImagingBBox[2] = static_cast<float>(plan.page_width_pt);
    header.cupsPageSize[1] = header.cupsImagingBBox[3] = static_cast<float>(plan.page_height_pt);
  }
  header.cupsBitsPerColor = plan.format->bits;
  header.cupsBitsPerPixel = plan.format->bits_per_pixel();
  header.cupsBytesPerLine = line_bytes(*plan.format, size.width);
  header.cupsColorSpace = static_cast<cups_cspace_t>(plan.color_space);
  header.cupsNumColors = plan.format->colors;
  return header;
}
