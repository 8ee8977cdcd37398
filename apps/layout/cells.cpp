#include "apps/layout/cells.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "apps/image/draw.h"

namespace k905 {

namespace {

// Divides one side of the visible sheet (sheet_place.h) at the cuts of the paper. The visible sheet
// can be slightly larger than the paper.
struct Side {
  std::uint32_t pixels = 0;   // of the picture
  std::uint32_t visible = 0;  // of the visible sheet
  double paper_begin = 0;     // in pixels of the visible sheet
  double paper_end = 0;

  // The pixel of the picture at this pixel of the visible sheet, limited to the picture.
  [[nodiscard]] std::uint32_t pixel_at(double at) const {
    return static_cast<std::uint32_t>(
        std::clamp<long>(std::lround(at * pixels / visible), 0, pixels));
  }
  [[nodiscard]] std::uint32_t boundary(std::uint32_t part, std::uint32_t parts) const {
    return part == 0       ? 0
           : part == parts ? pixels
                           : pixel_at(paper_begin + (paper_end - paper_begin) * part / parts);
  }
};

struct Sides {
  Side across;
  Side down;
};

Sides sides_of(const SheetPlace& place) {
  const PixelSize picture = picture_size(place);
  const SheetFrame& first = place.frames.front();
  const SheetFrame& last = place.frames.back();
  return {{picture.width, place.visible_width, first.left, first.left + first.width},
          {picture.height, place.visible_height, first.top, last.top + last.height}};
}

// Row `row` of `rows`, divided into columns.
void add_row(std::vector<Cell>& cells, const Sides& sides, std::uint32_t row, std::uint32_t rows,
             std::uint32_t columns) {
  const std::uint32_t top = sides.down.boundary(row, rows);
  const std::uint32_t bottom = sides.down.boundary(row + 1, rows);
  for (std::uint32_t column = 0; column < columns; ++column) {
    const std::uint32_t left = sides.across.boundary(column, columns);
    const std::uint32_t right = sides.across.boundary(column + 1, columns);
    cells.push_back({left, top, right - left, bottom - top});
  }
}

Cell single_cell(const Sides& sides, const SheetPlace& place) {
  if (place.frames.size() == 1) {
    return {0, 0, sides.across.pixels, sides.down.pixels};
  }
  const std::uint32_t left = sides.across.pixel_at(sides.across.paper_begin);
  const std::uint32_t top = sides.down.pixel_at(sides.down.paper_begin);
  return {left, top, std::max(sides.across.pixel_at(sides.across.paper_end), left + 1) - left,
          std::max(sides.down.pixel_at(sides.down.paper_end), top + 1) - top};
}

}  // namespace

// For example, "6x2*4" is cut into four strips.
std::uint32_t strips_of(const PaperConfig& paper) {
  const std::string_view label = paper.label;
  return label.starts_with("6x2*") ? static_cast<std::uint32_t>(label.back() - '0') : 0;
}

std::vector<Cell> cells_of(const std::string& layout, const SheetPlace& place) {
  const Sides sheet = sides_of(place);
  std::vector<Cell> cells;
  if (layout == kStrips) {
    const std::uint32_t strips = strips_of(*place.paper);
    for (std::uint32_t i = 0; i < strips; ++i) {
      add_row(cells, sheet, i, strips, 1);
    }
  } else if (layout.empty() || layout == "sheet") {
    cells.push_back(single_cell(sheet, place));
  } else {
    add_row(cells, sheet, 0, 2, layout == "2x2" ? 2 : 1);
    add_row(cells, sheet, 1, 2, 2);
  }
  return cells;
}

SheetPlace place_in(const Cell& cell, const SheetPlace& place) {
  // The sheet may show more pixels than the picture has.
  const PixelSize picture = picture_size(place);
  const auto visible = [](std::uint32_t length, std::uint32_t all_visible, std::uint32_t all) {
    return static_cast<std::uint32_t>((std::uint64_t{length} * all_visible + all / 2) / all);
  };
  SheetPlace part = place;
  part.page_width = cell.width;
  part.page_height = cell.height;
  part.visible_width = visible(cell.width, place.visible_width, picture.width);
  part.visible_height = visible(cell.height, place.visible_height, picture.height);
  return part;
}

Picture sheet_with(Picture photo, const Cell& cell, const SheetPlace& place) {
  const PixelSize size = picture_size(place);
  if (cell.width == size.width && cell.height == size.height) {
    return photo;
  }
  Picture sheet = black_picture(size.width, size.height);
  std::ranges::fill(sheet.bytes, std::uint8_t{255});
  paste(sheet, eight_bit_colors(photo), cell.left, cell.top);
  return sheet;
}

}  // namespace k905
