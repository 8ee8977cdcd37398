// k905-print is stopped, killed or short of memory: the printer gets complete sheets, and no
// process continues in the background.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <random>

#include "apps/wire/printer_stream.h"
#include "tests/apps/picture_files.h"
#include "tests/print/running_program.h"
#include "tests/support/build_paths.h"
#include "tests/support/child_process.h"

namespace {

using testing::HasSubstr;

constexpr char kProgram[] = K905_BINARY_DIR "/k905-print";
const std::map<std::string, std::string> kEnvironment{{"PATH", "/usr/bin:/bin"}};

// A printer that reads its bytes from a FIFO.
class Printer {
 public:
  explicit Printer(const ScratchFolder& folder) : path_(folder.path() + "/printer") {
    EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
    fifo_ = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    keep_open_ = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
    fcntl(fifo_, F_SETFL, 0);
  }
  ~Printer() {
    stop_waiting();
    close(fifo_);
  }
  Printer(const Printer&) = delete;
  Printer& operator=(const Printer&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }

  // Reads until `count` bytes were received.
  void read_bytes(std::size_t count) {
    while (stream_.size() < count && read_some() > 0) {
    }
  }

  // To be called after the program has opened the FIFO, so that its end is detected.
  void stop_waiting() {
    if (keep_open_ >= 0) {
      close(keep_open_);
      keep_open_ = -1;
    }
  }

  // Reads to the end and returns the number of sheets; fails the test if they are not complete.
  std::size_t read_sheets() {
    while (read_some() > 0) {
    }
    const k905::ParsedStream parsed = k905::parse_printer_stream(
        reinterpret_cast<const std::uint8_t*>(stream_.data()), stream_.size());
    EXPECT_FALSE(parsed.error) << "incomplete at " << parsed.error->offset;
    return parsed.sheets.size();
  }

 private:
  ssize_t read_some() {
    char piece[65536];
    const ssize_t got = read(fifo_, piece, sizeof piece);
    stream_.append(piece, got > 0 ? static_cast<std::size_t>(got) : 0);
    return got;
  }

  std::string path_;
  int fifo_ = -1;
  int keep_open_ = -1;
  std::string stream_;
};

std::string put_photo(const ScratchFolder& folder) {
  return folder.write("a.png", png_file(3, 2, {}, std::vector<std::uint8_t>(18, 90)));
}

class PrintStopped : public testing::TestWithParam<int> {};

TEST_P(PrintStopped, AtAnyMomentLeavesCompleteSheets) {
  constexpr std::size_t sheet_size = 1920 * 1240 * 3;
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  for (int i = 0; i < 8 && !HasFailure(); ++i) {
    const ScratchFolder folder;
    const std::string photo = put_photo(folder);
    Printer printer(folder);
    RunningProgram program(kProgram, {"--to", printer.path(), photo, photo, photo}, kEnvironment);
    printer.read_bytes(1 + random() % (2 * sheet_size));
    printer.stop_waiting();
    program.send_signal(GetParam());
    const std::size_t sheets = printer.read_sheets();
    const int status = program.wait();
    EXPECT_GE(sheets, 1U);
    EXPECT_EQ(status, sheets == 3 ? 0 : 1) << program.output();
  }
}

INSTANTIATE_TEST_SUITE_P(Print, PrintStopped, testing::Values(SIGTERM, SIGINT, SIGHUP),
                         [](const auto& instance) { return sigabbrev_np(instance.param); });

TEST(PrintNotStopped, ByAnIgnoredHangup) {
  const ScratchFolder folder;
  const std::string photo = put_photo(folder);
  Printer printer(folder);
  auto* const before = std::signal(SIGHUP, SIG_IGN);
  RunningProgram program(kProgram, {"--to", printer.path(), photo, photo}, kEnvironment);
  std::signal(SIGHUP, before);
  printer.read_bytes(1);
  printer.stop_waiting();
  program.send_signal(SIGHUP);
  EXPECT_EQ(printer.read_sheets(), 2U);
  EXPECT_EQ(program.wait(), 0);
}

// If k905-print is killed, the filter must end too, even if it writes nothing.
TEST(PrintKilled, EndsTheFilterToo) {
  const ScratchFolder folder;
  const std::string photo = put_photo(folder);
  const std::string life = folder.path() + "/life";
  ASSERT_EQ(mkfifo(life.c_str(), 0600), 0);
  const std::string filter =
      folder.write("filter", "#!/bin/sh\ntrap '' TERM\nexec 3>'" + life + "'\nexec sleep 300\n");
  chmod(filter.c_str(), 0755);
  RunningProgram program(kProgram, {"--to", "/dev/null", photo},
                         {{"PATH", "/usr/bin:/bin"}, {"K905_FILTER", filter}});
  const int end_of_life = open(life.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(end_of_life, 0);
  program.send_signal(SIGKILL);
  char byte = 0;
  EXPECT_EQ(read(end_of_life, &byte, 1), 0);
  close(end_of_life);
  EXPECT_EQ(program.wait(), -1);
}

// The sheets are checked before they reach the printer; the check needs memory for each plane.
TEST(PrintShortOfMemory, FinishesTheCurrentSheetAndReportsTheReason) {
#ifdef K905_SANITIZED
  GTEST_SKIP() << "the sanitizer replaces the allocation functions";
#endif
  for (int plane = 1; plane <= 6; ++plane) {
    SCOPED_TRACE("plane " + std::to_string(plane));
    const ScratchFolder folder;
    const std::string photo = put_photo(folder);
    Printer printer(folder);
    std::map<std::string, std::string> environment = kEnvironment;
    environment["LD_PRELOAD"] = K905_BINARY_DIR "/tests/libk905_short_of_memory.so";
    environment["K905_FAIL_FROM"] = std::to_string(plane);
    RunningProgram program(kProgram, {"--to", printer.path(), photo, photo, photo}, environment);
    printer.read_bytes(1);
    printer.stop_waiting();
    EXPECT_GE(printer.read_sheets(), plane > 3 ? 2U : 1U);
    EXPECT_EQ(program.wait(), 1);
    EXPECT_THAT(program.output(), HasSubstr("k905-print: not enough memory\n"));
  }
}

}  // namespace
