#include "apps/layout/sheet_place.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <numeric>

#include "geometry/page_layout.h"
#include "paper/physical_size.h"
#include "settings/option_values.h"
#include "settings/print_options.h"

namespace k905 {

namespace {

using Choices = std::map<std::string, std::string>;

std::string choice_of(const Choices& choices, const char* keyword) {
  const auto choice = choices.find(keyword);
  return choice == choices.end() ? "" : choice->second;
}

std::int32_t bleed_of(const Choices& choices, const char* keyword) {
  return millimeters_to_pixels(option_millimeters(choice_of(choices, keyword).c_str()));
}

std::uint32_t at_least_one(std::int32_t pixels) {
  return static_cast<std::uint32_t>(std::max(1, pixels));
}

// For each pixel of the image along one side, the pixel of the page that the filter samples for it.
// The filter samples the nearest pixel, and computes it with exactly these operations:
// subtracting and adding 0.5 can change the last bit.
std::vector<std::size_t> sampled_pixels(std::uint32_t page, std::uint32_t visible, bool mirrored) {
  std::vector<std::size_t> sampled(visible);
  const double step = 1 / (static_cast<double>(visible) / static_cast<double>(page));
  for (std::size_t i = 0; i < visible; ++i) {
    const double center = (static_cast<double>(i) + 0.5) * step - 0.5 + 0.5;
    sampled[i] = std::min<std::size_t>(static_cast<std::size_t>(center), page - 1);
  }
  if (mirrored) {
    // Both the page and the sheet are mirrored: the visible order is the reverse of the filter's.
    std::ranges::reverse(sampled);
    for (std::size_t& pixel : sampled) {
      pixel = page - 1 - pixel;
    }
  }
  return sampled;
}

// The pixel of the image for every pixel of the page; invisible pixels repeat their neighbor.
std::vector<std::uint32_t> image_pixels(std::uint32_t page, std::uint32_t visible, bool mirrored) {
  std::vector<std::uint32_t> pixels(page);
  if (visible >= page) {
    std::iota(pixels.begin(), pixels.end(), 0U);
    return pixels;
  }
  const std::vector<std::size_t> sampled = sampled_pixels(page, visible, mirrored);
  std::uint32_t next = 0;
  for (std::size_t i = 0; i < page; ++i) {
    pixels[i] = next;
    if (next + 1 < visible && i >= sampled[next]) {
      ++next;
    }
  }
  return pixels;
}

// The paper's visible areas, adjusted by the user's borders and mirrored, as they appear on the
// front of the sheet.
std::vector<SheetFrame> frames_on(const PaperConfig& paper, const PageLayout& layout, bool fine) {
  const std::int32_t visible_right_edge = layout.bleed_left + layout.effective_width;
  const std::int32_t row_factor = fine ? 2 : 1;
  const VisibleAreas visible = visible_areas(paper);
  std::vector<SheetFrame> frames;
  for (const VisibleArea& area : visible) {
    const std::int32_t left = area.left + layout.bleed_left - paper.bleed_left;
    const std::int32_t right = area.left + area.width - (layout.bleed_right - paper.bleed_right);
    std::int32_t top = area.top * row_factor;
    std::int32_t bottom = (area.top + area.height) * row_factor;
    if (&area == visible.begin()) {
      top += layout.bleed_top - paper.bleed_top;
    }
    if (&area + 1 == visible.end()) {
      bottom -= layout.bleed_bottom - paper.bleed_bottom;
    }
    frames.push_back({.left = static_cast<double>(visible_right_edge - right),
                      .top = static_cast<double>(top - layout.bleed_top),
                      .width = static_cast<double>(right - left),
                      .height = static_cast<double>(bottom - top)});
  }
  return frames;
}

}  // namespace

SheetPlace sheet_place(const Choices& choices) {
  SheetPlace place;
  place.paper = find_paper_by_ppd_name(choice_of(choices, "PageSize").c_str());
  place.fine = choice_of(choices, "Resolution").find("300x600") != std::string::npos;
  place.gray = choice_of(choices, "ColorModel") == "Gray";
  PrintOptions options{.paper_config = place.paper};
  options.interlace = place.fine ? 1 : 0;
  options.bleed_top_px = bleed_of(choices, "BleedTop");
  options.bleed_bottom_px = bleed_of(choices, "BleedBottom");
  options.bleed_left_px = bleed_of(choices, "BleedLeft");
  options.bleed_right_px = bleed_of(choices, "BleedRight");
  const PageLayout layout = page_layout(options);
  place.page_width = at_least_one(layout.target_width);
  place.page_height = at_least_one(layout.target_height);
  place.visible_width = at_least_one(layout.effective_width);
  place.visible_height = at_least_one(layout.effective_height);
  place.dots_across = static_cast<std::uint32_t>(dots_per_inch_across(*place.paper));
  place.frames = frames_on(*place.paper, layout, place.fine);
  return place;
}

PixelSize picture_size(const SheetPlace& place) {
  return {std::min(place.page_width, place.visible_width),
          std::min(place.page_height, place.visible_height)};
}

PageMap page_map(const SheetPlace& place) {
  return {.columns = image_pixels(place.page_width, place.visible_width, true),
          .rows = image_pixels(place.page_height, place.visible_height, false)};
}

Picture page_for(const Picture& picture, const SheetPlace& place) {
  const PageMap map = page_map(place);
  Picture page;
  page.width = place.page_width;
  page.height = place.page_height;
  page.channels = picture.channels;
  page.bits = picture.bits;
  page.bytes.resize(page.row_bytes() * page.height);
  const std::size_t pixel = static_cast<std::size_t>(picture.channels) * picture.sample_bytes();
  std::uint8_t* out = page.bytes.data();
  for (const std::uint32_t row : map.rows) {
    const std::uint8_t* from = picture.bytes.data() + row * picture.row_bytes();
    for (const std::uint32_t column : map.columns) {
      std::memcpy(out, from + column * pixel, pixel);
      out += pixel;
    }
  }
  return page;
}

}  // namespace k905
