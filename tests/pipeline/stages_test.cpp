// Each stage by itself, with images small enough to be checked by hand.
#include "pipeline/stages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"
#include "tests/support/raster_builder.h"

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Bytes = std::vector<std::uint8_t>;

// The row, followed by the bytes that a kernel may read.
Bytes with_slack(Bytes bytes) {
  bytes.resize(bytes.size() + kernels::kRowSlack, 0);
  return bytes;
}

// A page with these lines.
OpenRaster open_page(unsigned width, unsigned height, unsigned colors, unsigned bits,
                     unsigned line_bytes, Bytes lines) {
  cups_page_header2_t header = page_header(width, height, colors, bits);
  header.cupsBytesPerLine = line_bytes;
  return OpenRaster(raw_raster_stream({RasterPage{header, std::move(lines)}}));
}

class Stages : public ::testing::Test {
 protected:
  EnvironmentGuard ppd_{"PPD", ""};  // as CUPS runs it: no images
  SettingsGuard settings_;
};

// The first row of a one-line page, `width` pixels.
Bytes read_line(unsigned width, unsigned colors, unsigned bits, const Bytes& line,
                const char* color_model = "RGB", unsigned line_bytes = 0) {
  const OpenRaster page =
      open_page(width, 1, colors, bits,
                line_bytes != 0 ? line_bytes : static_cast<unsigned>(line.size()), line);
  ReadStage read;
  EXPECT_TRUE(read.prepare(page.header, color_model));
  const std::uint8_t* row = read.next_row(page.raster());
  EXPECT_NE(row, nullptr);
  return row != nullptr ? Bytes(row, row + 3 * width) : Bytes{};
}

// ---- Stage 1 ------------------------------------------------------------------------------------

TEST_F(Stages, EveryFormatIsReadIntoRgbRows) {
  struct Case {
    unsigned width;
    unsigned colors;
    unsigned bits;
    Bytes line;
    const char* model;
    Bytes row;
  };
  const Case cases[] = {
      {2, 3, 8, {1, 2, 3, 4, 5, 6}, "RGB", {1, 2, 3, 4, 5, 6}},
      // Little-endian samples: 0xFF12, 0xFE34, 0x0156.
      {1, 3, 16, {0x12, 0xFF, 0x34, 0xFE, 0x56, 0x01}, "RGB", {0xFF, 0xFE, 0x01}},
      {2, 1, 8, {7, 200}, "RGB", {7, 7, 7, 200, 200, 200}},
      // The bits 101; the others of the byte are not used.
      {3, 1, 1, {0b1011'1111}, "RGB", {0, 0, 0, 255, 255, 255, 0, 0, 0}},
      {1, 4, 8, {10, 20, 30, 99}, "CMY", {245, 235, 225}},
      {1, 4, 8, {10, 20, 30, 99}, "CMYK", {245, 235, 225}},
      {1, 4, 8, {10, 20, 30, 99}, "KCMY", {245, 235, 225}},
      // (1 - 0.2) * 255 = 204, times (1 - 0.4) = 122.4; the model is compared to the letter.
      {1, 4, 8, {51, 0, 255, 102}, "RGB", {122, 153, 0}},
      {1, 4, 8, {51, 0, 255, 102}, "cmyk", {122, 153, 0}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(read_line(c.width, c.colors, c.bits, c.line, c.model), c.row) << c.model;
  }
  // Two RGB pixels need six bytes; those that the line does not have count as zero.
  EXPECT_EQ(read_line(2, 3, 8, {9, 8, 7}, "RGB", 3), (Bytes{9, 8, 7, 0, 0, 0}));
}

TEST_F(Stages, UnsupportedFormatIsBlackWithAMessagePerLine) {
  const OpenRaster page = open_page(2, 2, 4, 16, 16, Bytes(32, 200));
  ReadStage read;
  ASSERT_TRUE(read.prepare(page.header, "RGB"));
  const std::string log = captured_log([&] {
    for (int line = 0; line < 2; ++line) {
      const std::uint8_t* row = read.next_row(page.raster());
      ASSERT_NE(row, nullptr);
      EXPECT_EQ(Bytes(row, row + 6), Bytes(6, 0));
    }
  });
  EXPECT_EQ(log,
            "K905-1: Unsupported color format: colors=4, bits=16\n"
            "K905-1: Unsupported color format: colors=4, bits=16\n");
}

TEST_F(Stages, MissingLineIsReportedWithItsNumber) {
  const OpenRaster page = open_page(1, 3, 3, 8, 3, {1, 2, 3, 4, 5, 6});
  ReadStage read;
  ASSERT_TRUE(read.prepare(page.header, "RGB"));
  EXPECT_NE(read.next_row(page.raster()), nullptr);
  EXPECT_NE(read.next_row(page.raster()), nullptr);
  EXPECT_EQ(captured_log([&] { EXPECT_EQ(read.next_row(page.raster()), nullptr); }),
            "K905-1: cupsRasterReadPixels failed at line 2\n");
}

TEST_F(Stages, EmptyPageFailsBeforeItIsRead) {
  cups_page_header2_t header = {};
  header.cupsWidth = 0;
  header.cupsHeight = 7;
  ReadStage read;
  EXPECT_EQ(captured_log([&] { EXPECT_FALSE(read.prepare(header, "RGB")); }),
            "K905-1: Empty page image: 0x7\n");
}

TEST_F(Stages, PageAboveTwoToThe29PixelsIsReportedAsOutOfMemory) {
  cups_page_header2_t header = {};
  header.cupsNumColors = 3;
  header.cupsBitsPerColor = 8;
  header.cupsBytesPerLine = 3;
  ReadStage read;
  header.cupsWidth = (1U << 15) + 1;
  header.cupsHeight = 1U << 14;
  EXPECT_EQ(captured_log([&] { EXPECT_FALSE(read.prepare(header, "RGB")); }),
            "K905-1: malloc src planes failed\n");
  header.cupsWidth = 0xFFFFFFFF;
  header.cupsHeight = 0xFFFFFFFF;
  EXPECT_EQ(captured_log([&] { EXPECT_FALSE(read.prepare(header, "RGB")); }),
            "K905-1: malloc src planes failed\n");
  header.cupsWidth = 1U << 15;  // exactly 2^29 pixels is still a page
  header.cupsHeight = 1U << 14;
  EXPECT_EQ(captured_log([&] { EXPECT_TRUE(read.prepare(header, "RGB")); }), "");
}

// ---- Stage 1.5 ----------------------------------------------------------------------------------

// A gray image resized; every row of the target, first channel only.
std::vector<Bytes> resized(unsigned width, unsigned height, const Bytes& gray,
                           std::size_t target_width, std::size_t target_height) {
  const OpenRaster page = open_page(width, height, 1, 8, width, gray);
  ReadStage read;
  EXPECT_TRUE(read.prepare(page.header, "RGB"));
  ResizeStage resize;
  EXPECT_TRUE(resize.prepare(width, height, target_width, target_height));
  std::vector<Bytes> rows;
  for (std::size_t y = 0; y < height; ++y) {
    resize.take(read.next_row(page.raster()));
    while (const std::uint8_t* row = resize.next_row()) {
      Bytes first_channel;
      for (std::size_t x = 0; x < target_width; ++x) {
        first_channel.push_back(row[3 * x]);
      }
      rows.push_back(first_channel);
    }
  }
  return rows;
}

TEST_F(Stages, ResizeTakesExactPositionsAndRepeatsTheLastRowAndColumn) {
  EXPECT_THAT(resized(2, 2, {1, 2, 3, 4}, 2, 2), ElementsAre(Bytes{1, 2}, Bytes{3, 4}));
  // Twice as large: positions 0, 0.5, 1, 1.5 a side; beyond 1 the last line is both neighbors.
  // 0 100 / 200 40 gives means of 50, 100, 70 and, in the middle, 340 / 4 = 85.
  EXPECT_THAT(resized(2, 2, {0, 100, 200, 40}, 4, 4),
              ElementsAre(Bytes{0, 50, 100, 100}, Bytes{100, 85, 70, 70}, Bytes{200, 120, 40, 40},
                          Bytes{200, 120, 40, 40}));
  // Four to two: positions 0 and 2, no half-pixel offset and no averaging.
  EXPECT_THAT(resized(4, 1, {10, 20, 30, 40}, 2, 1), ElementsAre(Bytes{10, 30}));
  // Position 0.5 between 0 and 1: 0.5 + 0.5 truncates to 1.
  EXPECT_THAT(resized(2, 1, {0, 1}, 4, 1), ElementsAre(Bytes{0, 1, 1, 1}));
  EXPECT_THAT(resized(1, 1, {77}, 3, 2), ElementsAre(Bytes{77, 77, 77}, Bytes{77, 77, 77}));
}

std::string resize_report(std::size_t source_height, std::size_t target_height) {
  ResizeStage resize;
  EXPECT_TRUE(resize.prepare(1, source_height, 1, target_height));
  return captured_log([&] { resize.report(); });
}

TEST_F(Stages, OriginalDpiIsComputedFromTheMillimetersOfTheTarget) {
  // 300 * 952 / 1088 is 262.5 and 300 * 403 / 1240 is 97.5, which would be printed as the even 262
  // and 98. By way of (height * 25.4) / (target * 25.4 / 300), every step rounded to a double, they
  // come to 262.50000000000006 and 97.49999999999999.
  EXPECT_THAT(resize_report(952, 1088),
              HasSubstr("K905-1:   Original DPI might be: 263 (if height should stay same)\n"));
  EXPECT_THAT(resize_report(403, 1240),
              HasSubstr("K905-1:   Original DPI might be: 97 (if height should stay same)\n"));
}

// ---- Stage 2 ------------------------------------------------------------------------------------

Bytes color_model(const char* model, const Bytes& rgb) {
  ColorModelStage stage;
  stage.prepare(model, rgb.size() / 3, 1);
  Bytes row = with_slack(rgb);
  stage.row(row.data());
  row.resize(rgb.size());
  return row;
}

TEST_F(Stages, ColorModelIsComparedExactly) {
  // 10 * 0.299 + 20 * 0.587 + 30 * 0.114 = 18.15.
  const std::pair<const char*, Bytes> models[] = {
      {"Gray", {18, 18, 18}},    {"Black", {237, 237, 237}}, {"CMY", {245, 235, 225}},
      {"CMYK", {245, 235, 225}}, {"KCMY", {20, 30, 245}},    {"RGB", {10, 20, 30}},
      {"gray", {10, 20, 30}},    {"Grey", {10, 20, 30}},     {"cmyk", {10, 20, 30}},
      {"", {10, 20, 30}},        {"Gray ", {10, 20, 30}}};
  for (const auto& [model, rgb] : models) {
    EXPECT_EQ(color_model(model, {10, 20, 30}), rgb) << model;
  }
  // Four colors: inverted twice under CMYK, 255 - byte 1, 255 - byte 2, byte 0 under KCMY.
  EXPECT_EQ(color_model("CMYK", read_line(1, 4, 8, {10, 20, 30, 99}, "CMYK")), (Bytes{10, 20, 30}));
  EXPECT_EQ(color_model("KCMY", read_line(1, 4, 8, {10, 20, 30, 99}, "KCMY")),
            (Bytes{235, 225, 10}));
}

// ---- Stage 3 ------------------------------------------------------------------------------------

TEST_F(Stages, DeinterlaceWeighsThreeToTwoAndDropsAnOddLastRow) {
  DeinterlaceStage stage;
  stage.prepare(true, 1, 5, 99);
  EXPECT_EQ(stage.height(), 2U);
  // (3 * 10 + 2 * 20) / 5 = 14; (3 * 255 + 2 * 1) / 5 = 153.4, rounded down.
  const std::uint8_t input[5] = {10, 20, 255, 1, 77};
  Bytes output;
  for (std::size_t y = 0; y < 5; ++y) {
    Bytes row = with_slack({input[y], input[y], input[y]});
    if (const std::uint8_t* mean = stage.row(row.data())) {
      output.push_back(mean[2]);
    }
  }
  EXPECT_THAT(output, ElementsAre(14, 153));
}

TEST_F(Stages, FullInterlacedHeightIsNotDeinterlaced) {
  DeinterlaceStage stage;
  stage.prepare(true, 3, 8, 8);
  Bytes row = with_slack(Bytes(9, 1));
  EXPECT_EQ(stage.row(row.data()), row.data());
  EXPECT_EQ(captured_log([&] { stage.report(); }),
            "K905-1: === STAGE 3: Deinterlace processing ===\n"
            "K905-1: Source image height: 8 pixels\n"
            "K905-1: Expected 600DPI height: 8 pixels\n"
            "K905-1: Image is already full 600DPI resolution, skipping deinterlace\n"
            "K905-1: Keeping original image size: 3x8\n");
}

TEST_F(Stages, DeinterlaceLogsItsSizes) {
  DeinterlaceStage stage;
  stage.prepare(true, 3, 7, 8);
  EXPECT_EQ(captured_log([&] { stage.report(); }),
            "K905-1: === STAGE 3: Deinterlace processing ===\n"
            "K905-1: Source image height: 7 pixels\n"
            "K905-1: Expected 600DPI height: 8 pixels\n"
            "K905-1: Image is interlaced format, performing deinterlace\n"
            "K905-1: Processing interlaced image: 3x7 -> 3x3\n"
            "K905-1: Deinterlace completed successfully\n");
}

// ---- Stage 4 ------------------------------------------------------------------------------------

// Sends a row through the mirror stage; its planes differ. Returns the first plane.
Bytes split(bool mirrored, const Bytes& first_channel) {
  Bytes rgb;
  for (const std::uint8_t value : first_channel) {
    rgb.insert(rgb.end(), {value, static_cast<std::uint8_t>(value + 1), 0});
  }
  rgb = with_slack(rgb);
  Bytes plane[3];
  for (Bytes& bytes : plane) {
    bytes = Bytes(first_channel.size());
  }
  MirrorStage stage;
  stage.prepare(mirrored, first_channel.size(), 1);
  stage.row(rgb.data(), {{plane[0].data(), plane[1].data(), plane[2].data()}});
  for (std::size_t x = 0; x < first_channel.size(); ++x) {
    EXPECT_EQ(plane[1][x], plane[0][x] + 1);
    EXPECT_EQ(plane[2][x], 0);
  }
  return plane[0];
}

TEST_F(Stages, MirrorReversesEveryWidth) {
  EXPECT_THAT(split(true, {1}), ElementsAre(1));
  EXPECT_THAT(split(true, {1, 2}), ElementsAre(2, 1));
  EXPECT_THAT(split(true, {1, 2, 3, 4, 5}), ElementsAre(5, 4, 3, 2, 1));
}

TEST_F(Stages, WithoutTheMirrorARowIsSplitAndNothingLogged) {
  EXPECT_THAT(split(false, {1, 2, 3}), ElementsAre(1, 2, 3));
  MirrorStage stage;
  stage.prepare(false, 5, 4);
  EXPECT_EQ(captured_log([&] { stage.report(); }), "");
}

// ---- Stages 7 and 8 -----------------------------------------------------------------------------

PageLayout canvas_without_bleed(std::int32_t width, std::int32_t height) {
  return {.target_width = width,
          .target_height = height,
          .canvas_width = width,
          .canvas_height = height,
          .bleed_top = 0,
          .bleed_bottom = 0,
          .bleed_left = 0,
          .bleed_right = 0,
          .effective_width = width,
          .effective_height = height,
          .paper_label = "6x4",
          .has_user_bleed = false};
}

// Sends an image (first plane; the others differ from it by constant offsets) to the canvas.
Bytes placed(const PageLayout& layout, bool rotated, std::size_t width, std::size_t height,
             const Bytes& image) {
  Canvas canvas;
  RotateStage rotate;
  PlaceStage place;
  EXPECT_TRUE(rotated
                  ? canvas.prepare(layout, height, width) && rotate.prepare(canvas, width, height)
                  : canvas.prepare(layout, width, height) && place.prepare(canvas));
  Bytes rows[3];
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t i = 0; i < 3; ++i) {
      rows[i].assign(width + kernels::kRowSlack, 0);
      for (std::size_t x = 0; x < width; ++x) {
        rows[i][x] = static_cast<std::uint8_t>(image[y * width + x] + i);
      }
    }
    const PlaneRow row = {{rows[0].data(), rows[1].data(), rows[2].data()}};
    if (rotated) {
      rotate.row(row, canvas);
    } else {
      place.row(row, canvas);
    }
  }
  const SheetImage sheet = canvas.take();
  EXPECT_EQ(sheet.width, layout.canvas_width);
  EXPECT_EQ(sheet.height, layout.canvas_height);
  const PlaneSet& planes = sheet.planes;
  const auto count = static_cast<std::size_t>(layout.canvas_width) *
                     static_cast<std::size_t>(layout.canvas_height);
  Bytes first(planes.plane[0].get(), planes.plane[0].get() + count);
  for (std::size_t i = 0; i < count; ++i) {
    if (first[i] != 255) {
      EXPECT_EQ(planes.plane[1][i], static_cast<std::uint8_t>(first[i] + 1));
      EXPECT_EQ(planes.plane[2][i], static_cast<std::uint8_t>(first[i] + 2));
    }
  }
  return first;
}

TEST_F(Stages, ImageIsRotatedCounterClockwise) {
  EXPECT_THAT(placed(canvas_without_bleed(2, 3), true, 3, 2, {0, 1, 2, 3, 4, 5}),
              ElementsAre(2, 5, 1, 4, 0, 3));
}

TEST_F(Stages, FourRotationsGiveTheImageAgain) {
  // Taller and wider than any band; values below 250 differ from the white canvas.
  std::size_t width = 131;
  std::size_t height = 257;
  Bytes image(width * height);
  for (std::size_t i = 0; i < image.size(); ++i) {
    image[i] = static_cast<std::uint8_t>((i * 7919) % 250);
  }
  Bytes rotated = image;
  for (int i = 0; i < 4; ++i) {
    rotated = placed(
        canvas_without_bleed(static_cast<std::int32_t>(height), static_cast<std::int32_t>(width)),
        true, width, height, rotated);
    std::swap(width, height);
  }
  EXPECT_EQ(rotated, image);
}

// Both ways to the canvas: rotated by the stage, or rotated before.
TEST_F(Stages, RotatedImageIsStretchedLikeAnUprightOne) {
  const std::size_t sizes[][2] = {{40, 30}, {131, 257}, {300, 70}, {7, 200}, {1, 1}, {2, 513}};
  for (const auto& [width, height] : sizes) {
    Bytes image(width * height);
    Bytes upright(width * height);
    for (std::size_t i = 0; i < image.size(); ++i) {
      image[i] = static_cast<std::uint8_t>((i * 7919) % 250);
    }
    for (std::size_t y = 0; y < height; ++y) {
      for (std::size_t x = 0; x < width; ++x) {
        upright[(width - 1 - x) * height + y] = image[y * width + x];
      }
    }
    for (const std::int32_t canvas : {1, 50, 130, 600}) {
      PageLayout layout = canvas_without_bleed(canvas, 2 * canvas);
      layout.bleed_left = canvas / 10;
      layout.bleed_top = canvas / 7;
      layout.effective_width = canvas - canvas / 10;
      layout.effective_height = 2 * canvas - canvas / 7;
      EXPECT_EQ(placed(layout, true, width, height, image),
                placed(layout, false, height, width, upright))
          << width << "x" << height << " on " << canvas;
    }
  }
}

TEST_F(Stages, ImageOfTheEffectiveSizeIsPlacedBetweenItsBleeds) {
  PageLayout layout = canvas_without_bleed(5, 4);
  layout.bleed_left = 2;
  layout.bleed_right = 1;
  layout.bleed_top = 1;
  layout.bleed_bottom = 1;
  layout.effective_width = 2;
  layout.effective_height = 2;
  EXPECT_THAT(placed(layout, false, 2, 2, {1, 2, 3, 4}), ElementsAre(255, 255, 255, 255, 255,  //
                                                                     255, 255, 1, 2, 255,      //
                                                                     255, 255, 3, 4, 255,      //
                                                                     255, 255, 255, 255, 255));
}

TEST_F(Stages, StretchTakesTheNearestRowAndColumn) {
  // 100 x 100 to 200 x 50: column d comes from d / 2, row d from trunc((d + 0.5) * 2) = 2 d + 1.
  Bytes image(100 * 100);
  for (std::size_t i = 0; i < image.size(); ++i) {
    image[i] = static_cast<std::uint8_t>((i % 100) + (i / 100));
  }
  const Bytes canvas = placed(canvas_without_bleed(200, 50), false, 100, 100, image);
  for (std::size_t y = 0; y < 50; ++y) {
    for (std::size_t x = 0; x < 200; ++x) {
      ASSERT_EQ(canvas[y * 200 + x], x / 2 + (2 * y + 1)) << x << "," << y;
    }
  }
}

TEST_F(Stages, ImageBeyondTheCanvasIsCutOff) {
  // Two huge bleeds leave an effective width of one column, and the left one leaves no room for it.
  PageLayout layout = canvas_without_bleed(4, 3);
  layout.bleed_left = 4;
  layout.effective_width = 1;
  EXPECT_EQ(placed(layout, false, 1, 3, {1, 2, 3}), Bytes(12, 255));
  layout.bleed_left = 2'000'000'000;
  EXPECT_EQ(placed(layout, false, 1, 3, {1, 2, 3}), Bytes(12, 255));
  layout.bleed_left = 3;
  EXPECT_THAT(placed(layout, false, 1, 3, {1, 2, 3}),
              ElementsAre(255, 255, 255, 1, 255, 255, 255, 2, 255, 255, 255, 3));
  layout = canvas_without_bleed(4, 3);
  layout.bleed_top = 3;
  layout.effective_height = 1;
  EXPECT_EQ(placed(layout, false, 4, 1, {1, 2, 3, 4}), Bytes(12, 255));
}

TEST_F(Stages, EmptyImageLeavesAWhiteCanvas) {
  EXPECT_EQ(placed(canvas_without_bleed(4, 3), false, 4, 0, {}), Bytes(12, 255));
  EXPECT_EQ(placed(canvas_without_bleed(4, 3), true, 4, 0, {}), Bytes(12, 255));
}

TEST_F(Stages, PlacingLogsTheSourceOfTheBleedsAndTheStretch) {
  PageLayout layout = canvas_without_bleed(1920, 1240);
  layout.effective_width = 1800;
  layout.effective_height = 1197;
  const auto report = [&layout](std::size_t width, std::size_t height) {
    Canvas canvas;
    EXPECT_TRUE(canvas.prepare(layout, width, height));
    return captured_log([&] { canvas.report(); });
  };
  // 1800 / 1844 = 0.97614, 1197 / 1240 = 0.96532
  EXPECT_THAT(report(1844, 1240),
              AllOf(HasSubstr("K905-1: Bleed values from default (CUPSFile) - "),
                    HasSubstr("K905-1: Stretching 1844x1240 -> 1800x1197 (scale_w=0.9761, "
                              "scale_h=0.9653, non-proportional)\n")));
  layout.has_user_bleed = true;
  EXPECT_THAT(report(1800, 1197),
              AllOf(HasSubstr("K905-1: Bleed values from default + delta (PPD/CLI) - "),
                    HasSubstr("K905-1: Image already matches effective area size\n")));
}

}  // namespace
