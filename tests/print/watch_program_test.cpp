// k905-print at a folder: each picture once, whatever happens in between.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "apps/wire/printer_stream.h"
#include "tests/apps/picture_files.h"
#include "tests/print/running_program.h"
#include "tests/support/build_paths.h"
#include "tests/support/child_process.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char kProgram[] = K905_BINARY_DIR "/k905-print";

std::string picture_of(std::uint8_t value) {
  return png_file(3, 2, {}, std::vector<std::uint8_t>(18, value));
}

class WatchProgram : public testing::Test {
 protected:
  WatchProgram() { std::filesystem::create_directory(inbox()); }

  [[nodiscard]] std::string inbox() const { return folder_.path() + "/in"; }
  [[nodiscard]] std::string job() const { return folder_.path() + "/job.prn"; }

  void put(const std::string& name, const std::string& bytes) const {
    folder_.write("in/" + name, bytes);
  }

  // The first byte of every sheet's picture, in the order they were printed: what picture it is.
  [[nodiscard]] std::vector<int> printed() const {
    const std::string bytes = folder_.read("job.prn").value_or("");
    const ParsedStream stream =
        parse_printer_stream(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    EXPECT_FALSE(stream.error);
    std::vector<int> values;
    for (const Sheet& sheet : stream.sheets) {
      values.push_back(sheet.plane[0][sheet.width * (sheet.height / 2) + sheet.width / 2]);
    }
    return values;
  }

  [[nodiscard]] std::vector<std::string> arguments(
      const std::vector<std::string>& more = {}) const {
    std::vector<std::string> all{"--watch", inbox(), "--to", job()};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  [[nodiscard]] std::map<std::string, std::string> environment() const {
    return {{"XDG_STATE_HOME", folder_.path() + "/state"}, {"PATH", "/usr/bin:/bin"}};
  }

  ScratchFolder folder_;
};

TEST_F(WatchProgram, PrintsWhatIsThereAndWhatComes) {
  put("a.png", picture_of(10));
  RunningProgram program(kProgram, arguments(), environment());
  EXPECT_TRUE(program.has_said("a.png -> " + job())) << program.said();
  put("b.png", picture_of(20));
  EXPECT_TRUE(program.has_said("b.png -> " + job())) << program.said();
  program.send_signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(printed(), (std::vector<int>{10, 20}));
}

TEST_F(WatchProgram, ToldToEndSeveralTimesItEndsAsWell) {
  put("a.png", picture_of(10));
  RunningProgram program(kProgram, arguments(), environment());
  EXPECT_TRUE(program.has_said("a.png -> " + job())) << program.said();
  for (int times = 0; times < 20; ++times) {
    program.send_signal(SIGTERM);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(program.wait(), 0);
}

TEST_F(WatchProgram, OverARestartNothingIsPrintedTwice) {
  put("a.png", picture_of(10));
  for (const char* fresh : {"b.png", "c.png"}) {
    RunningProgram program(kProgram, arguments(), environment());
    put(fresh, picture_of(20));
    EXPECT_TRUE(program.has_said(std::string(fresh) + " -> ")) << program.said();
    program.send_signal(SIGKILL);
    EXPECT_EQ(program.wait(), -1);
  }
  EXPECT_EQ(printed(), (std::vector<int>{10, 20, 20}));
}

TEST_F(WatchProgram, ATouchedPictureIsTheSameAndAnotherOneIsNot) {
  put("a.png", picture_of(10));
  put("b.png", picture_of(20));
  {
    RunningProgram program(kProgram, arguments(), environment());
    EXPECT_TRUE(program.has_said("b.png -> "));
    program.send_signal(SIGINT);
    EXPECT_EQ(program.wait(), 0);
  }
  std::filesystem::last_write_time(inbox() + "/a.png",
                                   std::filesystem::file_time_type::clock::now());
  put("b.png", picture_of(30));
  RunningProgram program(kProgram, arguments(), environment());
  EXPECT_TRUE(program.has_said("b.png -> "));
  put("c.png", picture_of(40));
  EXPECT_TRUE(program.has_said("c.png -> "));
  EXPECT_THAT(program.said(), Not(HasSubstr("a.png")));
  EXPECT_EQ(printed(), (std::vector<int>{10, 20, 30, 40}));
}

TEST_F(WatchProgram, ABrokenPictureIsNamedOnceAndPrintedWhenItIsWhole) {
  put("a.jpg", "\xff\xd8 broken");
  put("b.png", picture_of(20));
  RunningProgram program(kProgram, arguments(), environment());
  EXPECT_TRUE(program.has_said("b.png -> "));
  put("c.png", picture_of(30));
  EXPECT_TRUE(program.has_said("c.png -> "));
  put("a.jpg", jpeg_file(3, 2, {}, std::vector<std::uint8_t>(18, 40)));
  EXPECT_TRUE(program.has_said("a.jpg -> "));
  program.send_signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(program.said().find("broken JPEG"), program.said().rfind("broken JPEG"));
  EXPECT_EQ(printed(), (std::vector<int>{20, 30, 40}));
}

// The device is not there at first: nothing counts as printed, and nothing is forgotten.
TEST_F(WatchProgram, WhatWasNotTakenIsPrintedLater) {
  put("a.png", picture_of(10));
  const std::string device = folder_.path() + "/later/job.prn";
  {
    RunningProgram program(kProgram, {"--watch", inbox(), "--to", device}, environment());
    EXPECT_TRUE(program.has_said(device + ": No such file or directory"));
    program.send_signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
  }
  std::filesystem::create_directory(folder_.path() + "/later");
  RunningProgram program(kProgram, {"--watch", inbox(), "--to", device}, environment());
  EXPECT_TRUE(program.has_said("a.png -> " + device));
}

TEST_F(WatchProgram, PicturesThatComeTogetherShareASheet) {
  put("a.png", picture_of(10));
  put("b.png", picture_of(20));
  RunningProgram program(kProgram, arguments({"--two-up"}), environment());
  EXPECT_TRUE(program.has_said("b.png -> "));
  program.send_signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(printed().size(), 1U);
}

TEST_F(WatchProgram, TheJournalsPlaceCanBeChosen) {
  put("a.png", picture_of(10));
  const std::string journal = folder_.path() + "/my.journal";
  RunningProgram program(kProgram, arguments({"--journal", journal}), environment());
  EXPECT_TRUE(program.has_said("a.png -> "));
  program.send_signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_THAT(*folder_.read("my.journal"), HasSubstr(" a.png\n"));
  EXPECT_FALSE(std::filesystem::exists(folder_.path() + "/state"));
}

TEST_F(WatchProgram, WhatCannotBeNotedIsNotPrinted) {
  std::filesystem::create_directory(folder_.path() + "/notes");
  put("a.png", picture_of(10));
  RunningProgram program(kProgram, arguments({"--journal", folder_.path() + "/notes/journal"}),
                         environment());
  EXPECT_TRUE(program.has_said("a.png -> "));
  std::filesystem::remove_all(folder_.path() + "/notes");
  put("b.png", picture_of(20));
  EXPECT_EQ(program.wait(), 1);
  EXPECT_THAT(program.said(),
              EndsWith("/notes/journal: No such file or directory; stopped, because what "
                       "cannot be noted would be printed again\n"));
  EXPECT_EQ(printed(), std::vector<int>{10});
}

TEST_F(WatchProgram, TwoAtTheSameFolderDoNotPrintTwice) {
  put("a.png", picture_of(10));
  RunningProgram first(kProgram, arguments(), environment());
  EXPECT_TRUE(first.has_said("a.png -> "));
  RunningProgram second(kProgram, arguments(), environment());
  EXPECT_EQ(second.wait(), 1);
  EXPECT_THAT(second.said(), HasSubstr("another k905-print is at work with this journal"));
}

TEST_F(WatchProgram, WithoutAJournalNothingIsPrinted) {
  put("a.png", picture_of(10));
  const std::string journal = folder_.write("my.journal", "not a journal\n");
  RunningProgram program(kProgram, arguments({"--journal", journal}), environment());
  EXPECT_EQ(program.wait(), 1);
  EXPECT_THAT(program.said(), StartsWith("k905-print: " + journal + ": not a journal"));
  EXPECT_FALSE(folder_.read("job.prn"));
}

}  // namespace
