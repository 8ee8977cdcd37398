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

  // A job as CUPS starts it, with this option string, followed by further arguments.
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

TEST_F(ArgumentLoop, ProgramNameAloneLogsTheHeadingOnly) {
  EXPECT_EQ(log_of({"filter"}), "K905-1: Parsing command line options:\n");
  EXPECT_EQ(log_of({}), "K905-1: Parsing command line options:\n");
}

TEST_F(ArgumentLoop, EveryArgumentIsLoggedAndTheOptionStringTwice) {
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

TEST_F(ArgumentLoop, OptionStringIsNotAKeyValueArgument) {
  // As any other argument it would set the gamma.
  const std::string log = log_of_job("StpGamma=1500");
  EXPECT_EQ(current_options.gamma, 1000);
  EXPECT_THAT(log, Not(HasSubstr("PPD option")));
}

TEST_F(OptionString, ProfileIsTheOnlyOptionThatIsRead) {
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

TEST_F(OptionString, FirstIccProfileOptionIsTheOnlyOneThatCounts) {
  // The option string and the profile name that it gives.
  const std::pair<const char*, const char*> cases[] = {
      {"ICCProfile=sRGB\tICCProfile=AdobeRGB", "sRGB.icc"},
      {"ICCProfile=junk ICCProfile=sRGB", ""},
      {"=ICCProfile=mine =x ICCProfile", ""},
      {" \t  a\t\tICCProfile=sRGB  ", "sRGB.icc"},
      {"a,ICCProfile=sRGB\nICCProfile=sRGB", ""},
      {"iccprofile=sRGB ICCProfiles=sRGB noICCProfile=sRGB", ""},
      {"ICCProfile=ICCPROFILE (mine)", ""},
  };
  for (const auto& [options, name] : cases) {
    const SettingsGuard settings;
    log_of_job(options);
    EXPECT_STREQ(current_options.icc_profile_name, name) << options;
    EXPECT_EQ(current_options.icc_enabled, *name != '\0') << options;
  }
  EXPECT_THAT(lines_of(log_of_job("ICCProfile=a=b")), Contains("    PPD option: ICCProfile=a=b"));
}

TEST_F(OptionString, MissingProfileLeavesTheConversionAsItWas) {
  copy_text(current_options.icc_profile_path, "/queue.icc");
  const std::string log = log_of_job("ICCProfile=PhotoRGB");
  EXPECT_STREQ(current_options.icc_profile_name, "PhotoRGB.icc");
  EXPECT_STREQ(current_options.icc_profile_path, "/queue.icc");
  EXPECT_EQ(current_options.icc_enabled, 0);
  EXPECT_THAT(log, HasSubstr("K905-1: ICC profile not found: PhotoRGB.icc\n  Arg[1]"));
}

TEST_F(OptionString, EmptyOneIsNotLogged) {
  EXPECT_THAT(log_of_job(""), Not(HasSubstr("argv[5]")));
}

TEST_F(OptionString, FirstTwoHundredCharactersAreLoggedAndAllAreRead) {
  const std::string log = log_of_job(std::string(195, 'x') + " ICCProfile=sRGB");
  EXPECT_EQ(lines_of(log)[1],
            "K905-1: argv[5] (options) first 200 chars: " + std::string(195, 'x') + " ICCP");
  EXPECT_STREQ(current_options.icc_profile_name, "sRGB.icc");
}

TEST_F(OptionString, IsNotChanged) {
  ArgumentList list({"queue", "1", "me", "t", "1", "a=b ICCProfile=sRGB c=d"});
  captured_log([&] { read_job_arguments(list.count(), list.values()); });
  EXPECT_STREQ(list.values()[5], "a=b ICCProfile=sRGB c=d");
}

TEST_F(KeyValueArguments, SetTheirSettingAndLogTheOptionOnly) {
  EXPECT_EQ(log_of({"filter", "StpBrightness=-150", "StpGamma=None", "Resolution=_300x600_"}),
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: StpBrightness=-150\n"
            "    PPD option: StpBrightness=-150\n"
            "  Arg[2]: StpGamma=None\n"
            "    PPD option: StpGamma=None\n"
            "  Arg[3]: Resolution=_300x600_\n"
            "    PPD option: Resolution=_300x600_\n");
  EXPECT_EQ(current_options.brightness, -150);
  EXPECT_EQ(current_options.gamma, 1000);
  EXPECT_STREQ(current_options.resolution, "300x600");
  log_of({"filter", "StpContrast=3000000000", "StpGamma=", "Resolution=600dpi",
          "StpLaminate=" + std::string(40, 'M')});
  EXPECT_EQ(current_options.contrast, INT_MAX);
  EXPECT_EQ(current_options.gamma, 0);
  EXPECT_STREQ(current_options.resolution, "300x300");
  EXPECT_EQ(current_options.overcoat, std::string(31, 'M'));
}

// 1 mm is 12.31 pixels with the half, 0.5 mm 6.41, -1 mm -11.31, 2.54 mm 30.5.
TEST_F(KeyValueArguments, BleedsAreMillimetersInBothSpellings) {
  EXPECT_EQ(log_of({"filter", "BleedTop=1", "BleedLeft=-1", "BleedB=inf"}),
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: BleedTop=1\n"
            "    PPD option: BleedTop=1\n"
            "      -> Bleed Top (A) from command line: 1.00mm = 12px (delta)\n"
            "  Arg[2]: BleedLeft=-1\n"
            "    PPD option: BleedLeft=-1\n"
            "      -> Bleed Left (C) from command line: -1.00mm = -11px (delta)\n"
            "  Arg[3]: BleedB=inf\n"
            "    PPD option: BleedB=inf\n"
            "      -> Bleed Bottom (B) from command line: infmm = 2147483647px (delta)\n");
  const std::vector<std::vector<std::string>> spellings = {
      {"filter", "BleedTop=0.5", "BleedBottom=1", "BleedLeft=2.54", "BleedRight=-1"},
      {"filter", "BleedA=0.5", "BleedB=1", "BleedC=2.54", "BleedD=-1"}};
  for (const std::vector<std::string>& spelling : spellings) {
    const SettingsGuard settings;
    log_of(spelling);
    EXPECT_EQ(current_options.bleed_top_px, 6);
    EXPECT_EQ(current_options.bleed_bottom_px, 12);
    EXPECT_EQ(current_options.bleed_left_px, 30);
    EXPECT_EQ(current_options.bleed_right_px, -11);
  }
}

TEST_F(KeyValueArguments, SettingsOfTheQueueCannotBeChanged) {
  const std::vector<std::string> keys{
      "PageSize",         "PageRegion",       "ColorBase",         "StpLegacyDyesubGamma",
      "StpNoCutWaste",    "StpiShrinkOutput", "StpCyanGamma",      "StpMagentaGamma",
      "StpYellowGamma",   "StpCyanBalance",   "StpMagentaBalance", "StpYellowBalance",
      "StpLinearContrast"};
  const auto record = [] {
    return std::string(reinterpret_cast<const char*>(&current_options), sizeof current_options);
  };
  const std::string before = record();
  for (const std::string& key : keys) {
    const std::string argument = key + "=True";
    const std::vector<std::string> expected{"K905-1: Parsing command line options:",
                                            "  Arg[1]: " + argument, "    PPD option: " + argument};
    EXPECT_EQ(lines_of(log_of({"filter", argument})), expected);
  }
  EXPECT_EQ(record(), before);
}

TEST_F(KeyValueArguments, AreSplitInPlaceAtTheFirstEqualsSign) {
  ArgumentList list({"filter", "--info=x", "StpGamma=1=2"});
  captured_log([&] { read_job_arguments(list.count(), list.values()); });
  EXPECT_STREQ(list.values()[1], "--info");
  EXPECT_STREQ(list.values()[2], "StpGamma");
  EXPECT_EQ(current_options.gamma, 1);
}

TEST_F(KeyValueArguments, LastProfileThatIsFoundWins) {
  EXPECT_THAT(
      log_of({"filter", "ICCProfile=sRGB", "ICCProfile=ICCPROFILE (mine)", "ICCProfile=junk"}),
      HasSubstr("    PPD option: ICCProfile=ICCPROFILE (mine)\n"
                "K905-1: Parsing ICC option value: ICCPROFILE (mine)\n"
                "K905-1: Extracted ICC profile name: mine\n"
                "K905-1: Searching for ICC profile: mine\n"
                "K905-1: Found ICC profile at: ./mine.icc\n"
                "      -> ICC Profile from command line: mine\n"
                "  Arg[3]: ICCProfile=junk\n"));
  EXPECT_STREQ(current_options.icc_profile_name, "mine");
  EXPECT_STREQ(current_options.icc_profile_path, "./mine.icc");
  EXPECT_EQ(current_options.icc_enabled, 1);
}

TEST_F(Flags, SetTheirSettingWithoutALogLineAndConsumeTheNextArgument) {
  EXPECT_EQ(log_of({"filter", "--contrast", "1200", "--saturation", "-20"}),
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: --contrast\n"
            "  Arg[3]: --saturation\n");
  EXPECT_EQ(current_options.contrast, 1200);
  EXPECT_EQ(current_options.saturation, -20);
  log_of({"filter", "--copies", "99999999999", "--icc-intent", std::string(40, 'R')});
  EXPECT_EQ(current_options.copies, INT_MAX);
  EXPECT_EQ(current_options.icc_intent, std::string(31, 'R'));
}

TEST_F(Flags, NoneIsZeroAndTheLastArgumentHasNoValue) {
  log_of({"filter", "--gamma", "None", "--contrast"});
  EXPECT_EQ(current_options.gamma, 0);
  EXPECT_EQ(current_options.contrast, 0);
}

TEST_F(Flags, ValueThatLooksLikeAnArgumentIsStillTheValue) {
  const std::string log = log_of({"filter", "--color-model", "--gamma", "--image-type", "a=b"});
  EXPECT_EQ(log,
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: --color-model\n"
            "  Arg[3]: --image-type\n");
  EXPECT_STREQ(current_options.color_model, "--gamma");
  EXPECT_STREQ(current_options.image_type, "a=b");
  EXPECT_EQ(current_options.gamma, 1000);
}

TEST_F(Flags, FourthArgumentTakesTheOptionStringAsItsValue) {
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

TEST_F(Flags, AreIgnoredInPlaceOfTheOptionStringOrWithAnEqualsSign) {
  log_of({"queue", "1", "me", "t", "1", "--gamma", "1500"});
  EXPECT_EQ(current_options.gamma, 1000);
  log_of(
      {"filter", "--info", "--gamma=1500", "--contrast", "7", "x", "--copies", "2", "--unknown"});
  EXPECT_EQ(current_options.gamma, 1000);
  EXPECT_EQ(current_options.contrast, 7);
  EXPECT_EQ(current_options.copies, 2);
}

TEST_F(Flags, ProfileIsAFileNameNotADialogChoice) {
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

TEST_F(Flags, MissingProfileKeepsTheConversionOfTheQueue) {
  current_options.icc_enabled = 1;
  log_of({"filter", "--icc-profile", "missing"});
  EXPECT_EQ(current_options.icc_enabled, 1);
  log_of({"filter", "--icc-profile", ""});
  EXPECT_STREQ(current_options.icc_profile_name, "");
}

TEST_F(Flags, PaperNameIsConsumedAndNotApplied) {
  const std::string log = log_of({"filter", "--paper-size", "StpGamma=1500", "--gamma", "1200"});
  EXPECT_EQ(log,
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: --paper-size\n"
            "  Arg[3]: --gamma\n");
  EXPECT_EQ(current_options.paper_config, &paper_sizes[9]);
  EXPECT_EQ(current_options.gamma, 1200);
}

TEST_F(ArgumentLoop, LaterArgumentOverridesAnEarlierOneAndTheOptionString) {
  log_of({"filter", "--gamma", "1500", "StpGamma=1200"});
  EXPECT_EQ(current_options.gamma, 1200);
  log_of({"filter", "StpGamma=1200", "--gamma", "1500"});
  EXPECT_EQ(current_options.gamma, 1500);
  log_of_job("ICCProfile=sRGB", {"ICCProfile=AdobeRGB"});
  EXPECT_STREQ(current_options.icc_profile_path, "./AdobeRGB1998.icc");
}

}  // namespace
