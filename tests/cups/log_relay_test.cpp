#include "apps/adapter/log_relay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

constexpr char kSheetLog[] =
    "K905-1: ===== PRINT CALL #1 =====\n"
    "K905-1: Printing single page 1920x1240\n"
    "K905-1: Single page printed successfully (print call #1)\n"
    "=== rastertok905 end ===\n";
constexpr char kSheetLogPassedOn[] =
    "K905-1: ===== PRINT CALL #1 =====\n"
    "K905-1: Printing single page 1920x1240\n"
    "K905-1: Single page printed successfully (print call #1)\n"
    "ATTR: job-media-progress=100\n"
    "PAGE: 1 1\n"
    "=== rastertok905 end ===\n";

std::string relayed(const std::string& log, std::size_t piece) {
  LogRelay relay;
  for (std::size_t at = 0; at < log.size(); at += piece) relay.take(log.substr(at, piece));
  relay.finish();
  return std::string(relay.pending());
}

TEST(LogRelay, InsertsItsOwnLinesBetweenThoseOfTheFilter) {
  EXPECT_EQ(relayed(kSheetLog, 4096), kSheetLogPassedOn);
}

TEST(LogRelay, ReadsLinesThatArriveInPiecesOfAnySize) {
  for (std::size_t piece = 1; piece < 80; ++piece) {
    EXPECT_EQ(relayed(kSheetLog, piece), kSheetLogPassedOn) << piece;
  }
}

TEST(LogRelay, PassesEveryByteOn) {
  std::string log;
  for (int i = 0; i < 5000; ++i) log += static_cast<char>((i * 7 + i / 256) & 0xff);
  EXPECT_EQ(relayed(log, 64), log);
}

TEST(LogRelay, KeepsALineWithoutNewlineAtTheEnd) {
  EXPECT_EQ(relayed("dying wor", 4), "dying wor");
}

TEST(LogRelay, HoldsBackAnUnfinishedLineUntilItIsComplete) {
  LogRelay relay;
  relay.take("half a li");
  EXPECT_EQ(relay.pending(), "");
  relay.take("ne\nand");
  EXPECT_EQ(relay.pending(), "half a line\n");
}

TEST(LogRelay, DoesNotHoldBackAVeryLongLine) {
  LogRelay relay;
  relay.take(std::string(20000, 'x'));
  EXPECT_EQ(relay.pending().size(), 20000U);
}

// The rest of a line that was written in two pieces is not the beginning of a line.
TEST(LogRelay, RestOfAVeryLongLineIsNotParsed) {
  const std::string log = std::string(10000, 'x') + kSheetLog;
  LogRelay relay;
  relay.take(std::string(10000, 'x'));
  relay.take("K905-1: ===== PRINT CALL #1 =====\n");
  relay.take("K905-1: Single page printed successfully (print call #1)\n");
  EXPECT_EQ(relay.pending().find("PAGE:"), std::string_view::npos);
}

// Whether a sheet is counted must not depend on how the log is divided into reads.
TEST(LogRelay, VeryLongLineIsNotParsedInPiecesOfAnySize) {
  std::string log = kSheetLog;
  log.insert(log.find("K905-1: Single page"),
             "K905-1: write error: " + std::string(10000, 'x') + "\n");
  std::string passed_on = log;
  passed_on.insert(passed_on.find("=== rastertok905 end"),
                   "ATTR: job-media-progress=100\nPAGE: 1 1\n");
  EXPECT_EQ(relayed(log, log.size()), passed_on);
  EXPECT_EQ(relayed(log, 100), passed_on);
}

TEST(LogRelay, ContinuesAfterTheBytesThatWereWritten) {
  LogRelay relay;
  relay.take("one\ntwo\n");
  relay.written(2);
  EXPECT_EQ(relay.pending(), "e\ntwo\n");
  relay.take("three\n");
  EXPECT_EQ(relay.pending(), "e\ntwo\nthree\n");
  relay.written(relay.pending().size());
  EXPECT_EQ(relay.pending(), "");
  relay.take("four\n");
  EXPECT_EQ(relay.pending(), "four\n");
}

}  // namespace
