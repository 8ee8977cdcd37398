// The printer's papers: the numbers themselves, and how a name or a size finds its row.

#include "paper/paper_table.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace {

constexpr float kInfinity = INFINITY;

std::string name_of(const PaperConfig* paper) {
  return paper != nullptr ? paper->ppd_name : "(none)";
}

struct ExpectedPaper {
  const char* ppd_name;
  const char* label;
  double page[2];
  int target[2];
  int canvas[2];
  int bleed[4];  // top, bottom, left, right
};

// What the printer takes, written down once more by hand: a slip of the finger in the table costs
// sheets and shows nowhere else.
constexpr ExpectedPaper kExpectedPapers[] = {
    {"B7", "5x3.5", {460.8, 261.12}, {1548, 1088}, {1920, 1088}, {20, 15, 50, 70}},
    {"w360h360", "5x5", {460.8, 369.6}, {1548, 1540}, {1920, 1540}, {23, 15, 50, 70}},
    {"w360h504", "5x7", {460.8, 513.12}, {1548, 2138}, {1920, 2138}, {20, 20, 50, 70}},
    {"w288h432", "6x4", {460.8, 297.6}, {1844, 1240}, {1920, 1240}, {25, 18, 50, 70}},
    {"w288h432-div2", "6x2*2", {460.8, 585.6}, {1844, 1240}, {1920, 1240}, {25, 18, 9, 37}},
    {"w432h576-div2", "6x4*2", {460.8, 599.6}, {1844, 2436}, {1920, 2498}, {0, 0, 0, 0}},
    {"w432h576-div4", "6x2*4", {460.8, 585.64}, {1844, 2436}, {1920, 2436}, {22, 17, 50, 70}},
    {"w432h432", "6x6", {440.64, 460.8}, {1844, 1836}, {1920, 1836}, {20, 15, 50, 70}},
    {"w432h576", "6x8", {460.8, 584.64}, {1844, 2436}, {1920, 2436}, {23, 12, 50, 70}},
    {"default", "default", {0, 0}, {1844, 1240}, {1920, 1240}, {0, 0, 0, 0}},
};

TEST(PaperTable, HoldsThePrintersNumbersInTheirOrder) {
  ASSERT_EQ(paper_sizes.size(), std::size(kExpectedPapers));
  for (std::size_t row = 0; row < paper_sizes.size(); ++row) {
    const PaperConfig& paper = paper_sizes[row];
    const ExpectedPaper& expected = kExpectedPapers[row];
    SCOPED_TRACE(expected.ppd_name);
    EXPECT_STREQ(paper.ppd_name, expected.ppd_name);
    EXPECT_STREQ(paper.label, expected.label);
    EXPECT_EQ(paper.page_width_pt, static_cast<float>(expected.page[0]));
    EXPECT_EQ(paper.page_height_pt, static_cast<float>(expected.page[1]));
    EXPECT_EQ(paper.target_width, expected.target[0]);
    EXPECT_EQ(paper.target_height, expected.target[1]);
    EXPECT_EQ(paper.canvas_width, expected.canvas[0]);
    EXPECT_EQ(paper.canvas_height, expected.canvas[1]);
    EXPECT_EQ(paper.bleed_top, expected.bleed[0]);
    EXPECT_EQ(paper.bleed_bottom, expected.bleed[1]);
    EXPECT_EQ(paper.bleed_left, expected.bleed[2]);
    EXPECT_EQ(paper.bleed_right, expected.bleed[3]);
  }
}

TEST(PaperTable, PageSizesAreSinglePrecision) {
  EXPECT_EQ(static_cast<double>(paper_sizes[0].page_width_pt), 460.79998779296875);
}

TEST(PaperTable, EveryPaperButTheFallbackCanBeSelected) {
  EXPECT_EQ(selectable_papers.size(), 9U);
  EXPECT_STREQ(selectable_papers.back().ppd_name, "w432h576");
}

TEST(PaperByPpdName, FindsEveryRowByItsOwnName) {
  for (const PaperConfig& paper : selectable_papers) {
    EXPECT_EQ(find_paper_by_ppd_name(paper.ppd_name), &paper) << paper.ppd_name;
  }
}

TEST(PaperByPpdName, MatchesTheWholeNameAndItsCase) {
  EXPECT_EQ(find_paper_by_ppd_name("b7"), nullptr);
  EXPECT_EQ(find_paper_by_ppd_name("W432H576"), nullptr);
  EXPECT_EQ(find_paper_by_ppd_name("w432h57"), nullptr);
  EXPECT_EQ(find_paper_by_ppd_name("w432h576 "), nullptr);
  EXPECT_EQ(find_paper_by_ppd_name("w432h576-div"), nullptr);
}

TEST(PaperByPpdName, KnowsNoLabelsAndNoFallback) {
  EXPECT_EQ(find_paper_by_ppd_name("6x8"), nullptr);
  EXPECT_EQ(find_paper_by_ppd_name("default"), nullptr);
}

TEST(PaperByPpdName, NullAndEmptyNamesMatchNothing) {
  EXPECT_EQ(find_paper_by_ppd_name(nullptr), nullptr);
  EXPECT_EQ(find_paper_by_ppd_name(""), nullptr);
}

TEST(PaperByAnyName, FindsEveryRowByBothOfItsNames) {
  for (const PaperConfig& paper : selectable_papers) {
    EXPECT_EQ(find_paper_by_any_name(paper.ppd_name), &paper) << paper.ppd_name;
    EXPECT_EQ(find_paper_by_any_name(paper.label), &paper) << paper.label;
  }
}

TEST(PaperByAnyName, DoesNotOfferTheFallback) {
  EXPECT_EQ(find_paper_by_any_name("default"), nullptr);
}

TEST(PaperByAnyName, NullEmptyAndMisspeltNamesMatchNothing) {
  EXPECT_EQ(find_paper_by_any_name(nullptr), nullptr);
  EXPECT_EQ(find_paper_by_any_name(""), nullptr);
  EXPECT_EQ(find_paper_by_any_name("6X4"), nullptr);
  EXPECT_EQ(find_paper_by_any_name("6x4 "), nullptr);
  EXPECT_EQ(find_paper_by_any_name("4x6"), nullptr);
}

TEST(PaperBySize, SizesThatAreAloneFindTheirRow) {
  EXPECT_EQ(name_of(find_paper_by_size(460.8F, 261.12F)), "B7");
  EXPECT_EQ(name_of(find_paper_by_size(460.8F, 369.6F)), "w360h360");
  EXPECT_EQ(name_of(find_paper_by_size(460.8F, 513.12F)), "w360h504");
  EXPECT_EQ(name_of(find_paper_by_size(460.8F, 297.6F)), "w288h432");
  EXPECT_EQ(name_of(find_paper_by_size(460.8F, 599.6F)), "w432h576-div2");
  EXPECT_EQ(name_of(find_paper_by_size(440.64F, 460.8F)), "w432h432");
}

TEST(PaperBySize, ThreePapersOfNearlyOneSizeAllGiveTheFirstOfThem) {
  EXPECT_EQ(name_of(find_paper_by_size(460.8F, 585.6F)), "w288h432-div2");
  EXPECT_EQ(name_of(find_paper_by_size(460.8F, 585.64F)), "w288h432-div2");
  EXPECT_EQ(name_of(find_paper_by_size(460.8F, 584.64F)), "w288h432-div2");
}

TEST(PaperBySize, BothRoundingsOfAPageSizeFindThePaper) {
  EXPECT_EQ(name_of(find_paper_by_size(461, 298)), "w288h432");
  EXPECT_EQ(name_of(find_paper_by_size(460, 297)), "w288h432");
}

TEST(PaperBySize, TurnedPagesFindThePaperToo) {
  EXPECT_EQ(name_of(find_paper_by_size(297, 461)), "w288h432");
  EXPECT_EQ(name_of(find_paper_by_size(585, 461)), "w288h432-div2");
  EXPECT_EQ(name_of(find_paper_by_size(461, 441)), "w432h432");
}

// 460.8F + 5 and 297.6F + 5 are exact in single precision (same binade, whole steps), so these are
// the bounds themselves and the next numbers beyond them.
TEST(PaperBySize, FivePointsMoreStillMatchAndTheNextNumberDoesNot) {
  const float width = 460.8F + 5.0F;
  const float height = 297.6F + 5.0F;
  EXPECT_EQ(name_of(find_paper_by_size(width, height)), "w288h432");
  EXPECT_EQ(name_of(find_paper_by_size(std::nextafter(width, kInfinity), height)), "(none)");
  EXPECT_EQ(name_of(find_paper_by_size(width, std::nextafter(height, kInfinity))), "(none)");
}

TEST(PaperBySize, FivePointsLessStillMatchAndTheNextNumberDoesNot) {
  const float width = 460.8F - 5.0F;
  const float height = 297.6F - 5.0F;
  EXPECT_EQ(name_of(find_paper_by_size(width, height)), "w288h432");
  EXPECT_EQ(name_of(find_paper_by_size(std::nextafter(width, 0.0F), height)), "(none)");
  EXPECT_EQ(name_of(find_paper_by_size(width, std::nextafter(height, 0.0F))), "(none)");
}

TEST(PaperBySize, TheBoundsHoldForTurnedPagesAsWell) {
  const float width = 297.6F + 5.0F;
  const float height = 460.8F - 5.0F;
  EXPECT_EQ(name_of(find_paper_by_size(width, height)), "w288h432");
  EXPECT_EQ(name_of(find_paper_by_size(std::nextafter(width, kInfinity), height)), "(none)");
  EXPECT_EQ(name_of(find_paper_by_size(width, std::nextafter(height, 0.0F))), "(none)");
}

TEST(PaperBySize, OneFittingSideIsNotEnough) {
  EXPECT_EQ(find_paper_by_size(461, 400), nullptr);
  EXPECT_EQ(find_paper_by_size(400, 298), nullptr);
}

TEST(PaperBySize, NothingIsNeverTheFallback) {
  EXPECT_EQ(find_paper_by_size(0, 0), nullptr);
  EXPECT_EQ(find_paper_by_size(3, 3), nullptr);
  EXPECT_EQ(find_paper_by_size(4294967295.0F, 4294967295.0F), nullptr);
}

}  // namespace
