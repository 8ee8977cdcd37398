// Pages of the paper's size are printed undistorted and in the correct position. All positions are
// computed by hand from the canvases and bleeds of the papers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "tests/adapter/adapted_job.h"

namespace {

using ::testing::AllOf;
using ::testing::Ge;
using ::testing::Le;

// The white margins of the sheet as seen from the front, its number of visible rows, and the dots
// per inch from left to right.
struct Paper {
  const char* option;  // PageSize
  float across_pt;
  float down_pt;
  unsigned left;
  unsigned right;
  unsigned top;
  unsigned visible_rows;
  double dpi_across;
};

// The printer prints the back of the image: left is the right bleed of the paper table, and right
// the left one.
constexpr Paper kPapers[] = {
    {"B7", 360, 252, 70, 50, 20, 1053, 360},
    {"w360h360", 360, 360, 70, 50, 23, 1502, 360},
    {"w360h504", 360, 504, 70, 50, 20, 2098, 360},
    {"w288h432", 432, 288, 70, 50, 25, 1197, 300},
    {"w288h432-div2", 432, 288, 37, 9, 25, 1197, 300},
    {"w432h576-div2", 432, 576, 70, 50, 20, 2455, 300},
    {"w432h576-div4", 432, 576, 70, 50, 22, 2397, 300},
    {"w432h432", 432, 432, 70, 50, 20, 1801, 300},
    {"w432h576", 432, 576, 70, 50, 23, 2401, 300},
};

unsigned pixels(float points, unsigned dpi) {
  return static_cast<unsigned>(std::lround(double{points} * dpi / 72));
}

RasterPage page_of(const Paper& paper, unsigned dpi = 300, unsigned dpi_down = 300) {
  return white_page(paper.across_pt, paper.down_pt, pixels(paper.across_pt, dpi),
                    pixels(paper.down_pt, dpi_down), dpi, dpi_down);
}

// Landscape, if the paper is not square.
RasterPage rotated_page_of(const Paper& paper) {
  return white_page(paper.down_pt, paper.across_pt, pixels(paper.down_pt, 300),
                    pixels(paper.across_pt, 300));
}

std::string option(const Paper& paper, const std::string& more = "") {
  return std::string("PageSize=") + paper.option + " " + more;
}

VisibleSheet only_sheet(const RasterPage& page, const std::string& options) {
  AdapterResult result = run_adapted({.input = raster_stream({page}), .options = options});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.sheets.size(), 1U);
  return result.sheets.empty() ? VisibleSheet{} : result.sheets.front();
}

void fill_box(RasterPage& page, double left, double top, double width, double height) {
  for (unsigned y = 0; y < page.header.cupsHeight; ++y) {
    for (unsigned x = 0; x < page.header.cupsWidth; ++x) {
      const bool inside =
          x + 0.5 >= left && x + 0.5 < left + width && y + 0.5 >= top && y + 0.5 < top + height;
      if (inside) set_pixel(page, x, y, kBlack);
    }
  }
}

// In inches, so that it is a circle on paper at any resolution.
void fill_circle(RasterPage& page, double center_across_in, double center_down_in,
                 double diameter_in) {
  for (unsigned y = 0; y < page.header.cupsHeight; ++y) {
    for (unsigned x = 0; x < page.header.cupsWidth; ++x) {
      const double across = (x + 0.5) / page.header.HWResolution[0] - center_across_in;
      const double down = (y + 0.5) / page.header.HWResolution[1] - center_down_in;
      if (std::hypot(across, down) <= diameter_in / 2) set_pixel(page, x, y, kBlack);
    }
  }
}

TEST(TruePages, LandscapePhotoAppearsPixelByPixel) {
  RasterPage page = white_page(432, 288, 1800, 1200);
  number_pixels(page);
  const VisibleSheet sheet = only_sheet(page, "PageSize=w288h432");
  ASSERT_EQ(sheet.width, 1920U);
  ASSERT_EQ(sheet.height, 1240U);
  // 1200 rows on 1197: one is cropped at the top, two at the bottom.
  for (unsigned y = 0; y < 1197; ++y) {
    for (unsigned x = 0; x < 1800; ++x) {
      ASSERT_EQ(sheet.at(70 + x, 25 + y), pixel_of(page, x, y + 1)) << x << " " << y;
    }
  }
  EXPECT_EQ(sheet.at(69, 600), kWhite);
  EXPECT_EQ(sheet.at(1870, 600), kWhite);
  EXPECT_EQ(sheet.at(900, 24), kWhite);
  EXPECT_EQ(sheet.at(900, 1222), kWhite);
}

// As CUPS sends a landscape photo: rotated counterclockwise onto the portrait page.
TEST(TruePages, PortraitPageIsRotatedPixelByPixel) {
  RasterPage page = white_page(288, 432, 1200, 1800);
  number_pixels(page);
  const VisibleSheet sheet = only_sheet(page, "PageSize=w288h432");
  for (unsigned y = 0; y < 1197; ++y) {
    for (unsigned x = 0; x < 1800; ++x) {
      ASSERT_EQ(sheet.at(70 + x, 25 + y), pixel_of(page, y + 1, 1799 - x)) << x << " " << y;
    }
  }
}

TEST(TruePages, SixByEightPageAppearsPixelByPixel) {
  RasterPage page = white_page(432, 576, 1800, 2400);
  number_pixels(page);
  const VisibleSheet sheet = only_sheet(page, "PageSize=w432h576");
  // 2400 rows on 2401: the first one is repeated.
  for (unsigned y = 0; y < 2401; ++y) {
    for (unsigned x = 0; x < 1800; ++x) {
      ASSERT_EQ(sheet.at(70 + x, 23 + y), pixel_of(page, x, y == 0 ? 0 : y - 1)) << x << " " << y;
    }
  }
}

TEST(TruePages, PageOneePointOffThePapersSizeIsNotResampled) {
  RasterPage page = white_page(433, 288, 1804, 1200);
  number_pixels(page);
  const VisibleSheet sheet = only_sheet(page, "PageSize=w288h432");
  for (unsigned y = 0; y < 1197; ++y) {
    for (unsigned x = 0; x < 1800; ++x) {
      ASSERT_EQ(sheet.at(70 + x, 25 + y), pixel_of(page, x + 2, y + 1)) << x << " " << y;
    }
  }
}

class TruePagesOnEveryPaper : public ::testing::TestWithParam<Paper> {
 protected:
  // The bounding box of the circle on the sheet, in inches.
  static void expect_round(const VisibleSheet& sheet, double diameter_in, double rows_per_inch) {
    const Box box = dark_box(sheet);
    EXPECT_NEAR(box.width() / GetParam().dpi_across / diameter_in, 1.0, 0.005);
    EXPECT_NEAR(box.height() / rows_per_inch / diameter_in, 1.0, 0.005);
  }
};

// 800 pixels at 300 dpi. The center of the upper quarter is far from the cut of a shared sheet.
constexpr double kDiameterIn = 800.0 / 300;
double circle_center_in(const Paper& paper) {
  const bool two_pages = std::string(paper.option) == "w432h576-div2";
  return paper.down_pt / 72.0 / (two_pages ? 4 : 2);
}

TEST_P(TruePagesOnEveryPaper, CircleIsRoundAndInSizeAtEveryResolution) {
  const struct {
    unsigned dpi;
    unsigned dpi_down;
    const char* option;
    double rows_per_inch;
  } rasters[] = {{300, 300, "", 300},
                 {300, 600, "Resolution=300x600dpi", 600},
                 {200, 100, "", 300},
                 {600, 600, "", 300}};
  for (const auto& raster : rasters) {
    SCOPED_TRACE(raster.dpi_down);
    RasterPage page = page_of(GetParam(), raster.dpi, raster.dpi_down);
    fill_circle(page, GetParam().across_pt / 144.0, circle_center_in(GetParam()), kDiameterIn);
    expect_round(only_sheet(page, option(GetParam(), raster.option)), kDiameterIn,
                 raster.rows_per_inch);
  }
}

// 35 x 45 mm are 413.4 x 531.5 pixels of 1/300 inch.
TEST_P(TruePagesOnEveryPaper, PassportBoxIsWithinAPixel) {
  RasterPage page = page_of(GetParam());
  fill_box(page, 500, 200, 413, 531);
  const Box box = dark_box(only_sheet(page, option(GetParam())));
  EXPECT_NEAR(box.width() * 300 / GetParam().dpi_across, 413, 1.0);
  EXPECT_NEAR(box.height(), 531, 1.0);
}

TEST_P(TruePagesOnEveryPaper, PassportBoxOfARotatedPageIsWithinAPixel) {
  RasterPage page = rotated_page_of(GetParam());
  fill_box(page, 300, 200, 413, 531);
  const Box box = dark_box(only_sheet(page, option(GetParam())));
  const bool is_rotated = GetParam().across_pt != GetParam().down_pt;
  EXPECT_NEAR(box.width() * 300 / GetParam().dpi_across, is_rotated ? 531 : 413, 1.0);
  EXPECT_NEAR(box.height(), is_rotated ? 413 : 531, 1.0);
}

TEST_P(TruePagesOnEveryPaper, CircleOnARotatedPageIsRoundAt600Dpi) {
  RasterPage page = rotated_page_of(GetParam());
  // The upper half of a rotated page is on the left.
  fill_circle(page, circle_center_in(GetParam()), page.header.cupsHeight / 600.0, kDiameterIn);
  expect_round(only_sheet(page, option(GetParam(), "Resolution=300x600dpi")), kDiameterIn, 600);
}

TEST_P(TruePagesOnEveryPaper, CornerMarksAreInTheCorners) {
  RasterPage page = page_of(GetParam());
  const unsigned width = page.header.cupsWidth;
  const unsigned height = page.header.cupsHeight;
  const Color marks[4] = {{255, 0, 0}, {0, 255, 0}, {255, 255, 0}, {0, 0, 255}};
  constexpr unsigned kMark = 30;
  for (unsigned y = 0; y < kMark; ++y) {
    for (unsigned x = 0; x < kMark; ++x) {
      set_pixel(page, x, y, marks[0]);
      set_pixel(page, width - 1 - x, y, marks[1]);
      set_pixel(page, width - 1 - x, height - 1 - y, marks[2]);
      set_pixel(page, x, height - 1 - y, marks[3]);
    }
  }
  const Paper& paper = GetParam();
  const VisibleSheet sheet = only_sheet(page, option(paper));
  const unsigned right = 1920 - paper.right - 1;
  const unsigned bottom = paper.top + paper.visible_rows - 1;
  EXPECT_EQ(sheet.at(paper.left, paper.top), marks[0]);
  EXPECT_EQ(sheet.at(right, paper.top), marks[1]);
  EXPECT_EQ(sheet.at(right, bottom), marks[2]);
  EXPECT_EQ(sheet.at(paper.left, bottom), marks[3]);
  // On a sheet of two pages the filter repeats some rows and columns, also at the edges.
  EXPECT_EQ(sheet.at(paper.left - 2, paper.top), kWhite);
  EXPECT_EQ(sheet.at(paper.left, paper.top - 2), kWhite);
  EXPECT_EQ(sheet.at(right + 2, bottom), kWhite);
  EXPECT_EQ(sheet.at(right, bottom + 2), kWhite);
}

INSTANTIATE_TEST_SUITE_P(Papers, TruePagesOnEveryPaper, ::testing::ValuesIn(kPapers),
                         [](const auto& paper) {
                           std::string name = paper.param.option;
                           std::erase(name, '-');
                           return name;
                         });

// Rows 0 to 1199 of the page are the upper sheet, rows 1200 to 2399 the lower one, each cropped
// like any 6x4 sheet. The merge places their visible rows at 20 to 1216 and at 1278 to 2474.
TEST(TruePages, HalvesOfACutSheetAreTwoPages) {
  RasterPage page = white_page(432, 576, 1800, 2400);
  fill_box(page, 0, 0, 1800, 1200);
  const VisibleSheet sheet = only_sheet(page, "PageSize=w432h576-div2");
  const auto dark = [&](unsigned y) { return sheet.at(960, y)[1] < 128; };
  EXPECT_FALSE(dark(18));
  EXPECT_TRUE(dark(20));
  EXPECT_TRUE(dark(1216));
  EXPECT_FALSE(dark(1218));
  EXPECT_FALSE(dark(1278));
  EXPECT_FALSE(dark(2400));
}

TEST(TruePages, LowerHalfOfACutSheetBeginsWithTheLowerHalfOfThePage) {
  RasterPage page = white_page(432, 576, 1800, 2400);
  fill_box(page, 0, 1200, 1800, 1200);
  const VisibleSheet sheet = only_sheet(page, "PageSize=w432h576-div2");
  const auto dark = [&](unsigned y) { return sheet.at(960, y)[1] < 128; };
  EXPECT_FALSE(dark(1200));
  EXPECT_FALSE(dark(1276));
  EXPECT_TRUE(dark(1278));
  EXPECT_TRUE(dark(2474));
  EXPECT_FALSE(dark(2476));
}

TEST(TruePages, BleedOfTheJobMovesThePageByHalfOfIt) {
  RasterPage page = white_page(432, 288, 1800, 1200);
  number_pixels(page);
  // 1 mm is 12 pixels: 1185 of 1200 rows are visible, 7 are cropped at the top.
  const VisibleSheet sheet = only_sheet(page, "PageSize=w288h432 BleedTop=1.0");
  EXPECT_EQ(sheet.at(500, 36), kWhite);
  EXPECT_EQ(sheet.at(500, 37), pixel_of(page, 430, 7));
  EXPECT_EQ(sheet.at(500, 1221), pixel_of(page, 430, 1191));
}

TEST(TruePages, CopiesOfPagesGiveAllSheetsInOrder) {
  std::vector<RasterPage> pages;
  for (int copy = 0; copy < 3; ++copy) {
    for (const std::uint8_t shade : {10, 200}) {
      RasterPage page = white_page(432, 288, 1800, 1200);
      std::fill(page.pixels.begin(), page.pixels.end(), shade);
      // Some systems send each page three times themselves.
      page.header.NumCopies = 3;
      pages.push_back(page);
    }
  }
  const AdapterResult result =
      run_adapted({.input = raster_stream(pages, RasterKind::kCompressed), .copies = "3"});
  ASSERT_EQ(result.sheets.size(), 6U);
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(result.sheets[i].at(960, 600)[0], i % 2 == 0 ? 10 : 200) << i;
  }
}

TEST(TruePages, LargerPageFillsThePaperUnlessAskedToFit) {
  // 8 x 4 inches on 6 x 4: filled, 6 of its 8 inches are visible; fitted, it is 3 inches high.
  RasterPage page = white_page(576, 288, 2400, 1200);
  std::fill(page.pixels.begin(), page.pixels.end(), 0x00);
  const Box filled = dark_box(only_sheet(page, "PageSize=w288h432"));
  EXPECT_EQ(filled.width(), 1800);
  EXPECT_EQ(filled.height(), 1197);
  const Box fitted = dark_box(only_sheet(page, "PageSize=w288h432 print-scaling=fit"));
  EXPECT_EQ(fitted.width(), 1800);
  EXPECT_NEAR(fitted.height(), 900, 1);
  const Box kept = dark_box(only_sheet(page, "PageSize=w288h432 print-scaling=none"));
  EXPECT_EQ(kept.width(), 1800);
  EXPECT_EQ(kept.height(), 1197);
}

TEST(TruePages, SmallerPageKeepsItsSizeUnlessAskedToFill) {
  RasterPage page = white_page(216, 144, 900, 600);
  std::fill(page.pixels.begin(), page.pixels.end(), 0x00);
  const Box kept = dark_box(only_sheet(page, "PageSize=w288h432"));
  EXPECT_EQ(kept.width(), 900);
  EXPECT_EQ(kept.height(), 600);
  EXPECT_EQ(kept.left, 70U + 450U);
  const Box filled = dark_box(only_sheet(page, "PageSize=w288h432 print-scaling=fill"));
  EXPECT_EQ(filled.width(), 1800);
  EXPECT_EQ(filled.height(), 1197);
}

// k905-print makes pages with exactly the paper's size in points and pixels.
TEST(TruePages, PageMadeForTheFilterIsUnchanged) {
  RasterPage page = white_page(460.8F, 297.6F, 1844, 1240);
  number_pixels(page);
  const VisibleSheet sheet = only_sheet(page, "PageSize=w288h432");
  // Columns of the sheet are mirrored: counted from the right, the first visible column is number
  // 1799, and column 1799.5 * 1844 / 1800 = 1843.5 of the page is the first one from the left.
  EXPECT_EQ(sheet.at(70, 25), pixel_of(page, 0, 0));
  // Row 1000 of 1197 is row 1000.5 * 1240 / 1197 = 1036.4 of the page.
  EXPECT_EQ(sheet.at(70, 1025), pixel_of(page, 0, 1036));
}

}  // namespace
