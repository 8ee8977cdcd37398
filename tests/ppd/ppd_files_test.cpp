// The generated PPD files, which CUPS shows to users and the filter reads: both must find the same
// options.
#include <cups/ppd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "paper/paper_table.h"
#include "ppd/option_table.h"
#include "ppd/ppd_text.h"
#include "settings/icc_profiles.h"
#include "settings/ppd_defaults.h"
#include "settings/print_options.h"
#include "tests/support/build_paths.h"
#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"
#include "tests/support/environment_guard.h"

namespace {

using ::testing::Contains;
using ::testing::IsEmpty;
using ::testing::Not;

std::string path_of(const std::string& model) {
  return std::string(K905_BINARY_DIR) + "/ppd/" + model + ".ppd";
}

struct PpdCloser {
  void operator()(ppd_file_t* ppd) const { ppdClose(ppd); }
};
using Ppd = std::unique_ptr<ppd_file_t, PpdCloser>;

std::vector<std::string> names_of(const std::vector<ppd_option_t*>& options) {
  std::vector<std::string> names;
  names.reserve(options.size());
  for (const ppd_option_t* option : options) names.emplace_back(option->keyword);
  return names;
}

std::vector<ppd_option_t*> options_of(const Ppd& ppd) {
  std::vector<ppd_option_t*> options;
  for (int g = 0; g < ppd->num_groups; ++g) {
    for (int o = 0; o < ppd->groups[g].num_options; ++o) {
      options.push_back(&ppd->groups[g].options[o]);
    }
  }
  return options;
}

class PpdFile : public ::testing::TestWithParam<ppd::Model> {
 protected:
  PpdFile() : ppd_(ppdOpenFile(path_of(GetParam().name).c_str())) {}
  void SetUp() override { ASSERT_NE(ppd_, nullptr); }

  // The generated file with one option's default replaced.
  std::string with_default(const std::string& keyword, const std::string& choice) const {
    const std::regex line("\\*Default" + keyword + ": [^\n]*");
    return std::regex_replace(read_file(path_of(GetParam().name)), line,
                              "*Default" + keyword + ": " + choice);
  }

  Ppd ppd_;
};

// The settings that the filter reads from a PPD file with this text.
PrintOptions read_by_the_filter(const std::string& text) {
  const ScratchFolder folder;
  const std::string path = folder.write("queue.ppd", text);
  const SettingsGuard settings;
  const EnvironmentGuard ppd("PPD", path.c_str());
  current_options = PrintOptions{};
  captured_log([] { read_ppd_defaults(); });
  return current_options;
}

// Every number that the filter reads from a PPD file, and its default in this file.
struct Number {
  const char* keyword;
  std::int32_t PrintOptions::*field;
  std::int32_t neutral;
};
const std::vector<Number> tone_numbers = {
    {"StpBrightness", &PrintOptions::brightness, 0},
    {"StpContrast", &PrintOptions::contrast, 0},
    {"StpSaturation", &PrintOptions::saturation, 0},
    {"StpGamma", &PrintOptions::gamma, 1000},
    {"StpCyanGamma", &PrintOptions::cyan_gamma, 1000},
    {"StpMagentaGamma", &PrintOptions::magenta_gamma, 1000},
    {"StpYellowGamma", &PrintOptions::yellow_gamma, 1000},
    {"StpCyanBalance", &PrintOptions::cyan_balance, 1000},
    {"StpMagentaBalance", &PrintOptions::magenta_balance, 1000},
    {"StpYellowBalance", &PrintOptions::yellow_balance, 1000},
};
const std::vector<Number> bleed_numbers = {
    {"BleedTop", &PrintOptions::bleed_top_px, 0},
    {"BleedBottom", &PrintOptions::bleed_bottom_px, 0},
    {"BleedLeft", &PrintOptions::bleed_left_px, 0},
    {"BleedRight", &PrintOptions::bleed_right_px, 0},
};
struct TextOption {
  const char* keyword;
  char (PrintOptions::*field)[32];
  const char* built_in;
};
const std::vector<TextOption> text_options = {
    {"StpColorCorrection", &PrintOptions::color_correction, "None"},
    {"ColorModel", &PrintOptions::color_model, "RGB"},
    {"StpLaminate", &PrintOptions::overcoat, "Glossy"},
};
const std::vector<Number> switches = {
    {"StpLegacyDyesubGamma", &PrintOptions::legacy_gamma, 0},
    {"StpLinearContrast", &PrintOptions::linear_contrast, 0},
};

TEST_P(PpdFile, OffersEveryOptionThatChangesTheSheet) {
  const std::vector<std::string> offered = names_of(options_of(ppd_));
  for (const char* keyword : {"PageSize", "PageRegion", "ICCProfile", "ColorBase", "Resolution"}) {
    EXPECT_THAT(offered, Contains(keyword));
  }
  for (const Number& number : tone_numbers) EXPECT_THAT(offered, Contains(number.keyword));
  for (const Number& number : bleed_numbers) EXPECT_THAT(offered, Contains(number.keyword));
  for (const Number& number : switches) EXPECT_THAT(offered, Contains(number.keyword));
  for (const TextOption& option : text_options) EXPECT_THAT(offered, Contains(option.keyword));
}

// Not in the print dialog, but the filter reads them from files that contain them.
TEST_P(PpdFile, LeavesOutTheOptionsThatChangeNothingUnlessTheyAreChosen) {
  const std::vector<std::string> offered = names_of(options_of(ppd_));
  for (const char* keyword :
       {"StpImageType", "StpColorPrecision", "StpNoCutWaste", "StpiShrinkOutput"}) {
    EXPECT_THAT(offered, Not(Contains(keyword)));
  }
  const PrintOptions read = read_by_the_filter(
      ppd::ppd_text(GetParam(), "1", {{"StpImageType", "Text"}, {"StpNoCutWaste", "True"}}));
  EXPECT_STREQ(read.image_type, "Text");
  EXPECT_EQ(read.no_cut_waste, 1);
  EXPECT_STREQ(read.color_precision, "Normal");
}

// The page is mirrored after the bleeds were applied, so each moves the other edge of the sheet.
TEST_P(PpdFile, NamesTheEdgesAsTheCustomerSeesThem) {
  const auto text = [&](const char* keyword) {
    return std::string(ppdFindOption(ppd_.get(), keyword)->text);
  };
  EXPECT_EQ(text("BleedLeft"), "Right edge (C)");
  EXPECT_EQ(text("BleedRight"), "Left edge (D)");
  EXPECT_EQ(text("BleedTop"), "Top edge (A)");
  EXPECT_EQ(text("BleedBottom"), "Bottom edge (B)");
}

// The filter reads BleedA to BleedD after BleedTop and the others, and would overwrite them.
TEST_P(PpdFile, DoesNotOfferTheSecondNamesOfTheBleeds) {
  for (const char* keyword : {"BleedA", "BleedB", "BleedC", "BleedD"}) {
    EXPECT_THAT(names_of(options_of(ppd_)), Not(Contains(keyword)));
  }
}

TEST_P(PpdFile, GivesEveryOptionADefaultThatIsOneOfItsChoices) {
  for (ppd_option_t* option : options_of(ppd_)) {
    EXPECT_NE(ppdFindChoice(option, option->defchoice), nullptr) << option->keyword;
  }
}

// libcups puts the options of a sub-group into the group around it, where other readers lose them.
TEST_P(PpdFile, HasNoSubgroups) {
  EXPECT_EQ(read_file(path_of(GetParam().name)).find("SubGroup"), std::string::npos);
}

TEST_P(PpdFile, KeepsNamesWithinTheMaximumLengthsOfPpdFiles) {
  for (ppd_option_t* option : options_of(ppd_)) {
    EXPECT_LT(std::strlen(option->keyword), sizeof option->keyword - 1) << option->keyword;
    for (int c = 0; c < option->num_choices; ++c) {
      EXPECT_LT(std::strlen(option->choices[c].choice), sizeof option->choices[c].choice - 1);
      EXPECT_LT(std::strlen(option->choices[c].text), sizeof option->choices[c].text - 1);
    }
  }
  // The names in the table, because libcups has already truncated those above.
  for (const ppd::Group& group : ppd::groups) {
    for (const ppd::Option& option : group.options) {
      EXPECT_LT(std::strlen(option.keyword), 41U);
      for (const ppd::Choice& choice : option.choices) EXPECT_LT(std::strlen(choice.name), 41U);
    }
  }
}

// In portrait orientation, as CUPS expects, regardless of how the sheet leaves the printer.
TEST_P(PpdFile, GivesEveryPaperTheSizeInItsName) {
  struct Size {
    const char* name;
    float width;
    float length;
  };
  const Size sizes[] = {{"B7", 252, 360},
                        {"w360h360", 360, 360},
                        {"w360h504", 360, 504},
                        {"w288h432", 288, 432},
                        {"w432h432", 432, 432},
                        {"w432h576", 432, 576},
                        {"w288h432-div2", 288, 432},
                        {"w432h576-div2", 432, 576},
                        {"w432h576-div4", 432, 576}};
  for (const Size& expected : sizes) {
    const ppd_size_t* size = ppdPageSize(ppd_.get(), expected.name);
    ASSERT_NE(size, nullptr) << expected.name;
    EXPECT_EQ(size->width, expected.width) << expected.name;
    EXPECT_EQ(size->length, expected.length) << expected.name;
  }
  EXPECT_EQ(ppd_->num_sizes, static_cast<int>(selectable_papers.size()));
}

// The print system offers only the first paper of a size.
TEST_P(PpdFile, NamesUncutPapersFirst) {
  const ppd_option_t* sizes = ppdFindOption(ppd_.get(), "PageSize");
  ASSERT_NE(sizes, nullptr);
  for (int i = 0; i < sizes->num_choices; ++i) {
    const bool cut = std::strchr(sizes->choices[i].choice, '-') != nullptr;
    EXPECT_EQ(cut, i >= 6) << sizes->choices[i].choice;
  }
}

TEST_P(PpdFile, OffersEveryCutAsASeparateOption) {
  ppd_option_t* cut = ppdFindOption(ppd_.get(), "K905Cut");
  ASSERT_NE(cut, nullptr);
  EXPECT_STREQ(cut->defchoice, "None");
  ASSERT_EQ(cut->num_choices, 3);
  EXPECT_NE(ppdFindChoice(cut, "6x4"), nullptr);
  EXPECT_NE(ppdFindChoice(cut, "6x2"), nullptr);
}

TEST_P(PpdFile, LeavesNoMarginOnAnyPaper) {
  for (const PaperConfig& paper : selectable_papers) {
    const ppd_size_t* size = ppdPageSize(ppd_.get(), paper.ppd_name);
    ASSERT_NE(size, nullptr);
    EXPECT_FLOAT_EQ(size->left, 0.0F);
    EXPECT_FLOAT_EQ(size->bottom, 0.0F);
    EXPECT_FLOAT_EQ(size->right, size->width);
    EXPECT_FLOAT_EQ(size->top, size->length);
  }
}

TEST_P(PpdFile, GivesEveryPaperAReadableName) {
  std::set<std::string> named;
  for (const PaperConfig& paper : selectable_papers) {
    ppd_option_t* sizes = ppdFindOption(ppd_.get(), "PageSize");
    const ppd_choice_t* choice = ppdFindChoice(sizes, paper.ppd_name);
    ASSERT_NE(choice, nullptr);
    EXPECT_STRNE(choice->text, paper.label) << "no readable name in the option table";
    EXPECT_TRUE(named.insert(choice->text).second) << choice->text << " is the name of two papers";
  }
}

TEST_P(PpdFile, DefaultsEqualTheFiltersBuiltInSettings) {
  const PrintOptions read = read_by_the_filter(read_file(path_of(GetParam().name)));
  for (const Number& number : tone_numbers) {
    EXPECT_EQ(read.*number.field, number.neutral) << number.keyword;
  }
  for (const Number& number : bleed_numbers) EXPECT_EQ(read.*number.field, 0) << number.keyword;
  for (const Number& number : switches) EXPECT_EQ(read.*number.field, 0) << number.keyword;
  for (const TextOption& option : text_options)
    EXPECT_STREQ(read.*option.field, option.built_in) << option.keyword;
  EXPECT_STREQ(read.resolution, "300x300");
  EXPECT_STREQ(read.ppd_paper_name, "w288h432");
  EXPECT_STREQ(read.color_base, "Normal");
}

TEST_P(PpdFile, EveryToneChoiceIsReadAsTheThousandthsItNames) {
  for (const Number& number : tone_numbers) {
    const ppd_option_t* option = ppdFindOption(ppd_.get(), number.keyword);
    ASSERT_NE(option, nullptr);
    for (int c = 0; c < option->num_choices; ++c) {
      const std::string name = option->choices[c].choice;
      const std::int32_t expected = name == "None" ? number.neutral : std::stoi(name);
      EXPECT_TRUE(name == "None" || std::to_string(expected) == name) << name << " is not a number";
      EXPECT_EQ(read_by_the_filter(with_default(number.keyword, name)).*number.field, expected)
          << number.keyword << " " << name;
    }
  }
}

// A tenth of a millimeter is more than a pixel at 300 dpi, so no two choices give the same border.
TEST_P(PpdFile, EveryBleedChoiceIsReadAsTheMillimetersItNames) {
  for (const Number& number : bleed_numbers) {
    const ppd_option_t* option = ppdFindOption(ppd_.get(), number.keyword);
    ASSERT_NE(option, nullptr);
    for (int c = 0; c < option->num_choices; ++c) {
      const std::string name = option->choices[c].choice;
      ASSERT_TRUE(std::regex_match(name, std::regex("-?[0-9]+\\.[0-9]"))) << name;
      const double pixels = std::stod(name) * 300.0 / 25.4 + 0.5;
      const auto expected = static_cast<std::int32_t>(pixels);  // toward zero
      EXPECT_EQ(read_by_the_filter(with_default(number.keyword, name)).*number.field, expected)
          << number.keyword << " " << name;
    }
  }
}

TEST_P(PpdFile, EveryResolutionAndSwitchIsAccepted) {
  EXPECT_STREQ(read_by_the_filter(with_default("Resolution", "300x600dpi")).resolution, "300x600");
  for (const Number& number : switches) {
    EXPECT_EQ(read_by_the_filter(with_default(number.keyword, "True")).*number.field, 1);
  }
  EXPECT_STREQ(read_by_the_filter(with_default("ColorBase", "Vivid")).color_base, "Vivid");
}

// The filter reads a default as a file name, but an option of a job as a choice of its table: only
// a file name means the same in both.
TEST_P(PpdFile, EveryProfileIsOneOfTheFiltersFileNames) {
  std::vector<std::string> files = {ppd::no_profile, ppd::profile_by_paper};
  for (const IccChoice& entry : icc_choice_to_filename) {
    if (entry.file_name != nullptr) files.emplace_back(entry.file_name);
  }
  const ppd_option_t* option = ppdFindOption(ppd_.get(), "ICCProfile");
  ASSERT_NE(option, nullptr);
  for (int c = 0; c < option->num_choices; ++c) {
    EXPECT_THAT(files, Contains(option->choices[c].choice));
  }
}

TEST_P(PpdFile, OffersOnlyColorSpacesTheFilterPrintsCorrectly) {
  const ppd_option_t* option = ppdFindOption(ppd_.get(), "ColorModel");
  ASSERT_NE(option, nullptr);
  ASSERT_EQ(option->num_choices, 2);
  const std::string rgb = ppdFindChoice(const_cast<ppd_option_t*>(option), "RGB")->code;
  const std::string gray = ppdFindChoice(const_cast<ppd_option_t*>(option), "Gray")->code;
  EXPECT_NE(rgb.find("/cupsColorSpace 1/cupsColorOrder 0/cupsBitsPerColor 8"), std::string::npos);
  EXPECT_NE(gray.find("/cupsColorSpace 0/cupsColorOrder 0/cupsBitsPerColor 8"), std::string::npos);
}

TEST_P(PpdFile, NamesTheProgramInFrontOfTheFilter) {
  const ppd_attr_t* filter = ppdFindAttr(ppd_.get(), "cupsFilter2", nullptr);
  ASSERT_NE(filter, nullptr);
  EXPECT_STREQ(filter->value, "application/vnd.cups-raster application/vnd.k905 0 rastertok905job");
  filter = ppdFindNextAttr(ppd_.get(), "cupsFilter2", nullptr);
  ASSERT_NE(filter, nullptr);
  EXPECT_STREQ(filter->value, "application/vnd.k905-photo application/vnd.k905 0 rastertok905job");
  // With a higher cost, so that documents are converted to the raster of the print system.
  for (const char* type : {"image/pwg-raster", "image/urf"}) {
    filter = ppdFindNextAttr(ppd_.get(), "cupsFilter2", nullptr);
    ASSERT_NE(filter, nullptr);
    EXPECT_EQ(filter->value, std::string(type) + " application/vnd.k905 10 rastertok905job");
  }
}

TEST_P(PpdFile, LeavesCopiesToEarlierFilters) { EXPECT_NE(ppd_->manual_copies, 0); }

// CUPS would convert the colors a second time.
TEST_P(PpdFile, NamesNoProfileToCups) {
  EXPECT_EQ(ppdFindAttr(ppd_.get(), "cupsICCProfile", nullptr), nullptr);
}

TEST_P(PpdFile, NotesThatTheDeviceIdIsAGuess) {
  const std::string text = read_file(path_of(GetParam().name));
  const std::size_t id = text.find("*1284DeviceID:");
  ASSERT_NE(id, std::string::npos);
  EXPECT_NE(text.rfind("is a guess", id), std::string::npos);
}

TEST_P(PpdFile, IsNamedAfterItsModel) { EXPECT_STREQ(ppd_->modelname, GetParam().name); }

// The filter requires its own names of the sizes, so the warning about them is expected, and the
// filter need not be installed on the build machine. Any other finding is an error.
TEST_P(PpdFile, PassesTheConformanceTest) {
  if (std::system("command -v cupstestppd >/dev/null 2>&1") != 0) {
    GTEST_SKIP() << "cupstestppd is not installed";
  }
  const std::string command =
      "cupstestppd -W sizes -W filters '" + path_of(GetParam().name) + "' 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  std::vector<std::string> findings;
  char line[1024];
  while (fgets(line, sizeof line, pipe) != nullptr) {
    const std::string text = line;
    const bool expected = text.find("WARN    Size \"") != std::string::npos ||
                          text.find("WARN    Missing cupsFilter2 file") != std::string::npos ||
                          text.find(": PASS") != std::string::npos;
    if (!expected) findings.push_back(text);
  }
  EXPECT_EQ(pclose(pipe), 0);
  EXPECT_THAT(findings, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Models, PpdFile, ::testing::ValuesIn(ppd::models),
                         [](const ::testing::TestParamInfo<ppd::Model>& model) {
                           std::string name = model.param.name;
                           std::erase(name, '-');
                           return name;
                         });

}  // namespace
