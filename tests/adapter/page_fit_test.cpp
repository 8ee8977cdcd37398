// The position of a page on the sheet. true_pages_test.cpp tests every paper and resolution with
// the filter itself.
#include "apps/adapter/page_fit.h"

#include <gtest/gtest.h>

namespace k905 {
namespace {

SheetPlace place_of(const char* paper, const char* resolution = "300dpi") {
  return sheet_place({{"PageSize", paper}, {"Resolution", resolution}});
}

DrawnPage page_of(std::uint32_t width, std::uint32_t height, double dpi = 300) {
  return {.width = width,
          .height = height,
          .dpi_across = dpi,
          .dpi_down = dpi,
          .page_across = double{1.0} * width,
          .page_down = double{1.0} * height};
}

PageFit fitted(const DrawnPage& page, const SheetPlace& place,
               Scaling scaling = Scaling::automatic) {
  return fit_page(page, place, scaling);
}

TEST(PageFit, PageOfThePapersSizeIsExactInBothDirections) {
  const PageFit fit = fitted(page_of(1800, 1200), place_of("w288h432"));
  EXPECT_EQ(fit.rotation, PageFit::Rotation::none);
  EXPECT_TRUE(fit.columns.is_exact());
  EXPECT_TRUE(fit.rows.is_exact());
  EXPECT_EQ(fit.columns.size(), 1844U);
  EXPECT_EQ(fit.rows.size(), 1240U);
}

TEST(PageFit, RotatesOnlyPagesWithTheOtherOrientation) {
  EXPECT_EQ(fitted(page_of(1200, 1800), place_of("w288h432")).rotation,
            PageFit::Rotation::by_filter);
  EXPECT_EQ(fitted(page_of(1800, 2400), place_of("w432h576")).rotation, PageFit::Rotation::none);
  EXPECT_EQ(fitted(page_of(2400, 1800), place_of("w432h576")).rotation,
            PageFit::Rotation::by_filter);
  EXPECT_EQ(fitted(page_of(1200, 1800), place_of("w432h432")).rotation, PageFit::Rotation::none);
  EXPECT_EQ(fitted(page_of(1500, 1500), place_of("w288h432")).rotation, PageFit::Rotation::none);
}

// A page that the filter rotates is mapped unrotated: its columns are the rows of the sheet.
TEST(PageFit, PageThatTheFilterRotatesHasItsSidesExchanged) {
  const PageFit fit = fitted(page_of(1200, 1800), place_of("w288h432"));
  EXPECT_EQ(fit.columns.size(), 1240U);
  EXPECT_EQ(fit.rows.size(), 1844U);
  EXPECT_TRUE(fit.columns.is_exact());
  EXPECT_TRUE(fit.rows.is_exact());
}

TEST(PageFit, PortraitPageAt600DpiIsRotatedBeforeTheFilter) {
  const PageFit fit = fitted(page_of(1200, 1800), place_of("w288h432", "300x600dpi"));
  EXPECT_EQ(fit.rotation, PageFit::Rotation::before_mapping);
  EXPECT_EQ(fit.columns.size(), 1844U);
}

TEST(PageFit, FineResolutionScalesOnlyVertically) {
  const PageFit fit = fitted(page_of(1800, 1200), place_of("w288h432", "300x600dpi"));
  EXPECT_TRUE(fit.columns.is_exact());
  EXPECT_FALSE(fit.rows.is_exact());
}

TEST(PageFit, FiveInchPapersScaleOnlyHorizontally) {
  const PageFit fit = fitted(page_of(1500, 2100), place_of("w360h504"));
  EXPECT_FALSE(fit.columns.is_exact());
  EXPECT_TRUE(fit.rows.is_exact());
}

TEST(PageFit, SheetOfTwoPagesHasAFrameForEach) {
  const SheetPlace place = place_of("w432h576-div2");
  ASSERT_EQ(place.frames.size(), 2U);
  EXPECT_EQ(place.frames[0].left, 70);  // 1920 - 50 - 1800, from the front
  EXPECT_EQ(place.frames[0].top, 20);
  EXPECT_EQ(place.frames[1].top, 1278);
  EXPECT_EQ(place.frames[1].height, 1197);
}

// A row of the fine resolution is half as high, but the bleeds keep their number of rows: 25 rows
// more at the top and 18 more at the bottom are visible than the paper has.
TEST(PageFit, FrameOfTheFineResolutionIsThePaper) {
  const SheetPlace place = place_of("w288h432", "300x600dpi");
  ASSERT_EQ(place.frames.size(), 1U);
  EXPECT_EQ(place.frames[0].top, 25);
  EXPECT_EQ(place.frames[0].height, 2394);
  EXPECT_EQ(place.visible_height, 2437U);
}

TEST(PageFit, BleedsOfTheUserMoveTheFrame) {
  const SheetPlace place =
      sheet_place({{"PageSize", "w432h576-div2"}, {"BleedTop", "1.0"}, {"BleedLeft", "1.0"}});
  // Positions count from the visible area, which starts 12 rows and columns later: the first edge
  // of the frames keeps its number, all later positions are 12 smaller.
  EXPECT_EQ(place.frames[0].top, 20);
  EXPECT_EQ(place.frames[0].height, 1185);
  EXPECT_EQ(place.frames[1].top, 1266);
  EXPECT_EQ(place.frames[1].height, 1197);
  EXPECT_EQ(place.frames[0].width, 1788);
}

}  // namespace
}  // namespace k905
