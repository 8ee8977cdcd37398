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

#include "settings/print_options.h"
#include "tests/settings/settings_check.h"
#include "tests/support/environment_guard.h"
#include "tests/support/settings_difference.h"

namespace {

// A copy that is made while the program's globals are still being initialized.
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
// Every keyword that a queue or an argument can set, and two unknown ones.
const std::vector<std::string> kOptionKeywords = words_of(
    "PageSize PageRegion ICCProfile ColorBase StpBrightness StpContrast StpSaturation StpGamma "
    "StpImageType StpColorCorrection ColorModel StpColorPrecision Resolution StpLaminate "
    "StpLegacyDyesubGamma StpNoCutWaste StpCyanGamma StpiShrinkOutput StpMagentaGamma "
    "StpYellowGamma BleedTop StpCyanBalance StpMagentaBalance StpYellowBalance BleedBottom "
    "StpLinearContrast BleedLeft BleedRight BleedA BleedB BleedC BleedD MediaType stpgamma");
// Every flag, and two that change no setting.
const std::vector<std::string> kArgumentFlags = words_of(
    "--contrast --saturation --brightness --gamma --copies --color-model --color-precision "
    "--image-type --color-correction --icc-profile --icc-intent --paper-size --info --unknown");

// A value, then the neutral one, which must replace it.
const std::vector<std::vector<std::string>> kResets = {
    {"StpBrightness=100", "StpBrightness=None"},
    {"StpContrast=200", "StpContrast=None"},
    {"StpSaturation=300", "StpSaturation=None"},
    {"StpGamma=1500", "StpGamma=None"},
    {"Resolution=300x600dpi", "Resolution=600dpi"},
    {"--brightness", "100", "--brightness", "None"},
    {"--contrast", "200", "--contrast", "None"},
    {"--saturation", "300", "--saturation", "None"},
    {"--gamma", "1500", "--gamma", "None"},
    {"--copies", "2", "--copies", "None"},
    {"--icc-profile", "printer", "--icc-profile", ""}};

class RandomSettings : public testing::Test {
 protected:
  template <typename Item>
  Item one_of(const std::vector<Item>& list) {
    return list[random_() % list.size()];
  }
  bool once_in(unsigned n) { return random_() % n == 0; }

  char any_character() { return static_cast<char>(1 + random_() % 255); }

  std::string value() {
    if (once_in(12)) {  // any bytes, also longer than every field
      // Named, because compilers evaluate the arguments of a call in different orders.
      const std::size_t length = random_() % 900;
      const char most = any_character();
      const char last = any_character();
      return std::string(length, most).append(1, last).append(one_of(kTexts));
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
      if (list.size() == 5 && !once_in(4)) {
        list.push_back(option_string());
      } else if (once_in(5)) {
        const std::vector<std::string> reset = one_of(kResets);
        list.insert(list.end(), reset.begin(), reset.end());
      } else {
        list.push_back(argument());
      }
    }
    return list;
  }

  PpdDescription queue() {
    PpdDescription ppd;
    if (once_in(2)) {
      ppd.manufacturer = std::nullopt;
    }
    const unsigned count = random_() % 4;
    std::vector<std::string> keys = kOptionKeywords;
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

TEST_F(RandomSettings, GiveTheLogAndTheSettingsOfTheReference) {
  for (int round = 0; round < 400; ++round) {
    const SettingsGuard settings;
    SCOPED_TRACE("round " + std::to_string(round));
    SettingsJob job;
    job.arguments = arguments();
    job.ppd = queue();
    job.existing_files = {"/usr/share/color/icc/sRGB.icc", "./printer.icc",
                          "/opt/homebrew/share/color/icc/AdobeRGB1998.icc", "/there/abs.icc"};
    job.cache_optimization = round % 2 == 0;
    expect_like_reference(job);
    ASSERT_FALSE(HasFailure());
  }
}

TEST(SettingsRecord, HasTheBuiltInDefaultsBeforeAnyCodeRuns) {
  EXPECT_EQ(different_settings(before_main, {}), "");
  EXPECT_EQ(different_settings(current_options, {}), "");
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
