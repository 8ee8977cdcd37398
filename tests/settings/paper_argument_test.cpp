#include "settings/paper_argument.h"

#include <gtest/gtest.h>

#include "paper/paper_table.h"
#include "settings/job_arguments.h"
#include "settings/print_options.h"
#include "tests/settings/argument_list.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"

namespace {

class PaperArgument : public testing::Test {
 protected:
  static std::string log_of(std::vector<std::string> arguments) {
    ArgumentList list(std::move(arguments));
    return captured_log([&] { read_paper_argument(list.count(), list.values()); });
  }
  SettingsGuard settings_;
};

TEST_F(PaperArgument, TheShortNameChoosesThePaper) {
  EXPECT_EQ(log_of({"filter", "--paper-size", "6x4"}),
            "K905-1: Manual paper selection: w288h432 (6x4)\n");
  EXPECT_EQ(current_options.paper_config, &paper_sizes[3]);
}

TEST_F(PaperArgument, BothNamesOfEveryPaperChooseIt) {
  const std::pair<const char*, const char*> names[] = {
      {"B7", "5x3.5"},
      {"w360h360", "5x5"},
      {"w360h504", "5x7"},
      {"w288h432", "6x4"},
      {"w288h432-div2", "6x2*2"},
      {"w432h576-div2", "6x4*2"},
      {"w432h576-div4", "6x2*4"},
      {"w432h432", "6x6"},
      {"w432h576", "6x8"},
  };
  for (std::size_t row = 0; row < std::size(names); ++row) {
    const auto [ppd_name, label] = names[row];
    const std::string line =
        std::string("K905-1: Manual paper selection: ") + ppd_name + " (" + label + ")\n";
    for (const char* name : {ppd_name, label}) {
      EXPECT_EQ(log_of({"filter", "--paper-size", name}), line);
      EXPECT_EQ(current_options.paper_config, &paper_sizes[row]) << name;
    }
  }
}

TEST_F(PaperArgument, TheFallbackRowIsNotOffered) {
  current_options.paper_config = &paper_sizes[0];
  EXPECT_EQ(log_of({"filter", "--paper-size", "default"}), "");
  EXPECT_EQ(current_options.paper_config, &paper_sizes[0]);
}

TEST_F(PaperArgument, NamesAreComparedToTheLetter) {
  EXPECT_EQ(log_of({"filter", "--paper-size", "b7", "--paper-size", "6X4", "--paper-size", ""}),
            "");
  EXPECT_EQ(current_options.paper_config, &paper_sizes[9]);
}

TEST_F(PaperArgument, OfSeveralTheLastKnownOneWins) {
  EXPECT_EQ(log_of({"filter", "--paper-size", "6x4", "--paper-size", "6x8", "--paper-size", "A4"}),
            "K905-1: Manual paper selection: w288h432 (6x4)\n"
            "K905-1: Manual paper selection: w432h576 (6x8)\n");
  EXPECT_EQ(current_options.paper_config, &paper_sizes[8]);
}

TEST_F(PaperArgument, LastOfAllArgumentsItIsPassedOver) {
  EXPECT_EQ(log_of({"filter", "--paper-size"}), "");
  EXPECT_EQ(log_of({"filter", "6x4", "--paper-size"}), "");
  EXPECT_EQ(current_options.paper_config, &paper_sizes[9]);
}

TEST_F(PaperArgument, ItsValueIsNeverTakenForTheFlag) {
  // The second --paper-size is the (unknown) name that the first one asks for.
  EXPECT_EQ(log_of({"filter", "--paper-size", "--paper-size", "6x4"}), "");
  EXPECT_EQ(current_options.paper_config, &paper_sizes[9]);
}

TEST_F(PaperArgument, MayStandAnywhereAlsoBesideTheOptionString) {
  EXPECT_EQ(log_of({"queue", "1", "me", "t", "--paper-size", "6x6"}),
            "K905-1: Manual paper selection: w432h432 (6x6)\n");
  EXPECT_EQ(log_of({"queue", "1", "me", "t", "1", "--paper-size", "5x5"}),
            "K905-1: Manual paper selection: w360h360 (5x5)\n");
}

TEST_F(PaperArgument, NeedsMoreThanTheProgramName) {
  EXPECT_EQ(log_of({"filter"}), "");
  EXPECT_EQ(log_of({}), "");
}

TEST_F(PaperArgument, AnEqualsSignIsCutOffBeforeAndTheNextArgumentIsTheName) {
  ArgumentList list({"filter", "--paper-size=6x4", "6x8"});
  EXPECT_EQ(captured_log([&] {
              read_job_arguments(list.count(), list.values());
              read_paper_argument(list.count(), list.values());
            }),
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: --paper-size=6x4\n"
            "    PPD option: --paper-size=6x4\n"
            "  Arg[2]: 6x8\n"
            "K905-1: Manual paper selection: w432h576 (6x8)\n");
  EXPECT_EQ(current_options.paper_config, &paper_sizes[8]);
}

}  // namespace
