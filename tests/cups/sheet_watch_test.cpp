#include "apps/adapter/sheet_watch.h"

#include <gtest/gtest.h>

#include <string>

#include "apps/adapter/cups_log.h"

namespace {

constexpr char kBegin[] = "K905-1: ===== PRINT CALL #1 =====";
constexpr char kEnd[] = "K905-1: Single page printed successfully (print call #1)";
constexpr char kSheetSent[] = "ATTR: job-media-progress=100\nPAGE: 1 1\n";

std::string after_all(SheetWatch& watch, std::initializer_list<const char*> lines) {
  std::string messages;
  for (const char* line : lines) messages += watch.lines_after(line);
  return messages;
}

TEST(SheetWatch, CountsASheetWhenTheFilterHasSentIt) {
  SheetWatch watch;
  EXPECT_EQ(after_all(watch, {kBegin, kEnd}), kSheetSent);
}

TEST(SheetWatch, LeavesTheCountToABackendThatCountsSheets) {
  SheetWatch watch(false);
  EXPECT_EQ(after_all(watch, {kBegin, kEnd}), "ATTR: job-media-progress=100\n");
}

TEST(SheetWatch, NumbersTheSheetsOfAJob) {
  SheetWatch watch;
  EXPECT_EQ(after_all(watch, {kBegin, kEnd}), kSheetSent);
  EXPECT_EQ(after_all(watch, {"K905-1: ===== PRINT CALL #2 =====",
                              "K905-1: Single page printed successfully (print call #2)"}),
            "ATTR: job-media-progress=100\nPAGE: 2 1\n");
}

TEST(SheetWatch, ReportsTheProgressOfASheet) {
  SheetWatch watch;
  EXPECT_EQ(watch.lines_after(kBegin), "");
  EXPECT_EQ(watch.lines_after("K905-1: DEBUG: Sending Y plane (2381888 bytes)"),
            "ATTR: job-media-progress=0\n");
  EXPECT_EQ(watch.lines_after("K905-1: DEBUG: Sending M plane (2381888 bytes)"),
            "ATTR: job-media-progress=33\n");
  EXPECT_EQ(watch.lines_after("K905-1: DEBUG: Sending C plane (2381888 bytes)"),
            "ATTR: job-media-progress=66\n");
}

// The filter logs "printed successfully" in this case too.
TEST(SheetWatch, DoesNotCountASheetWhoseBytesWereLost) {
  for (const char* lost :
       {"K905-1: send Y plane failed", "K905-1: send M plane failed", "K905-1: send C plane failed",
        "K905-1: write error: Broken pipe", "K905-1: write returned 0"}) {
    SheetWatch watch;
    EXPECT_EQ(after_all(watch, {kBegin, lost, kEnd}), "") << lost;
    EXPECT_EQ(after_all(watch, {kBegin, kEnd}), kSheetSent) << "the next sheet is complete";
  }
}

TEST(SheetWatch, DoesNotCountARefusedSheet) {
  SheetWatch watch;
  EXPECT_EQ(
      after_all(watch, {kBegin, "K905-1: ERROR: Invalid image dimensions: 0x0", kBegin, kEnd}),
      kSheetSent);
}

TEST(SheetWatch, ParsesOnlyCompleteLinesOfTheFilter) {
  SheetWatch watch;
  EXPECT_EQ(watch.lines_after(kBegin), "");
  for (const char* line : {
           "  [3]: K905-1: Single page printed successfully (print call #1)",
           "  Arg[3]: K905-1: Single page printed successfully (print call #1)",
           " K905-1: Single page printed successfully (print call #1)",
           "K905-1: Single page printed successfully (print call #1) ",
           "K905-1: Single page printed successfully (print call #1)\r",
           "K905-1: Single page printed successfully (print call #)",
           "K905-1: Single page printed successfully (print call #-1)",
           "K905-1: Single page printed successfully (print call #1x)",
           "K905-1: Single page printed successfully (print call #1",
           "K905-1: DEBUG: Sending Y plane (2381888 bytes) more",
           "K905-1: DEBUG: Sending Y plane ( bytes)",
           "PAGE: 1 1",
           "",
       }) {
    EXPECT_EQ(watch.lines_after(line), "") << line;
  }
}

TEST(SheetWatch, AnEndWithoutABeginningIsNotASheet) {
  SheetWatch watch;
  EXPECT_EQ(watch.lines_after(kEnd), "");
  EXPECT_EQ(after_all(watch, {kBegin, kEnd}), kSheetSent);
  EXPECT_EQ(watch.lines_after(kEnd), "") << "reported twice";
}

TEST(OneLine, TurnsControlCharactersIntoBlanks) {
  EXPECT_EQ(one_line("a\nATTR: b\r\tc\x1b\x7f"), "a ATTR: b  c  ");
}

TEST(OneLine, KeepsOtherBytes) {
  EXPECT_EQ(one_line("K\xc3\xbc"
                     "che 6x4"),
            "K\xc3\xbc"
            "che 6x4");
}

// CUPS treats the part beyond its maximum message length as a new line.
TEST(OneLine, LimitsTheLength) { EXPECT_EQ(one_line(std::string(5000, 'x')).size(), 512U); }

}  // namespace
