#include "fuzz/settings_check.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <span>
#include <string>

#include "fuzz/expect.h"
#include "paper/paper_table.h"
#include "settings/print_options.h"

namespace {

template <auto PrintOptions::*... texts>
void expect_ended() {
  for (const std::span<const char> text : {std::span<const char>(current_options.*texts)...}) {
    expect(std::memchr(text.data(), '\0', text.size()) != nullptr, "every text is ended");
  }
}

void expect_texts_like(const reference::Settings& plain) {
  const PrintOptions& ours = current_options;
  expect(ours.paper_config->ppd_name == plain.paper.name, "the paper");
  expect(ours.ppd_paper_name == plain.ppd_paper_name, "the paper's name");
  expect(ours.color_model == plain.color_model, "the color model");
  expect(ours.color_precision == plain.color_precision, "the precision");
  expect(ours.image_type == plain.image_type, "the image type");
  expect(ours.color_correction == plain.color_correction, "the color correction");
  expect(ours.resolution == plain.resolution, "the resolution");
  expect(ours.overcoat == plain.overcoat, "the overcoat");
  expect(ours.shrink_output == plain.shrink_output, "the shrinking");
  expect(ours.icc_profile_name == plain.icc_name, "the profile's name");
  expect(ours.icc_profile_path == plain.icc_path, "the profile's path");
  expect(ours.icc_intent == plain.icc_intent, "the intent");
  expect(ours.color_base == plain.color_base, "the color base");
  expect(ours.color_base_profile_name == plain.color_base_name, "the base profile's name");
  expect(ours.color_base_profile_path == plain.color_base_path, "the base profile's path");
}

void expect_numbers_like(const reference::Settings& plain) {
  const PrintOptions& ours = current_options;
  const int pairs[][2] = {{ours.brightness, plain.brightness},
                          {ours.contrast, plain.contrast},
                          {ours.saturation, plain.saturation},
                          {ours.gamma, plain.gamma},
                          {ours.copies, plain.copies},
                          {ours.legacy_gamma, plain.legacy_gamma},
                          {ours.no_cut_waste, plain.no_cut_waste},
                          {ours.cyan_gamma, plain.cyan_gamma},
                          {ours.magenta_gamma, plain.magenta_gamma},
                          {ours.yellow_gamma, plain.yellow_gamma},
                          {ours.cyan_balance, plain.cyan_balance},
                          {ours.magenta_balance, plain.magenta_balance},
                          {ours.yellow_balance, plain.yellow_balance},
                          {ours.linear_contrast, plain.linear_contrast},
                          {ours.icc_enabled, plain.icc_enabled ? 1 : 0},
                          {ours.bleed_top_px, plain.bleed_top},
                          {ours.bleed_bottom_px, plain.bleed_bottom},
                          {ours.bleed_left_px, plain.bleed_left},
                          {ours.bleed_right_px, plain.bleed_right}};
  expect(std::ranges::all_of(pairs, [](const auto& pair) { return pair[0] == pair[1]; }),
         "every number is what the plain reference makes of it");
}

}  // namespace

void expect_valid_settings() {
  using P = PrintOptions;
  expect_ended<&P::ppd_paper_name, &P::color_model, &P::color_precision, &P::image_type,
               &P::color_correction, &P::resolution, &P::overcoat, &P::shrink_output,
               &P::icc_profile_name, &P::icc_profile_path, &P::icc_intent,
               &P::color_base_profile_name, &P::color_base_profile_path, &P::color_base,
               &P::ribbon_size>();
  const PrintOptions& ours = current_options;
  for (const int flag :
       {ours.legacy_gamma, ours.no_cut_waste, ours.linear_contrast, ours.icc_enabled}) {
    expect(flag == 0 || flag == 1, "a switch is on or off");
  }
  const PaperConfig* const paper = ours.paper_config;
  expect(paper >= &paper_sizes.front() && paper <= &paper_sizes.back(),
         "the paper is one of the table");
}

void expect_like(const reference::PlainFilter& plain, std::string_view log) {
  std::string wanted;
  for (const std::string& line : plain.log) wanted += line + "\n";
  expect(log == wanted, "the log equals that of the plain reference");
  expect_texts_like(plain.settings);
  expect_numbers_like(plain.settings);
}
