// k905-status as operators and monitors start it.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <regex>
#include <set>
#include <sstream>

#include "apps/base/descriptor.h"
#include "tests/print/running_program.h"
#include "tests/support/build_paths.h"
#include "tests/support/child_process.h"
#include "tests/support/simulated_printer.h"

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char kProgram[] = K905_BINARY_DIR "/k905-status";

// There is no scheduler and no lock of the backend, so no queue is found and no printer is in use.
std::map<std::string, std::string> environment() {
  return {{"CUPS_SERVER", "/nowhere/cups.sock"},
          {"CUPS_CACHEDIR", "/nowhere"},
          {"PATH", "/usr/bin:/bin"}};
}

ChildSetup setup_for(const std::vector<std::string>& arguments) {
  ChildSetup setup;
  setup.program = kProgram;
  setup.arguments = arguments;
  setup.arguments.insert(setup.arguments.begin(), "k905-status");
  setup.environment = environment();
  return setup;
}

// With all its standard descriptors closed.
int start_status(const std::vector<std::string>& arguments) {
  return start_child(setup_for(arguments), -1, -1, -1);
}

ChildResult status(const std::vector<std::string>& arguments,
                   const std::map<std::string, std::string>& more = {}) {
  ChildSetup setup = setup_for(arguments);
  for (const auto& [name, value] : more) {
    setup.environment[name] = value;
  }
  return run_child(setup);
}

TEST(StatusProgram, ExitsWithZeroForAReadyPrinter) {
  const SimulatedPrinter printer({"--model", "RV-40", "--remaining", "73"});
  const ChildResult result = status({printer.path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, StartsWith(printer.path() + ": ready, Idling\n"));
  EXPECT_THAT(result.output, HasSubstr("\n  model             RV-40\n"));
  EXPECT_THAT(result.output, HasSubstr("\n  prints left       73\n"));
  EXPECT_THAT(result.log, IsEmpty());
}

TEST(StatusProgram, JsonIsOneLine) {
  const SimulatedPrinter printer({"--status", "1100", "--remaining", "0", "--serial", "S \"1\""});
  const ChildResult result = status({"--json", printer.path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output,
              StartsWith("{\"device\": \"" + printer.path() +
                         "\", \"state\": \"attention\", \"message\": null, \"status_code\": 1100, "
                         "\"status_text\": \"Paper End\", \"model\": \"K905\", "));
  EXPECT_THAT(result.output, HasSubstr("\"prints_left\": 0, "));
  EXPECT_THAT(result.output, HasSubstr("\"serial_number\": \"S \\\"1\\\"\", "));
  EXPECT_EQ(result.output.find('\n'), result.output.size() - 1);
}

TEST(StatusProgram, ExitsWithZeroForABusyPrinter) {
  const SimulatedPrinter printer({"--status", "500"});
  const ChildResult result = status({printer.path()});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, StartsWith(printer.path() + ": busy, Head cooling down\n"));
}

TEST(StatusProgram, UnknownCodeIsReportedAsUnknown) {
  const SimulatedPrinter printer({"--status", "4711"});
  const ChildResult result = status({"-j", printer.path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, HasSubstr("\"message\": \"the printer reports an unknown status\", "
                                       "\"status_code\": 4711, \"status_text\": null, "));
}

TEST(StatusProgram, StatusReplyWithoutANumberIsNotReady) {
  const SimulatedPrinter printer({"--fault", "garbage", "--fault-on", "STATUS"});
  const ChildResult result = status({printer.path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(
      result.output,
      StartsWith(printer.path() + ": needs attention, the printer's status reply is not a number\n"
                                  "  model             K905\n"));
  EXPECT_THAT(
      status({"-j", printer.path()}).output,
      HasSubstr("\"state\": \"attention\", \"message\": \"the printer's status reply is not "
                "a number\", \"status_code\": null, \"status_text\": null, "));
  EXPECT_EQ(status({"--wait-ready", "--watch", "0.1", "--timeout", "0.2", printer.path()}).status,
            1);
}

TEST(StatusProgram, ExitsWithTwoForAMissingDevice) {
  const ChildResult result = status({"/nowhere/lp0"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.output, "/nowhere/lp0: not reachable, No such file or directory\n");
  EXPECT_THAT(status({"-j", "/nowhere/lp0"}).output,
              StartsWith("{\"device\": \"/nowhere/lp0\", \"state\": \"unreachable\", "
                         "\"message\": \"No such file or directory\", \"status_code\": null, "));
}

// Each test uses its own terminal, because devices are locked while they are queried.
TEST(StatusProgram, DeviceThatDoesNotAnswerIsNotReachable) {
  const k905::Descriptor other_end(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_EQ(grantpt(other_end.get()) + unlockpt(other_end.get()), 0);
  const std::string path = ptsname(other_end.get());
  const ChildResult result = status({path});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.output, path + ": not reachable, the printer does not answer\n");
}

TEST(StatusProgram, RegularFileIsRefusedAndUnchanged) {
  const ScratchFolder folder;
  const std::string photo = folder.write("photo.jpg", "a photo");
  const ChildResult result = status({photo});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.output,
            photo + ": not reachable, this is not a printer device; nothing was written to it\n");
  EXPECT_EQ(folder.read("photo.jpg"), "a photo");

  const std::string fifo = folder.path() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_EQ(status({fifo}).status, 2);
  EXPECT_EQ(status({folder.path()}).status, 2);
}

TEST(StatusProgram, RunsWithAllStandardDescriptorsClosed) {
  const SimulatedPrinter printer;
  EXPECT_EQ(wait_for_child(start_status({printer.path()})).status, 0);
}

TEST(StatusProgram, SeveralPrintersAreATableAndTheExitStatusIsThatOfTheWorst) {
  const SimulatedPrinter idle({"--serial", "S1"});
  const SimulatedPrinter empty({"--serial", "S2", "--status", "1100", "--remaining", "0"});
  const ChildResult result = status({idle.path(), empty.path(), "/nowhere/lp0", "NOBODY"});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.output,
              ContainsRegex("\n" + idle.path() + " +ready +400 +6x8 +S1 +Idling\n" + empty.path() +
                            " +needs attention +0 +6x8 +S2 +Paper End\n"
                            "/nowhere/lp0 +not reachable "));
  EXPECT_THAT(result.output, HasSubstr("no connected printer has this serial number"));
  EXPECT_EQ(status({idle.path(), empty.path()}).status, 1);
}

TEST(StatusProgram, QueriesANetworkPrinter) {
  SimulatedPrinter printer({"--listen", "0", "--serial", "NET1"});
  const std::string line = printer.next_line();
  const std::string address = line.substr(line.rfind(' ') + 1);
  EXPECT_THAT(status({address}).output, StartsWith(address + ": ready, Idling\n"));
}

// A device file is locked itself, so it needs no lock of the backend.
TEST(StatusProgram, NetworkPrinterWhoseLockCannotBeReadIsNotQueried) {
  const ScratchFolder cache;
  cache.write("k905", "not a folder");
  const std::map<std::string, std::string> unreadable{{"CUPS_CACHEDIR", cache.path()}};
  SimulatedPrinter printer({"--listen", "0"});
  const std::string line = printer.next_line();
  const std::string address = line.substr(line.rfind(' ') + 1);
  const ChildResult result = status({address}, unreadable);
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.output,
            address +
                ": not reachable, only root and the group lp can see whether a sheet is being "
                "sent to it\n");
  EXPECT_EQ(status({printer.path()}, unreadable).status, 0);
}

// Each line is a comment or NAME{LABEL="VALUE",...} NUMBER, and HELP and TYPE come first. Users
// write alerts with these names.
TEST(StatusProgram, MetricsFollowTheTextFormatAndExitWithZero) {
  const SimulatedPrinter idle({"--serial", "S \"1\""});
  const ChildResult result = status({"--metrics", idle.path(), "/nowhere/lp0"});
  EXPECT_EQ(result.status, 0);
  const std::regex sample(R"re((k905_[a-z_]+)\{([a-z]+="([^"\\]|\\.)*",?)*\} [0-9]+)re");
  const std::regex comment("# (HELP|TYPE) (k905_[a-z_]+) .+");
  std::set<std::string> described;
  std::set<std::string> sampled;
  std::istringstream lines(result.output);
  for (std::string line; std::getline(lines, line);) {
    std::smatch match;
    if (std::regex_match(line, match, comment)) {
      EXPECT_FALSE(sampled.contains(match[2])) << line;
      described.insert(match[2]);
    } else {
      ASSERT_TRUE(std::regex_match(line, match, sample)) << line;
      EXPECT_TRUE(described.contains(match[1])) << line;
      sampled.insert(match[1]);
    }
  }
  EXPECT_EQ(sampled, (std::set<std::string>{"k905_up", "k905_ready", "k905_status_code",
                                            "k905_prints_left", "k905_prints_initial",
                                            "k905_free_buffers", "k905_life_counter_total"}));
}

TEST(StatusProgram, WatchReportsRepeatedly) {
  const SimulatedPrinter printer;
  RunningProgram program(kProgram, {"--json", "--watch", "0.1", printer.path()}, environment());
  EXPECT_TRUE(program.wait_for_output("\"state\": \"ready\"", 3));
}

TEST(StatusProgram, WaitingEndsWhenThePrinterIsReady) {
  const ScratchFolder folder;
  const std::string state = folder.path() + "/state";
  const SimulatedPrinter printer({"--state", state, "--status", "1000"});
  RunningProgram program(kProgram, {"--wait-ready", "--watch", "0.2", printer.path()},
                         environment());
  EXPECT_TRUE(program.wait_for_output("k905-status: waiting: Cover is open\n"));
  std::string text = folder.read("state").value_or("");
  const std::size_t at = text.find("status = 1000");
  ASSERT_NE(at, std::string::npos);
  folder.write("state", text.replace(at, 13, "status = 0"));
  EXPECT_EQ(program.wait(), 0);
  // The reason is printed once, however often the printer was queried; then the state.
  EXPECT_EQ(program.output().find("waiting"), program.output().rfind("waiting"));
  EXPECT_THAT(program.output(), HasSubstr(": ready, Idling\n"));
}

TEST(StatusProgram, WaitEndsAfterTheTimeout) {
  const SimulatedPrinter printer({"--status", "1"});
  const ChildResult result =
      status({"--wait-ready", "--watch", "0.2", "--timeout", "0.5", printer.path()});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, StartsWith(printer.path() + ": busy, Printing\n"));
}

TEST(StatusProgram, TimeoutMayBeShorterThanThePauseBetweenQueries) {
  const SimulatedPrinter printer({"--status", "1"});
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(status({"--wait-ready", "--timeout", "1", printer.path()}).status, 1);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
}

TEST(StatusProgram, ExitsWithTwoIfItsOutputCannotBeWritten) {
  const SimulatedPrinter printer;
  const k905::Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"--json", printer.path()},
                                             {"--metrics", printer.path()},
                                             {"--wait-ready", printer.path()},
                                             {"--watch", "0.1", printer.path()}}) {
    const Pipe log = make_pipe();
    const int process = start_child(setup_for(arguments), -1, full.get(), log.write_end);
    close(log.write_end);
    EXPECT_EQ(wait_for_child(process).status, 2) << testing::PrintToString(arguments);
    char text[200];
    const ssize_t got = read(log.read_end, text, sizeof text);
    close(log.read_end);
    EXPECT_EQ(std::string(text, got > 0 ? static_cast<std::size_t>(got) : 0),
              "k905-status: standard output cannot be written: No space left on device\n");
  }
}

TEST(StatusProgram, WatchingEndsWhenItsOutputIsClosed) {
  const SimulatedPrinter printer;
  const Pipe output = make_pipe();
  const int process = start_child(setup_for({"--json", "--watch", "0.1", printer.path()}), -1,
                                  output.write_end, -1);
  close(output.write_end);
  char first = 0;
  EXPECT_EQ(read(output.read_end, &first, 1), 1);
  close(output.read_end);
  EXPECT_EQ(wait_for_child(process).status, 2);
}

TEST(StatusProgram, ExitsWithTwoAndNoOutputOnWrongUsage) {
  for (const std::vector<std::string>& wrong : std::vector<std::vector<std::string>>{
           {"--nonsense"}, {"--json", "--metrics"}, {"--watch", "0"}, {"--timeout", "3"}}) {
    const ChildResult result = status(wrong);
    EXPECT_EQ(result.status, 2) << testing::PrintToString(wrong);
    EXPECT_THAT(result.log, StartsWith("k905-status: "));
    EXPECT_THAT(result.output, IsEmpty());
  }
  EXPECT_EQ(status({"--help"}).status, 0);
}

TEST(StatusProgram, InvalidTimesAreWrongUsage) {
  for (const std::string time : {"nan", "-nan", "NAN(1)", "inf", "-1", "1e300", "soon", ""}) {
    for (const std::vector<std::string>& wrong : std::vector<std::vector<std::string>>{
             {"--wait-ready", "--timeout=" + time, "/nowhere/lp0"},
             {"--watch=" + time, "/nowhere/lp0"}}) {
      ChildSetup setup;
      setup.program = kProgram;
      setup.arguments = wrong;
      setup.arguments.insert(setup.arguments.begin(), "k905-status");
      setup.environment = environment();
      setup.time_limit = std::chrono::seconds(20);
      const ChildResult result = run_child(setup);
      EXPECT_EQ(result.status, 2) << testing::PrintToString(wrong);
      EXPECT_THAT(result.output, IsEmpty());
    }
  }
}

}  // namespace
