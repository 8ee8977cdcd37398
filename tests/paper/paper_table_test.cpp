// The printer's papers: their numbers, and how a name or a size finds its row.

#include "paper/paper_table.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "tests/support/reference_state.h"

namespace {

constexpr float kInfinity = INFINITY;

std::string name_of(const PaperConfig* paper) {
  return paper != nullptr ? paper->ppd_name : "(none)";
}

// A typing error in the table wastes sheets and is not detected elsewhere: every number is compared
// with the reference's own table.
TEST(PaperTable, HasTheNumbersOfTheReference) {
  ASSERT_EQ(paper_sizes.size(), reference::papers().size());
  for (std::size_t row = 0; row < paper_sizes.size(); ++row) {
    const PaperConfig& paper = paper_sizes[row];
    const reference::Paper& expected = reference::papers()[row];
    SCOPED_TRACE(expected.name);
    EXPECT_EQ(paper.ppd_name, expected.name);
    EXPECT_EQ(paper.label, expected.label);
    EXPECT_EQ(paper.page_width_pt, expected.width_pt);
    EXPECT_EQ(paper.page_height_pt, expected.height_pt);
    EXPECT_EQ(paper.target_width, expected.target_width);
    EXPECT_EQ(paper.target_height, expected.target_height);
    EXPECT_EQ(paper.canvas_width, expected.canvas_width);
    EXPECT_EQ(paper.canvas_height, expected.canvas_height);
    EXPECT_EQ(paper.bleed_top, expected.top);
    EXPECT_EQ(paper.bleed_bottom, expected.bottom);
    EXPECT_EQ(paper.bleed_left, expected.left);
    EXPECT_EQ(paper.bleed_right, expected.right);
  }
}

TEST(PaperTable, EveryPaperButTheFallbackCanBeSelected) {
  EXPECT_EQ(selectable_papers.size(), 9U);
  EXPECT_STREQ(selectable_papers.back().ppd_name, "w432h576");
}

TEST(PaperByName, FindsEveryRowByItsPpdNameAndIfWantedByItsLabel) {
  for (const PaperConfig& paper : selectable_papers) {
    EXPECT_EQ(find_paper_by_ppd_name(paper.ppd_name), &paper) << paper.ppd_name;
    EXPECT_EQ(find_paper_by_name_or_label(paper.ppd_name), &paper) << paper.ppd_name;
    EXPECT_EQ(find_paper_by_name_or_label(paper.label), &paper) << paper.label;
    EXPECT_EQ(find_paper_by_ppd_name(paper.label), nullptr) << paper.label;
  }
}

TEST(PaperByName, FindsNothingForAnyOtherText) {
  for (const char* name : {static_cast<const char*>(nullptr), "", "default", "b7", "W432H576",
                           "w432h57", "w432h576 ", "w432h576-div", "6X4", "6x4 ", "4x6"}) {
    EXPECT_EQ(find_paper_by_ppd_name(name), nullptr);
    EXPECT_EQ(find_paper_by_name_or_label(name), nullptr);
  }
}

TEST(PaperBySize, FindsTheFirstRowThatFitsUprightOrRotated) {
  const struct {
    float width;
    float height;
    const char* name;
  } cases[] = {
      {460.8F, 261.12F, "B7"},
      {460.8F, 369.6F, "w360h360"},
      {460.8F, 513.12F, "w360h504"},
      {460.8F, 599.6F, "w432h576-div2"},
      {440.64F, 460.8F, "w432h432"},
      {461, 441, "w432h432"},
      // Three papers have nearly the same size.
      {460.8F, 585.6F, "w288h432-div2"},
      {460.8F, 585.64F, "w288h432-div2"},
      {460.8F, 584.64F, "w288h432-div2"},
      {585, 461, "w288h432-div2"},
      // The page size rounded up and down.
      {461, 298, "w288h432"},
      {460, 297, "w288h432"},
      {297, 461, "w288h432"},
      {461, 400, "(none)"},
      {400, 298, "(none)"},
      {0, 0, "(none)"},
      {3, 3, "(none)"},
      {4294967295.0F, 4294967295.0F, "(none)"},
  };
  for (const auto& [width, height, name] : cases) {
    EXPECT_EQ(name_of(find_paper_by_size(width, height)), name) << width << " x " << height;
  }
}

// 460.8F + 5 and 297.6F + 5 are exact in single precision (same binade, whole steps), so these are
// the bounds themselves and the next numbers beyond them.
TEST(PaperBySize, FivePointsOfDifferenceFitAndTheNextNumberDoesNot) {
  for (const float sign : {1.0F, -1.0F}) {
    const float width = 460.8F + 5.0F * sign;
    const float height = 297.6F + 5.0F * sign;
    const float beyond = sign > 0 ? kInfinity : 0.0F;
    EXPECT_EQ(name_of(find_paper_by_size(width, height)), "w288h432");
    EXPECT_EQ(name_of(find_paper_by_size(height, width)), "w288h432");
    EXPECT_EQ(name_of(find_paper_by_size(std::nextafter(width, beyond), height)), "(none)");
    EXPECT_EQ(name_of(find_paper_by_size(width, std::nextafter(height, beyond))), "(none)");
    EXPECT_EQ(name_of(find_paper_by_size(height, std::nextafter(width, beyond))), "(none)");
  }
}

}  // namespace
