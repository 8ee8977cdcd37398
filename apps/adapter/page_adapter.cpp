#include "apps/adapter/page_adapter.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <exception>
#include <vector>

#include "apps/adapter/cups_log.h"
#include "apps/adapter/page_pixels.h"
#include "apps/adapter/raster_input.h"
#include "apps/adapter/raster_output.h"
#include "apps/adapter/rotated_rows.h"
#include "paper/physical_size.h"

namespace k905 {

namespace {

// Print systems round positions on a page to whole points.
constexpr double kPlaceTolerancePt = 1.5;

class RasterRows final : public RowSource {
 public:
  RasterRows(RasterInput& input, const cups_page_header2_t& header, PagePixels& pixels)
      : input_(input), pixels_(pixels), line_(header.cupsBytesPerLine), left_(header.cupsHeight) {}

  [[nodiscard]] const std::uint8_t* next_row() override {
    if (left_ == 0 || !input_.read_line(line_)) {
      left_ = 0;
      return nullptr;
    }
    --left_;
    return pixels_.convert(line_.data());
  }

  // Reads the rest of the page. False if it is incomplete.
  [[nodiscard]] bool skip_rest() {
    for (; left_ > 0; --left_) {
      if (!input_.read_line(line_)) return false;
    }
    return true;
  }

 private:
  RasterInput& input_;
  PagePixels& pixels_;
  std::vector<std::uint8_t> line_;
  std::uint32_t left_;
};

// One side of the page: its length, and the position of the raster on it, in pixels of the raster.
struct Placement {
  double page = 0;
  double offset = 0;
};

// `begin` and `end` are the edges of the raster on a page of `page_pt`, as the header has them.
Placement placement(std::uint32_t raster, double dpi, double page_pt, double begin, double end) {
  const double pixels_per_point = dpi / kPointsPerInch;
  const double tolerance = kPlaceTolerancePt * pixels_per_point;
  const double page = page_pt * pixels_per_point;
  const auto near = [&](double a, double b) { return std::fabs(a - b) <= tolerance; };
  const bool is_whole = near(raster, page);
  const bool is_part = end > begin && near(raster, (end - begin) * pixels_per_point) &&
                       end * pixels_per_point <= page + tolerance && begin >= 0;
  if (is_whole || !is_part) return {.page = static_cast<double>(raster), .offset = 0};
  // If both margins are equal within the rounding to whole points, centers the raster to the pixel.
  const double margin_after = page - end * pixels_per_point;
  const double offset = begin * pixels_per_point;
  return {.page = page, .offset = near(offset, margin_after) ? (page - raster) / 2 : offset};
}

DrawnPage drawn_page(const cups_page_header2_t& header) {
  const bool exact = header.cupsPageSize[0] > 0 && header.cupsPageSize[1] > 0;
  const double width_pt = exact ? double{header.cupsPageSize[0]} : header.PageSize[0];
  const double height_pt = exact ? double{header.cupsPageSize[1]} : header.PageSize[1];
  const float* const box = header.cupsImagingBBox;  // left, bottom, right, top
  const Placement across =
      placement(header.cupsWidth, header.HWResolution[0], width_pt, double{box[0]}, double{box[2]});
  const Placement down = placement(header.cupsHeight, header.HWResolution[1], height_pt,
                                   height_pt - double{box[3]}, height_pt - double{box[1]});
  return {.width = header.cupsWidth,
          .height = header.cupsHeight,
          .dpi_across = static_cast<double>(header.HWResolution[0]),
          .dpi_down = static_cast<double>(header.HWResolution[1]),
          .page_across = across.page,
          .page_down = down.page,
          .left = across.offset,
          .top = down.offset};
}

unsigned whole_points(float points) { return static_cast<unsigned>(std::lround(points)); }

// Whether the page was made for the filter: it has the size of the job's paper, in points and in
// pixels, and the filter's resolution.
bool is_made_for_filter(const cups_page_header2_t& header, const SheetPlace& place) {
  return header.cupsWidth == place.page_width && header.cupsHeight == place.page_height &&
         header.HWResolution[0] == 300 && header.HWResolution[1] == (place.fine ? 600U : 300U) &&
         header.PageSize[0] == whole_points(place.paper->page_width_pt) &&
         header.PageSize[1] == whole_points(place.paper->page_height_pt);
}

// The header of the filter's page: the job's paper, resolution and size.
cups_page_header2_t filter_header(const cups_page_header2_t& drawn, const PagePixels& pixels,
                                  const SheetPlace& place, const PageFit& fit) {
  cups_page_header2_t header = drawn;
  pixels.set_format(header);
  // Phones send color pages whatever the job asks for. The header makes the filter convert them to
  // gray.
  if (place.gray && header.cupsColorSpace == CUPS_CSPACE_RGB) {
    header.cupsColorSpace = CUPS_CSPACE_W;
  }
  header.cupsWidth = static_cast<unsigned>(fit.columns.size());
  header.cupsHeight = static_cast<unsigned>(fit.rows.size());
  header.cupsBytesPerLine =
      static_cast<unsigned>(fit.columns.size() * pixels.format().pixel_bytes());
  header.HWResolution[0] = 300;
  header.HWResolution[1] = place.fine ? 600 : 300;
  header.Orientation =
      fit.rotation == PageFit::Rotation::by_filter ? CUPS_ORIENT_90 : CUPS_ORIENT_0;
  const float width = place.paper->page_width_pt;
  const float height = place.paper->page_height_pt;
  header.PageSize[0] = whole_points(width);
  header.PageSize[1] = whole_points(height);
  const unsigned whole[4] = {0, 0, header.PageSize[0], header.PageSize[1]};
  std::memcpy(header.ImagingBoundingBox, whole, sizeof whole);
  header.Margins[0] = header.Margins[1] = 0;
  header.cupsPageSize[0] = width;
  header.cupsPageSize[1] = height;
  const float exact[4] = {0, 0, width, height};
  std::memcpy(header.cupsImagingBBox, exact, sizeof exact);
  std::snprintf(header.cupsPageSizeName, sizeof header.cupsPageSizeName, "%s",
                place.paper->ppd_name);
  return header;
}

// Longer lines are not plausible; the filter reports them from the header alone.
constexpr unsigned kMaxBytesPerLine = 1U << 28;

// Copies a page unchanged. False if no further page can follow: the input is truncated, the pipe is
// closed, or a line is too long.
bool copy_page(RasterInput& input, const cups_page_header2_t& header, RasterOutput& output) {
  const std::uint64_t planes =
      header.cupsColorOrder == CUPS_ORDER_PLANAR ? std::uint64_t{header.cupsNumColors} : 1;
  if (!output.write_header(header) || header.cupsBytesPerLine > kMaxBytesPerLine) return false;
  std::vector<std::uint8_t> line(header.cupsBytesPerLine);
  for (std::uint64_t y = 0; y < header.cupsHeight * planes; ++y) {
    if (!input.read_line(line) || !output.write(line.data(), line.size())) return false;
  }
  return true;
}

// Scales the rows of the page and writes all but the last, which `line` holds afterwards: the last
// row must not reach the filter before the complete page is read, or half a page would be printed.
// False if the input is truncated or the pipe is closed.
bool write_rows(RowScaler& scaler, RowSource& source, const AxisMap& rows, RasterOutput& output,
                std::vector<std::uint8_t>& line) {
  for (std::size_t y = 0; y < rows.size(); ++y) {
    if (y > 0 && !output.write(line.data(), line.size())) return false;
    const bool repeated = y > 0 && rows.is_same(y, y - 1);
    if (!repeated && !scaler.make_row(y, source, line.data())) return false;
  }
  return true;
}

// Scales a page and writes it. False if the input is truncated or the pipe is closed.
bool adapt_page(RasterInput& input, const cups_page_header2_t& drawn, PagePixels& pixels,
                const AdapterSettings& settings, RasterOutput& output) {
  const PageFit fit = fit_page(drawn_page(drawn), settings.place, settings.scaling);
  const cups_page_header2_t header = filter_header(drawn, pixels, settings.place, fit);
  if (!output.write_header(header)) return false;
  RasterRows upright(input, drawn, pixels);
  RotatedRows rotated(upright, drawn.cupsWidth, drawn.cupsHeight, pixels.format().pixel_bytes());
  RowSource* source = &upright;
  if (fit.rotation == PageFit::Rotation::before_mapping) source = &rotated;
  RowScaler scaler(fit.columns, fit.rows, pixels.format());
  std::vector<std::uint8_t> line(header.cupsBytesPerLine);
  return write_rows(scaler, *source, fit.rows, output, line) && upright.skip_rest() &&
         output.write(line.data(), line.size());
}

void adapt_stream(RasterInput& input, RasterOutput& output, const AdapterSettings& settings) {
  if (!output.write_sync_word()) return;
  cups_page_header2_t header;
  while (input.next_page(header)) {
    std::optional<PagePixels> pixels = PagePixels::of(header);
    const bool is_unchanged = !pixels || is_made_for_filter(header, settings.place);
    const bool continues = is_unchanged ? copy_page(input, header, output)
                                        : adapt_page(input, header, *pixels, settings, output);
    // The last row must not wait for the next page.
    if (!continues || !output.flush()) return;
  }
  if (!input.ended()) {
    // libcups refuses this header; a header of zeros makes the filter report it.
    output.write_header({});
  }
}

void adapt(RasterInput& input, RasterOutput& output, const AdapterSettings& settings) {
  if (input.open()) {
    adapt_stream(input, output, settings);
    if (input.error() != 0) {
      log_to_cups("DEBUG",
                  std::string("rastertok905job: read error: ") + std::strerror(input.error()));
    }
  } else {
    // Not a raster stream. The filter reports it.
    std::span<const std::uint8_t> bytes = input.opening_bytes();
    while (!bytes.empty() && output.write(bytes.data(), bytes.size()) && output.flush()) {
      bytes = input.unread_bytes();
    }
  }
}

}  // namespace

bool adapt_pages(int in, int out, const AdapterSettings& settings) {
  RasterOutput output(out);
  bool complete = true;
  try {
    RasterInput input(in, out);
    adapt(input, output, settings);
  } catch (const std::exception& error) {
    log_to_cups("ERROR", "There is not enough memory to lay out a page on the paper.");
    log_to_cups("DEBUG", "rastertok905job: " + one_line(error.what()));
    complete = false;
  }
  // Passes on everything that was made; if the pipe is closed, its reader reports it.
  (void)output.flush();
  return complete;
}

}  // namespace k905
