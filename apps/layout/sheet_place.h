// Where on the sheet a picture is seen, and how a page must be drawn so that it is seen there pixel
// by pixel.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "apps/image/picture.h"
#include "paper/paper_table.h"

struct SheetPlace {
  const PaperConfig* paper = nullptr;
  bool fine = false;  // 300 x 600 dpi
  bool grey = false;
  // The page that goes to the filter.
  std::uint32_t page_width = 0;
  std::uint32_t page_height = 0;
  // What the picture covers of the sheet.
  std::uint32_t seen_width = 0;
  std::uint32_t seen_height = 0;

  // How many times closer the seen pixels lie from top to bottom than from left to right.
  [[nodiscard]] double density() const { return fine ? 2.0 : 1.0; }
};

// From choices by keyword: PageSize, Resolution, ColorModel and the four bleeds. The paper must be
// one of the table.
[[nodiscard]] SheetPlace sheet_place(const std::map<std::string, std::string>& choices);

// The picture's pixels before they become a page: per side the smaller of page and seen sheet, so
// that they are scaled once and never twice.
struct PixelSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};
[[nodiscard]] PixelSize picture_size(const SheetPlace& place);

// The page for a picture of picture_size(). The filter mirrors it and, where the page has more
// pixels than the sheet shows, leaves some of them out: each pixel of the picture is put where one
// of those that stay is taken from.
[[nodiscard]] Picture page_for(const Picture& picture, const SheetPlace& place);
