// What of each paper is visible, in numbers worked out by hand from the paper's canvas and bleeds.

#include "paper/physical_size.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<VisibleArea> areas_of(const char* ppd_name) {
  const VisibleAreas areas = visible_areas(*find_paper_by_ppd_name(ppd_name));
  return {areas.begin(), areas.end()};
}

std::vector<VisibleArea> area(int left, int top, int width, int height) {
  return {{.left = left, .top = top, .width = width, .height = height}};
}

TEST(PhysicalSize, VisibleAreaIsCanvasWithoutBleeds) {
  EXPECT_EQ(areas_of("B7"), area(50, 20, 1800, 1053));
  EXPECT_EQ(areas_of("w360h360"), area(50, 23, 1800, 1502));
  EXPECT_EQ(areas_of("w360h504"), area(50, 20, 1800, 2098));
  EXPECT_EQ(areas_of("w288h432"), area(50, 25, 1800, 1197));
  EXPECT_EQ(areas_of("w288h432-div2"), area(9, 25, 1874, 1197));
  EXPECT_EQ(areas_of("w432h576-div4"), area(50, 22, 1800, 2397));
  EXPECT_EQ(areas_of("w432h432"), area(50, 20, 1800, 1801));
  EXPECT_EQ(areas_of("w432h576"), area(50, 23, 1800, 2401));
}

// The page loop puts rows 5 to 1239 of the upper page on rows 0 to 1234 of the sheet and the lower
// page on rows 1253 to 2492; rows 25 to 1221 of each are visible.
TEST(PhysicalSize, SharedSheetShowsTwoPagesWhereThePageLoopPutsThem) {
  EXPECT_EQ(areas_of("w432h576-div2"),
            (std::vector<VisibleArea>{{.left = 50, .top = 20, .width = 1800, .height = 1197},
                                      {.left = 50, .top = 1278, .width = 1800, .height = 1197}}));
}

// Width and height of the whole visible area in hundredths of an inch, next to the label.
TEST(PhysicalSize, VisibleAreaIsThePaperThatTheLabelNames) {
  const auto inches = [](const char* name) {
    const PaperConfig& paper = *find_paper_by_ppd_name(name);
    const VisibleArea visible = areas_of(name).front();
    return std::pair<int, int>(visible.width * 100 / dots_per_inch_across(paper),
                               visible.height * 100 / kDotsPerInchDown);
  };
  EXPECT_EQ(inches("B7"), std::pair(500, 351));
  EXPECT_EQ(inches("w360h360"), std::pair(500, 500));
  EXPECT_EQ(inches("w360h504"), std::pair(500, 699));
  EXPECT_EQ(inches("w288h432"), std::pair(600, 399));
  EXPECT_EQ(inches("w432h576-div2"), std::pair(600, 399));
  EXPECT_EQ(inches("w432h576-div4"), std::pair(600, 799));
  EXPECT_EQ(inches("w432h432"), std::pair(600, 600));
  EXPECT_EQ(inches("w432h576"), std::pair(600, 800));
  // The bleeds of this paper leave a quarter of an inch more.
  EXPECT_EQ(inches("w288h432-div2"), std::pair(624, 399));
}

TEST(PhysicalSize, PaperIsTheInchesOfItsLabelWithAllItsParts) {
  const auto points = [](const char* name) {
    const PaperPoints paper = paper_points(*find_paper_by_ppd_name(name));
    return std::pair(paper.across, paper.down);
  };
  EXPECT_EQ(points("B7"), std::pair(360.0, 252.0));
  EXPECT_EQ(points("w360h360"), std::pair(360.0, 360.0));
  EXPECT_EQ(points("w360h504"), std::pair(360.0, 504.0));
  EXPECT_EQ(points("w288h432"), std::pair(432.0, 288.0));
  EXPECT_EQ(points("w288h432-div2"), std::pair(432.0, 288.0));
  EXPECT_EQ(points("w432h576-div2"), std::pair(432.0, 576.0));
  EXPECT_EQ(points("w432h576-div4"), std::pair(432.0, 576.0));
  EXPECT_EQ(points("w432h432"), std::pair(432.0, 432.0));
  EXPECT_EQ(points("w432h576"), std::pair(432.0, 576.0));
}

}  // namespace
