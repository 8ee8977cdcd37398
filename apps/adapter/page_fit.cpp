#include "apps/adapter/page_fit.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "paper/physical_size.h"

namespace k905 {

namespace {

// Print systems round page sizes to whole points, and give the same paper in inches and
// millimeters.
constexpr double kSameSizePt = 2.0;

// One side of a page, of the paper and of the visible image on the sheet.
struct Side {
  std::uint32_t raster = 0;  // pixels
  double dpi = 0;
  double page = 0;    // pixels of the raster
  double offset = 0;  // of the raster on the page
  double paper_pt = 0;
  double sheet_dpi = 0;
  std::uint32_t visible = 0;  // pixels of the sheet
  std::uint32_t image = 0;    // pixels of the image that are visible, at most `visible`

  [[nodiscard]] double page_pt() const { return page / dpi * kPointsPerInch; }
  [[nodiscard]] bool fits_paper() const { return std::fabs(page_pt() - paper_pt) <= kSameSizePt; }
};

// The part of a side that a frame covers: its place on the sheet, and its share of the page.
struct Part {
  double begin = 0;  // in visible pixels
  double length = 0;
  double page_begin = 0;  // as a share of the page's length
  double page_length = 1;
};

double scale_of(const Side& across, const Side& down, Scaling scaling) {
  if (across.fits_paper() && down.fits_paper()) return 1;
  const double scale_across = across.paper_pt / across.page_pt();
  const double scale_down = down.paper_pt / down.page_pt();
  const bool larger = across.page_pt() > across.paper_pt + kSameSizePt ||
                      down.page_pt() > down.paper_pt + kSameSizePt;
  switch (scaling) {
    case Scaling::fill:
      return std::max(scale_across, scale_down);
    case Scaling::fit:
      return std::min(scale_across, scale_down);
    case Scaling::automatic:
      return larger ? std::max(scale_across, scale_down) : 1;
    case Scaling::automatic_fit:
      return larger ? std::min(scale_across, scale_down) : 1;
    case Scaling::none:
      break;
  }
  return 1;
}

// The visible pixels of the image within the part.
std::pair<std::uint32_t, std::uint32_t> pixels_in(const Part& part, const Side& side) {
  const double image_per_visible = static_cast<double>(side.image) / side.visible;
  const auto shown_at = [&](double position) {
    return std::clamp(std::floor(position * image_per_visible), -1.0,
                      static_cast<double>(side.image) - 1);
  };
  const double first = shown_at(part.begin + 0.5);
  const double last = shown_at(part.begin + part.length - 0.5);
  return {static_cast<std::uint32_t>(std::max(first, 0.0)), static_cast<std::uint32_t>(last + 1)};
}

// If two pages share the sheet, everything outside the frames is white, as when the filter merges
// them. Around a single frame the page continues, so that no edge shows bare paper.
std::vector<AxisPiece> pieces_of(const Side& side, const std::vector<Part>& parts, double step,
                                 bool whole_sheet) {
  const double image_per_visible = static_cast<double>(side.image) / side.visible;
  std::vector<AxisPiece> pieces;
  for (const Part& part : parts) {
    const auto [begin, end] =
        whole_sheet ? std::pair(std::uint32_t{0}, side.image) : pixels_in(part, side);
    const double sheet_center = (part.begin + part.length / 2) * image_per_visible;
    const double page_center = (part.page_begin + part.page_length / 2) * side.page - side.offset;
    pieces.push_back(
        {.begin = begin, .end = end, .start = page_center + (begin + 0.5 - sheet_center) * step});
  }
  return pieces;
}

AxisMap map_of(const Side& side, const std::vector<Part>& parts, double scale, bool whole_sheet) {
  const double step =
      static_cast<double>(side.visible) / side.image * side.dpi / (side.sheet_dpi * scale);
  Axis axis{.source = side.raster,
            .target = side.image,
            .step = step,
            .pieces = pieces_of(side, parts, step, whole_sheet)};
  // A page that covers the paper ends outside it: the few visible pixels outside the page repeat
  // its edge. All other pages are surrounded by white.
  const bool covers = side.page_pt() * scale >= side.paper_pt - kSameSizePt;
  const double near = kSameSizePt / kPointsPerInch * side.dpi;
  axis.repeats_first = covers && side.offset <= near;
  axis.repeats_last = covers && side.offset + side.raster >= side.page - near;
  return AxisMap(axis);
}

bool has_other_orientation(const DrawnPage& page, const PaperPoints& paper) {
  const double across = page.page_across / page.dpi_across;
  const double down = page.page_down / page.dpi_down;
  return (across < down && paper.across > paper.down) ||
         (across > down && paper.across < paper.down);
}

DrawnPage rotated_clockwise(const DrawnPage& page) {
  return {.width = page.height,
          .height = page.width,
          .dpi_across = page.dpi_down,
          .dpi_down = page.dpi_across,
          .page_across = page.page_down,
          .page_down = page.page_across,
          .left = page.page_down - page.top - page.height,
          .top = page.left};
}

std::vector<Part> parts_across(const SheetPlace& place) {
  const SheetFrame& frame = place.frames.front();
  return {{.begin = frame.left, .length = frame.width}};
}

// Several frames share the page in equal parts.
std::vector<Part> parts_down(const SheetPlace& place) {
  std::vector<Part> parts;
  const double share = 1.0 / static_cast<double>(place.frames.size());
  for (const SheetFrame& frame : place.frames) {
    parts.push_back({.begin = frame.top,
                     .length = frame.height,
                     .page_begin = share * static_cast<double>(parts.size()),
                     .page_length = share});
  }
  return parts;
}

}  // namespace

PageFit fit_page(const DrawnPage& drawn, const SheetPlace& place, Scaling scaling) {
  const PaperPoints paper = paper_points(*place.paper);
  const bool across_paper = has_other_orientation(drawn, paper);
  const DrawnPage page = across_paper ? rotated_clockwise(drawn) : drawn;
  const PixelSize image = picture_size(place);
  const Side width{.raster = page.width,
                   .dpi = page.dpi_across,
                   .page = page.page_across,
                   .offset = page.left,
                   .paper_pt = paper.across,
                   .sheet_dpi = static_cast<double>(dots_per_inch_across(*place.paper)),
                   .visible = place.visible_width,
                   .image = image.width};
  const Side height{
      .raster = page.height,
      .dpi = page.dpi_down,
      .page = page.page_down,
      .offset = page.top,
      .paper_pt = paper.down,
      .sheet_dpi = static_cast<double>(place.fine ? kDotsPerInchDownFine : kDotsPerInchDown),
      .visible = place.visible_height,
      .image = image.height};
  const double scale = scale_of(width, height, scaling);
  const bool whole_sheet = place.frames.size() == 1;
  const PageMap map = page_map(place);
  AxisMap columns = map_of(width, parts_across(place), scale, whole_sheet).selected(map.columns);
  AxisMap rows = map_of(height, parts_down(place), scale, whole_sheet).selected(map.rows);
  if (!across_paper) return {PageFit::Rotation::none, std::move(columns), std::move(rows)};
  // The filter halves the rows of a page of 300 x 600 dpi when it rotates it.
  if (place.fine) return {PageFit::Rotation::before_mapping, std::move(columns), std::move(rows)};
  return {PageFit::Rotation::by_filter, std::move(rows), columns.reversed()};
}

}  // namespace k905
