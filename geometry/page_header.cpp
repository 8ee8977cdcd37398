#include "geometry/page_header.h"

#include <cstdint>
#include <iterator>

#include "diag/log.h"
#include "geometry/header_dump.h"
#include "geometry/header_number.h"
#include "paper/paper_table.h"
#include "settings/option_values.h"
#include "settings/print_options.h"

namespace {

constexpr std::uint64_t kLargeImagePixels = 10'000'000;

// The printer supports 300x300 dpi and 300x600 dpi. Every other resolution is printed as 300x300,
// and the resolution text of the options stays unchanged.
void read_resolution(const cups_page_header2_t& header, PrintOptions& options) {
  const unsigned across = header.HWResolution[0];
  const unsigned down = header.HWResolution[1];
  options.interlace = 0;
  options.interlace_factor = 1;
  if (across == 300 && down == 300) {
    copy_text(options.resolution, "300x300");
    log_line("K905-1: NORMAL MODE detected: 300x300 DPI");
    log_line("K905-1: Compression mode: %d", header_number(header.cupsCompression));
  } else if (across == 300 && down == 600) {
    options.interlace = 1;
    options.interlace_factor = 2;
    log_line("K905-1: INTERLACED MODE detected: 300x600 DPI");
    log_line("K905-1: Compression mode: %d (expected: 2 for interlace)",
             header_number(header.cupsCompression));
    copy_text(options.resolution, "300x600");
  } else {
    log_line("K905-1: UNKNOWN resolution mode: %dx%d DPI", header_number(header.HWResolution[0]),
             header_number(header.HWResolution[1]));
  }
}

void log_paper(const PaperConfig& paper) {
  log_line("  PPD size: %.2fx%.2f points", static_cast<double>(paper.page_width_pt),
           static_cast<double>(paper.page_height_pt));
  log_line("  Target size: %dx%d pixels", paper.target_width, paper.target_height);
  log_line("  Canvas size: %dx%d pixels", paper.canvas_width, paper.canvas_height);
}

const PaperConfig* paper_by_name(const char* name) {
  const PaperConfig* const paper = find_paper_by_ppd_name(name);
  if (paper != nullptr) {
    log_line("K905-1: Matched paper config by name: %s (%s)", paper->ppd_name, paper->label);
    log_paper(*paper);
    log_line("K905-1: Using paper config matched by PPD name: %s", name);
  }
  return paper;
}

const PaperConfig& paper_by_size(unsigned width_pt, unsigned height_pt) {
  const PaperConfig* paper =
      find_paper_by_size(static_cast<float>(width_pt), static_cast<float>(height_pt));
  if (paper != nullptr) {
    log_line("K905-1: Matched paper config by size: %s (%s)", paper->ppd_name, paper->label);
    log_paper(*paper);
  } else {
    log_line("K905-1: No exact paper match found for %ux%u points, using default", width_pt,
             height_pt);
    paper = &paper_sizes.back();
  }
  // Deliberate: the fallback, too, is logged as matched by size; people search logs for this line
  // to see that the paper was not selected by its name.
  log_line("K905-1: Using paper config matched by size: %ux%u points", width_pt, height_pt);
  return *paper;
}

// The name has priority: several papers differ by less than the tolerance of a match by size.
void choose_paper(const cups_page_header2_t& header, PrintOptions& options) {
  const PaperConfig* const named = paper_by_name(options.ppd_paper_name);
  options.paper_config =
      named != nullptr ? named : &paper_by_size(header.PageSize[0], header.PageSize[1]);
  if (options.interlace != 0) {
    log_line("K905-1: Paper target height: %d pixels", options.paper_config->target_height);
    log_line("K905-1: Expected source height for interlace: %d pixels",
             options.interlace_factor * options.paper_config->target_height);
  }
}

// Landscape and reverse landscape are rotated in the same direction.
void read_orientation(const cups_page_header2_t& header, PrintOptions& options) {
  const std::int32_t orientation = header_number(header.Orientation);
  options.rotate_90 = orientation == 1 || orientation == 3 ? 1 : 0;
  if (options.rotate_90 != 0) {
    log_line("K905-1: CUPS orientation indicates image rotation");
  }
}

struct ColorSpaceChoice {
  const char* color_model;
  const char* report;
};

// By cupsColorSpace. Deliberate: 4 and 5 are read as CMYK and YMCK although libcups calls them CMY
// and YMC; the queues of this printer send four inks under these numbers.
constexpr ColorSpaceChoice kColorSpaces[] = {
    {"Gray", "K905-1: Monochrome mode detected, using Gray color model"},
    {"RGB", "K905-1: RGB mode detected"},
    {"RGB", "K905-1: RGBA mode detected, using RGB color model"},
    {"Gray", "K905-1: Monochrome mode detected, using Gray color model"},
    {"CMY", "K905-1: CMYK/YMCK mode detected, using CMY color model"},
    {"CMY", "K905-1: CMYK/YMCK mode detected, using CMY color model"},
};

void read_color_space(const cups_page_header2_t& header, PrintOptions& options) {
  const std::int32_t number = header_number(header.cupsColorSpace);
  const auto index = static_cast<std::uint32_t>(number);
  if (index < std::size(kColorSpaces)) {
    copy_text(options.color_model, kColorSpaces[index].color_model);
    log_line("%s", kColorSpaces[index].report);
  } else {
    // Deliberate: despite the message, the color model of the options stays in effect. It is RGB
    // unless the user sets another one.
    log_line("K905-1: Unknown color space %d, using default RGB", number);
  }
}

// Stored and logged only: the job's number of copies was read before. Print systems that repeat the
// pages themselves write 0 or 1, which do not replace the stored number.
void read_copies(const cups_page_header2_t& header, PrintOptions& options) {
  if (header.NumCopies >= 2) {
    options.copies = saturate_to_int32(header.NumCopies);
    log_line("K905-1: Copies setting: %d", options.copies);
  }
}

void report_large_image(const cups_page_header2_t& header) {
  const std::uint64_t pixels = std::uint64_t{header.cupsWidth} * header.cupsHeight;
  if (pixels > kLargeImagePixels) {
    log_line("K905-1: Large image detected (%llu pixels), optimizing for performance",
             static_cast<unsigned long long>(pixels));
  }
}

void log_page_settings(const PrintOptions& options) {
  log_line("K905-1: Image rotation setting: %s",
           options.rotate_90 != 0 ? "ROTATE 90° (within canvas)" : "NO ROTATION");
  log_line("K905-1: Interlace mode: %s",
           options.interlace != 0 ? "ENABLED (300x600 DPI)" : "DISABLED (300 DPI)");
  log_line("K905-1: Current image adjustment settings:");
  log_line("  Brightness: %d, Contrast: %d, Saturation: %d, Gamma: %d", options.brightness,
           options.contrast, options.saturation, options.gamma);
  log_line("  Image Type: %s, Color Correction: %s", options.image_type, options.color_correction);
  log_line("  Resolution: %s", options.resolution);
}

}  // namespace

void extract_print_params_from_header(const cups_page_header2_t* header) {
  if (header == nullptr) {
    return;
  }
  log_line("K905-1: PageSize: %ux%u points", header->PageSize[0], header->PageSize[1]);
  log_header_dump(*header);
  log_header_validation(*header);

  PrintOptions& options = current_options;
  read_resolution(*header, options);
  choose_paper(*header, options);
  read_orientation(*header, options);
  read_color_space(*header, options);
  read_copies(*header, options);
  report_large_image(*header);
  log_page_settings(options);
}
