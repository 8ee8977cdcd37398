// Pages in formats other than 8-bit RGB.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "tests/adapter/adapted_job.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

// A page of 6x4 inches whose every pixel is these samples.
RasterPage plain_page(cups_cspace_t space, unsigned bits, const std::vector<unsigned>& samples) {
  RasterPage page = white_page(432, 288, 1800, 1200);
  const auto colors = static_cast<unsigned>(samples.size());
  cups_page_header2_t header = page_header(1800, 1200, colors, bits);
  header.cupsColorSpace = space;
  std::memcpy(header.PageSize, page.header.PageSize, sizeof header.PageSize);
  std::memcpy(header.cupsPageSize, page.header.cupsPageSize, sizeof header.cupsPageSize);
  page.header = header;
  page.pixels.clear();
  for (std::size_t i = 0; i < std::size_t{1800} * 1200; ++i) {
    for (const unsigned sample : samples) {
      if (bits == 16) {
        const auto wide = static_cast<std::uint16_t>(sample);
        std::uint8_t bytes[2];
        std::memcpy(bytes, &wide, sizeof wide);
        page.pixels.insert(page.pixels.end(), bytes, bytes + 2);
      } else {
        page.pixels.push_back(static_cast<std::uint8_t>(sample));
      }
    }
  }
  return page;
}

AdapterResult printed(const RasterPage& page) {
  return run_adapted({.input = raster_stream({page}), .options = "PageSize=w288h432"});
}

Color color_of(const AdapterResult& result) {
  EXPECT_EQ(result.sheets.size(), 1U);
  return result.sheets.empty() ? Color{} : result.sheets.front().at(960, 600);
}

TEST(ColorSpace, SrgbIsPlainRgbForTheFilter) {
  const AdapterResult result = printed(plain_page(CUPS_CSPACE_SRGB, 8, {200, 100, 50}));
  EXPECT_EQ(color_of(result), (Color{200, 100, 50}));
  EXPECT_THAT(result.log, Contains("K905-1: RGB mode detected"));
  EXPECT_THAT(result.log, Not(Contains(HasSubstr("Unknown color space"))));
}

// 200 x 0.299 + 100 x 0.587 + 50 x 0.114 = 124.2
TEST(ColorSpace, GrayJobConvertsColorPages) {
  const AdapterResult result =
      run_adapted({.input = raster_stream({plain_page(CUPS_CSPACE_SRGB, 8, {200, 100, 50})}),
                   .options = "PageSize=w288h432 ColorModel=Gray"});
  EXPECT_EQ(color_of(result), (Color{124, 124, 124}));
}

// Worked out from the published primaries and curves of both spaces: (200, 100, 50) of Adobe RGB is
// (227.1, 100.1, 42.4) of sRGB.
TEST(ColorSpace, AdobeRgbIsConvertedToSrgb) {
  for (const unsigned bits : {8U, 16U}) {
    const unsigned unit = bits == 8 ? 1 : 257;
    const AdapterResult result =
        printed(plain_page(CUPS_CSPACE_ADOBERGB, bits, {200 * unit, 100 * unit, 50 * unit}));
    const Color color = color_of(result);
    EXPECT_NEAR(color[0], 227.1, 1.2) << bits;
    EXPECT_NEAR(color[1], 100.1, 1.2) << bits;
    EXPECT_NEAR(color[2], 42.4, 1.2) << bits;
    EXPECT_THAT(result.log, Contains("K905-1: RGB mode detected"));
  }
}

struct Case {
  const char* name;
  cups_cspace_t space;
  unsigned bits;
  std::vector<unsigned> samples;
  Color color;
};

const Case kCases[] = {
    {"SixteenBitsKeepTheirHighByte",
     CUPS_CSPACE_RGB,
     16,
     {0xC8FF, 0x6400, 0x3280},
     {0xC8, 0x64, 0x32}},
    {"WhiteBasedGrayKeepsItsValue", CUPS_CSPACE_W, 8, {180}, {180, 180, 180}},
    {"StandardGrayKeepsItsValue", CUPS_CSPACE_SW, 8, {180}, {180, 180, 180}},
    {"SixteenBitGrayIsPrintedAndNotBlack", CUPS_CSPACE_SW, 16, {0xB412}, {0xB4, 0xB4, 0xB4}},
    // 75 is the amount of ink.
    {"BlackInkIsNotPrintedInverted", CUPS_CSPACE_K, 8, {75}, {180, 180, 180}},
    // (1 - 51/255) * 255 * (1 - 51/255) = 163.2, and 204 without the first factor.
    {"FourInksReachTheFilterUnchanged", CUPS_CSPACE_CMYK, 8, {51, 0, 0, 51}, {163, 204, 204}},
    {"TransparentPixelsAreWhite", CUPS_CSPACE_RGBA, 8, {0, 100, 200, 0}, kWhite},
    {"OpaquePixelsKeepTheirColor", CUPS_CSPACE_RGBA, 8, {0, 100, 200, 255}, {0, 100, 200}},
};

class EveryColorSpace : public testing::TestWithParam<Case> {};

TEST_P(EveryColorSpace, HasThisColorOnTheSheet) {
  const Case& c = GetParam();
  EXPECT_EQ(color_of(printed(plain_page(c.space, c.bits, c.samples))), c.color);
}

INSTANTIATE_TEST_SUITE_P(Pages, EveryColorSpace, testing::ValuesIn(kCases),
                         [](const auto& instance) { return instance.param.name; });

TEST(ColorSpace, SetBitIsBlack) {
  RasterPage page = plain_page(CUPS_CSPACE_K, 1, {0});
  page.pixels.assign(std::size_t{page.header.cupsBytesPerLine} * 1200, 0xF0);
  const AdapterResult result = printed(page);
  ASSERT_EQ(result.sheets.size(), 1U);
  // Pixels 0 to 3 of the page are black, 4 to 7 white, and so on.
  EXPECT_EQ(result.sheets[0].at(70 + 800, 600), kBlack);
  EXPECT_EQ(result.sheets[0].at(70 + 803, 600), kBlack);
  EXPECT_EQ(result.sheets[0].at(70 + 804, 600), kWhite);
}

// The area outside a small page is bare paper in every color space.
TEST(ColorSpace, SurroundingsOfASmallPageAreWhite) {
  for (const cups_cspace_t space : {CUPS_CSPACE_RGB, CUPS_CSPACE_CMYK, CUPS_CSPACE_CMY}) {
    RasterPage page =
        plain_page(space, 8, std::vector<unsigned>(space == CUPS_CSPACE_CMYK ? 4 : 3));
    page.header.PageSize[0] = 144;
    page.header.PageSize[1] = 96;
    page.header.cupsPageSize[0] = 144;
    page.header.cupsPageSize[1] = 96;
    page.header.HWResolution[0] = page.header.HWResolution[1] = 900;
    const AdapterResult result = printed(page);
    ASSERT_EQ(result.sheets.size(), 1U) << space;
    EXPECT_EQ(result.sheets[0].at(200, 600), kWhite) << space;
  }
}

}  // namespace
