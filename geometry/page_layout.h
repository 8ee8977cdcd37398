// The place of the image on the sheet, computed once per page from the paper row and the settings.
#pragma once

#include <cstdint>

struct PrintOptions;

// All in pixels at 300 dpi (vertically 600 dpi when interlaced).
struct PageLayout {
  // What the image is resized to. When the page is rotated, width and height are exchanged, because
  // the image is rotated later.
  std::int32_t target_width;
  std::int32_t target_height;

  std::int32_t canvas_width;
  std::int32_t canvas_height;  // doubled when interlaced

  // The paper's bleed plus the user's; a negative sum becomes 0. Deliberate: top and bottom are not
  // doubled when interlaced, although the canvas is.
  std::int32_t bleed_top;
  std::int32_t bleed_bottom;
  std::int32_t bleed_left;
  std::int32_t bleed_right;

  // Canvas minus bleeds; each side is at least 1.
  std::int32_t effective_width;
  std::int32_t effective_height;

  // For the log.
  const char* paper_label = "";
  bool has_user_bleed = false;  // the user changed a bleed
};

// `options.paper_config` must not be null. Sums of bleeds saturate, so nothing can overflow.
[[nodiscard]] PageLayout page_layout(const PrintOptions& options);
