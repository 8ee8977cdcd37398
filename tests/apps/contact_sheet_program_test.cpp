// k905-preview --contact: sheets and photos in one image.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/apps/picture_files.h"
#include "tests/apps/programs.h"
#include "tests/support/wire_stream.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;
using testing::Not;
using testing::StartsWith;

const std::vector<int> kBackground{222, 222, 222};

std::vector<int> pixel(const k905::Picture& picture, std::uint32_t x, std::uint32_t y) {
  const std::size_t at = (std::size_t{y} * picture.width + x) * 3;
  return {picture.bytes[at], picture.bytes[at + 1], picture.bytes[at + 2]};
}

// The caption that starts at x and whose highest row is y: its pixels, in a field of width x 20.
std::vector<int> caption_at(const k905::Picture& picture, std::uint32_t x, std::uint32_t y,
                            std::uint32_t width) {
  std::vector<int> pixels;
  for (std::uint32_t row = y; row < y + 20; ++row) {
    for (std::uint32_t column = x; column < x + width; ++column) {
      pixels.push_back(pixel(picture, column, row)[0]);
    }
  }
  return pixels;
}

bool has_ink(const std::vector<int>& caption) {
  return std::any_of(caption.begin(), caption.end(), [](int value) { return value < 60; });
}

ChildResult contact(const ScratchFolder& folder, std::vector<std::string> arguments,
                    const std::string& input = "") {
  arguments.insert(arguments.begin(), {"--contact", "out.png"});
  return run_program(folder, "k905-preview", arguments, input);
}

// A sheet twice as wide as tall, all of one gray.
std::string gray_sheet(std::uint8_t value) {
  SheetContent sheet;
  sheet.width = 8;
  sheet.height = 4;
  sheet.plane.fill(std::vector<std::uint8_t>(32, value));
  return wire_sheet(sheet);
}

TEST(ContactSheetProgram, PutsPicturesSideBySideWithTheirNames) {
  const ScratchFolder folder;
  folder.write("a.ppm", "P6 1 1 255\nabc");
  folder.write("b.pgm", "P5 1 2 255\nxx");
  const ChildResult result = contact(folder, {"-w", "20", "-c", "5", "T=a.ppm", "b.pgm"});
  ASSERT_EQ(result.status, 0) << result.log;
  EXPECT_EQ(result.output, "2 images -> out.png\n");
  const k905::Picture sheet = picture_in(folder, "out.png");
  // Two columns of 20 with gaps of 12; one row of 40 (the taller picture), a caption of 14 + 6 and
  // gaps of 12.
  EXPECT_EQ(sheet.width, 2U * 32 + 12);
  EXPECT_EQ(sheet.height, 40U + 20 + 12 + 12);
  EXPECT_THAT(pixel(sheet, 12, 12), ElementsAre('a', 'b', 'c'));
  EXPECT_THAT(pixel(sheet, 31, 31), ElementsAre('a', 'b', 'c'));
  EXPECT_THAT(pixel(sheet, 44, 51), ElementsAre('x', 'x', 'x'));
  EXPECT_TRUE(has_ink(caption_at(sheet, 12, 12 + 40 + 6, 20)));
  EXPECT_TRUE(has_ink(caption_at(sheet, 44, 12 + 40 + 6, 20)));
  EXPECT_FALSE(has_ink(caption_at(sheet, 32, 12 + 40 + 6, 12))) << "between the captions";
}

TEST(ContactSheetProgram, SheetsOfAJobAreNumberedInOneImage) {
  const ScratchFolder folder;
  const ChildResult result =
      contact(folder, {"--width", "100"}, gray_sheet(77) + gray_sheet(99) + gray_sheet(11));
  ASSERT_EQ(result.status, 0) << result.log;
  EXPECT_THAT(result.output, HasSubstr("sheet 3: 8 x 4, glossy, cutter 0, "));
  EXPECT_THAT(result.output, testing::EndsWith("\n3 images -> out.png\n"));
  EXPECT_THAT(result.output, Not(HasSubstr("sheet-1.png")));
  EXPECT_FALSE(folder.read("sheet-1.png"));
  const k905::Picture sheet = picture_in(folder, "out.png");
  EXPECT_EQ(sheet.width, 3U * 112 + 12);
  EXPECT_EQ(sheet.height, 50U + 20 + 12 + 12);
  EXPECT_THAT(pixel(sheet, 12, 12), ElementsAre(77, 77, 77));
  EXPECT_THAT(pixel(sheet, 124, 61), ElementsAre(99, 99, 99));
  EXPECT_THAT(pixel(sheet, 335, 61), ElementsAre(11, 11, 11));
  const auto first = caption_at(sheet, 12, 12 + 50 + 6, 100);
  const auto second = caption_at(sheet, 124, 12 + 50 + 6, 100);
  EXPECT_TRUE(has_ink(first));
  EXPECT_TRUE(has_ink(second));
  EXPECT_NE(first, second);
}

TEST(ContactSheetProgram, CaptionIsForTheFirstSheetAndNumbersTheOthers) {
  const ScratchFolder folder;
  folder.write("a.prn", gray_sheet(1) + gray_sheet(2));
  folder.write("b.prn", gray_sheet(1));
  const std::vector<std::string> files{"-w",      "100",       "-c",           "6", "T=a.prn", "-",
                                       "T=b.prn", "T 2=b.prn", "sheet 3=b.prn"};
  ASSERT_EQ(contact(folder, files, gray_sheet(3)).status, 0);
  const k905::Picture sheet = picture_in(folder, "out.png");
  const auto caption = [&sheet](std::uint32_t i) {
    return caption_at(sheet, 12 + 112 * i, 12 + 50 + 6, 100);
  };
  EXPECT_TRUE(has_ink(caption(0)));
  EXPECT_NE(caption(0), caption(1));
  for (std::uint32_t i = 0; i < 3; ++i) {
    EXPECT_EQ(caption(i), caption(i + 3)) << i;
  }
}

TEST(ContactSheetProgram, CaptionWiderThanItsPictureIsTruncated) {
  const ScratchFolder folder;
  folder.write("a.ppm", "P6 1 1 255\nabc");
  ASSERT_EQ(contact(folder, {"-w", "24", "TTTTTTTT=a.ppm", "=a.ppm"}).status, 0);
  const k905::Picture sheet = picture_in(folder, "out.png");
  const std::uint32_t caption = 12 + 24 + 6;
  EXPECT_TRUE(has_ink(caption_at(sheet, 12, caption, 24)));
  EXPECT_FALSE(has_ink(caption_at(sheet, 12 + 24, caption, sheet.width - 12 - 24)));
}

TEST(ContactSheetProgram, ImageWithoutCaptionShowsItsFileName) {
  const ScratchFolder folder;
  folder.write("T.ppm", "P6 1 1 255\nabc");
  ASSERT_EQ(contact(folder, {"-w", "80", "T=./T.ppm", "./T.ppm", "=T.ppm"}).status, 0);
  const k905::Picture sheet = picture_in(folder, "out.png");
  const std::uint32_t caption = 12 + 80 + 6;
  EXPECT_TRUE(has_ink(caption_at(sheet, 104, caption, 80)));
  EXPECT_EQ(caption_at(sheet, 12, caption, 80), caption_at(sheet, 104, caption, 80));
  EXPECT_FALSE(has_ink(caption_at(sheet, 196, caption, 80)));
}

TEST(ContactSheetProgram, CaptionIsShownUnchanged) {
  const ScratchFolder folder;
  folder.write("a.ppm", "P6 1 1 255\nabc");
  // Must be read neither as markup nor as an entity by the font renderer.
  ASSERT_EQ(contact(folder, {"-w", "80", "<b>T</b>=a.ppm", "&amp;=a.ppm", "T=a.ppm"}).status, 0);
  const k905::Picture sheet = picture_in(folder, "out.png");
  const std::uint32_t caption = 12 + 80 + 6;
  EXPECT_TRUE(has_ink(caption_at(sheet, 12 + 40, caption, 20))) << "longer than a T";
  EXPECT_TRUE(has_ink(caption_at(sheet, 104 + 20, caption, 20))) << "longer than an ampersand";
}

TEST(ContactSheetProgram, CaptionMayContainAnEqualsSign) {
  const ScratchFolder folder;
  folder.write("a.ppm", "P6 1 1 255\nabc");
  EXPECT_EQ(contact(folder, {"gamma=1600=a.ppm"}).status, 0);
}

TEST(ContactSheetProgram, SheetsAre480PixelsWideByDefault) {
  const ScratchFolder folder;
  ASSERT_EQ(contact(folder, {}, gray_sheet(1)).status, 0);
  EXPECT_EQ(picture_in(folder, "out.png").width, 480U + 24);
}

TEST(ContactSheetProgram, SheetAt600DpiHasItsTrueShape) {
  const ScratchFolder folder;
  SheetContent sheet;
  sheet.width = 1920;
  sheet.height = 2480;
  sheet.plane.fill(std::vector<std::uint8_t>(std::size_t{1920} * 2480, 77));
  ASSERT_EQ(contact(folder, {"-w", "192"}, wire_sheet(sheet)).status, 0);
  // 192 pixels wide, in the shape of 1800 x 1197.
  EXPECT_EQ(picture_in(folder, "out.png").height, 128U + 20 + 12 + 12);
}

TEST(ContactSheetProgram, PhotoIsRotatedByItsExifOrientation) {
  const ScratchFolder folder;
  JpegKind rotated;
  rotated.orientation = 6;
  folder.write("a.jpg", jpeg_file(4, 2, rotated, std::vector<std::uint8_t>(24, 9)));
  ASSERT_EQ(contact(folder, {"-w", "20", "a.jpg"}).status, 0);
  EXPECT_EQ(picture_in(folder, "out.png").height, 40U + 20 + 12 + 12);
}

TEST(ContactSheetProgram, PicturesOfEveryKindAreShownInTheirColors) {
  const ScratchFolder folder;
  PngKind gray;
  gray.color_type = 0;
  PngKind deep;
  deep.bits = 16;
  JpegKind gray_jpeg;
  gray_jpeg.channels = 1;
  JpegKind inks;
  inks.channels = 4;
  folder.write("a.png", png_file(1, 1, {}, {10, 120, 230}));
  folder.write("b.png", png_file(1, 1, gray, {77}));
  folder.write("c.png", png_file(1, 1, deep, {10, 10, 120, 120, 230, 230}));
  folder.write("d.jpg", jpeg_file(8, 8, gray_jpeg, std::vector<std::uint8_t>(64, 90)));
  folder.write("e.jpg", jpeg_file(8, 8, inks, std::vector<std::uint8_t>(256, 255)));  // bare paper
  ASSERT_EQ(
      contact(folder, {"-w", "8", "-c", "5", "a.png", "b.png", "c.png", "d.jpg", "e.jpg"}).status,
      0);
  const k905::Picture sheet = picture_in(folder, "out.png");
  const std::vector<std::vector<int>> wanted{
      {10, 120, 230}, {77, 77, 77}, {10, 120, 230}, {90, 90, 90}, {255, 255, 255}};
  for (std::uint32_t i = 0; i < wanted.size(); ++i) {
    EXPECT_EQ(pixel(sheet, 12 + 20 * i + 4, 12 + 4), wanted[i]) << i;
  }
}

TEST(ContactSheetProgram, ImagesOfOtherProgramsAreShownInEveryFormat) {
  const ScratchFolder folder;
  const std::vector<std::string> names{"stripes.tif", "stripes-lossless.webp", "stripes.gif",
                                       "stripes.heic"};
  std::vector<std::string> arguments{"-w", "48", "-c", "4"};
  for (const std::string& name : names) {
    arguments.push_back(K905_PHOTOS "/" + name);
  }
  const ChildResult result = contact(folder, arguments);
  ASSERT_EQ(result.status, 0) << result.log;
  const k905::Picture sheet = picture_in(folder, "out.png");
  const auto near = [](int value) { return AllOf(Ge(value - 8), Le(value + 8)); };  // HEIC is lossy
  for (std::uint32_t i = 0; i < names.size(); ++i) {
    const std::uint32_t left = 12 + 60 * i;  // three stripes side by side, 16 pixels each
    EXPECT_THAT(pixel(sheet, left + 8, 28), ElementsAre(near(200), near(40), near(40))) << names[i];
    EXPECT_THAT(pixel(sheet, left + 40, 28), ElementsAre(near(40), near(40), near(200)))
        << names[i];
  }
}

TEST(ContactSheetProgram, NothingIsWrittenWhenAFileIsInvalid) {
  const ScratchFolder folder;
  folder.write("good.prn", gray_sheet(1));
  folder.write("cut.prn", gray_sheet(1).substr(0, 40));
  folder.write("broken.png", "\x89 broken");
  for (const char* wrong : {"no.png", "cut.prn", "broken.png", "x=no.png"}) {
    const ChildResult result = contact(folder, {"good.prn", wrong});
    EXPECT_EQ(result.status, 1) << wrong;
    const std::string file = std::string(wrong).substr(wrong[1] == '=' ? 2 : 0);
    EXPECT_THAT(result.log, StartsWith("k905-preview: " + file + ": "));
    EXPECT_FALSE(folder.read("out.png")) << wrong;
  }
}

TEST(ContactSheetProgram, ImageThatCannotBeWrittenIsReported) {
  const ScratchFolder folder;
  const ChildResult result =
      run_program(folder, "k905-preview", {"--contact", "no/out.png"}, gray_sheet(1));
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log, "k905-preview: no/out.png: No such file or directory\n");
}

TEST(ContactSheetProgram, WrongUsageIsExitStatusTwo) {
  const ScratchFolder folder;
  for (const std::vector<std::string>& wrong :
       std::vector<std::vector<std::string>>{{"--output", "x"}, {"--check"}, {"--columns", "0"}}) {
    EXPECT_EQ(contact(folder, wrong, gray_sheet(1)).status, 2) << wrong[0];
  }
  EXPECT_EQ(run_program(folder, "k905-preview", {"--columns", "2"}, gray_sheet(1)).status, 2);
}

}  // namespace
