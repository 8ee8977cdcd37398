// k905-raster as users start it: reads real photos and writes raster pages, which libcups reads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/apps/picture_files.h"
#include "tests/apps/programs.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// One page of a picture; fails the test when there is not exactly one.
RasterPage one_page(const ScratchFolder& folder, const std::vector<std::string>& arguments,
                    const std::string& input = "") {
  const ChildResult result = run_program(folder, "k905-raster", arguments, input);
  EXPECT_EQ(result.status, 0) << result.log;
  EXPECT_THAT(result.log, IsEmpty());
  const std::vector<RasterPage> pages = raster_pages(result.output);
  EXPECT_EQ(pages.size(), 1U);
  return pages.empty() ? RasterPage{} : pages[0];
}

void expect_failure(const std::vector<std::string>& arguments, const std::string& message) {
  const ScratchFolder folder;
  const ChildResult result = run_program(folder, "k905-raster", arguments);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log, "k905-raster: " + message + "\n");
}

void expect_wrong_usage(const std::vector<std::string>& arguments, const std::string& message) {
  const ScratchFolder folder;
  const ChildResult result = run_program(folder, "k905-raster", arguments);
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.log, StartsWith("k905-raster: " + message));
  EXPECT_THAT(result.log, HasSubstr("--help"));
  EXPECT_THAT(result.output, IsEmpty());
}

std::vector<std::uint8_t> plain(std::size_t pixels, std::uint8_t red, std::uint8_t green,
                                std::uint8_t blue) {
  std::vector<std::uint8_t> rows;
  for (std::size_t i = 0; i < pixels; ++i) {
    rows.insert(rows.end(), {red, green, blue});
  }
  return rows;
}

TEST(RasterProgram, PngBecomesOnePageOfThePapersSize) {
  const ScratchFolder folder;
  folder.write("photo.png", png_file(30, 20, {}, plain(600, 10, 20, 30)));
  const RasterPage page = one_page(folder, {"photo.png"});
  // 460.8 x 297.6 points at 300 dpi.
  EXPECT_EQ(page.header.cupsWidth, 1920U);
  EXPECT_EQ(page.header.cupsHeight, 1240U);
  EXPECT_EQ(page.header.PageSize[0], 461U);
  EXPECT_EQ(page.header.PageSize[1], 298U);
  EXPECT_EQ(page.header.HWResolution[0], 300U);
  EXPECT_EQ(page.header.HWResolution[1], 300U);
  EXPECT_EQ(page.header.cupsBytesPerLine, 5760U);
  EXPECT_EQ(page.header.cupsColorOrder, CUPS_ORDER_CHUNKED);
  EXPECT_EQ(page.header.cupsColorSpace, CUPS_CSPACE_RGB);
  EXPECT_EQ(page.header.cupsNumColors, 3U);
  EXPECT_EQ(page.header.Orientation, CUPS_ORIENT_0);
  EXPECT_EQ(page.header.NumCopies, 1U);
  EXPECT_STREQ(page.header.cupsPageSizeName, "w288h432");
  EXPECT_EQ(page.pixels, plain(std::size_t{1920} * 1240, 10, 20, 30));
}

TEST(RasterProgram, AJpegIsReadFromStandardInput) {
  const ScratchFolder folder;
  const RasterPage page =
      one_page(folder, {"-s", "picture", "-"}, jpeg_file(16, 8, {}, plain(128, 128, 128, 128)));
  EXPECT_EQ(page.header.cupsWidth, 16U);
  EXPECT_EQ(page.header.cupsHeight, 8U);
  EXPECT_EQ(page.pixels, plain(128, 128, 128, 128));
}

TEST(RasterProgram, APpmIsRead) {
  const ScratchFolder folder;
  folder.write("x.ppm", "P6 2 1 255\nabcdef");
  EXPECT_THAT(one_page(folder, {"-s", "picture", "x.ppm"}).pixels,
              ElementsAre('a', 'b', 'c', 'd', 'e', 'f'));
}

TEST(RasterProgram, PortraitPhotoIsRotated) {
  const ScratchFolder folder;
  folder.write("x.jpg", jpeg_file(16, 8, {.orientation = 6}, plain(128, 9, 9, 9)));
  const RasterPage page = one_page(folder, {"-s", "picture", "x.jpg"});
  EXPECT_EQ(page.header.cupsWidth, 8U);
  EXPECT_EQ(page.header.cupsHeight, 16U);
}

TEST(RasterProgram, EveryPaperIsKnownByBothNames) {
  const ScratchFolder folder;
  const struct {
    const char* name;
    const char* label;
    unsigned width;
    unsigned height;
  } papers[] = {
      // Points times 300 / 72, rounded; the paper "default" has no points and uses its target size.
      {"B7", "5x3.5", 1920, 1088},
      {"w360h360", "5x5", 1920, 1540},
      {"w360h504", "5x7", 1920, 2138},
      {"w288h432", "6x4", 1920, 1240},
      {"w288h432-div2", "6x2*2", 1920, 2440},
      {"w432h576-div2", "6x4*2", 1920, 2498},
      {"w432h576-div4", "6x2*4", 1920, 2440},
      {"w432h432", "6x6", 1836, 1920},
      {"w432h576", "6x8", 1920, 2436},
      {"default", "default", 1844, 1240},
  };
  for (const auto& paper : papers) {
    for (const char* name : {paper.name, paper.label}) {
      const RasterPage page = one_page(folder, {"-f", "gray1", "-p", name, "test:white"});
      EXPECT_EQ(page.header.cupsWidth, paper.width) << name;
      EXPECT_EQ(page.header.cupsHeight, paper.height) << name;
    }
  }
}

TEST(RasterProgram, SixHundredDpiDoublesTheRowsAndKeepsTheShape) {
  const ScratchFolder folder;
  const RasterPage page = one_page(folder, {"-r", "300x600", "test:corners"});
  EXPECT_EQ(page.header.HWResolution[0], 300U);
  EXPECT_EQ(page.header.HWResolution[1], 600U);
  EXPECT_EQ(page.header.cupsWidth, 1920U);
  EXPECT_EQ(page.header.cupsHeight, 2480U);
}

TEST(RasterProgram, ALandscapePageHasItsSidesExchanged) {
  const ScratchFolder folder;
  const RasterPage page =
      one_page(folder, {"--orientation", "landscape", "-f", "gray8", "test:white"});
  EXPECT_EQ(page.header.Orientation, CUPS_ORIENT_90);
  EXPECT_EQ(page.header.cupsWidth, 1240U);
  EXPECT_EQ(page.header.cupsHeight, 1920U);
}

TEST(RasterProgram, EveryOrientationHasItsCode) {
  const ScratchFolder folder;
  unsigned code = 0;
  for (const char* name : {"portrait", "landscape", "reverse-portrait", "reverse-landscape"}) {
    const RasterPage page = one_page(folder, {"--orientation", name, "-s", "4x3", "test:white"});
    EXPECT_EQ(page.header.Orientation, code++) << name;
    EXPECT_EQ(page.header.cupsWidth, 4U) << "--size is not changed by the orientation";
  }
}

TEST(RasterProgram, HeaderNumbersCanBeSet) {
  const ScratchFolder folder;
  const RasterPage page = one_page(
      folder, {"--points", "297x461", "-n", "3", "--color-space", "K", "-s", "2x2", "test:white"});
  EXPECT_EQ(page.header.PageSize[0], 297U);
  EXPECT_EQ(page.header.PageSize[1], 461U);
  EXPECT_EQ(page.header.NumCopies, 3U);
  EXPECT_EQ(page.header.cupsColorSpace, CUPS_CSPACE_K);
  EXPECT_EQ(
      one_page(folder, {"--color-space", "19", "-s", "2x2", "test:white"}).header.cupsColorSpace,
      19);
}

// One pixel of red 200, green 100, blue 50 in every format.
struct FormatCase {
  const char* name;
  unsigned colors;
  unsigned bits;
  unsigned space;
  std::vector<std::uint8_t> bytes;
};

TEST(RasterProgram, EveryFormatStoresThePixelInItsLayout) {
  // Gray: (200 * 299 + 100 * 587 + 50 * 114) / 1000 = 124.2, in 16 bits 124.2 * 257 = 31919.4
  // (0x7caf). Inks: black 255 - 200 = 55, magenta (200 - 100) / 200 = 127.5 of 255, yellow 191.25.
  // In 16 bits magenta is 32767.5, yellow 49151.25; a byte b is b * 257, low byte first on this
  // machine.
  const std::vector<FormatCase> cases = {
      {"rgb8", 3, 8, 1, {200, 100, 50}},
      {"rgb16", 3, 16, 1, {200, 200, 100, 100, 50, 50}},
      {"gray8", 1, 8, 0, {124}},
      {"gray16", 1, 16, 0, {0xAF, 0x7C}},
      {"cmyk8", 4, 8, 6, {0, 128, 191, 55}},
      {"cmyk16", 4, 16, 6, {0, 0, 0, 0x80, 0xFF, 0xBF, 55, 55}},
  };
  const ScratchFolder folder;
  folder.write("x.ppm", std::string("P6 1 1 255\n\xc8\x64\x32"));
  for (const FormatCase& one : cases) {
    const RasterPage page = one_page(folder, {"-s", "picture", "-f", one.name, "x.ppm"});
    EXPECT_EQ(page.header.cupsNumColors, one.colors) << one.name;
    EXPECT_EQ(page.header.cupsBitsPerColor, one.bits) << one.name;
    EXPECT_EQ(page.header.cupsBitsPerPixel, one.bits * one.colors) << one.name;
    EXPECT_EQ(page.header.cupsColorSpace, one.space) << one.name;
    EXPECT_EQ(page.pixels, one.bytes) << one.name;
  }
}

TEST(RasterProgram, OneBitPagesPackEightPixelsToAByte) {
  const ScratchFolder folder;
  // Nine pixels: black, white, black, white, four black, white.
  folder.write("x.pgm", std::string("P5 9 1 1\n\0\1\0\1\0\0\0\0\1", 18));
  const RasterPage black_is_set = one_page(folder, {"-s", "picture", "-f", "gray1", "x.pgm"});
  EXPECT_EQ(black_is_set.header.cupsColorSpace, CUPS_CSPACE_K);
  EXPECT_THAT(black_is_set.pixels, ElementsAre(0xAF, 0x00));
  const RasterPage white_is_set =
      one_page(folder, {"-s", "picture", "-f", "gray1", "--color-space", "W", "x.pgm"});
  EXPECT_THAT(white_is_set.pixels, ElementsAre(0x50, 0x80));
}

TEST(RasterProgram, GrayIsInvertedInAColorSpaceOfInk) {
  const ScratchFolder folder;
  folder.write("x.pgm", "P5 2 1 255\n\x01\xfe");
  EXPECT_THAT(
      one_page(folder, {"-s", "picture", "-f", "gray8", "--color-space", "K", "x.pgm"}).pixels,
      ElementsAre(254, 1));
}

TEST(RasterProgram, HalfGrayIsDitheredToHalfTheBits) {
  const ScratchFolder folder;
  folder.write("x.pgm", "P5 16 16 255\n" + std::string(256, '\x80'));
  const RasterPage page = one_page(folder, {"-s", "picture", "-f", "gray1", "x.pgm"});
  int set = 0;
  for (const std::uint8_t byte : page.pixels) {
    set += __builtin_popcount(byte);
  }
  EXPECT_EQ(set, 128);
}

TEST(RasterProgram, OneBitColorsAreAdjacent) {
  const ScratchFolder folder;
  // Red, green, blue: 100 010 001 from the highest bit on.
  folder.write("x.ppm", std::string("P6 3 1 1\n\1\0\0\0\1\0\0\0\1", 18));
  const RasterPage page = one_page(folder, {"-s", "picture", "-f", "rgb1", "x.ppm"});
  EXPECT_EQ(page.header.cupsBitsPerPixel, 3U);
  EXPECT_THAT(page.pixels, ElementsAre(0x88, 0x80));
}

TEST(RasterProgram, SeveralPicturesAreSeveralPagesInTheirOrder) {
  const ScratchFolder folder;
  folder.write("a.ppm", "P6 1 1 255\naaa");
  folder.write("b.ppm", "P6 1 2 255\nbbbccc");
  const ChildResult result =
      run_program(folder, "k905-raster", {"-s", "picture", "b.ppm", "test:black:1x1", "a.ppm"});
  const std::vector<RasterPage> pages = raster_pages(result.output);
  ASSERT_EQ(pages.size(), 3U);
  EXPECT_THAT(pages[0].pixels, ElementsAre('b', 'b', 'b', 'c', 'c', 'c'));
  EXPECT_THAT(pages[1].pixels, ElementsAre(0, 0, 0));
  EXPECT_THAT(pages[2].pixels, ElementsAre('a', 'a', 'a'));
}

TEST(RasterProgram, CompressedStreamHasTheSamePixelsInFewerBytes) {
  const ScratchFolder folder;
  const std::vector<std::string> arguments = {"-s", "300x200", "test:patches"};
  const ChildResult plain_stream = run_program(folder, "k905-raster", arguments);
  const ChildResult compressed =
      run_program(folder, "k905-raster", {"-c", "-s", "300x200", "test:patches"});
  EXPECT_LT(compressed.output.size(), plain_stream.output.size() / 10);
  EXPECT_EQ(raster_pages(compressed.output).at(0).pixels,
            raster_pages(plain_stream.output).at(0).pixels);
}

TEST(RasterProgram, FitIsAnOption) {
  const ScratchFolder folder;
  folder.write("wide.pgm", std::string("P5 3 1 255\n\0\x64\0", 14));
  const auto gray = [&folder](const char* fit, const char* size) {
    return one_page(folder, {"-f", "gray8", "--fit", fit, "-s", size, "wide.pgm"}).pixels;
  };
  EXPECT_THAT(gray("fill", "1x1"), ElementsAre(100));
  EXPECT_THAT(gray("whole", "3x3"), ElementsAre(255, 255, 255, 0, 100, 0, 255, 255, 255));
  EXPECT_THAT(gray("stretch", "3x2"), ElementsAre(0, 100, 0, 0, 100, 0));
}

TEST(RasterProgram, PageIsWrittenAsPng) {
  const ScratchFolder folder;
  const RasterPage page =
      one_page(folder, {"-s", "20x10", "--page-png", "page.png", "test:corners"});
  EXPECT_EQ(picture_in(folder, "page.png").bytes, page.pixels);

  const ChildResult result =
      run_program(folder, "k905-raster", {"--page-png", "/nowhere/x.png", "test:corners"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log, "k905-raster: /nowhere/x.png: No such file or directory\n");
}

TEST(RasterProgram, WritesToAFile) {
  const ScratchFolder folder;
  const ChildResult result =
      run_program(folder, "k905-raster", {"-s", "2x2", "-o", "out.ras", "test:white"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, IsEmpty());
  EXPECT_EQ(raster_pages(folder.read("out.ras").value_or("")).size(), 1U);
}

TEST(RasterProgram, HelpVersionAndListSucceed) {
  const ScratchFolder folder;
  const ChildResult help = run_program(folder, "k905-raster", {"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_THAT(help.output, HasSubstr("--resolution"));
  const ChildResult version = run_program(folder, "k905-raster", {"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_THAT(version.output, testing::MatchesRegex("k905-raster [0-9]+\\.[0-9]+\\.[0-9]+\n"));
  const ChildResult list = run_program(folder, "k905-raster", {"--list"});
  EXPECT_EQ(list.status, 0);
  EXPECT_THAT(list.output, HasSubstr("w432h576-div4"));
  EXPECT_THAT(list.output, HasSubstr("cmyk8"));
  EXPECT_THAT(list.output, HasSubstr("landscape"));
}

TEST(RasterProgram, WrongUsageIsExitStatusTwo) {
  expect_wrong_usage({}, "no image given");
  expect_wrong_usage({"--no-such-option", "test:white"},
                     "unknown option --no-such-option; known options: --help, ");
  expect_wrong_usage({"-p", "A4", "test:white"}, "--paper: no paper is called \"A4\"");
  expect_wrong_usage({"-f", "rgb9", "test:white"}, "--format: not one of rgb8, ");
  expect_wrong_usage({"-r", "600x600", "test:white"}, "--resolution: ");
  expect_wrong_usage({"--color-space", "Lab", "test:white"},
                     "--color-space: neither a name nor a number: \"Lab\"");
  expect_wrong_usage({"-n", "-1", "test:white"}, "");
  expect_wrong_usage({"--points", "big", "test:white"}, "--points: not WxH: \"big\"");
  for (const char* size :
       {"", "0x5", "5x0", "5", "5x", "x5", "-5x5", "5x5x5", "5 x5", "65536x1", "99999999999x1"}) {
    expect_wrong_usage({"--size=" + std::string(size), "test:white"}, "");
  }
}

TEST(RasterProgram, PicturesThatCannotBeReadAreNamedWithExitStatusOne) {
  expect_failure({"missing.png"}, "missing.png: No such file or directory");
  expect_failure({"test:nonsense"}, "test:nonsense: no such test image (see --list)");
  expect_failure({"test:white:0x1"}, "test:white:0x1: the size of a test image is written WxH");
  const ScratchFolder folder;
  const std::string whole = png_file(40, 40, {}, plain(1600, 1, 2, 3));
  folder.write("cut.png", whole.substr(0, whole.size() - 20));
  const ChildResult cut = run_program(folder, "k905-raster", {"cut.png"});
  EXPECT_EQ(cut.status, 1);
  // The reason is the text of the library, in Debian 12 or in Debian 13.
  EXPECT_THAT(cut.log, testing::AnyOf("k905-raster: cut.png: libpng read error\n",
                                      "k905-raster: cut.png: end of stream\n"));
  folder.write("huge.png", png_without_pixels(100000, 100000));
  const ChildResult huge = run_program(folder, "k905-raster", {"huge.png"});
  EXPECT_EQ(huge.status, 1);
  EXPECT_EQ(huge.log, "k905-raster: huge.png: the photo is too large (100000 x 100000)\n");
}

TEST(RasterProgram, RemovesAnIncompleteFile) {
  const ScratchFolder folder;
  const ChildResult result =
      run_program(folder, "k905-raster", {"-o", "out.ras", "test:white", "missing.png"});
  EXPECT_EQ(result.status, 1);
  EXPECT_FALSE(folder.read("out.ras"));
}

TEST(RasterProgram, AnEarlierFileIsReplacedByACompleteOneOnly) {
  const ScratchFolder folder;
  folder.write("out.ras", "earlier");
  EXPECT_EQ(
      run_program(folder, "k905-raster", {"-o", "out.ras", "test:white", "missing.png"}).status, 1);
  EXPECT_EQ(folder.read("out.ras"), "earlier");
  EXPECT_EQ(run_program(folder, "k905-raster", {"-s", "9x9", "-o", "out.ras", "test:white"}).status,
            0);
  EXPECT_EQ(raster_pages(folder.read("out.ras").value_or("")).size(), 1U);
  const auto all = std::filesystem::directory_iterator(folder.path());
  EXPECT_EQ(std::distance(begin(all), end(all)), 1);
}

TEST(RasterProgram, AnOutputThatIsOneOfThePhotosIsRefused) {
  const ScratchFolder folder;
  const std::string photo = png_file(3, 2, {}, plain(6, 1, 2, 3));
  folder.write("photo.png", photo);
  for (const char* option : {"-o", "--page-png"}) {
    const ChildResult result =
        run_program(folder, "k905-raster", {"test:white", option, "./photo.png", "photo.png"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.log, HasSubstr("./photo.png is one of the photos"));
    EXPECT_EQ(folder.read("photo.png"), photo);
  }
}

TEST(RasterProgram, AFullDiskIsExitStatusOne) {
  expect_failure({"-o", "/dev/full", "test:noise"},
                 "the raster cannot be written: No space left on device");
}

TEST(RasterProgram, AnOutputThatCannotBeOpenedIsExitStatusOne) {
  expect_failure({"-o", "no/such/folder", "test:white"},
                 "no/such/folder: No such file or directory");
}

TEST(RasterProgram, ManyPagesShowTheirProgressOnATerminalOnly) {
  const ScratchFolder folder;
  const std::vector<std::string> many = {"-s", "9x9", "test:white", "test:white", "test:white"};
  EXPECT_THAT(run_on_terminal(folder, "k905-raster", many), HasSubstr("page 1 of 3"));
  EXPECT_THAT(run_program(folder, "k905-raster", many).log, IsEmpty());
  EXPECT_THAT(run_on_terminal(folder, "k905-raster", {"-s", "9x9", "test:white"}), IsEmpty());
}

}  // namespace
