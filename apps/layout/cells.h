// The places of several photos on one sheet: strips and grids.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/image/picture.h"
#include "apps/layout/sheet_place.h"

namespace k905 {

using Cell = PixelArea;  // of the picture of picture_size()

inline constexpr char kStrips[] = "strips";

// The cells of a layout (kStrips, "2x2", "1+2", or for one cell "sheet" and ""), from the top left
// by rows; together they are the whole sheet, but a single cell on a sheet that two pages share
// reaches from the first edge of the first to the last edge of the second. Strips end where the
// printer cuts; none on a paper that is not cut into strips.
[[nodiscard]] std::vector<Cell> cells_of(const std::string& layout, const SheetPlace& place);

// For prepare(): a photo becomes the pixels of the cell.
[[nodiscard]] SheetPlace place_in(const Cell& cell, const SheetPlace& place);

// The picture of the sheet for the photo of a single cell, white around it.
[[nodiscard]] Picture sheet_with(Picture photo, const Cell& cell, const SheetPlace& place);

// How many strips the printer cuts the paper into; 0 for any other paper.
[[nodiscard]] std::uint32_t strips_of(const PaperConfig& paper);

}  // namespace k905
