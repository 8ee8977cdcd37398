// The device library with the simulated printer on its pseudo-terminal, and with a scripted printer
// on a socket: replies that the simulator does not give, and lost connections.

#include "device/printer.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "device/printer_session.h"
#include "device/status_reasons.h"
#include "tests/support/simulated_printer.h"

namespace k905 {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kOpenTimeout{5000};

PrinterAddress file(const std::string& path) {
  return {.kind = PrinterAddress::Kind::kPath, .name = path, .port = ""};
}

// Listens on a free port, accepts one client after the other, and handles each in `serve`.
class ScriptedPrinter {
 public:
  explicit ScriptedPrinter(std::vector<std::function<void(int)>> clients)
      : listener_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof place;
    auto* general = reinterpret_cast<sockaddr*>(&place);
    EXPECT_EQ(bind(listener_, general, size), 0);
    EXPECT_EQ(listen(listener_, 5), 0);
    EXPECT_EQ(getsockname(listener_, general, &size), 0);
    port_ = ntohs(place.sin_port);
    thread_ = std::thread([this, clients = std::move(clients)] {
      for (const auto& serve : clients) {
        const int client = accept(listener_, nullptr, nullptr);
        serve(client);
        close(client);
      }
    });
  }
  ~ScriptedPrinter() {
    thread_.join();
    close(listener_);
  }
  ScriptedPrinter(const ScriptedPrinter&) = delete;
  ScriptedPrinter& operator=(const ScriptedPrinter&) = delete;

  [[nodiscard]] PrinterAddress address() const {
    return {
        .kind = PrinterAddress::Kind::kNetwork, .name = "127.0.0.1", .port = std::to_string(port_)};
  }

 private:
  int listener_;
  int port_ = 0;
  std::thread thread_;
};

std::string read_question(int client) {
  std::string block(32, '\0');
  const ssize_t got = recv(client, block.data(), block.size(), MSG_WAITALL);
  return got == 32 ? block : "";
}

void send_reply(int client, const std::string& bytes) {
  EXPECT_EQ(write(client, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

// Replies to questions with these texts in order, and waits for the client to disconnect.
std::function<void(int)> replies(std::vector<std::string> texts) {
  return [texts = std::move(texts)](int client) {
    for (const std::string& text : texts) {
      read_question(client);
      send_reply(client, text);
    }
    read_question(client);
  };
}

class PrinterTest : public testing::Test {
 protected:
  PrinterTest() { std::signal(SIGPIPE, SIG_IGN); }
};

TEST_F(PrinterTest, EveryQuestionIsAnsweredByTheSimulatedPrinter) {
  const SimulatedPrinter simulated({"--remaining", "37", "--initial", "400", "--life", "1234",
                                    "--media", "6x8", "--serial", "K9051234", "--free-buffers",
                                    "2"});
  Printer printer(file(simulated.path()));
  ASSERT_EQ(printer.open(kOpenTimeout), 0);
  EXPECT_EQ(printer.ask(QuestionId::kStatus).number, 0);
  EXPECT_EQ(printer.ask(QuestionId::kFreeBuffers).number, 2);
  EXPECT_EQ(printer.ask(QuestionId::kLifeCounter).number, 1234);
  EXPECT_EQ(printer.ask(QuestionId::kInitialMedia).number, 400);
  EXPECT_EQ(printer.ask(QuestionId::kRemainingMedia).number, 37);
  EXPECT_EQ(printer.ask(QuestionId::kSerialNumber).text, "K9051234");
  EXPECT_EQ(printer.ask(QuestionId::kMedia).text, "6x8");
  EXPECT_EQ(printer.model(), "K905");
}

TEST_F(PrinterTest, OnlyTheRv40ModelsHaveNoReservedPrints) {
  const std::pair<std::string, int> prints_left[] = {
      {"K905", 37}, {"RS-30", 37}, {"RV-40", 87}, {"RV-40W", 87}};
  for (const auto& [model, prints] : prints_left) {
    const ScriptedPrinter scripted({replies({model + " 01.02\r\n", "MQT 0087\r\n"})});
    Printer printer(scripted.address());
    ASSERT_EQ(printer.open(kOpenTimeout), 0);
    EXPECT_EQ(printer.ask(QuestionId::kRemainingMedia).number, prints) << model;
    EXPECT_EQ(printer.model(), model);
  }
}

TEST_F(PrinterTest, SimulatedRv40HasNoReservedPrints) {
  const SimulatedPrinter simulated({"--model", "RV-40", "--remaining", "37"});
  Printer printer(file(simulated.path()));
  ASSERT_EQ(printer.open(kOpenTimeout), 0);
  EXPECT_EQ(printer.ask(QuestionId::kRemainingMedia).number, 37);
  EXPECT_EQ(printer.model(), "RV-40");
}

TEST_F(PrinterTest, ReplyInPiecesIsReadToItsLineEnd) {
  const ScriptedPrinter scripted({[](int client) {
    for (const char* const piece : {"0", "10", "00\r", "\n"}) {
      if (piece[0] == '0' && piece[1] == '\0') {
        read_question(client);
      }
      send_reply(client, piece);
      std::this_thread::sleep_for(milliseconds(5));
    }
    read_question(client);
    send_reply(client, "00001\r\n");
    read_question(client);
  }});
  Printer printer(scripted.address());
  ASSERT_EQ(printer.open(kOpenTimeout), 0);
  EXPECT_EQ(printer.ask(QuestionId::kStatus).number, 1000);
  EXPECT_EQ(printer.ask(QuestionId::kStatus).number, 1);
  printer.close();
}

TEST_F(PrinterTest, ReplyWithoutItsNumberIsAProtocolError) {
  const ScriptedPrinter scripted({replies({"ready\r\n", "0000\r\n", "\r\n", "0x100\r\n"})});
  Printer printer(scripted.address());
  ASSERT_EQ(printer.open(kOpenTimeout), 0);
  for (int question = 0; question < 4; ++question) {
    const Reply reply = printer.ask(QuestionId::kStatus);
    EXPECT_EQ(reply.error, EPROTO);
    EXPECT_EQ(reply.number, -1);
    EXPECT_TRUE(printer.is_open());
  }
  printer.close();
}

TEST_F(PrinterTest, LateReplyIsNotTakenForTheNextOne) {
  std::promise<void> client_gave_up;
  std::promise<void> answered;
  const ScriptedPrinter scripted({[&](int client) {
    read_question(client);
    client_gave_up.get_future().wait();
    send_reply(client, "FBP02\r\n");
    answered.set_value();
    read_question(client);
    send_reply(client, "CL0000123\r\n");
    read_question(client);
  }});
  Printer printer(scripted.address());
  ASSERT_EQ(printer.open(kOpenTimeout), 0);
  EXPECT_EQ(printer.ask(QuestionId::kFreeBuffers).error, ETIMEDOUT);
  EXPECT_TRUE(printer.is_open());
  client_gave_up.set_value();
  answered.get_future().wait();
  EXPECT_EQ(printer.ask(QuestionId::kLifeCounter).number, 123);
  printer.close();
}

TEST_F(PrinterTest, DeviceThatNeverStopsSendingIsNotAPrinter) {
  Printer printer(file("/dev/zero"));
  ASSERT_EQ(printer.open(kOpenTimeout), 0);
  EXPECT_EQ(printer.ask(QuestionId::kStatus).error, EPROTO);
}

TEST_F(PrinterTest, LostConnectionIsClosedAndCanBeReopened) {
  const ScriptedPrinter scripted(
      {[](int client) { read_question(client); }, replies({"00000\r\n"})});
  Printer printer(scripted.address());
  ASSERT_EQ(printer.open(kOpenTimeout), 0);
  EXPECT_EQ(printer.ask(QuestionId::kStatus).error, ECONNRESET);
  EXPECT_FALSE(printer.is_open());
  EXPECT_EQ(printer.ask(QuestionId::kStatus).error, ENOTCONN);
  ASSERT_EQ(printer.open(kOpenTimeout), 0);
  EXPECT_EQ(printer.ask(QuestionId::kStatus).number, 0);
  printer.close();
}

TEST_F(PrinterTest, PiecesArriveInOrder) {
  std::string arrived;
  {
    const ScriptedPrinter scripted({[&arrived](int client) {
      char piece[4096];
      for (ssize_t got = 1; got > 0;) {
        got = read(client, piece, sizeof piece);
        arrived.append(piece, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
      }
    }});
    Printer printer(scripted.address());
    ASSERT_EQ(printer.open(kOpenTimeout), 0);
    const std::vector<std::uint8_t> one(100000, 'a');
    const std::vector<std::uint8_t> two(3, 'b');
    const SendResult sent = printer.send({one, two}, milliseconds(5000), [] { return false; });
    EXPECT_EQ(sent.error, 0);
    EXPECT_EQ(sent.written, 100003U);
    printer.close();
  }
  EXPECT_EQ(arrived, std::string(100000, 'a') + "bbb");
}

TEST_F(PrinterTest, CallerDecidesAboutAStalledSheet) {
  std::promise<void> over;
  const ScriptedPrinter scripted({[&over](int) { over.get_future().wait(); }});
  Printer printer(scripted.address());
  ASSERT_EQ(printer.open(kOpenTimeout), 0);
  const std::vector<std::uint8_t> much(32 << 20);
  int asked = 0;
  const SendResult sent = printer.send({much}, milliseconds(50), [&] {
    EXPECT_EQ(printer.ask(QuestionId::kStatus).error, EBUSY);  // it would be printed as pixels
    return ++asked < 3;
  });
  EXPECT_EQ(sent.error, ETIMEDOUT);
  EXPECT_EQ(asked, 3);
  EXPECT_FALSE(printer.is_open());
  over.set_value();
}

TEST_F(PrinterTest, OpenErrorIsReported) {
  EXPECT_EQ(Printer(file("/no/such/device")).open(kOpenTimeout), ENOENT);
  const std::string photo = testing::TempDir() + "photo.jpg";
  std::ofstream(photo) << "pixels";
  EXPECT_EQ(Printer(file(photo)).open(kOpenTimeout), ENOTTY);
  EXPECT_EQ(Printer({.kind = PrinterAddress::Kind::kSerial, .name = "none", .port = ""},
                    {.devices = "/no/such/folder", .files = "/dev/usb"})
                .open(kOpenTimeout),
            ENODEV);
}

// Replies of a printer with 6x4 media. It does not answer the first `times` questions with the name
// `unanswered`.
std::function<void(int)> ready_printer(std::string unanswered, int times,
                                       const char* status = "00000") {
  return [unanswered = std::move(unanswered), times, status](int client) mutable {
    const std::map<std::string, std::string> texts{{"STATUS", status},
                                                   {"INFO  MEDIA", "6x4"},
                                                   {"INFO  FREE_PBUFFER", "FBP02"},
                                                   {"INFO  SERIAL_NUMBER", "K9051234"},
                                                   {"MNT_RDCOUNTER_LIFE", "CL0001234"}};
    for (std::string asked = read_question(client); !asked.empty(); asked = read_question(client)) {
      std::string name = asked.substr(2, 22);
      name.erase(name.find_last_not_of(' ') + 1);
      if (name == unanswered && times-- > 0) {
        continue;
      }
      send_reply(client, texts.at(name) + "\r\n");
    }
  };
}

TEST_F(PrinterTest, UnansweredMediaQuestionSendsNoSheet) {
  const ScriptedPrinter scripted({ready_printer("INFO  MEDIA", 1)});
  PrinterSession session({.address = scripted.address()}, {});
  SheetCounters counters;
  EXPECT_EQ(session.find_obstacle("6x8", counters).kind, Obstacle::Kind::kUnanswered);
  EXPECT_EQ(session.find_obstacle("6x8", counters).kind, Obstacle::Kind::kMedia);
  EXPECT_EQ(session.find_obstacle("6x4", counters).kind, Obstacle::Kind::kNone);
}

// Without its serial number it would be treated as another printer, and the outcome of a sheet that
// it received would be unknown.
TEST_F(PrinterTest, UnansweredSerialNumberQuestionIsRepeated) {
  const ScriptedPrinter scripted({ready_printer("INFO  SERIAL_NUMBER", 1)});
  PrinterSession session({.address = scripted.address()}, {});
  ASSERT_TRUE(session.wait_until_connected(PrinterSession::Phase::kBeforeSheet));
  EXPECT_EQ(session.identity(), "K9051234");
}

// Records every obstacle until the printer is offline, three at most.
PrinterSession::Owner waiting_until_offline(std::vector<Obstacle>& shown) {
  return {.wait =
              [&shown](auto, const Obstacle& obstacle, auto) {
                shown.push_back(obstacle);
                return std::string_view(obstacle.keyword) != kOffline && shown.size() < 3;
              },
          .opened = nullptr,
          .sent = nullptr};
}

// The last obstacle that is shown after a sheet, by a printer with this status that never answers
// the question for its life counter. Such a printer must not be closed.
Obstacle obstacle_without_a_life_counter(const char* status) {
  const ScriptedPrinter scripted({ready_printer("MNT_RDCOUNTER_LIFE", 20, status)});
  std::vector<Obstacle> shown;
  PrinterSession session({.address = scripted.address()}, waiting_until_offline(shown));
  EXPECT_TRUE(session.wait_until_connected(PrinterSession::Phase::kBeforeSheet));
  EXPECT_EQ(session.find_outcome({.life = 1233, .buffers = 2}, "K9051234", false),
            PrinterSession::Outcome::kUndecided);
  EXPECT_TRUE(session.printer().is_open());
  return shown.back();
}

// Otherwise the job would wait without a reason until it is stopped.
TEST_F(PrinterTest, PrinterWithoutALifeCounterAfterASheetIsShownAsNotAnswering) {
  const Obstacle shown = obstacle_without_a_life_counter("00000");
  EXPECT_EQ(shown.sentence, "the printer does not answer");
  EXPECT_EQ(shown.kind, Obstacle::Kind::kStalled);  // the sheet may still come out
}

TEST_F(PrinterTest, StatusIsShownAlsoIfTheLifeCounterIsUnanswered) {
  EXPECT_STREQ(obstacle_without_a_life_counter("01000").keyword, "cover-open-error");
}

TEST_F(PrinterTest, PrinterThatNeverReportsItsMediaIsShownAsNotAnswering) {
  const ScriptedPrinter scripted({ready_printer("INFO  MEDIA", 2)});
  std::vector<Obstacle> shown;
  PrinterSession session({.address = scripted.address()}, waiting_until_offline(shown));
  SheetCounters counters;
  EXPECT_FALSE(session.wait_until_ready("6x8", counters));
  ASSERT_EQ(shown.size(), 2U);
  EXPECT_EQ(shown[1].sentence, "the printer does not answer");
}

}  // namespace
}  // namespace k905
