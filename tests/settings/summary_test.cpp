#include "settings/summary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "settings/option_values.h"
#include "settings/print_options.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"

namespace {

using testing::Contains;

class ConfigurationSummary : public testing::Test {
 protected:
  static std::vector<std::string> lines() {
    return lines_of(captured_log(print_configuration_summary));
  }
  SettingsGuard settings_;
};

TEST_F(ConfigurationSummary, WithNothingSetShowsTheDefaults) {
  EXPECT_EQ(captured_log(print_configuration_summary),
            "K905-1: Current configuration summary:\n"
            "  Brightness: 0 (0.00)\n"
            "  Contrast: 0 (0.00)\n"
            "  Saturation: 0 (0.00)\n"
            "  Gamma: 1000 (1.000)\n"
            "  Copies: 1\n"
            "  Color Model: RGB\n"
            "  Color Precision: Normal\n"
            "  Image Type: Photo\n"
            "  Color Correction: None\n"
            "  Resolution: 300x300\n"
            "  Overcoat: Glossy\n"
            "  Legacy Gamma: 0\n"
            "  No Cut Waste: 0\n"
            "  Shrink Output: Shrink\n"
            "  ICC Enabled: No\n"
            "  Ribbon Size: \n"
            "  Cache Optimization: ENABLED\n");
}

TEST_F(ConfigurationSummary, ShowsEverySettingThatWasChanged) {
  current_options.brightness = -150;
  current_options.contrast = 1200;
  current_options.saturation = -1000;
  current_options.gamma = 2200;
  current_options.copies = -3;
  copy_text(current_options.color_model, "Gray");
  copy_text(current_options.color_precision, "Best");
  copy_text(current_options.image_type, "Text");
  copy_text(current_options.color_correction, "Bright");
  copy_text(current_options.resolution, "300x600");
  copy_text(current_options.overcoat, "Matte");
  current_options.legacy_gamma = 1;
  current_options.no_cut_waste = 1;
  copy_text(current_options.shrink_output, "Crop");
  copy_text(current_options.ribbon_size, "6x4");
  current_options.cache_optimization = 0;
  EXPECT_EQ(captured_log(print_configuration_summary),
            "K905-1: Current configuration summary:\n"
            "  Brightness: -150 (-0.15)\n"
            "  Contrast: 1200 (1.20)\n"
            "  Saturation: -1000 (-1.00)\n"
            "  Gamma: 2200 (2.200)\n"
            "  Copies: -3\n"
            "  Color Model: Gray\n"
            "  Color Precision: Best\n"
            "  Image Type: Text\n"
            "  Color Correction: Bright\n"
            "  Resolution: 300x600\n"
            "  Overcoat: Matte\n"
            "  Legacy Gamma: 1\n"
            "  No Cut Waste: 1\n"
            "  Shrink Output: Crop\n"
            "  ICC Enabled: No\n"
            "  Ribbon Size: 6x4\n"
            "  Cache Optimization: DISABLED\n");
}

TEST_F(ConfigurationSummary, ShowsThePathOfTheProfileAndNotItsName) {
  current_options.icc_enabled = 1;
  copy_text(current_options.icc_profile_name, "printer");
  copy_text(current_options.icc_profile_path, "/profiles/printer.icc");
  copy_text(current_options.icc_intent, "Relative");
  const std::vector<std::string> all = lines();
  ASSERT_EQ(all.size(), 20U);
  EXPECT_EQ(all[15], "  ICC Enabled: Yes");
  EXPECT_EQ(all[16], "  ICC Profile: /profiles/printer.icc");
  EXPECT_EQ(all[17], "  ICC Rendering Intent: Relative");
  EXPECT_EQ(all[18], "  Ribbon Size: ");
}

TEST_F(ConfigurationSummary, TheLimitsOfASettingArePrintable) {
  current_options.brightness = 2147483647;
  current_options.gamma = -2147483647 - 1;
  EXPECT_THAT(lines(), Contains("  Brightness: 2147483647 (2147483.65)"));
  EXPECT_THAT(lines(), Contains("  Gamma: -2147483648 (-2147483.648)"));
}

}  // namespace
