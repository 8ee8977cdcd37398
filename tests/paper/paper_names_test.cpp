// Papers by all their usual names.
#include "paper/paper_names.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::string paper_called(const std::string& name) {
  const PaperConfig* paper = find_paper_by_usual_name(name);
  return paper == nullptr ? "" : paper->ppd_name;
}

TEST(PaperNames, SizesInInchesCentimetersAndMillimetersFindTheirPaper) {
  const struct {
    const char* paper;
    std::vector<const char*> names;
  } papers[] = {
      {"w288h432", {"6x4", "4x6", "4x6in", " 4 x 6\tin", "10x15", "15x10cm", "102x152mm"}},
      {"w360h504", {"5x7", "7X5", "13x18"}},
      {"B7", {"3.5x5", "9x13", "B7"}},
      {"w360h360", {"5x5", "13x13"}},
      {"w432h432", {"6x6", "15x15"}},
      {"w432h576", {"8x6", "15x20"}},
      {"w432h576-div4", {"w432h576-div4"}},
      {"w288h432-div2", {"6x2*2"}},
      {"",
       {"", "x", "6x", "6x9", "4x6feet", "A4", "default", "0x0", "-6x4", "6x4x2", "6x2*2x", "6x4*0",
        "8.5x11", "21x29.7cm", "nanxnan", "infxinf"}},
  };
  for (const auto& [paper, names] : papers) {
    for (const char* name : names) {
      EXPECT_EQ(paper_called(name), paper) << name;
    }
  }
}

TEST(PaperNames, ListHasEveryUncutPaperInInchesAndCentimeters) {
  EXPECT_EQ(usual_paper_names(),
            "5x3.5 (13x9), 5x5 (13x13), 5x7 (13x18), 6x4 (15x10), 6x6 (15x15), 6x8 (15x20)");
}

TEST(PaperNames, CutOfAPaperIsASeparatePaperOrNone) {
  const char* const cases[][3] = {{"w288h432", "6x2", "w288h432-div2"},
                                  {"w432h576", "6x4", "w432h576-div2"},
                                  {"w432h576", "6x2", "w432h576-div4"},
                                  {"w432h576", "None", "w432h576"},
                                  {"w288h432", "6x4", "w288h432"},
                                  {"w432h576-div4", "6x4", "w432h576-div4"},
                                  {"w360h504", "6x2", ""},
                                  {"w432h432", "6x4", ""},
                                  {"w432h576", "3x2", ""}};
  for (const auto& [name, cut, expected] : cases) {
    const PaperConfig* paper = find_cut_variant(*find_paper_by_ppd_name(name), cut);
    EXPECT_STREQ(paper == nullptr ? "" : paper->ppd_name, expected) << name << " " << cut;
  }
}

}  // namespace
