// The page header: its listing, and the settings of the sheet that follow from it.
#include <cmath>
#include <cstring>
#include <limits>

#include "tests/support/reference_state.h"

namespace reference {
namespace {

// A stream may contain any number where the header has an enumeration, so only its bytes are read.
template <typename Field>
int number(const Field& field) {
  static_assert(sizeof field == sizeof(int));
  int value = 0;
  std::memcpy(&value, &field, sizeof value);
  return value;
}

const char* yes_no(int flag) { return flag != 0 ? "Yes" : "No"; }

using Names = std::vector<const char*>;
const Names kColorSpaces = {"W (White)", "RGB", "RGBA", "K (Black)", "CMYK", "YMCK", "CIEXYZ"};
const Names kColorOrders = {"Chunked", "Banded", "Planar"};
const Names kOrientations = {"Portrait (0°)", "Landscape (90°)", "Reverse Portrait (180°)",
                             "Reverse Landscape (270°)"};
const Names kCompressions = {"None", "RLE", "Delta Row", "Delta Plane"};

const char* name_of(const Names& names, long value, const char* other) {
  return value >= 0 && value < static_cast<long>(names.size())
             ? names[static_cast<std::size_t>(value)]
             : other;
}

bool within_five_points(float a, float b) { return std::fabs(a - b) <= 5.0F; }

}  // namespace

const std::vector<Paper>& papers() {
  static const std::vector<Paper> table = {
      {"B7", "5x3.5", 460.8F, 261.12F, 1548, 1088, 1920, 1088, 20, 15, 50, 70},
      {"w360h360", "5x5", 460.8F, 369.6F, 1548, 1540, 1920, 1540, 23, 15, 50, 70},
      {"w360h504", "5x7", 460.8F, 513.12F, 1548, 2138, 1920, 2138, 20, 20, 50, 70},
      {"w288h432", "6x4", 460.8F, 297.6F, 1844, 1240, 1920, 1240, 25, 18, 50, 70},
      {"w288h432-div2", "6x2*2", 460.8F, 585.6F, 1844, 1240, 1920, 1240, 25, 18, 9, 37},
      {"w432h576-div2", "6x4*2", 460.8F, 599.6F, 1844, 2436, 1920, 2498, 0, 0, 0, 0},
      {"w432h576-div4", "6x2*4", 460.8F, 585.64F, 1844, 2436, 1920, 2436, 22, 17, 50, 70},
      {"w432h432", "6x6", 440.64F, 460.8F, 1844, 1836, 1920, 1836, 20, 15, 50, 70},
      {"w432h576", "6x8", 460.8F, 584.64F, 1844, 2436, 1920, 2436, 23, 12, 50, 70},
      {"default", "default", 0.0F, 0.0F, 1844, 1240, 1920, 1240, 0, 0, 0, 0},
  };
  return table;
}

void PlainFilter::heading(const char* title, bool first) {
  if (!first) {
    log_message("%s", "");
  }
  log_message("=== %s ===", title);
}

void PlainFilter::dump_header(const cups_page_header2_t& h) {
  const unsigned calculated = (h.cupsBitsPerPixel * h.cupsWidth + 7) / 8;

  log_message("========== Detailed CUPS Page Header Information ==========");
  log_message("%s", "");
  heading("Basic Image Information", true);
  log_message("Image Dimensions:      %u x %u pixels", h.cupsWidth, h.cupsHeight);
  log_message("Page Size:             %u x %u points (%.2f x %.2f inches)", h.PageSize[0],
              h.PageSize[1], h.PageSize[0] / 72.0, h.PageSize[1] / 72.0);
  log_message("Resolution:            %u x %u DPI", h.HWResolution[0], h.HWResolution[1]);
  heading("Color Information");
  log_message("Color Space:           %d", number(h.cupsColorSpace));
  heading("Debug: All CUPS Header Fields");
  log_message("cupsColorSpace: %d", number(h.cupsColorSpace));
  log_message("cupsNumColors: %u", h.cupsNumColors);
  log_message("cupsBitsPerColor: %u", h.cupsBitsPerColor);
  log_message("cupsBitsPerPixel: %u", h.cupsBitsPerPixel);
  log_message("cupsBytesPerLine: %u", h.cupsBytesPerLine);
  log_message("cupsColorOrder: %d", number(h.cupsColorOrder));
  log_message("cupsCompression: %d", static_cast<int>(h.cupsCompression));
  log_message("Color Space:           %s",
              name_of(kColorSpaces, number(h.cupsColorSpace), "Other/Unknown"));
  log_message("Number of Colors:      %u", h.cupsNumColors);
  log_message("Bits per Color:        %u", h.cupsBitsPerColor);
  log_message("Bits per Pixel:        %u", h.cupsBitsPerPixel);
  log_message("Bytes per Line:        %u (calculated: %u bytes)", h.cupsBytesPerLine, calculated);
  log_message("Color Order:           %d", number(h.cupsColorOrder));
  log_message("Color Order:           %s",
              name_of(kColorOrders, number(h.cupsColorOrder), "Unknown"));
  heading("Media Information");
  log_message("Media Class:           '%.64s'", h.MediaClass);
  log_message("Media Color:           '%.64s'", h.MediaColor);
  log_message("Media Type:            '%.64s'", h.MediaType);
  log_message("Media Weight:          %u g/m²", h.MediaWeight);
  log_message("Media Position:        %u", h.MediaPosition);
  heading("Print Settings");
  log_message("Number of Copies:      %u", h.NumCopies);
  log_message("Collate:               %s", yes_no(number(h.Collate)));
  log_message("Duplex:                %s", yes_no(number(h.Duplex)));
  log_message("Tumble:                %s", yes_no(number(h.Tumble)));
  log_message("Mirror Print:          %s", yes_no(number(h.MirrorPrint)));
  log_message("Negative Print:        %s", yes_no(number(h.NegativePrint)));
  log_message("Orientation:           %d", number(h.Orientation));
  log_message("Orientation:           %s",
              name_of(kOrientations, number(h.Orientation), "Unknown"));
  heading("Borders and Margins");
  log_message("Margins:               [%u, %u] points (left,bottom)", h.Margins[0], h.Margins[1]);
  log_message("Imaging Bounding Box:  [%u, %u, %u, %u] points", h.ImagingBoundingBox[0],
              h.ImagingBoundingBox[1], h.ImagingBoundingBox[2], h.ImagingBoundingBox[3]);
  log_message("Borderless Scaling:    %.4f", static_cast<double>(h.cupsBorderlessScalingFactor));
  heading("Feed Settings");
  log_message("Manual Feed:           %s", yes_no(number(h.ManualFeed)));
  log_message("Insert Sheet:          %s", yes_no(number(h.InsertSheet)));
  log_message("Advance Distance:      %u points", h.AdvanceDistance);
  log_message("Advance Media:         %d", number(h.AdvanceMedia));
  log_message("Cut Media:             %d", number(h.CutMedia));
  log_message("Jog:                   %d", number(h.Jog));
  log_message("Leading Edge:          %d", number(h.LeadingEdge));
  heading("Output Settings");
  log_message("Output Type:           '%.64s'", h.OutputType);
  log_message("Output Face Up:        %s", yes_no(number(h.OutputFaceUp)));
  log_message("Separations:           %s", yes_no(number(h.Separations)));
  log_message("Tray Switch:           %s", yes_no(number(h.TraySwitch)));
  heading("Compression and Banding");
  log_message("Compression:           %u", h.cupsCompression);
  log_message("Compression:           %s",
              name_of(kCompressions, static_cast<long>(h.cupsCompression), "Other/Unknown"));
  log_message("Row Count:             %u", h.cupsRowCount);
  log_message("Row Feed:              %u", h.cupsRowFeed);
  log_message("Row Step:              %u", h.cupsRowStep);
  heading("CUPS Specific Values");
  log_message("cupsMediaType:         %u", h.cupsMediaType);
  log_message("%s", "");
  log_message("========== End of Detailed Information ==========");

  log_message("%s", "");
  log_message("=== Validation Information ===");
  if (calculated != h.cupsBytesPerLine) {
    log_message("WARNING: cupsBytesPerLine (%u) != calculated (%u)", h.cupsBytesPerLine,
                calculated);
  } else {
    log_message("OK: cupsBytesPerLine matches calculation");
  }
  if (h.HWResolution[0] == 0 || h.HWResolution[1] == 0) {
    log_message("WARNING: Resolution has zero value!");
  }
  if (h.cupsWidth == 0 || h.cupsHeight == 0) {
    log_message("ERROR: Invalid image dimensions!");
  }
  log_message("%s", std::string(49, '=').c_str());
  log_message("%s", "");
}

void PlainFilter::interpret_header(const cups_page_header2_t& h) {
  Settings& s = settings;
  log_message("K905-1: PageSize: %ux%u points", h.PageSize[0], h.PageSize[1]);
  dump_header(h);

  s.interlace = false;
  s.interlace_factor = 1;
  if (h.HWResolution[0] == 300 && h.HWResolution[1] == 300) {
    s.resolution = "300x300";
    log_message("K905-1: NORMAL MODE detected: 300x300 DPI");
    log_message("K905-1: Compression mode: %d", static_cast<int>(h.cupsCompression));
  } else if (h.HWResolution[0] == 300 && h.HWResolution[1] == 600) {
    s.interlace = true;
    s.interlace_factor = 2;
    log_message("K905-1: INTERLACED MODE detected: 300x600 DPI");
    log_message("K905-1: Compression mode: %d (expected: 2 for interlace)",
                static_cast<int>(h.cupsCompression));
    s.resolution = "300x600";
  } else {
    log_message("K905-1: UNKNOWN resolution mode: %dx%d DPI", static_cast<int>(h.HWResolution[0]),
                static_cast<int>(h.HWResolution[1]));
  }

  const Paper* by_name = nullptr;
  const Paper* by_size = nullptr;
  const float w = static_cast<float>(h.PageSize[0]);
  const float height = static_cast<float>(h.PageSize[1]);
  for (std::size_t row = 0; row < 9; ++row) {
    const Paper& paper = papers()[row];
    if (by_name == nullptr && !s.ppd_paper_name.empty() && s.ppd_paper_name == paper.name) {
      by_name = &paper;
    }
    const bool upright =
        within_five_points(paper.width_pt, w) && within_five_points(paper.height_pt, height);
    const bool is_rotated =
        within_five_points(paper.width_pt, height) && within_five_points(paper.height_pt, w);
    if (by_size == nullptr && (upright || is_rotated)) {
      by_size = &paper;
    }
  }
  const Paper* found = by_name != nullptr ? by_name : by_size;
  if (found != nullptr) {
    log_message("K905-1: Matched paper config by %s: %s (%s)", by_name != nullptr ? "name" : "size",
                found->name.c_str(), found->label.c_str());
    log_message("  PPD size: %.2fx%.2f points", static_cast<double>(found->width_pt),
                static_cast<double>(found->height_pt));
    log_message("  Target size: %dx%d pixels", found->target_width, found->target_height);
    log_message("  Canvas size: %dx%d pixels", found->canvas_width, found->canvas_height);
  } else {
    log_message("K905-1: No exact paper match found for %ux%u points, using default", h.PageSize[0],
                h.PageSize[1]);
    found = &papers()[9];
  }
  if (by_name != nullptr) {
    log_message("K905-1: Using paper config matched by PPD name: %s", s.ppd_paper_name.c_str());
  } else {
    log_message("K905-1: Using paper config matched by size: %ux%u points", h.PageSize[0],
                h.PageSize[1]);
  }
  s.paper = *found;
  if (s.interlace) {
    log_message("K905-1: Paper target height: %d pixels", s.paper.target_height);
    log_message("K905-1: Expected source height for interlace: %d pixels",
                s.interlace_factor * s.paper.target_height);
  }

  s.rotate = number(h.Orientation) == 1 || number(h.Orientation) == 3;
  if (s.rotate) {
    log_message("K905-1: CUPS orientation indicates image rotation");
  }

  const int space = number(h.cupsColorSpace);
  if (space == 0 || space == 3) {
    s.color_model = "Gray";
    log_message("K905-1: Monochrome mode detected, using Gray color model");
  } else if (space == 1) {
    s.color_model = "RGB";
    log_message("K905-1: RGB mode detected");
  } else if (space == 2) {
    s.color_model = "RGB";
    log_message("K905-1: RGBA mode detected, using RGB color model");
  } else if (space == 4 || space == 5) {
    s.color_model = "CMY";
    log_message("K905-1: CMYK/YMCK mode detected, using CMY color model");
  } else {
    log_message("K905-1: Unknown color space %d, using default RGB", space);
  }

  if (h.NumCopies >= 2) {
    constexpr unsigned max = std::numeric_limits<int>::max();
    s.copies = static_cast<int>(h.NumCopies > max ? max : h.NumCopies);
    log_message("K905-1: Copies setting: %d", s.copies);
  }
  const unsigned long count = static_cast<unsigned long>(h.cupsWidth) * h.cupsHeight;
  if (count > 10000000UL) {
    log_message("K905-1: Large image detected (%lu pixels), optimizing for performance", count);
  }
  log_message("K905-1: Image rotation setting: %s",
              s.rotate ? "ROTATE 90° (within canvas)" : "NO ROTATION");
  log_message("K905-1: Interlace mode: %s",
              s.interlace ? "ENABLED (300x600 DPI)" : "DISABLED (300 DPI)");
  log_message("K905-1: Current image adjustment settings:");
  log_message("  Brightness: %d, Contrast: %d, Saturation: %d, Gamma: %d", s.brightness, s.contrast,
              s.saturation, s.gamma);
  log_message("  Image Type: %s, Color Correction: %s", s.image_type.c_str(),
              s.color_correction.c_str());
  log_message("  Resolution: %s", s.resolution.c_str());
}

}  // namespace reference
