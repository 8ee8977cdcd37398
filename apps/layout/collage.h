// Several photos on one sheet: strips and grids.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/image/picture.h"
#include "apps/layout/sheet_place.h"

namespace k905 {

inline constexpr const char* kLayouts[] = {"strips", "2x2", "1+2"};

// Part of the picture of picture_size().
struct Cell {
  std::uint32_t left = 0;
  std::uint32_t top = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

// The cells of one of the layouts, from the top left by rows; together they are the whole sheet.
// Strips end where the printer cuts; none on a paper that is not cut into strips.
[[nodiscard]] std::vector<Cell> cells_of(const std::string& layout, const SheetPlace& place);

// For prepare(): a photo becomes the pixels of the cell.
[[nodiscard]] SheetPlace place_in(const Cell& cell, const SheetPlace& place);

// The page for the filter; one photo for each cell, of its size.
[[nodiscard]] Picture collage(const std::vector<Picture>& photos, const std::vector<Cell>& cells,
                              const SheetPlace& place);

}  // namespace k905
