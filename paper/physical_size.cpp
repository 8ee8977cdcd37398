// The positions and the pixel densities of the visible areas.

#include "paper/physical_size.h"

#include <charconv>
#include <string_view>

namespace {

// Papers of five and of six inches have the same 1800 visible columns, except "6x2*2", whose
// smaller bleeds leave 1874.
constexpr std::int32_t kDpiAcrossSixInches = 300;
constexpr std::int32_t kDpiAcrossFiveInches = 360;

constexpr VisibleArea inside_bleeds(const PaperConfig& paper) {
  return {.left = paper.bleed_left,
          .top = paper.bleed_top,
          .width = paper.canvas_width - paper.bleed_left - paper.bleed_right,
          .height = paper.canvas_height - paper.bleed_top - paper.bleed_bottom};
}

VisibleArea moved_down(VisibleArea area, std::int32_t rows) {
  area.top += rows;
  return area;
}

// Returns the number at the beginning of a label such as "5x3.5" or "6x2*4". Removes it and the
// character after it from the label.
double take_leading_number(std::string_view& label) {
  double number = 0;
  const char* end = label.data() + label.size();
  const char* rest = std::from_chars(label.data(), end, number).ptr;
  label = rest == end ? std::string_view() : std::string_view(rest + 1, end);
  return number;
}

VisibleAreas areas_of_shared_sheet() {
  const PaperConfig& page = *find_paper_by_ppd_name("w288h432");
  const VisibleArea area = inside_bleeds(page);
  const std::int32_t lower_page = page.canvas_height - MERGE_TOP_RAISED_ROWS + MERGE_GAP_ROWS;
  return {.areas = {moved_down(area, -MERGE_TOP_RAISED_ROWS), moved_down(area, lower_page)},
          .count = 2};
}

}  // namespace

std::int32_t dots_per_inch_across(const PaperConfig& paper) {
  return std::string_view(paper.label).starts_with("5x") ? kDpiAcrossFiveInches
                                                         : kDpiAcrossSixInches;
}

VisibleAreas visible_areas(const PaperConfig& paper) {
  if (std::string_view(paper.ppd_name) == "w432h576-div2") {
    return areas_of_shared_sheet();
  }
  return {.areas = {inside_bleeds(paper)}, .count = 1};
}

PaperPoints paper_points(const PaperConfig& paper) {
  std::string_view label = paper.label;
  const double across = take_leading_number(label);
  const double down = take_leading_number(label);
  const double parts = label.empty() ? 1.0 : take_leading_number(label);
  return {.across = across * kPointsPerInch, .down = down * parts * kPointsPerInch};
}
