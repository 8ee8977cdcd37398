// The visible area of each paper, computed by hand from the paper's canvas and bleeds.

#include "paper/physical_size.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<VisibleArea> areas_of(const char* ppd_name) {
  const VisibleAreas areas = visible_areas(*find_paper_by_ppd_name(ppd_name));
  return {areas.begin(), areas.end()};
}

// The visible area, the same in hundredths of an inch, and the paper in points.
TEST(PhysicalSize, OfEveryPaperIsCanvasWithoutBleedsAndItsLabelInPoints) {
  const struct {
    const char* name;
    VisibleArea area;
    std::pair<int, int> inches;
    std::pair<double, double> points;
  } papers[] = {
      {"B7", {50, 20, 1800, 1053}, {500, 351}, {360, 252}},
      {"w360h360", {50, 23, 1800, 1502}, {500, 500}, {360, 360}},
      {"w360h504", {50, 20, 1800, 2098}, {500, 699}, {360, 504}},
      {"w288h432", {50, 25, 1800, 1197}, {600, 399}, {432, 288}},
      // The bleeds of this paper show a quarter of an inch more.
      {"w288h432-div2", {9, 25, 1874, 1197}, {624, 399}, {432, 288}},
      {"w432h576-div2", {50, 20, 1800, 1197}, {600, 399}, {432, 576}},
      {"w432h576-div4", {50, 22, 1800, 2397}, {600, 799}, {432, 576}},
      {"w432h432", {50, 20, 1800, 1801}, {600, 600}, {432, 432}},
      {"w432h576", {50, 23, 1800, 2401}, {600, 800}, {432, 576}},
  };
  for (const auto& [name, area, inches, expected_points] : papers) {
    SCOPED_TRACE(name);
    const PaperConfig& paper = *find_paper_by_ppd_name(name);
    const std::vector<VisibleArea> areas = areas_of(name);
    EXPECT_EQ(areas.front(), area);
    EXPECT_EQ(areas.size(), std::string(name) == "w432h576-div2" ? 2U : 1U);
    EXPECT_EQ(std::pair(area.width * 100 / dots_per_inch_across(paper),
                        area.height * 100 / kDotsPerInchDown),
              inches);
    const PaperPoints points = paper_points(paper);
    EXPECT_EQ(std::pair(points.across, points.down), expected_points);
  }
}

// The page loop puts rows 5 to 1239 of the upper page on rows 0 to 1234 of the sheet and the lower
// page on rows 1253 to 2492; rows 25 to 1221 of each are visible.
TEST(PhysicalSize, SharedSheetShowsTheLowerPageWhereThePageLoopPutsIt) {
  EXPECT_EQ(areas_of("w432h576-div2").back(), (VisibleArea{50, 1278, 1800, 1197}));
}

}  // namespace
