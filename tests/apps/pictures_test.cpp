// Images in memory: writing, scaling, fitting, drawing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <random>

#include "apps/image/contact_sheet.h"
#include "apps/image/photo.h"
#include "apps/image/resize.h"
#include "apps/image/sheet_picture.h"
#include "apps/image/write_png.h"
#include "devtools/raster/test_pictures.h"
#include "tests/apps/picture_files.h"
#include "tests/support/child_process.h"

namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;
using namespace std::string_literals;

// --- writing

TEST(WritePng, WrittenImageIsReadBack) {
  const ScratchFolder folder;
  for (const int channels : {1, 3}) {
    for (const int bits : {8, 16}) {
      k905::Picture picture;
      picture.width = 3;
      picture.height = 2;
      picture.channels = channels;
      picture.bits = bits;
      picture.bytes = numbered(picture.row_bytes() * 2);
      std::string error;
      ASSERT_TRUE(write_png(folder.path() + "/x.png", picture, {300, 600}, error)) << error;
      const auto again = k905::read_photo(folder.path() + "/x.png", error);
      ASSERT_TRUE(again) << error;
      EXPECT_EQ(again->bits, bits);
      EXPECT_EQ(again->channels, channels);
      EXPECT_EQ(again->bytes, picture.bytes);
    }
  }
}

TEST(WritePng, DensityIsInDotsPerMeter) {
  const ScratchFolder folder;
  std::string error;
  ASSERT_TRUE(write_png(folder.path() + "/x.png", k905::black_picture(1, 1), {300, 600}, error));
  // 300 and 600 dpi are 11811 (0x2e23) and 23622 (0x5c46) dots per meter; the CRC is zlib's.
  EXPECT_THAT(folder.read("x.png").value_or(""),
              HasSubstr("pHYs\0\0\x2e\x23\0\0\x5c\x46\x01\x37\x5a\x1c\xaa"s));
}

TEST(WritePng, FullDiskIsAnErrorAndTheDeviceIsNotRemoved) {
  std::string error;
  EXPECT_FALSE(write_png("/dev/full", k905::black_picture(500, 500), {}, error));
  EXPECT_EQ(error, "No space left on device");
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

TEST(WritePng, MissingFolderIsAnError) {
  const ScratchFolder folder;
  std::string error;
  EXPECT_FALSE(write_png(folder.path() + "/no/x.png", k905::black_picture(1, 1), {}, error));
  EXPECT_EQ(error, "No such file or directory");
}

// --- sheets

k905::Sheet two_by_one() {
  k905::Sheet sheet;
  sheet.width = 2;
  sheet.height = 1;
  sheet.plane[0] = {1, 2};
  sheet.plane[1] = {3, 4};
  sheet.plane[2] = {5, 6};
  return sheet;
}

TEST(SheetPicture, ShowsTheSheetUnmirrored) {
  EXPECT_THAT(sheet_picture(two_by_one(), k905::Mirror::undo).bytes, ElementsAre(2, 4, 6, 1, 3, 5));
}

TEST(SheetPicture, KeepsTheMirrorOnRequest) {
  EXPECT_THAT(sheet_picture(two_by_one(), k905::Mirror::leave).bytes,
              ElementsAre(1, 3, 5, 2, 4, 6));
}

k905::Picture gray_picture(std::uint32_t width, std::uint32_t height,
                           const std::vector<std::uint8_t>& bytes) {
  k905::Picture picture;
  picture.width = width;
  picture.height = height;
  picture.channels = 1;
  picture.bytes = bytes;
  return picture;
}

// --- sizes, depth and scaling

// 5000 + 12 pixels wide with the gap; a row is 20000 high, with a caption of 20 and a gap of 12:
// two rows have 201 million pixels, three would exceed the limit of 268 million.
TEST(ContactSheetPicture, TooLargeImageIsRefusedBeforeAllocation) {
  k905::Picture tall;  // only the size is used
  tall.width = 5000;
  tall.height = 20000;
  k905::ContactSheet sheet(1, 5000);
  EXPECT_TRUE(sheet.add("", tall));
  EXPECT_TRUE(sheet.add("", tall));
  EXPECT_FALSE(sheet.add("", tall));
  EXPECT_EQ(sheet.count(), 2U);
}

TEST(EightBitColors, SixteenBitsAreRoundedAndGrayIsRepeated) {
  k905::Picture gray;
  gray.width = 2;
  gray.height = 1;
  gray.channels = 1;
  gray.bits = 16;
  const std::uint16_t samples[] = {128 * 257 + 128, 128 * 257 + 129};  // second: nearer to 129
  gray.bytes.resize(4);
  std::memcpy(gray.bytes.data(), samples, 4);
  EXPECT_EQ(eight_bit_colors(gray).bytes,
            (std::vector<std::uint8_t>{128, 128, 128, 129, 129, 129}));
}

TEST(InksToColors, TransmittedLightIsRounded) {
  k905::Picture inks;
  inks.width = inks.height = 1;
  inks.channels = 4;
  inks.bytes = {155, 255, 0, 125};
  inks_to_colors(inks);
  EXPECT_THAT(inks.bytes, ElementsAre(51, 0, 130));  // 100 * 130 / 255 = 50.98
}

TEST(Scaled, SameSizeChangesNothing) {
  const k905::Picture noise = *draw_test_picture("noise", 37, 23);
  EXPECT_EQ(scaled(noise, {37, 23}).bytes, noise.bytes);
}

TEST(Scaled, OnePlainColorStaysPlainAtAnySize) {
  const k905::Picture plain = gray_picture(7, 5, std::vector<std::uint8_t>(35, 93));
  for (const k905::PixelSize size : {k905::PixelSize{1, 1}, {3, 2}, {50, 40}, {1, 40}, {50, 1}}) {
    const k905::Picture other = scaled(plain, size);
    EXPECT_EQ(other.bytes.size(), size.width * size.height);
    EXPECT_THAT(other.bytes, Each(93)) << size.width << " x " << size.height;
  }
}

TEST(Scaled, EveryPixelCountsWhenAnImageShrinks) {
  // One of eight columns is white: at an eighth of the size every pixel is the average.
  k905::Picture lines = gray_picture(800, 8, std::vector<std::uint8_t>(6400, 0));
  for (std::size_t i = 3; i < lines.bytes.size(); i += 8) {
    lines.bytes[i] = 240;
  }
  EXPECT_THAT(scaled(lines, {100, 1}).bytes, Each(AllOf(Ge(20), Le(40))));
}

TEST(Scaled, EnlargedImageIsNotShifted) {
  const std::vector<std::uint8_t> line{10, 50, 90};
  EXPECT_EQ(scaled(gray_picture(3, 1, line), {3, 2}).bytes,
            (std::vector<std::uint8_t>{10, 50, 90, 10, 50, 90}));
  EXPECT_EQ(scaled(gray_picture(1, 3, line), {2, 3}).bytes,
            (std::vector<std::uint8_t>{10, 10, 50, 50, 90, 90}));
  const k905::Picture wide = scaled(gray_picture(3, 1, line), {9, 1});
  for (std::size_t i = 0; i < 9; ++i) {
    EXPECT_NEAR(wide.bytes[i] + wide.bytes[8 - i], 100, 1) << i;
  }
}

TEST(Scaled, MillionPixelsInOneColumnAreScaled) {
  const k905::Picture column = gray_picture(1, 1000000, std::vector<std::uint8_t>(1000000, 50));
  const k905::Picture page = scaled(column, {1920, 1240});
  EXPECT_EQ(page.bytes.size(), 1920U * 1240U);
  EXPECT_THAT(std::vector<std::uint8_t>(page.bytes.begin(), page.bytes.begin() + 5000), Each(50));
}

TEST(Fitted, FillCutsBothEndsEvenly) {
  const k905::Picture wide = gray_picture(4, 2, {1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_THAT(fitted(wide, {2, 2}, k905::Fit::fill).bytes, ElementsAre(2, 3, 6, 7));
  const k905::Picture tall = gray_picture(2, 4, {1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_THAT(fitted(tall, {2, 2}, k905::Fit::fill).bytes, ElementsAre(3, 4, 5, 6));
}

TEST(Fitted, WholeAddsWhiteAtBothEnds) {
  const k905::Picture wide = gray_picture(2, 1, {10, 10});
  EXPECT_THAT(fitted(wide, {2, 3}, k905::Fit::whole).bytes,
              ElementsAre(255, 255, 10, 10, 255, 255));
  const k905::Picture tall = gray_picture(1, 2, {10, 10});
  EXPECT_THAT(fitted(tall, {3, 2}, k905::Fit::whole).bytes,
              ElementsAre(255, 10, 255, 255, 10, 255));
}

TEST(Fitted, StretchFillsThePage) {
  const k905::Picture wide = gray_picture(2, 1, {10, 10});
  EXPECT_THAT(fitted(wide, {2, 3}, k905::Fit::stretch).bytes, Each(10));
}

TEST(Fitted, RowsOfHalfTheHeightKeepTheShape) {
  // 4 x 8 pixels with twice the vertical resolution are a square: a square image is not cropped and
  // has no white margin.
  const k905::Picture square = gray_picture(2, 2, {10, 90, 10, 90});
  for (const k905::Fit fit : {k905::Fit::fill, k905::Fit::whole}) {
    const k905::Picture page = fitted(square, {4, 8}, fit, 2.0);
    EXPECT_NEAR(page.bytes[0], 10, 8);
    EXPECT_NEAR(page.bytes[3], 90, 8);
    EXPECT_NEAR(page.bytes[28], 10, 8);
  }
}

// --- drawn images

TEST(TestPictures, EveryNameDrawsEverySize) {
  for (const TestPicture& name : test_pictures()) {
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 7}, {9, 1}, {64, 48}}) {
      const auto picture = draw_test_picture(name.name, width, height);
      ASSERT_TRUE(picture) << name.name;
      EXPECT_EQ(picture->bytes.size(), static_cast<std::size_t>(width) * height * 3) << name.name;
    }
  }
  EXPECT_FALSE(draw_test_picture("unknown", 1, 1));
}

TEST(TestPictures, CornersHaveFourDifferentColors) {
  const k905::Picture picture = *draw_test_picture("corners", 20, 10);
  const auto at = [&picture](std::uint32_t x, std::uint32_t y) {
    const std::uint8_t* pixel = &picture.bytes[(std::size_t{y} * 20 + x) * 3];
    return std::vector<int>{pixel[0], pixel[1], pixel[2]};
  };
  EXPECT_EQ(at(0, 0), (std::vector<int>{255, 0, 0}));
  EXPECT_EQ(at(19, 0), (std::vector<int>{0, 255, 0}));
  EXPECT_EQ(at(19, 9), (std::vector<int>{0, 0, 255}));
  EXPECT_EQ(at(0, 9), (std::vector<int>{0, 0, 0}));
  EXPECT_EQ(at(1, 0), (std::vector<int>{255, 255, 255}));
}

TEST(TestPictures, TheLandscapeMarksItsCorners) {
  const k905::Picture picture = *draw_test_picture("landscape", 600, 400);
  const auto at = [&picture](std::uint32_t x, std::uint32_t y) {
    const std::uint8_t* pixel = &picture.bytes[(std::size_t{y} * 600 + x) * 3];
    return std::vector<int>{pixel[0], pixel[1], pixel[2]};
  };
  // The arms of a mark are 400 / 14 = 28 pixels long and 28 / 8 = 3 wide, and begin 6 pixels from
  // the edge.
  EXPECT_EQ(at(7, 7), (std::vector<int>{236, 28, 36}));
  EXPECT_EQ(at(592, 7), (std::vector<int>{0, 200, 80}));
  EXPECT_EQ(at(592, 392), (std::vector<int>{30, 60, 230}));
  EXPECT_EQ(at(7, 392), (std::vector<int>{255, 222, 0}));
}

}  // namespace
