// Random queues and random arguments: the program gives the log and the settings that the reference
// gives. The defaults are the same, too.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "paper/paper_table.h"
#include "settings/job_arguments.h"
#include "settings/paper_argument.h"
#include "settings/ppd_defaults.h"
#include "settings/print_options.h"
#include "settings/summary.h"
#include "tests/settings/argument_list.h"
#include "tests/settings/fake_files.h"
#include "tests/settings/option_words.h"
#include "tests/settings/ppd_file.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"
#include "tests/support/reference_state.h"

namespace {

// Taken while the program's globals are still being initialized.
const PrintOptions before_main = current_options;

std::vector<std::string> words_of(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

const std::vector<std::string> kChoices = words_of(
    "None True False 0 1000 -150 1.5 -0.25 99999999999 -99999999999 12abc abc 1e2 nan -inf "
    "300x600dpi 300x300dpi 600dpi Vivid Normal vivid sRGB AdobeRGB AppleRGB PhotoRGB K905RGB PM-RV "
    "PM-RS printer printer.icc lost.icm w288h432 w432h576-div2 Matte Gray RGB "
    "a_choice_of_exactly_forty_characters____");
const std::vector<std::string> kTexts = {"6x4",
                                         "w432h576",
                                         "6x2*2",
                                         "default",
                                         "",
                                         "Relative",
                                         "=",
                                         "=x",
                                         "ICCPROFILE (printer)",
                                         "ICCPROFILE ()",
                                         "ICCPROFILE (",
                                         ")",
                                         "x ICCPROFILE (/there/abs.icc) y",
                                         "/there/abs.icc",
                                         "two\nlines",
                                         "tab\there",
                                         "-1e999",
                                         "%s%n%d"};

class RandomSettings : public testing::Test {
 protected:
  template <typename List>
  std::string one_of(const List& list) {
    return list[random_() % std::size(list)];
  }
  bool once_in(unsigned n) { return random_() % n == 0; }

  std::string value() {
    if (once_in(12)) {  // any bytes, also longer than every field
      std::string text(random_() % 900, static_cast<char>(1 + random_() % 255));
      return text + static_cast<char>(1 + random_() % 255) + one_of(kTexts);
    }
    return once_in(3) ? one_of(kTexts) : one_of(kChoices);
  }

  std::string argument() {
    switch (random_() % 4) {
      case 0:
        return one_of(kOptionKeywords).append("=").append(value());
      case 1:
      case 2:
        return one_of(kArgumentFlags);
      default:
        return value();
    }
  }

  std::string option_string() {
    std::string text;
    for (unsigned i = random_() % 5; i > 0; --i) {
      text += once_in(2) ? "ICCProfile=" + one_of(once_in(4) ? kTexts : kChoices) : argument();
      text += once_in(4) ? "\t" : " ";
    }
    return text;
  }

  std::vector<std::string> arguments() {
    std::vector<std::string> list{"queue"};
    for (unsigned i = random_() % 10; i > 0; --i) {
      list.push_back(list.size() == 5 && !once_in(4) ? option_string() : argument());
    }
    return list;
  }

  PpdDescription queue() {
    PpdDescription ppd;
    if (once_in(2)) {
      ppd.manufacturer = std::nullopt;
    }
    const unsigned count = random_() % 4;
    std::vector<const char*> keys(std::begin(kOptionKeywords), std::end(kOptionKeywords));
    for (unsigned g = 0; g < count; ++g) {
      PpdGroup group;
      group.name = "Group" + std::to_string(g);
      // A keyword occurs once in a PPD.
      for (unsigned i = 1 + random_() % 8; i > 0; --i) {
        const std::size_t key = random_() % keys.size();
        group.options.push_back({keys[key], one_of(kChoices)});
        group.options.back().default_choice.resize(
            std::min<std::size_t>(group.options.back().default_choice.size(), 40));
        keys.erase(keys.begin() + static_cast<std::ptrdiff_t>(key));
      }
      ppd.groups.push_back(group);
    }
    return ppd;
  }

  std::minstd_rand random_{4711};
};

void expect_same(const PrintOptions& ours, const reference::Settings& plain) {
  EXPECT_EQ(ours.paper_config->ppd_name, plain.paper.name);
  EXPECT_EQ(ours.rotate_90 != 0, plain.rotate);
  EXPECT_EQ(ours.interlace != 0, plain.interlace);
  EXPECT_EQ(ours.interlace_factor, plain.interlace_factor);
  EXPECT_EQ(ours.mirror != 0, plain.mirror);
  EXPECT_EQ(ours.ribbon_size, plain.ribbon);
  EXPECT_EQ(ours.ribbon_detected != 0, plain.ribbon_detected);
  EXPECT_EQ(ours.cache_optimization != 0, plain.cache_optimization);
  EXPECT_EQ(ours.ppd_paper_name, plain.ppd_paper_name);
  EXPECT_EQ(ours.brightness, plain.brightness);
  EXPECT_EQ(ours.contrast, plain.contrast);
  EXPECT_EQ(ours.saturation, plain.saturation);
  EXPECT_EQ(ours.gamma, plain.gamma);
  EXPECT_EQ(ours.copies, plain.copies);
  EXPECT_EQ(ours.color_model, plain.color_model);
  EXPECT_EQ(ours.color_precision, plain.color_precision);
  EXPECT_EQ(ours.image_type, plain.image_type);
  EXPECT_EQ(ours.color_correction, plain.color_correction);
  EXPECT_EQ(ours.resolution, plain.resolution);
  EXPECT_EQ(ours.overcoat, plain.overcoat);
  EXPECT_EQ(ours.legacy_gamma, plain.legacy_gamma);
  EXPECT_EQ(ours.no_cut_waste, plain.no_cut_waste);
  EXPECT_EQ(ours.shrink_output, plain.shrink_output);
  EXPECT_EQ(ours.cyan_gamma, plain.cyan_gamma);
  EXPECT_EQ(ours.magenta_gamma, plain.magenta_gamma);
  EXPECT_EQ(ours.yellow_gamma, plain.yellow_gamma);
  EXPECT_EQ(ours.cyan_balance, plain.cyan_balance);
  EXPECT_EQ(ours.magenta_balance, plain.magenta_balance);
  EXPECT_EQ(ours.yellow_balance, plain.yellow_balance);
  EXPECT_EQ(ours.linear_contrast, plain.linear_contrast);
  EXPECT_EQ(ours.icc_profile_name, plain.icc_name);
  EXPECT_EQ(ours.icc_profile_path, plain.icc_path);
  EXPECT_EQ(ours.icc_enabled != 0, plain.icc_enabled);
  EXPECT_EQ(ours.icc_intent, plain.icc_intent);
  EXPECT_EQ(ours.color_base, plain.color_base);
  EXPECT_EQ(ours.color_base_profile_name, plain.color_base_name);
  EXPECT_EQ(ours.color_base_profile_path, plain.color_base_path);
  EXPECT_EQ(ours.bleed_top_px, plain.bleed_top);
  EXPECT_EQ(ours.bleed_bottom_px, plain.bleed_bottom);
  EXPECT_EQ(ours.bleed_left_px, plain.bleed_left);
  EXPECT_EQ(ours.bleed_right_px, plain.bleed_right);
}

TEST_F(RandomSettings, GiveTheLogAndTheSettingsOfTheReference) {
  // The reference looks for the files of the working folder by its path, here ".".
  FakeFiles files({"/usr/share/color/icc/sRGB.icc", "./printer.icc", "././printer.icc",
                   "/opt/homebrew/share/color/icc/AdobeRGB1998.icc", "/there/abs.icc"});
  for (int round = 0; round < 400; ++round) {
    const SettingsGuard settings;
    ReferenceJob job;
    job.arguments = arguments();
    job.ppd_file = queue();
    const PpdFile file(ppd_text(*job.ppd_file));
    job.ppd_path = file.path();

    const EnvironmentGuard ppd("PPD", file.path().c_str());
    ArgumentList list(job.arguments);
    // No setting changes it, but the summary shows it.
    const bool optimized = round % 2 == 0;
    current_options.cache_optimization = optimized ? 1 : 0;
    const std::string log = captured_log([&] {
      read_ppd_defaults();
      read_job_arguments(list.count(), list.values());
      read_paper_argument(list.count(), list.values());
      print_configuration_summary();
    });

    reference::PlainFilter plain(job);
    plain.settings.cache_optimization = optimized;
    plain.read_ppd();
    plain.read_arguments();
    plain.read_paper_argument();
    plain.log_summary();

    ASSERT_EQ(lines_of(log), plain.log) << "round " << round;
    expect_same(current_options, plain.settings);
    ASSERT_FALSE(HasFailure()) << "round " << round;
  }
}

TEST(SettingsRecord, HasTheBuiltInDefaultsBeforeAnyCodeRuns) {
  expect_same(before_main, {});
  expect_same(current_options, {});
}

TEST(SettingsRecord, TextFieldsHaveTheirCapacities) {
  const PrintOptions& o = current_options;
  EXPECT_EQ(sizeof o.ppd_paper_name, 64U);
  EXPECT_EQ(sizeof o.icc_profile_name + sizeof o.color_base_profile_name, 2 * 128U);
  EXPECT_EQ(sizeof o.icc_profile_path + sizeof o.color_base_profile_path, 2 * 512U);
  EXPECT_EQ(sizeof o.color_base + sizeof o.ribbon_size, 2 * 16U);
  for (const std::size_t size :
       {sizeof o.color_model, sizeof o.color_precision, sizeof o.image_type,
        sizeof o.color_correction, sizeof o.resolution, sizeof o.overcoat, sizeof o.shrink_output,
        sizeof o.icc_intent}) {
    EXPECT_EQ(size, 32U);
  }
}

}  // namespace
