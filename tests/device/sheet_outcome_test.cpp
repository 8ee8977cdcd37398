// The rules by which a sheet counts as printed, lost or unknown.
#include "device/sheet_outcome.h"

#include <gtest/gtest.h>

namespace k905 {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using State = SheetOutcome::State;

constexpr int kPrinting = 1;
constexpr int kPaperOut = 1100;
constexpr int kDataError = 1600;
constexpr SheetCounters kBefore{.life = 7, .buffers = 2};
constexpr seconds kSettle{5};

// A sheet that was sent; passes the printer's replies at a given time after that to its outcome.
class SentSheet {
 public:
  explicit SentSheet(bool interrupted, seconds settle = kSettle)
      : outcome_(kBefore, settle, interrupted, start_) {}

  State at(milliseconds time, std::optional<int> life, std::optional<int> status,
           int buffers = kBefore.buffers) {
    const bool is_ready = status && *status != kPaperOut;
    return outcome_.observe(life, status, is_ready, start_ + time, [&] { return buffers; });
  }
  void interrupt_at(milliseconds time) { outcome_.interrupt(start_ + time); }

 private:
  std::chrono::steady_clock::time_point start_;
  SheetOutcome outcome_;
};

TEST(SheetOutcome, IsPrintedWhenTheLifeCounterIncreases) {
  SentSheet sheet(false);
  EXPECT_EQ(sheet.at(seconds(1), 7, kPrinting), State::kUndecided);
  EXPECT_EQ(sheet.at(seconds(20), 8, kPrinting), State::kPrinted);
}

TEST(SheetOutcome, IsPrintedForAnInterruptedSheetWhenTheLifeCounterIncreases) {
  SentSheet sheet(true);
  EXPECT_EQ(sheet.at(seconds(60), 8, 0), State::kPrinted);
}

TEST(SheetOutcome, IsNotPrintedForAnInterruptedSheetOfAnIdlePrinter) {
  SentSheet sheet(true);
  EXPECT_EQ(sheet.at(milliseconds(4999), 7, 0), State::kUndecided);
  EXPECT_EQ(sheet.at(milliseconds(5000), 7, 0), State::kNotPrinted);
}

TEST(SheetOutcome, IsNotPrintedAfterASettleTimeOfMoreThanTwoMinutes) {
  SentSheet sheet(true, seconds(130));
  EXPECT_EQ(sheet.at(seconds(129), 7, 0), State::kUndecided);
  EXPECT_EQ(sheet.at(seconds(131), 7, 0), State::kNotPrinted);
}

TEST(SheetOutcome, IsUnknownWhenItsBufferIsNeverFreeAgain) {
  SentSheet sheet(true);
  EXPECT_EQ(sheet.at(seconds(119), 7, 0, 1), State::kUndecided);
  EXPECT_EQ(sheet.at(seconds(120), 7, 0, 1), State::kUnknown);
}

TEST(SheetOutcome, StaysUndecidedWhileTheSheetIsInABuffer) {
  SentSheet sheet(true);
  EXPECT_EQ(sheet.at(seconds(5), 7, 0, 1), State::kUndecided);
  EXPECT_EQ(sheet.at(seconds(6), 7, 0, 2), State::kNotPrinted);
}

TEST(SheetOutcome, CountsTheIdleTimeFromTheLastSignOfWork) {
  SentSheet sheet(true);
  EXPECT_EQ(sheet.at(seconds(4), 7, kPrinting), State::kUndecided);
  EXPECT_EQ(sheet.at(milliseconds(8999), 7, 0), State::kUndecided);
  EXPECT_EQ(sheet.at(seconds(9), 7, 900), State::kNotPrinted);
}

TEST(SheetOutcome, CountsNoTimeInWhichThePrinterDidNotAnswer) {
  SentSheet sheet(true);
  EXPECT_EQ(sheet.at(seconds(4), std::nullopt, 0), State::kUndecided);
  EXPECT_EQ(sheet.at(seconds(6), 7, std::nullopt), State::kUndecided);
  EXPECT_EQ(sheet.at(seconds(10), 7, 0), State::kUndecided);
  EXPECT_EQ(sheet.at(seconds(11), 7, 0), State::kNotPrinted);
}

TEST(SheetOutcome, IsNotPrintedForASheetOfAPrinterThatNeededAttention) {
  SentSheet sheet(false);
  EXPECT_EQ(sheet.at(seconds(1), 7, kPaperOut), State::kUndecided);
  EXPECT_EQ(sheet.at(seconds(6), 7, 0), State::kNotPrinted);
}

TEST(SheetOutcome, IsNotPrintedAfterALostConnection) {
  SentSheet sheet(false);
  sheet.interrupt_at(seconds(3));
  EXPECT_EQ(sheet.at(seconds(7), 7, 0), State::kUndecided);
  EXPECT_EQ(sheet.at(seconds(8), 7, 0), State::kNotPrinted);
}

// If the sheet were sent again without evidence of its loss, it might be printed twice.
TEST(SheetOutcome, IsUndecidedForTwoMinutesAfterASheetWithoutErrors) {
  SentSheet sheet(false);
  EXPECT_EQ(sheet.at(seconds(119), 7, 0), State::kUndecided);
  EXPECT_EQ(sheet.at(seconds(120), 7, 0), State::kUnknown);
}

TEST(SheetOutcome, IsUnknownWhenThePrinterReportsADataError) {
  SentSheet sheet(false);
  EXPECT_EQ(sheet.at(seconds(4), 7, kDataError), State::kUndecided);
  EXPECT_EQ(sheet.at(seconds(5), 7, kDataError), State::kUnknown);
}

TEST(IsIdleStatus, HoldsForIdleStandbyAndAfterADataError) {
  for (const int code : {0, 900, 1600}) {
    EXPECT_TRUE(is_idle_status(code)) << code;
  }
  for (const int code : {-1, 1, 2, 500, 510, 1000, 1500}) {
    EXPECT_FALSE(is_idle_status(code)) << code;
  }
}

}  // namespace
}  // namespace k905
