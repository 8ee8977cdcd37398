#include "apps/image/contact_sheet.h"

#include <algorithm>
#include <utility>

#include "apps/image/draw.h"

namespace k905 {

namespace {

constexpr std::uint32_t kGap = 12;  // pixels around every image
constexpr std::uint32_t kCaptionHeight = 14;
constexpr std::uint8_t kGray = 222;

struct Grid {
  std::uint32_t columns;
  std::uint32_t cell_width;
  std::uint32_t cell_height;
  std::uint64_t width;
  std::uint64_t height;
};

Grid grid_of(std::size_t count, std::uint32_t columns, std::uint32_t width, std::uint32_t tallest) {
  Grid grid{};
  grid.columns = static_cast<std::uint32_t>(std::min<std::size_t>(columns, count));
  grid.cell_width = width + kGap;
  grid.cell_height = tallest + kGap / 2 + kCaptionHeight + kGap;
  grid.width = std::uint64_t{grid.columns} * grid.cell_width + kGap;
  grid.height = (count + grid.columns - 1) / grid.columns * grid.cell_height + kGap;
  return grid;
}

}  // namespace

bool ContactSheet::add(const std::string& caption, Picture picture) {
  const std::uint32_t tallest = std::max(tallest_, picture.height);
  const Grid grid = grid_of(tiles_.size() + 1, columns_, width_, tallest);
  if (grid.height > kMaxPixels / grid.width) {
    return false;
  }
  tallest_ = tallest;
  tiles_.push_back({caption, std::move(picture)});
  return true;
}

Picture ContactSheet::picture() const {
  const Grid grid = grid_of(tiles_.size(), columns_, width_, tallest_);
  Picture sheet = black_picture(static_cast<std::uint32_t>(grid.width),
                                static_cast<std::uint32_t>(grid.height));
  std::fill(sheet.bytes.begin(), sheet.bytes.end(), kGray);
  for (std::uint32_t i = 0; i < tiles_.size(); ++i) {
    const std::uint32_t x = kGap + i % grid.columns * grid.cell_width;
    const std::uint32_t y = kGap + i / grid.columns * grid.cell_height;
    paste(sheet, tiles_[i].picture, x, y);
    // If the caption cannot be drawn, the sheet is made without it.
    draw_text(sheet, tiles_[i].caption,
              {.x = x, .y = y + tallest_ + kGap / 2, .max_width = width_});
  }
  return sheet;
}

}  // namespace k905
