// All questions to the simulated printer, and the short text form of the report.

#include "device/printer_report.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include "tests/support/simulated_printer.h"

namespace k905 {
namespace {

PrinterReport report_of(const std::vector<std::string>& options) {
  std::signal(SIGPIPE, SIG_IGN);
  const SimulatedPrinter simulated(options);
  Printer printer({.kind = PrinterAddress::Kind::kPath, .name = simulated.path(), .port = ""});
  EXPECT_EQ(printer.open(Printer::Milliseconds(0)), 0);
  return ask_report(printer);
}

TEST(AskReport, EveryFieldIsWhatThePrinterAnswered) {
  const PrinterReport report = report_of(
      {"--model",          "RV-40W",  "--firmware",  "2.10", "--media",         "media 6x4",
       "--resolution",     "300x600", "--serial",    "S1",   "--color-version", "3.0",
       "--color-checksum", "BEEF",    "--status",    "1100", "--free-buffers",  "3",
       "--initial",        "700",     "--remaining", "12",   "--life",          "77",
       "--matte",          "5",       "--half-size", "9"});
  const PrinterReport expected{.status_error = 0,
                               .status_code = 1100,
                               .model = "RV-40W",
                               .media = "6x4",
                               .media_text = "media 6x4",
                               .resolution = "300x600",
                               .serial_number = "S1",
                               .firmware = "RV-40W 2.10",
                               .color_data_version = "3.0",
                               .color_data_checksum = "BEEF",
                               .prints_left = 12,
                               .prints_initial = 700,
                               .half_size_left = 9,
                               .free_buffers = 3,
                               .life_counter = 77,
                               .matte_counter = 5,
                               .answered = true};
  EXPECT_EQ(report, expected);
}

TEST(AskReport, ReplyWithoutItsNumberLeavesOnlyItsFieldEmpty) {
  const PrinterReport status = report_of({"--fault", "garbage", "--fault-on", "STATUS"});
  EXPECT_EQ(status.status_error, EPROTO);
  EXPECT_EQ(status.status_code, std::nullopt);
  EXPECT_EQ(status.life_counter, 1234);
  const PrinterReport left = report_of({"--fault", "garbage", "--fault-on", "MQTY"});
  EXPECT_EQ(left.status_code, 0);
  EXPECT_EQ(left.prints_left, std::nullopt);
  EXPECT_EQ(left.serial_number, "SIM00000001");
}

TEST(AskReport, PrinterThatDoesNotAnswerIsNotAskedEverything) {
  const auto begin = std::chrono::steady_clock::now();
  const PrinterReport report = report_of({"--fault", "silent"});
  EXPECT_FALSE(report.answered);
  EXPECT_EQ(report.status_error, ETIMEDOUT);
  // Two waits of three seconds; waits for all questions would take 37.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(25));
}

TEST(Note, KnownFieldsAreReadBack) {
  PrinterReport report;
  report.answered = true;
  report.status_code = 0;
  report.prints_left = 73;
  report.serial_number = "S;1='\"\\\n%";
  report.media = "6x8";
  const std::string note = to_note(report);
  EXPECT_EQ(note, "status_code=0;media=6x8;prints_left=73;serial_number=S%3B1%3D%27%22%5C%0A%25");
  EXPECT_EQ(parse_note(note), report);
}

TEST(Note, OtherTextIsNotAReport) {
  for (const char* const text : {"", ";", "=", "code=other;index=1", "prints_left=many",
                                 "serial_number=%00", "status_code"}) {
    EXPECT_FALSE(parse_note(text).answered) << text;
  }
}

}  // namespace
}  // namespace k905
