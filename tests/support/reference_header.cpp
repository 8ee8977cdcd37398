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
    say("%s", "");
  }
  say("=== %s ===", title);
}

void PlainFilter::dump_header(const cups_page_header2_t& h) {
  const unsigned calculated = (h.cupsBitsPerPixel * h.cupsWidth + 7) / 8;

  say("========== Detailed CUPS Page Header Information ==========");
  say("%s", "");
  heading("Basic Image Information", true);
  say("Image Dimensions:      %u x %u pixels", h.cupsWidth, h.cupsHeight);
  say("Page Size:             %u x %u points (%.2f x %.2f inches)", h.PageSize[0], h.PageSize[1],
      h.PageSize[0] / 72.0, h.PageSize[1] / 72.0);
  say("Resolution:            %u x %u DPI", h.HWResolution[0], h.HWResolution[1]);
  heading("Color Information");
  say("Color Space:           %d", number(h.cupsColorSpace));
  heading("Debug: All CUPS Header Fields");
  say("cupsColorSpace: %d", number(h.cupsColorSpace));
  say("cupsNumColors: %u", h.cupsNumColors);
  say("cupsBitsPerColor: %u", h.cupsBitsPerColor);
  say("cupsBitsPerPixel: %u", h.cupsBitsPerPixel);
  say("cupsBytesPerLine: %u", h.cupsBytesPerLine);
  say("cupsColorOrder: %d", number(h.cupsColorOrder));
  say("cupsCompression: %d", static_cast<int>(h.cupsCompression));
  say("Color Space:           %s",
      name_of(kColorSpaces, number(h.cupsColorSpace), "Other/Unknown"));
  say("Number of Colors:      %u", h.cupsNumColors);
  say("Bits per Color:        %u", h.cupsBitsPerColor);
  say("Bits per Pixel:        %u", h.cupsBitsPerPixel);
  say("Bytes per Line:        %u (calculated: %u bytes)", h.cupsBytesPerLine, calculated);
  say("Color Order:           %d", number(h.cupsColorOrder));
  say("Color Order:           %s", name_of(kColorOrders, number(h.cupsColorOrder), "Unknown"));
  heading("Media Information");
  say("Media Class:           '%.64s'", h.MediaClass);
  say("Media Color:           '%.64s'", h.MediaColor);
  say("Media Type:            '%.64s'", h.MediaType);
  say("Media Weight:          %u g/m²", h.MediaWeight);
  say("Media Position:        %u", h.MediaPosition);
  heading("Print Settings");
  say("Number of Copies:      %u", h.NumCopies);
  say("Collate:               %s", yes_no(number(h.Collate)));
  say("Duplex:                %s", yes_no(number(h.Duplex)));
  say("Tumble:                %s", yes_no(number(h.Tumble)));
  say("Mirror Print:          %s", yes_no(number(h.MirrorPrint)));
  say("Negative Print:        %s", yes_no(number(h.NegativePrint)));
  say("Orientation:           %d", number(h.Orientation));
  say("Orientation:           %s", name_of(kOrientations, number(h.Orientation), "Unknown"));
  heading("Borders and Margins");
  say("Margins:               [%u, %u] points (left,bottom)", h.Margins[0], h.Margins[1]);
  say("Imaging Bounding Box:  [%u, %u, %u, %u] points", h.ImagingBoundingBox[0],
      h.ImagingBoundingBox[1], h.ImagingBoundingBox[2], h.ImagingBoundingBox[3]);
  say("Borderless Scaling:    %.4f", static_cast<double>(h.cupsBorderlessScalingFactor));
  heading("Feed Settings");
  say("Manual Feed:           %s", yes_no(number(h.ManualFeed)));
  say("Insert Sheet:          %s", yes_no(number(h.InsertSheet)));
  say("Advance Distance:      %u points", h.AdvanceDistance);
  say("Advance Media:         %d", number(h.AdvanceMedia));
  say("Cut Media:             %d", number(h.CutMedia));
  say("Jog:                   %d", number(h.Jog));
  say("Leading Edge:          %d", number(h.LeadingEdge));
  heading("Output Settings");
  say("Output Type:           '%.64s'", h.OutputType);
  say("Output Face Up:        %s", yes_no(number(h.OutputFaceUp)));
  say("Separations:           %s", yes_no(number(h.Separations)));
  say("Tray Switch:           %s", yes_no(number(h.TraySwitch)));
  heading("Compression and Banding");
  say("Compression:           %u", h.cupsCompression);
  say("Compression:           %s",
      name_of(kCompressions, static_cast<long>(h.cupsCompression), "Other/Unknown"));
  say("Row Count:             %u", h.cupsRowCount);
  say("Row Feed:              %u", h.cupsRowFeed);
  say("Row Step:              %u", h.cupsRowStep);
  heading("CUPS Specific Values");
  say("cupsMediaType:         %u", h.cupsMediaType);
  say("%s", "");
  say("========== End of Detailed Information ==========");

  say("%s", "");
  say("=== Validation Information ===");
  if (calculated != h.cupsBytesPerLine) {
    say("WARNING: cupsBytesPerLine (%u) != calculated (%u)", h.cupsBytesPerLine, calculated);
  } else {
    say("OK: cupsBytesPerLine matches calculation");
  }
  if (h.HWResolution[0] == 0 || h.HWResolution[1] == 0) {
    say("WARNING: Resolution has zero value!");
  }
  if (h.cupsWidth == 0 || h.cupsHeight == 0) {
    say("ERROR: Invalid image dimensions!");
  }
  say("%s", std::string(49, '=').c_str());
  say("%s", "");
}

void PlainFilter::interpret_header(const cups_page_header2_t& h) {
  Settings& s = settings;
  say("K905-1: PageSize: %ux%u points", h.PageSize[0], h.PageSize[1]);
  dump_header(h);

  s.interlace = false;
  s.interlace_factor = 1;
  if (h.HWResolution[0] == 300 && h.HWResolution[1] == 300) {
    s.resolution = "300x300";
    say("K905-1: NORMAL MODE detected: 300x300 DPI");
    say("K905-1: Compression mode: %d", static_cast<int>(h.cupsCompression));
  } else if (h.HWResolution[0] == 300 && h.HWResolution[1] == 600) {
    s.interlace = true;
    s.interlace_factor = 2;
    say("K905-1: INTERLACED MODE detected: 300x600 DPI");
    say("K905-1: Compression mode: %d (expected: 2 for interlace)",
        static_cast<int>(h.cupsCompression));
    s.resolution = "300x600";
  } else {
    say("K905-1: UNKNOWN resolution mode: %dx%d DPI", static_cast<int>(h.HWResolution[0]),
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
    const bool turned =
        within_five_points(paper.width_pt, height) && within_five_points(paper.height_pt, w);
    if (by_size == nullptr && (upright || turned)) {
      by_size = &paper;
    }
  }
  const Paper* found = by_name != nullptr ? by_name : by_size;
  if (found != nullptr) {
    say("K905-1: Matched paper config by %s: %s (%s)", by_name != nullptr ? "name" : "size",
        found->name.c_str(), found->label.c_str());
    say("  PPD size: %.2fx%.2f points", static_cast<double>(found->width_pt),
        static_cast<double>(found->height_pt));
    say("  Target size: %dx%d pixels", found->target_width, found->target_height);
    say("  Canvas size: %dx%d pixels", found->canvas_width, found->canvas_height);
  } else {
    say("K905-1: No exact paper match found for %ux%u points, using default", h.PageSize[0],
        h.PageSize[1]);
    found = &papers()[9];
  }
  if (by_name != nullptr) {
    say("K905-1: Using paper config matched by PPD name: %s", s.ppd_paper_name.c_str());
  } else {
    say("K905-1: Using paper config matched by size: %ux%u points", h.PageSize[0], h.PageSize[1]);
  }
  s.paper = *found;
  if (s.interlace) {
    say("K905-1: Paper target height: %d pixels", s.paper.target_height);
    say("K905-1: Expected source height for interlace: %d pixels",
        s.interlace_factor * s.paper.target_height);
  }

  s.rotate = number(h.Orientation) == 1 || number(h.Orientation) == 3;
  if (s.rotate) {
    say("K905-1: CUPS orientation indicates image rotation");
  }

  const int space = number(h.cupsColorSpace);
  if (space == 0 || space == 3) {
    s.color_model = "Gray";
    say("K905-1: Monochrome mode detected, using Gray color model");
  } else if (space == 1) {
    s.color_model = "RGB";
    say("K905-1: RGB mode detected");
  } else if (space == 2) {
    s.color_model = "RGB";
    say("K905-1: RGBA mode detected, using RGB color model");
  } else if (space == 4 || space == 5) {
    s.color_model = "CMY";
    say("K905-1: CMYK/YMCK mode detected, using CMY color model");
  } else {
    say("K905-1: Unknown color space %d, using default RGB", space);
  }

  if (h.NumCopies >= 2) {
    constexpr unsigned most = std::numeric_limits<int>::max();
    s.copies = static_cast<int>(h.NumCopies > most ? most : h.NumCopies);
    say("K905-1: Copies setting: %d", s.copies);
  }
  const unsigned long count = static_cast<unsigned long>(h.cupsWidth) * h.cupsHeight;
  if (count > 10000000UL) {
    say("K905-1: Large image detected (%lu pixels), optimizing for performance", count);
  }
  say("K905-1: Image rotation setting: %s",
      s.rotate ? "ROTATE 90° (within canvas)" : "NO ROTATION");
  say("K905-1: Interlace mode: %s", s.interlace ? "ENABLED (300x600 DPI)" : "DISABLED (300 DPI)");
  say("K905-1: Current image adjustment settings:");
  say("  Brightness: %d, Contrast: %d, Saturation: %d, Gamma: %d", s.brightness, s.contrast,
      s.saturation, s.gamma);
  say("  Image Type: %s, Color Correction: %s", s.image_type.c_str(), s.color_correction.c_str());
  say("  Resolution: %s", s.resolution.c_str());
}

}  // namespace reference
