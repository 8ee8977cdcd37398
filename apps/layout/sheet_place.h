// Where on the sheet an image is visible, and how a page must be made so that every pixel of the
// image is visible there.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "apps/image/picture.h"
#include "paper/paper_table.h"

namespace k905 {

// The area of one print on the sheet, in pixels from the top left of the visible sheet; it may
// extend beyond the visible sheet. A sheet has one such area, or two if two 6x4 prints share it.
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
  // The part of the sheet that the image covers.
  std::uint32_t visible_width = 0;
  std::uint32_t visible_height = 0;
  // From top to bottom. A single frame is usually the complete visible sheet. At 300 x 600 dpi it
  // is a little smaller: the borders there keep their number of rows, although a row is half as
  // high.
  std::vector<SheetFrame> frames;

  std::uint32_t dots_across = 300;  // per inch of the paper, from left to right

  // Vertical dpi divided by horizontal dpi; 1 for square pixels.
  [[nodiscard]] double dpi_ratio() const { return (fine ? 600.0 : 300.0) / dots_across; }
};

// From choices by keyword: PageSize, Resolution, ColorModel and the four borders. The paper must be
// in the table.
[[nodiscard]] SheetPlace sheet_place(const std::map<std::string, std::string>& choices);

// The size of the image before it becomes a page: on each side the smaller of page and visible
// sheet, so that it is scaled only once.
[[nodiscard]] PixelSize picture_size(const SheetPlace& place);

// For each column and row of the filter's page, the column or row of the image (of picture_size())
// that it contains. The filter mirrors the page and, if the page has more pixels than the sheet
// shows, omits some of them: each pixel of the image is placed where the filter takes one, and
// pixels that it omits repeat a neighbor. Both lists ascend.
struct PageMap {
  std::vector<std::uint32_t> columns;
  std::vector<std::uint32_t> rows;
};
[[nodiscard]] PageMap page_map(const SheetPlace& place);

// The page for an image of picture_size(), by page_map().
[[nodiscard]] Picture page_for(const Picture& picture, const SheetPlace& place);

}  // namespace k905
