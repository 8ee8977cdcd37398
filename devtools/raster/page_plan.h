// The options for the pages, and the raster header that results from them.
#pragma once

#include <cups/raster.h>

#include "devtools/raster/page_format.h"
#include "paper/paper_table.h"

// What sets the size of the page in pixels: the paper at this resolution, the image, or width and
// height of the plan.
enum class PixelSizeSource { paper, picture, plan };

struct PagePlan {
  const PaperConfig* paper = nullptr;
  const PageFormat* format = &page_formats[0];
  unsigned color_space = 1;
  unsigned horizontal_dpi = 300;
  unsigned vertical_dpi = 300;
  unsigned orientation = 0;  // 1 and 3: the filter rotates the image
  unsigned copies = 1;
  PixelSizeSource size_source = PixelSizeSource::paper;
  unsigned width = 0;  // for PixelSizeSource::plan
  unsigned height = 0;

  unsigned page_width_pt = 0;  // page size in the header, if it differs from the paper's
  unsigned page_height_pt = 0;

  [[nodiscard]] bool is_rotated() const { return orientation == 1 || orientation == 3; }
};

// The size of the paper's page at the plan's resolution; rotated if the plan is.
[[nodiscard]] k905::PixelSize page_pixels(const PagePlan& plan);

[[nodiscard]] cups_page_header2_t make_page_header(const PagePlan& plan, k905::PixelSize size);
