// Arguments of the filter. tests/jobs/reference_test.cpp checks the reference against values
// computed by hand.
#include "settings/job_arguments.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/settings/settings_check.h"
#include "tests/support/environment_guard.h"
#include "tests/support/reference_state.h"

namespace {

using Arguments = std::vector<std::string>;

const std::string kMany(40, 'm');
const std::string kLongName(20000, 'n');
const std::string kLongFile(600, 'n');
// The beginning of this name exists, but a name is never truncated to fit.
const std::string kLongerThanAnyPath(70000, 'n');

// A job as CUPS starts it, with this option string, followed by further arguments.
Arguments job(const std::string& options, const Arguments& further = {}) {
  Arguments arguments{"queue", "17", "me", "title", "1", options};
  arguments.insert(arguments.end(), further.begin(), further.end());
  return arguments;
}

struct Case {
  const char* name;
  Arguments arguments;
};

const Case kCases[] = {
    {"NoArgumentAtAll", {}},
    {"ProgramNameAlone", {"filter"}},
    {"EveryArgumentIsLoggedAndTheOptionStringTwice", job("finishings=3", {"photo.ras"})},
    {"OptionStringIsNotAKeyValueArgument", job("StpGamma=1500")},
    {"LaterKeyValueOverridesAFlag", {"filter", "--gamma", "1500", "StpGamma=1200"}},
    {"LaterFlagOverridesAKeyValue", {"filter", "StpGamma=1200", "--gamma", "1500"}},
    {"ArgumentOverridesTheOptionString", job("ICCProfile=sRGB", {"ICCProfile=AdobeRGB"})},

    // The option string.
    {"ProfileIsTheOnlyOptionOfTheStringThatIsRead",
     job("StpBrightness=500 PageSize=w432h576 BleedTop=1 ICCProfile=sRGB copies=3")},
    {"FirstProfileOfTheStringCounts", job("ICCProfile=sRGB\tICCProfile=AdobeRGB")},
    {"FirstProfileCountsEvenIfItIsUnknown", job("ICCProfile=junk ICCProfile=sRGB")},
    {"EmptyKeysOfTheStringAreSkipped", job("=ICCProfile=mine =x ICCProfile")},
    {"BlanksAndTabsSeparateOptions", job(" \t  a\t\tICCProfile=sRGB  ")},
    {"CommasAndLineBreaksDoNotSeparateOptions", job("a,ICCProfile=sRGB\nICCProfile=sRGB")},
    {"SimilarKeysOfTheStringAreIgnored", job("iccprofile=sRGB ICCProfiles=sRGB noICCProfile=sRGB")},
    {"ProfileMarkerWithABlankIsCutInTheString", job("ICCProfile=ICCPROFILE (mine)")},
    {"ValueOfTheStringMayContainAnEqualsSign", job("ICCProfile=a=b")},
    {"MissingProfileOfTheStringSetsOnlyTheName", job("ICCProfile=PhotoRGB")},
    {"EmptyOptionStringIsNotLogged", job("")},
    {"TwoHundredCharactersOfTheStringAreLoggedAndAllAreRead",
     job(std::string(195, 'x') + " ICCProfile=sRGB")},
    // If the string were cut at its first blank, it would be a flag with the name of a paper.
    {"OptionStringIsNotChanged", job("--paper-size ICCProfile=sRGB", {"6x4"})},

    // KEY=VALUE.
    {"KeyValuesSetTheirSetting",
     {"filter", "StpBrightness=-150", "StpGamma=None", "Resolution=_300x600_"}},
    {"KeyValuesAreTruncatedToTheirField",
     {"filter", "StpContrast=3000000000", "StpGamma=", "Resolution=600dpi",
      "StpLaminate=" + kMany}},
    {"BleedsAreMillimeters",
     {"filter", "BleedTop=1", "BleedLeft=-1", "BleedB=inf", "BleedRight=2.54"}},
    {"BleedsHaveASecondName", {"filter", "BleedA=0.5", "BleedB=1", "BleedC=2.54", "BleedD=-1"}},
    {"SettingsOfTheQueueCannotBeChanged",
     {"filter", "PageSize=True", "PageRegion=True", "ColorBase=Vivid", "StpLegacyDyesubGamma=True",
      "StpNoCutWaste=True", "StpiShrinkOutput=True", "StpCyanGamma=1", "StpMagentaGamma=1",
      "StpYellowGamma=1", "StpCyanBalance=1", "StpMagentaBalance=1", "StpYellowBalance=1",
      "StpLinearContrast=True"}},
    {"KeyValuesAreSplitAtTheFirstEqualsSign", {"filter", "--info=x", "StpGamma=1=2"}},
    {"LastProfileThatIsFoundWins",
     {"filter", "ICCProfile=sRGB", "ICCProfile=ICCPROFILE (mine)", "ICCProfile=junk"}},

    // Flags.
    {"FlagsConsumeTheNextArgument", {"filter", "--contrast", "1200", "--saturation", "-20"}},
    {"FlagValuesAreTruncatedToTheirField",
     {"filter", "--copies", "99999999999", "--icc-intent", kMany, "--image-type", kMany}},
    {"NoneIsZeroForAFlagAndTheLastFlagHasNoValue", {"filter", "--gamma", "None", "--contrast"}},
    {"ValueThatLooksLikeAnArgumentIsStillTheValue",
     {"filter", "--color-model", "--gamma", "--image-type", "a=b"}},
    {"FourthArgumentTakesTheOptionStringAsItsValue",
     {"queue", "1", "me", "t", "--gamma", "1500", "--copies", "2"}},
    {"FlagInPlaceOfTheOptionStringIsIgnored", job("--gamma", {"1500"})},
    {"FlagWithAnEqualsSignIsIgnored",
     {"filter", "--info", "--gamma=1500", "--contrast", "7", "x", "--copies", "2", "--unknown"}},
    {"ProfileFlagTakesAFileNameNotADialogChoice",
     {"filter", "--icc-profile", "AdobeRGB", "--icc-profile", "mine"}},
    {"MissingProfileOfAFlagKeepsThePreviousOne",
     {"filter", "--icc-profile", "mine", "--icc-profile", "missing"}},
    {"EmptyProfileOfAFlagIsNotLookedUp", {"filter", "--icc-profile", ""}},

    // The choices of a print dialog and the marker before a file name.
    {"ChoiceSrgb", {"filter", "ICCProfile=sRGB"}},
    {"ChoiceAdobeRgb", {"filter", "ICCProfile=AdobeRGB"}},
    {"ChoiceAppleRgb", {"filter", "ICCProfile=AppleRGB"}},
    {"ChoicePhotoRgb", {"filter", "ICCProfile=PhotoRGB"}},
    {"ChoiceK905Rgb", {"filter", "ICCProfile=K905RGB"}},
    {"ChoicePmRv", {"filter", "ICCProfile=PM-RV"}},
    {"ChoicePmRs", {"filter", "ICCProfile=PM-RS"}},
    {"ChoiceInLowerCaseIsUnknown", {"filter", "ICCProfile=adobergb"}},
    {"EmptyChoiceIsUnknown", {"filter", "ICCProfile="}},
    {"MarkerNeedsItsBlank", {"filter", "ICCProfile=ICCPROFILE(a)"}},
    {"NameAfterTheMarkerEndsAtTheFirstParenthesis",
     {"filter", "ICCProfile=x ICCPROFILE (my printer.icc) after) more"}},
    {"BlanksOfANameAreKept", {"filter", "ICCProfile=ICCPROFILE ( a )"}},
    {"ChoiceAfterTheMarkerIsAFileName", {"filter", "ICCProfile=ICCPROFILE (sRGB)"}},
    {"MarkerInsideAName", {"filter", "ICCProfile=ICCPROFILE (ICCPROFILE (a)"}},
    {"LongNameIsLoggedCompletely", {"filter", "ICCProfile=ICCPROFILE (" + kLongName + ")"}},
    {"MarkerWithoutItsEnd", {"filter", "ICCProfile=)ICCPROFILE (a"}},
    {"MarkerWithoutAName", {"filter", "ICCProfile=ICCPROFILE ()"}},

    // The search for a profile.
    {"FirstFolderWithTheFileEndsTheSearch", {"filter", "--icc-profile", "two"}},
    {"AbsolutePathIsFound", {"filter", "--icc-profile", "/profiles/a.icc"}},
    {"AbsolutePathIsLookedUpInEveryFolder", {"filter", "--icc-profile", "/profiles/b"}},
    {"RelativeNameIsNotTriedByItself", {"filter", "--icc-profile", "bare.icc"}},
    {"LongPathIsTruncatedInItsField", {"filter", "--icc-profile", kLongFile}},
    {"LongAbsolutePathIsTruncatedInItsField", {"filter", "--icc-profile", "/" + kLongFile}},
    {"NameLongerThanAnyPathIsNotFound", {"filter", "--icc-profile", kLongerThanAnyPath}},

    // --paper-size, which is read in a second pass.
    {"PaperNameIsConsumedAndNotApplied",
     {"filter", "--paper-size", "StpGamma=1500", "--gamma", "1200"}},
    {"PaperFlagWithoutAName", {"filter", "6x4", "--paper-size"}},
    {"FallbackPaperCannotBeChosen", {"filter", "--paper-size", "default"}},
    {"PaperNamesAreComparedExactly",
     {"filter", "--paper-size", "b7", "--paper-size", "6X4", "--paper-size", ""}},
    {"SecondPaperFlagIsTheNameOfTheFirst", {"filter", "--paper-size", "--paper-size", "6x4"}},
    {"LastKnownPaperWins",
     {"filter", "--paper-size", "6x4", "--paper-size", "6x8", "--paper-size", "A4"}},
    {"PaperFlagInPlaceOfTheCopies", {"queue", "1", "me", "t", "--paper-size", "6x6"}},
    {"PaperFlagIsFoundAfterTheSplitAtTheEqualsSign", {"filter", "--paper-size=6x4", "6x8"}},
};

class JobArguments : public testing::TestWithParam<Case> {
 protected:
  SettingsGuard settings_;
};

TEST_P(JobArguments, GiveTheLogAndTheSettingsOfTheReference) {
  expect_like_reference(
      {.arguments = GetParam().arguments,
       .existing_files = {
           "./sRGB.icc", "./mine.icc", "./AdobeRGB1998.icc", "/usr/local/share/color/icc/two.icm",
           "./two", "/profiles/a.icc", "/opt/homebrew/share/color/icc//profiles/b.icm", "bare.icc",
           "./" + kLongFile + ".icc", "/" + kLongFile, "./" + kLongerThanAnyPath.substr(0, 4093),
           "./" + kLongerThanAnyPath.substr(0, 509)}});
}

INSTANTIATE_TEST_SUITE_P(Arguments, JobArguments, testing::ValuesIn(kCases),
                         [](const auto& instance) { return instance.param.name; });

TEST(JobArgumentsAfterAQueue, MissingProfileLeavesTheConversionOfTheQueue) {
  for (const Arguments& arguments :
       {job("ICCProfile=PhotoRGB"), Arguments{"filter", "--icc-profile", "missing"}}) {
    const SettingsGuard settings;
    expect_like_reference(
        {.arguments = arguments, .ppd = PpdDescription{.groups = {{"G", {{"ICCProfile", "q"}}}}}});
  }
}

TEST(JobArgumentsAfterAQueue, ReplaceItsValuesAlsoByTheNeutralOnes) {
  const PpdDescription queue{.groups = {{"G",
                                         {{"Resolution", "300x600dpi"},
                                          {"StpGamma", "1500"},
                                          {"StpContrast", "200"},
                                          {"StpSaturation", "300"},
                                          {"ICCProfile", "q"}}}}};
  for (const Arguments& arguments :
       {Arguments{"filter", "Resolution=600dpi"}, Arguments{"filter", "--icc-profile", ""},
        Arguments{"filter", "StpGamma=None"}, Arguments{"filter", "StpContrast=None"},
        Arguments{"filter", "StpSaturation=None"}}) {
    SCOPED_TRACE(arguments[1]);
    const SettingsGuard settings;
    expect_like_reference({.arguments = arguments, .ppd = queue});
  }
}

TEST(PaperArgument, BothNamesOfEveryPaperChooseIt) {
  for (const reference::Paper& paper : reference::papers()) {
    for (const std::string& name : {paper.name, paper.label}) {
      const SettingsGuard settings;
      expect_like_reference({.arguments = {"filter", "--paper-size", name}});
    }
  }
}

}  // namespace
