// Papers by all their usual names.
#include "paper/paper_names.h"

#include <gtest/gtest.h>

namespace {

std::string paper_called(const std::string& name) {
  const PaperConfig* paper = find_paper_by_usual_name(name);
  return paper == nullptr ? "" : paper->ppd_name;
}

TEST(PaperNames, InchesCountInEitherDirection) {
  EXPECT_EQ(paper_called("6x4"), "w288h432");
  EXPECT_EQ(paper_called("4x6"), "w288h432");
  EXPECT_EQ(paper_called("4x6in"), "w288h432");
  EXPECT_EQ(paper_called("5x7"), "w360h504");
  EXPECT_EQ(paper_called("7X5"), "w360h504");
  EXPECT_EQ(paper_called("3.5x5"), "B7");
  EXPECT_EQ(paper_called("5x5"), "w360h360");
  EXPECT_EQ(paper_called("6x6"), "w432h432");
  EXPECT_EQ(paper_called("8x6"), "w432h576");
}

TEST(PaperNames, CentimetersAndMillimetersCountAsSold) {
  EXPECT_EQ(paper_called("10x15"), "w288h432");
  EXPECT_EQ(paper_called("15x10cm"), "w288h432");
  EXPECT_EQ(paper_called("102x152mm"), "w288h432");
  EXPECT_EQ(paper_called("9x13"), "B7");
  EXPECT_EQ(paper_called("13x13"), "w360h360");
  EXPECT_EQ(paper_called("13x18"), "w360h504");
  EXPECT_EQ(paper_called("15x15"), "w432h432");
  EXPECT_EQ(paper_called("15x20"), "w432h576");
}

TEST(PaperNames, NamesAndLabelsOfTheTableCount) {
  EXPECT_EQ(paper_called("w432h576-div4"), "w432h576-div4");
  EXPECT_EQ(paper_called("6x2*2"), "w288h432-div2");
  EXPECT_EQ(paper_called("B7"), "B7");
}

TEST(PaperNames, OtherSizesAndWordsAreNone) {
  for (const char* name : {"", "x", "6x", "6x9", "4x6feet", "A4", "default", "0x0", "-6x4", "6x4x2",
                           "8.5x11", "21x29.7cm", "nanxnan", "infxinf"}) {
    EXPECT_EQ(paper_called(name), "") << name;
  }
}

TEST(PaperNames, ListNamesEveryUncutPaperInInchesAndCentimeters) {
  EXPECT_EQ(usual_paper_names(),
            "5x3.5 (13x9), 5x5 (13x13), 5x7 (13x18), 6x4 (15x10), 6x6 (15x15), 6x8 (15x20)");
}

std::string cut_of(const char* name, const char* cut) {
  const PaperConfig* paper = cut_paper(*find_paper_by_ppd_name(name), cut);
  return paper == nullptr ? "" : paper->ppd_name;
}

TEST(PaperNames, CutPapersHaveNamesOfTheirOwn) {
  EXPECT_EQ(cut_of("w288h432", "6x2"), "w288h432-div2");
  EXPECT_EQ(cut_of("w432h576", "6x4"), "w432h576-div2");
  EXPECT_EQ(cut_of("w432h576", "6x2"), "w432h576-div4");
  EXPECT_EQ(cut_of("w432h576", "None"), "w432h576");
}

TEST(PaperNames, PaperThatHasTheSizeOrIsCutAlreadyStaysAsItIs) {
  EXPECT_EQ(cut_of("w288h432", "6x4"), "w288h432");
  EXPECT_EQ(cut_of("w432h576-div4", "6x4"), "w432h576-div4");
}

TEST(PaperNames, OtherPapersCannotBeCut) {
  EXPECT_EQ(cut_of("w360h504", "6x2"), "");
  EXPECT_EQ(cut_of("w432h432", "6x4"), "");
  EXPECT_EQ(cut_of("w432h576", "3x2"), "");
}

}  // namespace
