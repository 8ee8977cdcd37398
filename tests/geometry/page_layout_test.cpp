// The position of the image on the sheet: target, canvas, bleeds and the remaining area.
#include "geometry/page_layout.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

#include "paper/paper_table.h"
#include "settings/print_options.h"

namespace {

constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();

using Pair = std::array<std::int32_t, 2>;   // width, height
using Edges = std::array<std::int32_t, 4>;  // top, bottom, left, right

struct Case {
  const char* paper;
  bool interlace;
  bool rotate;
  Edges user_bleed;
  Pair target;
  Pair canvas;
  Edges bleed;
  Pair effective;
};

// 6x4 has the bleeds 25, 18, 50, 70 and the canvas 1920 x 1240; 6x8 has 23, 12, 50, 70 and 1920 x
// 2436; the paper of two 6x4 has no bleed.
const Case kCases[] = {
    {"w288h432", false, false, {}, {1844, 1240}, {1920, 1240}, {25, 18, 50, 70}, {1800, 1197}},
    {"w432h576-div2", false, false, {}, {1844, 2436}, {1920, 2498}, {0, 0, 0, 0}, {1920, 2498}},
    // Twice the rows, the same bleeds.
    {"w432h576",
     true,
     false,
     {0, 8, 0, 0},
     {1844, 4872},
     {1920, 4872},
     {23, 20, 50, 70},
     {1800, 4829}},
    // Only the target is rotated.
    {"w288h432", false, true, {}, {1240, 1844}, {1920, 1240}, {25, 18, 50, 70}, {1800, 1197}},
    {"w288h432", true, true, {}, {2480, 1844}, {1920, 2480}, {25, 18, 50, 70}, {1800, 2437}},
    {"w288h432",
     false,
     false,
     {1, -2, 30, -69},
     {1844, 1240},
     {1920, 1240},
     {26, 16, 80, 1},
     {1839, 1198}},
    // No bleed becomes negative.
    {"w288h432",
     false,
     false,
     {-25, -19, kMin, -1000},
     {1844, 1240},
     {1920, 1240},
     {0, 0, 0, 0},
     {1920, 1240}},
    {"w288h432",
     false,
     false,
     {kMax, 0, kMax, kMax},
     {1844, 1240},
     {1920, 1240},
     {kMax, 18, kMax, kMax},
     {1, 1}},
    // Two columns and rows are left, then one, none, and less than none.
    {"w288h432",
     false,
     false,
     {1195, 0, 1798, 0},
     {1844, 1240},
     {1920, 1240},
     {1220, 18, 1848, 70},
     {2, 2}},
    {"w288h432",
     false,
     false,
     {1196, 0, 1799, 0},
     {1844, 1240},
     {1920, 1240},
     {1221, 18, 1849, 70},
     {1, 1}},
    {"w288h432",
     false,
     false,
     {1197, 0, 1800, 0},
     {1844, 1240},
     {1920, 1240},
     {1222, 18, 1850, 70},
     {1, 1}},
    {"w288h432",
     false,
     false,
     {1697, 0, 2300, 0},
     {1844, 1240},
     {1920, 1240},
     {1722, 18, 2350, 70},
     {1, 1}},
};

TEST(PageLayout, FollowsFromPaperModeRotationAndBleeds) {
  for (std::size_t i = 0; i < std::size(kCases); ++i) {
    SCOPED_TRACE("case " + std::to_string(i));
    const Case& c = kCases[i];
    PrintOptions options{.paper_config = find_paper_by_ppd_name(c.paper)};
    options.interlace = c.interlace ? 1 : 0;
    options.rotate_90 = c.rotate ? 1 : 0;
    options.bleed_top_px = c.user_bleed[0];
    options.bleed_bottom_px = c.user_bleed[1];
    options.bleed_left_px = c.user_bleed[2];
    options.bleed_right_px = c.user_bleed[3];
    const PageLayout l = page_layout(options);
    EXPECT_EQ((Pair{l.target_width, l.target_height}), c.target);
    EXPECT_EQ((Pair{l.canvas_width, l.canvas_height}), c.canvas);
    EXPECT_EQ((Edges{l.bleed_top, l.bleed_bottom, l.bleed_left, l.bleed_right}), c.bleed);
    EXPECT_EQ((Pair{l.effective_width, l.effective_height}), c.effective);
    EXPECT_STREQ(l.paper_label, options.paper_config->label);
    EXPECT_EQ(l.has_user_bleed, c.user_bleed != Edges{});
  }
}

}  // namespace
