// Positions of several photos on one sheet: strips and grids.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/image/picture.h"
#include "apps/layout/sheet_place.h"

namespace k905 {

using Cell = PixelArea;  // in pixels of the image of picture_size()

inline constexpr char kStrips[] = "strips";

// The cells of a layout (kStrips, "2x2", "1+2"; "sheet" or "" for a single cell), row by row from
// the top left; together they cover the complete sheet. Exception: on a sheet that two pages share,
// a single cell extends from the top of the first page to the bottom of the second, and not beyond
// the paper at the left and right. Strips end where the printer cuts; the list is empty for a paper
// that is not cut into strips.
[[nodiscard]] std::vector<Cell> cells_of(const std::string& layout, const SheetPlace& place);

// The place for prepare(), so that a photo gets the pixels of the cell.
[[nodiscard]] SheetPlace place_in(const Cell& cell, const SheetPlace& place);

// The picture of the sheet with the photo in its single cell, white elsewhere.
[[nodiscard]] Picture sheet_with(Picture photo, const Cell& cell, const SheetPlace& place);

// How many strips the printer cuts the paper into; 0 for any other paper.
[[nodiscard]] std::uint32_t strips_of(const PaperConfig& paper);

}  // namespace k905
