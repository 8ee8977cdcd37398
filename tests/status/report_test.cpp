// The parsed report of the filter: known and unknown values.
#include "apps/status/report.h"

#include <gtest/gtest.h>

#include "apps/status/printer_state.h"
#include "tests/support/report_builder.h"

namespace {

// A report with some of its lines changed.
std::string report_with(const ReportValues& changes) {
  const ReportValues whole{
      {"PrintStatus", "Idling (0)"},
      {"PrintVersion", "K905 1.00"},
      {"PrintMediaInfo", "media 6x8"},
      {"PrintHorResolution", "300"},
      {"PrintVerResolution", "300"},
      {"PrintFreeBuff", "FBP02 (2)"},
      {"PrintInitMediaCount", "MQD 0400 (400)"},
      {"PrintRemainQuantity", "MQT 0123 (73)"},
      {"PrintSerialNO", "S1"},
      {"PrintVolumeLifeCounter", "CL0001234 (1234)"},
      {"PrintVolumeMatteCounter", "CLM 0000056 (56)"},
      {"PrintColorControlDataVersion", "1.0"},
      {"PrintColorControlDataChecksum", "A5C3"},
      {"ActPrintVersion", "K905"},
      {"ActPrintMediaInfo", "6x8"},
      {"ActPrintResolution", "300x300"},
  };
  return report_of(changed(whole, changes));
}

PrinterReport parsed(const ReportValues& changes = {}) {
  const auto report = parse_report(report_with(changes));
  EXPECT_TRUE(report);
  return report.value_or(PrinterReport{});
}

TEST(Report, EveryLineIsUnderstood) {
  const PrinterReport report = parsed();
  EXPECT_EQ(report.status_code, 0);
  EXPECT_EQ(report.status_text, "Idling");
  EXPECT_EQ(report.model, "K905");
  EXPECT_EQ(report.media, "6x8");
  EXPECT_EQ(report.media_text, "media 6x8");
  EXPECT_EQ(report.resolution, "300x300");
  EXPECT_EQ(report.serial_number, "S1");
  EXPECT_EQ(report.firmware, "K905 1.00");
  EXPECT_EQ(report.color_data_version, "1.0");
  EXPECT_EQ(report.color_data_checksum, "A5C3");
  EXPECT_EQ(report.prints_left, 73);
  EXPECT_EQ(report.prints_initial, 400);
  EXPECT_EQ(report.half_size_left, std::nullopt);
  EXPECT_EQ(report.free_buffers, 2);
  EXPECT_EQ(report.life_counter, 1234);
  EXPECT_EQ(report.matte_counter, 56);
  EXPECT_TRUE(report.answered);
}

TEST(Report, AStatusWithBracketsKeepsThem) {
  const PrinterReport report =
      parsed({{"PrintStatus", "Ribbon errors (detect error, ribbon break) (1400)"}});
  EXPECT_EQ(report.status_code, 1400);
  EXPECT_EQ(report.status_text, "Ribbon errors (detect error, ribbon break)");
}

// -1 and -51 in the report mean a reply that was too short, 0 for one without digits.
TEST(Report, MissingCounterIsUnknown) {
  EXPECT_EQ(parsed({{"PrintRemainQuantity", "MQT (-51)"}}).prints_left, std::nullopt);
  EXPECT_EQ(parsed({{"PrintRemainQuantity", " (-1)"}}).prints_left, std::nullopt);
  EXPECT_EQ(parsed({{"PrintRemainQuantity", "garbage!! (-50)"}}).prints_left, std::nullopt);
  EXPECT_EQ(parsed({{"PrintStatus", " (-1)"}}).status_code, std::nullopt);
}

TEST(Report, TheReserveOfARollIsNoNegativeCount) {
  EXPECT_EQ(parsed({{"PrintRemainQuantity", "MQT 0049 (-1)"}}).prints_left, 0);
  EXPECT_EQ(parsed({{"PrintRemainQuantity", "MQT 0010 (-40)"}}).prints_left, 0);
}

TEST(Report, LineEndsAndSignsInAReplyDoNoHarm) {
  const PrinterReport report =
      parsed({{"PrintVersion", "a\r\nb = c (1)\r\n"}, {"PrintSerialNO", "x = y"}});
  EXPECT_EQ(report.firmware, "a\r\nb = c (1)\r\n");
  EXPECT_EQ(report.serial_number, "x = y");
  EXPECT_EQ(report.model, "K905");
}

TEST(Report, PartialReportIsRefused) {
  const std::string whole = report_with({});
  EXPECT_FALSE(parse_report(""));
  EXPECT_FALSE(parse_report("hello\r\n"));
  EXPECT_FALSE(parse_report(whole.substr(0, whole.size() - 2)));
  EXPECT_FALSE(parse_report(whole.substr(0, whole.size() / 2)));
}

TEST(StateOf, TheCodeDecides) {
  const auto state = [](const char* status) { return state_of(parsed({{"PrintStatus", status}})); };
  EXPECT_EQ(state("Idling (0)"), State::ready);
  EXPECT_EQ(state("Standby Mode (900)"), State::ready);
  EXPECT_EQ(state("Printing (1)"), State::busy);
  EXPECT_EQ(state("Head cooling down (500)"), State::busy);
  EXPECT_EQ(state(" (2)"), State::busy);
  EXPECT_EQ(state("Cover is open (1000)"), State::attention);
  EXPECT_EQ(state("Duplex unit system error (5241)"), State::attention);
  EXPECT_EQ(state(" (99999)"), State::attention);
}

TEST(StateOf, SomebodyMustLookAtAPrinterThatDoesNotTellItsStatus) {
  EXPECT_EQ(state_of(parsed({{"PrintStatus", " (-1)"}})), State::attention);
}

TEST(StateOf, SilentPrinterIsUnreachable) {
  const auto silence = parse_report(report_of({}));
  ASSERT_TRUE(silence);
  EXPECT_FALSE(silence->answered);
  EXPECT_EQ(state_of(*silence), State::unreachable);
}

}  // namespace
