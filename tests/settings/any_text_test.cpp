// Whatever the texts are, the settings record stays whole.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "paper/paper_table.h"
#include "settings/job_arguments.h"
#include "settings/option_rules.h"
#include "settings/paper_argument.h"
#include "settings/print_options.h"
#include "settings/summary.h"
#include "tests/settings/argument_list.h"
#include "tests/settings/fake_files.h"
#include "tests/settings/option_words.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"

namespace {

// What stands beside keywords and flags.
const char* const kOtherWords[] = {"6x4",        "w432h576",     "None",        "True",
                                   "300x600dpi", "ICCPROFILE (", ")",           "sRGB",
                                   "-1e999",     "nan",          "99999999999", "%s%n%d"};

class AnyText : public testing::Test {
 protected:
  std::string text() {
    std::string result;
    const int pieces = pick(4);
    for (int i = 0; i < pieces; ++i) {
      switch (pick(6)) {
        case 0:
          result.append(static_cast<std::size_t>(pick(900)), static_cast<char>(1 + pick(255)));
          break;
        case 1:
          result += static_cast<char>(1 + pick(255));
          break;
        case 2:
          result += '=';
          break;
        case 3:
          result += one_of(kOptionKeywords);
          break;
        case 4:
          result += one_of(kArgumentFlags);
          break;
        default:
          result += one_of(kOtherWords);
      }
    }
    return result;
  }
  template <typename List>
  const char* one_of(const List& list) {
    return list[static_cast<std::size_t>(pick(static_cast<int>(std::size(list))))];
  }
  int pick(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }

  static void expect_whole_record() {
    PrintOptions& options = current_options;
    for (const std::span<char> field :
         {std::span<char>(options.ppd_paper_name), std::span<char>(options.color_model),
          std::span<char>(options.color_precision), std::span<char>(options.image_type),
          std::span<char>(options.color_correction), std::span<char>(options.resolution),
          std::span<char>(options.overcoat), std::span<char>(options.shrink_output),
          std::span<char>(options.icc_profile_name), std::span<char>(options.icc_profile_path),
          std::span<char>(options.icc_intent), std::span<char>(options.color_base_profile_name),
          std::span<char>(options.color_base_profile_path), std::span<char>(options.color_base),
          std::span<char>(options.ribbon_size)}) {
      ASSERT_NE(std::memchr(field.data(), '\0', field.size()), nullptr);
    }
    for (const std::int32_t flag : {options.legacy_gamma, options.no_cut_waste,
                                    options.linear_contrast, options.icc_enabled}) {
      ASSERT_TRUE(flag == 0 || flag == 1);
    }
    ASSERT_GE(options.paper_config, &paper_sizes.front());
    ASSERT_LE(options.paper_config, &paper_sizes.back());
    ASSERT_EQ(options.mirror, 1);
    ASSERT_EQ(options.cache_optimization, 1);
  }

  static void expect_lines_of_ours_only(const std::string& log) {
    for (const std::string& line : lines_of(log)) {
      ASSERT_TRUE(line.rfind("K905-1: ", 0) == 0 || line.rfind("  ", 0) == 0) << line;
    }
  }

  SettingsGuard settings_;
  std::minstd_rand random_{905};
};

TEST_F(AnyText, AsArgumentsLeavesEveryFieldEndedAndNoForeignLine) {
  const FakeFiles files({"./sRGB.icc"});
  for (int round = 0; round < 3000; ++round) {
    std::vector<std::string> texts(static_cast<std::size_t>(pick(9)));
    for (std::string& each : texts) {
      each = text();
    }
    ArgumentList list(texts);
    const std::string log = captured_log([&] {
      read_job_arguments(list.count(), list.values());
      read_paper_argument(list.count(), list.values());
      print_configuration_summary();
    });
    expect_whole_record();
    expect_lines_of_ours_only(log);
  }
}

TEST_F(AnyText, AsChoiceOfAnOptionLeavesEveryFieldEndedAndNoForeignLine) {
  for (int round = 0; round < 3000; ++round) {
    const std::string keyword = pick(10) == 0 ? text() : one_of(kOptionKeywords);
    const std::string value = text();
    const std::string log =
        captured_log([&] { apply_option(OptionSource::ppd, keyword.c_str(), value.c_str()); });
    expect_whole_record();
    expect_lines_of_ours_only(log);
  }
}

}  // namespace
