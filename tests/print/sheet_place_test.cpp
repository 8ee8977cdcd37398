// The page that shows a photo pixel by pixel, compared with a second implementation of the filter's
// formulas.
#include "apps/layout/sheet_place.h"

#include <gtest/gtest.h>

#include "apps/image/picture.h"

namespace k905 {

namespace {

SheetPlace place_of(const std::string& paper, const std::map<std::string, std::string>& more = {}) {
  std::map<std::string, std::string> choices = more;
  choices["PageSize"] = paper;
  return sheet_place(choices);
}

// Every pixel is different: its color encodes its position.
Picture numbered(std::uint32_t width, std::uint32_t height) {
  Picture picture = black_picture(width, height);
  std::uint8_t* out = picture.bytes.data();
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      *out++ = static_cast<std::uint8_t>(x);
      *out++ = static_cast<std::uint8_t>(y);
      *out++ = static_cast<std::uint8_t>((x >> 8) << 4 | y >> 8);
    }
  }
  return picture;
}

std::uint32_t pixel_at(const Picture& picture, std::size_t x, std::size_t y) {
  const std::uint8_t* at = picture.bytes.data() + 3 * (y * picture.width + x);
  return static_cast<std::uint32_t>(at[0] | at[1] << 8 | at[2] << 16);
}

// The pixel that the filter's last stage uses for a position of the effective area: the nearest
// one.
std::size_t nearest_pixel(std::size_t place, std::size_t from, std::size_t to) {
  const double scale = static_cast<double>(to) / static_cast<double>(from);
  const double source = (static_cast<double>(place) + 0.5) * (1 / scale) - 0.5 + 0.5;
  return std::min(static_cast<std::size_t>(source), from - 1);
}

// Whether the visible sheet shows `picture`: the page is mirrored, stretched, and seen from the
// back.
bool sheet_shows(const Picture& page, const Picture& picture, const SheetPlace& place) {
  for (std::size_t y = 0; y < place.visible_height; ++y) {
    for (std::size_t x = 0; x < place.visible_width; ++x) {
      const std::size_t on_canvas = place.visible_width - 1 - x;
      const std::size_t mirrored = nearest_pixel(on_canvas, page.width, place.visible_width);
      const std::size_t column = page.width - 1 - mirrored;
      const std::size_t row = nearest_pixel(y, page.height, place.visible_height);
      if (pixel_at(page, column, row) != pixel_at(picture, x, y)) {
        return false;
      }
    }
  }
  return true;
}

TEST(SheetPlace, IsThePapersCanvasWithoutItsBleeds) {
  const SheetPlace place = place_of("w288h432");
  EXPECT_EQ(place.page_width, 1844U);
  EXPECT_EQ(place.page_height, 1240U);
  EXPECT_EQ(place.visible_width, 1800U);   // 1920 - 50 - 70
  EXPECT_EQ(place.visible_height, 1197U);  // 1240 - 25 - 18
  EXPECT_EQ(place.dpi_ratio(), 1.0);
}

TEST(SheetPlace, TheFineResolutionHasTwiceTheRowsAndTheSameBleeds) {
  const SheetPlace place = place_of("w288h432", {{"Resolution", "300x600dpi"}});
  EXPECT_EQ(place.page_height, 2480U);
  EXPECT_EQ(place.visible_height, 2437U);  // 2480 - 25 - 18
  EXPECT_EQ(place.dpi_ratio(), 2.0);
}

// The printer has as many columns as for six inches, which is 360 per inch: the density is 300 /
// 360.
TEST(SheetPlace, FiveInchPapersHaveMoreDotsAcross) {
  EXPECT_NEAR(place_of("w360h504").dpi_ratio(), 0.8333, 0.0001);
  EXPECT_NEAR(place_of("B7", {{"Resolution", "300x600dpi"}}).dpi_ratio(), 1.6667, 0.0001);
}

TEST(SheetPlace, BleedsOfTheUserChangeTheVisibleSize) {
  // 1 mm is 300 / 25.4 = 11.8, rounded 12 pixels; -6 mm is more than the bleed of the paper.
  const SheetPlace place =
      place_of("w288h432", {{"BleedLeft", "1.0"}, {"BleedRight", "0.0"}, {"BleedTop", "-6.0"}});
  EXPECT_EQ(place.visible_width, 1788U);
  EXPECT_EQ(place.visible_height, 1222U);  // 1240 - 0 - 18
}

TEST(PageFor, EveryPixelOfTheImageIsInItsPlace) {
  for (const char* paper : {"w288h432", "w288h432-div2", "w432h576-div2", "w432h432"}) {
    const SheetPlace place = place_of(paper);
    const PixelSize size = picture_size(place);
    const Picture picture = numbered(size.width, size.height);
    const Picture page = page_for(picture, place);
    ASSERT_EQ(page.width, place.page_width) << paper;
    ASSERT_EQ(page.height, place.page_height) << paper;
    if (size.width == place.visible_width && size.height == place.visible_height) {
      EXPECT_TRUE(sheet_shows(page, picture, place)) << paper;
    }
  }
}

TEST(PageFor, TheFineResolutionLosesNoRow) {
  const SheetPlace place = place_of("w432h576", {{"Resolution", "300x600dpi"}});
  const Picture picture = numbered(place.visible_width, place.visible_height);
  EXPECT_TRUE(sheet_shows(page_for(picture, place), picture, place));
}

// The five-inch papers' pages have fewer columns than the sheet shows.
TEST(PageFor, PageWithFewerPixelsThanTheSheetIsTheImage) {
  const SheetPlace place = place_of("B7");
  ASSERT_LT(place.page_width, place.visible_width);
  const Picture picture = numbered(picture_size(place).width, picture_size(place).height);
  const Picture page = page_for(picture, place);
  EXPECT_EQ(pixel_at(page, 0, 0), pixel_at(picture, 0, 0));
  EXPECT_EQ(pixel_at(page, 700, 0), pixel_at(picture, 700, 0));
  EXPECT_EQ(pixel_at(page, page.width - 1, page.height - 1),
            pixel_at(picture, picture.width - 1, picture.height - 1));
}

}  // namespace

}  // namespace k905
