// The built simulator prints sheets from its terminal and from the network, until no paper is left.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "apps/image/photo.h"
#include "tests/sim/info_report.h"
#include "tests/support/build_paths.h"
#include "tests/support/child_process.h"
#include "tests/support/raster_builder.h"
#include "tests/support/simulated_printer.h"
#include "tests/support/wire_stream.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string report_from(const SimulatedPrinter& printer) {
  return run_filter({"--info", printer.path()}).output;
}

// The report values after `sheets` glossy sheets.
std::map<std::string, std::string> values_after(int sheets) {
  const auto digits = [](int number) {
    std::string text = std::to_string(number);
    return std::string(4 - text.size(), '0') + text;
  };
  return {{"PrintRemainQuantity",
           "MQT " + digits(450 - sheets) + " (" + std::to_string(400 - sheets) + ")"},
          {"PrintVolumeLifeCounter",
           "CL000" + digits(1234 + sheets) + " (" + std::to_string(1234 + sheets) + ")"}};
}

int connect_to(const std::string& listening_line) {
  const std::string port = listening_line.substr(listening_line.rfind(':') + 1);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(std::stoi(port)));
  const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  EXPECT_EQ(connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  return client;
}

void send_all(int client, const std::string& bytes) {
  ASSERT_EQ(send(client, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
}

// Reads until the printer closes the connection.
std::string receive_all(int client) {
  std::string received;
  char bytes[1024];
  for (ssize_t got = 0; (got = recv(client, bytes, sizeof bytes, 0)) > 0;) {
    received.append(bytes, static_cast<std::size_t>(got));
  }
  return received;
}

// The peak memory of the process so far, in KiB.
long peak_memory_kib(int process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/status");
  for (std::string word; file >> word;) {
    if (word == "VmHWM:") {
      long kib = -1;
      file >> kib;
      return kib;
    }
  }
  return -1;
}

// Sends until all bytes are sent, or none could be sent for `timeout_ms`. Returns the number of
// bytes sent.
std::size_t send_without_reading(int client, const std::string& bytes, int timeout_ms) {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    pollfd ready{.fd = client, .events = POLLOUT, .revents = 0};
    if (poll(&ready, 1, timeout_ms) <= 0) {
      break;
    }
    const ssize_t taken = send(client, bytes.data() + sent, bytes.size() - sent, MSG_DONTWAIT);
    sent += taken > 0 ? static_cast<std::size_t>(taken) : 0;
  }
  return sent;
}

const std::string kStatusQuestion = wire_command("STATUS", "", "        ");

ChildResult run_simulator(const std::vector<std::string>& arguments) {
  ChildSetup setup;
  setup.program = K905_BINARY_DIR "/k905-sim";
  setup.arguments = {"k905-sim"};
  setup.arguments.insert(setup.arguments.end(), arguments.begin(), arguments.end());
  return run_child(setup);
}

TEST(Simulator, FirstLineIsATerminalInRawMode) {
  const SimulatedPrinter printer;
  ASSERT_TRUE(printer.path().starts_with("/dev/pts/")) << printer.path();
  const int terminal = open(printer.path().c_str(), O_RDWR | O_NOCTTY);
  ASSERT_GE(terminal, 0);
  termios mode{};
  ASSERT_EQ(tcgetattr(terminal, &mode), 0);
  EXPECT_EQ(mode.c_lflag & (ECHO | ICANON | ISIG), 0U);
  EXPECT_EQ(mode.c_iflag & (ICRNL | IXON), 0U);
  EXPECT_EQ(mode.c_oflag & OPOST, 0U);
  close(terminal);
}

TEST(Simulator, InterruptAndTerminationEndItCleanly) {
  for (const int signal : {SIGINT, SIGTERM}) {
    SimulatedPrinter printer;
    EXPECT_EQ(printer.end(signal), 0);
  }
}

TEST(Simulator, SheetIsReportedCountedAndSavedUnmirrored) {
  const ScratchFolder folder;
  SimulatedPrinter printer({"--sheets", folder.path() + "/prints"});
  ASSERT_TRUE(printer.send(wire_sheet({})));
  const std::string file = folder.path() + "/prints/sheet-0001.png";
  EXPECT_EQ(printer.next_line(), "sheet 1: 3x2, glossy, cutter 0, " + file + ", 399 left");
  std::string error;
  const std::optional<k905::Picture> picture = k905::read_photo(file, error);
  ASSERT_TRUE(picture) << error;
  // The planes of the sheet are 1 to 6, 11 to 16 and 21 to 26; left and right are exchanged.
  EXPECT_EQ(picture->width, 3U);
  EXPECT_EQ(picture->bytes, (std::vector<std::uint8_t>{3, 13, 23, 2, 12, 22, 1, 11, 21,  //
                                                       6, 16, 26, 5, 15, 25, 4, 14, 24}));
  EXPECT_EQ(report_from(printer), expected_report(values_after(1)));
}

TEST(Simulator, SheetIsSavedWithoutTheMarginsOutsideThePaper) {
  SheetContent sheet;
  sheet.width = 1920;
  sheet.height = 1240;
  sheet.plane.fill(std::vector<std::uint8_t>(std::size_t{1920} * 1240, 77));
  for (const bool canvas : {false, true}) {
    const ScratchFolder folder;
    std::vector<std::string> arguments{"--sheets", folder.path()};
    if (canvas) {
      arguments.emplace_back("--canvas");
    }
    SimulatedPrinter printer(arguments);
    ASSERT_TRUE(printer.send(wire_sheet(sheet)));
    (void)printer.next_line();
    std::string error;
    const auto picture = k905::read_photo(folder.path() + "/sheet-0001.png", error);
    ASSERT_TRUE(picture) << error;
    EXPECT_EQ(picture->width, canvas ? 1920U : 1800U);
    EXPECT_EQ(picture->height, canvas ? 1240U : 1197U);
  }
}

TEST(Simulator, ImagesOfEarlierRunsAreKept) {
  const ScratchFolder folder;
  folder.write("sheet-0001.png", "mine");
  SimulatedPrinter printer({"--sheets", folder.path()});
  ASSERT_TRUE(printer.send(wire_sheet({}) + wire_sheet({})));
  EXPECT_EQ(printer.next_line(),
            "sheet 1: 3x2, glossy, cutter 0, " + folder.path() + "/sheet-0002.png, 399 left");
  EXPECT_EQ(printer.next_line(),
            "sheet 2: 3x2, glossy, cutter 0, " + folder.path() + "/sheet-0003.png, 398 left");
  EXPECT_EQ(folder.read("sheet-0001.png"), "mine");
}

TEST(Simulator, FolderForSheetsThatCannotBeWrittenIsAnErrorAtTheStart) {
  const ScratchFolder folder;
  const std::string file = folder.write("file", "no folder");
  for (const std::string& sheets : {file, file + "/prints", std::string("/proc")}) {
    SimulatedPrinter printer({"--sheets", sheets});
    EXPECT_EQ(printer.path(), "") << sheets;
    EXPECT_EQ(printer.end(SIGTERM), 1) << sheets;
  }
  EXPECT_THAT(run_simulator({"--sheets", file}).log,
              StartsWith("k905-sim: " + file + ": sheets cannot be stored here: "));
}

TEST(Simulator, CheckOfTheFolderForSheetsLeavesNothingInIt) {
  const ScratchFolder folder;
  SimulatedPrinter printer({"--sheets", folder.path() + "/prints"});
  ASSERT_NE(printer.path(), "");
  EXPECT_TRUE(std::filesystem::is_empty(folder.path() + "/prints"));
}

TEST(Simulator, SheetThatCannotBeStoredIsReportedAndTheExitStatusIsOne) {
  const ScratchFolder folder;
  const std::string prints = folder.path() + "/prints";
  SimulatedPrinter printer({"--sheets", prints});
  ASSERT_NE(printer.path(), "");
  std::filesystem::remove(prints);
  folder.write("prints", "in the place of the folder");
  ASSERT_TRUE(printer.send(wire_sheet({})));
  EXPECT_EQ(printer.next_line(), "sheet 1: 3x2, glossy, cutter 0, image not stored, 399 left");
  EXPECT_EQ(printer.end(SIGTERM), 1);
}

TEST(Simulator, MatteSheetsAreCountedSeparately) {
  SimulatedPrinter printer;
  ASSERT_TRUE(printer.send(wire_sheet({.matte = true, .cutter = "00000120"})));
  EXPECT_EQ(printer.next_line(), "sheet 1: 3x2, matte, cutter 120, 399 left");
  auto lines = values_after(1);
  lines["PrintVolumeMatteCounter"] = "CMT 0000057 (57)";
  EXPECT_EQ(report_from(printer), expected_report(lines));
}

TEST(Simulator, FewerPrintsAreLeftAfterASheet) {
  std::mt19937 random(905);
  RasterPage page = blank_page(page_header(1844, 1240));
  fill_with_gradient(page, random);
  ChildSetup job;
  job.program = filter_program();
  job.arguments = {"rastertok905", "1", "user", "title", "1", ""};
  job.environment = {{"PPD", "/nonexistent/queue.ppd"}};
  job.input = raster_stream({page, page});
  const ChildResult printed = run_child(job);
  ASSERT_EQ(printed.status, 0);

  const ScratchFolder folder;
  SimulatedPrinter printer({"--sheets", folder.path()});
  EXPECT_EQ(report_from(printer), expected_report());
  ASSERT_TRUE(printer.send(printed.output));
  EXPECT_TRUE(printer.next_line().starts_with("sheet 1: "));
  EXPECT_TRUE(printer.next_line().starts_with("sheet 2: "));
  EXPECT_EQ(report_from(printer), expected_report(values_after(2)));
}

TEST(Simulator, WithoutPaperItReportsPaperEndAndPrintsNothing) {
  const ScratchFolder folder;
  SimulatedPrinter printer({"--remaining", "1", "--sheets", folder.path()});
  ASSERT_TRUE(printer.send(wire_sheet({})));
  EXPECT_TRUE(printer.next_line().ends_with(" 0 left"));
  ASSERT_TRUE(printer.send(wire_sheet({})));
  EXPECT_EQ(printer.next_line(), "no paper: 3x2, glossy, cutter 0 was not printed");
  EXPECT_EQ(report_from(printer),
            expected_report({{"PrintStatus", "Paper End (1100)"},
                             {"PrintRemainQuantity", "MQT 0050 (0)"},
                             {"PrintVolumeLifeCounter", "CL0001235 (1235)"}}));
  EXPECT_FALSE(std::filesystem::exists(folder.path() + "/sheet-0002.png"));
}

TEST(Simulator, ProtocolErrorIsADataErrorUntilTheNextValidSheet) {
  SimulatedPrinter printer;
  ASSERT_TRUE(printer.send("%!PS-Adobe-3.0 is not what this printer understands\n"));
  EXPECT_TRUE(printer.next_line().starts_with("data error: "));
  EXPECT_EQ(report_from(printer),
            expected_report({{"PrintStatus", "Data error (improper data) (1600)"}}));
  ASSERT_TRUE(printer.send(wire_sheet({})));
  EXPECT_TRUE(printer.next_line().starts_with("sheet 1: "));
  EXPECT_EQ(report_from(printer), expected_report(values_after(1)));
}

TEST(Simulator, DisconnectInsideASheetDoesNotAffectTheNextClient) {
  SimulatedPrinter printer;
  ASSERT_TRUE(printer.send(wire_sheet({}).substr(0, 2000)));
  EXPECT_TRUE(printer.next_line().starts_with("data error: "));
  ASSERT_TRUE(printer.send(wire_sheet({})));
  EXPECT_EQ(printer.next_line(), "sheet 1: 3x2, glossy, cutter 0, 399 left");
}

// Returns when the simulator has processed all events before the call. In every round it serves the
// terminal before the network, and answers one question.
void wait_for_complete_round(int network_client) {
  for (int question = 0; question < 2; ++question) {
    send_all(network_client, kStatusQuestion);
    char reply[7];
    ASSERT_EQ(recv(network_client, reply, sizeof reply, MSG_WAITALL), 7);
  }
}

TEST(Simulator, JobsOfTwoProgramsAtOnceAreADataErrorThatNamesTheReason) {
  SimulatedPrinter printer({"--listen", "0"});
  const int network = connect_to(printer.next_line());
  std::array<int, 2> clients{};
  const std::string sheet = wire_sheet({});
  for (int& client : clients) {
    client = open(printer.path().c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(write(client, sheet.data(), 500), 500);
    wait_for_complete_round(network);
  }
  const std::string line = printer.next_line();
  EXPECT_THAT(line, StartsWith("data error: offset "));
  EXPECT_THAT(line, EndsWith("; 2 programs had the terminal open at the same time, which mixed "
                             "their jobs"));
  for (const int client : clients) {
    ASSERT_EQ(write(client, sheet.data() + 500, sheet.size() - 500),
              static_cast<ssize_t>(sheet.size() - 500));
  }
  // The kernel may report these two events as one.
  close(clients[0]);
  close(clients[1]);
  wait_for_complete_round(network);
  // The next job of a single program is printed, and its errors do not mention other programs.
  ASSERT_TRUE(printer.send(sheet));
  EXPECT_EQ(printer.next_line(), "sheet 1: 3x2, glossy, cutter 0, 399 left");
  ASSERT_TRUE(printer.send(sheet.substr(0, 2000)));
  EXPECT_THAT(printer.next_line(), AllOf(StartsWith("data error: "), Not(HasSubstr("programs"))));
  close(network);
}

TEST(Simulator, ClientThatNeverReadsNeedsLittleMemoryAndLosesNoReply) {
  SimulatedPrinter printer({"--listen", "0", "--fault", "long"});
  const int client = connect_to(printer.next_line());
  constexpr std::size_t kQuestions = 1 << 20;
  std::string questions;
  for (std::size_t i = 0; i < kQuestions; ++i) {
    questions += kStatusQuestion;
  }
  const std::size_t sent = send_without_reading(client, questions, 1000);
  // The replies to all of the questions need 316 million bytes.
  EXPECT_LT(peak_memory_kib(printer.process_id()), 128 * 1024);
  EXPECT_LT(sent, questions.size());
  // The terminal is served meanwhile.
  ASSERT_TRUE(printer.send(wire_sheet({})));
  EXPECT_EQ(printer.next_line(), "sheet 1: 3x2, glossy, cutter 0, 399 left");

  shutdown(client, SHUT_WR);
  EXPECT_EQ(receive_all(client).size(), sent / kStatusQuestion.size() * 302);
  close(client);
}

TEST(Simulator, RepliesToATerminalClientAreDiscardedWhenItCloses) {
  SimulatedPrinter printer({"--listen", "0"});
  const int network = connect_to(printer.next_line());
  const int client = open(printer.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
  std::string questions;
  for (int i = 0; i < 64; ++i) {
    questions += kStatusQuestion;
  }
  // Until the printer accepts no more questions, or 16 million bytes were sent.
  std::size_t taken = 0;
  for (pollfd ready{.fd = client, .events = POLLOUT, .revents = 0};
       taken < (16U << 20) && poll(&ready, 1, 1000) > 0;) {
    const ssize_t written = write(client, questions.data(), questions.size());
    taken += written > 0 ? static_cast<std::size_t>(written) : 0;
  }
  EXPECT_LT(taken, 16U << 20);
  close(client);
  wait_for_complete_round(network);
  EXPECT_EQ(report_from(printer), expected_report());
  close(network);
}

TEST(Simulator, NetworkAcceptsJobsAndQuestionsAndClosesAfterTheClient) {
  SimulatedPrinter printer({"--listen", "0"});
  const std::string listening = printer.next_line();
  ASSERT_TRUE(listening.starts_with("listening on 127.0.0.1:")) << listening;
  for (int round = 1; round <= 2; ++round) {
    const int client = connect_to(listening);
    send_all(client, wire_sheet({}) + kStatusQuestion);
    shutdown(client, SHUT_WR);
    EXPECT_EQ(receive_all(client), "00000\r\n");
    close(client);
    EXPECT_TRUE(printer.next_line().starts_with("sheet " + std::to_string(round) + ": "));
  }
  EXPECT_EQ(report_from(printer), expected_report(values_after(2)));
}

TEST(Simulator, SecondNetworkClientWaitsForTheFirst) {
  SimulatedPrinter printer({"--listen", "0"});
  const std::string listening = printer.next_line();
  const int first = connect_to(listening);
  const int second = connect_to(listening);
  send_all(second, wire_sheet({.width = 1, .height = 1, .plane = {{{1}, {2}, {3}}}}));
  shutdown(second, SHUT_WR);
  send_all(first, wire_sheet({}));
  shutdown(first, SHUT_WR);
  EXPECT_EQ(receive_all(first), "");
  EXPECT_EQ(receive_all(second), "");
  EXPECT_EQ(printer.next_line(), "sheet 1: 3x2, glossy, cutter 0, 399 left");
  EXPECT_EQ(printer.next_line(), "sheet 2: 1x1, glossy, cutter 0, 398 left");
  close(first);
  close(second);
}

TEST(Simulator, StatusIsPrintingWhileASheetIsReceived) {
  SimulatedPrinter printer({"--listen", "0"});
  const int client = connect_to(printer.next_line());
  const std::string sheet = wire_sheet({});
  // Between two planes: one block and one image of 1088 + 6 bytes were sent.
  send_all(client, sheet.substr(0, 32 + 1094) + kStatusQuestion);
  char reply[8] = "";
  ASSERT_EQ(recv(client, reply, 7, MSG_WAITALL), 7);
  EXPECT_STREQ(reply, "00001\r\n");
  send_all(client, sheet.substr(32 + 1094) + kStatusQuestion);
  ASSERT_EQ(recv(client, reply, 7, MSG_WAITALL), 7);
  EXPECT_STREQ(reply, "00000\r\n");
  close(client);
}

TEST(Simulator, StateFileIsCreatedUpdatedAndReadWhileRunning) {
  const ScratchFolder folder;
  const std::string path = folder.path() + "/state";
  SimulatedPrinter printer({"--state", path, "--remaining", "9"});
  ASSERT_TRUE(folder.read("state"));
  EXPECT_NE(folder.read("state")->find("remaining = 9\n"), std::string::npos);

  ASSERT_TRUE(printer.send(wire_sheet({})));
  EXPECT_TRUE(printer.next_line().ends_with(" 8 left"));
  EXPECT_NE(folder.read("state")->find("remaining = 8\nlife = 1235\n"), std::string::npos);

  folder.write("state", "# a user opened it\nstatus = 1000\nremaining = 8\nlife = 1235\n");
  EXPECT_EQ(report_from(printer),
            expected_report({{"PrintStatus", "Cover is open (1000)"},
                             {"PrintRemainQuantity", "MQT 0058 (8)"},
                             {"PrintVolumeLifeCounter", "CL0001235 (1235)"}}));
}

TEST(Simulator, StateFileOfAnEarlierRunIsUsed) {
  const ScratchFolder folder;
  const std::string path = folder.write("state", "media = 6x4\nremaining = 3\n");
  const SimulatedPrinter printer({"--state", path});
  EXPECT_EQ(report_from(printer), expected_report({{"PrintMediaInfo", "6x4"},
                                                   {"PrintRemainQuantity", "MQT 0053 (3)"},
                                                   {"ActPrintMediaInfo", "6x4"}}));
}

TEST(Simulator, WrongArgumentsAreUsageErrors) {
  EXPECT_EQ(run_simulator({"--model", "K906"}).status, 2);
  EXPECT_EQ(run_simulator({"--model", "K906"}).log,
            "k905-sim: --model: 'K906' is not one of: K905, RV-40, RV-40W or RS-30\n"
            "Run with --help for more information.\n");
  EXPECT_EQ(run_simulator({"--fault", "fire"}).status, 2);
  EXPECT_EQ(run_simulator({"--listen", "65536"}).status, 2);
  EXPECT_EQ(run_simulator({"--delay", "-1"}).status, 2);
  EXPECT_EQ(run_simulator({"something"}).status, 2);
}

TEST(Simulator, WrongStateFileIsAUsageErrorThatNamesTheLine) {
  const ScratchFolder folder;
  const std::string path = folder.write("state", "status = 0\nremaining = many\n");
  const ChildResult child = run_simulator({"--state", path});
  EXPECT_EQ(child.status, 2);
  EXPECT_EQ(child.log, "k905-sim: " + path +
                           ", line 2: 'many' is not a number from 0 to 9949\n"
                           "Run with --help for more information.\n");
}

TEST(Simulator, PortInUseIsReported) {
  SimulatedPrinter printer({"--listen", "0"});
  const std::string listening = printer.next_line();
  const std::string port = listening.substr(listening.rfind(':') + 1);
  const ChildResult child = run_simulator({"--listen", port});
  EXPECT_EQ(child.status, 1);
  EXPECT_EQ(child.log, "k905-sim: cannot listen on port " + port + ": Address already in use\n");
}

}  // namespace
