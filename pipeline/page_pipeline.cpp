#include "pipeline/page_pipeline.h"

#include <utility>

#include "diag/log.h"
#include "geometry/page_header.h"
#include "geometry/page_layout.h"
#include "paper/paper_table.h"
#include "pipeline/page_memory.h"
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

// Interprets the header, which fills current_options for this page, and logs what was understood.
PageLayout set_up(const cups_page_header2_t& header) {
  log_original_image(header);
  extract_print_params_from_header(&header);
  log_configuration(current_options);
  const PageLayout layout = page_layout(current_options);
  log_layout(current_options, layout);
  return layout;
}

void log_reading_starts() { log_line("K905-1: === STAGE 1: Reading CUPS raster data ==="); }

// Each stage learns the size that the one before it leaves. False, logged, when no line of the page
// can be read or go further.
bool prepare(PageStages& page, const cups_page_header2_t& header, IccCache* icc) {
  const PrintOptions& options = current_options;
  const PageLayout& layout = page.layout;
  const bool mirror = options.mirror != 0;
  if (!page.read.prepare(header, options.color_model)) {
    return false;
  }
  page.resize.prepare(page.read.width(), page.read.height(),
                      static_cast<std::size_t>(layout.target_width),
                      static_cast<std::size_t>(layout.target_height));
  const std::size_t width = page.resize.width();
  page.color_model.prepare(options.color_model, width, page.resize.height());
  page.deinterlace.prepare(options.interlace != 0, width, page.resize.height(),
                           2 * static_cast<std::size_t>(options.paper_config->target_height));
  const std::size_t height = page.deinterlace.height();
  page.mirror.prepare(mirror, width, height);
  page.adjust.prepare(options, width, height, mirror, icc);
  const bool turned = options.rotate_90 != 0;
  if (!page.turn.prepare(turned, width, height,
                         static_cast<std::size_t>(layout.effective_height))) {
    log_line("K905-1: malloc src planes failed");
    return false;
  }
  page.place.prepare(layout, page.turn.width(), page.turn.height(), turned);
  return true;
}

// One line on its way from the resize to the canvas.
void travel(PageStages& page, std::size_t y, std::uint8_t* rgb) {
  page.color_model.row(y, rgb);
  rgb = page.deinterlace.row(y, rgb);
  if (rgb == nullptr) {
    return;
  }
  y = page.deinterlace.output_row(y);
  page.mirror.row(y, rgb);
  const PlaneRow row = page.turn.target();
  page.adjust.row(y, rgb, row.plane[0], row.plane[1], row.plane[2]);
  page.turn.row_done(y, page.place);
}

// Reads every line of the page and takes it all the way. False, logged, when a line cannot be read.
bool run_lines(PageStages& page, cups_raster_t* raster) {
  for (std::size_t y = 0; page.resize.ready() && y < page.resize.height(); ++y) {
    std::uint8_t* rgb = page.resize.row(y, page.read, raster);
    if (rgb == nullptr) {
      return false;
    }
    travel(page, y, rgb);
  }
  while (page.read.rows_read() < page.read.height()) {
    if (page.read.next_row(raster) == nullptr) {
      return false;
    }
  }
  return true;
}

// Stage 6 scaled once; its number is kept so that the later ones stay what people know them by.
void report_no_scaling(std::size_t width, std::size_t height) {
  log_line("K905-1: === STAGE 6: Skipped (scaling already done in stage 1.5) ===");
  log_line("K905-1: Using image from stage 5: %dx%d (no scaling)", static_cast<int>(width),
           static_cast<int>(height));
}

// What every stage has to say, in order. False when one of them fails the page.
bool report(const PageStages& page) {
  page.read.report();
  if (!page.resize.report()) {
    return false;
  }
  page.color_model.report();
  page.deinterlace.report();
  page.mirror.report();
  page.adjust.report();
  report_no_scaling(page.resize.width(), page.deinterlace.height());
  if (!page.turn.report() || !page.place.report()) {
    return false;
  }
  page.place.report_final();
  return true;
}

}  // namespace

int k905_build_planes_resampled(const cups_page_header2_t* header, cups_raster_t* raster,
                                std::uint8_t** out_plane0, std::uint8_t** out_plane1,
                                std::uint8_t** out_plane2, PageMemory* memory) {
  PageMemory of_this_page;
  PageMemory& kept = memory != nullptr ? *memory : of_this_page;
  PageStages& page = kept.stages;
  page = {};

  page.layout = set_up(*header);
  if (!prepare(page, *header, &kept.icc)) {
    return -1;
  }
  if (!page.complete() && kept.before_lines_are_lost != nullptr) {
    raster = kept.before_lines_are_lost(kept.whose, raster);
    if (raster == nullptr) {
      return -1;
    }
  }
  log_reading_starts();
  if (!run_lines(page, raster) || !report(page)) {
    return -1;
  }
  PlaneSet canvas = page.place.take_canvas();
  *out_plane0 = canvas.plane[0].release();
  *out_plane1 = canvas.plane[1].release();
  *out_plane2 = canvas.plane[2].release();
  return 0;
}

void k905_report_page_again(const cups_page_header2_t* header, const PageMemory& memory) {
  (void)set_up(*header);
  log_reading_starts();
  memory.stages.read.report_lines_again();
  (void)report(memory.stages);
}
