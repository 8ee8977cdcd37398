// The stage as a whole: order of work, log and images. Linked with a stand-in for
// save_debug_image that keeps the image and leaves a line in the log, so that lines and images
// show their order.
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
#include "tests/pipeline_adjust/tone_reference.h"
#include "tests/support/environment_guard.h"

namespace {

struct SavedImage {
  unsigned width;
  int height;
  std::vector<std::uint8_t> planes;  // one after the other
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
  for (std::size_t i = 0; i < rgb.size(); i += 3) reference::adjust(options, rgb.data() + i);
  return rgb;
}

class Stage5 : public testing::Test {
 protected:
  // Sends `page` through the stage; the planes come back one after the other.
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

TEST_F(Stage5, NeutralPageKeepsItsBytesAndLogsItsSettings) {
  Page page = noise_page(17, 9, 1);
  set_pixel(page, 0, 10, 20, 30);
  EXPECT_EQ(run(defaults(), page), planes_of(page.rgb));
  EXPECT_EQ(log_,
            "K905-1: === STAGE 5: Image adjustments ===\n"
            "K905-1: Before adjustments - Pixel[0]: R=10, G=20, B=30\n"
            "K905-1: Applying image adjustments:\n"
            "  ICC Enabled: No\n"
            "  Brightness: 0 (0.00)\n"
            "  Contrast: 0 (0.00)\n"
            "  Saturation: 0 (0.00)\n"
            "  Gamma: 1000 (1.000)\n"
            "  Image Type: Photo\n"
            "  Color Correction: None\n"
            "K905-1: Image adjustments applied\n"
            "K905-1: After adjustments - Pixel[0]: R=10, G=20, B=30\n");
}

TEST_F(Stage5, SettingsAreLoggedInThousandthsAndAsFactors) {
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

TEST_F(Stage5, ProfileIsLoggedByNameAndConversionRunsBeforeTones) {
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

TEST_F(Stage5, EnabledWithoutANameIsLoggedByTheConversion) {
  PrintOptions options = defaults();
  options.icc_enabled = 1;
  const Page page = noise_page(5, 5, 5);
  EXPECT_EQ(run(options, page), planes_of(page.rgb));
  EXPECT_THAT(log_, HasSubstr("  ICC Enabled: Yes\n  ICC Profile: \n"));
  EXPECT_THAT(log_, HasSubstr("K905-1: ICC conversion not enabled or no profile specified\n"
                              "K905-1: Image adjustments applied\n"));
}

TEST_F(Stage5, AnEmptyImageIsLoggedAsZeros) {
  PrintOptions options = defaults();
  options.brightness = 500;
  EXPECT_EQ(run(options, Page{12, 0, {}}), std::vector<std::uint8_t>());
  EXPECT_THAT(log_, HasSubstr("K905-1: Before adjustments - Pixel[0]: R=0, G=0, B=0\n"));
  EXPECT_THAT(log_, HasSubstr("K905-1: After adjustments - Pixel[0]: R=0, G=0, B=0\n"));
}

TEST_F(Stage5, AFurtherCopyHasTheSameLog) {
  const ProfileFolder profiles;
  const PrintOptions options = icc_options("", profiles.cmyk_table("press.icc"));
  run(options, noise_page(6, 6, 6));
  EXPECT_EQ(captured_log([&] { stage_.report(options); }), log_);
}

TEST_F(Stage5, ByHandEveryStepSavesItsImageInOrder) {
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

TEST_F(Stage5, ByHandTheConversionSavesAnImageAlsoWhenItFailed) {
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
