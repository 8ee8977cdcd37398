// The reference against examples computed by hand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "tests/support/child_process.h"
#include "tests/support/profile_builder.h"
#include "tests/support/raster_builder.h"
#include "tests/support/reference_state.h"

namespace {

using reference::Image;
using reference::make_image;
using reference::PlainFilter;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

const ReferenceJob& quiet_job() {
  static const ReferenceJob job = [] {
    ReferenceJob made;
    made.arguments = {"rastertok905"};
    made.ppd_path = "/nowhere";
    return made;
  }();
  return job;
}

Image image_of(int width, int height, std::vector<std::uint8_t> r, std::vector<std::uint8_t> g,
               std::vector<std::uint8_t> b) {
  Image image;
  image.width = width;
  image.height = height;
  image.plane[0] = std::move(r);
  image.plane[1] = std::move(g);
  image.plane[2] = std::move(b);
  return image;
}

Image one_pixel(std::uint8_t r, std::uint8_t g, std::uint8_t b) {
  return image_of(1, 1, {r}, {g}, {b});
}

std::vector<int> toned(const reference::Settings& settings, std::uint8_t r, std::uint8_t g,
                       std::uint8_t b) {
  PlainFilter run(quiet_job());
  run.settings = settings;
  Image image = one_pixel(r, g, b);
  run.adjust(image);
  return {image.plane[0][0], image.plane[1][0], image.plane[2][0]};
}

TEST(ReferenceRotate, IsCounterClockwise) {
  Image image = image_of(3, 2, {0, 1, 2, 3, 4, 5}, {0, 1, 2, 3, 4, 5}, {0, 1, 2, 3, 4, 5});
  PlainFilter(quiet_job()).rotate(image);
  EXPECT_EQ(image.width, 2);
  EXPECT_EQ(image.height, 3);
  EXPECT_THAT(image.plane[1], ElementsAre(2, 5, 1, 4, 0, 3));
}

TEST(ReferenceMirror, KeepsTheMiddleColumn) {
  Image image = image_of(3, 2, {1, 2, 3, 4, 5, 6}, {0, 0, 0, 0, 0, 0}, {9, 8, 7, 6, 5, 4});
  PlainFilter(quiet_job()).mirror(image);
  EXPECT_THAT(image.plane[0], ElementsAre(3, 2, 1, 6, 5, 4));
  EXPECT_THAT(image.plane[2], ElementsAre(7, 8, 9, 4, 5, 6));
}

TEST(ReferenceTone, UsesEverySettingOfTheJob) {
  reference::Settings s;
  s.brightness = 100;
  EXPECT_THAT(toned(s, 200, 0, 255), ElementsAre(220, 0, 255));
  s = {};
  s.contrast = -1000;
  s.cyan_balance = 500;
  s.yellow_balance = 0;
  EXPECT_THAT(toned(s, 0, 77, 255), ElementsAre(64, 128, 0));
  s = {};
  s.gamma = 2000;  // sqrt(64 / 255) * 255 = 127.75
  EXPECT_THAT(toned(s, 64, 0, 255), ElementsAre(127, 0, 255));
  s = {};
  s.magenta_gamma = 2000;
  EXPECT_THAT(toned(s, 64, 64, 64), ElementsAre(64, 127, 64));
  s = {};
  s.color_correction = "Hue";  // 0.95 * 255 = 242.25 and 0.05 * 255 = 12.75
  EXPECT_THAT(toned(s, 255, 0, 0), ElementsAre(242, 0, 12));
  s = {};
  s.linear_contrast = 1;
  EXPECT_THAT(toned(s, 0, 68, 255), ElementsAre(0, 56, 255));
  s = {};
  s.legacy_gamma = 1;  // (64 / 255) ^ (1 / 2.2) * 255 = 136.06
  EXPECT_THAT(toned(s, 0, 64, 255), ElementsAre(0, 136, 255));
  s = {};
  s.saturation = -1000;  // (10 + 20 + 60) * 0.333333
  EXPECT_THAT(toned(s, 10, 20, 60), ElementsAre(29, 29, 29));
}

TEST(ReferenceColors, KcmyInvertsTheLastPlaneOnly) {
  PlainFilter run(quiet_job());
  run.settings.color_model = "KCMY";
  Image image = one_pixel(10, 20, 30);
  run.convert_colors(image);
  EXPECT_EQ(image.plane[0][0], 20);
  EXPECT_EQ(image.plane[1][0], 30);
  EXPECT_EQ(image.plane[2][0], 245);
}

TEST(ReferenceColors, GrayWeighsTheChannels) {
  PlainFilter run(quiet_job());
  run.settings.color_model = "Black";
  Image image = one_pixel(100, 200, 50);
  run.convert_colors(image);
  // 29.9 + 117.4 + 5.7 = 153.0; in single precision the result may be slightly more or less.
  EXPECT_NEAR(image.plane[0][0], 255 - 153, 1);
  EXPECT_EQ(image.plane[0][0], image.plane[2][0]);
}

TEST(ReferenceDeinterlace, WeighsTheUpperRowThreeToTwo) {
  PlainFilter run(quiet_job());
  Image image = image_of(1, 3, {100, 50, 7}, {255, 255, 7}, {0, 1, 7});
  run.deinterlace(image);
  EXPECT_EQ(image.height, 1);
  EXPECT_EQ(image.plane[0][0], 80);   // (300 + 100) / 5
  EXPECT_EQ(image.plane[1][0], 255);  // equal rows stay
  EXPECT_EQ(image.plane[2][0], 0);    // 2 / 5 rounded down
}

TEST(ReferenceResize, DoublingKeepsPixelsAndRepeatsTheLast) {
  PlainFilter run(quiet_job());
  Image image = image_of(2, 1, {10, 20}, {0, 255}, {7, 7});
  run.resize(image, 4, 2);
  // Columns sample 0, 0.5, 1 and 1.5, the last of which has no right neighbor; 127.5 rounds up.
  EXPECT_THAT(image.plane[0], ElementsAre(10, 15, 20, 20, 10, 15, 20, 20));
  EXPECT_THAT(image.plane[1], ElementsAre(0, 128, 255, 255, 0, 128, 255, 255));
  EXPECT_THAT(run.log,
              Contains("K905-1:   Original DPI might be: 150 (if height should stay same)"));
}

TEST(ReferencePlace, StretchTakesTheNearestPixel) {
  PlainFilter run(quiet_job());
  // What is left of the canvas is 200 wide and 50 high.
  run.settings.paper = {"p", "p", 0, 0, 100, 100, 210, 70, 10, 10, 5, 5};
  Image image = make_image(100, 100);
  for (std::size_t i = 0; i < image.plane[0].size(); ++i) {
    image.plane[0][i] = static_cast<std::uint8_t>(i % 100);
    image.plane[1][i] = static_cast<std::uint8_t>(i / 100);
  }
  Image canvas;
  run.place(image, canvas);
  ASSERT_EQ(canvas.plane[0].size(), 210U * 70U);
  EXPECT_EQ(canvas.plane[0][10 * 210 + 4], 255);
  EXPECT_EQ(canvas.plane[0][10 * 210 + 5], 0);
  EXPECT_EQ(canvas.plane[0][10 * 210 + 6], 0);
  EXPECT_EQ(canvas.plane[0][10 * 210 + 7], 1);
  EXPECT_EQ(canvas.plane[0][10 * 210 + 204], 99);
  EXPECT_EQ(canvas.plane[0][10 * 210 + 205], 255);
  EXPECT_EQ(canvas.plane[1][10 * 210 + 5], 1);
  EXPECT_EQ(canvas.plane[1][11 * 210 + 5], 3);
  EXPECT_EQ(canvas.plane[1][59 * 210 + 5], 99);
  EXPECT_EQ(canvas.plane[1][60 * 210 + 5], 255);
}

TEST(ReferencePlace, BleedsBeyondTheCanvasLeaveItWhite) {
  PlainFilter run(quiet_job());
  run.settings.bleed_top = 2147483647;
  run.settings.bleed_left = -2147483647;
  Image canvas;
  run.place(make_image(5, 5), canvas);
  EXPECT_EQ(std::accumulate(canvas.plane[0].begin(), canvas.plane[0].end(), std::size_t{0}),
            255U * canvas.plane[0].size());
  EXPECT_THAT(run.log,
              Contains("K905-1: Bleed values from default + delta (PPD/CLI) - Top(A):2147483647, "
                       "Bottom(B):0, Left(C):0, Right(D):0"));
}

TEST(ReferenceMerge, PutsEighteenWhiteRowsBetween) {
  PlainFilter run(quiet_job());
  EXPECT_TRUE(run.merge(make_image(1920, 1240, 1), make_image(1920, 1240, 2)));
  const std::size_t pixels = std::size_t{3} * (32 + 1088);
  ASSERT_GT(run.output.size(), pixels);
  const auto row = [&run](int y) {
    return static_cast<unsigned char>(run.output[32 + 1088 + static_cast<std::size_t>(y) * 1920]);
  };
  EXPECT_EQ(row(0), 1);
  EXPECT_EQ(row(1234), 1);
  EXPECT_EQ(row(1235), 255);
  EXPECT_EQ(row(1252), 255);
  EXPECT_EQ(row(1253), 2);
  EXPECT_EQ(row(2492), 2);
  EXPECT_EQ(row(2493), 255);
}

TEST(ReferenceHeader, SizeOf6x8GivesTheFirstRowThatFits) {
  PlainFilter run(quiet_job());
  cups_page_header2_t header = page_header(10, 10);
  header.PageSize[0] = 461;
  header.PageSize[1] = 585;
  run.interpret_header(header);
  EXPECT_EQ(run.settings.paper.name, "w288h432-div2");
  run.settings.ppd_paper_name = "w432h576";
  run.interpret_header(header);
  EXPECT_EQ(run.settings.paper.label, "6x8");
}

TEST(ReferenceHeader, UnknownResolutionAndSpaceKeepTheSettings) {
  PlainFilter run(quiet_job());
  run.settings.color_model = "Gray";
  cups_page_header2_t header = page_header(10, 10);
  header.HWResolution[0] = header.HWResolution[1] = 600;
  header.cupsColorSpace = CUPS_CSPACE_KCMY;
  run.interpret_header(header);
  EXPECT_EQ(run.settings.resolution, "300x300");
  EXPECT_EQ(run.settings.color_model, "Gray");
}

TEST(ReferenceArguments, OptionStringGivesTheProfileOnly) {
  ReferenceJob job = quiet_job();
  job.arguments = {"f", "1", "u", "t", "1", "StpBrightness=500 =x ICCProfile=q ICCProfile=sRGB"};
  PlainFilter run(job);
  run.read_arguments();
  EXPECT_EQ(run.settings.brightness, 0);
  EXPECT_THAT(run.log, Contains("    PPD option: ICCProfile=q"));
  EXPECT_THAT(run.log, Not(Contains("    PPD option: ICCProfile=sRGB")));
}

TEST(ReferenceArguments, FlagsTakeTheNextArgument) {
  ReferenceJob job = quiet_job();
  job.arguments = {"f",        "--gamma",          "None", "StpGamma=None", "--copies",
                   "7 sheets", "--paper-size=6x4", "6x8",  "--contrast"};
  PlainFilter run(job);
  run.read_arguments();
  EXPECT_EQ(run.settings.gamma, 1000);
  EXPECT_EQ(run.settings.copies, 7);
  EXPECT_EQ(run.settings.contrast, 0);
  run.read_paper_argument();
  EXPECT_EQ(run.settings.paper.label, "6x8");
  EXPECT_THAT(run.log, Contains("K905-1: Manual paper selection: w432h576 (6x8)"));
}

TEST(ReferencePpd, MillimetersAreTruncatedTowardZero) {
  ReferenceJob job = quiet_job();
  job.ppd_file = PpdDescription{};
  job.ppd_file->groups = {{"K905", {{"BleedTop", "1.0"}, {"BleedB", "-1"}, {"BleedLeft", "0.5"}}}};
  PlainFilter run(job);
  run.read_ppd();
  EXPECT_EQ(run.settings.bleed_top, 12);
  EXPECT_EQ(run.settings.bleed_bottom, -11);
  EXPECT_EQ(run.settings.bleed_left, 6);
  EXPECT_THAT(run.log, Contains("      -> Bleed Top (A) from PPD: 1.00mm = 12px (delta)"));
}

TEST(ReferencePages, AreWhatLibcupsReads) {
  std::mt19937 random(7);
  RasterPage page = blank_page(page_header(7, 5, 3));
  fill_with_noise(page, random);
  for (const RasterKind kind : {RasterKind::kUncompressed, RasterKind::kCompressed}) {
    const std::string stream = raster_stream({page, page}, kind);
    const reference::Pages read = reference::read_pages(stream);
    ASSERT_EQ(read.pages.size(), 2U);
    EXPECT_FALSE(read.refused_header);
    ASSERT_EQ(read.pages[1].lines.size(), 5U);
    EXPECT_TRUE(std::equal(read.pages[1].lines[4].begin(), read.pages[1].lines[4].end(),
                           page.pixels.begin() + std::ptrdiff_t{4} * 21));
  }
  EXPECT_EQ(raw_raster_stream({page}), raster_stream({page}));
  const reference::Pages other = reference::read_pages(raw_raster_stream({page}, true));
  ASSERT_EQ(other.pages.size(), 1U);
  EXPECT_EQ(other.pages[0].header.cupsWidth, 7U);
}

TEST(ReferencePages, TruncatedLineIsNotRead) {
  const RasterPage page = blank_page(page_header(7, 5, 3));
  std::string stream = raster_stream({page});
  stream.resize(stream.size() - 22);
  const reference::Pages read = reference::read_pages(stream);
  ASSERT_EQ(read.pages.size(), 1U);
  EXPECT_EQ(read.pages[0].lines.size(), 3U);
  EXPECT_FALSE(read.refused_header);
}

TEST(ReferencePages, RefusedHeaderIsReported) {
  RasterPage page = blank_page(page_header(7, 5, 3));
  RasterPage wrong = page;
  wrong.header.cupsBitsPerPixel = 0;
  const reference::Pages read = reference::read_pages(raw_raster_stream({page, wrong}));
  EXPECT_EQ(read.pages.size(), 1U);
  EXPECT_TRUE(read.refused_header);
}

TEST(ReferenceProfiles, ValidOnesConvertAndInvalidOnesAreRefused) {
  const std::string failed = "K905-1: WARNING: ICC conversion failed, using original colors";
  const std::pair<std::string, bool> profiles[] = {
      {wide_rgb_profile(), true}, {rgb_table_profile(), true},   {cmyk_table_profile(), true},
      {gray_profile(), true},     {hollow_rgb_profile(), false}, {lab_profile(), false}};
  for (const auto& [bytes, converts] : profiles) {
    const ScratchFolder folder;
    PlainFilter run(quiet_job());
    run.settings.icc_enabled = true;
    run.settings.icc_name = "printer";
    run.settings.icc_path = folder.write("printer.icc", bytes);
    Image image = one_pixel(200, 30, 90);
    run.adjust(image);
    EXPECT_EQ(std::count(run.log.begin(), run.log.end(), failed), converts ? 0 : 1);
    EXPECT_EQ(image.plane[0] == one_pixel(200, 30, 90).plane[0], !converts);
  }
}

}  // namespace
