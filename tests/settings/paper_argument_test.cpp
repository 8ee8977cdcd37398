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

TEST_F(PaperArgument, BothNamesOfEveryPaperChooseIt) {
  for (const PaperConfig& paper : selectable_papers) {
    for (const char* name : {paper.ppd_name, paper.label}) {
      EXPECT_EQ(log_of({"filter", "--paper-size", name}),
                std::string("K905-1: Manual paper selection: ") + paper.ppd_name + " (" +
                    paper.label + ")\n");
      EXPECT_EQ(current_options.paper_config, &paper) << name;
    }
  }
}

TEST_F(PaperArgument, UnknownOrMissingNameChoosesNothing) {
  current_options.paper_config = &paper_sizes[0];
  const std::vector<std::string> lists[] = {{},
                                            {"filter"},
                                            {"filter", "--paper-size"},
                                            {"filter", "6x4", "--paper-size"},
                                            {"filter", "--paper-size", "default"},
                                            {"filter", "--paper-size", "b7"},
                                            {"filter", "--paper-size", "6X4"},
                                            {"filter", "--paper-size", ""},
                                            // The second one is the name that the first one takes.
                                            {"filter", "--paper-size", "--paper-size", "6x4"}};
  for (const std::vector<std::string>& list : lists) {
    EXPECT_EQ(log_of(list), "");
    EXPECT_EQ(current_options.paper_config, &paper_sizes[0]);
  }
}

TEST_F(PaperArgument, LastKnownNameWinsWhereverItIs) {
  EXPECT_EQ(log_of({"filter", "--paper-size", "6x4", "--paper-size", "6x8", "--paper-size", "A4"}),
            "K905-1: Manual paper selection: w288h432 (6x4)\n"
            "K905-1: Manual paper selection: w432h576 (6x8)\n");
  EXPECT_EQ(current_options.paper_config, &paper_sizes[8]);
  EXPECT_EQ(log_of({"queue", "1", "me", "t", "--paper-size", "6x6"}),
            "K905-1: Manual paper selection: w432h432 (6x6)\n");
}

TEST_F(PaperArgument, AfterTheSplitAtTheEqualsSignTheNextArgumentIsTheName) {
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
