// The built simulator with commands that simulate the operator, the cable and the power switch.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>

#include "apps/base/descriptor.h"
#include "tests/support/child_process.h"
#include "tests/support/simulated_printer.h"
#include "tests/support/wire_stream.h"

namespace {

using k905::Descriptor;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

const std::string kStatus = wire_command("STATUS", "", "        ");
const std::string kBuffers = wire_command("INFO", "FREE_PBUFFER", "        ");
const std::string kLife = wire_command("MNT_RD", "COUNTER_LIFE", "        ");
const std::string kPrinted = "3x2, glossy, cutter 0";

// A connection to a port of this machine; a missing reply is a failure and does not hang the test.
class Connection {
 public:
  explicit Connection(int port) : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    const timeval timeout{.tv_sec = 30, .tv_usec = 0};
    setsockopt(socket_.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    error_ = connect(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0
                 ? 0
                 : errno;
  }
  [[nodiscard]] int error() const { return error_; }

  void send(const std::string& bytes) const {
    EXPECT_EQ(::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }
  // The reply without its line end; "" when the printer has closed the connection.
  [[nodiscard]] std::string ask(const std::string& question) const {
    if (!question.empty()) {
      send(question);
    }
    std::string reply;
    char byte = 0;
    while (recv(socket_.get(), &byte, 1, 0) == 1 && byte != '\n') {
      reply += byte;
    }
    return reply.substr(0, reply.find('\r'));
  }
  [[nodiscard]] bool is_closed() const { return ask("").empty(); }

 private:
  Descriptor socket_;
  int error_ = 0;
};

class Interruptions : public testing::Test {
 protected:
  void start(std::vector<std::string> options = {}) {
    options.insert(options.end(), {"--commands", "--listen", "0"});
    printer_ = std::make_unique<SimulatedPrinter>(options);
    const std::string line = printer_->next_line();
    port_ = std::stoi(line.substr(line.rfind(':') + 1));
  }
  [[nodiscard]] Connection connect_to() const { return Connection(port_); }
  void command(const std::string& text) {
    EXPECT_THAT(printer_->command(text), ElementsAre("ok")) << text;
  }
  std::string line() { return printer_->next_line(); }

  std::unique_ptr<SimulatedPrinter> printer_;
  int port_ = 0;
};

TEST_F(Interruptions, UnknownCommandIsAnErrorAndChangesNothing) {
  start();
  EXPECT_THAT(printer_->command("explode"),
              ElementsAre("error: 'explode' is not a command; --help lists all commands"));
  EXPECT_THAT(printer_->command("set remaining many"),
              ElementsAre("error: 'many' is not a number from 0 to 9949"));
  EXPECT_EQ(connect_to().ask(kStatus), "00000");
}

TEST_F(Interruptions, ConnectionIsLostAtTheGivenByte) {
  start();
  const Connection client = connect_to();
  command("disconnect at 1000");
  client.send(wire_sheet({}));
  EXPECT_TRUE(client.is_closed());
  EXPECT_EQ(line(), "disconnected at byte 1000 of sheet 1");
  EXPECT_THAT(line(), StartsWith("data error: offset 1000"));
  const Connection again = connect_to();
  EXPECT_EQ(again.ask(kLife), "CL0001234");
  again.send(wire_sheet({}));
  EXPECT_EQ(line(), "sheet 1: " + kPrinted + ", 399 left");
}

TEST_F(Interruptions, ReceivedSheetIsPrintedAfterALostConnection) {
  start();
  const Connection client = connect_to();
  command("disconnect after 2");
  client.send(wire_sheet({}));
  EXPECT_EQ(line(), "sheet 1: " + kPrinted + ", 399 left");
  EXPECT_EQ(client.ask(kStatus), "00000");
  client.send(wire_sheet({}) + kStatus);
  EXPECT_TRUE(client.is_closed());
  EXPECT_EQ(line(), "sheet 2: " + kPrinted + ", 398 left");
  EXPECT_EQ(line(), "disconnected after sheet 2");
  EXPECT_EQ(connect_to().ask(kLife), "CL0001236");
}

TEST_F(Interruptions, UnpluggedPrinterRefusesConnectionsUntilItIsPluggedIn) {
  start();
  const Connection client = connect_to();
  EXPECT_EQ(client.ask(kStatus), "00000");
  command("unplug");
  EXPECT_TRUE(client.is_closed());
  EXPECT_EQ(connect_to().error(), ECONNREFUSED);
  EXPECT_EQ(printer_->command("plug").back(), "ok");
  EXPECT_EQ(connect_to().ask(kStatus), "00000");
}

TEST_F(Interruptions, PowerCycleKeepsTheCountersAndLosesTheBuffers) {
  start({"--print-time", "600000", "--keep-buffers"});
  const Connection client = connect_to();
  client.send(wire_sheet({}));
  EXPECT_EQ(client.ask(kBuffers), "FBP01");
  EXPECT_EQ(client.ask(kStatus), "00001");
  EXPECT_THAT(
      printer_->command("power cycle"),
      ElementsAre("power off: " + kPrinted + " was not printed", StartsWith("terminal "), "ok"));
  const Connection again = connect_to();
  EXPECT_EQ(again.ask(kBuffers), "FBP02");
  EXPECT_EQ(again.ask(kStatus), "00000");
  EXPECT_EQ(again.ask(kLife), "CL0001234");
}

TEST_F(Interruptions, HeldConnectionAcceptsNoDataUntilItContinues) {
  start();
  const Connection client = connect_to();
  command("hold at 1000");
  client.send(wire_sheet({}) + kStatus);
  EXPECT_EQ(line(), "holding at byte 1000 of sheet 1");
  command("continue");
  EXPECT_EQ(line(), "sheet 1: " + kPrinted + ", 399 left");
  EXPECT_EQ(client.ask(""), "00000");
}

TEST_F(Interruptions, StoppedPrinterLosesItsSheets) {
  start();
  const Connection client = connect_to();
  command("cover open");
  EXPECT_EQ(client.ask(kStatus), "01000");
  client.send(wire_sheet({}));
  EXPECT_EQ(line(), "stopped: " + kPrinted + " was not printed");
  command("cover close");
  EXPECT_EQ(client.ask(kStatus), "00000");
  EXPECT_EQ(client.ask(kLife), "CL0001234");
}

TEST_F(Interruptions, StoppedPrinterWithKeptBuffersPrintsLater) {
  start({"--keep-buffers", "--remaining", "0"});
  const Connection client = connect_to();
  client.send(wire_sheet({}));
  EXPECT_EQ(client.ask(kStatus), "01100");
  EXPECT_EQ(client.ask(kBuffers), "FBP01");
  command("jam");
  EXPECT_THAT(printer_->command("load 6x4 20"),
              ElementsAre("sheet 1: " + kPrinted + ", 19 left", "ok"));
  EXPECT_EQ(client.ask(wire_command("INFO", "MEDIA", "        ")), "6x4");
  EXPECT_EQ(client.ask(kLife), "CL0001235");
}

TEST_F(Interruptions, CountersChangeWhenTheSheetIsPrinted) {
  start({"--print-time", "300"});
  const Connection client = connect_to();
  const auto begin = std::chrono::steady_clock::now();
  client.send(wire_sheet({}));
  EXPECT_EQ(line(), "sheet 1: " + kPrinted + ", 399 left");
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(290));
  EXPECT_EQ(client.ask(kLife), "CL0001235");
}

TEST_F(Interruptions, SheetWithoutAFreeBufferIsNotAccepted) {
  start({"--free-buffers", "1", "--keep-buffers"});
  const Connection client = connect_to();
  command("cover open");
  client.send(wire_sheet({}) + kBuffers);
  EXPECT_EQ(client.ask(""), "FBP00");
  client.send(wire_sheet({}) + kBuffers);
  EXPECT_THAT(printer_->command("cover close"),
              ElementsAre("sheet 1: " + kPrinted + ", 399 left", "ok"));
  EXPECT_EQ(line(), "sheet 2: " + kPrinted + ", 398 left");
  EXPECT_EQ(client.ask(""), "FBP01");
}

TEST_F(Interruptions, DataIsReadAtTheGivenRate) {
  start({"--rate", "20"});
  const Connection client = connect_to();
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < 3; ++i) {
    client.send(wire_sheet({}));  // 3 kB each
  }
  EXPECT_THAT(line(), StartsWith("sheet 1"));
  EXPECT_THAT(line(), StartsWith("sheet 2"));
  EXPECT_THAT(line(), StartsWith("sheet 3"));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(350));
}

TEST_F(Interruptions, LinkPointsToTheCurrentTerminal) {
  const ScratchFolder folder;
  const std::string link = folder.path() + "/lp0";
  start({"--link", link});
  Descriptor client(open(link.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_TRUE(client);
  EXPECT_EQ(printer_->command("unplug").back(), "ok");
  char byte = 0;
  EXPECT_LE(read(client.get(), &byte, 1), 0);
  EXPECT_FALSE(std::filesystem::is_symlink(link));
  client.reset();
  EXPECT_EQ(printer_->command("plug").back(), "ok");
  client.reset(open(link.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  ASSERT_EQ(write(client.get(), kStatus.data(), kStatus.size()),
            static_cast<ssize_t>(kStatus.size()));
  char reply[7];
  EXPECT_EQ(read(client.get(), reply, sizeof reply), 7);
  EXPECT_EQ(printer_->end(SIGTERM), 0);
  EXPECT_FALSE(std::filesystem::is_symlink(link));
}

TEST_F(Interruptions, TraceHasEveryQuestionAndTheBeginningOfSheets) {
  start({"--trace"});
  const Connection client = connect_to();
  const std::string sheet = wire_sheet({});
  client.send(kStatus + sheet.substr(0, 32 + 1094) + kLife);
  EXPECT_EQ(line(), "question STATUS: 00000");
  EXPECT_EQ(line(), "sheet 1 begins");
  EXPECT_EQ(line(), "question COUNTER_LIFE inside a sheet: CL0001234");
}

TEST(SeveralPrinters, EachHasItsOwnPortSerialNumberStateAndFolder) {
  const ScratchFolder folder;
  SimulatedPrinter printers({"--printers", "2", "--listen", "0", "--commands", "--sheets",
                             folder.path() + "/s", "--state", folder.path() + "/state"});
  EXPECT_THAT(printers.path(), StartsWith("printer 1: /dev/pts/"));
  std::vector<int> ports;
  for (int number = 1; number <= 2; ++number) {
    const std::string line = printers.next_line();
    ports.push_back(std::stoi(line.substr(line.rfind(':') + 1)));
    if (number == 1) {
      EXPECT_THAT(printers.next_line(), StartsWith("printer 2: /dev/pts/"));
    }
  }
  const Connection first(ports[0]);
  const Connection second(ports[1]);
  const std::string serial = wire_command("INFO", "SERIAL_NUMBER", "        ");
  EXPECT_EQ(first.ask(serial), "SIM00000001-1");
  EXPECT_EQ(second.ask(serial), "SIM00000001-2");
  EXPECT_THAT(printers.command("2 cover open"), ElementsAre("printer 2: ok"));
  EXPECT_EQ(first.ask(kStatus), "00000");
  EXPECT_EQ(second.ask(kStatus), "01000");
  first.send(wire_sheet({}));
  EXPECT_EQ(printers.next_line(), "printer 1: sheet 1: " + kPrinted + ", " + folder.path() +
                                      "/s/1/sheet-0001.png, 399 left");
  EXPECT_THAT(*folder.read("state.1"), HasSubstr("life = 1235\n"));
  EXPECT_THAT(*folder.read("state.2"), HasSubstr("life = 1234\n"));
}

}  // namespace
