// Pages that contain only a part of the sheet, as filters for photos send them.
#include <gtest/gtest.h>

#include "tests/adapter/adapted_job.h"

namespace {

// A dark raster on a portrait 6x4 page; the bounding box is in whole points from the lower left, as
// in the header.
RasterPage part_of_page(unsigned width, unsigned height, float left, float bottom, float right,
                        float top) {
  RasterPage page = white_page(288, 432, width, height);
  std::fill(page.pixels.begin(), page.pixels.end(), 0x00);
  const float box[4] = {left, bottom, right, top};
  std::copy(std::begin(box), std::end(box), page.header.cupsImagingBBox);
  return page;
}

Box box_of(const RasterPage& page) {
  const AdapterResult result =
      run_adapted({.input = raster_stream({page}), .options = "PageSize=w288h432"});
  EXPECT_EQ(result.sheets.size(), 1U);
  return result.sheets.empty() ? Box{} : dark_box(result.sheets.front());
}

// A 4:1 panorama that fits the page: 1200 x 300 in the center of 1200 x 1800, rotated clockwise.
TEST(PartialPage, InTheMiddleKeepsItsShapeAndIsCenteredToThePixel) {
  const Box box = box_of(part_of_page(1200, 300, 0, 180, 288, 252));
  EXPECT_EQ(box.left, 70U + 750U);
  EXPECT_EQ(box.right, 70U + 1050U);
  EXPECT_EQ(box.top, 25U);
  EXPECT_EQ(box.bottom, 1222U);
}

// Rounding the box to whole points does not move the photo.
TEST(PartialPage, IsCenteredWhenItsBoxIsRoundedToPoints) {
  // 1198 x 298 pixels are 287.5 x 71.5 points.
  const Box box = box_of(part_of_page(1198, 298, 0, 180, 287, 251));
  EXPECT_EQ(box.left, 70U + 751U);
  EXPECT_EQ(box.width(), 298);
}

TEST(PartialPage, StaysInItsCorner) {
  // One inch square, an inch from the left, two from the bottom of the portrait page. After a
  // clockwise rotation the left side of the page is at the top and its bottom is on the left.
  const Box box = box_of(part_of_page(300, 300, 72, 144, 144, 216));
  EXPECT_EQ(box.left, 70U + 600U);
  EXPECT_EQ(box.right, 70U + 900U);
  EXPECT_EQ(box.top, 25U + 299U);  // 300 less the row that is cropped
  EXPECT_EQ(box.bottom, 25U + 599U);
}

TEST(PartialPage, OnAPortraitPaperStaysWhereItIs) {
  RasterPage page = white_page(432, 576, 600, 300);
  std::fill(page.pixels.begin(), page.pixels.end(), 0x00);
  const float box[4] = {72, 432, 216, 504};  // an inch from the left and from the top
  std::copy(std::begin(box), std::end(box), page.header.cupsImagingBBox);
  const AdapterResult result =
      run_adapted({.input = raster_stream({page}), .options = "PageSize=w432h576"});
  ASSERT_EQ(result.sheets.size(), 1U);
  const Box seen = dark_box(result.sheets.front());
  EXPECT_EQ(seen.left, 70U + 300U);
  EXPECT_EQ(seen.right, 70U + 900U);
  EXPECT_EQ(seen.top, 23U + 301U);  // one row is repeated at the top
  EXPECT_EQ(seen.bottom, 23U + 601U);
}

}  // namespace
