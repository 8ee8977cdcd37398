#include "fuzz/settings_check.h"

#include <cstring>
#include <span>
#include <string>

#include "fuzz/expect.h"
#include "paper/paper_table.h"
#include "settings/print_options.h"
#include "tests/support/settings_difference.h"

namespace {

template <auto PrintOptions::*... texts>
void expect_terminated() {
  for (const std::span<const char> text : {std::span<const char>(current_options.*texts)...}) {
    expect(std::memchr(text.data(), '\0', text.size()) != nullptr, "every text is terminated");
  }
}

}  // namespace

void expect_valid_settings() {
  using P = PrintOptions;
  expect_terminated<&P::ppd_paper_name, &P::color_model, &P::color_precision, &P::image_type,
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
  const std::string different = different_settings(current_options, plain.settings);
  expect(different.empty(), ("settings that differ from the reference: " + different).c_str());
}
