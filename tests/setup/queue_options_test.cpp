// -o OPTION=CHOICE of k905-setup against the table of options and the attributes of a CUPS queue.
#include "apps/setup/queue_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace k905;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;
using testing::Pair;

TEST(QueueOptions, ChoicesAreAddedInTheSpellingOfThePpdFile) {
  QueueOptions options;
  EXPECT_EQ(add_option(options, "StpLaminate=Matte"), std::nullopt);
  EXPECT_EQ(add_option(options, "PageSize=10x15"), std::nullopt);
  EXPECT_EQ(add_option(options, "BleedTop=-0.5"), std::nullopt);
  EXPECT_THAT(options.choices, ElementsAre(Pair("BleedTop", "-0.5"), Pair("PageSize", "w288h432"),
                                           Pair("StpLaminate", "Matte")));
}

TEST(QueueOptions, TheLastOfTwoChoicesWins) {
  QueueOptions options;
  EXPECT_EQ(add_option(options, "StpLaminate=Matte"), std::nullopt);
  EXPECT_EQ(add_option(options, "StpLaminate=Glossy"), std::nullopt);
  EXPECT_THAT(options.choices, ElementsAre(Pair("StpLaminate", "Glossy")));
}

TEST(QueueOptions, AttributesOfTheQueueAreSeparatedWithTheirFullText) {
  QueueOptions options;
  EXPECT_EQ(add_option(options, "printer-info=a=b, c"), std::nullopt);
  EXPECT_EQ(add_option(options, "printer-location="), std::nullopt);
  EXPECT_THAT(options.attributes,
              ElementsAre(Pair("printer-info", "a=b, c"), Pair("printer-location", "")));
  EXPECT_TRUE(options.choices.empty());
}

TEST(QueueOptions, UnknownOptionsAreRefusedAndAddNothing) {
  const std::pair<const char*, const char*> wrong[] = {
      {"StpLaminate=Mate", "StpLaminate is one of Glossy, Matte, not \"Mate\""},
      {"StpGama=1200", "unknown option \"StpGama\"; known options: PageSize, "},
      {"Nonsense=5", ", printer-error-policy, printer-is-shared, "},
      {"PageSize=nope", "unknown paper \"nope\"; known papers: 5x3.5 (B7), "},
      {"print-scaling-default=filled", "fill, fit, auto, auto-fit, none, not \"filled\""},
      {"media-default=w288h432", "unknown option \"media-default\""},
      {"=5", "unknown option \"\""},
      {"StpGamma", "not OPTION=CHOICE: \"StpGamma\""},
  };
  QueueOptions options;
  for (const auto& [option, message] : wrong) {
    EXPECT_THAT(add_option(options, option), Optional(HasSubstr(message))) << option;
  }
  EXPECT_TRUE(options.choices.empty());
  EXPECT_TRUE(options.attributes.empty());
}

TEST(QueueOptions, AcceptsOnlyProfilesThatTheModelOffers) {
  QueueOptions rv40{.model = find_model("rv-40")};
  EXPECT_EQ(add_option(rv40, "ICCProfile=pm-rv-wd-251202-5.icm"), std::nullopt);
  EXPECT_EQ(add_option(rv40, "ICCProfile=None"), std::nullopt);
  EXPECT_THAT(add_option(rv40, "ICCProfile=pm-905-wd-251126-5.icm"),
              Optional(HasSubstr("pm-rv-wd-251202-5.icm, None, ByPaper, sRGB.icc")));
  QueueOptions rv40w{.model = find_model("RV-40W")};
  EXPECT_THAT(add_option(rv40w, "ICCProfile=x.icc"),
              Optional(HasSubstr("is one of None, ByPaper, sRGB")));
}

TEST(FindModel, AcceptsKnownNamesInAnyCaseOnly) {
  EXPECT_STREQ(find_model("k905")->name, "K905");
  EXPECT_STREQ(find_model("RS-30")->name, "RS-30");
  EXPECT_EQ(find_model("K906"), nullptr);
  EXPECT_EQ(find_model(""), nullptr);
}

}  // namespace
