// Picture files in and out, hostile ones included, and sheets as pictures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <numeric>
#include <random>

#include "apps/image/contact_sheet.h"
#include "apps/image/read_picture.h"
#include "apps/image/scale.h"
#include "apps/image/sheet_picture.h"
#include "apps/image/test_pictures.h"
#include "apps/image/write_png.h"
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

std::vector<std::uint8_t> numbered(std::size_t count) {
  std::vector<std::uint8_t> bytes(count);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  return bytes;
}

// Reads the bytes of a file; fails the test when they are no picture.
Picture read_bytes(const std::string& bytes) {
  const ScratchFolder folder;
  std::string error;
  const auto picture = read_picture(folder.write("picture", bytes), error);
  EXPECT_TRUE(picture) << error;
  return picture.value_or(Picture{});
}

std::string error_of(const std::string& bytes) {
  const ScratchFolder folder;
  std::string error;
  const auto picture = read_picture(folder.write("picture", bytes), error);
  return picture ? "no error" : error;
}

// --- PNG

TEST(ReadPng, ColourOfEightBitsComesAsItIs) {
  const Picture picture = read_bytes(png_file(3, 2, {}, numbered(18)));
  EXPECT_EQ(picture.width, 3U);
  EXPECT_EQ(picture.height, 2U);
  EXPECT_EQ(picture.channels, 3);
  EXPECT_EQ(picture.bits, 8);
  EXPECT_EQ(picture.orientation, 1);
  EXPECT_EQ(picture.bytes, numbered(18));
}

TEST(ReadPng, SixteenBitsKeepBothBytes) {
  const Picture picture =
      read_bytes(png_file(1, 1, {.colour_type = 2, .bits = 16}, {1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(picture.bits, 16);
  EXPECT_EQ(picture.sample(0, 0, 0), 0x0102);
  EXPECT_EQ(picture.sample(0, 0, 2), 0x0506);
}

TEST(ReadPng, GreyOfOneBitBecomesEight) {
  const Picture picture = read_bytes(png_file(3, 1, {.colour_type = 0, .bits = 1}, {0xA0}));
  EXPECT_EQ(picture.channels, 1);
  EXPECT_THAT(picture.bytes, ElementsAre(255, 0, 255));
}

TEST(ReadPng, APaletteIsResolvedAndItsTransparentEntryIsPaperWhite) {
  // Two bits a pixel: entries 0, 1, 2, 3.
  const Picture picture = read_bytes(png_file(4, 1, {.colour_type = 3, .bits = 2}, {0x1B}));
  EXPECT_THAT(picture.bytes, ElementsAre(0, 0, 0, 255, 0, 0, 0, 255, 0, 255, 255, 255));
}

TEST(ReadPng, TransparencyIsLaidOnWhite) {
  // 51 of 255 is a fifth: 100 * 0.2 + 255 * 0.8 = 224.
  const Picture picture =
      read_bytes(png_file(3, 1, {.colour_type = 4, .bits = 8}, {100, 255, 100, 51, 100, 0}));
  EXPECT_EQ(picture.channels, 1);
  EXPECT_THAT(picture.bytes, ElementsAre(100, 224, 255));
}

TEST(ReadPng, SixteenBitTransparencyIsLaidOnWhite) {
  const Picture picture =
      read_bytes(png_file(2, 1, {.colour_type = 6, .bits = 16},
                          {0x12, 0x34, 0, 0, 0, 0, 0xFF, 0xFF, 0x12, 0x34, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(picture.channels, 3);
  EXPECT_EQ(picture.sample(0, 0, 0), 0x1234);
  EXPECT_EQ(picture.sample(0, 0, 1), 0);
  EXPECT_EQ(picture.sample(1, 0, 0), 0xFFFF);
}

TEST(ReadPng, InterlacedFilesGiveTheSamePixels) {
  const std::vector<std::uint8_t> rows = numbered(243);
  EXPECT_EQ(read_bytes(png_file(9, 9, {.interlaced = true}, rows)).bytes, rows);
}

TEST(ReadPng, TheEmbeddedProfileComesAlong) {
  const auto profile = profile_for("RGB ");
  const Picture picture = read_bytes(png_file(1, 1, {.profile = profile}, numbered(3)));
  EXPECT_EQ(picture.icc_profile, profile);
}

TEST(ReadPng, AFileCutAnywhereIsAnErrorAndNeverAPicture) {
  const std::string whole = png_file(40, 30, {}, numbered(3600));
  for (std::size_t size = 1; size < whole.size(); size += 7) {
    EXPECT_THAT(error_of(whole.substr(0, size)), HasSubstr("broken PNG: ")) << size;
  }
  const std::string interlaced = png_file(40, 30, {.interlaced = true}, numbered(3600));
  EXPECT_THAT(error_of(interlaced.substr(0, interlaced.size() / 2)), HasSubstr("broken PNG: "));
}

TEST(ReadPng, SizesThatOverflowAreNamed) {
  EXPECT_EQ(error_of(png_without_pixels(0x7FFFFFFF, 0x7FFFFFFF)),
            "the picture is too large (2147483647 x 2147483647)");
  EXPECT_EQ(error_of(png_without_pixels(65536, 65536)), "the picture is too large (65536 x 65536)");
}

TEST(ReadPng, AHugePromiseWithoutDataIsAnErrorAndTakesNoMemory) {
  // 2^28 pixels are allowed; the rows are only made as they come.
  EXPECT_THAT(error_of(png_without_pixels(16384, 16384)), HasSubstr("broken PNG: "));
}

TEST(ReadPng, ADamagedByteIsAnError) {
  std::string bytes = png_file(40, 30, {}, numbered(3600));
  bytes[20] = static_cast<char>(bytes[20] ^ 1);
  EXPECT_THAT(error_of(bytes), HasSubstr("broken PNG: "));
}

// --- JPEG

std::vector<std::uint8_t> plain_rows(std::size_t pixels, const std::vector<std::uint8_t>& pixel) {
  std::vector<std::uint8_t> rows;
  for (std::size_t i = 0; i < pixels; ++i) {
    rows.insert(rows.end(), pixel.begin(), pixel.end());
  }
  return rows;
}

TEST(ReadJpeg, AColourPictureComesBackClosely) {
  const Picture picture = read_bytes(jpeg_file(16, 8, {}, plain_rows(128, {200, 200, 200})));
  EXPECT_EQ(picture.width, 16U);
  EXPECT_EQ(picture.height, 8U);
  EXPECT_EQ(picture.channels, 3);
  EXPECT_THAT(picture.bytes, Each(AllOf(Ge(198), Le(202))));
}

TEST(ReadJpeg, AGreyPictureHasOneChannel) {
  const Picture picture = read_bytes(jpeg_file(8, 8, {.channels = 1}, plain_rows(64, {77})));
  EXPECT_EQ(picture.channels, 1);
  EXPECT_THAT(picture.bytes, Each(77));
}

TEST(ReadJpeg, ProgressiveFilesAreRead) {
  const auto rows = plain_rows(64, {50, 60, 70});
  EXPECT_EQ(read_bytes(jpeg_file(8, 8, {.progressive = true}, rows)).bytes,
            read_bytes(jpeg_file(8, 8, {}, rows)).bytes);
}

TEST(ReadJpeg, FourInksBecomeColours) {
  // libjpeg marks four inks as Adobe's, for which 255 is no ink: light 200 under black 128 of 255
  // leaves 200 * 128 / 255 = 100.
  const Picture picture =
      read_bytes(jpeg_file(8, 8, {.channels = 4}, plain_rows(64, {200, 200, 200, 128})));
  EXPECT_EQ(picture.channels, 3);
  EXPECT_EQ(picture.bytes.size(), 64U * 3);
  EXPECT_THAT(picture.bytes, Each(AllOf(Ge(98), Le(102))));
}

TEST(ReadJpeg, TheEmbeddedProfileComesAlong) {
  const auto profile = profile_for("RGB ");
  EXPECT_EQ(
      read_bytes(jpeg_file(8, 8, {.profile = profile}, plain_rows(64, {1, 2, 3}))).icc_profile,
      profile);
}

TEST(ReadJpeg, AProfileOfAnotherColourSpaceIsDropped) {
  const auto rows = plain_rows(64, {9, 9, 9, 255});
  EXPECT_TRUE(read_bytes(jpeg_file(8, 8, {.channels = 4, .profile = profile_for("CMYK")}, rows))
                  .icc_profile.empty());
  EXPECT_TRUE(read_bytes(jpeg_file(8, 8, {.channels = 1, .profile = profile_for("RGB ")},
                                   plain_rows(64, {9})))
                  .icc_profile.empty());
}

TEST(ReadJpeg, PiecesThatDoNotMakeAProfileAreDropped) {
  std::string bytes = jpeg_file(8, 8, {.profile = profile_for("RGB ")}, plain_rows(64, {1, 2, 3}));
  const std::size_t name = bytes.find("ICC_PROFILE");
  ASSERT_NE(name, std::string::npos);
  bytes[name + 12] = 2;  // the second piece of one
  EXPECT_TRUE(read_bytes(bytes).icc_profile.empty());
}

TEST(ReadJpeg, TheOrientationIsReadInBothByteOrders) {
  for (int orientation = 1; orientation <= 8; ++orientation) {
    for (const bool little : {true, false}) {
      const Picture picture = read_bytes(jpeg_file(
          8, 8, {.orientation = orientation, .little_endian = little}, plain_rows(64, {1, 2, 3})));
      EXPECT_EQ(picture.orientation, orientation) << little;
    }
  }
}

TEST(ReadJpeg, AnOrientationThatDoesNotExistIsUpright) {
  EXPECT_EQ(read_bytes(jpeg_file(8, 8, {.orientation = 9}, plain_rows(64, {1, 2, 3}))).orientation,
            1);
}

TEST(ReadJpeg, ExifThatPointsOutsideItselfIsUpright) {
  std::string bytes = jpeg_file(8, 8, {.orientation = 6}, plain_rows(64, {1, 2, 3}));
  const std::size_t tiff = bytes.find("II*");
  ASSERT_NE(tiff, std::string::npos);
  bytes.replace(tiff + 4, 4, "\xff\xff\xff\x7f");
  EXPECT_EQ(read_bytes(bytes).orientation, 1);
}

TEST(ReadJpeg, AFileCutAnywhereIsAnErrorAndNeverAPicture) {
  const auto rows = numbered(12288);
  for (const bool progressive : {false, true}) {
    const std::string whole = jpeg_file(64, 64, {.progressive = progressive}, rows);
    for (std::size_t size = 1; size < whole.size(); size += 97) {
      EXPECT_THAT(error_of(whole.substr(0, size)), HasSubstr("broken JPEG: ")) << size;
    }
  }
}

// Not every changed byte shows, but what libjpeg tells of is no picture for a sheet.
TEST(ReadJpeg, DamagedArithmeticCodeIsAnErrorWhereItShows) {
  const std::string whole =
      jpeg_file(64, 64, {.channels = 1, .arithmetic = true}, numbered(64 * 64));
  EXPECT_EQ(error_of(whole), "no error");
  int told = 0;
  for (std::size_t at = whole.size() / 2; at + 20 < whole.size(); at += 5) {
    std::string wrong = whole;
    wrong[at] = static_cast<char>(wrong[at] ^ 0x55);
    told += error_of(wrong) == "broken JPEG: Corrupt JPEG data: bad arithmetic code" ? 1 : 0;
  }
  EXPECT_GT(told, 0);
}

TEST(ReadJpeg, SizesThatAreTooLargeAreNamed) {
  std::string bytes = jpeg_file(8, 8, {}, plain_rows(64, {1, 2, 3}));
  // The frame header: marker, length 17, 8 bits, then height and width of 8.
  const std::size_t frame = bytes.find("\xff\xc0\x00\x11\x08\x00\x08\x00\x08"s);
  ASSERT_NE(frame, std::string::npos);
  bytes.replace(frame + 5, 4, "\xff\xdc\xff\xdc");
  EXPECT_EQ(error_of(bytes), "the picture is too large (65500 x 65500)");
}

// --- PPM and PGM

TEST(ReadPnm, ColourAndGreyAreRead) {
  EXPECT_THAT(read_bytes("P6\n2 1\n255\nabcdef").bytes, ElementsAreArray("abcdef", 6));
  const Picture grey = read_bytes("P5 3 1 255\nxyz");
  EXPECT_EQ(grey.channels, 1);
  EXPECT_THAT(grey.bytes, ElementsAreArray("xyz", 3));
}

TEST(ReadPnm, CommentsInTheHeaderArePassedOver) {
  EXPECT_THAT(read_bytes("P6 # made by hand\n#\n 1 # wide\n1\n255\nabc").bytes,
              ElementsAreArray("abc", 3));
}

TEST(ReadPnm, SmallerMaximaAreWidened) {
  EXPECT_THAT(read_bytes("P5 3 1 15\n\x00\x05\x0f"s).bytes, ElementsAre(0, 85, 255));
}

TEST(ReadPnm, SixteenBitsAreHighByteFirst) {
  const Picture picture = read_bytes("P5 1 1 65535\n\x12\x34"s);
  EXPECT_EQ(picture.bits, 16);
  EXPECT_EQ(picture.sample(0, 0, 0), 0x1234);
}

// A row takes its memory at once, so twenty bytes must not promise one of a gigabyte.
TEST(ReadPicture, SidesLongerThanAMillionPixelsAreTooLarge) {
  EXPECT_EQ(error_of("P6 199999999 1 2532\n"), "the picture is too large (199999999 x 1)");
  EXPECT_EQ(error_of("P5 1 1048577 255\n"), "the picture is too large (1 x 1048577)");
  EXPECT_EQ(error_of(png_without_pixels(1048577, 1)), "the picture is too large (1048577 x 1)");
  EXPECT_EQ(error_of("P5 1048576 1 255\n" + std::string(1048576, 'x')), "no error");
}

TEST(ReadPnm, BrokenFilesAreNamed) {
  EXPECT_EQ(error_of("P6\n2 2\n255\nabc"), "the PPM file ends early, in row 0");
  EXPECT_EQ(error_of("P6\n2 2\n255\nabcdefgh"), "the PPM file ends early, in row 1");
  EXPECT_EQ(error_of("P6\n"), "the PPM header is broken");
  EXPECT_EQ(error_of("P6\n-2 2\n255\n"), "the PPM header is broken");
  EXPECT_EQ(error_of("P6\n2 2\n0\n"), "the PPM header is broken");
  EXPECT_EQ(error_of("P6\n2 2\n65536\n"), "the PPM header is broken");
  EXPECT_EQ(error_of("P6\n99999999999999999999 2\n255\n"), "the PPM header is broken");
  EXPECT_EQ(error_of("P6\n0 2\n255\n"), "the picture is empty (0 x 2)");
  EXPECT_EQ(error_of("P6\n900000000 900000000\n255\n"),
            "the picture is too large (900000000 x 900000000)");
  EXPECT_EQ(error_of("P3\n1 1\n255\n1 2 3\n"), "only binary PGM (P5) and PPM (P6) are read");
}

// --- what is no picture

TEST(ReadPicture, WhatIsNoPictureIsNamed) {
  EXPECT_EQ(error_of("GIF89a"), "neither PNG nor JPEG nor PPM");
  EXPECT_EQ(error_of(""), "the file is empty");
}

TEST(ReadPicture, WhatCannotBeOpenedIsNamed) {
  const ScratchFolder folder;
  std::string error;
  EXPECT_FALSE(read_picture(folder.path() + "/missing.png", error));
  EXPECT_EQ(error, "No such file or directory");
  EXPECT_FALSE(read_picture(folder.path(), error));
  EXPECT_EQ(error, "Is a directory");
}

// Files that were right until some of their bytes were changed. Whatever happens, it is a picture
// of sound size or a named error.
TEST(ReadPicture, DamagedFilesAreAPictureOrANamedError) {
  const std::vector<std::string> whole = {
      png_file(20, 15, {}, numbered(900)),
      png_file(20, 15, {.colour_type = 6, .bits = 16, .interlaced = true}, numbered(2400)),
      png_file(16, 15, {.colour_type = 3, .bits = 2}, numbered(60)),
      jpeg_file(20, 15, {.orientation = 6, .profile = profile_for("RGB ")}, numbered(900)),
      jpeg_file(20, 15, {.channels = 4, .progressive = true}, numbered(1200)),
      "P6\n# comment\n20 15\n255\n" + std::string(900, 'x'),
      "P5 20 15 65535\n" + std::string(600, 'x'),
  };
  std::mt19937 random(20261121);
  const ScratchFolder folder;
  for (const std::string& right : whole) {
    for (int round = 0; round < 150; ++round) {
      std::string wrong = right;
      for (unsigned change = 0; change <= random() % 4; ++change) {
        // Every second change hits the headers, where sizes stand.
        const std::size_t range =
            random() % 2 == 0 ? wrong.size() : std::min<std::size_t>(64, wrong.size());
        wrong[random() % range] = static_cast<char>(random());
      }
      std::string error;
      const auto picture = read_picture(folder.write("x", wrong), error);
      if (picture) {
        EXPECT_EQ(picture->bytes.size(), picture->row_bytes() * picture->height);
      } else {
        EXPECT_FALSE(error.empty());
      }
    }
  }
}

// --- writing

TEST(WritePng, WhatWasWrittenIsReadBack) {
  const ScratchFolder folder;
  for (const int channels : {1, 3}) {
    for (const int bits : {8, 16}) {
      Picture picture;
      picture.width = 3;
      picture.height = 2;
      picture.channels = channels;
      picture.bits = bits;
      picture.bytes = numbered(picture.row_bytes() * 2);
      std::string error;
      ASSERT_TRUE(write_png(folder.path() + "/x.png", picture, {300, 600}, error)) << error;
      const auto again = read_picture(folder.path() + "/x.png", error);
      ASSERT_TRUE(again) << error;
      EXPECT_EQ(again->bits, bits);
      EXPECT_EQ(again->channels, channels);
      EXPECT_EQ(again->bytes, picture.bytes);
    }
  }
}

TEST(WritePng, TheDensityIsInDotsPerMetre) {
  const ScratchFolder folder;
  std::string error;
  ASSERT_TRUE(write_png(folder.path() + "/x.png", blank_picture(1, 1), {300, 600}, error));
  // 300 and 600 dpi are 11811 (0x2e23) and 23622 (0x5c46) dots per metre.
  EXPECT_THAT(folder.read("x.png").value_or(""), HasSubstr("pHYs\0\0\x2e\x23\0\0\x5c\x46\x01"s));
}

TEST(WritePng, AFullDiskIsAnErrorAndTheDeviceStays) {
  std::string error;
  EXPECT_FALSE(write_png("/dev/full", blank_picture(500, 500), {}, error));
  EXPECT_EQ(error, "No space left on device");
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

TEST(WritePng, AFolderThatIsNotThereIsAnError) {
  const ScratchFolder folder;
  std::string error;
  EXPECT_FALSE(write_png(folder.path() + "/no/x.png", blank_picture(1, 1), {}, error));
  EXPECT_EQ(error, "No such file or directory");
}

// --- sheets

Sheet two_by_one() {
  Sheet sheet;
  sheet.width = 2;
  sheet.height = 1;
  sheet.plane[0] = {1, 2};
  sheet.plane[1] = {3, 4};
  sheet.plane[2] = {5, 6};
  return sheet;
}

TEST(SheetPicture, UndoesTheMirrorForTheCustomer) {
  EXPECT_THAT(sheet_picture(two_by_one(), Mirror::undo).bytes, ElementsAre(2, 4, 6, 1, 3, 5));
}

TEST(SheetPicture, LeavesTheMirrorWhenAsked) {
  EXPECT_THAT(sheet_picture(two_by_one(), Mirror::leave).bytes, ElementsAre(1, 3, 5, 2, 4, 6));
}

// --- turning: what a camera stored in each of the eight ways

Picture grey_picture(std::uint32_t width, std::uint32_t height,
                     const std::vector<std::uint8_t>& bytes) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  picture.channels = 1;
  picture.bytes = bytes;
  return picture;
}

TEST(Upright, EveryOrientationShowsTheSamePicture) {
  // Seen upright:  1 2 3     Each line holds how a camera stores it, with the first row and column
  //                4 5 6     lying as the orientation says.
  const struct {
    int orientation;
    std::uint32_t width;
    std::vector<std::uint8_t> stored;
  } cases[] = {
      {1, 3, {1, 2, 3, 4, 5, 6}}, {2, 3, {3, 2, 1, 6, 5, 4}}, {3, 3, {6, 5, 4, 3, 2, 1}},
      {4, 3, {4, 5, 6, 1, 2, 3}}, {5, 2, {1, 4, 2, 5, 3, 6}}, {6, 2, {3, 6, 2, 5, 1, 4}},
      {7, 2, {6, 3, 5, 2, 4, 1}}, {8, 2, {4, 1, 5, 2, 6, 3}},
  };
  for (const auto& one : cases) {
    Picture picture = grey_picture(one.width, 6 / one.width, one.stored);
    picture.orientation = one.orientation;
    const Picture seen = upright(picture);
    EXPECT_EQ(seen.width, 3U) << one.orientation;
    EXPECT_EQ(seen.height, 2U);
    EXPECT_EQ(seen.orientation, 1);
    EXPECT_THAT(seen.bytes, ElementsAre(1, 2, 3, 4, 5, 6)) << one.orientation;
  }
}

// --- sizes

// 5000 + 12 pixels wide and a gap; a row is 20000 and a caption of 20 with a gap of 12: two rows
// are 201 million pixels, three would be more than the 268 million that are made.
TEST(ContactSheetPicture, WhatWouldBeTooLargeIsRefusedBeforeItIsMade) {
  Picture tall;  // only the size is looked at
  tall.width = 5000;
  tall.height = 20000;
  ContactSheet sheet(1, 5000);
  EXPECT_TRUE(sheet.add("", tall));
  EXPECT_TRUE(sheet.add("", tall));
  EXPECT_FALSE(sheet.add("", tall));
  EXPECT_EQ(sheet.count(), 2U);
}

TEST(EightBitColours, SixteenBitsAreRoundedAndGreyIsAllThree) {
  Picture grey;
  grey.width = 2;
  grey.height = 1;
  grey.channels = 1;
  grey.bits = 16;
  const std::uint16_t samples[] = {128 * 257 + 128, 128 * 257 + 129};  // the second nearer to 129
  grey.bytes.resize(4);
  std::memcpy(grey.bytes.data(), samples, 4);
  EXPECT_EQ(eight_bit_colours(grey).bytes,
            (std::vector<std::uint8_t>{128, 128, 128, 129, 129, 129}));
}

TEST(Scaled, ItsOwnSizeChangesNothing) {
  const Picture noise = *draw_test_picture("noise", 37, 23);
  EXPECT_EQ(scaled(noise, 37, 23).bytes, noise.bytes);
}

TEST(Scaled, OnePlainColourStaysPlainAtAnySize) {
  Picture plain = grey_picture(7, 5, std::vector<std::uint8_t>(35, 93));
  for (const auto& [width, height] : {std::pair{1, 1}, {3, 2}, {50, 40}, {1, 40}, {50, 1}}) {
    EXPECT_THAT(scaled(plain, width, height).bytes, Each(93)) << width << " x " << height;
  }
}

TEST(Scaled, HalfTheSizeWeighsTheNeighboursAsATriangle) {
  // The middle of the two lies between samples 1 and 2; the triangle reaches two samples to each
  // side: weights 1, 3, 3, 1 of 8 for the samples 0 to 3 (the outer ones fall out at the edges).
  const Picture picture = grey_picture(8, 1, {0, 0, 0, 80, 80, 160, 0, 0});
  const Picture half = scaled(picture, 4, 1);
  // Sample 1: 0, 0, 80 (samples 1..4 weigh 1, 3, 3, 1): (0 + 0 + 240 + 80) / 8 = 40.
  EXPECT_EQ(half.bytes[1], 40);
  // Sample 2: samples 3..6: (80 + 240 + 480 + 0) / 8 = 100.
  EXPECT_EQ(half.bytes[2], 100);
}

TEST(Scaled, AThreadOfAMillionPixelsIsNoTrouble) {
  const Picture thread = grey_picture(1, 1000000, std::vector<std::uint8_t>(1000000, 50));
  const Picture page = scaled(thread, 1920, 1240);
  EXPECT_EQ(page.bytes.size(), 1920U * 1240U);
  EXPECT_THAT(std::vector<std::uint8_t>(page.bytes.begin(), page.bytes.begin() + 5000), Each(50));
}

TEST(Fitted, FillCutsBothEndsEvenly) {
  const Picture wide = grey_picture(4, 2, {1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_THAT(fitted(wide, 2, 2, Fit::fill).bytes, ElementsAre(2, 3, 6, 7));
  const Picture tall = grey_picture(2, 4, {1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_THAT(fitted(tall, 2, 2, Fit::fill).bytes, ElementsAre(3, 4, 5, 6));
}

TEST(Fitted, WholeLeavesWhiteAtBothEnds) {
  const Picture wide = grey_picture(2, 1, {10, 10});
  EXPECT_THAT(fitted(wide, 2, 3, Fit::whole).bytes, ElementsAre(255, 255, 10, 10, 255, 255));
  const Picture tall = grey_picture(1, 2, {10, 10});
  EXPECT_THAT(fitted(tall, 3, 2, Fit::whole).bytes, ElementsAre(255, 10, 255, 255, 10, 255));
}

TEST(Fitted, StretchTouchesEveryPixel) {
  const Picture wide = grey_picture(2, 1, {10, 10});
  EXPECT_THAT(fitted(wide, 2, 3, Fit::stretch).bytes, Each(10));
}

TEST(Fitted, RowsOfHalfTheHeightKeepTheShape) {
  // 4 x 8 pixels with rows twice as dense are a square: nothing of a square picture is cut.
  const Picture square = grey_picture(2, 2, {0, 255, 0, 255});
  const Picture page = fitted(square, 4, 8, Fit::fill, 2.0);
  EXPECT_EQ(page.bytes[0], 0);
  EXPECT_EQ(page.bytes[3], 255);
}

// --- drawn pictures

TEST(TestPictures, EveryNameDrawsEverySize) {
  for (const TestPictureName& name : test_picture_names()) {
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 7}, {9, 1}, {64, 48}}) {
      const auto picture = draw_test_picture(name.name, width, height);
      ASSERT_TRUE(picture) << name.name;
      EXPECT_EQ(picture->bytes.size(), static_cast<std::size_t>(width) * height * 3) << name.name;
    }
  }
  EXPECT_FALSE(draw_test_picture("nonsense", 1, 1));
}

TEST(TestPictures, CornersTellTheFourApart) {
  const Picture picture = *draw_test_picture("corners", 20, 10);
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
  const Picture picture = *draw_test_picture("landscape", 600, 400);
  const auto at = [&picture](std::uint32_t x, std::uint32_t y) {
    const std::uint8_t* pixel = &picture.bytes[(std::size_t{y} * 600 + x) * 3];
    return std::vector<int>{pixel[0], pixel[1], pixel[2]};
  };
  // The pen is a fourteenth of the height by eight: 3 pixels, drawn twice that away from the edge.
  EXPECT_EQ(at(7, 7), (std::vector<int>{236, 28, 36}));
  EXPECT_EQ(at(592, 7), (std::vector<int>{0, 200, 80}));
  EXPECT_EQ(at(592, 392), (std::vector<int>{30, 60, 230}));
  EXPECT_EQ(at(7, 392), (std::vector<int>{255, 222, 0}));
}

}  // namespace
