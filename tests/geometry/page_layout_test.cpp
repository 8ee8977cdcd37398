// Where the image goes on the sheet: targets, canvas, bleeds and what they leave.

#include "geometry/page_layout.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "paper/paper_table.h"
#include "settings/print_options.h"

namespace {

constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();

PrintOptions options_for(const char* ppd_name) {
  return PrintOptions{.paper_config = find_paper_by_ppd_name(ppd_name)};
}

TEST(PageLayout, OfA6x4PageIsItsPaperRow) {
  const PageLayout layout = page_layout(options_for("w288h432"));
  EXPECT_EQ(layout.target_width, 1844);
  EXPECT_EQ(layout.target_height, 1240);
  EXPECT_EQ(layout.canvas_width, 1920);
  EXPECT_EQ(layout.canvas_height, 1240);
  EXPECT_EQ(layout.bleed_top, 25);
  EXPECT_EQ(layout.bleed_bottom, 18);
  EXPECT_EQ(layout.bleed_left, 50);
  EXPECT_EQ(layout.bleed_right, 70);
  EXPECT_EQ(layout.effective_width, 1800);   // 1920 - 50 - 70
  EXPECT_EQ(layout.effective_height, 1197);  // 1240 - 25 - 18
}

TEST(PageLayout, NamesThePaperAndTellsWhetherABleedIsTheUsers) {
  PrintOptions options = options_for("w288h432");
  EXPECT_STREQ(page_layout(options).paper_label, "6x4");
  EXPECT_FALSE(page_layout(options).has_user_bleed);
  options.bleed_top_px = -100;  // leaves the sum clamped to 0, and is a delta all the same
  EXPECT_TRUE(page_layout(options).has_user_bleed);
}

TEST(PageLayout, TargetIsThePapersAndNotTheEffectiveArea) {
  const PageLayout layout = page_layout(options_for("w432h576-div2"));
  EXPECT_EQ(layout.target_width, 1844);
  EXPECT_EQ(layout.target_height, 2436);
  EXPECT_EQ(layout.effective_width, 1920);
  EXPECT_EQ(layout.effective_height, 2498);
}

TEST(PageLayout, InterlacedDoublesTargetAndCanvasHeight) {
  PrintOptions options = options_for("w432h576");
  options.interlace = 1;
  const PageLayout layout = page_layout(options);
  EXPECT_EQ(layout.target_width, 1844);
  EXPECT_EQ(layout.target_height, 4872);
  EXPECT_EQ(layout.canvas_width, 1920);
  EXPECT_EQ(layout.canvas_height, 4872);
}

TEST(PageLayout, InterlacedKeepsTheBleedAlthoughTheCanvasIsDoubled) {
  PrintOptions options = options_for("w432h576");
  options.interlace = 1;
  options.bleed_bottom_px = 8;
  const PageLayout layout = page_layout(options);
  EXPECT_EQ(layout.bleed_top, 23);
  EXPECT_EQ(layout.bleed_bottom, 20);
  EXPECT_EQ(layout.effective_height, 4829);  // 2 * 2436 - 23 - 20
}

TEST(PageLayout, TurnedPagesExchangeOnlyTheTarget) {
  PrintOptions options = options_for("w288h432");
  options.rotate_90 = 1;
  const PageLayout layout = page_layout(options);
  EXPECT_EQ(layout.target_width, 1240);
  EXPECT_EQ(layout.target_height, 1844);
  EXPECT_EQ(layout.canvas_width, 1920);
  EXPECT_EQ(layout.canvas_height, 1240);
  EXPECT_EQ(layout.effective_width, 1800);
  EXPECT_EQ(layout.effective_height, 1197);
}

TEST(PageLayout, TurnedAndInterlacedTheDoubledHeightIsTheTargetsWidth) {
  PrintOptions options = options_for("w288h432");
  options.rotate_90 = 1;
  options.interlace = 1;
  const PageLayout layout = page_layout(options);
  EXPECT_EQ(layout.target_width, 2480);
  EXPECT_EQ(layout.target_height, 1844);
}

TEST(PageLayout, UserBleedIsAddedToThePapers) {
  PrintOptions options = options_for("w288h432");
  options.bleed_top_px = 1;
  options.bleed_bottom_px = -2;
  options.bleed_left_px = 30;
  options.bleed_right_px = -69;
  const PageLayout layout = page_layout(options);
  EXPECT_EQ(layout.bleed_top, 26);
  EXPECT_EQ(layout.bleed_bottom, 16);
  EXPECT_EQ(layout.bleed_left, 80);
  EXPECT_EQ(layout.bleed_right, 1);
  EXPECT_EQ(layout.effective_width, 1839);
  EXPECT_EQ(layout.effective_height, 1198);
}

TEST(PageLayout, BleedNeverBecomesNegative) {
  PrintOptions options = options_for("w288h432");
  options.bleed_top_px = -25;  // exactly 0
  options.bleed_bottom_px = -19;
  options.bleed_left_px = kMin;
  options.bleed_right_px = -1000;
  const PageLayout layout = page_layout(options);
  EXPECT_EQ(layout.bleed_top, 0);
  EXPECT_EQ(layout.bleed_bottom, 0);
  EXPECT_EQ(layout.bleed_left, 0);
  EXPECT_EQ(layout.bleed_right, 0);
  EXPECT_EQ(layout.effective_width, 1920);
  EXPECT_EQ(layout.effective_height, 1240);
}

TEST(PageLayout, BleedSumsSaturate) {
  PrintOptions options = options_for("w288h432");
  options.bleed_top_px = kMax;
  options.bleed_left_px = kMax;
  options.bleed_right_px = kMax;
  const PageLayout layout = page_layout(options);
  EXPECT_EQ(layout.bleed_top, kMax);
  EXPECT_EQ(layout.bleed_left, kMax);
  EXPECT_EQ(layout.bleed_right, kMax);
  EXPECT_EQ(layout.effective_width, 1);
  EXPECT_EQ(layout.effective_height, 1);
}

TEST(PageLayout, AnEffectiveSideBelowTwoIsOne) {
  PrintOptions options = options_for("w288h432");
  for (const std::int32_t left_over : {1, 0, -1, -500}) {
    options.bleed_left_px = 1920 - 70 - 50 - left_over;
    options.bleed_top_px = 1240 - 18 - 25 - left_over;
    const PageLayout layout = page_layout(options);
    EXPECT_EQ(layout.effective_width, 1) << left_over;
    EXPECT_EQ(layout.effective_height, 1) << left_over;
  }
}

TEST(PageLayout, AnEffectiveSideOfTwoStaysTwo) {
  PrintOptions options = options_for("w288h432");
  options.bleed_left_px = 1920 - 70 - 50 - 2;
  options.bleed_top_px = 1240 - 18 - 25 - 2;
  const PageLayout layout = page_layout(options);
  EXPECT_EQ(layout.effective_width, 2);
  EXPECT_EQ(layout.effective_height, 2);
}

}  // namespace
