// Prepares photos for the sheet: cropped or fitted, rotated, in the correct colors.
#include "apps/layout/prepare.h"

#include <gtest/gtest.h>
#include <lcms2.h>

#include <cstring>

#include "tests/apps/picture_files.h"
#include "tests/support/child_process.h"
#include "tests/support/profile_builder.h"

namespace k905 {

namespace {

// A sheet without margins, so that the numbers are small.
SheetPlace small_place(std::uint32_t width, std::uint32_t height) {
  SheetPlace place;
  place.paper = &paper_sizes[3];
  place.page_width = place.visible_width = width;
  place.page_height = place.visible_height = height;
  return place;
}

Picture plain(std::uint32_t width, std::uint32_t height, std::array<std::uint8_t, 3> color) {
  Picture picture = black_picture(width, height);
  for (std::size_t i = 0; i < picture.bytes.size(); ++i) {
    picture.bytes[i] = color[i % 3];
  }
  return picture;
}

void paint_column(Picture& picture, std::uint32_t x, std::uint8_t value) {
  for (std::size_t y = 0; y < picture.height; ++y) {
    std::memset(picture.bytes.data() + y * picture.row_bytes() + std::size_t{3} * x, value, 3);
  }
}

std::vector<int> pixel(const Picture& picture, std::size_t x, std::size_t y) {
  const std::uint8_t* at = picture.bytes.data() + 3 * (y * picture.width + x);
  return {at[0], at[1], at[2]};
}

// A profile that names its color space, but is otherwise invalid.
std::string broken_profile(const char* space) {
  return std::string(400, 'x').replace(16, 4, space);
}

void embed(Picture& picture, const std::string& profile) {
  picture.icc_profile.assign(profile.begin(), profile.end());
}

PreparedPhoto prepared_from(const Picture& picture, const SheetPlace& place,
                            const PrepareOptions& options, int orientation = 1) {
  const ScratchFolder folder;
  std::string error;
  auto file = open_photo_file(folder.write("x.tif", tiff_file(picture, orientation)), error);
  const auto photo = Photo::open(std::move(file), error);
  auto prepared = photo ? prepare(*photo, place, options, error) : std::nullopt;
  EXPECT_TRUE(prepared) << error;
  return prepared.value_or(PreparedPhoto{});
}

TEST(Prepare, CropsEvenlyAtBothEnds) {
  Picture wide = plain(50, 20, {9, 9, 9});  // 20 high needs 30 wide: 10 are cropped per side
  paint_column(wide, 9, 1);
  paint_column(wide, 10, 2);
  paint_column(wide, 39, 3);
  paint_column(wide, 40, 4);
  const Picture page = prepared_from(wide, small_place(30, 20), {}).picture;
  EXPECT_EQ(pixel(page, 0, 0), (std::vector<int>{2, 2, 2}));
  EXPECT_EQ(pixel(page, 29, 19), (std::vector<int>{3, 3, 3}));
}

TEST(Prepare, ATallPhotoIsCroppedEvenlyToo) {
  // The middle 20 of 60 rows remain.
  Picture tall = plain(30, 60, {0, 0, 0});
  std::fill(tall.bytes.begin() + 30 * 20 * 3, tall.bytes.begin() + 30 * 40 * 3, std::uint8_t{200});
  const Picture picture = prepared_from(tall, small_place(30, 20), {.rotate = false}).picture;
  EXPECT_EQ(pixel(picture, 15, 0), (std::vector<int>{200, 200, 200}));
  EXPECT_EQ(pixel(picture, 15, 19), (std::vector<int>{200, 200, 200}));
}

TEST(Prepare, ASquarePhotoIsNotRotated) {
  Picture square = plain(20, 20, {0, 0, 0});
  std::fill_n(square.bytes.begin(), 20 * 10 * 3, std::uint8_t{200});
  for (const auto& [width, height] : {std::pair{20U, 10U}, {10U, 20U}}) {
    const Picture picture =
        prepared_from(square, small_place(width, height), {.fit = true}).picture;
    EXPECT_GT(pixel(picture, width / 2, height / 2 - 2)[0], 150);
    EXPECT_LT(pixel(picture, width / 2, height / 2 + 2)[0], 50);
  }
}

TEST(Prepare, UncroppedPhotoIsPlacedOnWhite) {
  const PrepareOptions fit{.fit = true};
  const Picture page = prepared_from(plain(30, 10, {7, 8, 9}), small_place(30, 20), fit).picture;
  EXPECT_EQ(pixel(page, 0, 4), (std::vector<int>{255, 255, 255}));
  EXPECT_EQ(pixel(page, 0, 5), (std::vector<int>{7, 8, 9}));
  EXPECT_EQ(pixel(page, 29, 14), (std::vector<int>{7, 8, 9}));
  EXPECT_EQ(pixel(page, 29, 15), (std::vector<int>{255, 255, 255}));
}

TEST(Prepare, CropHasTheShapeOfTheSheetIfPixelsAreNotSquare) {
  // 600 dpi from top to bottom: 30 x 40 pixels are a sheet of 3:2. A page with another number of
  // pixels than the sheet makes no difference.
  SheetPlace place = small_place(30, 40);
  place.fine = true;
  place.page_width = 25;
  const PrepareOptions fit{.fit = true};
  const Picture page = prepared_from(plain(60, 40, {7, 8, 9}), place, fit).picture;
  EXPECT_EQ(page.width, 25U);
  EXPECT_EQ(pixel(page, 0, 0), (std::vector<int>{7, 8, 9}));
  EXPECT_EQ(pixel(page, 24, 39), (std::vector<int>{7, 8, 9}));
}

TEST(Prepare, PortraitPhotoIsRotatedLeftForALandscapeSheet) {
  Picture portrait_picture = plain(20, 30, {9, 9, 9});
  paint_column(portrait_picture, 19, 1);  // its right edge becomes the top
  const Picture page = prepared_from(portrait_picture, small_place(30, 20), {}).picture;
  EXPECT_EQ(pixel(page, 0, 0), (std::vector<int>{1, 1, 1}));
  EXPECT_EQ(pixel(page, 29, 0), (std::vector<int>{1, 1, 1}));
  EXPECT_EQ(pixel(page, 29, 1), (std::vector<int>{9, 9, 9}));
}

TEST(Prepare, WithoutRotationThePhotoIsCropped) {
  Picture portrait_picture = plain(20, 30, {9, 9, 9});
  paint_column(portrait_picture, 19, 1);
  const PrepareOptions as_it_is{.rotate = false};
  const Picture page = prepared_from(portrait_picture, small_place(20, 10), as_it_is).picture;
  EXPECT_EQ(pixel(page, 19, 0), (std::vector<int>{1, 1, 1}));
  EXPECT_EQ(pixel(page, 19, 9), (std::vector<int>{1, 1, 1}));
}

TEST(Prepare, RotationForTheSheetFollowsTheExifRotation) {
  // Every orientation once rotated, against the upright pixels rotated by 90 degrees.
  for (int orientation = 1; orientation <= 8; ++orientation) {
    Picture stored = black_picture(orientation >= 5 ? 3 : 2, orientation >= 5 ? 2 : 3);
    for (std::size_t i = 0; i < stored.bytes.size(); ++i) {
      stored.bytes[i] = static_cast<std::uint8_t>(i / 3 + 1);
    }
    const ScratchFolder folder;
    std::string error;
    const Picture seen = *read_photo(folder.write("x.tif", tiff_file(stored, orientation)), error);
    ASSERT_EQ(seen.width, 2U);
    const Picture page = prepared_from(stored, small_place(3, 2), {}, orientation).picture;
    for (std::size_t y = 0; y < 2; ++y) {
      for (std::size_t x = 0; x < 3; ++x) {
        EXPECT_EQ(pixel(page, x, y), pixel(seen, 1 - y, x)) << orientation;
      }
    }
  }
}

TEST(Prepare, ColorsOfAProfileBecomeSrgb) {
  // The result of Little CMS for one pixel.
  const std::string profile = wide_rgb_profile();
  Picture picture = plain(30, 20, {200, 100, 50});
  embed(picture, profile);
  cmsHPROFILE source = cmsOpenProfileFromMem(profile.data(), profile.size());
  cmsHPROFILE srgb = cmsCreate_sRGBProfile();
  cmsHTRANSFORM transform = cmsCreateTransform(source, TYPE_RGB_8, srgb, TYPE_RGB_8, 0, 0);
  std::array<std::uint8_t, 3> color{200, 100, 50};
  cmsDoTransform(transform, color.data(), color.data(), 1);
  cmsDeleteTransform(transform);
  cmsCloseProfile(source);
  cmsCloseProfile(srgb);
  ASSERT_NE(color[0], 200);  // otherwise the test could not fail
  const PreparedPhoto prepared = prepared_from(picture, small_place(30, 20), {});
  EXPECT_EQ(pixel(prepared.picture, 0, 0), (std::vector<int>{color[0], color[1], color[2]}));
  EXPECT_EQ(prepared.warning, "");
}

TEST(Prepare, WhiteAroundAPhotoWithAProfileIsWhite) {
  Picture picture = plain(30, 10, {200, 100, 50});
  embed(picture, wide_rgb_profile());
  const Picture page = prepared_from(picture, small_place(30, 20), {.fit = true}).picture;
  EXPECT_EQ(pixel(page, 0, 0), (std::vector<int>{255, 255, 255}));
}

TEST(Prepare, GrayWithAProfileBecomesColor) {
  Picture picture;
  picture.width = 30;
  picture.height = 20;
  picture.channels = 1;
  picture.bytes.assign(600, 128);
  embed(picture, gray_profile());
  const Picture page = prepared_from(picture, small_place(30, 20), {}).picture;
  EXPECT_EQ(page.channels, 3);
  // Gamma 2.2 and the sRGB curve are close to each other in the middle.
  EXPECT_NEAR(pixel(page, 0, 0)[1], 128, 3);
}

TEST(Prepare, CmykIsConvertedWithItsProfile) {
  Picture picture;
  picture.width = 30;
  picture.height = 20;
  picture.channels = 4;
  picture.bytes.assign(2400, 0);  // bare paper
  embed(picture, cmyk_table_profile());
  const Picture page = prepared_from(picture, small_place(30, 20), {}).picture;
  EXPECT_EQ(page.channels, 3);
  EXPECT_GT(pixel(page, 0, 0)[0], 240);
}

TEST(Prepare, BrokenProfileIsReportedAndThePhotoIsPrinted) {
  Picture picture = plain(30, 20, {200, 100, 50});
  embed(picture, broken_profile("RGB "));
  const PreparedPhoto prepared = prepared_from(picture, small_place(30, 20), {});
  EXPECT_EQ(prepared.warning, "its color profile is broken; its colors are treated as sRGB");
  EXPECT_EQ(pixel(prepared.picture, 0, 0), (std::vector<int>{200, 100, 50}));
}

TEST(Prepare, CmykWithABrokenProfileIsConvertedByFormula) {
  Picture picture;
  picture.width = 30;
  picture.height = 20;
  picture.channels = 4;
  for (int i = 0; i < 600; ++i) {
    picture.bytes.insert(picture.bytes.end(), {255, 0, 51, 0});
  }
  embed(picture, broken_profile("CMYK"));
  const PreparedPhoto prepared = prepared_from(picture, small_place(30, 20), {});
  EXPECT_EQ(pixel(prepared.picture, 0, 0), (std::vector<int>{0, 255, 204}));
}

TEST(Prepare, SixteenBitsAreRoundedOnceAtTheEnd) {
  Picture picture = black_picture(30, 20);
  picture.bits = 16;
  picture.bytes.clear();
  for (int i = 0; i < 1800; ++i) {
    const std::uint16_t sample = 128 * 257 + 129;  // nearer to 129
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&sample);
    picture.bytes.insert(picture.bytes.end(), {bytes[0], bytes[1]});
  }
  EXPECT_EQ(pixel(prepared_from(picture, small_place(30, 20), {}).picture, 3, 3),
            (std::vector<int>{129, 129, 129}));
}

TEST(Prepare, PhotoOfOnePixelFillsTheSheet) {
  const Picture page = prepared_from(plain(1, 1, {1, 2, 3}), small_place(30, 20), {}).picture;
  EXPECT_EQ(pixel(page, 29, 19), (std::vector<int>{1, 2, 3}));
}

TEST(Prepare, PhotoOfExtremeShapeIsPrinted) {
  const Picture page = prepared_from(plain(5000, 1, {1, 2, 3}), small_place(30, 20), {}).picture;
  EXPECT_EQ(pixel(page, 29, 19), (std::vector<int>{1, 2, 3}));
  const Picture whole =
      prepared_from(plain(1, 5000, {1, 2, 3}), small_place(30, 20), {.fit = true}).picture;
  EXPECT_EQ(pixel(whole, 29, 0), (std::vector<int>{255, 255, 255}));
}

}  // namespace

}  // namespace k905
