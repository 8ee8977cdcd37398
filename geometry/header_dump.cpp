#include "geometry/header_dump.h"

#include <cstddef>
#include <cstdint>
#include <span>

#include "diag/log.h"
#include "geometry/header_number.h"

namespace {

// Deliberate: 4 and 5 have the names of four-ink color spaces, although libcups calls them CMY and
// YMC. The queues of this printer have always used these numbers for CMYK and YMCK.
constexpr const char* kColorSpaceNames[] = {"W (White)", "RGB",  "RGBA",  "K (Black)",
                                            "CMYK",      "YMCK", "CIEXYZ"};
constexpr const char* kColorOrderNames[] = {"Chunked", "Banded", "Planar"};
constexpr const char* kOrientationNames[] = {"Portrait (0°)", "Landscape (90°)",
                                             "Reverse Portrait (180°)", "Reverse Landscape (270°)"};
constexpr const char* kCompressionNames[] = {"None", "RLE", "Delta Row", "Delta Plane"};

// A negative number becomes a large unsigned one, which is outside every table.
const char* name_of(std::span<const char* const> names, std::int32_t number, const char* fallback) {
  const auto index = static_cast<std::uint32_t>(number);
  return index < names.size() ? names[index] : fallback;
}

template <typename Flag>
const char* yes_no(const Flag& flag) {
  return header_number(flag) != 0 ? "Yes" : "No";
}

// The bytes that a line of these pixels needs; wraps around like the 32-bit numbers of the header.
std::uint32_t calculated_bytes_per_line(const cups_page_header2_t& header) {
  return (header.cupsBitsPerPixel * header.cupsWidth + 7U) / 8U;
}

void blank_line() { log_line("%s", ""); }

// ---- The sections, in the order of the listing --------------------------------------------------

void log_basics(const cups_page_header2_t& header) {
  log_line("=== Basic Image Information ===");
  log_line("Image Dimensions:      %u x %u pixels", header.cupsWidth, header.cupsHeight);
  log_line("Page Size:             %u x %u points (%.2f x %.2f inches)", header.PageSize[0],
           header.PageSize[1], header.PageSize[0] / 72.0, header.PageSize[1] / 72.0);
  log_line("Resolution:            %u x %u DPI", header.HWResolution[0], header.HWResolution[1]);
}

void log_color(const cups_page_header2_t& header) {
  blank_line();
  log_line("=== Color Information ===");
  log_line("Color Space:           %d", header_number(header.cupsColorSpace));
}

void log_raw_fields(const cups_page_header2_t& header) {
  blank_line();
  log_line("=== Debug: All CUPS Header Fields ===");
  log_line("cupsColorSpace: %d", header_number(header.cupsColorSpace));
  log_line("cupsNumColors: %u", header.cupsNumColors);
  log_line("cupsBitsPerColor: %u", header.cupsBitsPerColor);
  log_line("cupsBitsPerPixel: %u", header.cupsBitsPerPixel);
  log_line("cupsBytesPerLine: %u", header.cupsBytesPerLine);
  log_line("cupsColorOrder: %d", header_number(header.cupsColorOrder));
  log_line("cupsCompression: %d", header_number(header.cupsCompression));
  log_line("Color Space:           %s",
           name_of(kColorSpaceNames, header_number(header.cupsColorSpace), "Other/Unknown"));
  log_line("Number of Colors:      %u", header.cupsNumColors);
  log_line("Bits per Color:        %u", header.cupsBitsPerColor);
  log_line("Bits per Pixel:        %u", header.cupsBitsPerPixel);
  log_line("Bytes per Line:        %u (calculated: %u bytes)", header.cupsBytesPerLine,
           calculated_bytes_per_line(header));
  log_line("Color Order:           %d", header_number(header.cupsColorOrder));
  log_line("Color Order:           %s",
           name_of(kColorOrderNames, header_number(header.cupsColorOrder), "Unknown"));
}

void log_media(const cups_page_header2_t& header) {
  blank_line();
  log_line("=== Media Information ===");
  log_line("Media Class:           '%.64s'", header.MediaClass);
  log_line("Media Color:           '%.64s'", header.MediaColor);
  log_line("Media Type:            '%.64s'", header.MediaType);
  log_line("Media Weight:          %u g/m²", header.MediaWeight);
  log_line("Media Position:        %u", header.MediaPosition);
}

void log_print_settings(const cups_page_header2_t& header) {
  blank_line();
  log_line("=== Print Settings ===");
  log_line("Number of Copies:      %u", header.NumCopies);
  log_line("Collate:               %s", yes_no(header.Collate));
  log_line("Duplex:                %s", yes_no(header.Duplex));
  log_line("Tumble:                %s", yes_no(header.Tumble));
  log_line("Mirror Print:          %s", yes_no(header.MirrorPrint));
  log_line("Negative Print:        %s", yes_no(header.NegativePrint));
  log_line("Orientation:           %d", header_number(header.Orientation));
  log_line("Orientation:           %s",
           name_of(kOrientationNames, header_number(header.Orientation), "Unknown"));
}

void log_borders(const cups_page_header2_t& header) {
  blank_line();
  log_line("=== Borders and Margins ===");
  log_line("Margins:               [%u, %u] points (left,bottom)", header.Margins[0],
           header.Margins[1]);
  log_line("Imaging Bounding Box:  [%u, %u, %u, %u] points", header.ImagingBoundingBox[0],
           header.ImagingBoundingBox[1], header.ImagingBoundingBox[2],
           header.ImagingBoundingBox[3]);
  log_line("Borderless Scaling:    %.4f", static_cast<double>(header.cupsBorderlessScalingFactor));
}

void log_feed(const cups_page_header2_t& header) {
  blank_line();
  log_line("=== Feed Settings ===");
  log_line("Manual Feed:           %s", yes_no(header.ManualFeed));
  log_line("Insert Sheet:          %s", yes_no(header.InsertSheet));
  log_line("Advance Distance:      %u points", header.AdvanceDistance);
  log_line("Advance Media:         %d", header_number(header.AdvanceMedia));
  log_line("Cut Media:             %d", header_number(header.CutMedia));
  log_line("Jog:                   %d", header_number(header.Jog));
  log_line("Leading Edge:          %d", header_number(header.LeadingEdge));
}

void log_output(const cups_page_header2_t& header) {
  blank_line();
  log_line("=== Output Settings ===");
  log_line("Output Type:           '%.64s'", header.OutputType);
  log_line("Output Face Up:        %s", yes_no(header.OutputFaceUp));
  log_line("Separations:           %s", yes_no(header.Separations));
  log_line("Tray Switch:           %s", yes_no(header.TraySwitch));
}

void log_compression(const cups_page_header2_t& header) {
  blank_line();
  log_line("=== Compression and Banding ===");
  log_line("Compression:           %u", header.cupsCompression);
  log_line("Compression:           %s",
           name_of(kCompressionNames, header_number(header.cupsCompression), "Other/Unknown"));
  log_line("Row Count:             %u", header.cupsRowCount);
  log_line("Row Feed:              %u", header.cupsRowFeed);
  log_line("Row Step:              %u", header.cupsRowStep);
}

void log_cups_values(const cups_page_header2_t& header) {
  blank_line();
  log_line("=== CUPS Specific Values ===");
  log_line("cupsMediaType:         %u", header.cupsMediaType);
}

}  // namespace

void log_header_dump(const cups_page_header2_t& header) {
  log_line("========== Detailed CUPS Page Header Information ==========");
  blank_line();
  log_basics(header);
  log_color(header);
  log_raw_fields(header);
  log_media(header);
  log_print_settings(header);
  log_borders(header);
  log_feed(header);
  log_output(header);
  log_compression(header);
  log_cups_values(header);
  blank_line();
  log_line("========== End of Detailed Information ==========");
}

void log_header_validation(const cups_page_header2_t& header) {
  blank_line();
  log_line("=== Validation Information ===");
  const std::uint32_t calculated = calculated_bytes_per_line(header);
  if (header.cupsBytesPerLine != calculated) {
    log_line("WARNING: cupsBytesPerLine (%u) != calculated (%u)", header.cupsBytesPerLine,
             calculated);
  } else {
    log_line("OK: cupsBytesPerLine matches calculation");
  }
  if (header.HWResolution[0] == 0 || header.HWResolution[1] == 0) {
    log_line("WARNING: Resolution has zero value!");
  }
  if (header.cupsWidth == 0 || header.cupsHeight == 0) {
    log_line("ERROR: Invalid image dimensions!");
  }
  log_line("=================================================");
  blank_line();
}
