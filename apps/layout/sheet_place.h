// Where on the sheet an image is visible, and how a page must be drawn so that it is visible there
// pixel by pixel.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "apps/image/picture.h"
#include "paper/paper_table.h"

// A rectangle of the seen sheet that holds a page (or, on a sheet that two pages share, half of
// it). Pixels from the top left of the seen sheet; may reach beyond it.
struct SheetFrame {
  double left = 0;
  double top = 0;
  double width = 0;
  double height = 0;
};

struct SheetPlace {
  const PaperConfig* paper = nullptr;
  bool fine = false;  // 300 x 600 dpi
  bool gray = false;
  // The page that goes to the filter.
  std::uint32_t page_width = 0;
  std::uint32_t page_height = 0;
  // What the picture covers of the sheet.
  std::uint32_t seen_width = 0;
  std::uint32_t seen_height = 0;
  // From top to bottom. Usually the whole seen sheet, in the fine resolution a little less of it:
  // the bleeds there keep their rows, although a row is half as high.
  std::vector<SheetFrame> frames;

  std::uint32_t dots_across = 300;  // per inch of the paper, from left to right

  // How many times closer the seen pixels lie from top to bottom than from left to right.
  [[nodiscard]] double density() const { return (fine ? 600.0 : 300.0) / dots_across; }
};

// From choices by keyword: PageSize, Resolution, ColorModel and the four bleeds. The paper must be
// one of the table.
[[nodiscard]] SheetPlace sheet_place(const std::map<std::string, std::string>& choices);

// The picture's pixels before they become a page: per side the smaller of page and seen sheet, so
// that they are scaled once and never twice.
[[nodiscard]] PixelSize picture_size(const SheetPlace& place);

// For each column and row of the page that goes to the filter, the column or row of the picture (of
// picture_size()) that it holds. The filter mirrors the page and, where the page has more pixels
// than the sheet shows, omits some of them: each pixel of the picture is put where the filter takes
// one from, and pixels that it omits repeat a neighbor. Both lists ascend.
struct PageMap {
  std::vector<std::uint32_t> columns;
  std::vector<std::uint32_t> rows;
};
[[nodiscard]] PageMap page_map(const SheetPlace& place);

// The page for a picture of picture_size(), by page_map().
[[nodiscard]] Picture page_for(const Picture& picture, const SheetPlace& place);
