// A photographer's picture made ready for the sheet.
#pragma once

#include "apps/image/picture.h"
#include "apps/layout/sheet_place.h"

struct Preparation {
  bool whole = false;  // keep all of the picture on white; otherwise it is cropped to the sheet
  bool turn = true;    // a quarter to the left, where the sheet's shape asks for it
};

struct Prepared {
  Picture page;         // 8 bits, for the filter
  std::string warning;  // empty, or what was not quite right with the picture
};

// Turned as the camera says, turned for the sheet, cropped or set on white, scaled, brought to
// sRGB: in an order that handles the large picture as little as can be.
[[nodiscard]] Prepared prepare(Picture picture, const SheetPlace& place, const Preparation& wishes);

// Blocks of factor x factor pixels averaged; those at the right and lower edge may be smaller.
[[nodiscard]] Picture shrunk(const Picture& picture, std::uint32_t factor);
