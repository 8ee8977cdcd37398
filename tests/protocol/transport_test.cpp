#include "protocol/transport.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <string>
#include <thread>

#include "tests/support/captured_log.h"
#include "tests/support/system_hooks.h"

namespace {

// A pair of sockets: bytes that are sent at `far` are read at `near`.
class Connection {
 public:
  Connection() {
    int ends[2] = {-1, -1};
    socketpair(AF_UNIX, SOCK_STREAM, 0, ends);
    near_ = ends[0];
    far_ = ends[1];
  }
  ~Connection() {
    close(near_);
    close(far_);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  [[nodiscard]] int near() const { return near_; }
  void send_reply(const std::string& bytes) const {
    ASSERT_EQ(send(far_, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
  }
  void send_end_of_file() const { shutdown(far_, SHUT_WR); }
  // The bytes received so far.
  [[nodiscard]] std::string received() const {
    char bytes[4096];
    const ssize_t got = recv(far_, bytes, sizeof bytes, MSG_DONTWAIT);
    return {bytes, got > 0 ? static_cast<std::size_t>(got) : 0};
  }
  // The bytes that are not read yet at the near end.
  [[nodiscard]] std::string left_over() const {
    char bytes[4096];
    const ssize_t got = recv(near_, bytes, sizeof bytes, MSG_DONTWAIT);
    return {bytes, got > 0 ? static_cast<std::size_t>(got) : 0};
  }

 private:
  int near_ = -1;
  int far_ = -1;
};

struct Reply {
  std::string text;
  int count = 0;
};

// Long if a reply is expected, short if a timeout is expected.
constexpr int kReplyTimeoutMs = 60000;
constexpr int kShortTimeoutMs = 30;

Reply ask(const Connection& connection, std::size_t reply_size, int timeout_ms) {
  char buffer[256];
  std::memset(buffer, '#', sizeof buffer);
  Reply reply;
  reply.count =
      k905_write_read_cmd32(connection.near(), "INFO", "FVER", buffer, reply_size, timeout_ms);
  reply.text = buffer;
  return reply;
}

Reply answer_to(const std::string& sent, std::size_t reply_size = 128) {
  const Connection connection;
  connection.send_reply(sent);
  return ask(connection, reply_size, kShortTimeoutMs);
}

TEST(WriteAll, WholeBufferIsOneCall) {
  const hooks::Guard guard;
  std::int64_t written = 0;
  const std::string bytes =
      captured_output([&] { written = k905_write_all(STDOUT_FILENO, "photograph", 10); });
  EXPECT_EQ(written, 10);
  EXPECT_EQ(bytes, "photograph");
  EXPECT_EQ(hooks::writes_to_output, std::vector<std::size_t>{10});
}

TEST(WriteAll, NothingToWriteMakesNoCall) { EXPECT_EQ(k905_write_all(-1, nullptr, 0), 0); }

TEST(WriteAll, ShortAndInterruptedWritesContinueAndOthersEnd) {
  const struct {
    std::deque<hooks::Step> steps;
    std::int64_t written;
    const char* log;
    const char* received;
  } cases[] = {
      {{{.at_most = 3}, {.at_most = 1}}, 10, "", "photograph"},
      {{{.error = EINTR}, {.at_most = 4}, {.error = EINTR}}, 10, "", "photograph"},
      {{{.at_most = 4}, {.error = EIO}}, -1, "K905-1: write error: Input/output error\n", "phot"},
      {{{.at_most = 4}, {.at_most = 0}}, 4, "K905-1: write returned 0\n", "phot"},
  };
  for (const auto& [steps, written, log, received] : cases) {
    const hooks::Guard guard;
    const Connection connection;
    hooks::write_script = {.descriptor = connection.near(), .steps = steps};
    std::int64_t result = 0;
    EXPECT_EQ(captured_log([&] { result = k905_write_all(connection.near(), "photograph", 10); }),
              log);
    EXPECT_EQ(result, written);
    EXPECT_EQ(connection.received(), received);
  }
}

TEST(PrinterExchange, QuestionIsABlockWithoutLength) {
  const Connection connection;
  connection.send_reply("x\r\n");
  ask(connection, 128, kReplyTimeoutMs);
  EXPECT_EQ(connection.received(),
            "\x1b"
            "PINFO  FVER                    ");
}

TEST(PrinterExchange, WithoutAReplyBufferNothingIsRead) {
  const Connection connection;
  connection.send_reply("12345\r\n");
  EXPECT_EQ(
      k905_write_read_cmd32(connection.near(), "STATUS", nullptr, nullptr, 128, kReplyTimeoutMs),
      0);
  EXPECT_EQ(connection.left_over(), "12345\r\n");
  EXPECT_EQ(connection.received().size(), 32U);
}

TEST(PrinterExchange, ReplyWithoutRoomForTextReadsNothing) {
  for (const std::size_t size : {0U, 1U}) {
    const Connection connection;
    connection.send_reply("12345\r\n");
    char reply = '#';
    EXPECT_EQ(
        k905_write_read_cmd32(connection.near(), "STATUS", nullptr, &reply, size, kReplyTimeoutMs),
        0);
    EXPECT_EQ(reply, size == 0 ? '#' : '\0');
    EXPECT_EQ(connection.left_over(), "12345\r\n");
    EXPECT_EQ(connection.received().size(), 32U);
  }
}

TEST(PrinterExchange, TextIsTrimmedAndTheCountIsOfAllBytes) {
  const std::pair<std::string, std::string> cases[] = {{" 1234\r\n", "1234"},
                                                       {"1234", "1234"},  // ended by a timeout
                                                       {"one\r\ntwo", "one\r\ntwo"},
                                                       {"", ""},
                                                       {std::string("12 \0tail\r\n", 10), "12"},
                                                       {std::string("\0tail\r\n", 7), ""},
                                                       {"  \t a b \t \r \n\r\n", "\t a b \t"},
                                                       {"\r\n12\r\n", "\r\n12"},
                                                       {"    \r\n", ""}};
  for (const auto& [sent, text] : cases) {
    const Reply reply = answer_to(sent);
    EXPECT_EQ(reply.text, text);
    EXPECT_EQ(reply.count, static_cast<int>(sent.size())) << sent;
  }
}

TEST(PrinterExchange, CarriageReturnEndsAReply) {
  const Connection connection;
  connection.send_reply("00000\r");
  const auto begin = std::chrono::steady_clock::now();
  const Reply reply = ask(connection, 128, kReplyTimeoutMs);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(kReplyTimeoutMs));
  EXPECT_EQ(reply.text, "00000");
  EXPECT_EQ(reply.count, 6);
}

TEST(PrinterExchange, LateLineFeedIsTheNextReply) {
  const Connection connection;
  connection.send_reply("00000\r");
  EXPECT_EQ(ask(connection, 128, kReplyTimeoutMs).text, "00000");
  connection.send_reply("\n");
  const Reply late = ask(connection, 128, kReplyTimeoutMs);
  EXPECT_EQ(late.text, "");
  EXPECT_EQ(late.count, 1);
}

TEST(PrinterExchange, EveryPieceHasTheFullTimeout) {
  const hooks::Guard guard;
  const Connection connection;
  // One byte at a time, also if all arrive before the first is read.
  hooks::read_script = {.descriptor = connection.near(), .steps = {{.at_most = 1}, {.at_most = 1}}};
  // With one timeout for the complete reply, each later piece would have a shorter one.
  std::thread printer([&] {
    for (const char* piece : {"a", "b", "c\r\n"}) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      connection.send_reply(piece);
    }
  });
  const Reply reply = ask(connection, 128, kReplyTimeoutMs);
  printer.join();
  EXPECT_EQ(reply.text, "abc");
  EXPECT_EQ(hooks::poll_timeouts, std::vector<int>(hooks::poll_timeouts.size(), kReplyTimeoutMs));
  EXPECT_GT(hooks::poll_timeouts.size(), 1U);
}

TEST(PrinterExchange, FullBufferEndsTheReplyAndLeavesTheRest) {
  const Connection connection;
  connection.send_reply("123456789\r\n");
  const Reply reply = ask(connection, 6, kReplyTimeoutMs);
  EXPECT_EQ(reply.text, "12345");
  EXPECT_EQ(reply.count, 5);
  EXPECT_EQ(connection.left_over(), "6789\r\n");
}

TEST(PrinterExchange, EndOfFileEndsTheReply) {
  const Connection connection;
  connection.send_reply("1234");
  connection.send_end_of_file();
  const Reply reply = ask(connection, 128, kReplyTimeoutMs);
  EXPECT_EQ(reply.text, "1234");
  EXPECT_EQ(reply.count, 4);
}

TEST(PrinterExchange, SignalsDuringWaitAndReadAreIgnored) {
  const hooks::Guard guard;
  const Connection connection;
  connection.send_reply("00000\r\n");
  hooks::poll_errors = {EINTR, EINTR};
  hooks::read_script = {.descriptor = connection.near(), .steps = {{.error = EINTR}}};
  const Reply reply = ask(connection, 128, kReplyTimeoutMs);
  EXPECT_EQ(reply.text, "00000");
  EXPECT_EQ(reply.count, 7);
}

TEST(PrinterExchange, FailedWaitOrReadGivesMinusOneAndNoText) {
  for (const bool in_wait : {true, false}) {
    const hooks::Guard guard;
    const Connection connection;
    connection.send_reply("00000\r\n");
    if (in_wait) {
      hooks::poll_errors = {ENOMEM};
    } else {
      hooks::read_script = {.descriptor = connection.near(),
                            .steps = {{.at_most = 3}, {.error = EIO}}};
    }
    const Reply reply = ask(connection, 128, kReplyTimeoutMs);
    EXPECT_EQ(reply.text, "");
    EXPECT_EQ(reply.count, -1);
  }
}

TEST(PrinterExchange, QuestionThatCannotBeWrittenGivesMinusOneAndNoText) {
  char reply[] = "old";
  int count = 0;
  const std::string log = captured_log([&] {
    count = k905_write_read_cmd32(-1, "STATUS", nullptr, reply, sizeof reply, kReplyTimeoutMs);
  });
  EXPECT_EQ(count, -1);
  EXPECT_STREQ(reply, "");
  EXPECT_EQ(log, "K905-1: write error: Bad file descriptor\n");
}

}  // namespace
