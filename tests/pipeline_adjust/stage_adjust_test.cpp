// Order, log and images of the stage. A replacement of save_debug_image keeps the image and writes
// a line into the log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lcms2.h>

#include <array>
#include <map>

#include "diag/log.h"
#include "pipeline/stages.h"
#include "pipeline/tone_plan.h"
#include "tests/pipeline_adjust/icc_page.h"
#include "tests/pipeline_adjust/profiles.h"
#include "tests/support/environment_guard.h"
#include "tests/support/plain_formulas.h"

namespace {

struct SavedImage {
  unsigned width;
  int height;
  std::vector<std::uint8_t> planes;  // concatenated
};
std::map<std::string, SavedImage> saved_images;

}  // namespace

// save_debug_image(char const*, unsigned char const*, unsigned char const*, unsigned char const*,
// unsigned int, int)
extern "C" void __wrap__Z16save_debug_imagePKcPKhS2_S2_ji(const char* tag,
                                                          const std::uint8_t* plane0,
                                                          const std::uint8_t* plane1,
                                                          const std::uint8_t* plane2,
                                                          unsigned width, int height) {
  log_line("IMAGE %s", tag);
  SavedImage image{width, height, {}};
  const std::size_t count = std::size_t{width} * static_cast<std::size_t>(height);
  for (const std::uint8_t* plane : {plane0, plane1, plane2}) {
    image.planes.insert(image.planes.end(), plane, plane + count);
  }
  saved_images[tag] = image;
}

namespace {

using testing::HasSubstr;

std::vector<std::uint8_t> planes_of(const std::vector<std::uint8_t>& rgb) {
  std::vector<std::uint8_t> planes;
  for (std::size_t c = 0; c < 3; ++c) {
    for (std::size_t i = c; i < rgb.size(); i += 3) planes.push_back(rgb[i]);
  }
  return planes;
}

std::vector<std::uint8_t> toned(const PrintOptions& options, std::vector<std::uint8_t> rgb) {
  const plain::ToneChain formula = plain::tone_chain_of(options);
  for (std::size_t i = 0; i < rgb.size(); i += 3) {
    const plain::Pixel pixel = formula({rgb[i], rgb[i + 1], rgb[i + 2]});
    std::copy(pixel.begin(), pixel.end(), rgb.begin() + static_cast<std::ptrdiff_t>(i));
  }
  return rgb;
}

class AdjustStageTest : public testing::Test {
 protected:
  // The planes of `page` after the stage, concatenated.
  std::vector<std::uint8_t> run(const PrintOptions& options, const Page& page) {
    stage_ = {};
    std::vector<std::uint8_t> rgb;
    EXPECT_EQ(captured_log([&] {
                stage_.prepare(options, page.width, page.height, icc_);
                rgb = through_rows(page, [&](const PlaneRow& row) { stage_.row(row); });
              }),
              "");
    log_ = captured_log([&] { stage_.report(options); });
    return planes_of(rgb);
  }

  IccTransform icc_;
  AdjustStage stage_;
  std::string log_;
  EnvironmentGuard printing_{"PPD", "/etc/cups/ppd/k905.ppd"};
};

PrintOptions defaults() { return PrintOptions{.paper_config = nullptr}; }

TEST_F(AdjustStageTest, SettingsAreLoggedAsThousandthsAndFactors) {
  PrintOptions options = defaults();
  options.brightness = 100;
  options.contrast = -150;
  options.saturation = 1005;
  options.gamma = 2200;
  std::snprintf(options.image_type, sizeof options.image_type, "Graphics");
  std::snprintf(options.color_correction, sizeof options.color_correction, "Accurate");
  Page page = noise_page(8, 8, 3);
  const auto expected = toned(options, page.rgb);
  EXPECT_EQ(run(options, page), planes_of(expected));
  EXPECT_THAT(log_, HasSubstr("  Brightness: 100 (0.10)\n"
                              "  Contrast: -150 (-0.15)\n"
                              "  Saturation: 1005 (1.00)\n"  // 1.00499999999999989 in a double
                              "  Gamma: 2200 (2.200)\n"
                              "  Image Type: Graphics\n"
                              "  Color Correction: Accurate\n"));
  EXPECT_THAT(log_, HasSubstr("K905-1: After adjustments - Pixel[0]: R=" +
                              std::to_string(expected[0]) + ", G=" + std::to_string(expected[1]) +
                              ", B=" + std::to_string(expected[2]) + "\n"));
}

TEST_F(AdjustStageTest, ConversionRunsBeforeTheTones) {
  const ProfileFolder profiles;
  const std::string target = profiles.rgb_table("printer.icc");
  PrintOptions options = icc_options("", target);
  options.gamma = 1500;
  options.saturation = 200;
  const Page page = noise_page(21, 8, 4);
  const auto converted = converted_directly("", target, TYPE_RGB_8, 0, page.rgb);
  EXPECT_EQ(run(options, page), planes_of(toned(options, converted)));
  EXPECT_THAT(log_, HasSubstr("  ICC Enabled: Yes\n"
                              "  ICC Profile: printer\n"
                              "  Brightness: 0 (0.00)\n"));
  EXPECT_THAT(log_, HasSubstr("  Color Correction: None\n"
                              "K905-1: Before ICC - Pixel[0]: "));
  EXPECT_THAT(log_, testing::ContainsRegex("K905-1: After ICC - Pixel.center.: .*\n"
                                           "K905-1: Image adjustments applied\n"));
}

TEST_F(AdjustStageTest, FurtherCopyHasTheSameLog) {
  const ProfileFolder profiles;
  const PrintOptions options = icc_options("", profiles.cmyk_table("press.icc"));
  run(options, noise_page(6, 6, 6));
  EXPECT_EQ(captured_log([&] { stage_.report(options); }), log_);
}

TEST_F(AdjustStageTest, RunByHandSavesTheImageOfEveryStepInOrder) {
  const EnvironmentGuard by_hand("PPD", nullptr);
  saved_images.clear();
  PrintOptions options = defaults();
  options.brightness = 200;
  const Page page = noise_page(7, 6, 7);
  run(options, page);
  EXPECT_THAT(log_, testing::MatchesRegex("K905-1: === STAGE 5: Image adjustments ===\n"
                                          "K905-1: Before adjustments - Pixel.0.: [^\n]*\n"
                                          "IMAGE 05a_before_adjustments\n"
                                          "K905-1: Applying image adjustments:\n"
                                          "(  [^\n]*\n)+"
                                          "IMAGE adjust_before\n"
                                          "IMAGE adjust_after\n"
                                          "K905-1: Image adjustments applied\n"
                                          "IMAGE 05b_after_adjustments\n"
                                          "K905-1: After adjustments - Pixel.0.: [^\n]*\n"));
  EXPECT_EQ(saved_images["05a_before_adjustments"].planes, planes_of(page.rgb));
  EXPECT_EQ(saved_images["adjust_before"].planes, planes_of(page.rgb));
  EXPECT_EQ(saved_images["adjust_after"].planes, planes_of(toned(options, page.rgb)));
  EXPECT_EQ(saved_images["05b_after_adjustments"].planes, planes_of(toned(options, page.rgb)));
  EXPECT_EQ(saved_images["adjust_before"].width, 7u);
  EXPECT_EQ(saved_images["adjust_before"].height, 6);
  EXPECT_FALSE(saved_images.contains("adjust_after_icc"));
}

TEST_F(AdjustStageTest, RunByHandSavesTheImageOfASuccessfulAndOfAFailedConversion) {
  const EnvironmentGuard by_hand("PPD", nullptr);
  const ProfileFolder profiles;
  const Page page = noise_page(7, 6, 8);

  saved_images.clear();
  PrintOptions options = icc_options("", profiles.rgb_table("printer.icc"));
  options.contrast = 100;
  run(options, page);
  const auto converted =
      converted_directly("", profiles.path("printer.icc"), TYPE_RGB_8, 0, page.rgb);
  EXPECT_EQ(saved_images["adjust_before"].planes, planes_of(page.rgb));
  EXPECT_EQ(saved_images["adjust_after_icc"].planes, planes_of(converted));
  EXPECT_EQ(saved_images["adjust_after"].planes, planes_of(toned(options, converted)));
  EXPECT_THAT(log_, testing::ContainsRegex("K905-1: After ICC - Pixel.center.: .*\n"
                                           "IMAGE adjust_after_icc\n"
                                           "IMAGE adjust_after\n"));

  saved_images.clear();
  options = icc_options(profiles.lab("lab.icc"), profiles.path("printer.icc"));
  run(options, page);
  EXPECT_EQ(saved_images["adjust_after_icc"].planes, planes_of(page.rgb));
  EXPECT_THAT(log_, HasSubstr("K905-1: WARNING: ICC conversion failed, using original colors\n"
                              "IMAGE adjust_after_icc\n"
                              "IMAGE adjust_after\n"));
}

}  // namespace
