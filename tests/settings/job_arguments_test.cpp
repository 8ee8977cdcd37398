#include "settings/job_arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "paper/paper_table.h"
#include "settings/option_values.h"
#include "settings/print_options.h"
#include "tests/settings/argument_list.h"
#include "tests/settings/fake_files.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

class JobArguments : public testing::Test {
 protected:
  static std::string log_of(std::vector<std::string> arguments) {
    ArgumentList list(std::move(arguments));
    return captured_log([&] { read_job_arguments(list.count(), list.values()); });
  }

  // A job as CUPS starts it, with this option string, and further arguments behind it.
  static std::string log_of_job(const std::string& options, std::vector<std::string> further = {}) {
    std::vector<std::string> arguments{"queue", "17", "me", "title", "1", options};
    arguments.insert(arguments.end(), further.begin(), further.end());
    return log_of(std::move(arguments));
  }

  SettingsGuard settings_;
  FakeFiles files_{{"./sRGB.icc", "./mine.icc", "./AdobeRGB1998.icc"}};
};

using OptionString = JobArguments;
using KeyValueArguments = JobArguments;
using Flags = JobArguments;
using ArgumentLoop = JobArguments;

TEST_F(ArgumentLoop, WithTheProgramNameAloneOnlyTheHeadingIsLogged) {
  EXPECT_EQ(log_of({"filter"}), "K905-1: Parsing command line options:\n");
  EXPECT_EQ(log_of({}), "K905-1: Parsing command line options:\n");
}

TEST_F(ArgumentLoop, EveryArgumentIsListedAlsoTheOptionString) {
  EXPECT_EQ(log_of_job("finishings=3", {"photo.ras"}),
            "K905-1: Parsing command line options:\n"
            "K905-1: argv[5] (options) first 200 chars: finishings=3\n"
            "  Arg[1]: 17\n"
            "  Arg[2]: me\n"
            "  Arg[3]: title\n"
            "  Arg[4]: 1\n"
            "  Arg[5]: finishings=3\n"
            "  Arg[6]: photo.ras\n");
}

TEST_F(ArgumentLoop, TheSixthArgumentIsTheOptionStringAndNothingElse) {
  // As any other argument it would set the gamma.
  const std::string log = log_of_job("StpGamma=1500");
  EXPECT_EQ(current_options.gamma, 1000);
  EXPECT_THAT(log, Not(HasSubstr("PPD option")));
}

TEST_F(ArgumentLoop, ALineBreakInAnArgumentStartsNoLineOfItsOwn) {
  EXPECT_EQ(log_of({"filter", "a\nPAGE: 1 1\r\nb"}),
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: a PAGE: 1 1  b\n");
}

TEST_F(OptionString, NothingButTheProfileIsTakenFromIt) {
  const std::string log =
      log_of_job("StpBrightness=500 PageSize=w432h576 BleedTop=1 ICCProfile=sRGB copies=3");
  EXPECT_EQ(log,
            "K905-1: Parsing command line options:\n"
            "K905-1: argv[5] (options) first 200 chars: "
            "StpBrightness=500 PageSize=w432h576 BleedTop=1 ICCProfile=sRGB copies=3\n"
            "    PPD option: ICCProfile=sRGB\n"
            "K905-1: Parsing ICC option value: sRGB\n"
            "K905-1: Mapped choice to file: sRGB.icc\n"
            "K905-1: Searching for ICC profile: sRGB.icc\n"
            "K905-1: Found ICC profile at: ./sRGB.icc\n"
            "      -> ICC Profile from command line: sRGB.icc\n"
            "  Arg[1]: 17\n"
            "  Arg[2]: me\n"
            "  Arg[3]: title\n"
            "  Arg[4]: 1\n"
            "  Arg[5]: StpBrightness=500 PageSize=w432h576 BleedTop=1 ICCProfile=sRGB copies=3\n");
  EXPECT_EQ(current_options.brightness, 0);
  EXPECT_EQ(current_options.copies, 1);
  EXPECT_EQ(current_options.bleed_top_px, 0);
  EXPECT_STREQ(current_options.ppd_paper_name, "");
  EXPECT_STREQ(current_options.icc_profile_name, "sRGB.icc");
  EXPECT_STREQ(current_options.icc_profile_path, "./sRGB.icc");
  EXPECT_EQ(current_options.icc_enabled, 1);
}

TEST_F(OptionString, OnlyTheFirstProfileCounts) {
  const std::string log = log_of_job("ICCProfile=sRGB\tICCProfile=AdobeRGB");
  EXPECT_STREQ(current_options.icc_profile_name, "sRGB.icc");
  EXPECT_THAT(lines_of(log), Not(Contains("    PPD option: ICCProfile=AdobeRGB")));
}

TEST_F(OptionString, OnlyTheFirstProfileCountsEvenWhenItNamesNothing) {
  const std::string log = log_of_job("ICCProfile=junk ICCProfile=sRGB");
  EXPECT_STREQ(current_options.icc_profile_name, "");
  EXPECT_EQ(current_options.icc_enabled, 0);
  EXPECT_THAT(lines_of(log), Contains("    PPD option: ICCProfile=junk"));
  EXPECT_THAT(lines_of(log), Not(Contains("    PPD option: ICCProfile=sRGB")));
}

TEST_F(OptionString, ATokenThatBeginsWithTheEqualsSignIsNoOption) {
  log_of_job("=ICCProfile=mine =x ICCProfile");
  EXPECT_STREQ(current_options.icc_profile_name, "");
}

TEST_F(OptionString, BlanksAndTabsSeparateAndNothingElseDoes) {
  log_of_job(" \t  a\t\tICCProfile=sRGB  ");
  EXPECT_STREQ(current_options.icc_profile_name, "sRGB.icc");
  log_of_job("a,ICCProfile=AdobeRGB\nICCProfile=AdobeRGB");
  EXPECT_STREQ(current_options.icc_profile_name, "sRGB.icc");
}

TEST_F(OptionString, TheKeyIsComparedToTheLetter) {
  log_of_job("iccprofile=sRGB ICCProfiles=sRGB noICCProfile=sRGB");
  EXPECT_STREQ(current_options.icc_profile_name, "");
}

TEST_F(OptionString, TheValueEndsAtTheBlankSoAMarkerIsNeverWhole) {
  const std::string log = log_of_job("ICCProfile=ICCPROFILE (mine)");
  EXPECT_THAT(lines_of(log), Contains("K905-1: Parsing ICC option value: ICCPROFILE"));
  EXPECT_THAT(lines_of(log),
              Contains("K905-1: ICCPROFILE marker not found, not a known choice name"));
}

TEST_F(OptionString, TheValueMayHoldFurtherEqualsSigns) {
  EXPECT_THAT(lines_of(log_of_job("ICCProfile=a=b")), Contains("    PPD option: ICCProfile=a=b"));
}

TEST_F(OptionString, AProfileThatIsNotFoundLeavesTheConversionAsItWas) {
  copy_text(current_options.icc_profile_path, "/queue.icc");
  const std::string log = log_of_job("ICCProfile=PhotoRGB");
  EXPECT_STREQ(current_options.icc_profile_name, "PhotoRGB.icc");
  EXPECT_STREQ(current_options.icc_profile_path, "/queue.icc");
  EXPECT_EQ(current_options.icc_enabled, 0);
  EXPECT_THAT(log, HasSubstr("K905-1: ICC profile not found: PhotoRGB.icc\n  Arg[1]"));
}

TEST_F(OptionString, AnEmptyOneIsNotMentioned) {
  EXPECT_EQ(log_of_job(""),
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: 17\n"
            "  Arg[2]: me\n"
            "  Arg[3]: title\n"
            "  Arg[4]: 1\n"
            "  Arg[5]: \n");
}

TEST_F(OptionString, ShowsItsFirst200CharactersAndIsReadWhole) {
  const std::string log = log_of_job(std::string(195, 'x') + " ICCProfile=sRGB");
  EXPECT_EQ(lines_of(log)[1],
            "K905-1: argv[5] (options) first 200 chars: " + std::string(195, 'x') + " ICCP");
  EXPECT_STREQ(current_options.icc_profile_name, "sRGB.icc");
}

TEST_F(OptionString, StaysAsItWas) {
  ArgumentList list({"queue", "1", "me", "t", "1", "a=b ICCProfile=sRGB c=d"});
  captured_log([&] { read_job_arguments(list.count(), list.values()); });
  EXPECT_STREQ(list.values()[5], "a=b ICCProfile=sRGB c=d");
}

TEST_F(KeyValueArguments, SetWhatTheyName) {
  log_of({"filter", "StpBrightness=-150", "StpContrast=10", "StpSaturation=20", "StpGamma=1200",
          "ColorModel=Gray"});
  log_of({"filter", "StpImageType=Text", "StpColorCorrection=Bright", "StpColorPrecision=Best",
          "Resolution=300x600dpi"});
  log_of({"filter", "StpLaminate=Matte"});
  EXPECT_EQ(current_options.brightness, -150);
  EXPECT_EQ(current_options.contrast, 10);
  EXPECT_EQ(current_options.saturation, 20);
  EXPECT_EQ(current_options.gamma, 1200);
  EXPECT_STREQ(current_options.image_type, "Text");
  EXPECT_STREQ(current_options.color_correction, "Bright");
  EXPECT_STREQ(current_options.color_precision, "Best");
  EXPECT_STREQ(current_options.resolution, "300x600");
  EXPECT_STREQ(current_options.overcoat, "Matte");
}

TEST_F(KeyValueArguments, AreLoggedAsTheyAreButTheirResultIsNot) {
  EXPECT_EQ(log_of({"filter", "ColorModel=Gray"}),
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: ColorModel=Gray\n"
            "    PPD option: ColorModel=Gray\n");
  EXPECT_STREQ(current_options.color_model, "Gray");
}

TEST_F(KeyValueArguments, NoneIsTheNeutralValue) {
  current_options.brightness = current_options.contrast = current_options.saturation = 5;
  current_options.gamma = 5;
  log_of(
      {"filter", "StpBrightness=None", "StpContrast=None", "StpSaturation=None", "StpGamma=None"});
  EXPECT_EQ(current_options.brightness, 0);
  EXPECT_EQ(current_options.contrast, 0);
  EXPECT_EQ(current_options.saturation, 0);
  EXPECT_EQ(current_options.gamma, 1000);
}

TEST_F(KeyValueArguments, BadAndOversizedNumbersAreZeroOrTheLimit) {
  log_of({"filter", "StpBrightness=much", "StpContrast=3000000000", "StpSaturation=-3000000000",
          "StpGamma="});
  EXPECT_EQ(current_options.brightness, 0);
  EXPECT_EQ(current_options.contrast, INT_MAX);
  EXPECT_EQ(current_options.saturation, INT_MIN);
  EXPECT_EQ(current_options.gamma, 0);
}

TEST_F(KeyValueArguments, ResolutionIsOneOfTwo) {
  log_of({"filter", "Resolution=_300x600_"});
  EXPECT_STREQ(current_options.resolution, "300x600");
  log_of({"filter", "Resolution=600dpi"});
  EXPECT_STREQ(current_options.resolution, "300x300");
}

TEST_F(KeyValueArguments, TextsAreCutToTheirFields) {
  const std::string text(40, 'M');
  log_of({"filter", "ColorModel=" + text, "StpLaminate=" + text});
  EXPECT_EQ(current_options.color_model, std::string(31, 'M'));
  EXPECT_EQ(current_options.overcoat, std::string(31, 'M'));
}

// 1 mm is 12.31 pixels with the half, 0.5 mm 6.41, -1 mm -11.31, 2.54 mm 30.5.
TEST_F(KeyValueArguments, BleedsAreMillimetersInBothSpellings) {
  const std::string log =
      log_of({"filter", "BleedTop=1", "BleedBottom=0.5", "BleedLeft=-1", "BleedRight=2.54"});
  EXPECT_EQ(log,
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: BleedTop=1\n"
            "    PPD option: BleedTop=1\n"
            "      -> Bleed Top (A) from command line: 1.00mm = 12px (delta)\n"
            "  Arg[2]: BleedBottom=0.5\n"
            "    PPD option: BleedBottom=0.5\n"
            "      -> Bleed Bottom (B) from command line: 0.50mm = 6px (delta)\n"
            "  Arg[3]: BleedLeft=-1\n"
            "    PPD option: BleedLeft=-1\n"
            "      -> Bleed Left (C) from command line: -1.00mm = -11px (delta)\n"
            "  Arg[4]: BleedRight=2.54\n"
            "    PPD option: BleedRight=2.54\n"
            "      -> Bleed Right (D) from command line: 2.54mm = 30px (delta)\n");
  EXPECT_EQ(current_options.bleed_top_px, 12);
  EXPECT_EQ(current_options.bleed_bottom_px, 6);
  EXPECT_EQ(current_options.bleed_left_px, -11);
  EXPECT_EQ(current_options.bleed_right_px, 30);

  const std::string letters =
      log_of({"filter", "BleedA=0.5", "BleedB=1", "BleedC=2.54", "BleedD=-1"});
  EXPECT_THAT(lines_of(letters),
              Contains("      -> Bleed Right (D) from command line: -1.00mm = -11px (delta)"));
  EXPECT_EQ(current_options.bleed_top_px, 6);
  EXPECT_EQ(current_options.bleed_bottom_px, 12);
  EXPECT_EQ(current_options.bleed_left_px, 30);
  EXPECT_EQ(current_options.bleed_right_px, -11);
}

TEST_F(KeyValueArguments, ABleedThatIsNoSizeIsZeroAndAHugeOneTheLimit) {
  const std::string log = log_of({"filter", "BleedTop=None", "BleedB=nan", "BleedC=inf"});
  EXPECT_EQ(current_options.bleed_top_px, 0);
  EXPECT_EQ(current_options.bleed_bottom_px, 0);
  EXPECT_EQ(current_options.bleed_left_px, INT_MAX);
  EXPECT_THAT(lines_of(log),
              Contains("      -> Bleed Top (A) from command line: 0.00mm = 0px (delta)"));
  EXPECT_THAT(lines_of(log),
              Contains("      -> Bleed Bottom (B) from command line: nanmm = 0px (delta)"));
  EXPECT_THAT(lines_of(log),
              Contains("      -> Bleed Left (C) from command line: infmm = 2147483647px (delta)"));
}

TEST_F(KeyValueArguments, SettingsOfTheQueueAreOutOfTheirReach) {
  const std::vector<std::string> keys{
      "PageSize",         "PageRegion",       "ColorBase",         "StpLegacyDyesubGamma",
      "StpNoCutWaste",    "StpiShrinkOutput", "StpCyanGamma",      "StpMagentaGamma",
      "StpYellowGamma",   "StpCyanBalance",   "StpMagentaBalance", "StpYellowBalance",
      "StpLinearContrast"};
  for (const std::string& key : keys) {
    const std::string argument = key + "=True";
    const std::vector<std::string> expected{"K905-1: Parsing command line options:",
                                            "  Arg[1]: " + argument, "    PPD option: " + argument};
    EXPECT_EQ(lines_of(log_of({"filter", argument})), expected);
  }
  EXPECT_STREQ(current_options.ppd_paper_name, "");
  EXPECT_STREQ(current_options.color_base, "");
  EXPECT_EQ(current_options.legacy_gamma, 0);
  EXPECT_EQ(current_options.no_cut_waste, 0);
  EXPECT_STREQ(current_options.shrink_output, "Shrink");
  EXPECT_EQ(current_options.cyan_gamma, 1000);
  EXPECT_EQ(current_options.magenta_gamma, 1000);
  EXPECT_EQ(current_options.yellow_gamma, 1000);
  EXPECT_EQ(current_options.cyan_balance, 1000);
  EXPECT_EQ(current_options.magenta_balance, 1000);
  EXPECT_EQ(current_options.yellow_balance, 1000);
  EXPECT_EQ(current_options.linear_contrast, 0);
  EXPECT_EQ(current_options.icc_enabled, 0);
}

TEST_F(KeyValueArguments, AnEqualsSignInFrontMakesAnEmptyKey) {
  EXPECT_EQ(log_of({"filter", "=StpGamma=5"}),
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: =StpGamma=5\n"
            "    PPD option: =StpGamma=5\n");
  EXPECT_EQ(current_options.gamma, 1000);
}

TEST_F(KeyValueArguments, AreSplitInPlace) {
  ArgumentList list({"filter", "--info=x", "StpGamma=1=2"});
  captured_log([&] { read_job_arguments(list.count(), list.values()); });
  EXPECT_STREQ(list.values()[1], "--info");
  EXPECT_STREQ(list.values()[2], "StpGamma");
  EXPECT_EQ(current_options.gamma, 1);
}

TEST_F(KeyValueArguments, EveryProfileCountsAndTheLastFoundOneWins) {
  const std::string log =
      log_of({"filter", "ICCProfile=sRGB", "ICCProfile=ICCPROFILE (mine)", "ICCProfile=junk"});
  EXPECT_EQ(log,
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: ICCProfile=sRGB\n"
            "    PPD option: ICCProfile=sRGB\n"
            "K905-1: Parsing ICC option value: sRGB\n"
            "K905-1: Mapped choice to file: sRGB.icc\n"
            "K905-1: Searching for ICC profile: sRGB.icc\n"
            "K905-1: Found ICC profile at: ./sRGB.icc\n"
            "      -> ICC Profile from command line: sRGB.icc\n"
            "  Arg[2]: ICCProfile=ICCPROFILE (mine)\n"
            "    PPD option: ICCProfile=ICCPROFILE (mine)\n"
            "K905-1: Parsing ICC option value: ICCPROFILE (mine)\n"
            "K905-1: Extracted ICC profile name: mine\n"
            "K905-1: Searching for ICC profile: mine\n"
            "K905-1: Found ICC profile at: ./mine.icc\n"
            "      -> ICC Profile from command line: mine\n"
            "  Arg[3]: ICCProfile=junk\n"
            "    PPD option: ICCProfile=junk\n"
            "K905-1: Parsing ICC option value: junk\n"
            "K905-1: ICCPROFILE marker not found, not a known choice name\n");
  EXPECT_STREQ(current_options.icc_profile_name, "mine");
  EXPECT_STREQ(current_options.icc_profile_path, "./mine.icc");
  EXPECT_EQ(current_options.icc_enabled, 1);
}

TEST_F(KeyValueArguments, AProfileNameIsCutInItsFieldAndSearchedWhole) {
  const std::string name(200, 'n');
  const FakeFiles files({"./" + name});
  log_of({"filter", "ICCProfile=ICCPROFILE (" + name + ")"});
  EXPECT_EQ(current_options.icc_profile_name, std::string(127, 'n'));
  EXPECT_EQ(current_options.icc_profile_path, "./" + name);
  EXPECT_EQ(current_options.icc_enabled, 1);
}

TEST_F(Flags, SetWhatTheyNameWithoutAWord) {
  const std::string log = log_of({"filter", "--contrast", "1200", "--saturation", "-20"});
  EXPECT_EQ(log,
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: --contrast\n"
            "  Arg[3]: --saturation\n");
  EXPECT_EQ(current_options.contrast, 1200);
  EXPECT_EQ(current_options.saturation, -20);
  log_of({"filter", "--brightness", "30", "--gamma", "1800"});
  log_of({"filter", "--copies", "4", "--color-model", "CMY"});
  log_of({"filter", "--color-precision", "Best", "--image-type", "Text"});
  log_of({"filter", "--color-correction", "Hue", "--icc-intent", "Absolute"});
  EXPECT_EQ(current_options.brightness, 30);
  EXPECT_EQ(current_options.gamma, 1800);
  EXPECT_EQ(current_options.copies, 4);
  EXPECT_STREQ(current_options.color_model, "CMY");
  EXPECT_STREQ(current_options.color_precision, "Best");
  EXPECT_STREQ(current_options.image_type, "Text");
  EXPECT_STREQ(current_options.color_correction, "Hue");
  EXPECT_STREQ(current_options.icc_intent, "Absolute");
}

TEST_F(Flags, InLastPositionAreIgnored) {
  EXPECT_EQ(log_of({"filter", "--contrast"}),
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: --contrast\n");
  EXPECT_EQ(current_options.contrast, 0);
}

TEST_F(Flags, DoNotKnowNone) {
  log_of({"filter", "--gamma", "None"});
  EXPECT_EQ(current_options.gamma, 0);
}

TEST_F(Flags, TextsAreCutToTheirFields) {
  log_of({"filter", "--icc-intent", std::string(40, 'R'), "--image-type", std::string(40, 'T')});
  EXPECT_EQ(current_options.icc_intent, std::string(31, 'R'));
  EXPECT_EQ(current_options.image_type, std::string(31, 'T'));
}

TEST_F(Flags, NumbersSaturate) {
  log_of({"filter", "--copies", "99999999999", "--brightness", "-99999999999"});
  EXPECT_EQ(current_options.copies, INT_MAX);
  EXPECT_EQ(current_options.brightness, INT_MIN);
}

TEST_F(Flags, TheValueIsTakenAsItStandsAlsoAFlagOrAnAssignment) {
  const std::string log = log_of({"filter", "--color-model", "--gamma", "--image-type", "a=b"});
  EXPECT_EQ(log,
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: --color-model\n"
            "  Arg[3]: --image-type\n");
  EXPECT_STREQ(current_options.color_model, "--gamma");
  EXPECT_STREQ(current_options.image_type, "a=b");
  EXPECT_EQ(current_options.gamma, 1000);
}

TEST_F(Flags, AtTheFourthArgumentTakesTheOptionStringAsItsValue) {
  const std::string log = log_of({"queue", "1", "me", "t", "--gamma", "1500", "--copies", "2"});
  EXPECT_EQ(log,
            "K905-1: Parsing command line options:\n"
            "K905-1: argv[5] (options) first 200 chars: 1500\n"
            "  Arg[1]: 1\n"
            "  Arg[2]: me\n"
            "  Arg[3]: t\n"
            "  Arg[4]: --gamma\n"
            "  Arg[6]: --copies\n");
  EXPECT_EQ(current_options.gamma, 1500);
  EXPECT_EQ(current_options.copies, 2);
}

TEST_F(Flags, InThePlaceOfTheOptionStringDoNothing) {
  log_of({"queue", "1", "me", "t", "1", "--gamma", "1500"});
  EXPECT_EQ(current_options.gamma, 1000);
}

TEST_F(Flags, InfoAndUnknownOnesConsumeNothing) {
  log_of({"filter", "--info", "--gamma", "1500", "--unknown"});
  EXPECT_EQ(current_options.gamma, 1500);
}

TEST_F(Flags, WithAnEqualsSignAreNoFlags) {
  const std::string log = log_of({"filter", "--gamma=1500", "--contrast", "7"});
  EXPECT_EQ(current_options.gamma, 1000);
  EXPECT_EQ(current_options.contrast, 7);
  EXPECT_THAT(lines_of(log), Contains("    PPD option: --gamma=1500"));
}

TEST_F(Flags, AProfileIsSearchedByItsNameWithoutTheTableOfChoices) {
  const std::string log = log_of({"filter", "--icc-profile", "AdobeRGB"});
  EXPECT_EQ(log,
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: --icc-profile\n"
            "K905-1: Searching for ICC profile: AdobeRGB\n"
            "K905-1: ICC profile not found: AdobeRGB\n");
  EXPECT_STREQ(current_options.icc_profile_name, "AdobeRGB");
  EXPECT_STREQ(current_options.icc_profile_path, "");
  EXPECT_EQ(current_options.icc_enabled, 0);

  log_of({"filter", "--icc-profile", "mine"});
  EXPECT_STREQ(current_options.icc_profile_name, "mine");
  EXPECT_STREQ(current_options.icc_profile_path, "./mine.icc");
  EXPECT_EQ(current_options.icc_enabled, 1);
}

TEST_F(Flags, AProfileThatIsNotFoundDoesNotSwitchOffTheQueueOne) {
  current_options.icc_enabled = 1;
  log_of({"filter", "--icc-profile", "missing"});
  EXPECT_EQ(current_options.icc_enabled, 1);
}

TEST_F(Flags, AnEmptyProfileNameClearsTheName) {
  copy_text(current_options.icc_profile_name, "queue");
  log_of({"filter", "--icc-profile", ""});
  EXPECT_STREQ(current_options.icc_profile_name, "");
}

TEST_F(Flags, ThePaperIsNotChosenHereButItsNameIsConsumed) {
  const std::string log = log_of({"filter", "--paper-size", "StpGamma=1500", "--gamma", "1200"});
  EXPECT_EQ(log,
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: --paper-size\n"
            "  Arg[3]: --gamma\n");
  EXPECT_EQ(current_options.paper_config, &paper_sizes[9]);
  EXPECT_EQ(current_options.gamma, 1200);
}

TEST_F(ArgumentLoop, ALaterArgumentOverridesAnEarlierOne) {
  log_of({"filter", "--gamma", "1500", "StpGamma=1200"});
  EXPECT_EQ(current_options.gamma, 1200);
  log_of({"filter", "StpGamma=1200", "--gamma", "1500"});
  EXPECT_EQ(current_options.gamma, 1500);
}

TEST_F(ArgumentLoop, AnArgumentOverridesTheOptionString) {
  log_of_job("ICCProfile=sRGB", {"ICCProfile=AdobeRGB"});
  EXPECT_STREQ(current_options.icc_profile_name, "AdobeRGB1998.icc");
  EXPECT_STREQ(current_options.icc_profile_path, "./AdobeRGB1998.icc");
}

}  // namespace
