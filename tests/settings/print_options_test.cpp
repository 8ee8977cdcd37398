#include "settings/print_options.h"

#include <gtest/gtest.h>

#include "paper/paper_table.h"

namespace {

// Taken while the program's globals are still being set up: a record that were filled by code at
// start-up could be found half ready here.
const PrintOptions before_main = current_options;

void expect_built_in_defaults(const PrintOptions& options) {
  EXPECT_EQ(options.paper_config, &paper_sizes[9]);
  EXPECT_STREQ(options.paper_config->ppd_name, "default");
  EXPECT_EQ(options.rotate_90, 0);
  EXPECT_STREQ(options.ppd_paper_name, "");
  EXPECT_EQ(options.interlace, 0);
  EXPECT_EQ(options.interlace_factor, 1);
  EXPECT_EQ(options.mirror, 1);
  EXPECT_EQ(options.brightness, 0);
  EXPECT_EQ(options.contrast, 0);
  EXPECT_EQ(options.saturation, 0);
  EXPECT_EQ(options.gamma, 1000);
  EXPECT_EQ(options.copies, 1);
  EXPECT_STREQ(options.color_model, "RGB");
  EXPECT_STREQ(options.color_precision, "Normal");
  EXPECT_STREQ(options.image_type, "Photo");
  EXPECT_STREQ(options.color_correction, "None");
  EXPECT_STREQ(options.resolution, "300x300");
  EXPECT_STREQ(options.overcoat, "Glossy");
  EXPECT_EQ(options.legacy_gamma, 0);
  EXPECT_EQ(options.no_cut_waste, 0);
  EXPECT_STREQ(options.shrink_output, "Shrink");
  EXPECT_EQ(options.cyan_gamma, 1000);
  EXPECT_EQ(options.magenta_gamma, 1000);
  EXPECT_EQ(options.yellow_gamma, 1000);
  EXPECT_EQ(options.cyan_balance, 1000);
  EXPECT_EQ(options.magenta_balance, 1000);
  EXPECT_EQ(options.yellow_balance, 1000);
  EXPECT_EQ(options.linear_contrast, 0);
  EXPECT_STREQ(options.icc_profile_name, "");
  EXPECT_STREQ(options.icc_profile_path, "");
  EXPECT_EQ(options.icc_enabled, 0);
  EXPECT_STREQ(options.icc_intent, "Perceptual");
  EXPECT_STREQ(options.color_base_profile_name, "");
  EXPECT_STREQ(options.color_base_profile_path, "");
  EXPECT_STREQ(options.color_base, "");
  EXPECT_STREQ(options.ribbon_size, "");
  EXPECT_EQ(options.ribbon_detected, 0);
  EXPECT_EQ(options.cache_optimization, 1);
  EXPECT_EQ(options.bleed_top_px, 0);
  EXPECT_EQ(options.bleed_bottom_px, 0);
  EXPECT_EQ(options.bleed_left_px, 0);
  EXPECT_EQ(options.bleed_right_px, 0);
}

TEST(SettingsRecord, HoldsTheBuiltInDefaultsWhenMainBegins) {
  expect_built_in_defaults(current_options);
}

TEST(SettingsRecord, IsReadyBeforeAnyCodeRuns) { expect_built_in_defaults(before_main); }

TEST(SettingsRecord, TextFieldsHaveTheirCapacities) {
  EXPECT_EQ(sizeof current_options.ppd_paper_name, 64U);
  EXPECT_EQ(sizeof current_options.color_model, 32U);
  EXPECT_EQ(sizeof current_options.color_precision, 32U);
  EXPECT_EQ(sizeof current_options.image_type, 32U);
  EXPECT_EQ(sizeof current_options.color_correction, 32U);
  EXPECT_EQ(sizeof current_options.resolution, 32U);
  EXPECT_EQ(sizeof current_options.overcoat, 32U);
  EXPECT_EQ(sizeof current_options.shrink_output, 32U);
  EXPECT_EQ(sizeof current_options.icc_profile_name, 128U);
  EXPECT_EQ(sizeof current_options.icc_profile_path, 512U);
  EXPECT_EQ(sizeof current_options.icc_intent, 32U);
  EXPECT_EQ(sizeof current_options.color_base_profile_name, 128U);
  EXPECT_EQ(sizeof current_options.color_base_profile_path, 512U);
  EXPECT_EQ(sizeof current_options.color_base, 16U);
  EXPECT_EQ(sizeof current_options.ribbon_size, 16U);
}

}  // namespace
