// k905-print --watch: each photo is printed once, whatever happens meanwhile.
#include <SQLiteCpp/SQLiteCpp.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <sstream>
#include <thread>

#include "apps/print/ledger.h"
#include "apps/wire/printer_stream.h"
#include "tests/apps/picture_files.h"
#include "tests/print/running_program.h"
#include "tests/support/build_paths.h"
#include "tests/support/child_process.h"

namespace k905 {

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

  // The middle pixel of every sheet's first plane, in printing order: it identifies the photo.
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
    std::vector<std::string> all = moving_arguments(more);
    all.emplace_back("--leave");
    return all;
  }
  [[nodiscard]] std::vector<std::string> moving_arguments(
      const std::vector<std::string>& more = {}) const {
    std::vector<std::string> all{"--watch", inbox(), "--to", job()};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  [[nodiscard]] std::map<std::string, std::string> environment() const {
    return {{"XDG_STATE_HOME", folder_.path() + "/state"}, {"PATH", "/usr/bin:/bin"}};
  }

  // Runs k905-print to its end.
  ChildResult run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "k905-print");
    ChildSetup setup;
    setup.program = kProgram;
    setup.arguments = std::move(arguments);
    setup.environment = environment();
    return run_child(setup);
  }

  ScratchFolder folder_;
};

TEST_F(WatchProgram, PrintsExistingAndArrivingPhotos) {
  put("a.png", picture_of(10));
  RunningProgram program(kProgram, arguments(), environment());
  EXPECT_TRUE(program.wait_for_output("a.png -> " + job())) << program.output();
  put("b.png", picture_of(20));
  EXPECT_TRUE(program.wait_for_output("b.png -> " + job())) << program.output();
  program.send_signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(printed(), (std::vector<int>{10, 20}));
}

TEST_F(WatchProgram, JsonNamesTheSheetInTheLedger) {
  put("a.png", picture_of(10));
  put("broken.jpg", "\xff\xd8 broken");
  RunningProgram program(kProgram, arguments({"--json"}), environment());
  EXPECT_TRUE(
      program.wait_for_output("\"file\":\"" + inbox() + "/a.png\",\"outcome\":\"printed\"") &&
      program.wait_for_output("/broken.jpg\",\"outcome\":\"refused\""))
      << program.output();
  program.send_signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_THAT(program.output(), HasSubstr("\"id\":1,"));
  EXPECT_THAT(run({"--history", "--json"}).output, StartsWith("{\"id\":1,\"time\":"));
}

TEST_F(WatchProgram, RepeatedStopSignalsEndItNormally) {
  put("a.png", picture_of(10));
  RunningProgram program(kProgram, arguments(), environment());
  EXPECT_TRUE(program.wait_for_output("a.png -> " + job())) << program.output();
  for (int times = 0; times < 20; ++times) {
    program.send_signal(SIGTERM);
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_EQ(program.wait(), 0);
}

TEST_F(WatchProgram, NothingIsPrintedTwiceAfterARestart) {
  put("a.png", picture_of(10));
  for (const char* name : {"b.png", "c.png"}) {
    RunningProgram program(kProgram, arguments(), environment());
    put(name, picture_of(20));
    EXPECT_TRUE(program.wait_for_output(std::string(name) + " -> ")) << program.output();
    program.send_signal(SIGKILL);
    EXPECT_EQ(program.wait(), -1);
  }
  EXPECT_EQ(printed(), (std::vector<int>{10, 20, 20}));
}

TEST_F(WatchProgram, TouchedPhotoIsNotPrintedAgainAndAChangedOneIs) {
  put("a.png", picture_of(10));
  put("b.png", picture_of(20));
  {
    RunningProgram program(kProgram, arguments(), environment());
    EXPECT_TRUE(program.wait_for_output("b.png -> "));
    program.send_signal(SIGINT);
    EXPECT_EQ(program.wait(), 0);
  }
  std::filesystem::last_write_time(inbox() + "/a.png",
                                   std::filesystem::file_time_type::clock::now());
  put("b.png", picture_of(30));
  RunningProgram program(kProgram, arguments(), environment());
  EXPECT_TRUE(program.wait_for_output("b.png -> "));
  put("c.png", picture_of(40));
  EXPECT_TRUE(program.wait_for_output("c.png -> "));
  EXPECT_THAT(program.output(), Not(HasSubstr("a.png")));
  EXPECT_EQ(printed(), (std::vector<int>{10, 20, 30, 40}));
}

TEST_F(WatchProgram, BrokenPhotoIsReportedOnceAndPrintedWhenComplete) {
  put("a.jpg", "\xff\xd8 broken");
  put("b.png", picture_of(20));
  RunningProgram program(kProgram, arguments(), environment());
  EXPECT_TRUE(program.wait_for_output("b.png -> "));
  put("c.png", picture_of(30));
  EXPECT_TRUE(program.wait_for_output("c.png -> "));
  put("a.jpg", jpeg_file(3, 2, {}, std::vector<std::uint8_t>(18, 40)));
  EXPECT_TRUE(program.wait_for_output("a.jpg -> "));
  program.send_signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_THAT(program.output(), HasSubstr("/in/a.jpg: "));
  EXPECT_EQ(program.output().find("/in/a.jpg: "), program.output().rfind("/in/a.jpg: "));
  EXPECT_EQ(printed(), (std::vector<int>{20, 30, 40}));
}

// The device is not connected at first: no photo counts as printed, and none is forgotten.
TEST_F(WatchProgram, RefusedJobIsPrintedLater) {
  put("a.png", picture_of(10));
  const std::string device = folder_.path() + "/later/job.prn";
  {
    RunningProgram program(kProgram, {"--watch", inbox(), "--to", device}, environment());
    EXPECT_TRUE(program.wait_for_output(device + ": No such file or directory"));
    program.send_signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
  }
  std::filesystem::create_directory(folder_.path() + "/later");
  RunningProgram program(kProgram, {"--watch", inbox(), "--to", device}, environment());
  EXPECT_TRUE(program.wait_for_output("a.png -> " + device));
}

TEST_F(WatchProgram, PhotosThatArriveTogetherShareASheetAndCountAsOne) {
  for (const char* name : {"a.png", "b.png", "c.png", "d.png"}) {
    put(name, picture_of(10));
  }
  RunningProgram program(kProgram, arguments({"--two-up", "--limit", "2"}), environment());
  EXPECT_TRUE(program.wait_for_output("d.png -> ")) << program.output();
  program.send_signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(printed().size(), 2U);
}

TEST_F(WatchProgram, PhotoOfSharedSheetWaitsForTheNextPhoto) {
  put("a.png", picture_of(10));
  RunningProgram program(kProgram, arguments({"--two-up", "--partner-wait", "3600"}),
                         environment());
  EXPECT_TRUE(program.wait_for_output("/a.png: waits for another photo on its sheet"))
      << program.output();
  put("b.png", picture_of(20));
  EXPECT_TRUE(program.wait_for_output("a.png -> ") && program.wait_for_output("b.png -> "))
      << program.output();
  EXPECT_EQ(printed().size(), 1U);
}

TEST_F(WatchProgram, PhotoWithoutPartnerIsPrintedAloneAfterTheWait) {
  put("a.png", picture_of(10));
  RunningProgram program(kProgram, arguments({"--two-up", "--partner-wait", "1"}), environment());
  EXPECT_TRUE(program.wait_for_output("/a.png: waits for another photo on its sheet"))
      << program.output();
  EXPECT_TRUE(program.wait_for_output("a.png -> ")) << program.output();
  EXPECT_EQ(printed().size(), 1U);
}

// Two folders that append to one file: A was killed inside its sheet, B continued, A starts again.
TEST_F(WatchProgram, SheetsThatAnotherFolderAppendedToTheFileAreKept) {
  put("a.png", picture_of(10));
  {
    RunningProgram program(kProgram, arguments(), environment());
    EXPECT_TRUE(program.wait_for_output("a.png -> ")) << program.output();
    program.send_signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
  }
  SQLite::Database(folder_.path() + "/state/k905-print/ledger.sqlite", SQLite::OPEN_READWRITE)
      .exec("UPDATE sheet SET outcome = 'sending'");
  std::filesystem::create_directory(folder_.path() + "/other");
  folder_.write("other/b.png", picture_of(20));
  {
    RunningProgram program(kProgram, {"--watch", folder_.path() + "/other", "--to", job()},
                           environment());
    EXPECT_TRUE(program.wait_for_output("b.png -> ")) << program.output();
  }
  RunningProgram program(kProgram, arguments(), environment());
  EXPECT_TRUE(program.wait_for_output("a.png: stopped while it was being sent to " + job()))
      << program.output();
  EXPECT_EQ(printed(), (std::vector<int>{10, 20}));
}

// The bytes that are hashed are those that are printed, so only the replacement photo is printed,
// once.
TEST_F(WatchProgram, APhotoReplacedWhileItIsReadIsPrintedOnce) {
  put("a.png", picture_of(10));
  // A different size, so that the two photos cannot be confused.
  put(".next", png_file(40, 20, {}, std::vector<std::uint8_t>(2400, 20)));
  auto variables = environment();
  variables["LD_PRELOAD"] = K905_BINARY_DIR "/tests/libchange_at_open.so";
  variables["ASAN_OPTIONS"] =
      "verify_asan_link_order=0";  // the preloaded library precedes the ASan runtime
  variables["K905_OPENED"] = inbox() + "/a.png";
  variables["K905_NEXT"] = inbox() + "/.next";
  RunningProgram program(kProgram, arguments(), variables);
  EXPECT_TRUE(program.wait_for_output("a.png -> ")) << program.output();
  // Becomes stable later than any event for the replaced file.
  put("b.png", picture_of(30));
  EXPECT_TRUE(program.wait_for_output("b.png -> ")) << program.output();
  EXPECT_EQ(printed(), (std::vector<int>{20, 30}));
}

TEST_F(WatchProgram, PhotoRemovedAndPutBackIsPrintedAgain) {
  put("a.png", picture_of(10));
  RunningProgram program(kProgram, arguments(), environment());
  EXPECT_TRUE(program.wait_for_output("a.png -> ")) << program.output();
  std::filesystem::remove(inbox() + "/a.png");
  put("a.png", picture_of(10));
  EXPECT_TRUE(program.wait_for_output("a.png -> ", 2)) << program.output();
  EXPECT_EQ(printed(), (std::vector<int>{10, 10}));
}

TEST_F(WatchProgram, PrintedPhotoOverwrittenWithTheSameBytesIsReportedNotPrinted) {
  put("a.png", picture_of(10));
  RunningProgram program(kProgram, arguments(), environment());
  EXPECT_TRUE(program.wait_for_output("a.png -> ")) << program.output();
  put("a.png", picture_of(10));
  EXPECT_TRUE(
      program.wait_for_output("/in/a.png: printed before; to print it again: "
                              "k905-print --reprint 1\n"))
      << program.output();
  EXPECT_EQ(printed(), std::vector<int>{10});
}

TEST_F(WatchProgram, ARenamedPhotoIsNotPrintedAgain) {
  put("a.png", picture_of(10));
  RunningProgram program(kProgram, arguments(), environment());
  EXPECT_TRUE(program.wait_for_output("a.png -> ")) << program.output();
  std::filesystem::rename(inbox() + "/a.png", inbox() + "/b.png");
  put("c.png", picture_of(30));
  EXPECT_TRUE(program.wait_for_output("c.png -> ")) << program.output();
  EXPECT_EQ(printed(), (std::vector<int>{10, 30}));
}

// Without root's right to ignore file permissions. Not as another user, who may not be able to
// reach the programs of this build.
class WatchWithoutPermission : public WatchProgram {
 protected:
  [[nodiscard]] std::unique_ptr<RunningProgram> start(const std::vector<std::string>& more) const {
    std::vector<std::string> command = arguments({"--ledger", folder_.path() + "/ledger"});
    command.insert(command.end(), more.begin(), more.end());
    if (geteuid() != 0) {
      return std::make_unique<RunningProgram>(kProgram, command, environment());
    }
    command.insert(command.begin(), {"--bounding-set=-dac_override,-dac_read_search", kProgram});
    return std::make_unique<RunningProgram>("/usr/bin/setpriv", command, environment());
  }
  static void set_mode(const std::string& path, unsigned mode) {
    std::filesystem::permissions(path, static_cast<std::filesystem::perms>(mode));
  }
};

TEST_F(WatchWithoutPermission, UnreadablePhotoIsPrintedWhenItIsReadable) {
  put("a.png", picture_of(10));
  set_mode(inbox() + "/a.png", 0);
  const auto program = start({});
  EXPECT_TRUE(
      program->wait_for_output("/in/a.png: Permission denied; the program will try again\n"))
      << program->output();
  set_mode(inbox() + "/a.png", 0644);
  EXPECT_TRUE(program->wait_for_output("a.png -> ")) << program->output();
  EXPECT_EQ(printed(), std::vector<int>{10});
}

TEST_F(WatchWithoutPermission, NewOnlySkipsAPhotoThatBecomesReadableLater) {
  put("a.png", picture_of(10));
  set_mode(inbox() + "/a.png", 0);
  put("old.doc", "");
  const auto program = start({"--new-only"});
  EXPECT_TRUE(program->wait_for_output("/in/old.doc: files of this type are not read"))
      << program->output();
  set_mode(inbox() + "/a.png", 0644);
  put("b.png", picture_of(20));
  EXPECT_TRUE(program->wait_for_output("b.png -> ")) << program->output();
  EXPECT_EQ(printed(), std::vector<int>{20});
  // Another photo under the name of the old one is new.
  put("a.png", picture_of(30));
  EXPECT_TRUE(program->wait_for_output("a.png -> ")) << program->output();
  EXPECT_EQ(printed(), (std::vector<int>{20, 30}));
}

TEST_F(WatchWithoutPermission, NewOnlySkipsTheFilesOfAFolderThatBecomesReadableLater) {
  put("a.png", picture_of(10));
  put("old.doc", "");
  set_mode(inbox(), 0333);
  const auto program = start({"--new-only"});
  EXPECT_TRUE(program->wait_for_output(inbox() + ": Permission denied\n")) << program->output();
  set_mode(inbox(), 0777);
  EXPECT_TRUE(program->wait_for_output("/in/old.doc: files of this type are not read"))
      << program->output();
  put("b.png", picture_of(20));
  EXPECT_TRUE(program->wait_for_output("b.png -> ")) << program->output();
  EXPECT_EQ(printed(), std::vector<int>{20});
}

// There is no event in the folder: only another attempt can detect it.
TEST_F(WatchProgram, PhotoReadableAgainIsFoundByRetrying) {
  std::filesystem::create_symlink("b.png", folder_.path() + "/a.png");
  std::filesystem::create_symlink("a.png", folder_.path() + "/b.png");
  std::filesystem::create_symlink(folder_.path() + "/a.png", inbox() + "/a.png");
  RunningProgram program(kProgram, arguments(), environment());
  put("z.png", picture_of(10));
  EXPECT_TRUE(program.wait_for_output("z.png -> ")) << program.output();
  std::filesystem::remove(folder_.path() + "/b.png");
  folder_.write("b.png", picture_of(20));
  EXPECT_TRUE(program.wait_for_output("a.png -> ")) << program.output();
  EXPECT_EQ(printed(), (std::vector<int>{10, 20}));
}

TEST_F(WatchProgram, EachCopyIsASeparateSheet) {
  put("a.png", picture_of(10));
  RunningProgram program(kProgram, arguments({"-n", "3"}), environment());
  EXPECT_TRUE(program.wait_for_output("a.png -> ")) << program.output();
  EXPECT_EQ(printed(), (std::vector<int>{10, 10, 10}));
}

// The limit begins again at midnight: if the day ends during the test, the printed photos are not
// checked.
TEST_F(WatchProgram, DailyLimitHoldsAfterARestart) {
  const auto today = [] {
    const std::time_t time = std::time(nullptr);
    std::tm day{};
    localtime_r(&time, &day);
    return day.tm_yday;
  };
  put("a.png", picture_of(10));
  put("b.png", picture_of(20));
  put("c.png", picture_of(30));
  const int before = today();
  for (const char* words : {"b.png -> ", "the limit of 2 sheets for today is reached"}) {
    RunningProgram program(kProgram, arguments({"--limit", "2"}), environment());
    EXPECT_TRUE(program.wait_for_output(words)) << program.output();
    program.send_signal(SIGKILL);
    (void)program.wait();
  }
  if (today() == before) {
    EXPECT_EQ(printed(), (std::vector<int>{10, 20}));
  }
}

TEST_F(WatchProgram, TheLimitOfAnEventHoldsAfterARestart) {
  put("a.png", picture_of(10));
  put("b.png", picture_of(20));
  put("c.png", picture_of(30));
  const std::pair<const char*, const char*> runs[] = {
      {"party", "b.png -> "},
      {"party", "the limit of 2 sheets for the event party is reached"},
      {"another", "c.png -> "}};
  for (const auto& [event, words] : runs) {
    RunningProgram program(kProgram, arguments({"--limit", "2", "--event", event}), environment());
    EXPECT_TRUE(program.wait_for_output(words)) << program.output();
    program.send_signal(SIGKILL);
    (void)program.wait();
  }
  EXPECT_EQ(printed(), (std::vector<int>{10, 20, 30}));
}

TEST_F(WatchProgram, NoPhotoIsReadWhileTheLimitIsReached) {
  put("a.png", picture_of(10));
  put("b.jpg", "\xff\xd8 broken");
  {
    RunningProgram program(kProgram, arguments({"--event", "x", "--limit", "1"}), environment());
    EXPECT_TRUE(program.wait_for_output("the limit of 1 sheets for the event x is reached"))
        << program.output();
    program.send_signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_THAT(program.output(), Not(HasSubstr("b.jpg")));
  }
  RunningProgram program(kProgram, arguments({"--event", "x", "--limit", "2"}), environment());
  EXPECT_TRUE(program.wait_for_output("/in/b.jpg: ")) << program.output();
}

TEST_F(WatchProgram, NewOnlySkipsFilesThatAreThereAtTheFirstStart) {
  put("old.png", picture_of(10));
  put("old.doc", "");
  {
    RunningProgram program(kProgram, arguments({"--new-only"}), environment());
    // This is reported when the program starts to watch the folder.
    EXPECT_TRUE(program.wait_for_output("/in/old.doc: files of this type are not read"));
    put("b.png", picture_of(20));
    EXPECT_TRUE(program.wait_for_output("b.png -> ")) << program.output();
  }
  // Files that arrive between two runs are not old.
  put("c.png", picture_of(30));
  RunningProgram program(kProgram, arguments({"--new-only"}), environment());
  EXPECT_TRUE(program.wait_for_output("c.png -> ")) << program.output();
  EXPECT_EQ(printed(), (std::vector<int>{20, 30}));
}

TEST_F(WatchProgram, FinishedFilesAreMoved) {
  put("a.png", picture_of(10));
  put("b.jpg", "\xff\xd8 broken");
  RunningProgram program(kProgram, moving_arguments(), environment());
  EXPECT_TRUE(program.wait_for_output("a.png -> ")) << program.output();
  EXPECT_TRUE(program.wait_for_output("/in/b.jpg: ")) << program.output();
  put("c.png", picture_of(30));
  EXPECT_TRUE(program.wait_for_output("c.png -> ")) << program.output();
  EXPECT_EQ(folder_.read("in/printed/a.png"), picture_of(10));
  EXPECT_EQ(folder_.read("in/failed/b.jpg"), "\xff\xd8 broken");
  EXPECT_THAT(program.output(),
              HasSubstr("/in/b.jpg: " + folder_.read("in/failed/b.jpg.txt").value_or("no reason")));
  EXPECT_FALSE(folder_.read("in/c.png"));
}

class ReprintProgram : public WatchProgram {
 protected:
  void print_one() const { print_one(arguments()); }
  void print_one(const std::vector<std::string>& all_arguments) const {
    put("a.png", picture_of(10));
    RunningProgram program(kProgram, all_arguments, environment());
    EXPECT_TRUE(program.wait_for_output("a.png -> ")) << program.output();
  }
};

TEST_F(ReprintProgram, PrintsASheetAsItWasPrinted) {
  print_one(moving_arguments({"--paper", "6x8", "--move"}));
  const ChildResult result = run({"--reprint", "1"});
  EXPECT_EQ(result.status, 0) << result.log;
  EXPECT_EQ(result.output, inbox() + "/printed/a.png -> " + job() + "\n");
  EXPECT_EQ(printed(), (std::vector<int>{10, 10}));
  const std::string history = run({"--history"}).output;
  EXPECT_THAT(history, HasSubstr("  printed  " + inbox() + "/a.png  " + job() + "\n"));
  EXPECT_THAT(history, HasSubstr("  printed  " + inbox() + "/printed/a.png  " + job() + "\n"));
}

TEST_F(ReprintProgram, CountsForTheEventOfItsSheet) {
  print_one(arguments({"--event", "party"}));
  EXPECT_EQ(run({"--reprint", "1"}).status, 0);
  RunningProgram program(kProgram, arguments({"--event", "party", "--limit", "2"}), environment());
  put("b.png", picture_of(20));
  EXPECT_TRUE(program.wait_for_output("the limit of 2 sheets for the event party is reached"))
      << program.output();
  EXPECT_THAT(run({"--history", "--json"}).output, HasSubstr("\"event\":\"party\""));
}

TEST_F(ReprintProgram, KeepsTheLayoutTheFrameAndTheCaption) {
  const std::vector<std::uint8_t> frame{0, 0, 0, 0, 200, 200, 200, 255};  // the right half
  folder_.write("my frame.png", png_file(2, 1, {.color_type = 6}, frame));
  print_one(arguments({"-p", "6x2*2", "--layout", "sheet", "--frame",
                       folder_.path() + "/my frame.png", "--caption", "a \"b\" {date}"}));
  const ChildResult result = run({"--reprint", "1"});
  EXPECT_EQ(result.status, 0) << result.log;
  const std::string bytes = folder_.read("job.prn").value_or("");
  ASSERT_FALSE(bytes.empty());
  EXPECT_EQ(bytes.substr(0, bytes.size() / 2), bytes.substr(bytes.size() / 2));
  EXPECT_NE(bytes.find(std::string(100, '\xc8')), std::string::npos);
}

TEST_F(ReprintProgram, RunningWatchOfTheFolderPrintsIt) {
  print_one();
  RunningProgram program(kProgram, arguments(), environment());
  put("b.png", picture_of(20));
  EXPECT_TRUE(program.wait_for_output("b.png -> ")) << program.output();
  const ChildResult result = run({"--reprint", "1"});
  EXPECT_EQ(result.status, 0) << result.log;
  EXPECT_EQ(result.output, inbox() + "/a.png -> the k905-print that watches " + inbox() + "\n");
  EXPECT_TRUE(program.wait_for_output("a.png -> ")) << program.output();
  EXPECT_EQ(printed(), (std::vector<int>{10, 20, 10}));
}

TEST_F(ReprintProgram, SharesTheSheetOfAPhotoThatWaitsForAnotherOne) {
  print_one(arguments({"--two-up", "--partner-wait", "0"}));
  RunningProgram program(kProgram, arguments({"--two-up", "--partner-wait", "3600"}),
                         environment());
  put("b.png", picture_of(20));
  EXPECT_TRUE(program.wait_for_output("/b.png: waits for another photo on its sheet"))
      << program.output();
  EXPECT_EQ(run({"--reprint", "1"}).status, 0);
  EXPECT_TRUE(program.wait_for_output("a.png -> ") && program.wait_for_output("b.png -> "))
      << program.output();
  EXPECT_EQ(printed().size(), 2U);
}

TEST_F(ReprintProgram, AChangedPhotoIsNotThePrintedOne) {
  print_one();
  put("a.png", picture_of(20));
  const ChildResult result = run({"--reprint", "1"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log,
            "k905-print: " + inbox() + "/a.png: the file no longer exists, or it was changed\n");
  EXPECT_THAT(run({"--reprint", "9"}).log, HasSubstr("no sheet has the number 9"));
  EXPECT_EQ(printed(), std::vector<int>{10});
}

TEST_F(ReprintProgram, FailsIfThePhotoIsRefusedAgain) {
  put("a.jpg", "\xff\xd8 broken");
  {
    RunningProgram program(kProgram, arguments(), environment());
    EXPECT_TRUE(program.wait_for_output("/in/a.jpg: ")) << program.output();
    program.send_signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
  }
  const ChildResult result = run({"--to", job(), "--reprint", "1", "--json"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.output, HasSubstr("\"outcome\":\"refused\""));
}

TEST_F(ReprintProgram, PrintsAsManyCopiesAsAreOrdered) {
  print_one();
  const ChildResult result = run({"--reprint", "1", "-n", "2"});
  EXPECT_EQ(result.status, 0) << result.log;
  EXPECT_EQ(printed(), (std::vector<int>{10, 10, 10}));
}

TEST_F(ReprintProgram, FindsAPhotoThatWasRenamedWhenItWasMoved) {
  folder_.write("first.png", picture_of(50));
  std::filesystem::create_directory(inbox() + "/printed");
  std::filesystem::rename(folder_.path() + "/first.png", inbox() + "/printed/a.png");
  print_one(moving_arguments());
  const ChildResult result = run({"--reprint", "1"});
  EXPECT_EQ(result.status, 0) << result.log;
  EXPECT_EQ(result.output, inbox() + "/printed/a-2.png -> " + job() + "\n");
  EXPECT_EQ(printed(), (std::vector<int>{10, 10}));
  // Also under any other name.
  std::filesystem::rename(inbox() + "/printed/a-2.png", inbox() + "/printed/z.png");
  EXPECT_EQ(run({"--reprint", "1"}).status, 0);
  EXPECT_EQ(printed(), (std::vector<int>{10, 10, 10}));
}

TEST_F(ReprintProgram, OnAnotherPaperIgnoresTheFormerCut) {
  print_one(arguments({"--paper", "6x8", "-o", "K905Cut=6x2"}));
  for (const char* paper : {"6x8", "6x6"}) {
    const ChildResult result = run({"--reprint", "1", "--paper", paper});
    EXPECT_EQ(result.status, 0) << paper << result.log;
  }
  const std::string bytes = folder_.read("job.prn").value_or("");
  const ParsedStream stream =
      parse_printer_stream(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  std::vector<std::uint32_t> cuts;
  for (const Sheet& sheet : stream.sheets) {
    cuts.push_back(sheet.cutter);
  }
  EXPECT_EQ(cuts, (std::vector<std::uint32_t>{120, 0, 0}));
}

TEST_F(WatchProgram, PathOfTheLedgerCanBeChosen) {
  put("a.png", picture_of(10));
  const std::string ledger = folder_.path() + "/my.ledger";
  RunningProgram program(kProgram, arguments({"--ledger", ledger}), environment());
  EXPECT_TRUE(program.wait_for_output("a.png -> "));
  program.send_signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_THAT(folder_.read("my.ledger").value_or(""), StartsWith("SQLite format 3"));
}

// A journal as earlier versions wrote it, with the 64-bit FNV-1a of the photo's bytes.
TEST_F(WatchProgram, OldJournalIsImported) {
  put("a.png", "a");
  put("b.png", picture_of(20));
  const std::string ledger =
      folder_.write("my.journal", "k905-print journal 1\ntaken af63dc4c8601ec8c 1 5 a.png\n");
  RunningProgram program(kProgram, arguments({"--journal", ledger}), environment());
  EXPECT_TRUE(program.wait_for_output("b.png -> ")) << program.output();
  // The file is not a photo: an attempt to print it would report an error.
  EXPECT_THAT(program.output(), Not(HasSubstr("a.png")));
  EXPECT_THAT(folder_.read("my.journal").value_or(""), StartsWith("SQLite format 3"));
  EXPECT_TRUE(folder_.read("my.journal.old.imported"));
}

TEST_F(WatchProgram, PrintedPhotosOfAnOldJournalAreMovedToPrinted) {
  put("a.png", "a");
  put("b.png", picture_of(20));
  const std::string ledger =
      folder_.write("my.journal", "k905-print journal 1\ntaken af63dc4c8601ec8c 1 5 a.png\n");
  RunningProgram program(kProgram, moving_arguments({"--journal", ledger}), environment());
  EXPECT_TRUE(program.wait_for_output("b.png -> ")) << program.output();
  EXPECT_EQ(folder_.read("in/printed/a.png"), "a");
  EXPECT_FALSE(std::filesystem::exists(inbox() + "/failed"));
}

TEST_F(WatchProgram, SheetThatCannotBeRecordedIsNotPrinted) {
  std::filesystem::create_directory(folder_.path() + "/notes");
  put("a.png", picture_of(10));
  RunningProgram program(kProgram, arguments({"--ledger", folder_.path() + "/notes/ledger"}),
                         environment());
  EXPECT_TRUE(program.wait_for_output("a.png -> "));
  std::filesystem::remove_all(folder_.path() + "/notes");
  put("b.png", picture_of(20));
  EXPECT_EQ(program.wait(), 1);
  EXPECT_THAT(program.output(), HasSubstr("/notes/ledger: "));
  EXPECT_THAT(
      program.output(),
      EndsWith("; stopped, because a photo that cannot be recorded would be printed again\n"));
  EXPECT_EQ(printed(), std::vector<int>{10});
}

// The SQL statements of a run that prints one photo, each with its number of steps, if the ledger
// already has `photos` printed photos of the folder.
std::vector<std::string> statements_of_run(int photos, const std::vector<std::string>& options) {
  const ScratchFolder folder;
  const std::string inbox = std::filesystem::canonical(folder.path()) / "in";
  std::filesystem::create_directory(inbox);
  folder.write("in/new.png", picture_of(10));
  std::vector<Ledger::Earlier> printed(static_cast<std::size_t>(photos));
  for (Ledger::Earlier& photo : printed) {
    photo.name = "printed-" + std::to_string(&photo - printed.data()) + ".png";
  }
  std::string error;
  {
    Ledger ledger;
    EXPECT_TRUE(ledger.open(folder.path() + "/ledger", error)) << error;
    ledger.add_earlier(inbox, printed, "printed before");
  }
  std::vector<std::string> arguments{
      "--watch", inbox, "--to", folder.path() + "/job.prn", "--ledger", folder.path() + "/ledger",
      "--leave"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  RunningProgram program(kProgram, arguments,
                         {{"PATH", "/usr/bin:/bin"},
                          {"LD_PRELOAD", K905_BINARY_DIR "/tests/libcount_steps.so"},
                          {"ASAN_OPTIONS", "verify_asan_link_order=0"},
                          {"K905_STEPS_FILE", folder.path() + "/steps"}});
  EXPECT_TRUE(program.wait_for_output("new.png -> ")) << program.output();
  program.send_signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
  std::vector<std::string> statements;
  std::istringstream lines(folder.read("steps").value_or(""));
  for (std::string line; std::getline(lines, line);) {
    // Queried in each round of the wait, so their number depends on the time.
    if (!line.ends_with("PRAGMA data_version")) {
      statements.push_back(line);
    }
  }
  return statements;
}

TEST(WatchedHistory, PhotoNeedsNoMoreStepsAfterTenThousandThanAfterTen) {
  using Options = std::vector<std::string>;
  std::vector<std::future<std::vector<std::string>>> runs;
  for (const Options& limit : {Options{"--limit", "5"}, {"--limit", "5", "--event", "party"}}) {
    for (const int photos : {10, 10000}) {
      runs.push_back(std::async(std::launch::async, statements_of_run, photos, limit));
    }
  }
  for (std::size_t i = 0; i < runs.size(); i += 2) {
    const std::vector<std::string> few = runs[i].get();
    EXPECT_THAT(few, testing::Contains(testing::ContainsRegex("^[1-9][0-9]* INSERT INTO sheet")));
    EXPECT_EQ(runs[i + 1].get(), few);
  }
}

TEST_F(WatchProgram, TwoWatchesOfOneFolderDoNotPrintTwice) {
  put("a.png", picture_of(10));
  RunningProgram first(kProgram, arguments(), environment());
  EXPECT_TRUE(first.wait_for_output("a.png -> "));
  RunningProgram second(kProgram, arguments(), environment());
  EXPECT_EQ(second.wait(), 1);
  EXPECT_THAT(second.output(), HasSubstr("another k905-print watches this folder"));
}

TEST_F(WatchProgram, WithoutALedgerNothingIsPrinted) {
  put("a.png", picture_of(10));
  const std::string ledger = folder_.write("my.ledger", "not a ledger\n");
  RunningProgram program(kProgram, arguments({"--ledger", ledger}), environment());
  EXPECT_EQ(program.wait(), 1);
  EXPECT_THAT(program.output(), StartsWith("k905-print: " + ledger + ": not a ledger"));
  EXPECT_FALSE(folder_.read("job.prn"));
}

}  // namespace

}  // namespace k905
