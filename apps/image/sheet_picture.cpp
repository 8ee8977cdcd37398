#include "apps/image/sheet_picture.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "apps/image/draw.h"
#include "apps/image/resize.h"
#include "paper/physical_size.h"

namespace k905 {

namespace {

constexpr std::uint32_t kPageGap = 24;  // rows between two pages of a sheet
constexpr std::uint8_t kBackground = 222;

// The paper with this canvas. Strips and other papers can have the same canvas; the cut of the
// sheet tells them apart. `row_factor`: rows of the sheet for each row of the paper table, 2 at
// 300 x 600 dpi.
const PaperConfig* paper_of(const Sheet& sheet, std::uint32_t row_factor) {
  const auto has_size = [&](const PaperConfig& paper) {
    return sheet.width == static_cast<std::uint32_t>(paper.canvas_width) &&
           sheet.height == static_cast<std::uint32_t>(paper.canvas_height) * row_factor;
  };
  const PaperConfig* found = nullptr;
  for (const PaperConfig& paper : selectable_papers) {
    const bool is_cut = std::string_view(paper.ppd_name).find("-div") != std::string_view::npos;
    if (has_size(paper) && (found == nullptr || is_cut == (sheet.cutter != 0))) {
      found = &paper;
    }
  }
  return found;
}

Picture page_of(const Picture& canvas, const PaperConfig& paper, const VisibleArea& area,
                std::uint32_t row_factor) {
  const auto width = static_cast<std::uint32_t>(area.width);
  const auto height = static_cast<std::uint32_t>(area.height);
  const std::uint32_t left = canvas.width - static_cast<std::uint32_t>(area.left) - width;
  const auto top = static_cast<std::uint32_t>(area.top) * row_factor;
  const auto square = width * kDotsPerInchDown / dots_per_inch_across(paper);
  return scaled(cropped(canvas, left, top, {width, height * row_factor}),
                {static_cast<std::uint32_t>(square), height});
}

}  // namespace

Picture sheet_picture(const Sheet& sheet, Mirror mirror) {
  Picture picture = black_picture(sheet.width, sheet.height);
  std::uint8_t* out = picture.bytes.data();
  for (std::size_t y = 0; y < sheet.height; ++y) {
    const std::size_t row = y * sheet.width;
    for (std::size_t x = 0; x < sheet.width; ++x) {
      const std::size_t at = row + (mirror == Mirror::undo ? sheet.width - 1 - x : x);
      *out++ = sheet.plane[0][at];
      *out++ = sheet.plane[1][at];
      *out++ = sheet.plane[2][at];
    }
  }
  return picture;
}

ShownSheet shown_sheet(const Sheet& sheet, SheetView view) {
  std::uint32_t row_factor = 1;
  const PaperConfig* paper = paper_of(sheet, row_factor);
  if (paper == nullptr) {
    row_factor = 2;
    paper = paper_of(sheet, row_factor);
  }
  Picture canvas = sheet_picture(sheet, view == SheetView::wire ? Mirror::leave : Mirror::undo);
  if (paper == nullptr) {
    return {std::move(canvas), {}};
  }
  if (view != SheetView::paper) {
    return {std::move(canvas),
            {dots_per_inch_across(*paper), kDotsPerInchDown * static_cast<int>(row_factor)}};
  }
  std::vector<Picture> pages;
  std::uint32_t height = 0;
  for (const VisibleArea& area : visible_areas(*paper)) {
    pages.push_back(page_of(canvas, *paper, area, row_factor));
    height += (pages.size() > 1 ? kPageGap : 0) + pages.back().height;
  }
  Picture shown = black_picture(pages.front().width, height);
  std::fill(shown.bytes.begin(), shown.bytes.end(), kBackground);
  std::uint32_t top = 0;
  for (const Picture& page : pages) {
    paste(shown, page, 0, top);
    top += page.height + kPageGap;
  }
  return {std::move(shown), {kDotsPerInchDown, kDotsPerInchDown}};
}

}  // namespace k905
