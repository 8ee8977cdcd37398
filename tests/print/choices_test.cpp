// The options of k905-print compared with the table of options.
#include "apps/base/choices.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;

TEST(Choices, ChoicesOfTheTableAreAccepted) {
  std::string error;
  EXPECT_TRUE(check_choice("StpLaminate", "Matte", error));
  EXPECT_TRUE(check_choice("StpBrightness", "-500", error));
  EXPECT_TRUE(check_choice("PageSize", "w432h576-div4", error));
  EXPECT_TRUE(check_choice("ICCProfile", "/srv/profiles/mine.icc", error));
  EXPECT_EQ(error, "");
}

TEST(Choices, OtherChoicesAreReportedWithTheKnownOnes) {
  std::string error;
  EXPECT_FALSE(check_choice("StpLaminate", "matte", error));
  EXPECT_EQ(error, "StpLaminate is one of Glossy, Matte, not \"matte\"");
  EXPECT_FALSE(check_choice("PageSize", "A4", error));
  EXPECT_THAT(error, HasSubstr("6x4 (w288h432), 6x2*2 (w288h432-div2)"));
  EXPECT_FALSE(check_choice("Laminate", "Matte", error));
  EXPECT_THAT(error,
              HasSubstr("unknown option \"Laminate\"; known options: PageSize, MediaType, "));
  EXPECT_FALSE(check_choice("Laminate", "", error));
}

TEST(Choices, ProfileNameIsOneWord) {
  std::string error;
  EXPECT_FALSE(check_choice("ICCProfile", "two words.icc", error));
  EXPECT_FALSE(check_choice("ICCProfile", "", error));
  EXPECT_FALSE(check_choice("ICCProfile", "a\nb", error));
}

TEST(Choices, PaperIsAcceptedUnderBothNames) {
  EXPECT_EQ(page_size_name("6x8"), "w432h576");
  EXPECT_EQ(page_size_name("w432h576"), "w432h576");
  EXPECT_EQ(page_size_name("default"), "");
  EXPECT_EQ(page_size_name(""), "");
}

TEST(Choices, PaperIsAcceptedByItsSidesInEitherOrderAndUnit) {
  const std::pair<const char*, const char*> names[] = {
      {"4x6", "w288h432"},
      {"6X4", "w288h432"},
      {"10x15", "w288h432"},
      {"15x10cm", "w288h432"},
      {" 6 x 4 in", "w288h432"},
      {"3.5x5", "B7"},
      {"9x13", "B7"},
      {"13x18", "w360h504"},
      {"7x5in", "w360h504"},
      {"13 x 13 cm", "w360h360"},
      {"15x15", "w432h432"},
      {"8x6", "w432h576"},
      {"20x15", "w432h576"},
      {"2x6*2", "w288h432-div2"},
      {"2x6*4", "w432h576-div4"},
      {"4x6*2", "w432h576-div2"},
      {"6x2in*4", "w432h576-div4"},
  };
  for (const auto& [name, paper] : names) {
    EXPECT_EQ(page_size_name(name), paper) << name;
  }
}

TEST(Choices, SizeOfNoPaperOrOfSeveralIsRefused) {
  // 6x2 strips are cut out of two papers; centimeters are not inches.
  for (const char* name : {"6x2", "2x6", "A4", "6x4cm", "10x15in", "x", "6x", "6x4*3", "5x4"}) {
    EXPECT_EQ(page_size_name(name), "") << name;
  }
}

TEST(Choices, DefaultsAreWhatTheQueueStartsWith) {
  const Choices choices = default_choices();
  EXPECT_EQ(choices.at("PageSize"), "w288h432");
  EXPECT_EQ(choices.at("StpLaminate"), "Glossy");
  EXPECT_EQ(choices.at("BleedTop"), "0.0");
}

}  // namespace
