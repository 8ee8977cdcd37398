// The built filter queries the built simulator.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>

#include "tests/sim/info_report.h"
#include "tests/support/simulated_printer.h"

namespace {

using std::chrono::milliseconds;

struct QueryResult {
  std::string report;
  milliseconds duration{0};
};

QueryResult ask(const SimulatedPrinter& printer) {
  const auto begin = std::chrono::steady_clock::now();
  const ChildResult child = run_filter({"--info", printer.path()});
  EXPECT_EQ(child.status, 0);
  EXPECT_NE(child.log.find("K905-1: query printer info from " + printer.path() + "\n"),
            std::string::npos);
  return {child.output,
          std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin)};
}

std::string report_of(const std::vector<std::string>& arguments) {
  const SimulatedPrinter printer(arguments);
  return ask(printer).report;
}

TEST(Info, HealthyPrinterGivesTheCompleteReport) { EXPECT_EQ(report_of({}), expected_report()); }

TEST(Info, SuccessiveClientsGetTheSameReport) {
  const SimulatedPrinter printer;
  for (int round = 0; round < 4; ++round) {
    EXPECT_EQ(ask(printer).report, expected_report());
  }
}

TEST(Info, ReportShowsEveryFieldOfThePrinter) {
  EXPECT_EQ(
      report_of(
          {"--model",          "RV-40W",  "--firmware",  "3.07",  "--media",         "PC 6x4 R",
           "--resolution",     "300x600", "--serial",    "W0042", "--color-version", "7",
           "--color-checksum", "00FF",    "--status",    "1000",  "--free-buffers",  "14",
           "--initial",        "700",     "--remaining", "23",    "--life",          "7654321",
           "--matte",          "321",     "--half-size", "46"}),
      "Version = v1.0\r\n"
      "PrintStatus = Cover is open (1000)\r\n"
      "PrintVersion = RV-40W 3.07\r\n"
      "PrintMediaInfo = PC 6x4 R\r\n"
      "PrintHorResolution = 0600\r\n"
      "PrintVerResolution = 0300\r\n"
      "PrintFreeBuff = FBP14 (14)\r\n"
      "PrintInitMediaCount = MQD 0700 (700)\r\n"
      "PrintRemainQuantity = MQT 0023 (23)\r\n"
      "PrintSerialNO = W0042\r\n"
      "PrintVolumeLifeCounter = CL7654321 (7654321)\r\n"
      "PrintHalfSizeMediaCounter = RQT 0046 (46)\r\n"
      "PrintVolumeMatteCounter = CMT 0000321 (321)\r\n"
      "PrintColorControlDataVersion = 7\r\n"
      "PrintColorControlDataChecksum = 00FF\r\n"
      "ActPrintVersion = RV-40W\r\n"
      "ActPrintMediaInfo = 6x4\r\n"
      "ActPrintResolution = 300x600\r\n");
}

TEST(Info, EveryModelIsRecognized) {
  EXPECT_EQ(report_of({"--model", "RS-30"}),
            expected_report({{"PrintVersion", "RS-30 1.00"}, {"ActPrintVersion", "RS-30"}}));
  EXPECT_EQ(report_of({"--model", "RV-40"}),
            expected_report({{"PrintVersion", "RV-40 1.00"},
                             {"PrintRemainQuantity", "MQT 0400 (400)"},
                             {"PrintHalfSizeMediaCounter", "RQT 0000 (0)"},
                             {"ActPrintVersion", "RV-40"}}));
}

TEST(Info, UnansweredQuestionTakesItsTimeoutAndIsLeftEmpty) {
  const SimulatedPrinter printer({"--fault", "silent", "--fault-on", "FREE_PBUFFER"});
  const QueryResult query = ask(printer);
  EXPECT_EQ(query.report, expected_report({{"PrintFreeBuff", " (-1)"}}));
  EXPECT_GE(query.duration, milliseconds(1500));
}

TEST(Info, SlowPrinterIsWaitedFor) {
  const SimulatedPrinter printer({"--fault", "slow", "--delay", "15"});
  const QueryResult query = ask(printer);
  EXPECT_EQ(query.report, expected_report());
  EXPECT_GE(query.duration, milliseconds(13 * 2 * 15));
}

TEST(Info, SplitLineEndsShiftEveryAnswerByOneQuestion) {
  // The reply to STATUS ends at its CR. FVER gets only the LF, MEDIA gets the reply to FVER,
  // RESOLUTION_H its LF, and so on: seven replies for thirteen questions.
  EXPECT_EQ(report_of({"--fault", "split", "--delay", "200"}),
            expected_report({
                {"PrintVersion", ""},
                {"PrintMediaInfo", "K905 1.00"},
                {"PrintHorResolution", ""},
                {"PrintVerResolution", "6x8"},
                {"PrintFreeBuff", " (-1)"},
                {"PrintInitMediaCount", "0300 (-1)"},
                {"PrintRemainQuantity", " (-1)"},
                {"PrintSerialNO", "0300"},
                {"PrintVolumeLifeCounter", " (-1)"},
                {"PrintVolumeMatteCounter", "FBP02 (-1)"},
                {"PrintColorControlDataVersion", ""},
                {"PrintColorControlDataChecksum", "MQD 0400"},
                {"ActPrintVersion", ""},
                {"ActPrintMediaInfo", ""},
                {"ActPrintResolution", ""},
            }));
}

TEST(Info, SplitLineEndDoesNotReachTheNextClient) {
  const SimulatedPrinter printer(
      {"--fault", "split", "--fault-on", "CTRLD_CHKSUM", "--delay", "50"});
  EXPECT_EQ(ask(printer).report, expected_report());
  EXPECT_EQ(ask(printer).report, expected_report());
}

TEST(Info, TruncatedAnswerIsUsed) {
  const SimulatedPrinter printer({"--fault", "cut", "--fault-on", "FREE_PBUFFER"});
  const QueryResult query = ask(printer);
  EXPECT_EQ(query.report, expected_report({{"PrintFreeBuff", "FB (-1)"}}));
  EXPECT_GE(query.duration, milliseconds(1500));
}

TEST(Info, RestOfAnOverlongAnswerIsNotReadByTheNextClient) {
  const SimulatedPrinter printer({"--fault", "long", "--fault-on", "CTRLD_CHKSUM"});
  for (int round = 0; round < 2; ++round) {
    // 63 characters fit: four of the reply and 59 more.
    EXPECT_EQ(ask(printer).report,
              expected_report({{"PrintColorControlDataChecksum", "A5C3" + std::string(59, 'x')}}));
  }
}

TEST(Info, OverlongAnswersGiveACompleteReport) {
  // STATUS reads 127 of its 302 bytes; FVER gets the next 127.
  const std::string report = report_of({"--fault", "long"});
  EXPECT_TRUE(report.starts_with("Version = v1.0\r\nPrintStatus = Idling (0)\r\nPrintVersion = " +
                                 std::string(127, 'x') + "\r\nPrintMediaInfo = x"))
      << report;
  EXPECT_NE(report.find("\r\nActPrintResolution = "), std::string::npos);
  EXPECT_TRUE(report.ends_with("\r\n"));
}

TEST(Info, GarbageIsReadAsTextUpToItsNul) {
  // Seven characters before the NUL, fifteen bytes with the line end. The status and the free
  // buffers need five and are 0, because these are not digits. The other numbers are -1;
  // for the remaining quantity 50 is subtracted from that.
  const std::string text = "\x1b\xff\x80%s\t?";
  EXPECT_EQ(report_of({"--fault", "garbage"}), expected_report({
                                                   {"PrintVersion", text},
                                                   {"PrintMediaInfo", text},
                                                   {"PrintHorResolution", text},
                                                   {"PrintVerResolution", text},
                                                   {"PrintFreeBuff", text + " (0)"},
                                                   {"PrintInitMediaCount", text + " (-1)"},
                                                   {"PrintRemainQuantity", text + " (-51)"},
                                                   {"PrintSerialNO", text},
                                                   {"PrintVolumeLifeCounter", text + " (-1)"},
                                                   {"PrintVolumeMatteCounter", text + " (-1)"},
                                                   {"PrintColorControlDataVersion", text},
                                                   {"PrintColorControlDataChecksum", text},
                                                   {"ActPrintVersion", ""},
                                                   {"ActPrintMediaInfo", ""},
                                                   {"ActPrintResolution", ""},
                                               }));
}

TEST(Info, BusyPrinterIsWaitedFor) {
  const SimulatedPrinter printer({"--fault", "busy", "--delay", "250"});
  const QueryResult query = ask(printer);
  EXPECT_EQ(query.report, expected_report());
  EXPECT_GE(query.duration, milliseconds(250));
}

TEST(Info, MissingDeviceEndsWithStatusOneAndItsMessage) {
  const ChildResult child = run_filter({"--info", "/nonexistent/lp0"});
  EXPECT_EQ(child.status, 1);
  EXPECT_EQ(child.output, "");
  EXPECT_TRUE(
      child.log.ends_with("K905-1: query printer info from /nonexistent/lp0\n"
                          "K905-1: open('/nonexistent/lp0') failed: No such file or directory\n"))
      << child.log;
}

TEST(Info, WithoutADeviceTheFirstUsbPrinterIsQueried) {
  if (access("/dev/usb/lp0", F_OK) == 0) {
    GTEST_SKIP() << "there is a printer at /dev/usb/lp0";
  }
  const ChildResult child = run_filter({"--info"});
  EXPECT_EQ(child.status, 1);
  EXPECT_EQ(child.output, "");
  EXPECT_TRUE(
      child.log.ends_with("K905-1: query printer info from /dev/usb/lp0\n"
                          "K905-1: open('/dev/usb/lp0') failed: No such file or directory\n"))
      << child.log;
}

TEST(Info, InfoAsSecondArgumentIsNotAQuery) {
  const SimulatedPrinter printer;
  const ChildResult child = run_filter({"1", "--info", printer.path()});
  EXPECT_EQ(child.status, 1);  // an empty raster stream cannot be opened
  EXPECT_EQ(child.output, "");
  EXPECT_EQ(child.log.find("query printer info"), std::string::npos);
}

TEST(Info, InfoWithAnEqualsSignIsAQuery) {
  const SimulatedPrinter printer;
  const ChildResult child = run_filter({"--info=now", printer.path()});
  EXPECT_EQ(child.status, 0);
  EXPECT_EQ(child.output, expected_report());
}

TEST(Info, ArgumentsAfterTheDeviceAreIgnored) {
  const SimulatedPrinter printer;
  const ChildResult child = run_filter({"--info", printer.path(), "title", "1", "", "more"});
  EXPECT_EQ(child.status, 0);
  EXPECT_EQ(child.output, expected_report());
}

}  // namespace
