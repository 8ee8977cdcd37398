#include "apps/image/contact_sheet.h"

#include <algorithm>
#include <utility>

#include "apps/image/caption.h"
#include "apps/image/scale.h"

namespace {

constexpr std::uint32_t kGap = 12;  // pixels around every picture
constexpr std::uint32_t kCaptionScale = 2;
constexpr std::uint8_t kGrey = 222;

struct Layout {
  std::uint32_t cell_width;
  std::uint32_t cell_height;
  std::uint32_t columns;
  std::uint64_t width;
  std::uint64_t height;
};

Layout layout_of(std::size_t count, std::uint32_t columns, std::uint32_t width,
                 std::uint32_t tallest) {
  constexpr std::uint32_t caption = kCaptionHeight * kCaptionScale + kGap / 2;
  Layout layout{};
  layout.columns = static_cast<std::uint32_t>(std::min<std::size_t>(columns, count));
  layout.cell_width = width + kGap;
  layout.cell_height = tallest + caption + kGap;
  const std::uint64_t rows = (count + layout.columns - 1) / layout.columns;
  layout.width = std::uint64_t{layout.columns} * layout.cell_width + kGap;
  layout.height = rows * layout.cell_height + kGap;
  return layout;
}

}  // namespace

bool ContactSheet::add(const std::string& caption, Picture picture) {
  const std::uint32_t tallest = std::max(tallest_, picture.height);
  const Layout layout = layout_of(tiles_.size() + 1, columns_, width_, tallest);
  if (layout.height > kMostPixels / layout.width) {
    return false;
  }
  tallest_ = tallest;
  const std::size_t letters = std::max<std::size_t>(1, width_ / (kCaptionAdvance * kCaptionScale));
  tiles_.push_back({caption.substr(0, letters), std::move(picture)});
  return true;
}

Picture ContactSheet::picture() const {
  const Layout layout = layout_of(tiles_.size(), columns_, width_, tallest_);
  Picture sheet = blank_picture(static_cast<std::uint32_t>(layout.width),
                                static_cast<std::uint32_t>(layout.height));
  std::fill(sheet.bytes.begin(), sheet.bytes.end(), kGrey);
  for (std::uint32_t i = 0; i < tiles_.size(); ++i) {
    const std::uint32_t x = kGap + i % layout.columns * layout.cell_width;
    const std::uint32_t y = kGap + i / layout.columns * layout.cell_height;
    paste(sheet, tiles_[i].picture, x, y);
    draw_caption(sheet, tiles_[i].caption, x, y + tallest_ + kGap / 2, kCaptionScale);
  }
  return sheet;
}
