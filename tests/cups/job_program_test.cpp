// rastertok905job as CUPS starts it, with shell scripts in place of the filter.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/build_paths.h"
#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

const std::string kProgram = std::string(K905_BINARY_DIR) + "/rastertok905job";
const std::string kQueuePpd = std::string(K905_BINARY_DIR) + "/ppd/K905.ppd";
const std::string kKnownLeaks = std::string("suppressions=") + K905_SOURCE_DIR +
                                "/tests/cups/known_leaks.supp:print_suppressions=0";
// The script starts with the cancel signals blocked, as the filter does, and a shell cannot unblock
// signals.
const std::string kUnblockTerm =
    "[ -n \"$UNBLOCKED\" ] || UNBLOCKED=1 exec env --default-signal=TERM \"$0\" \"$@\"\n";
constexpr char kWarning[] =
    "WARNING: The choices made for this job could not be applied; it prints with the "
    "defaults of the queue.";

class JobPipe {
 public:
  JobPipe() { EXPECT_EQ(pipe2(ends_.data(), O_CLOEXEC), 0); }
  ~JobPipe() {
    close_read();
    close_write();
  }
  JobPipe(const JobPipe&) = delete;
  JobPipe& operator=(const JobPipe&) = delete;
  [[nodiscard]] int read_end() const { return ends_[0]; }
  [[nodiscard]] int write_end() const { return ends_[1]; }
  void close_read() { close_end(0); }
  void close_write() { close_end(1); }

 private:
  void close_end(int which) {
    if (ends_[which] >= 0) close(ends_[which]);
    ends_[which] = -1;
  }
  std::array<int, 2> ends_{-1, -1};
};

std::string read_to_end(int descriptor) {
  std::string text;
  char block[4096];
  ssize_t count = 0;
  while ((count = read(descriptor, block, sizeof block)) > 0) {
    text.append(block, static_cast<std::size_t>(count));
  }
  return text;
}

// Reads until `text` ends with the line `line`; false if the stream ends first.
bool read_until_line(int descriptor, std::string& text, const std::string& line) {
  char byte = 0;
  while (read(descriptor, &byte, 1) == 1) {
    text += byte;
    if (text.ends_with(line + "\n")) return true;
  }
  return false;
}

class JobProgram : public ::testing::Test {
 protected:
  JobProgram() {
    char folder[] = "/tmp/k905_job_program_XXXXXX";
    folder_ = mkdtemp(folder);
    renew_pipes();
    environment_ = {{"PPD", kQueuePpd}, {"PATH", "/usr/bin:/bin"}, {"LSAN_OPTIONS", kKnownLeaks}};
  }
  ~JobProgram() override { std::filesystem::remove_all(folder_); }

  void renew_pipes() {
    in_.emplace();
    out_.emplace();
    log_.emplace();
  }

  void replace_filter(const std::string& script) {
    const std::string path = folder_ + "/filter";
    std::ofstream(path) << "#!/bin/sh\n" << script;
    chmod(path.c_str(), 0755);
    environment_["K905_FILTER"] = path;
  }

  pid_t start(
      const std::vector<std::string>& arguments, const std::function<void()>& in_child = [] {}) {
    std::vector<std::string> all = {"queue"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(all.size() + 1);
    for (std::string& text : all) argv.push_back(text.data());
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
      dup2(in_->read_end(), STDIN_FILENO);
      dup2(out_->write_end(), STDOUT_FILENO);
      dup2(log_->write_end(), STDERR_FILENO);
      reset_process_state();
      in_child();
      clearenv();
      for (const auto& [name, value] : environment_) setenv(name.c_str(), value.c_str(), 1);
      execv(kProgram.c_str(), argv.data());
      _exit(126);
    }
    in_->close_read();
    out_->close_write();
    log_->close_write();
    return pid;
  }

  // Runs to the end with `input`, which must fit in a pipe; sets output_ and log_lines_.
  int run(
      const std::vector<std::string>& arguments, const std::string& input = "",
      const std::function<void()>& in_child = [] {}) {
    const pid_t pid = start(arguments, in_child);
    EXPECT_EQ(write(in_->write_end(), input.data(), input.size()),
              static_cast<ssize_t>(input.size()));
    in_->close_write();
    return finish(pid);
  }

  int finish(pid_t pid, const std::string& log_so_far = "") {
    log_lines_ = lines_of(log_so_far + read_to_end(log_->read_end()));
    output_ = read_to_end(out_->read_end());
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    return status;
  }

  // As CUPS starts a filter, independent of how the test was started: no other descriptors, no
  // ignored or blocked signals.
  static void reset_process_state() {
    close_range(STDERR_FILENO + 1, ~0U, 0);
    for (int number = 1; number < NSIG; ++number) signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
  }

  std::string folder_;
  std::map<std::string, std::string> environment_;
  std::optional<JobPipe> in_;
  std::optional<JobPipe> out_;
  std::optional<JobPipe> log_;
  std::string output_;
  std::vector<std::string> log_lines_;
};

const std::vector<std::string> kPlainJob = {"1", "me", "title", "1", ""};

TEST_F(JobProgram, PassesArgumentsToTheFilterUnchanged) {
  replace_filter("printf '<%s>' \"$@\"\n");
  run({"17", "me", "a 'title'\nPAGE: 9 9", "3", "PageSize=w432h576 x='y z'"});
  EXPECT_EQ(output_, "<17><me><a 'title'\nPAGE: 9 9><3><PageSize=w432h576 x='y z'>");
}

// For a document in a file no previous filter has repeated the pages.
TEST_F(JobProgram, AsksTheFilterForTheCopiesOfAFile) {
  replace_filter("printf '<%s>' \"$@\"\n");
  const std::string document = folder_ + "/document";
  std::ofstream(document) << "a document";
  run({"17", "me", "title", "3", "", document});
  EXPECT_EQ(output_, "<17><me><title><3><><" + document + "><--copies><3>");
}

TEST_F(JobProgram, PassesEveryByteUnchanged) {
  replace_filter("exec cat\n");
  std::string bytes;
  for (int i = 0; i < 40000; ++i) bytes += static_cast<char>((i * 31 + i / 251) & 0xff);
  EXPECT_EQ(run(kPlainJob, bytes), 0);
  EXPECT_EQ(output_, bytes);
}

// Raster data that was submitted as a file arrives in this way.
TEST_F(JobProgram, ADocumentInAFileBecomesTheFiltersInput) {
  const std::string document = folder_ + "/document";
  std::ofstream(document) << "a document";
  replace_filter("exec cat\n");
  EXPECT_EQ(run({"1", "me", "title", "1", "", document}), 0);
  EXPECT_EQ(output_, "a document");
  EXPECT_THAT(log_lines_, IsEmpty());
}

TEST_F(JobProgram, DocumentThatCannotBeOpenedIsReported) {
  replace_filter("exec cat\n");
  EXPECT_EQ(run({"1", "me", "title", "1", "", "/nowhere/document"}), 0);
  EXPECT_THAT(log_lines_,
              ElementsAre("ERROR: The document cannot be opened.",
                          "DEBUG: rastertok905job: /nowhere/document: No such file or directory"));
}

TEST_F(JobProgram, PutsTheJobsChoicesIntoThePpdFile) {
  replace_filter("grep -E '^.Default(PageSize|PageRegion|StpLaminate):' \"$PPD\"\n");
  run({"1", "me", "title", "1", "PageSize=w432h576 StpLaminate=Matte"});
  EXPECT_THAT(lines_of(output_),
              ElementsAre("*DefaultPageSize: w432h576", "*DefaultPageRegion: w432h576",
                          "*DefaultStpLaminate: Matte"));
  EXPECT_THAT(log_lines_, IsEmpty());
}

TEST_F(JobProgram, ReadsOptionsFromTheOptionsArgumentOnly) {
  replace_filter("grep '^.DefaultStpLaminate:' \"$PPD\"\n");
  run({"StpLaminate=Matte", "StpLaminate=Matte", "StpLaminate=Matte", "1", "",
       "StpLaminate=Matte"});
  EXPECT_EQ(output_, "*DefaultStpLaminate: Glossy\n");
}

TEST_F(JobProgram, PassesTheRibbonToTheFilter) {
  replace_filter("echo \"$K905_RIBBON\"\n");
  run({"1", "me", "title", "1", "K905Ribbon=6x8"});
  EXPECT_EQ(output_, "6x8\n");
}

TEST_F(JobProgram, KeepsTheRibbonVariableWhenNothingIsChosen) {
  replace_filter("echo \"$K905_RIBBON\"\n");
  environment_["K905_RIBBON"] = "6x8";
  run(kPlainJob);
  EXPECT_EQ(output_, "6x8\n");
}

TEST_F(JobProgram, ReturnsTheExitStatusOfTheFilter) {
  replace_filter("exit 3\n");
  const int status = run(kPlainJob);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST_F(JobProgram, EndsByTheSignalThatEndedTheFilter) {
  replace_filter("kill -SEGV $$\n");
  const int status = run(kPlainJob);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGSEGV);
}

TEST_F(JobProgram, ForwardsACancelAndWaitsForTheFilter) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    replace_filter(kUnblockTerm +
                   "trap 'echo canceled >&2; echo end-of-sheet; exit 0' TERM\n"
                   "echo ready >&2\n"
                   "while :; do read -r line || sleep 0.05; done\n");
    const pid_t pid = start(kPlainJob);
    std::string log;
    ASSERT_TRUE(read_until_line(log_->read_end(), log, "ready"));
    kill(pid, signal);
    EXPECT_EQ(finish(pid, log), 0);
    EXPECT_EQ(output_, "end-of-sheet\n");
    EXPECT_THAT(log_lines_, ElementsAre("ready", "canceled"));
    renew_pipes();
  }
}

// A job printed with nohup, or from the background of a shell.
TEST_F(JobProgram, ASignalThatIsIgnoredCancelsNothing) {
  for (const int number : {SIGINT, SIGHUP}) {
    replace_filter(kUnblockTerm + "echo ready >&2\nread -r line\necho \"printed $line\"\n");
    const pid_t pid = start(kPlainJob, [number] { signal(number, SIG_IGN); });
    std::string log;
    ASSERT_TRUE(read_until_line(log_->read_end(), log, "ready"));
    kill(pid, number);
    ASSERT_EQ(write(in_->write_end(), "page\n", 5), 5);
    EXPECT_EQ(finish(pid, log), 0);
    EXPECT_EQ(output_, "printed page\n");
    renew_pipes();
  }
}

// A SIGTERM that arrives before the filter is started is pending in the filter too, so that the
// script can check for it (bit 14) with shell builtins only.
constexpr char kWaitForPendingTerm[] =
    "while :; do\n"
    "  while read -r name value; do\n"
    "    [ \"$name $value\" = 'ShdPnd: 0000000000004000' ] && echo canceled && exit 0\n"
    "  done < /proc/$$/status\n"
    "done\n";

TEST_F(JobProgram, ForwardsAnEarlyCancel) {
  replace_filter(kWaitForPendingTerm);
  const int status = run(kPlainJob, "", [] {
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigprocmask(SIG_BLOCK, &blocked, nullptr);
    kill(getpid(), SIGTERM);  // pending through the exec
  });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(output_, "canceled\n");
}

// SIGTERM arrives before main(), when constructors of libraries run.
TEST_F(JobProgram, ForwardsACancelThatArrivedBeforeMain) {
  replace_filter(kWaitForPendingTerm);
  environment_["LD_PRELOAD"] = K905_BINARY_DIR "/tests/libk905_early_signal.so";
  environment_["ASAN_OPTIONS"] = "verify_asan_link_order=0";
  environment_["K905_EARLY_SIGNAL"] = std::to_string(SIGTERM);
  EXPECT_EQ(run(kPlainJob), 0);
  EXPECT_EQ(output_, "canceled\n");
}

// HUP, INT and TERM are blocked until the filter handles them; all others are as CUPS left them.
TEST_F(JobProgram, FilterStartsWithCancelSignalsBlocked) {
  // Without starting another program: a shell blocks all signals while it starts one.
  replace_filter(
      "while read -r line; do\n"
      "  case $line in SigBlk*|SigIgn*) echo \"$line\" ;; esac\n"
      "done < /proc/$$/status\n");
  run(kPlainJob);
  // The shell itself ignores and blocks no signals; SIGPIPE would be bit 0x1000.
  EXPECT_THAT(lines_of(output_),
              ElementsAre("SigBlk:\t0000000000004003", "SigIgn:\t0000000000000000"));
}

TEST_F(JobProgram, AnIgnoredSigchldDoesNotHideHowTheFilterEnded) {
  replace_filter("exit 3\n");
  const int status = run(kPlainJob, "", [] { signal(SIGCHLD, SIG_IGN); });
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST_F(JobProgram, ReportsEverySheetThatWasSent) {
  replace_filter(
      "for n in 1 2; do\n"
      "  echo \"K905-1: ===== PRINT CALL #$n =====\" >&2\n"
      "  echo \"K905-1: Single page printed successfully (print call #$n)\" >&2\n"
      "done\n");
  run(kPlainJob);
  EXPECT_THAT(log_lines_, ElementsAre("K905-1: ===== PRINT CALL #1 =====",
                                      "K905-1: Single page printed successfully (print call #1)",
                                      "ATTR: job-media-progress=100", "PAGE: 1 1",
                                      "K905-1: ===== PRINT CALL #2 =====",
                                      "K905-1: Single page printed successfully (print call #2)",
                                      "ATTR: job-media-progress=100", "PAGE: 2 1"));
}

TEST_F(JobProgram, LeavesTheCountOfSheetsToTheBackendThatConfirmsThem) {
  replace_filter(
      "echo \"K905-1: ===== PRINT CALL #1 =====\" >&2\n"
      "echo \"K905-1: Single page printed successfully (print call #1)\" >&2\n");
  for (const auto& [uri, counts] :
       {std::pair("k905://usb/1", 0), std::pair("usb://K905/K905?serial=1", 1)}) {
    environment_["DEVICE_URI"] = uri;
    renew_pipes();
    run(kPlainJob);
    EXPECT_EQ(std::count(log_lines_.begin(), log_lines_.end(), "PAGE: 1 1"), counts) << uri;
  }
}

TEST_F(JobProgram, LosesNoLineOfALongLog) {
  replace_filter("i=0; while [ $i -lt 20000 ]; do echo \"line $i\"; i=$((i+1)); done >&2\n");
  run(kPlainJob);
  ASSERT_EQ(log_lines_.size(), 20000U);
  for (std::size_t i = 0; i < log_lines_.size(); ++i) {
    ASSERT_EQ(log_lines_[i], "line " + std::to_string(i));
  }
}

// The printer must receive its sheet even while nobody reads the log: 400 kB is much more than two
// pipes can hold.
TEST_F(JobProgram, StalledLogDoesNotDelayTheFilter) {
  replace_filter(
      "i=0; while [ $i -lt 10000 ]; do echo 'a line of the log of forty bytes length..'; "
      "i=$((i+1)); done >&2\necho sheet\n");
  const pid_t pid = start(kPlainJob);
  in_->close_write();
  std::string sheet;
  EXPECT_TRUE(read_until_line(out_->read_end(), sheet, "sheet"));
  EXPECT_EQ(finish(pid), 0);
  EXPECT_EQ(log_lines_.size(), 10000U);
}

// The reader of the log stops reading, and the job is canceled.
TEST_F(JobProgram, StalledLogDoesNotKeepACanceledJobRunning) {
  replace_filter(
      "i=0; while [ $i -lt 10000 ]; do echo 'a line of the log of forty bytes length..'; "
      "i=$((i+1)); done >&2\necho sheet\n");
  const pid_t pid = start(kPlainJob);
  in_->close_write();
  std::string sheet;
  EXPECT_TRUE(read_until_line(out_->read_end(), sheet, "sheet"));
  EXPECT_EQ(read_to_end(out_->read_end()), "");
  kill(pid, SIGTERM);
  EXPECT_EQ(wait_for_child(pid).status, 0);
}

TEST_F(JobProgram, LogStalledFromTheStartDelaysNothing) {
  replace_filter("cat\n");
  environment_.erase("PPD");  // is reported before the filter is started
  ASSERT_EQ(fcntl(log_->write_end(), F_SETFL, O_NONBLOCK), 0);
  while (write(log_->write_end(), "x", 1) == 1) {
  }
  ASSERT_EQ(fcntl(log_->write_end(), F_SETFL, 0), 0);
  const pid_t pid = start(kPlainJob);
  ASSERT_EQ(write(in_->write_end(), "page", 4), 4);
  in_->close_write();
  EXPECT_EQ(read_to_end(out_->read_end()), "page");
  kill(pid, SIGTERM);
  EXPECT_EQ(wait_for_child(pid).status, 0);
}

TEST_F(JobProgram, ClosedLogDoesNotStopTheFilter) {
  replace_filter(
      "i=0; while [ $i -lt 10000 ]; do echo 'a line of the log' >&2; i=$((i+1)); done\n"
      "echo sheet\n");
  const pid_t pid = start(kPlainJob);
  in_->close_write();
  log_->close_read();
  std::string sheet;
  EXPECT_TRUE(read_until_line(out_->read_end(), sheet, "sheet"));
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_EQ(status, 0);
}

// The filter before this one must get EPIPE when nobody reads any more, and the backend the end of
// the job.
TEST_F(JobProgram, KeepsNeitherEndOfTheJobsPipesOpen) {
  replace_filter("exec <&- >&-\necho closed >&2\nexec env --default-signal=TERM sleep 20\n");
  const pid_t pid = start(kPlainJob);
  std::string log;
  ASSERT_TRUE(read_until_line(log_->read_end(), log, "closed"));
  EXPECT_EQ(read_to_end(out_->read_end()), "");
  pollfd closed_pipe{in_->write_end(), 0, 0};
  EXPECT_EQ(poll(&closed_pipe, 1, 10000), 1);
  EXPECT_NE(closed_pipe.revents & POLLERR, 0);
  kill(pid, SIGTERM);
  EXPECT_TRUE(WIFSIGNALED(finish(pid, log)));
}

TEST_F(JobProgram, KillingItEndsTheFilterToo) {
  replace_filter("trap '' TERM\necho ready >&2\nexec sleep 60\n");
  const pid_t pid = start(kPlainJob);
  std::string log;
  ASSERT_TRUE(read_until_line(log_->read_end(), log, "ready"));
  kill(pid, SIGKILL);
  // Only the filter has the output open now: the end of the output shows that the filter has ended.
  EXPECT_EQ(read_to_end(out_->read_end()), "");
  finish(pid, log);
}

TEST_F(JobProgram, WithoutAPpdFileTheJobStillPrints) {
  replace_filter("cat; echo \"${PPD-unset}\"; exit 2\n");
  environment_.erase("PPD");
  const int status = run(kPlainJob, "raster ");
  EXPECT_EQ(WEXITSTATUS(status), 2);
  EXPECT_EQ(output_, "raster unset\n");
  EXPECT_THAT(log_lines_,
              ElementsAre(kWarning, "DEBUG: rastertok905job: the variable PPD is not set"));
}

TEST_F(JobProgram, WithAnInvalidPpdFileTheJobStillPrints) {
  const std::string broken = folder_ + "/broken.ppd";
  std::ofstream(broken) << "%!PS-Adobe-3.0\nshowpage\n";
  replace_filter("echo \"$PPD\"\n");
  environment_["PPD"] = broken;
  run(kPlainJob);
  EXPECT_EQ(output_, broken + "\n");
  EXPECT_THAT(log_lines_, Contains(kWarning));
}

TEST_F(JobProgram, APpdFileThatIsAFifoIsNotWaitedFor) {
  const std::string fifo = folder_ + "/queue.ppd";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  replace_filter("echo \"$PPD\"\n");
  environment_["PPD"] = fifo;
  const pid_t pid = start(kPlainJob);
  EXPECT_EQ(wait_for_child(pid).status, 0);
  EXPECT_EQ(read_to_end(out_->read_end()), fifo + "\n");
  EXPECT_EQ(read_to_end(log_->read_end()), std::string(kWarning) + "\nDEBUG: rastertok905job: " +
                                               fifo + ": is not a regular file\n");
}

TEST_F(JobProgram, WithoutSpaceForTheCopyTheJobPrintsWithTheQueuesDefaults) {
  replace_filter("echo \"$PPD $K905_RIBBON\"\n");
  run({"1", "me", "title", "1", "K905Ribbon=6x8"}, "", [] {
    const rlimit nothing{0, 0};
    setrlimit(RLIMIT_FSIZE, &nothing);
  });
  EXPECT_EQ(output_, kQueuePpd + " 6x8\n");
  EXPECT_THAT(log_lines_,
              ElementsAre(kWarning, "DEBUG: rastertok905job: a private PPD file: File too large"));
}

TEST_F(JobProgram, ALineBreakInAPathStartsNoLine) {
  replace_filter("exit 0\n");
  environment_["PPD"] = "/nowhere\nPAGE: 1 1\n/x.ppd";
  run(kPlainJob);
  ASSERT_EQ(log_lines_.size(), 2U);
  EXPECT_THAT(log_lines_[1], StartsWith("DEBUG: rastertok905job: /nowhere PAGE: 1 1 /x.ppd: "));
}

TEST_F(JobProgram, ReportsAFilterThatCannotBeStarted) {
  environment_["K905_FILTER"] = folder_ + "/missing";
  const int status = run(kPlainJob);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_THAT(log_lines_, ElementsAre("ERROR: The print filter rastertok905 could not be started.",
                                      "DEBUG: rastertok905job: " + folder_ +
                                          "/missing: No such file or directory"));
}

// The filter must not get the original pages: it would resize them to the paper.
TEST_F(JobProgram, WithoutFreeDescriptorsTheJobFailsWithAMessage) {
  environment_["K905_FILTER"] = "/bin/echo";
  const int status = run(kPlainJob, "", [] {
    // One for the PPD copy, one for the loader: not enough for the pipe of the pages.
    const rlimit standard_ones_and_two{5, 5};
    setrlimit(RLIMIT_NOFILE, &standard_ones_and_two);
  });
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_EQ(output_, "");
  EXPECT_THAT(log_lines_, ElementsAre("ERROR: The pages of the job cannot be laid out: no process "
                                      "can be started."));
}

TEST_F(JobProgram, ClosedStandardDescriptorsAreNotReused) {
  replace_filter("cat 2>/dev/null | wc -c | tr -d ' ' >&2\n");
  const pid_t pid = start(kPlainJob, [] {
    close(STDIN_FILENO);
    close(STDOUT_FILENO);
  });
  finish(pid);
  EXPECT_THAT(log_lines_, ElementsAre("0")) << "the filter read something else as its input";
}

TEST_F(JobProgram, FindsTheFilterInItsOwnFolder) {
  const std::string copy = folder_ + "/rastertok905job";
  std::filesystem::copy_file(kProgram, copy);
  replace_filter("echo beside\n");
  std::filesystem::rename(folder_ + "/filter", folder_ + "/rastertok905");
  environment_.erase("K905_FILTER");
  FILE* pipe =
      popen(("env -i PPD='" + kQueuePpd + "' '" + copy + "' 1 me t 1 '' </dev/null").c_str(), "r");
  ASSERT_NE(pipe, nullptr);
  EXPECT_EQ(read_to_end(fileno(pipe)), "beside\n");
  EXPECT_EQ(pclose(pipe), 0);
}

}  // namespace
