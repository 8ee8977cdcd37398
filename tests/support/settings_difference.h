// Compares the settings of the filter with those of the reference.
#pragma once

#include <string>

#include "paper/paper_table.h"
#include "settings/print_options.h"
#include "tests/support/reference_state.h"

// The names of all settings that differ; empty if there are none.
inline std::string different_settings(const PrintOptions& ours, const reference::Settings& plain) {
  std::string names;
  const auto compare = [&names](const char* name, const auto& our, const auto& expected) {
    if (our != expected) names.append(names.empty() ? "" : ", ").append(name);
  };
  compare("paper", ours.paper_config->ppd_name, plain.paper.name);
  compare("rotate_90", ours.rotate_90 != 0, plain.rotate);
  compare("interlace", ours.interlace != 0, plain.interlace);
  compare("interlace_factor", ours.interlace_factor, plain.interlace_factor);
  compare("mirror", ours.mirror != 0, plain.mirror);
  compare("ribbon_size", ours.ribbon_size, plain.ribbon);
  compare("ribbon_detected", ours.ribbon_detected != 0, plain.ribbon_detected);
  compare("cache_optimization", ours.cache_optimization != 0, plain.cache_optimization);
  compare("ppd_paper_name", ours.ppd_paper_name, plain.ppd_paper_name);
  compare("brightness", ours.brightness, plain.brightness);
  compare("contrast", ours.contrast, plain.contrast);
  compare("saturation", ours.saturation, plain.saturation);
  compare("gamma", ours.gamma, plain.gamma);
  compare("copies", ours.copies, plain.copies);
  compare("color_model", ours.color_model, plain.color_model);
  compare("color_precision", ours.color_precision, plain.color_precision);
  compare("image_type", ours.image_type, plain.image_type);
  compare("color_correction", ours.color_correction, plain.color_correction);
  compare("resolution", ours.resolution, plain.resolution);
  compare("overcoat", ours.overcoat, plain.overcoat);
  compare("legacy_gamma", ours.legacy_gamma, plain.legacy_gamma);
  compare("no_cut_waste", ours.no_cut_waste, plain.no_cut_waste);
  compare("shrink_output", ours.shrink_output, plain.shrink_output);
  compare("cyan_gamma", ours.cyan_gamma, plain.cyan_gamma);
  compare("magenta_gamma", ours.magenta_gamma, plain.magenta_gamma);
  compare("yellow_gamma", ours.yellow_gamma, plain.yellow_gamma);
  compare("cyan_balance", ours.cyan_balance, plain.cyan_balance);
  compare("magenta_balance", ours.magenta_balance, plain.magenta_balance);
  compare("yellow_balance", ours.yellow_balance, plain.yellow_balance);
  compare("linear_contrast", ours.linear_contrast, plain.linear_contrast);
  compare("icc_profile_name", ours.icc_profile_name, plain.icc_name);
  compare("icc_profile_path", ours.icc_profile_path, plain.icc_path);
  compare("icc_enabled", ours.icc_enabled != 0, plain.icc_enabled);
  compare("icc_intent", ours.icc_intent, plain.icc_intent);
  compare("color_base", ours.color_base, plain.color_base);
  compare("color_base_profile_name", ours.color_base_profile_name, plain.color_base_name);
  compare("color_base_profile_path", ours.color_base_profile_path, plain.color_base_path);
  compare("bleed_top_px", ours.bleed_top_px, plain.bleed_top);
  compare("bleed_bottom_px", ours.bleed_bottom_px, plain.bleed_bottom);
  compare("bleed_left_px", ours.bleed_left_px, plain.bleed_left);
  compare("bleed_right_px", ours.bleed_right_px, plain.bleed_right);
  return names;
}
