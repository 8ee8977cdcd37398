// A state as text and as JSON, whatever bytes the printer sent.
#include "apps/status/show_state.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <regex>

#include "tests/support/build_paths.h"

namespace k905 {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

PrinterState ready() {
  PrinterState printer;
  printer.device = "/dev/usb/lp0";
  printer.state = State::ready;
  printer.report.status_code = 0;
  printer.report.answered = true;
  printer.report.model = "K905";
  printer.report.prints_left = 73;
  return printer;
}

TEST(AsJson, HasAllKeysInOrderAndNullForUnknownValues) {
  EXPECT_EQ(as_json({ready()}),
            "{\"device\": \"/dev/usb/lp0\", \"state\": \"ready\", \"message\": null, "
            "\"status_code\": 0, \"status_text\": \"Idling\", \"model\": \"K905\", "
            "\"media\": null, \"media_text\": null, \"resolution\": null, \"prints_left\": 73, "
            "\"prints_initial\": null, \"half_size_left\": null, \"free_buffers\": null, "
            "\"life_counter\": null, \"matte_counter\": null, \"serial_number\": null, "
            "\"firmware\": null, \"color_data_version\": null, \"color_data_checksum\": null}\n");
}

// Programs rely on the manual page: exactly these keys, in this order.
TEST(AsJson, ManualPageListsTheKeysInTheSameOrder) {
  std::ifstream file(K905_SOURCE_DIR "/docs/man/k905-status.1");
  std::vector<std::string> documented;
  bool in_section = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(".Sh ")) {
      in_section = line == ".Sh JSON";
    } else if (in_section && line.starts_with(".It Li ")) {
      documented.push_back(line.substr(7));
    }
  }
  std::vector<std::string> written;
  const std::string line = as_json({PrinterState{}});
  const std::regex key("\"(\\w+)\": ");
  for (std::sregex_iterator found(line.begin(), line.end(), key), end; found != end; ++found) {
    written.push_back((*found)[1]);
  }
  EXPECT_EQ(documented, written);
  EXPECT_EQ(written.size(), 19U);
}

TEST(AsJson, AnyBytesFromAPrinterBecomeAValidString) {
  PrinterState printer = ready();
  printer.report.serial_number = "a\"b\\c\n\x01\x7f\xff\xc3\xa4";
  EXPECT_THAT(as_json({printer}), HasSubstr("\"serial_number\": "
                                            "\"a\\\"b\\\\c\\n\\u0001\x7f\xEF\xBF\xBD\xc3\xa4\""));
}

TEST(AsJson, EveryStateHasAKeyAndAnExitStatus) {
  const std::vector<std::tuple<State, std::string, int>> states{
      {State::ready, "ready", 0},
      {State::busy, "busy", 0},
      {State::attention, "attention", 1},
      {State::unreachable, "unreachable", 2},
      {State::in_use, "held", 3}};
  for (const auto& [state, word, status] : states) {
    EXPECT_EQ(names_of(state).key, word);
    EXPECT_EQ(names_of(state).exit_status, status);
  }
}

TEST(AsText, StartsWithNameAndState) {
  EXPECT_EQ(as_text({ready()}),
            "/dev/usb/lp0: ready, Idling\n"
            "  status code       0\n"
            "  model             K905\n"
            "  prints left       73\n");
}

TEST(AsText, ReasonReplacesTheStatus) {
  PrinterState printer;
  printer.device = "/dev/usb/lp0";
  printer.message = "No such file or directory";
  EXPECT_EQ(as_text({printer}), "/dev/usb/lp0: not reachable, No such file or directory\n");
}

TEST(AsText, LineBreaksInAReplyBecomeSpaces) {
  PrinterState printer = ready();
  printer.report.model = "K905\r\n  prints left  999";
  EXPECT_THAT(as_text({printer}), HasSubstr("model             K905    prints left  999\n"));
}

TEST(AsText, SeveralPrintersAreATable) {
  PrinterState away;
  away.device = "/dev/usb/lp1";
  away.message = "No such file or directory";
  EXPECT_EQ(as_text({ready(), away}),
            "PRINTER       STATE          LEFT  MEDIA  SERIAL  STATUS\n"
            "/dev/usb/lp0  ready          73    -      -       Idling\n"
            "/dev/usb/lp1  not reachable  -     -      -       No such file or directory\n");
}

TEST(AsJson, SeveralPrintersHaveALineEach) {
  EXPECT_EQ(as_json({ready(), ready()}), as_json({ready()}) + as_json({ready()}));
}

TEST(AsMetrics, EveryMetricIsDescribedOnceAndHasASampleForEachPrinter) {
  PrinterState first = ready();
  first.report.serial_number = "a\"b\\c\nd";
  first.report.life_counter = 1234;
  PrinterState away;
  away.device = "/dev/usb/lp1";
  EXPECT_EQ(
      as_metrics({first, away}),
      "# HELP k905_up Whether the printer's state is known: from the printer, or from a queue "
      "that is printing.\n"
      "# TYPE k905_up gauge\n"
      "k905_up{printer=\"/dev/usb/lp0\",serial=\"a\\\"b\\\\c\\nd\"} 1\n"
      "k905_up{printer=\"/dev/usb/lp1\",serial=\"\"} 0\n"
      "# HELP k905_ready Whether the printer is idle and can print.\n"
      "# TYPE k905_ready gauge\n"
      "k905_ready{printer=\"/dev/usb/lp0\",serial=\"a\\\"b\\\\c\\nd\"} 1\n"
      "k905_ready{printer=\"/dev/usb/lp1\",serial=\"\"} 0\n"
      "# HELP k905_status_code Status code of the printer, 0 when idle, from 1000 on it "
      "needs attention.\n"
      "# TYPE k905_status_code gauge\n"
      "k905_status_code{printer=\"/dev/usb/lp0\",serial=\"a\\\"b\\\\c\\nd\"} 0\n"
      "# HELP k905_prints_left Prints left on the loaded media.\n"
      "# TYPE k905_prints_left gauge\n"
      "k905_prints_left{printer=\"/dev/usb/lp0\",serial=\"a\\\"b\\\\c\\nd\"} 73\n"
      "# HELP k905_life_counter_total Prints that the printer has made.\n"
      "# TYPE k905_life_counter_total counter\n"
      "k905_life_counter_total{printer=\"/dev/usb/lp0\",serial=\"a\\\"b\\\\c\\nd\"} "
      "1234\n");
}

}  // namespace
}  // namespace k905
