// The papers that the printer supports: names, page sizes and pixel sizes. Constant data; the
// lowest layer of the project. The PPD files of the queue are generated from it too, so that they
// always match the filter.
#pragma once

#include <array>
#include <cstdint>
#include <span>

struct PaperConfig {
  const char* ppd_name;  // PageSize choice, matched exactly
  const char* label;     // short name for users
  float page_width_pt;   // points, compared with the header's PageSize
  float page_height_pt;
  std::int32_t target_width;  // pixels at 300 dpi, the size that the image is resized to
  std::int32_t target_height;
  std::int32_t canvas_width;  // pixels sent to the printer
  std::int32_t canvas_height;
  std::int32_t bleed_top;  // default bleeds in pixels
  std::int32_t bleed_bottom;
  std::int32_t bleed_left;
  std::int32_t bleed_right;
};

// Deliberate: the rows are irregular where the printer is. "w288h432-div2" has a 6x4 target on a
// page nearly twice as tall, and "w432h576-div2" a canvas taller than its target and no bleed.
// Matching by size takes the first row that fits, so the order is part of the table.
inline constexpr std::array<PaperConfig, 10> paper_sizes{{
    {"B7", "5x3.5", 460.8F, 261.12F, 1548, 1088, 1920, 1088, 20, 15, 50, 70},
    {"w360h360", "5x5", 460.8F, 369.6F, 1548, 1540, 1920, 1540, 23, 15, 50, 70},
    {"w360h504", "5x7", 460.8F, 513.12F, 1548, 2138, 1920, 2138, 20, 20, 50, 70},
    {"w288h432", "6x4", 460.8F, 297.6F, 1844, 1240, 1920, 1240, 25, 18, 50, 70},
    {"w288h432-div2", "6x2*2", 460.8F, 585.6F, 1844, 1240, 1920, 1240, 25, 18, 9, 37},
    {"w432h576-div2", "6x4*2", 460.8F, 599.6F, 1844, 2436, 1920, 2498, 0, 0, 0, 0},
    {"w432h576-div4", "6x2*4", 460.8F, 585.64F, 1844, 2436, 1920, 2436, 22, 17, 50, 70},
    {"w432h432", "6x6", 440.64F, 460.8F, 1844, 1836, 1920, 1836, 20, 15, 50, 70},
    {"w432h576", "6x8", 460.8F, 584.64F, 1844, 2436, 1920, 2436, 23, 12, 50, 70},
    {"default", "default", 0.0F, 0.0F, 1844, 1240, 1920, 1240, 0, 0, 0, 0},
}};

// The 6x8 sheet that two 6x4 pages share, in pixels. The filter merges the pages onto it (two-up),
// and the cutter mode of a sheet is chosen by this size. The first rows of the upper page are
// dropped, and blank rows separate the two, so that the printer cuts between them.
inline constexpr std::int32_t MERGE_CANVAS_WIDTH = 1920;
inline constexpr std::int32_t MERGE_CANVAS_HEIGHT = 2498;
inline constexpr std::int32_t MERGE_TOP_RAISED_ROWS = 5;
inline constexpr std::int32_t MERGE_GAP_ROWS = 18;

// The rows that a name or a size can select: all but the fallback at the end.
inline constexpr std::span<const PaperConfig> selectable_papers{paper_sizes.data(),
                                                                paper_sizes.size() - 1};

// The row whose ppd_name is exactly `name`, or null. Null and empty names match nothing.
[[nodiscard]] const PaperConfig* find_paper_by_ppd_name(const char* name);

// The first row with `name` as ppd_name or as label, or null.
[[nodiscard]] const PaperConfig* find_paper_by_name_or_label(const char* name);

// The first row whose page, as given or rotated by 90 degrees, is within 5 points (inclusive) of
// width x height in both directions. Null if there is none.
[[nodiscard]] const PaperConfig* find_paper_by_size(float width_pt, float height_pt);
