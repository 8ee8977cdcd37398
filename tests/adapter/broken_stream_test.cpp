// Truncated streams, and input that is not raster data: the filter must report the same as without
// the adapter.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/adapter/adapted_job.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kNoRaster[] = "K905-1: cupsRasterOpen failed (no raster data from upstream).";
constexpr char kEnd[] = "=== rastertok905 end ===";

TEST(BrokenStream, EmptyInputIsReported) {
  const AdapterResult result = run_adapted({.input = ""});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.log, Contains(kNoRaster));
}

TEST(BrokenStream, OtherDataIsReported) {
  const AdapterResult result = run_adapted({.input = "%PDF-1.4 and more of it"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.log, Contains(kNoRaster));
}

TEST(BrokenStream, WithoutPagesSucceeds) {
  const AdapterResult result = run_adapted({.input = raw_raster_stream({})});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.log, Contains(kEnd));
  EXPECT_TRUE(result.sheets.empty());
}

TEST(BrokenStream, PageCutInTheMiddleIsReportedAndNotPrinted) {
  const RasterPage page = white_page(432, 288, 1800, 1200);
  std::string stream = raw_raster_stream({page, page});
  stream.resize(stream.size() - std::size_t{5400} * 200);
  const AdapterResult result = run_adapted({.input = stream});
  EXPECT_EQ(result.sheets.size(), 1U);
  EXPECT_THAT(result.log, Contains(HasSubstr("cupsRasterReadPixels failed at line")));
  EXPECT_THAT(result.log, Contains("K905-1: build_planes_resampled failed, abort page 2"));
}

// The last two rows are cropped anyway; a page that lacks only one of them still counts as
// truncated.
TEST(BrokenStream, PageWithoutItsLastRowIsNotPrinted) {
  std::string stream = raw_raster_stream({white_page(432, 288, 1800, 1200)});
  stream.resize(stream.size() - 5400);
  const AdapterResult result = run_adapted({.input = stream});
  EXPECT_TRUE(result.sheets.empty());
  EXPECT_THAT(result.log, Contains("K905-1: build_planes_resampled failed, abort page 1"));
}

TEST(BrokenStream, PortraitPageCutInTheMiddleIsNotPrinted) {
  std::string stream = raw_raster_stream({white_page(288, 432, 1200, 1800)});
  stream.resize(stream.size() / 2);
  const AdapterResult result = run_adapted({.input = stream});
  EXPECT_TRUE(result.sheets.empty());
  EXPECT_THAT(result.log, Contains("K905-1: build_planes_resampled failed, abort page 1"));
}

TEST(BrokenStream, RefusedHeaderIsReported) {
  RasterPage refused = white_page(432, 288, 1800, 1200);
  refused.header.cupsBytesPerLine = 0;
  const AdapterResult result =
      run_adapted({.input = raw_raster_stream({white_page(432, 288, 1800, 1200), refused})});
  EXPECT_EQ(result.sheets.size(), 1U);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.log, Contains("K905-1: Raster page header refused, the rest of the job is not "
                                   "printed"));
}

TEST(BrokenStream, UnsupportedFormatIsReportedByTheFilter) {
  RasterPage page = blank_page(page_header(100, 80, 4, 16));
  const AdapterResult result = run_adapted({.input = raster_stream({page})});
  EXPECT_THAT(result.log, Contains("K905-1: Unsupported color format: colors=4, bits=16"));
}

TEST(BrokenStream, OtherByteOrderIsRead) {
  RasterPage page = white_page(432, 288, 1800, 1200);
  std::fill(page.pixels.begin(), page.pixels.end(), 77);
  const AdapterResult result = run_adapted({.input = raw_raster_stream({page}, true)});
  ASSERT_EQ(result.sheets.size(), 1U);
  EXPECT_EQ(result.sheets[0].at(960, 600), (Color{77, 77, 77}));
}

TEST(BrokenStream, LinesLongerThanTheirPixelsAreRead) {
  RasterPage page = white_page(432, 288, 1800, 1200);
  page.header.cupsBytesPerLine += 9;
  page.pixels.assign(std::size_t{page.header.cupsBytesPerLine} * 1200, 77);
  const AdapterResult result = run_adapted({.input = raw_raster_stream({page})});
  ASSERT_EQ(result.sheets.size(), 1U);
  EXPECT_EQ(result.sheets[0].at(960, 600), (Color{77, 77, 77}));
}

}  // namespace
