// The words on k905-print's command line against the table of options.
#include "apps/base/choices.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;

TEST(Choices, ChoicesOfTheTableAreGood) {
  std::string error;
  EXPECT_TRUE(check_choice("StpLaminate", "Matte", error));
  EXPECT_TRUE(check_choice("StpBrightness", "-500", error));
  EXPECT_TRUE(check_choice("PageSize", "w432h576-div4", error));
  EXPECT_TRUE(check_choice("ICCProfile", "/srv/profiles/mine.icc", error));
  EXPECT_EQ(error, "");
}

TEST(Choices, AnythingElseIsToldWithWhatThereIs) {
  std::string error;
  EXPECT_FALSE(check_choice("StpLaminate", "matte", error));
  EXPECT_EQ(error, "StpLaminate is one of Glossy, Matte, not \"matte\"");
  EXPECT_FALSE(check_choice("PageSize", "A4", error));
  EXPECT_THAT(error, HasSubstr("w288h432, w288h432-div2"));
  EXPECT_FALSE(check_choice("Laminate", "Matte", error));
  EXPECT_THAT(error, HasSubstr("there is no option \"Laminate\", but PageSize, ColorModel, "));
  EXPECT_FALSE(check_choice("Laminate", "", error));
}

TEST(Choices, AProfileIsOneWord) {
  std::string error;
  EXPECT_FALSE(check_choice("ICCProfile", "two words.icc", error));
  EXPECT_FALSE(check_choice("ICCProfile", "", error));
  EXPECT_FALSE(check_choice("ICCProfile", "a\nb", error));
}

TEST(Choices, APaperIsKnownByBothNames) {
  EXPECT_EQ(page_size_name("6x8"), "w432h576");
  EXPECT_EQ(page_size_name("w432h576"), "w432h576");
  EXPECT_EQ(page_size_name("default"), "");
  EXPECT_EQ(page_size_name(""), "");
}

TEST(Choices, DefaultsAreWhatTheQueueStartsWith) {
  const Choices choices = default_choices();
  EXPECT_EQ(choices.at("PageSize"), "w288h432");
  EXPECT_EQ(choices.at("StpLaminate"), "Glossy");
  EXPECT_EQ(choices.at("BleedTop"), "0.0");
}

}  // namespace
