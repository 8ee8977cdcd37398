// The position of the image on the sheet: target, canvas, bleeds and the remaining area.
#include "geometry/page_layout.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

#include "paper/paper_table.h"
#include "settings/print_options.h"
#include "tests/support/reference_state.h"

namespace {

constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();

using Edges = std::array<std::int32_t, 4>;  // top, bottom, left, right

// The bleeds of 6x4 are 25, 18, 50, 70 and its canvas is 1920 x 1240.
const Edges kUserBleeds[] = {
    {},
    {0, 8, 0, 0},
    {1, -2, 30, -69},
    // No bleed becomes negative.
    {-25, -19, kMin, -1000},
    {kMax, 0, kMax, kMax},
    // Two columns and rows of 6x4 are left, then one, none, and less than none.
    {1195, 0, 1798, 0},
    {1196, 0, 1799, 0},
    {1197, 0, 1800, 0},
    {1697, 0, 2300, 0},
};

void expect_like_reference(const PaperConfig& paper, bool interlace, bool rotate,
                           const Edges& bleed) {
  PrintOptions options{.paper_config = &paper};
  options.interlace = interlace ? 1 : 0;
  options.rotate_90 = rotate ? 1 : 0;
  const ReferenceJob job;
  reference::PlainFilter plain(job);
  plain.settings.paper = reference::papers().at(static_cast<std::size_t>(&paper - &paper_sizes[0]));
  plain.settings.interlace = interlace;
  plain.settings.rotate = rotate;
  plain.settings.bleed_top = options.bleed_top_px = bleed[0];
  plain.settings.bleed_bottom = options.bleed_bottom_px = bleed[1];
  plain.settings.bleed_left = options.bleed_left_px = bleed[2];
  plain.settings.bleed_right = options.bleed_right_px = bleed[3];
  const PageLayout l = page_layout(options);
  const reference::PlainFilter::Layout expected = plain.layout();
  EXPECT_EQ(l.target_width, expected.target_width);
  EXPECT_EQ(l.target_height, expected.target_height);
  EXPECT_EQ(l.canvas_width, expected.canvas_width);
  EXPECT_EQ(l.canvas_height, expected.canvas_height);
  EXPECT_EQ((Edges{l.bleed_top, l.bleed_bottom, l.bleed_left, l.bleed_right}),
            (Edges{expected.top, expected.bottom, expected.left, expected.right}));
  EXPECT_EQ(l.effective_width, expected.effective_width);
  EXPECT_EQ(l.effective_height, expected.effective_height);
  EXPECT_STREQ(l.paper_label, paper.label);
  EXPECT_EQ(l.has_user_bleed, bleed != Edges{});
}

TEST(PageLayout, FollowsFromPaperModeRotationAndBleeds) {
  for (const PaperConfig& paper : paper_sizes) {
    for (const Edges& bleed : kUserBleeds) {
      SCOPED_TRACE(std::string(paper.ppd_name) + " " + std::to_string(bleed[0]));
      expect_like_reference(paper, false, false, bleed);
      expect_like_reference(paper, false, true, bleed);
      expect_like_reference(paper, true, false, bleed);
      expect_like_reference(paper, true, true, bleed);
    }
  }
}

// By hand: twice the rows, the same bleeds; only the target is rotated.
TEST(PageLayout, InterlacedRotatedPageHasTheseSizes) {
  PrintOptions options{.paper_config = find_paper_by_ppd_name("w288h432")};
  options.interlace = options.rotate_90 = 1;
  const PageLayout l = page_layout(options);
  EXPECT_EQ((Edges{l.target_width, l.target_height, l.canvas_width, l.canvas_height}),
            (Edges{2480, 1844, 1920, 2480}));
  EXPECT_EQ((Edges{l.bleed_top, l.bleed_bottom, l.bleed_left, l.bleed_right}),
            (Edges{25, 18, 50, 70}));
  EXPECT_EQ(l.effective_width, 1800);
  EXPECT_EQ(l.effective_height, 2437);
}

}  // namespace
