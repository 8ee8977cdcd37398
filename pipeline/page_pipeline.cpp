// The order of the stages: every page's memory first, then its rows, then its log.
#include "pipeline/page_pipeline.h"

#include <new>

#include "diag/debug_image.h"
#include "diag/log.h"
#include "geometry/page_header.h"
#include "geometry/page_layout.h"
#include "paper/paper_table.h"
#include "pipeline/stages.h"
#include "settings/print_options.h"

namespace {

void log_original_image(const cups_page_header2_t& header) {
  const int dpi_x = static_cast<int>(header.HWResolution[0]);
  const int dpi_y = static_cast<int>(header.HWResolution[1]);
  log_line("K905-1: Original CUPS image: %dx%d pixels", static_cast<int>(header.cupsWidth),
           static_cast<int>(header.cupsHeight));
  log_line("K905-1: Original DPI: %dx%d", dpi_x, dpi_y);
  log_line("K905-1: Original physical size: %.2f x %.2f mm (at %d DPI)",
           header.cupsWidth * 25.4 / header.HWResolution[0],
           header.cupsHeight * 25.4 / header.HWResolution[1], dpi_y);
}

void log_configuration(const PrintOptions& options) {
  const PaperConfig& paper = *options.paper_config;
  log_line("K905-1: Using paper configuration: %s (%s)", paper.ppd_name, paper.label);
  log_line("  Target Size: %dx%d pixels", paper.target_width, paper.target_height);
  log_line("  Canvas Size: %dx%d pixels", paper.canvas_width, paper.canvas_height);
  log_line("  Image Rotation: %s", options.rotate_90 != 0 ? "90° within canvas" : "none");
  log_line("  Mode: %s", options.interlace != 0 ? "Interlaced (300x600 DPI)" : "Normal (300 DPI)");
  log_line("  Mirror Flip: %s", options.mirror != 0 ? "ENABLED" : "DISABLED");
  log_line("  Color Model: %s", options.color_model);
  log_line("  Color Correction: %s", options.color_correction);
  log_line("  ICC Enabled: %s", options.icc_enabled != 0 ? "Yes" : "No");
  if (options.icc_enabled != 0) {
    log_line("  ICC Profile: %s", options.icc_profile_path);
  }
}

void log_layout(const PrintOptions& options, const PageLayout& layout) {
  if (options.interlace != 0) {
    const int height = options.paper_config->target_height;
    log_line("K905-1: Interlaced mode: target height doubled from %d to %d", height, 2 * height);
  }
  log_line("K905-1: Effective image area (canvas - bleed): %dx%d pixels", layout.effective_width,
           layout.effective_height);
  log_line("K905-1:   Canvas: %dx%d, Bleed: L=%d, R=%d, T=%d, B=%d", layout.canvas_width,
           layout.canvas_height, layout.bleed_left, layout.bleed_right, layout.bleed_top,
           layout.bleed_bottom);
}

// Interprets the header, which fills current_options for this page, and logs the result.
PageLayout set_up(const cups_page_header2_t& header) {
  log_original_image(header);
  extract_print_params_from_header(&header);
  log_configuration(current_options);
  const PageLayout layout = page_layout(current_options);
  log_layout(current_options, layout);
  return layout;
}

void log_reading_starts() { log_line("K905-1: === STAGE 1: Reading CUPS raster data ==="); }

// All stages of one page, in their order, and the plane row that passes through the later ones.
struct PageStages {
  ReadStage read;
  ResizeStage resize;
  ColorModelStage color_model;
  DeinterlaceStage deinterlace;
  MirrorStage mirror;
  AdjustStage adjust;
  bool is_rotated = false;
  RotateStage rotate;  // a rotated page
  PlaceStage place;    // an upright page
  Canvas canvas;

  Plane row_memory;
  PlaneRow row = {};
};

bool make_plane_row(PageStages& page, std::size_t width) {
  const std::size_t stride = width + kernels::kRowSlack;
  page.row_memory = make_row(3 * stride);
  if (page.row_memory == nullptr) {
    log_line("K905-1: malloc src planes failed");
    return false;
  }
  std::uint8_t* row = page.row_memory.get();
  page.row = {{row, row + stride, row + 2 * stride}};
  return true;
}

bool prepare_canvas(PageStages& page, const PageLayout& layout, std::size_t width,
                    std::size_t height) {
  if (page.is_rotated) {
    return page.canvas.prepare(layout, height, width) &&
           page.rotate.prepare(page.canvas, width, height);
  }
  return page.canvas.prepare(layout, width, height) && page.place.prepare(page.canvas);
}

// Passes to each stage the size that the one before it produces. False, logged, if the page cannot
// be read or there is no memory for it.
bool prepare(PageStages& page, const cups_page_header2_t& header, const PrintOptions& options,
             const PageLayout& layout, IccTransform& icc) {
  if (!page.read.prepare(header, options.color_model) ||
      !page.resize.prepare(page.read.width(), page.read.height(),
                           static_cast<std::size_t>(layout.target_width),
                           static_cast<std::size_t>(layout.target_height)) ||
      !make_plane_row(page, page.resize.width())) {
    return false;
  }
  const std::size_t width = page.resize.width();
  page.color_model.prepare(options.color_model, width, page.resize.height());
  page.deinterlace.prepare(options.interlace != 0, width, page.resize.height(),
                           2 * static_cast<std::size_t>(options.paper_config->target_height));
  const std::size_t height = page.deinterlace.height();
  page.mirror.prepare(options.mirror != 0, width, height);
  page.is_rotated = options.rotate_90 != 0;
  if (!prepare_canvas(page, layout, width, height)) {
    return false;
  }
  page.adjust.prepare(options, width, height, icc);
  return true;
}

// One row from the resize to the canvas.
void run_row(PageStages& page, std::uint8_t* rgb) {
  page.color_model.row(rgb);
  const std::uint8_t* row = page.deinterlace.row(rgb);
  if (row == nullptr) {
    return;
  }
  page.mirror.row(row, page.row);
  page.adjust.row(page.row);
  if (page.is_rotated) {
    page.rotate.row(page.row, page.canvas);
  } else {
    page.place.row(page.row, page.canvas);
  }
}

// False, logged, when a line cannot be read.
bool run_rows(PageStages& page, cups_raster_t* raster) {
  for (std::size_t y = 0; y < page.read.height(); ++y) {
    std::uint8_t* line = page.read.next_row(raster);
    if (line == nullptr) {
      return false;
    }
    page.resize.take(line);
    while (std::uint8_t* row = page.resize.next_row()) {
      run_row(page, row);
    }
  }
  return true;
}

// There is no stage 6 anymore; the numbers of the later stages are kept.
void report_no_scaling(std::size_t width, std::size_t height) {
  log_line("K905-1: === STAGE 6: Skipped (scaling already done in stage 1.5) ===");
  log_line("K905-1: Using image from stage 5: %dx%d (no scaling)", static_cast<int>(width),
           static_cast<int>(height));
}

void report_final(const SheetImage& sheet) {
  log_line("K905-1: === STAGE 9: Final result ===");
  save_debug_image("09_final_canvas", sheet.planes.plane[0].get(), sheet.planes.plane[1].get(),
                   sheet.planes.plane[2].get(), static_cast<unsigned>(sheet.width), sheet.height);
}

void report(const PageStages& page, const PrintOptions& options, const SheetImage& sheet) {
  page.read.report();
  page.resize.report();
  page.color_model.report(options.color_model);
  page.deinterlace.report();
  page.mirror.report();
  page.adjust.report(options);
  report_no_scaling(page.resize.width(), page.deinterlace.height());
  page.rotate.report();
  page.canvas.report();
  report_final(sheet);
}

}  // namespace

struct PagePipeline::State {
  PageStages page;  // of the last build()
  IccTransform icc;
};

PagePipeline::PagePipeline() = default;
PagePipeline::~PagePipeline() = default;

bool PagePipeline::build(const cups_page_header2_t& header, cups_raster_t* raster,
                         SheetImage& sheet) {
  sheet = {};
  const PageLayout layout = set_up(header);
  if (state_ == nullptr) {
    state_.reset(new (std::nothrow) State);
  }
  if (state_ == nullptr) {
    log_line("K905-1: malloc src planes failed");
    return false;
  }
  PageStages& page = state_->page;
  page = {};
  if (!prepare(page, header, current_options, layout, state_->icc)) {
    return false;
  }
  log_reading_starts();
  if (!run_rows(page, raster)) {
    return false;
  }
  sheet = page.canvas.take();
  report(page, current_options, sheet);
  return true;
}

std::size_t PagePipeline::rows_read() const {
  return state_ != nullptr ? state_->page.read.rows_read() : 0;
}

bool PagePipeline::report_again(const cups_page_header2_t& header, const SheetImage& sheet) const {
  (void)set_up(header);
  log_reading_starts();
  if (!state_->page.read.report_lines_again()) {
    return false;
  }
  report(state_->page, current_options, sheet);
  return true;
}

int k905_build_planes_resampled(const cups_page_header2_t* header, cups_raster_t* raster,
                                std::uint8_t** out_plane0, std::uint8_t** out_plane1,
                                std::uint8_t** out_plane2) {
  PagePipeline pipeline;
  SheetImage sheet;
  if (!pipeline.build(*header, raster, sheet)) {
    return -1;
  }
  *out_plane0 = sheet.planes.plane[0].release();
  *out_plane1 = sheet.planes.plane[1].release();
  *out_plane2 = sheet.planes.plane[2].release();
  return 0;
}
