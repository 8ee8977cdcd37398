// k905-print as users start it, without CUPS: reads photos and writes sheets.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <array>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <set>
#include <sstream>

#include "apps/base/write_all.h"
#include "apps/image/photo.h"
#include "apps/wire/printer_stream.h"
#include "tests/apps/picture_files.h"
#include "tests/apps/programs.h"
#include "tests/print/running_program.h"
#include "tests/support/build_paths.h"
#include "tests/support/profile_builder.h"

namespace {

using testing::_;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

using Color = std::array<int, 3>;
constexpr Color kRed{230, 20, 20};
constexpr Color kGreen{20, 200, 30};
constexpr Color kBlue{30, 40, 220};
constexpr Color kGray{128, 128, 128};
constexpr Color kWhite{255, 255, 255};

ChildResult print(const ScratchFolder& folder, const std::vector<std::string>& arguments,
                  const std::string& input = "") {
  return run_program(folder, "k905-print", arguments, input);
}

// Visible colors: top left red, top right green, bottom left blue, bottom right gray.
std::vector<std::uint8_t> quarters(std::uint32_t width, std::uint32_t height,
                                   const std::array<Color, 4>& colors) {
  std::vector<std::uint8_t> rows;
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const Color& color = colors[(y >= height / 2 ? 2 : 0) + (x >= width / 2 ? 1 : 0)];
      for (const int value : color) {
        rows.push_back(static_cast<std::uint8_t>(value));
      }
    }
  }
  return rows;
}

const std::array<Color, 4> kQuarters{kRed, kGreen, kBlue, kGray};

std::string quartered_png(std::uint32_t width = 300, std::uint32_t height = 200) {
  return png_file(width, height, {}, quarters(width, height, kQuarters));
}

Color pixel(const k905::Picture& picture, double across, double down) {
  const auto x = static_cast<std::size_t>(across * (picture.width - 1));
  const auto y = static_cast<std::size_t>(down * (picture.height - 1));
  const std::uint8_t* at = picture.bytes.data() + 3 * (y * picture.width + x);
  return {at[0], at[1], at[2]};
}

bool close_to(const Color& a, const Color& b, int tolerance) {
  for (std::size_t i = 0; i < 3; ++i) {
    if (std::abs(a[i] - b[i]) > tolerance) {
      return false;
    }
  }
  return true;
}

void expect_quarters(const k905::Picture& sheet, const std::string& what, int tolerance = 8) {
  const std::array<std::array<double, 2>, 4> middles{
      {{0.3, 0.3}, {0.7, 0.3}, {0.3, 0.7}, {0.7, 0.7}}};
  for (std::size_t i = 0; i < 4; ++i) {
    const Color seen = pixel(sheet, middles[i][0], middles[i][1]);
    EXPECT_TRUE(close_to(seen, kQuarters[i], tolerance))
        << what << ", quarter " << i << ": " << seen[0] << " " << seen[1] << " " << seen[2];
  }
}

std::vector<k905::Sheet> sheets_in(const ScratchFolder& folder, const std::string& name) {
  const std::string bytes = folder.read(name).value_or("");
  const k905::ParsedStream stream =
      k905::parse_printer_stream(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  EXPECT_FALSE(stream.error) << name;
  return stream.sheets;
}

TEST(PrintProgram, PreviewShowsTheSheetOfTheCustomer) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  const ChildResult result = print(folder, {"--preview", "sheet.png", "photo.png"});
  EXPECT_EQ(result.status, 0) << result.log;
  EXPECT_EQ(result.output, "sheet.png\n");
  EXPECT_THAT(result.log, IsEmpty());
  const k905::Picture sheet = picture_in(folder, "sheet.png");
  EXPECT_EQ(sheet.width, 1800U);
  EXPECT_EQ(sheet.height, 1197U);
  expect_quarters(sheet, "png");
}

// A 6x4 sheet shows 1800 x 1197 pixels; the data for the printer has 70 more on the left and 25
// more at the top.
TEST(PrintProgram, PhotoOfTheSheetsSizeIsPrintedPixelByPixel) {
  const ScratchFolder folder;
  std::vector<std::uint8_t> rows;
  std::uint32_t state = 1;
  for (int i = 0; i < 1800 * 1197 * 3; ++i) {
    state = state * 1664525 + 1013904223;
    rows.push_back(static_cast<std::uint8_t>(state >> 24));
  }
  folder.write("photo.png", png_file(1800, 1197, {}, rows));
  ASSERT_EQ(print(folder, {"--preview", "sheet.png", "photo.png"}).status, 0);
  EXPECT_EQ(picture_in(folder, "sheet.png").bytes, rows);
  ASSERT_EQ(print(folder, {"--canvas", "--preview", "sheet.png", "photo.png"}).status, 0);
  const k905::Picture sheet = picture_in(folder, "sheet.png");
  std::size_t different = 0;
  for (std::size_t y = 0; y < 1197; ++y) {
    for (std::size_t x = 0; x < 1800 * 3; ++x) {
      const std::uint8_t seen = sheet.bytes[(y + 25) * sheet.row_bytes() + 70 * 3 + x];
      different += seen != rows[y * 1800 * 3 + x] ? 1 : 0;
    }
  }
  EXPECT_EQ(different, 0U);
}

// The preview has 300 pixels per inch in both directions.
TEST(PrintProgram, PreviewHasTheShapeOfThePaperAtEveryResolution) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  const struct {
    std::vector<std::string> options;
    std::uint32_t width;
    std::uint32_t height;
  } cases[] = {
      {{"-o", "Resolution=300x600dpi"}, 1800, 1197},
      {{"-p", "5x7"}, 1500, 2098},  // 360 dots per inch across, and 300 in the preview
      {{"-p", "5x7", "-o", "Resolution=300x600dpi"}, 1500, 2098},
      {{"-p", "6x2*2"}, 1874, 1197},
      {{"-p", "6x8"}, 1800, 2401},
      {{"-p", "6x4*2"}, 1800, 2 * 1197 + 24},
  };
  for (const auto& [options, width, height] : cases) {
    std::vector<std::string> arguments{"--preview", "sheet.png", "photo.png"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    ASSERT_EQ(print(folder, arguments).status, 0);
    const k905::Picture sheet = picture_in(folder, "sheet.png");
    EXPECT_EQ(sheet.width, width) << options.back();
    EXPECT_EQ(sheet.height, height) << options.back();
  }
}

// Where the first row and the first column of the file are seen, as cameras write it: 1 top and
// left, 2 top and right, 3 bottom and right, 4 bottom and left, 5 left and top, 6 right and top,
// 7 right and bottom, 8 left and bottom.
TEST(PrintProgram, AllExifOrientationsAreRotatedUpright) {
  constexpr std::array<std::array<int, 4>, 8> stored{{{0, 1, 2, 3},
                                                      {1, 0, 3, 2},
                                                      {3, 2, 1, 0},
                                                      {2, 3, 0, 1},
                                                      {0, 2, 1, 3},
                                                      {1, 3, 0, 2},
                                                      {3, 1, 2, 0},
                                                      {2, 0, 3, 1}}};
  for (int orientation = 1; orientation <= 8; ++orientation) {
    const ScratchFolder folder;
    std::array<Color, 4> colors;
    for (std::size_t i = 0; i < 4; ++i) {
      colors[i] =
          kQuarters[static_cast<std::size_t>(stored[static_cast<std::size_t>(orientation - 1)][i])];
    }
    const std::uint32_t width = orientation >= 5 ? 400 : 600;
    const std::uint32_t height = orientation >= 5 ? 600 : 400;
    JpegKind kind;
    kind.orientation = orientation;
    kind.little_endian = orientation % 2 == 0;
    folder.write("photo.jpg", jpeg_file(width, height, kind, quarters(width, height, colors)));
    const ChildResult result = print(folder, {"--canvas", "--preview", "sheet.png", "photo.jpg"});
    ASSERT_EQ(result.status, 0) << result.log;
    expect_quarters(picture_in(folder, "sheet.png"), "orientation " + std::to_string(orientation));
  }
}

TEST(PrintProgram, AGrayPictureStaysGray) {
  const ScratchFolder folder;
  JpegKind gray;
  gray.channels = 1;
  folder.write("photo.jpg", jpeg_file(30, 20, gray, std::vector<std::uint8_t>(600, 90)));
  ASSERT_EQ(print(folder, {"--canvas", "--preview", "sheet.png", "photo.jpg"}).status, 0);
  EXPECT_EQ(pixel(picture_in(folder, "sheet.png"), 0.5, 0.5), (Color{90, 90, 90}));
}

TEST(PrintProgram, CmykPhotoWithoutAProfileIsConvertedToRgb) {
  const ScratchFolder folder;
  JpegKind inks;
  inks.channels = 4;
  std::vector<std::uint8_t> rows;
  for (int i = 0; i < 600; ++i) {
    rows.insert(rows.end(), {255, 102, 0, 255});  // no cyan, some magenta, all yellow
  }
  folder.write("photo.jpg", jpeg_file(30, 20, inks, rows));
  ASSERT_EQ(print(folder, {"--canvas", "--preview", "sheet.png", "photo.jpg"}).status, 0);
  const Color seen = pixel(picture_in(folder, "sheet.png"), 0.5, 0.5);
  EXPECT_TRUE(close_to(seen, {255, 102, 0}, 2)) << seen[0] << " " << seen[1] << " " << seen[2];
}

TEST(PrintProgram, CmykPhotoIsConvertedWithItsProfile) {
  const ScratchFolder folder;
  const std::string profile = cmyk_table_profile();
  JpegKind inks;
  inks.channels = 4;
  inks.profile.assign(profile.begin(), profile.end());
  std::vector<std::uint8_t> rows;
  for (int i = 0; i < 600; ++i) {
    rows.insert(rows.end(), {255, 102, 0, 255});
  }
  folder.write("photo.jpg", jpeg_file(30, 20, inks, rows));
  const ChildResult result = print(folder, {"--canvas", "--preview", "sheet.png", "photo.jpg"});
  ASSERT_EQ(result.status, 0) << result.log;
  EXPECT_THAT(result.log, IsEmpty());
  EXPECT_FALSE(close_to(pixel(picture_in(folder, "sheet.png"), 0.5, 0.5), {255, 102, 0}, 8));
}

TEST(PrintProgram, EmbeddedProfileIsConvertedToSrgb) {
  const ScratchFolder folder;
  const std::string profile = wide_rgb_profile();
  PngKind profiled;
  profiled.profile.assign(profile.begin(), profile.end());
  std::vector<std::uint8_t> rows;
  for (int i = 0; i < 600; ++i) {
    rows.insert(rows.end(), {120, 60, 200});
  }
  folder.write("plain.png", png_file(30, 20, {}, rows));
  folder.write("profiled.png", png_file(30, 20, profiled, rows));
  ASSERT_EQ(
      print(folder, {"--canvas", "--preview", "sheet.png", "plain.png", "profiled.png"}).status, 0);
  EXPECT_EQ(pixel(picture_in(folder, "sheet.png"), 0.5, 0.5), (Color{120, 60, 200}));
  // Gamma 1.8 is lighter than sRGB: the same number means more light.
  const Color seen = pixel(picture_in(folder, "sheet-2.png"), 0.5, 0.5);
  EXPECT_GT(seen[0], 125);
  EXPECT_GT(seen[2], 205);
}

TEST(PrintProgram, BrokenPhotoIsReportedAndTheOthersArePrinted) {
  const ScratchFolder folder;
  folder.write("good.png", quartered_png());
  folder.write("broken.jpg", "\xff\xd8\xff garbage");
  const ChildResult result =
      print(folder, {"--to", "job.prn", "good.png", "broken.jpg", "missing.png", "good.png"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.log, HasSubstr("k905-print: broken.jpg: Unsupported marker type"));
  EXPECT_THAT(result.log, HasSubstr("k905-print: missing.png: No such file or directory\n"));
  EXPECT_EQ(result.output, "good.png -> job.prn\ngood.png -> job.prn\n");
  EXPECT_THAT(sheets_in(folder, "job.prn"), SizeIs(2));
}

TEST(PrintProgram, WithoutAReadablePhotoThereIsNoJob) {
  const ScratchFolder folder;
  const ChildResult result = print(folder, {"--to", "job.prn", "missing.png"});
  EXPECT_EQ(result.status, 1);
  EXPECT_FALSE(folder.read("job.prn"));
}

TEST(PrintProgram, FinishPaperAndCopiesReachThePrinter) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  ASSERT_EQ(print(folder, {"--to", "job.prn", "--finish", "matte", "--paper", "6x2*4", "-n", "2",
                           "photo.png"})
                .status,
            0);
  const std::vector<k905::Sheet> sheets = sheets_in(folder, "job.prn");
  ASSERT_THAT(sheets, SizeIs(2));
  EXPECT_EQ(sheets[0].width, 1920U);
  EXPECT_EQ(sheets[0].height, 2436U);
  EXPECT_TRUE(sheets[0].matte);
  EXPECT_EQ(sheets[0].cutter, 120U);
  EXPECT_EQ(sheets[1].plane[0], sheets[0].plane[0]);
}

TEST(PrintProgram, PortraitPhotoIsRotatedForALandscapeSheet) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png(200, 300));
  ASSERT_EQ(print(folder, {"--canvas", "--preview", "sheet.png", "photo.png"}).status, 0);
  const k905::Picture sheet = picture_in(folder, "sheet.png");
  EXPECT_EQ(pixel(sheet, 0.3, 0.3),
            kGreen);  // rotated by 90 degrees to the left: the top is on the left
  EXPECT_EQ(pixel(sheet, 0.3, 0.7), kRed);
  ASSERT_EQ(print(folder, {"--canvas", "--preview", "sheet.png", "--no-turn", "photo.png"}).status,
            0);
  expect_quarters(picture_in(folder, "sheet.png"), "not rotated");
}

TEST(PrintProgram, FitKeepsThePhotoUncroppedOnWhite) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png(400, 200));
  ASSERT_EQ(print(folder, {"--canvas", "--preview", "sheet.png", "--fit", "photo.png"}).status, 0);
  const k905::Picture sheet = picture_in(folder, "sheet.png");
  // 1800 wide and 900 high in the center of the visible area: rows 25 + 148 to 25 + 1048.
  EXPECT_EQ(pixel(sheet, 0.1, 165.0 / 1239), kWhite);
  EXPECT_EQ(pixel(sheet, 0.1, 185.0 / 1239), kRed);
  EXPECT_EQ(pixel(sheet, 0.1, 1060.0 / 1239), kBlue);
  EXPECT_EQ(pixel(sheet, 0.1, 1085.0 / 1239), kWhite);
}

TEST(PrintProgram, ToneSettingsAreThoseOfTheDialog) {
  const ScratchFolder folder;
  folder.write("photo.png", png_file(3, 2, {}, std::vector<std::uint8_t>(18, 100)));
  // A brightness of 100 is a factor of 1.1; a gamma of 2000 the square root.
  ASSERT_EQ(
      print(folder, {"--canvas", "--preview", "a.png", "--brightness", "100", "photo.png"}).status,
      0);
  EXPECT_EQ(pixel(picture_in(folder, "a.png"), 0.5, 0.5), (Color{110, 110, 110}));
  ASSERT_EQ(
      print(folder, {"--canvas", "--preview", "b.png", "--brightness", "-100", "photo.png"}).status,
      0);
  EXPECT_EQ(pixel(picture_in(folder, "b.png"), 0.5, 0.5), (Color{90, 90, 90}));
  ASSERT_EQ(
      print(folder, {"--canvas", "--preview", "c.png", "--gamma", "2000", "photo.png"}).status, 0);
  EXPECT_EQ(pixel(picture_in(folder, "c.png"), 0.5, 0.5), (Color{159, 159, 159}));
  ASSERT_EQ(
      print(folder, {"--canvas", "--preview", "d.png", "-o", "StpCyanBalance=1100", "photo.png"})
          .status,
      0);
  EXPECT_EQ(pixel(picture_in(folder, "d.png"), 0.5, 0.5), (Color{110, 100, 100}));
}

std::vector<std::uint8_t> plain_rows(std::size_t pixels, std::uint8_t value) {
  return std::vector<std::uint8_t>(3 * pixels, value);
}

// Gray values of the middle of each cell of a grid of the paper.
std::vector<int> grid_of(const k905::Picture& sheet, std::size_t columns, std::size_t rows) {
  std::vector<int> values;
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t column = 0; column < columns; ++column) {
      const std::size_t x = (2 * column + 1) * sheet.width / (2 * columns);
      const std::size_t y = (2 * row + 1) * sheet.height / (2 * rows);
      values.push_back(sheet.bytes[3 * (y * sheet.width + x)]);
    }
  }
  return values;
}

std::string day_of_today() {
  const std::time_t now = std::time(nullptr);
  std::tm day{};
  localtime_r(&now, &day);
  std::ostringstream text;
  text << std::put_time(&day, "%F");
  return text.str();
}

class PrintLayout : public testing::Test {
 protected:
  PrintLayout() {
    for (const int value : {20, 100, 180, 240}) {
      const auto rows = plain_rows(60 * 20, static_cast<std::uint8_t>(value));
      folder_.write(std::to_string(value) + ".png", png_file(60, 20, {}, rows));
    }
    folder_.write("broken.png", "\x89PNG broken");
  }
  k905::Picture preview(std::vector<std::string> arguments, int status = 0) {
    arguments.insert(arguments.begin(), {"--preview", "sheet.png"});
    const ChildResult result = print(folder_, arguments);
    EXPECT_EQ(result.status, status) << result.log;
    return picture_in(folder_, "sheet.png");
  }
  ScratchFolder folder_;
};

TEST_F(PrintLayout, EveryStripHasTheOnlyPhotoOrOneOfSeveral) {
  EXPECT_THAT(grid_of(preview({"--layout", "strips", "20.png"}), 1, 2), ElementsAre(20, 20));
  EXPECT_THAT(grid_of(preview({"--layout", "strips", "20.png", "100.png"}), 1, 2),
              ElementsAre(20, 100));
  EXPECT_THAT(
      grid_of(preview({"--layout", "strips", "-p", "6x2*4", "20.png", "100.png", "180.png"}), 1, 4),
      ElementsAre(20, 100, 180, 20));
}

// At 300 dpi the paper's 1197 rows are cut after 599; at 600 dpi its 2394 rows are cut after 1197.
TEST_F(PrintLayout, TheSeamIsOnTheCut) {
  const std::vector<std::string> strips{"--layout", "strips", "20.png", "240.png"};
  for (const auto& [density, first] : {std::pair{"300dpi", 25 + 599}, {"300x600dpi", 50 + 1197}}) {
    std::vector<std::string> arguments{"--canvas", "-o", std::string("Resolution=") + density};
    arguments.insert(arguments.end(), strips.begin(), strips.end());
    const k905::Picture sheet = preview(arguments);
    const auto at = [&](int row) {
      return sheet.bytes[3 * (static_cast<std::size_t>(row) * sheet.width + 900)];
    };
    EXPECT_EQ(at(first - 1), 20) << density;
    EXPECT_EQ(at(first), 240) << density;
  }
}

TEST_F(PrintLayout, GridsAreFilledByRowsAndTheRestIsRepeated) {
  EXPECT_THAT(
      grid_of(preview({"-p", "6x4", "--layout", "2x2", "20.png", "100.png", "180.png"}), 2, 2),
      ElementsAre(20, 100, 180, 20));
  EXPECT_THAT(grid_of(preview({"-p", "6x4", "--layout", "2x2", "20.png", "100.png"}), 2, 2),
              ElementsAre(20, 100, 20, 100));
  EXPECT_THAT(
      grid_of(preview({"-p", "6x8", "--layout", "1+2", "20.png", "100.png", "180.png"}), 2, 2),
      ElementsAre(20, 20, 100, 180));
}

TEST_F(PrintLayout, AFifthPhotoBeginsAnotherSheet) {
  preview({"-p", "6x4", "--layout", "2x2", "20.png", "20.png", "20.png", "20.png", "240.png"});
  EXPECT_THAT(grid_of(picture_in(folder_, "sheet-2.png"), 2, 2), ElementsAre(240, 240, 240, 240));
}

TEST_F(PrintLayout, CellOfAnUnreadablePhotoRepeatsTheOthers) {
  EXPECT_THAT(grid_of(preview({"--layout", "strips", "broken.png", "100.png"}, 1), 1, 2),
              ElementsAre(100, 100));
}

// White above black.
std::string halves_png() {
  std::vector<std::uint8_t> rows = plain_rows(60 * 10, 240);
  const std::vector<std::uint8_t> lower = plain_rows(60 * 10, 20);
  rows.insert(rows.end(), lower.begin(), lower.end());
  return png_file(60, 20, {}, rows);
}

TEST_F(PrintLayout, PhotoOnPaperOfStripsIsNotCut) {
  folder_.write("halves.png", halves_png());
  EXPECT_THAT(grid_of(preview({"-p", "6x2*2", "halves.png"}), 1, 4), ElementsAre(240, 20, 240, 20));
  EXPECT_THAT(grid_of(preview({"-p", "6x8", "-o", "K905Cut=6x2", "halves.png"}), 1, 8),
              ElementsAre(240, 20, 240, 20, 240, 20, 240, 20));
  EXPECT_THAT(grid_of(preview({"-p", "6x2*2", "--layout", "sheet", "halves.png"}), 1, 4),
              ElementsAre(240, 240, 20, 20));
}

// The preview has 1500 x 2098 square pixels, 750 x 1049 for a small cell. The image for the filter
// has 1548 columns for the same width, so its pixels are not square.
TEST_F(PrintLayout, APhotoInACellKeepsItsShape) {
  folder_.write("square.png", png_file(20, 20, {}, plain_rows(20 * 20, 20)));
  const k905::Picture sheet = preview({"-p", "5x7", "--layout", "1+2", "--fit", "square.png"});
  int across = 0;
  int down = 0;
  for (std::size_t x = 0; x < sheet.width / 2; ++x) {
    across += sheet.bytes[3 * (sheet.height * 3 / 4 * sheet.width + x)] < 128 ? 1 : 0;
  }
  for (std::size_t y = sheet.height / 2; y < sheet.height; ++y) {
    down += sheet.bytes[3 * (y * sheet.width + sheet.width / 4)] < 128 ? 1 : 0;
  }
  EXPECT_GT(across, 500);
  EXPECT_NEAR(across, down, 6);
}

// The left half 50, then half opaque black, then nothing.
std::string frame_png() {
  std::vector<std::uint8_t> row;
  for (int x = 0; x < 8; ++x) {
    const int value = x < 4 ? 50 : 0;
    const int opacity = x < 4 ? 255 : x < 6 ? 128 : 0;
    for (const int sample : {value, value, value, opacity}) {
      row.push_back(static_cast<std::uint8_t>(sample));
    }
  }
  return png_file(8, 1, {.color_type = 6}, row);
}

TEST_F(PrintLayout, FrameIsDrawnOverTheWholeSheet) {
  folder_.write("frame.png", frame_png());
  EXPECT_THAT(grid_of(preview({"--frame", "frame.png", "180.png"}), 8, 1),
              ElementsAre(50, 50, _, _, _, 90, _, 180));
  EXPECT_THAT(
      grid_of(preview({"--frame", "frame.png", "--layout", "strips", "180.png", "100.png"}), 4, 2),
      ElementsAre(50, _, 90, 180, 50, _, 50, 100));
}

TEST_F(PrintLayout, AFrameThatCannotBeUsedPrintsNothing) {
  for (const auto& [file, reason] :
       {std::pair{"20.png", "no transparency"}, {"broken.png", ""}, {"none.png", "No such file"}}) {
    const ChildResult result = print(folder_, {"--preview", "x.png", "--frame", file, "100.png"});
    EXPECT_EQ(result.status, 1) << file;
    EXPECT_THAT(result.log, AllOf(HasSubstr(std::string(file) + ": "), HasSubstr(reason)));
  }
  EXPECT_FALSE(folder_.read("x.png"));
}

// White letters with black outlines near the bottom edge of each cell, and nothing else changed.
TEST_F(PrintLayout, ACaptionIsAtTheBottomOfEachPhoto) {
  const k905::Picture sheet =
      preview({"--layout", "strips", "--caption", "Anna & Tom", "100.png", "180.png"});
  for (const auto& [first, photo] : {std::pair{0U, 100}, {sheet.height / 2, 180}}) {
    const auto row = [&, first = first](std::uint32_t y) {
      const auto* from = sheet.bytes.data() + std::size_t{3} * (first + y) * sheet.width;
      return std::set<int>(from, from + std::size_t{3} * sheet.width);
    };
    EXPECT_THAT(row(sheet.height / 4), ElementsAre(photo));
    std::set<int> lower;
    for (std::uint32_t y = sheet.height * 3 / 8; y < sheet.height / 2 - 5; ++y) {
      lower.merge(row(y));
    }
    EXPECT_EQ(*lower.begin(), 0);
    EXPECT_EQ(*lower.rbegin(), 255);
    EXPECT_THAT(row(sheet.height / 2 - 10), ElementsAre(photo));
  }
}

TEST_F(PrintLayout, ACaptionHasTheDayAndTheNameOfThePhoto) {
  const auto bytes = [&](const std::string& caption) {
    return preview({"--caption", caption, "--layout", "strips", "20.png", "100.png"}).bytes;
  };
  const std::string before = day_of_today();
  const std::vector<std::uint8_t> of_today = bytes("{date}");
  EXPECT_THAT((std::vector{bytes(before), bytes(day_of_today())}), Contains(of_today));
  const std::vector<std::uint8_t> names = bytes("{file}");
  const std::vector<std::uint8_t> first = bytes("20");
  const std::vector<std::uint8_t> second = bytes("100");
  const auto half = static_cast<std::ptrdiff_t>(first.size() / 2);
  EXPECT_TRUE(std::equal(first.begin(), first.begin() + half, names.begin()));
  EXPECT_TRUE(std::equal(second.begin() + half, second.end(), names.begin() + half));
}

TEST_F(PrintLayout, StripsNeedAPaperThatIsCutIntoStrips) {
  const ChildResult result =
      print(folder_, {"--preview", "x.png", "-p", "6x4", "--layout", "strips", "20.png"});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.log,
              HasSubstr("needs a paper that is cut into strips, such as --paper 6x2*2"));
  EXPECT_EQ(print(folder_, {"--preview", "x.png", "--layout", "3x3", "20.png"}).status, 2);
}

// The outermost dark pixels of the box along a line through it.
std::array<std::size_t, 2> box_along(const k905::Picture& sheet, bool across, std::size_t at) {
  std::array<std::size_t, 2> found{0, 0};
  const std::size_t length = across ? sheet.width : sheet.height;
  for (std::size_t i = length / 8; i < length - length / 8; ++i) {
    const std::size_t pixel = across ? at * sheet.width + i : i * sheet.width + at;
    if (sheet.bytes[3 * pixel] < 128) {
      found[0] = found[0] == 0 ? i : found[0];
      found[1] = i + 1;
    }
  }
  return found;
}

TEST(PrintProgram, TheTestPageHasTrueSizesOnEveryPaper) {
  const ScratchFolder folder;
  const std::vector<std::vector<std::string>> papers{
      {"-p", "6x4"}, {"-p", "5x7"}, {"-p", "6x8"}, {"-p", "6x4", "-o", "Resolution=300x600dpi"}};
  for (const std::vector<std::string>& paper : papers) {
    std::vector<std::string> arguments{"--test-page", "--preview", "page.png"};
    arguments.insert(arguments.end(), paper.begin(), paper.end());
    const ChildResult result = print(folder, arguments);
    ASSERT_EQ(result.status, 0) << result.log;
    const k905::Picture sheet = picture_in(folder, "page.png");
    // 50 mm at 300 dots per inch are 590.6; the lines pass beside the texts.
    for (const bool across : {true, false}) {
      const std::size_t beside = (across ? sheet.height : sheet.width) / 2 - 150;
      const auto [first, end] = box_along(sheet, across, beside);
      EXPECT_NEAR(static_cast<double>(end - first), 590.6, 2) << paper[1] << " " << across;
      const std::size_t length = across ? sheet.width : sheet.height;
      EXPECT_NEAR(static_cast<double>(first + end), static_cast<double>(length), 3) << paper[1];
    }
    // The first tick of each ruler is at the very edge of the paper.
    EXPECT_LT(sheet.bytes[3 * 2], 60) << paper[1];
    EXPECT_LT(sheet.bytes[sheet.bytes.size() - 3], 60) << paper[1];
  }
}

TEST(PrintProgram, TestPageAndPhotosExcludeEachOther) {
  const ScratchFolder folder;
  const ChildResult result = print(folder, {"--test-page", "--preview", "x.png", "photo.png"});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.log, HasSubstr("--test-page"));
}

TEST(PrintProgram, TheFineResolutionHasTwiceTheRows) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  ASSERT_EQ(
      print(folder, {"--canvas", "--preview", "s.png", "-o", "Resolution=300x600dpi", "photo.png"})
          .status,
      0);
  const k905::Picture sheet = picture_in(folder, "s.png");
  EXPECT_EQ(sheet.height, 2480U);
  expect_quarters(sheet, "fine");
}

TEST(PrintProgram, BlackAndWhiteCanBeChosen) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  ASSERT_EQ(print(folder, {"--canvas", "--preview", "s.png", "-o", "ColorModel=Gray", "photo.png"})
                .status,
            0);
  const Color red = pixel(picture_in(folder, "s.png"), 0.3, 0.3);
  // 0.299 * 230 + 0.587 * 20 + 0.114 * 20 is 82.8.
  EXPECT_TRUE(close_to(red, {83, 83, 83}, 1)) << red[0];
  EXPECT_EQ(red[0], red[2]);
}

TEST(PrintProgram, TwoPhotosShareASheet) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  const ChildResult result = print(folder, {"--to", "job.prn", "--two-up", "photo.png",
                                            "missing.png", "photo.png", "photo.png"});
  EXPECT_EQ(result.status, 1);
  const std::vector<k905::Sheet> sheets = sheets_in(folder, "job.prn");
  ASSERT_THAT(sheets, SizeIs(2));
  EXPECT_EQ(sheets[0].height, 2498U);
  EXPECT_EQ(sheets[1].height, 1240U);  // the third has no partner
}

TEST(PrintProgram, JsonIsAnObjectForEachPhotoAndNothingElse) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  const ChildResult result = print(folder, {"--json", "--to", "job.prn", "--two-up", "photo.png",
                                            "missing.png", "photo.png", "photo.png"});
  EXPECT_EQ(result.status, 1);
  std::istringstream lines(result.output);
  std::vector<nlohmann::json> photos;
  for (std::string line; std::getline(lines, line);) {
    photos.push_back(nlohmann::json::parse(line));
  }
  ASSERT_THAT(photos, SizeIs(4));
  const nlohmann::json good{
      {"file", "photo.png"},    {"outcome", "printed"},
      {"queue", nullptr},       {"device", std::filesystem::canonical(folder.path()) / "job.prn"},
      {"job", nullptr},         {"sheet", 1},
      {"id", nullptr},          {"preview", nullptr},
      {"reason", nullptr},      {"serial_number", nullptr},
      {"life_counter", nullptr}};
  EXPECT_EQ(photos[0], good);
  EXPECT_EQ(photos[1]["outcome"], "refused");
  EXPECT_EQ(photos[1]["reason"], "No such file or directory");
  EXPECT_EQ(photos[2], good);
  EXPECT_EQ(photos[3]["sheet"], 2);
}

TEST(PrintProgram, JsonNamesThePreviewAndReplacesInvalidText) {
  const ScratchFolder folder;
  folder.write("\xff.png", quartered_png());
  const auto photo =
      nlohmann::json::parse(print(folder, {"--json", "--preview", "sheet.png", "\xff.png"}).output);
  EXPECT_EQ(photo["file"], "\uFFFD.png");
  EXPECT_EQ(photo["outcome"], "shown");
  EXPECT_EQ(photo["preview"], "sheet.png");
}

TEST(PrintProgram, CopiesShareSheetsAsWell) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  ASSERT_EQ(print(folder, {"--to", "job.prn", "--two-up", "-n", "2", "photo.png"}).status, 0);
  const std::vector<k905::Sheet> sheets = sheets_in(folder, "job.prn");
  ASSERT_THAT(sheets, SizeIs(1));
  EXPECT_EQ(sheets[0].height, 2498U);
}

TEST(PrintProgram, AProfileOfThePrinterIsUsedByTheFilter) {
  const ScratchFolder folder;
  folder.write("photo.png", png_file(3, 2, {}, std::vector<std::uint8_t>(18, 100)));
  const std::string profile = folder.write("mine.icc", wide_rgb_profile());
  ASSERT_EQ(
      print(folder, {"--canvas", "--preview", "s.png", "-o", "ICCProfile=" + profile, "photo.png"})
          .status,
      0);
  // With gamma 1.8 the same brightness has smaller numbers.
  EXPECT_LT(pixel(picture_in(folder, "s.png"), 0.5, 0.5)[1], 95);
}

TEST(PrintProgram, TheProfileOfThePaperAndFinishIsUsed) {
  const ScratchFolder folder;
  folder.write("photo.png", png_file(3, 2, {}, std::vector<std::uint8_t>(18, 100)));
  folder.write("mine.icc", wide_rgb_profile());
  folder.write(
      "k905-profiles.txt",
      "# paper finish profile\n6x4 Glossy mine.icc\n\n6x8 * missing.icc # not bought yet\n");
  const auto shown = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--canvas", "--preview", "s.png", "-o", "ICCProfile=ByPaper",
                                       "--layout", "sheet", "photo.png"});
    const ChildResult result = print(folder, arguments);
    return result.status == 0 ? pixel(picture_in(folder, "s.png"), 0.5, 0.5)[1] : -1;
  };
  EXPECT_LT(shown({}), 95);  // as in the previous test
  EXPECT_LT(shown({"-p", "6x2*2"}), 95);
  EXPECT_EQ(shown({"-f", "Matte"}), 100);
  EXPECT_EQ(shown({"-p", "5x7"}), 100);
  const ChildResult missing =
      print(folder, {"--to", "x", "-p", "6x8", "-o", "ICCProfile=ByPaper", "photo.png"});
  EXPECT_EQ(missing.log, "k905-print: the profile missing.icc is not found\n");
  EXPECT_FALSE(folder.read("x"));
}

TEST(PrintProgram, MissingProfilePrintsNothing) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  const ChildResult result =
      print(folder, {"--to", "job.prn", "-o", "ICCProfile=/nowhere/x.icc", "photo.png"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log, "k905-print: the profile /nowhere/x.icc is not found\n");
}

TEST(PrintProgram, PhotoIsReadFromStandardInput) {
  const ScratchFolder folder;
  EXPECT_EQ(print(folder, {"--canvas", "--preview", "sheet.png", "-"}, quartered_png()).status, 0);
  expect_quarters(picture_in(folder, "sheet.png"), "standard input");
}

TEST(PrintProgram, LeavesNoLogAndNoDebugImages) {
  if (!private_tmp_possible()) {
    GTEST_SKIP() << "no private /tmp here";
  }
  const ScratchFolder folder;
  const ScratchFolder temporary;
  folder.write("photo.png", quartered_png());
  ChildSetup setup;
  setup.program = K905_BINARY_DIR "/k905-print";
  setup.arguments = {"k905-print", "--to", "/dev/null", folder.path() + "/photo.png"};
  setup.private_tmp = temporary.path();
  if (folder.path().starts_with("/tmp/")) {
    // The folder is hidden with the rest of /tmp.
    setup.arguments.back() = "-";
    setup.input = quartered_png();
  }
  EXPECT_EQ(run_child(setup).status, 0);
  EXPECT_TRUE(std::filesystem::is_empty(temporary.path()));
}

TEST(PrintProgram, VerboseShowsTheFiltersLog) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  const ChildResult result = print(folder, {"--to", "job.prn", "-v", "photo.png"});
  EXPECT_THAT(result.log, HasSubstr("K905-1: Using paper config matched by PPD name: w288h432\n"));
  // The page already has the size that the filter needs.
  EXPECT_THAT(result.log,
              HasSubstr("K905-1: Image size already matches target size, skipping resize\n"));
}

TEST(PrintProgram, AFullDiskIsExitStatusOne) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  const ChildResult result = print(folder, {"--to", "/dev/full", "photo.png"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log, "k905-print: /dev/full: No space left on device\n");
  EXPECT_THAT(result.output, IsEmpty());
}

TEST(PrintProgram, MissingDeviceIsReported) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  const ChildResult result = print(folder, {"--to", "/nowhere/lp0", "photo.png"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log, "k905-print: /nowhere/lp0: No such file or directory\n");

  const std::string device = "/dev/k905_test_" + std::to_string(getpid());
  EXPECT_EQ(print(folder, {"--to", device, "photo.png"}).log,
            "k905-print: " + device + ": the printer is not connected\n");
  EXPECT_FALSE(std::filesystem::exists(device));
  std::filesystem::remove(device);
}

TEST(PrintProgram, StandardOutputHasTheSheetsOnlyAndStandardErrorTheReport) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  for (const char* report : {"photo.png -> /dev/stdout\n", "{\"file\":\"photo.png\","}) {
    std::vector<std::string> arguments{"--to", "/dev/stdout", "photo.png"};
    if (*report == '{') {
      arguments.emplace_back("--json");
    }
    const ChildResult result = print(folder, arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.log, StartsWith(report));
    folder.write("job.prn", result.output);
    EXPECT_THAT(sheets_in(folder, "job.prn"), SizeIs(1));
  }
}

TEST(PrintProgram, StandardOutputInAFileIsAppendedTo) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  ASSERT_EQ(print(folder, {"--to", "job.prn", "photo.png"}).status, 0);
  const std::string command = K905_BINARY_DIR "/k905-print --to /dev/stdout photo.png";
  ChildSetup setup;
  setup.program = "/bin/sh";
  setup.environment = {{"PATH", "/usr/bin:/bin"}};
  setup.working_folder = folder.path();
  setup.arguments = {"sh", "-c",
                     command + " >> job.prn; (" + command + "; " + command + ") > both.prn; (" +
                         command + "; printf after) > words.prn"};
  const ChildResult result = run_child(setup);
  EXPECT_EQ(result.status, 0) << result.log;
  EXPECT_THAT(sheets_in(folder, "job.prn"), SizeIs(2));
  EXPECT_THAT(sheets_in(folder, "both.prn"), SizeIs(2));
  EXPECT_THAT(folder.read("words.prn").value_or(""), testing::EndsWith("after"));
}

TEST(PrintProgram, FailureLeavesStandardOutputAsItWas) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  folder.write("job.prn", "the last job");
  ChildSetup setup;
  setup.program = "/bin/sh";
  setup.environment = {{"PATH", "/usr/bin:/bin"}};
  setup.working_folder = folder.path();
  setup.arguments = {"sh", "-c",
                     "ulimit -f 20000; exec " K905_BINARY_DIR
                     "/k905-print --to /dev/stdout photo.png photo.png >> job.prn"};
  const ChildResult result = run_child(setup);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log, "k905-print: /dev/stdout: File too large\n");
  EXPECT_EQ(folder.read("job.prn"), "the last job");
}

// Prints photo.png to job.prn, with this shell script in place of the filter.
ChildSetup print_with_filter(const ScratchFolder& folder, const std::string& script) {
  const std::string filter = folder.write("filter", "#!/bin/sh\n" + script + "\n");
  chmod(filter.c_str(), 0755);
  ChildSetup setup;
  setup.program = K905_BINARY_DIR "/k905-print";
  setup.arguments = {"k905-print", "--to", "job.prn", "photo.png"};
  setup.environment = {{"K905_FILTER", filter}, {"PATH", "/usr/bin:/bin"}};
  setup.working_folder = folder.path();
  return setup;
}

TEST(PrintProgram, FailingFilterIsAFailureWithoutAPartialJob) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  ChildSetup setup = print_with_filter(folder, "cat >/dev/null; exit 3");
  const ChildResult result = run_child(setup);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log, "k905-print: the filter ended with status 3\n");
  EXPECT_FALSE(folder.read("job.prn"));

  EXPECT_EQ(run_child(print_with_filter(folder, "exec cat >/dev/null")).log,
            "k905-print: the filter made 0 of 1 pages; --verbose shows its log\n");
  EXPECT_EQ(run_child(print_with_filter(folder, "cat >/dev/null; echo hello")).log,
            "k905-print: the filter's output is not a valid printer stream\n");
  setup.environment["K905_FILTER"] = "/nowhere/filter";
  EXPECT_EQ(run_child(setup).log, "k905-print: /nowhere/filter: No such file or directory\n");
}

TEST(PrintProgram, FailureLeavesTheFileUnchanged) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  folder.write("job.prn", "the last job");
  EXPECT_EQ(run_child(print_with_filter(folder, "cat >/dev/null; exit 3")).status, 1);
  EXPECT_EQ(folder.read("job.prn"), "the last job");
  EXPECT_EQ(print(folder, {"--to", "job.prn", "photo.png"}).status, 0);
  EXPECT_THAT(sheets_in(folder, "job.prn"), SizeIs(1));
}

TEST(PrintProgram, FileSizeLimitIsAFailure) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  folder.write("job.prn", "the last job");
  ChildSetup setup = print_with_filter(folder, "");
  setup.environment.erase("K905_FILTER");
  setup.program = "/bin/sh";
  setup.arguments = {"sh", "-c",
                     "ulimit -f 20000; exec " K905_BINARY_DIR
                     "/k905-print --to job.prn photo.png photo.png"};
  const ChildResult result = run_child(setup);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log, "k905-print: job.prn: File too large\n");
  EXPECT_EQ(folder.read("job.prn"), "the last job");
}

TEST(PrintProgram, AStreamThatEndsInsideASheetIsAFailure) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  ASSERT_EQ(print(folder, {"--to", "whole.prn", "photo.png"}).status, 0);
  folder.write("cut.prn", folder.read("whole.prn")->substr(0, 5000));
  const ChildResult result = run_child(print_with_filter(folder, "cat >/dev/null; cat cut.prn"));
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log, "k905-print: the filter's output ends inside a sheet\n");
  EXPECT_FALSE(folder.read("job.prn"));
}

TEST(PrintProgram, APreviewThatCannotBeWrittenIsAFailure) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  const ChildResult result =
      print(folder, {"--canvas", "--json", "--preview", "/nowhere/sheet.png", "photo.png"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log, "k905-print: /nowhere/sheet.png: No such file or directory\n");
  EXPECT_EQ(nlohmann::json::parse(result.output)["outcome"], "failed");
}

TEST(PrintProgram, StopFinishesTheCurrentSheetAndNamesTheOtherPhotos) {
  const ScratchFolder folder;
  const std::string other = folder.write("other.png", quartered_png());
  const std::string job = folder.path() + "/job.prn";
  const std::string current_photo =
      "P6 300 200 255\n" + std::string(std::size_t{3} * 300 * 200, 'x');
  const Pipe input = make_pipe();
  const int capacity = fcntl(input.write_end, F_SETPIPE_SZ, 4096);
  ASSERT_GT(capacity, 0);
  RunningProgram program(K905_BINARY_DIR "/k905-print", {"--to", job, "-", other, other},
                         {{"PATH", "/usr/bin:/bin"}}, input.read_end);
  close(input.read_end);
  // More than fits in the pipe: it is written while the program reads the photo.
  const auto first = static_cast<std::size_t>(capacity) + 1;
  ASSERT_LT(first, current_photo.size());
  EXPECT_TRUE(write_all(input.write_end, std::string_view(current_photo).substr(0, first)));
  program.send_signal(SIGTERM);
  EXPECT_TRUE(write_all(input.write_end, std::string_view(current_photo).substr(first)));
  close(input.write_end);
  EXPECT_EQ(program.wait(), 1);
  EXPECT_EQ(program.output(), "- -> " + job + "\nk905-print: stopped; not printed: " + other +
                                  "\nk905-print: stopped; not printed: " + other + "\n");
  EXPECT_THAT(sheets_in(folder, "job.prn"), SizeIs(1));
}

TEST(PrintProgram, ProgressOfManyPhotosIsShownOnATerminalOnly) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  EXPECT_THAT(run_on_terminal(folder, "k905-print",
                              {"--to", "job.prn", "photo.png", "photo.png", "photo.png"}),
              HasSubstr("photo 1 of 3"));
  EXPECT_THAT(print(folder, {"--to", "job.prn", "photo.png", "photo.png"}).log, IsEmpty());
}

TEST(PrintProgram, WrongUsageIsExitStatusTwo) {
  const ScratchFolder folder;
  folder.write("photo.png", quartered_png());
  const std::vector<std::vector<std::string>> wrong{
      {},
      {"--to", "x"},
      {"--to", "x", "--paper", "A4", "photo.png"},
      {"--to", "x", "--finish", "Shiny", "photo.png"},
      {"--to", "x", "--brightness", "55", "photo.png"},
      {"--to", "x", "--gamma", "0", "photo.png"},
      {"--to", "x", "-n", "0", "photo.png"},
      {"--to", "x", "-o", "Nothing", "photo.png"},
      {"--to", "x", "-o", "Nothing=1", "photo.png"},
      {"--to", "x", "--preview", "y", "photo.png"},
      {"--to", "x", "--queue", "y", "photo.png"},
      {"--to", "x", "--two-up", "--paper", "6x8", "photo.png"},
      {"--to", "x", "--watch", ".", "photo.png"},
      {"--to", "x", "--watch", "photo.png"},
      {"--to", "x", "--journal", "j", "photo.png"},
      {"--preview", "x", "--watch", "."},
      {"--to", "x", "--event", "party", "photo.png"},
      {"--to", "x", "--event", "", "--watch", "."},
      {"--reprint", "1", "--event", "party"},
      {"--to", "x", "--wait", "photo.png"},
      {"--timeout", "1", "photo.png"},
      {"--to", "k905:lp0", "photo.png"},
      {"--to", "x", "--jsn", "photo.png"},
  };
  for (const std::vector<std::string>& arguments : wrong) {
    const ChildResult result = print(folder, arguments);
    EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments) << result.log;
    EXPECT_THAT(result.log, StartsWith("k905-print: "));
    EXPECT_FALSE(folder.read("x"));
  }
}

TEST(PrintProgram, UnknownOptionIsReportedWithTheKnownOnes) {
  const ScratchFolder folder;
  EXPECT_THAT(print(folder, {"--jsn", "photo.png"}).log,
              AllOf(StartsWith("k905-print: unknown option --jsn; known options: "),
                    HasSubstr(", --json, ")));
}

TEST(PrintProgram, HelpAndVersionSucceed) {
  const ScratchFolder folder;
  EXPECT_THAT(print(folder, {"--help"}).output, HasSubstr("--two-up"));
  EXPECT_THAT(print(folder, {"--version"}).output, StartsWith("k905-print "));
}

}  // namespace
