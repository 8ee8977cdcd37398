// The defaults of a queue's PPD file. The reference gives log and settings for the groups and
// options that libcups reads from the file.
#include "settings/ppd_defaults.h"

#include <cups/ppd.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "settings/option_values.h"
#include "tests/settings/fake_files.h"
#include "tests/settings/settings_check.h"
#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"
#include "tests/support/environment_guard.h"

namespace {

std::string log_of_path(const std::string& path) {
  const EnvironmentGuard ppd("PPD", path.c_str());
  return captured_log(read_ppd_defaults);
}

class PpdDefaults : public testing::Test {
 protected:
  SettingsGuard settings_;
  FakeFiles no_profiles_;
};

using PpdFiles = PpdDefaults;
using PpdGroups = PpdDefaults;

TEST_F(PpdFiles, PathThatIsNotAFileIsReported) {
  for (const char* path : {"/nowhere/queue.ppd", "", "/"}) {
    EXPECT_EQ(log_of_path(path), std::string("K905-1: Failed to open PPD file: ") + path + "\n");
  }
  EXPECT_EQ(log_of_path("/no\nPAGE: 1 1"), "K905-1: Failed to open PPD file: /no PAGE: 1 1\n");
}

TEST_F(PpdFiles, FileThatIsNotAPpdIsReported) {
  const ScratchFolder folder;
  const std::string text_with_long_keyword =
      ppd_text({.groups = {{"G", {{"StpGamma", "1200"}, {std::string(60, 'K'), "x"}}}}});
  for (const std::string& text :
       {std::string(), std::string("%!PS-Adobe-3.0\n"), text_with_long_keyword}) {
    const std::string path = folder.write("queue.ppd", text);
    EXPECT_EQ(log_of_path(path), "K905-1: Failed to open PPD file: " + path + "\n");
    EXPECT_EQ(current_options.gamma, 1000);
  }
}

TEST_F(PpdFiles, MissingTextsAreLoggedAsNotAvailable) {
  // The shortest file that libcups opens.
  expect_like_reference({.ppd = PpdDescription{.product = std::nullopt,
                                               .manufacturer = std::nullopt,
                                               .model_name = std::nullopt,
                                               .groups = {}},
                         .ppd_bytes = "*PPD-Adobe: \"4.3\"\n*FormatVersion: \"4.3\"\n"});
}

// An option with this line for its default, which may be empty.
std::string option_with(const std::string& keyword, const std::string& default_line) {
  return "*OpenUI *" + keyword + "/A name: PickOne\n" + default_line + "*" + keyword +
         " None/A choice: \"\"\n*CloseUI: *" + keyword + "\n";
}

std::string option(const std::string& keyword, const std::string& choice) {
  return option_with(keyword, "*Default" + keyword + ": " + choice + "\n");
}

// libcups keeps groups in the order in which they are opened, puts options outside any group into
// "General" and those of the job language into "JCL", and options of a sub-group into its group.
struct WholeQueue {
  std::string text = ppd_text({}) + option("PageSize", "w288h432") +
                     "*JCLOpenUI *JCLTray/Tray: PickOne\n*DefaultJCLTray: Upper\n"
                     "*JCLTray Upper/Upper: \"\"\n*JCLTray Lower/Lower: \"\"\n"
                     "*JCLCloseUI: *JCLTray\n*OpenGroup: Tone/Tone of the picture\n" +
                     option("StpBrightness", "None") + "*OpenSubGroup: Fine/Fine tuning\n" +
                     option("StpCyanGamma", "1100") +
                     "*CloseSubGroup: Fine\n*CloseGroup: Tone\n*OpenGroup: Finish/Finish\n" +
                     option("StpLaminate", "Matte") + option("FreeBeer", "True") +
                     "*CloseGroup: Finish\n" + option("BleedTop", "1.0");
  PpdDescription content = {
      .groups = {{"General", {{"PageSize", "w288h432"}, {"BleedTop", "1.0"}}},
                 {"JCL", {{"JCLTray", "Upper"}}},
                 {"Tone", {{"StpBrightness", "None"}, {"StpCyanGamma", "1100"}}},
                 {"Finish", {{"StpLaminate", "Matte"}, {"FreeBeer", "True"}}}}};
};

TEST_F(PpdFiles, GroupsAndOptionsHaveTheOrderOfLibcupsWithAnyLineEnd) {
  const WholeQueue queue;
  for (const std::string line_end : {"\n", "\r\n", "\r"}) {
    const SettingsGuard settings;
    std::string text;
    for (const char c : queue.text) text += c == '\n' ? line_end : std::string(1, c);
    expect_like_reference({.ppd = queue.content, .ppd_bytes = text});
  }
}

TEST_F(PpdFiles, CompressedFileIsRead) {
  const ScratchFolder folder;
  const std::string path = folder.write("queue.ppd", WholeQueue().text);
  ASSERT_EQ(std::system(("gzip " + path).c_str()), 0);
  expect_like_reference({.ppd = WholeQueue().content, .ppd_bytes = read_file(path + ".gz")});
}

TEST_F(PpdFiles, TranslatedTextsAndAMissingEndChangeNothing) {
  const EnvironmentGuard language("LANG", "de_DE.UTF-8");
  expect_like_reference(
      {.ppd = PpdDescription{.groups = {{"Tone", {{"StpGamma", "1200"}}}}},
       .ppd_bytes = ppd_text({}) +
                    "*cupsLanguages: \"en de\"\n*OpenGroup: Tone/Tonwerte\n"
                    "*OpenUI *StpGamma/Gammawert: PickOne\n"
                    "*DefaultStpGamma: 1200/Heller\n*StpGamma 1200/Heller: \"\"\n"
                    "*de.Translation StpGamma/Helligkeit: \"\"\n*de.StpGamma 1200/Licht: \"\"\n"});
}

TEST_F(PpdFiles, MissingDefaultIsAnEmptyValue) {
  expect_like_reference({.ppd = PpdDescription{.groups = {{"General",
                                                           {{"PageSize", "w288h432"},
                                                            {"PageRegion", ""},
                                                            {"StpGamma", ""},
                                                            {"ICCProfile", ""}}}}},
                         .ppd_bytes = ppd_text({}) + option("PageSize", "w288h432") +
                                      option_with("PageRegion", "") + option_with("StpGamma", "") +
                                      option_with("ICCProfile", "")});
}

// ---- One option or a few in a file --------------------------------------------------------------

struct QueueCase {
  const char* name;
  std::string options;  // KEYWORD=CHOICE, separated by blanks
};

const std::string kFortyCharacters(
    40, 'c');  // libcups keeps 40 characters, most fields keep 31 of them

const QueueCase kQueueCases[] = {
    {"NoOption", ""},
    {"LaterPaperNameWins", "PageSize=w288h432 PageRegion=w432h576"},
    {"Numbers",
     "StpBrightness=-150 StpContrast=20 StpSaturation=30 StpGamma=2200 StpCyanGamma=1100 "
     "StpMagentaGamma=1200 StpYellowGamma=1300 StpCyanBalance=900 StpMagentaBalance=800 "
     "StpYellowBalance=700"},
    {"NoneIsTheNeutralNumber",
     "StpBrightness=None StpContrast=None StpSaturation=None StpGamma=None StpCyanGamma=None "
     "StpMagentaGamma=None StpYellowGamma=None StpCyanBalance=None StpMagentaBalance=None "
     "StpYellowBalance=None"},
    {"OtherTextsAreReadAsNumbers",
     "StpGamma=none StpContrast=12abc StpBrightness=99999999999 StpSaturation=-99999999999"},
    {"Texts",
     "StpImageType=Text StpColorCorrection=Bright ColorModel=Gray StpColorPrecision=Best "
     "Resolution=300x600dpi StpLaminate=Matte StpiShrinkOutput=Crop"},
    {"TextsAreTruncatedToTheirField",
     "StpImageType=" + kFortyCharacters + " PageSize=" + kFortyCharacters + " Resolution=600dpi"},
    {"Switches", "StpLegacyDyesubGamma=True StpNoCutWaste=True StpLinearContrast=True"},
    {"SwitchesAreOffForAnyOtherText",
     "StpLegacyDyesubGamma=true StpNoCutWaste=1 StpLinearContrast=None"},
    {"SimilarKeywordsAreUnknown", "stpcyangamma=1200 StpCyanGammas=1300"},
    {"BleedsAreMillimeters", "BleedTop=1.0 BleedLeft=-1 BleedBottom=1 BleedRight=1e300"},
    {"BleedsHaveASecondName", "BleedA=0.5 BleedB=-0.5 BleedC=None BleedD=1e300"},
    {"MissingProfileStillEnablesTheConversion", "ICCProfile=missing"},
    {"FoundProfileReplacesTheAssumedPath", "ICCProfile=printer"},
    {"AssumedPathKeepsTheEndingIcc", "ICCProfile=a.icc"},
    {"AssumedPathKeepsTheEndingIcm", "ICCProfile=a.icm"},
    {"EndingInsideANameCounts", "ICCProfile=a.icc.gz"},
    {"BeginningOfAnEndingCounts", "ICCProfile=x.icm2"},
    {"EndingInCapitalsDoesNotCount", "ICCProfile=a.ICC"},
    {"NoneIsANameOfAProfile", "ICCProfile=None"},
    {"ChoiceOfThePrintDialogIsANameOfAProfile", "ICCProfile=AdobeRGB"},
    {"VividBaseIsAdobeRgb", "ColorBase=Vivid"},
    {"NormalBaseIsSrgb", "ColorBase=Normal"},
    {"AnyOtherBaseIsSrgb", "ColorBase=vivid"},
};

PpdDescription queue_with(const std::string& options) {
  PpdGroup group{"G", {}};
  std::istringstream words(options);
  for (std::string word; words >> word;) {
    const std::size_t equals = word.find('=');
    group.options.push_back({word.substr(0, equals), word.substr(equals + 1)});
  }
  return {.groups = {group}};
}

class PpdOptions : public testing::TestWithParam<QueueCase> {
 protected:
  SettingsGuard settings_;
};

TEST_P(PpdOptions, GiveTheLogAndTheSettingsOfTheReference) {
  expect_like_reference({.ppd = queue_with(GetParam().options),
                         .existing_files = {"/usr/local/share/color/icc/printer.icm"}});
}

// Without a profile the path of the installed sRGB is set, but the name stays empty, so no page is
// converted. With a color base, this sRGB profile is not looked up.
TEST_P(PpdOptions, GiveTheSameAsTheReferenceWithAnInstalledSrgb) {
  expect_like_reference({.ppd = queue_with(GetParam().options), .existing_files = {"./sRGB.icc"}});
}

INSTANTIATE_TEST_SUITE_P(Queue, PpdOptions, testing::ValuesIn(kQueueCases),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(PpdFiles, DefaultThatIsNotAChoiceIsUsed) {
  expect_like_reference(
      {.ppd = PpdDescription{.groups = {{"General", {{"StpGamma", "1700"}}}}},
       .ppd_bytes = ppd_text({}) + option_with("StpGamma", "*DefaultStpGamma: 1700\n")});
}

// ---- Groups that libcups does not return --------------------------------------------------------

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

ppd_option_t option_of(const char* keyword, const char* choice) {
  ppd_option_t option{};
  copy_text(option.keyword, keyword);
  copy_text(option.defchoice, choice);
  return option;
}

TEST_F(PpdGroups, OptionsOfASubGroupAreNeitherLoggedNorApplied) {
  ppd_option_t inner = option_of("StpGamma", "1500");
  ppd_group_t sub_group{};
  copy_text(sub_group.name, "Sub");
  sub_group.num_options = 1;
  sub_group.options = &inner;

  ppd_option_t outer = option_of("StpContrast", "7");
  ppd_group_t groups[2]{};
  copy_text(groups[0].name, "First");
  copy_text(groups[0].text, "The First");
  groups[0].num_options = 1;
  groups[0].options = &outer;
  groups[0].num_subgroups = 1;
  groups[0].subgroups = &sub_group;
  copy_text(groups[1].name, "Empty");
  groups[1].num_subgroups = 1;
  groups[1].subgroups = &sub_group;

  ppd_file_t ppd{};
  ppd.num_groups = 2;
  ppd.groups = groups;
  EXPECT_EQ(captured_log([&] { apply_ppd_groups(ppd); }),
            "  Group: First\n"
            "    Option: StpContrast = 7\n"
            "      -> Contrast: 7\n"
            "  Group: Empty\n");
  EXPECT_EQ(current_options.contrast, 7);
  EXPECT_EQ(current_options.gamma, 1000);
}

TEST_F(PpdGroups, MarkedChoiceIsIgnoredAndALineBreakIsLoggedAsABlank) {
  ppd_choice_t marked{};
  marked.marked = 1;
  copy_text(marked.choice, "Other");
  ppd_option_t option = option_of("StpImageType", "a\nPAGE: 1 1");
  option.num_choices = 1;
  option.choices = &marked;
  ppd_group_t group{};
  group.num_options = 1;
  group.options = &option;
  ppd_file_t ppd{};
  ppd.num_groups = 1;
  ppd.groups = &group;
  EXPECT_EQ(captured_log([&] { apply_ppd_groups(ppd); }),
            "  Group: \n"
            "    Option: StpImageType = a PAGE: 1 1\n"
            "      -> Image Type: a PAGE: 1 1\n");
}

}  // namespace
