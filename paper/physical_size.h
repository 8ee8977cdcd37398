// The part of the canvas that is visible on the finished sheet, in canvas pixels and in points. The
// visible area (the canvas without the paper's default bleeds) has the size that the label names,
// within a few pixels; only that of "6x2*2" is a quarter of an inch wider. For programs that lay
// out photos by their physical size.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "paper/paper_table.h"

// The vertical density is the same for all papers; that of a fine page (300x600 dpi) is twice as
// high.
inline constexpr std::int32_t kDotsPerInchDown = 300;
inline constexpr std::int32_t kDotsPerInchDownFine = 600;
inline constexpr double kPointsPerInch = 72.0;

// The horizontal density depends on the paper: 300, and 360 for papers 5 inches wide, because the
// canvas of every paper has the same number of columns.
[[nodiscard]] std::int32_t dots_per_inch_across(const PaperConfig& paper);

// In canvas pixels of a page that is not fine; a fine page has twice as many rows.
struct VisibleArea {
  std::int32_t left = 0;
  std::int32_t top = 0;
  std::int32_t width = 0;
  std::int32_t height = 0;

  bool operator==(const VisibleArea&) const = default;
};

struct VisibleAreas {
  std::array<VisibleArea, 2> areas;
  std::size_t count = 0;

  [[nodiscard]] const VisibleArea* begin() const { return areas.data(); }
  [[nodiscard]] const VisibleArea* end() const { return areas.data() + count; }
};

// One area; two for "w432h576-div2", from top to bottom. That paper has no bleeds: it is the sheet
// that two 6x4 pages share, so its visible areas are those of the two pages, at the positions where
// the filter places them. `paper` is a row of paper_sizes.
[[nodiscard]] VisibleAreas visible_areas(const PaperConfig& paper);

// The paper that the label names, in points: `across` along the rows of the canvas, `down` along
// its columns. A paper that is cut has its uncut size: "6x2*2" is 6 x 4 inches. `paper` is a row of
// selectable_papers.
struct PaperPoints {
  double across = 0;
  double down = 0;

  bool operator==(const PaperPoints&) const = default;
};
[[nodiscard]] PaperPoints paper_points(const PaperConfig& paper);
