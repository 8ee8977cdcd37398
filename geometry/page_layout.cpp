// Computes target, canvas, bleeds, and the area between the bleeds.
#include "geometry/page_layout.h"

#include <utility>

#include "paper/paper_table.h"
#include "settings/option_values.h"
#include "settings/print_options.h"

namespace {

// The paper's own bleed plus the user's; never negative.
std::int32_t total_bleed(std::int32_t paper_px, std::int32_t user_px) {
  const std::int64_t sum = std::int64_t{paper_px} + user_px;
  return sum < 1 ? 0 : saturate_to_int32(sum);
}

// One side of the canvas without its two bleeds; at least 1, so that the image can still be
// stretched into it.
std::int32_t length_between_bleeds(std::int32_t canvas, std::int32_t bleed_before,
                                   std::int32_t bleed_after) {
  const std::int64_t length = std::int64_t{canvas} - bleed_before - bleed_after;
  return length < 2 ? 1 : saturate_to_int32(length);
}

}  // namespace

PageLayout page_layout(const PrintOptions& options) {
  const PaperConfig& paper = *options.paper_config;
  const std::int32_t vertical_factor = options.interlace != 0 ? 2 : 1;

  PageLayout layout{};
  layout.target_width = paper.target_width;
  layout.target_height = paper.target_height * vertical_factor;
  if (options.rotate_90 != 0) {
    std::swap(layout.target_width, layout.target_height);
  }

  layout.canvas_width = paper.canvas_width;
  layout.canvas_height = paper.canvas_height * vertical_factor;

  layout.bleed_top = total_bleed(paper.bleed_top, options.bleed_top_px);
  layout.bleed_bottom = total_bleed(paper.bleed_bottom, options.bleed_bottom_px);
  layout.bleed_left = total_bleed(paper.bleed_left, options.bleed_left_px);
  layout.bleed_right = total_bleed(paper.bleed_right, options.bleed_right_px);

  layout.effective_width =
      length_between_bleeds(layout.canvas_width, layout.bleed_left, layout.bleed_right);
  layout.effective_height =
      length_between_bleeds(layout.canvas_height, layout.bleed_top, layout.bleed_bottom);

  layout.paper_label = paper.label;
  layout.has_user_bleed = options.bleed_top_px != 0 || options.bleed_bottom_px != 0 ||
                          options.bleed_left_px != 0 || options.bleed_right_px != 0;
  return layout;
}
