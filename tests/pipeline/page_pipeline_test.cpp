// The results of build() and report_again() that the page loop uses.
#include "pipeline/page_pipeline.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "paper/paper_table.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"
#include "tests/support/raster_builder.h"

namespace {

class Pipeline : public ::testing::Test {
 protected:
  Pipeline() { current_options.paper_config = find_paper_by_ppd_name("B7"); }

  // A page of two colors: the left half is `left`, the right half is `right`.
  static RasterPage page(std::uint8_t left, std::uint8_t right, unsigned colors = 3) {
    RasterPage page = blank_page(smallest_page_header(20, 10, colors));
    for (std::size_t i = 0; i < page.pixels.size(); ++i) {
      page.pixels[i] = i % (20 * colors) < 10 * colors ? left : right;
    }
    return page;
  }

  // The log of building `stream`; the stream is cut by `cut` bytes.
  std::string build(std::string stream, bool expected, std::size_t cut = 0) {
    stream.resize(stream.size() - cut);
    const OpenRaster open(std::move(stream));
    header_ = open.header;
    return captured_log(
        [&] { EXPECT_EQ(pipeline_.build(header_, open.raster(), sheet_), expected); });
  }

  EnvironmentGuard ppd_{"PPD", ""};
  SettingsGuard settings_;
  PagePipeline pipeline_;
  SheetImage sheet_;
  cups_page_header2_t header_ = {};
};

TEST_F(Pipeline, BuildsASheetOfThePapersCanvas) {
  (void)build(raster_stream({page(10, 200)}), true);
  EXPECT_EQ(pipeline_.rows_read(), 10U);
  const PaperConfig& paper = *current_options.paper_config;
  ASSERT_EQ(sheet_.width, paper.canvas_width);
  ASSERT_EQ(sheet_.height, paper.canvas_height);
  const auto width = static_cast<std::size_t>(sheet_.width);
  const std::uint8_t* row = sheet_.planes.plane[1].get() + 500 * width;
  EXPECT_EQ(row[0], 255) << "the bleed is white";
  EXPECT_EQ(row[width / 4], 200) << "mirrored: right comes first";
  EXPECT_EQ(row[width - width / 4], 10);
}

TEST_F(Pipeline, PageReportedAgainHasTheSameLog) {
  const std::string log = build(raster_stream({page(10, 200)}), true);
  EXPECT_EQ(captured_log([&] { EXPECT_TRUE(pipeline_.report_again(header_, sheet_)); }), log);
}

TEST_F(Pipeline, IncompletePageGivesNoSheetAndIsReportedWithItsLine) {
  const std::string log = build(raster_stream({page(10, 200)}), false, 3 * 60 + 1);
  EXPECT_NE(log.find("K905-1: cupsRasterReadPixels failed at line 6\n"), std::string::npos) << log;
  EXPECT_EQ(pipeline_.rows_read(), 6U);
  EXPECT_EQ(sheet_.planes.plane[0], nullptr);
  EXPECT_EQ(captured_log([&] { EXPECT_FALSE(pipeline_.report_again(header_, sheet_)); }), log);
}

TEST_F(Pipeline, LinesOfAnUnsupportedFormatAreReportedAgain) {
  RasterPage two_colors = page(1, 2, 2);
  const std::string log = build(raw_raster_stream({two_colors}), true);
  EXPECT_NE(log.find("K905-1: Unsupported color format: colors=2, bits=8\n"), std::string::npos);
  EXPECT_EQ(captured_log([&] { EXPECT_TRUE(pipeline_.report_again(header_, sheet_)); }), log);
}

TEST_F(Pipeline, PageThatIsNotReadLeavesItsLinesInTheStream) {
  OpenRaster open(raster_stream({page(10, 200)}));
  cups_page_header2_t huge = open.header;
  huge.cupsHeight = 0x7FFFFFFF;
  captured_log([&] { EXPECT_FALSE(pipeline_.build(huge, open.raster(), sheet_)); });
  EXPECT_EQ(pipeline_.rows_read(), 0U);
  captured_log([&] { EXPECT_TRUE(pipeline_.build(open.header, open.raster(), sheet_)); });
  EXPECT_EQ(pipeline_.rows_read(), 10U);
}

TEST_F(Pipeline, SinglePageGivesItsPlanesToTheCaller) {
  (void)build(raster_stream({page(10, 200)}), true);
  const OpenRaster open(raster_stream({page(10, 200)}));
  std::uint8_t* planes[3] = {};
  captured_log([&] {
    EXPECT_EQ(k905_build_planes_resampled(&open.header, open.raster(), &planes[0], &planes[1],
                                          &planes[2]),
              0);
  });
  const auto bytes =
      static_cast<std::size_t>(sheet_.width) * static_cast<std::size_t>(sheet_.height);
  for (std::size_t i = 0; i < 3; ++i) {
    ASSERT_NE(planes[i], nullptr);
    EXPECT_EQ(std::memcmp(planes[i], sheet_.planes.plane[i].get(), bytes), 0);
    std::free(planes[i]);
  }
}

TEST_F(Pipeline, SinglePageThatFailsStoresNothing) {
  const OpenRaster open(raster_stream({page(10, 200)}));
  cups_page_header2_t empty = open.header;
  empty.cupsWidth = 0;
  std::uint8_t* planes[3] = {};
  captured_log([&] {
    EXPECT_EQ(
        k905_build_planes_resampled(&empty, open.raster(), &planes[0], &planes[1], &planes[2]), -1);
  });
  EXPECT_EQ(planes[0], nullptr);
  EXPECT_EQ(planes[2], nullptr);
}

}  // namespace
