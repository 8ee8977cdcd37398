#include "diag/log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>

#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"
#include "tests/support/environment_guard.h"

namespace {

class LogLine : public testing::Test {
 protected:
  EnvironmentGuard no_limit_{"CUPS_MAX_MESSAGE", nullptr};
};

using LogText = LogLine;

TEST_F(LogLine, EndsWithANewline) {
  EXPECT_EQ(captured_log([] { log_line("K905-1: %d pages, %s", 3, "done"); }),
            "K905-1: 3 pages, done\n");
  EXPECT_EQ(captured_log([] { log_line("%s", ""); }), "\n");
}

TEST_F(LogLine, LineBreaksBecomeBlanksAndOtherBytesStay) {
  std::string bytes;
  std::string expected;
  for (int c = 1; c < 256; ++c) {
    bytes += static_cast<char>(c);
    expected += c == '\n' || c == '\r' ? ' ' : static_cast<char>(c);
  }
  EXPECT_EQ(captured_log([&] { log_line("%s", bytes.c_str()); }), expected + "\n");
}

TEST_F(LogLine, IsCompleteAtAnyLength) {
  // Around the size of the buffer that is used for most lines, and much longer.
  for (const std::size_t length : {4093U, 4094U, 4095U, 4096U, 4097U, 200000U}) {
    const std::string text(length, 'x');
    EXPECT_EQ(captured_log([&] { log_line("%s", text.c_str()); }), text + "\n") << length;
  }
}

TEST_F(LogLine, LineBreaksOfALongLineBecomeBlanks) {
  const std::string text(5000, '\n');
  EXPECT_EQ(captured_log([&] { log_line("%s", text.c_str()); }), std::string(5000, ' ') + "\n");
}

std::string logged_under_limit(const char* limit, const std::string& text) {
  const EnvironmentGuard guard("CUPS_MAX_MESSAGE", limit);
  return captured_log([&] { log_line("%s", text.c_str()); });
}

TEST_F(LogLine, IsCutToTheLimitOfCupsNewlineIncluded) {
  const std::pair<const char*, const char*> cases[] = {{"2", "0\n"},
                                                       {"10", "012345678\n"},
                                                       {"11", "0123456789\n"},
                                                       {"12", "0123456789\n"},
                                                       {"99999999999999999999", "0123456789\n"},
                                                       {"1", "0123456789\n"},
                                                       {"0", "0123456789\n"},
                                                       {"-5", "0123456789\n"},
                                                       {"", "0123456789\n"},
                                                       {"junk", "0123456789\n"}};
  for (const auto& [limit, line] : cases) {
    EXPECT_EQ(logged_under_limit(limit, "0123456789"), line) << limit;
  }
  EXPECT_EQ(logged_under_limit("2047", std::string(5000, 'x')), std::string(2046, 'x') + "\n");
}

TEST_F(LogText, TextsStartTheNextLineWithinItsLimit) {
  EXPECT_EQ(captured_log([] {
              log_text("%s", "a\n");
              log_text("%d ", 1);
              log_line("R=%d", 5);
              log_line("next");
            }),
            "a 1 R=5\nnext\n");
  const std::string text(10000, 'x');
  EXPECT_EQ(captured_log([&] {
              log_text("a: ");
              log_line("%s", text.c_str());
            }),
            "a: " + text + "\n");
  const EnvironmentGuard guard("CUPS_MAX_MESSAGE", "10");
  for (const char* start : {"01234", "0123456789"}) {
    EXPECT_EQ(captured_log([&] {
                log_text("%s", start);
                log_line("56789");
              }),
              "012345678\n");
  }
}

TEST_F(LogText, TextThatIsTooLongIsCut) {
  const std::string text(1000, 'x');
  const std::string log = captured_log([&] {
    log_text("%s", text.c_str());
    log_text("%s", "y");
    log_line("end");
  });
  EXPECT_EQ(log, std::string(log.size() - 4, 'x') + "end\n");
  EXPECT_GT(log.size(), 200U);
}

TEST_F(LogLine, WaitsForASlowReaderOfANonBlockingDescriptor) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
  const std::string text(300000, 'x');  // a pipe holds 64 KB
  std::string received;
  std::thread reader([&] {
    char block[1000];
    for (ssize_t got = read(ends[0], block, sizeof block); got > 0;
         got = read(ends[0], block, sizeof block)) {
      received.append(block, static_cast<std::size_t>(got));
    }
  });
  const int before = dup(STDERR_FILENO);
  dup2(ends[1], STDERR_FILENO);
  close(ends[1]);
  log_line("%s", text.c_str());
  dup2(before, STDERR_FILENO);
  close(before);
  reader.join();
  close(ends[0]);
  EXPECT_EQ(received, text + "\n");
}

// Runs `code` in a child process with standard error on a pipe and returns what it wrote.
std::string standard_error_of_child(const std::function<void()>& code) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDERR_FILENO);
    close(ends[0]);
    close(ends[1]);
    alarm(20);  // fails the test if the log blocks
    code();
    leave_child(0);
  }
  close(ends[1]);
  std::string text;
  char block[1000];
  for (ssize_t got = read(ends[0], block, sizeof block); got > 0;
       got = read(ends[0], block, sizeof block)) {
    text.append(block, static_cast<std::size_t>(got));
  }
  close(ends[0]);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  return text;
}

class LogFile : public LogLine {
 protected:
  // The log goes to standard error when it cannot go to the file.
  std::string log_into_file() {
    return standard_error_of_child([this] {
      redirect_log_to_file(path_.c_str());
      log_line("hello");
    });
  }

  ScratchFolder folder_;
  std::string path_ = folder_.path() + "/debug.log";
};

TEST_F(LogFile, HoldsTheLogOfTheLastRun) {
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(log_into_file(), "");
    EXPECT_EQ(read_file(path_), "hello\n");
    (void)folder_.write("debug.log", "a long line of the previous run\n");
  }
}

TEST_F(LogFile, LinkInItsPlaceIsNotWrittenTo) {
  const std::string victim = folder_.write("victim", "precious");
  for (const auto make_link : {symlink, link}) {
    ASSERT_EQ(make_link(victim.c_str(), path_.c_str()), 0);
    EXPECT_EQ(log_into_file(), "hello\n");
    EXPECT_EQ(read_file(victim), "precious");
    ASSERT_EQ(unlink(path_.c_str()), 0);
  }
}

TEST_F(LogFile, DanglingLinkCreatesNoFile) {
  const std::string target = folder_.path() + "/made";
  ASSERT_EQ(symlink(target.c_str(), path_.c_str()), 0);
  EXPECT_EQ(log_into_file(), "hello\n");
  EXPECT_FALSE(std::filesystem::exists(target));
}

TEST_F(LogFile, FifoInItsPlaceIsNotWaitedFor) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  EXPECT_EQ(log_into_file(), "hello\n");
}

TEST_F(LogFile, FifoWithAReaderIsNotWrittenTo) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  const int reader = open(path_.c_str(), O_RDONLY | O_NONBLOCK);
  EXPECT_EQ(log_into_file(), "hello\n");
  char byte;
  EXPECT_EQ(read(reader, &byte, 1), 0);
  close(reader);
}

TEST_F(LogFile, FolderInItsPlaceOrMissingFolderKeepsStandardError) {
  ASSERT_EQ(mkdir(path_.c_str(), 0700), 0);
  EXPECT_EQ(log_into_file(), "hello\n");
  path_ = folder_.path() + "/missing/debug.log";
  EXPECT_EQ(log_into_file(), "hello\n");
}

TEST_F(LogFile, LeavesNoDescriptorOpen) {
  const std::string text = standard_error_of_child([this] {
    const int before = dup(STDERR_FILENO);
    const int next = dup(STDERR_FILENO);
    close(next);
    redirect_log_to_file(path_.c_str());
    const int after = dup(STDERR_FILENO);
    dprintf(before, "%s", after == next ? "same" : "another");
  });
  EXPECT_EQ(text, "same");
}

TEST_F(LogFile, IsUsedWhenStandardErrorWasClosed) {
  standard_error_of_child([this] {
    close(STDERR_FILENO);
    redirect_log_to_file(path_.c_str());
    log_line("hello");
  });
  EXPECT_EQ(read_file(path_), "hello\n");
}

TEST_F(LogFile, IsNotUsedWhenAPpdIsSetEvenToNothing) {
  for (const char* ppd : {"", "/etc/cups/ppd/queue.ppd"}) {
    const EnvironmentGuard guard("PPD", ppd);
    EXPECT_EQ(standard_error_of_child([] {
                open_log();
                log_line("hello");
              }),
              "hello\n");
  }
}

TEST_F(LogFile, OutputAndErrorAreUnbufferedAfterwards) {
  const EnvironmentGuard guard("PPD", "");
  EXPECT_EQ(standard_error_of_child([] {
              open_log();
              dup2(STDERR_FILENO, STDOUT_FILENO);
              std::fputs("out", stdout);
              std::fputs("err", stderr);
              // _exit flushes nothing.
            }),
            "outerr");
}

}  // namespace
