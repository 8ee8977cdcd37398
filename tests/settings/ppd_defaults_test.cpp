#include "settings/ppd_defaults.h"

#include <cups/ppd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "settings/option_values.h"
#include "settings/print_options.h"
#include "tests/settings/fake_files.h"
#include "tests/settings/ppd_file.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

std::string log_of_path(const std::string& path) {
  const EnvironmentGuard ppd("PPD", path.c_str());
  return captured_log(read_ppd_defaults);
}

class PpdDefaults : public testing::Test {
 protected:
  // The complete log for a PPD file with the usual header and `body`; its path is replaced by
  // "PATH".
  static std::string log_of(const std::string& body) {
    const PpdFile file(ppd_head() + body);
    std::string log = log_of_path(file.path());
    const std::size_t at = log.find(file.path());
    return at == std::string::npos ? log : log.replace(at, file.path().size(), "PATH");
  }

  static std::vector<std::string> lines(const std::string& body) { return lines_of(log_of(body)); }

  SettingsGuard settings_;
  FakeFiles no_profiles_;
};

using PpdFiles = PpdDefaults;
using PpdOptions = PpdDefaults;
using PpdProfiles = PpdDefaults;
using PpdGroups = PpdDefaults;

TEST_F(PpdFiles, WithoutTheVariableTheDefaultsRemain) {
  const EnvironmentGuard ppd("PPD", nullptr);
  EXPECT_EQ(captured_log(read_ppd_defaults), "K905-1: PPD environment variable not set\n");
  EXPECT_EQ(current_options.gamma, 1000);
}

TEST_F(PpdFiles, PathThatIsNoFileIsReported) {
  for (const char* path : {"/nowhere/queue.ppd", "", "/"}) {
    EXPECT_EQ(log_of_path(path), std::string("K905-1: Failed to open PPD file: ") + path + "\n");
  }
  EXPECT_EQ(log_of_path("/no\nPAGE: 1 1"), "K905-1: Failed to open PPD file: /no PAGE: 1 1\n");
}

TEST_F(PpdFiles, FileThatIsNoPpdIsReported) {
  const std::string too_long_a_keyword =
      ppd_head() + ppd_option("StpGamma", "1200") + ppd_option(std::string(60, 'K'), "x");
  for (const std::string& text :
       {std::string(), std::string("%!PS-Adobe-3.0\n"), too_long_a_keyword}) {
    const PpdFile file(text);
    EXPECT_EQ(log_of_path(file.path()), "K905-1: Failed to open PPD file: " + file.path() + "\n");
    EXPECT_EQ(current_options.gamma, 1000);
  }
}

TEST_F(PpdFiles, MissingTextsAreLoggedAsNotAvailable) {
  // The shortest file that libcups opens.
  const PpdFile file("*PPD-Adobe: \"4.3\"\n*FormatVersion: \"4.3\"\n");
  const std::vector<std::string> lines = lines_of(log_of_path(file.path()));
  EXPECT_THAT(lines, Contains("  Product: N/A"));
  EXPECT_THAT(lines, Contains("  Manufacturer: N/A"));
  EXPECT_THAT(lines, Contains("  ModelName: N/A"));
}

// libcups keeps groups in the order in which they are opened, puts options outside any group into
// "General" and those of the job language into "JCL", and options of a sub-group into its group.
std::string whole_queue() {
  return "*Manufacturer: \"Maker\"\n"
         "*OpenUI *PageSize/Size: PickOne\n"
         "*DefaultPageSize: w288h432\n"
         "*PageSize w288h432/6x4: \"\"\n"
         "*PageSize w432h576/6x8: \"\"\n"
         "*CloseUI: *PageSize\n"
         "*JCLOpenUI *JCLTray/Tray: PickOne\n"
         "*DefaultJCLTray: Upper\n"
         "*JCLTray Upper/Upper: \"\"\n"
         "*JCLTray Lower/Lower: \"\"\n"
         "*JCLCloseUI: *JCLTray\n"
         "*OpenGroup: Tone/Tone of the picture\n" +
         ppd_option("StpBrightness", "None") + "*OpenSubGroup: Fine/Fine tuning\n" +
         ppd_option("StpCyanGamma", "1100") +
         "*CloseSubGroup: Fine\n"
         "*CloseGroup: Tone\n"
         "*OpenGroup: Finish/Finish\n" +
         ppd_option("StpLaminate", "Matte") + ppd_option("FreeBeer", "True") +
         "*CloseGroup: Finish\n" + ppd_option("BleedTop", "1.0");
}

constexpr char kWholeQueueLog[] =
    "  Product: (Test Printer)\n"
    "  Manufacturer: Maker\n"
    "  ModelName: Test 1\n"
    "  Group: General\n"
    "    Option: PageSize = w288h432\n"
    "      -> Original PPD paper name: w288h432\n"
    "    Option: BleedTop = 1.0\n"
    "      -> Bleed Top (A) from PPD: 1.00mm = 12px (delta)\n"
    "  Group: JCL\n"
    "    Option: JCLTray = Upper\n"
    "  Group: Tone\n"
    "    Option: StpBrightness = None\n"
    "      -> Brightness: 0\n"
    "    Option: StpCyanGamma = 1100\n"
    "      -> Cyan Gamma: 1100\n"
    "  Group: Finish\n"
    "    Option: StpLaminate = Matte\n"
    "      -> Overcoat: Matte\n"
    "    Option: FreeBeer = True\n"
    "K905-1: Searching for ICC profile: sRGB.icc\n"
    "K905-1: ICC profile not found: sRGB.icc\n"
    "K905-1: PPD parsing complete\n"
    "K905-1: ICC Profile status: DISABLED\n";

TEST_F(PpdFiles, GroupsAndOptionsAreLoggedInTheOrderOfLibcups) {
  EXPECT_EQ(log_of(whole_queue()),
            std::string("K905-1: Parsing PPD file: PATH\n") + kWholeQueueLog);
  EXPECT_STREQ(current_options.ppd_paper_name, "w288h432");
  EXPECT_EQ(current_options.brightness, 0);
  EXPECT_EQ(current_options.cyan_gamma, 1100);
  EXPECT_STREQ(current_options.overcoat, "Matte");
  EXPECT_EQ(current_options.bleed_top_px, 12);
}

TEST_F(PpdFiles, LineEndsOfOtherSystemsAreAccepted) {
  for (const char* line_end : {"\r\n", "\r"}) {
    std::string text;
    for (const char c : ppd_head() + whole_queue()) {
      text += c == '\n' ? std::string(line_end) : std::string(1, c);
    }
    const PpdFile file(text);
    EXPECT_EQ(log_of_path(file.path()),
              "K905-1: Parsing PPD file: " + file.path() + "\n" + kWholeQueueLog);
  }
}

TEST_F(PpdFiles, CompressedFileIsRead) {
  const PpdFile packed("");
  FILE* gzip = popen(("gzip -c > " + packed.path()).c_str(), "w");
  ASSERT_NE(gzip, nullptr);
  const std::string text = ppd_head() + whole_queue();
  EXPECT_EQ(std::fwrite(text.data(), 1, text.size(), gzip), text.size());
  ASSERT_EQ(pclose(gzip), 0);
  EXPECT_EQ(log_of_path(packed.path()),
            "K905-1: Parsing PPD file: " + packed.path() + "\n" + kWholeQueueLog);
}

TEST_F(PpdFiles, TranslatedTextsAndAMissingEndChangeNothing) {
  const EnvironmentGuard language("LANG", "de_DE.UTF-8");
  const std::vector<std::string> all = lines(
      "*cupsLanguages: \"en de\"\n*OpenGroup: Tone/Tonwerte\n*OpenUI *StpGamma/Gammawert: PickOne\n"
      "*DefaultStpGamma: 1200/Heller\n*StpGamma 1200/Heller: \"\"\n"
      "*de.Translation StpGamma/Helligkeit: \"\"\n*de.StpGamma 1200/Licht: \"\"\n");
  EXPECT_THAT(all, Contains("  Group: Tone"));
  EXPECT_THAT(all, Contains("    Option: StpGamma = 1200"));
  EXPECT_EQ(current_options.gamma, 1200);
}

TEST_F(PpdOptions, EachIsStoredAndLogged) {
  struct Row {
    const char* keyword;
    const char* choice;
    const char* result;
  };
  const Row rows[] = {
      {"PageSize", "w432h576", "Original PPD paper name: w432h576"},
      {"PageRegion", "w360h504", "Original PPD paper name: w360h504"},
      {"StpBrightness", "-150", "Brightness: -150"},
      {"StpContrast", "20", "Contrast: 20"},
      {"StpSaturation", "30", "Saturation: 30"},
      {"StpGamma", "2200", "Gamma: 2200 (2.200)"},
      {"StpImageType", "Text", "Image Type: Text"},
      {"StpColorCorrection", "Bright", "Color Correction: Bright"},
      {"ColorModel", "Gray", "Color Model: Gray"},
      {"StpColorPrecision", "Best", "Color Precision: Best"},
      {"Resolution", "300x600dpi", "Resolution: 300x600"},
      {"StpLaminate", "Matte", "Overcoat: Matte"},
      {"StpLegacyDyesubGamma", "True", "Legacy Gamma: 1"},
      {"StpNoCutWaste", "True", "No Cut Waste: 1"},
      {"StpiShrinkOutput", "Crop", "Shrink Output: Crop"},
      {"StpCyanGamma", "1100", "Cyan Gamma: 1100"},
      {"StpMagentaGamma", "1200", "Magenta Gamma: 1200"},
      {"StpYellowGamma", "1300", "Yellow Gamma: 1300"},
      {"StpCyanBalance", "900", "Cyan Balance: 900"},
      {"StpMagentaBalance", "800", "Magenta Balance: 800"},
      {"StpYellowBalance", "700", "Yellow Balance: 700"},
      {"StpLinearContrast", "True", "Linear Contrast: 1"},
  };
  for (const Row& row : rows) {
    const std::vector<std::string> all = lines(ppd_option(row.keyword, row.choice));
    ASSERT_EQ(all.size(), 11U) << row.keyword;
    EXPECT_EQ(all[5], std::string("    Option: ") + row.keyword + " = " + row.choice);
    EXPECT_EQ(all[6], std::string("      -> ") + row.result);
  }
  EXPECT_STREQ(current_options.ppd_paper_name, "w360h504");
  EXPECT_EQ(current_options.brightness, -150);
  EXPECT_STREQ(current_options.resolution, "300x600");
  EXPECT_EQ(current_options.linear_contrast, 1);
}

TEST_F(PpdOptions, NoneIsTheNeutralValue) {
  std::int32_t PrintOptions::*const zero[] = {&PrintOptions::brightness, &PrintOptions::contrast,
                                              &PrintOptions::saturation};
  std::int32_t PrintOptions::*const thousand[] = {
      &PrintOptions::gamma,          &PrintOptions::cyan_gamma,   &PrintOptions::magenta_gamma,
      &PrintOptions::yellow_gamma,   &PrintOptions::cyan_balance, &PrintOptions::magenta_balance,
      &PrintOptions::yellow_balance,
  };
  for (const auto field : zero) current_options.*field = 5;
  for (const auto field : thousand) current_options.*field = 5;
  std::string body;
  for (const char* keyword : {"StpBrightness", "StpContrast", "StpSaturation", "StpGamma",
                              "StpCyanGamma", "StpMagentaGamma", "StpYellowGamma", "StpCyanBalance",
                              "StpMagentaBalance", "StpYellowBalance"}) {
    body += ppd_option(keyword, "None");
  }
  const std::vector<std::string> all = lines(body);
  for (const auto field : zero) EXPECT_EQ(current_options.*field, 0);
  for (const auto field : thousand) EXPECT_EQ(current_options.*field, 1000);
  EXPECT_THAT(all, Contains("      -> Saturation: 0"));
  EXPECT_THAT(all, Contains("      -> Gamma: 1000 (1.000)"));
  EXPECT_THAT(all, Contains("      -> Yellow Balance: 1000"));
}

TEST_F(PpdOptions, ValuesAreTakenAsTheyAre) {
  copy_text(current_options.resolution, "300x600");
  current_options.legacy_gamma = current_options.no_cut_waste = current_options.linear_contrast = 1;
  const std::string choice(40, 'c');  // libcups keeps 40 characters, most fields keep 31 of them
  const std::vector<std::string> all = lines(
      ppd_option("StpGamma", "none") + ppd_option("StpContrast", "12abc") +
      ppd_option("StpBrightness", "99999999999") + ppd_option("StpSaturation", "-99999999999") +
      ppd_option("StpLegacyDyesubGamma", "true") + ppd_option("StpNoCutWaste", "1") +
      ppd_option("StpLinearContrast", "None") + ppd_option("Resolution", "600dpi") +
      ppd_option("stpcyangamma", "1200") + ppd_option("StpCyanGammas", "1300") +
      ppd_option("StpImageType", choice) + ppd_option("PageSize", choice));
  EXPECT_EQ(current_options.gamma, 0);
  EXPECT_EQ(current_options.contrast, 12);
  EXPECT_EQ(current_options.brightness, INT_MAX);
  EXPECT_EQ(current_options.saturation, INT_MIN);
  EXPECT_EQ(current_options.legacy_gamma, 0);
  EXPECT_EQ(current_options.no_cut_waste, 0);
  EXPECT_EQ(current_options.linear_contrast, 0);
  EXPECT_STREQ(current_options.resolution, "300x300");
  EXPECT_EQ(current_options.cyan_gamma, 1000);
  EXPECT_THAT(all, Contains("      -> Image Type: " + choice.substr(0, 31)));
  EXPECT_EQ(current_options.ppd_paper_name, choice);
}

TEST_F(PpdOptions, BleedsAreMillimetersInBothSpellings) {
  EXPECT_THAT(log_of(ppd_option("BleedTop", "1.0") + ppd_option("BleedLeft", "-1")),
              HasSubstr("    Option: BleedTop = 1.0\n"
                        "      -> Bleed Top (A) from PPD: 1.00mm = 12px (delta)\n"
                        "    Option: BleedLeft = -1\n"
                        "      -> Bleed Left (C) from PPD: -1.00mm = -11px (delta)\n"));
  log_of(ppd_option("BleedA", "0.5") + ppd_option("BleedBottom", "1") +
         ppd_option("BleedC", "None") + ppd_option("BleedD", "1e300"));
  EXPECT_EQ(current_options.bleed_top_px, 6);
  EXPECT_EQ(current_options.bleed_bottom_px, 12);
  EXPECT_EQ(current_options.bleed_left_px, 0);
  EXPECT_EQ(current_options.bleed_right_px, INT_MAX);
}

TEST_F(PpdOptions, MissingDefaultIsAnEmptyValue) {
  copy_text(current_options.ppd_paper_name, "w288h432");
  const std::string log = log_of(
      "*OpenUI *PageRegion/Region: PickOne\n*PageRegion w288h432/6x4: \"\"\n"
      "*CloseUI: *PageRegion\n"
      "*OpenUI *StpGamma/Gamma: PickOne\n*StpGamma 1200/More: \"\"\n*CloseUI: *StpGamma\n");
  EXPECT_THAT(log, HasSubstr("    Option: PageRegion = \n"
                             "      -> Original PPD paper name: \n"
                             "    Option: StpGamma = \n"
                             "      -> Gamma: 0 (0.000)\n"));
  EXPECT_STREQ(current_options.ppd_paper_name, "");
  EXPECT_EQ(current_options.gamma, 0);
}

TEST_F(PpdOptions, DefaultThatIsNoChoiceIsUsed) {
  log_of(
      "*OpenUI *StpGamma/G: PickOne\n*DefaultStpGamma: 1700\n*StpGamma None/x: \"\"\n"
      "*CloseUI: *StpGamma\n");
  EXPECT_EQ(current_options.gamma, 1700);
}

TEST_F(PpdOptions, LaterPaperNameWins) {
  log_of(ppd_option("PageSize", "w288h432") + ppd_option("PageRegion", "w432h576"));
  EXPECT_STREQ(current_options.ppd_paper_name, "w432h576");
}

TEST_F(PpdProfiles, MissingProfileStillEnablesTheConversion) {
  EXPECT_EQ(log_of(ppd_option("ICCProfile", "printer")),
            "K905-1: Parsing PPD file: PATH\n"
            "  Product: (Test Printer)\n"
            "  Manufacturer: N/A\n"
            "  ModelName: Test 1\n"
            "  Group: General\n"
            "    Option: ICCProfile = printer\n"
            "K905-1: ICC Profile specified: printer\n"
            "K905-1: Searching for ICC profile: printer\n"
            "K905-1: ICC profile not found: printer\n"
            "      -> Assumed Path: /usr/share/color/icc/printer.icc\n"
            "      -> ICC Enabled: Yes\n"
            "      -> ICC Name: printer\n"
            "      -> Note: Will use sRGB as fallback if file not found\n"
            "K905-1: PPD parsing complete\n"
            "K905-1: ICC Profile status: ENABLED\n");
  EXPECT_EQ(current_options.icc_enabled, 1);
  EXPECT_STREQ(current_options.icc_profile_name, "printer");
  EXPECT_STREQ(current_options.icc_profile_path, "/usr/share/color/icc/printer.icc");
}

TEST_F(PpdProfiles, FoundProfileReplacesTheAssumedPath) {
  const FakeFiles files({"/usr/local/share/color/icc/printer.icm"});
  EXPECT_THAT(lines(ppd_option("ICCProfile", "printer")),
              Contains("      -> Resolved Path: /usr/local/share/color/icc/printer.icm"));
  EXPECT_STREQ(current_options.icc_profile_path, "/usr/local/share/color/icc/printer.icm");
}

TEST_F(PpdProfiles, AssumedPathGetsAnEndingUnlessTheNameHasOne) {
  // "None" and the choices of the print dialog are treated as names like any other.
  const std::pair<const char*, const char*> cases[] = {
      {"a.icc", "a.icc"},          {"a.icm", "a.icm"},     {"a.icc.gz", "a.icc.gz"},
      {"x.icm2", "x.icm2"},        {"a.ICC", "a.ICC.icc"}, {"None", "None.icc"},
      {"AdobeRGB", "AdobeRGB.icc"}};
  for (const auto& [name, file] : cases) {
    log_of(ppd_option("ICCProfile", name));
    EXPECT_EQ(current_options.icc_enabled, 1);
    EXPECT_STREQ(current_options.icc_profile_name, name);
    EXPECT_EQ(current_options.icc_profile_path, std::string("/usr/share/color/icc/") + file);
  }
}

TEST_F(PpdProfiles, MissingDefaultEnablesTheConversionWithAnEmptyName) {
  const std::string log =
      log_of("*OpenUI *ICCProfile/P: PickOne\n*ICCProfile a/A: \"\"\n*CloseUI: *ICCProfile\n");
  EXPECT_THAT(log, HasSubstr("    Option: ICCProfile = \n"
                             "K905-1: ICC Profile specified: \n"
                             "      -> Assumed Path: /usr/share/color/icc/.icc\n"
                             "      -> ICC Enabled: Yes\n"
                             "      -> ICC Name: \n"));
  EXPECT_EQ(current_options.icc_enabled, 1);
  EXPECT_STREQ(current_options.icc_profile_name, "");
}

TEST_F(PpdProfiles, WithoutAProfileTheInstalledSrgbIsUsed) {
  const FakeFiles files({"./sRGB.icc"});
  const std::vector<std::string> all = lines("");
  ASSERT_EQ(all.size(), 9U);
  EXPECT_EQ(all[6], "K905-1: Using default ICC profile: ./sRGB.icc");
  EXPECT_EQ(all[7], "K905-1: PPD parsing complete");
  EXPECT_EQ(all[8], "K905-1: ICC Profile status: ENABLED");
  EXPECT_EQ(current_options.icc_enabled, 1);
  EXPECT_STREQ(current_options.icc_profile_path, "./sRGB.icc");
  // The name stays empty, and it is the name that decides whether a page is converted.
  EXPECT_STREQ(current_options.icc_profile_name, "");
}

TEST_F(PpdProfiles, VividBaseIsAdobeRgb) {
  EXPECT_THAT(log_of(ppd_option("ColorBase", "Vivid")),
              HasSubstr("    Option: ColorBase = Vivid\n"
                        "K905-1: Searching for ICC profile: AdobeRGB.icc\n"
                        "K905-1: ICC profile not found: AdobeRGB.icc\n"
                        "      -> Color Base: Vivid\n"
                        "K905-1: PPD parsing complete\n"
                        "K905-1: ICC Profile status: ENABLED\n"));
  EXPECT_STREQ(current_options.color_base, "Vivid");
  EXPECT_STREQ(current_options.color_base_profile_name, "AdobeRGB.icc");
  EXPECT_STREQ(current_options.color_base_profile_path, "/Library/ColorSync/Profiles/AdobeRGB.icc");
  EXPECT_EQ(current_options.icc_enabled, 1);
}

TEST_F(PpdProfiles, AnyOtherBaseIsSrgb) {
  for (const char* choice : {"Normal", "vivid", "None"}) {
    EXPECT_THAT(lines(ppd_option("ColorBase", choice)), Contains("      -> Color Base: Normal"));
    EXPECT_STREQ(current_options.color_base, "Normal");
    EXPECT_STREQ(current_options.color_base_profile_name, "sRGB.icc");
    EXPECT_STREQ(current_options.color_base_profile_path, "/Library/ColorSync/Profiles/sRGB.icc");
  }
}

TEST_F(PpdProfiles, WithABaseTheDefaultProfileIsNotSearched) {
  const FakeFiles files({"./sRGB.icc"});
  const std::string log = log_of(ppd_option("ColorBase", "Normal"));
  EXPECT_THAT(log, Not(HasSubstr("Using default ICC profile")));
  EXPECT_STREQ(current_options.icc_profile_path, "");
  EXPECT_STREQ(current_options.color_base_profile_path, "./sRGB.icc");
}

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
