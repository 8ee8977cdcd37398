// Printers that send no reply or an incomplete one: the filter waits for every reply and still
// reports.
#include <gtest/gtest.h>

#include <chrono>

#include "tests/sim/info_report.h"
#include "tests/support/simulated_printer.h"

namespace {

using std::chrono::milliseconds;

struct QueryResult {
  ChildResult child;
  milliseconds duration{0};
};

QueryResult ask(const std::vector<std::string>& arguments) {
  const SimulatedPrinter printer(arguments);
  const auto begin = std::chrono::steady_clock::now();
  QueryResult query;
  query.child = run_filter({"--info", printer.path()});
  query.duration =
      std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin);
  return query;
}

TEST(InfoTimeouts, SilentPrinterTakesThirtySevenAndAHalfSecondsAndGivesAnEmptyReport) {
  const QueryResult query = ask({"--fault", "silent"});
  EXPECT_EQ(query.child.status, 0);
  EXPECT_EQ(query.child.output, report_of({}));
  // Twelve waits of three seconds and one of 1.5 seconds.
  EXPECT_GE(query.duration, milliseconds(37500));
}

TEST(InfoTimeouts, TruncatedAnswersAreUsed) {
  // The first half of each reply, rounded down.
  const QueryResult query = ask({"--fault", "cut"});
  EXPECT_EQ(query.child.output, report_of({{"PrintVersion", "K905"},
                                           {"PrintMediaInfo", "6"},
                                           {"PrintHorResolution", "03"},
                                           {"PrintVerResolution", "03"},
                                           {"PrintFreeBuff", "FB (-1)"},
                                           {"PrintInitMediaCount", "MQD (-1)"},
                                           {"PrintRemainQuantity", "MQT (-1)"},
                                           {"PrintSerialNO", "SIM00"},
                                           {"PrintVolumeLifeCounter", "CL00 (-1)"},
                                           {"PrintVolumeMatteCounter", "CMT 0 (-1)"},
                                           {"PrintColorControlDataVersion", "1."},
                                           {"PrintColorControlDataChecksum", "A5"}}));
  EXPECT_GE(query.duration, milliseconds(37500));
}

TEST(InfoTimeouts, Rv40HasTwelveSecondsToReportItsFreeBuffers) {
  const QueryResult query =
      ask({"--model", "RV-40", "--fault", "silent", "--fault-on", "FREE_PBUFFER"});
  EXPECT_EQ(query.child.output, expected_report({{"PrintVersion", "RV-40 1.00"},
                                                 {"PrintFreeBuff", " (-1)"},
                                                 {"PrintRemainQuantity", "MQT 0400 (400)"},
                                                 {"PrintHalfSizeMediaCounter", "RQT 0000 (0)"},
                                                 {"ActPrintVersion", "RV-40"}}));
  EXPECT_GE(query.duration, milliseconds(12000));
}

}  // namespace
