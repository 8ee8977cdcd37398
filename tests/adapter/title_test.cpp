// The title of a document does not change settings.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/adapter/adapted_job.h"

namespace {

using ::testing::Contains;

AdapterResult red_page_titled(const std::string& title) {
  RasterPage page = white_page(432, 288, 1800, 1200);
  for (unsigned y = 0; y < 1200; ++y) {
    for (unsigned x = 0; x < 1800; ++x) set_pixel(page, x, y, {200, 40, 40});
  }
  return run_adapted({.input = raster_stream({page}), .title = title});
}

TEST(Title, LookingLikeASettingChangesNoColor) {
  const AdapterResult result = red_page_titled("StpSaturation=-1000");
  ASSERT_EQ(result.sheets.size(), 1U);
  EXPECT_EQ(result.sheets[0].at(960, 600), (Color{200, 40, 40}));
}

TEST(Title, LookingLikeAFlagMakesNoCopies) {
  // The argument after the title is the number of copies.
  RasterPage page = white_page(432, 288, 1800, 1200);
  const AdapterResult result =
      run_adapted({.input = raster_stream({page}), .title = "--copies", .copies = "5"});
  EXPECT_EQ(result.sheets.size(), 1U);
}

TEST(Title, ReplacedBeforeTheFilterIsLogged) {
  EXPECT_THAT(red_page_titled("StpSaturation=-1000").log,
              Contains("DEBUG: rastertok905job: title: StpSaturation=-1000"));
}

TEST(Title, WithoutASettingReachesTheFilterUnchanged) {
  EXPECT_THAT(red_page_titled("My - holiday, 2nd").log, Contains("  [3]: My - holiday, 2nd"));
}

}  // namespace
