// The state that a printer's report gives, and the state of a printer that must not be queried.
#include "apps/status/printer_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "apps/backend/job_record.h"
#include "apps/status/show_state.h"
#include "tests/support/environment_guard.h"

namespace k905 {
namespace {

PrinterReport report_with_status(int code) {
  PrinterReport report;
  report.answered = true;
  report.status_code = code;
  return report;
}

TEST(StateOf, FollowsFromTheStatusCode) {
  const auto state = [](int code) { return state_of(report_with_status(code)); };
  EXPECT_EQ(state(0), State::ready);
  EXPECT_EQ(state(900), State::ready);
  EXPECT_EQ(state(1), State::busy);
  EXPECT_EQ(state(500), State::busy);
  EXPECT_EQ(state(2), State::busy);
  EXPECT_EQ(state(1000), State::attention);
  EXPECT_EQ(state(5241), State::attention);
  EXPECT_EQ(state(99999), State::attention);
}

TEST(StateOf, PrinterWithoutAStatusNeedsAttention) {
  PrinterReport report;
  report.answered = true;
  report.status_error = EPROTO;
  EXPECT_EQ(state_of(report), State::attention);
}

TEST(StateOf, PrinterThatAnswersNothingIsNotReachable) {
  EXPECT_EQ(state_of(PrinterReport{}), State::unreachable);
}

Queue booth(const std::string& note) {
  return {.name = "booth",
          .device_uri = "k905:/dev/null",
          .message = "The printer is not connected",
          .note = note,
          .printing = true};
}

TEST(PrintingQueue, StateIsWhatTheBackendLastSaw) {
  const PrinterState printer =
      ask_printer("booth", {booth("status_code=1100;prints_left=0;serial_number=S%3B1")});
  EXPECT_EQ(printer.state, State::attention);
  EXPECT_EQ(printer.report.prints_left, 0);
  EXPECT_EQ(printer.report.serial_number, "S;1");
  EXPECT_EQ(explanation_of(printer), "Paper End, as queue booth last saw it while printing");
  EXPECT_EQ(ask_printer("/dev/null", {booth("status_code=1100")}).state, State::attention);
}

TEST(PrintingQueue, PrinterThatIsIdleBetweenTwoSheetsIsBusy) {
  EXPECT_EQ(ask_printer("booth", {booth("status_code=0")}).state, State::busy);
}

TEST(PrintingQueue, APrinterThatItsBackendCannotReachIsNotReachable) {
  const PrinterState printer = ask_printer("booth", {booth("serial_number=S1")});
  EXPECT_EQ(printer.state, State::unreachable);
  EXPECT_EQ(explanation_of(printer), "The printer is not connected, as queue booth last saw it");
}

TEST(PrintingQueue, WithoutABackendReportThePrinterIsInUse) {
  for (const char* const note : {"", "code=other", "status_code=many;=;;serial_number"}) {
    const PrinterState printer = ask_printer("booth", {booth(note)});
    EXPECT_EQ(printer.state, State::in_use) << note;
    EXPECT_EQ(printer.message, "the print system is printing on it (queue booth)") << note;
  }
}

// A network printer cannot be locked; a query would open a second connection to it.
TEST(NetworkPrinter, IsNotQueriedWhileASheetIsBeingSentToIt) {
  const std::string cache = testing::TempDir() + "k905_status_cache";
  std::filesystem::create_directories(cache);
  const EnvironmentGuard environment("CUPS_CACHEDIR", cache.c_str());
  backend::RecordFolder backend;
  ASSERT_EQ(backend.open(cache + "/k905", -1, -1), 0);
  ASSERT_TRUE(backend.try_lock_printer(*parse_printer_name("127.0.0.1:1")));
  const PrinterState printer = ask_printer("127.0.0.1:1", {});
  EXPECT_EQ(printer.state, State::in_use);
  EXPECT_EQ(printer.message, "the print system is sending a sheet to it");
}

Queue idle(const std::string& uri, const std::string& note) {
  return {.name = "booth", .device_uri = uri, .note = note};
}

TEST(UnreachablePrinter, HasTheSerialNumberOfItsAddress) {
  for (const char* const uri : {"k905://usb/S%201", "usb://K905/K905?serial=S%201"}) {
    const PrinterState printer = ask_printer("booth", {idle(uri, "serial_number=other")});
    EXPECT_EQ(printer.state, State::unreachable);
    EXPECT_EQ(printer.report.serial_number, "S 1");
    EXPECT_THAT(as_metrics({printer}),
                testing::HasSubstr("k905_up{printer=\"booth\",serial=\"S 1\"} 0\n"));
  }
  EXPECT_EQ(ask_printer("S 1", {}).report.serial_number, "S 1");
}

TEST(UnreachablePrinter, HasTheSerialNumberThatItsQueueLastReported) {
  const EnvironmentGuard no_locks("CUPS_CACHEDIR", "/nowhere");
  const std::string note = "status_code=0;prints_left=3;serial_number=S1";
  const PrinterState printer = ask_printer("booth", {idle("k905://127.0.0.1:1", note)});
  EXPECT_EQ(printer.state, State::unreachable);
  EXPECT_EQ(printer.report.serial_number, "S1");
  EXPECT_EQ(printer.report.prints_left, std::nullopt);
  EXPECT_EQ(ask_printer("booth", {idle("socket://127.0.0.1:1", note)}).report.serial_number, "");
}

TEST(IdleQueue, WithARemoteDeviceCannotBeQueried) {
  const Queue queue{.name = "far", .device_uri = "ipp://host/printers/far"};
  const PrinterState printer = ask_printer("far", {queue});
  EXPECT_EQ(printer.state, State::unreachable);
  EXPECT_EQ(printer.message, "the device of this queue cannot be queried: ipp://host/printers/far");
}

}  // namespace
}  // namespace k905
