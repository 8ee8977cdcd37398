// Signals that cancel a job, or would end the filter in the middle of a sheet.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>

#include "tests/cli/interactive_process.h"
#include "tests/cli/small_job.h"
#include "tests/support/build_paths.h"
#include "tests/support/captured_log.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

// The signal is ignored in this process and its children during the life of the guard.
class IgnoredSignal {
 public:
  explicit IgnoredSignal(int number) : number_(number), before_(std::signal(number, SIG_IGN)) {}
  ~IgnoredSignal() { std::signal(number_, before_); }
  IgnoredSignal(const IgnoredSignal&) = delete;
  IgnoredSignal& operator=(const IgnoredSignal&) = delete;

 private:
  int number_;
  void (*before_)(int);
};

// A limit on the size of files that this process and its children write.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_{};
};

// The abbreviated name ("TERM"): the text of strsignal has blanks, which test names cannot have.
std::string name_of(const ::testing::TestParamInfo<int>& instance) {
  return sigabbrev_np(instance.param);
}

class CancelSignal : public ::testing::TestWithParam<int> {};

TEST_P(CancelSignal, DuringASheetFinishesOnlyThatSheet) {
  InteractiveProcess process(under_cups());
  process.write_input(job_of(3));
  process.end_input();
  ASSERT_TRUE(process.wait_for_output(1000));
  process.send_signal(GetParam());
  expect_canceled(process);
  EXPECT_TRUE(process.output() == output_of(1)) << process.output().size();
}

TEST_P(CancelSignal, WhileInputIsAwaitedEndsTheJob) {
  InteractiveProcess process(under_cups());
  ASSERT_TRUE(process.wait_for_line("Cache Optimization"));
  process.send_signal(GetParam());
  expect_canceled(process);
  EXPECT_EQ(process.output(), "");
}

TEST_P(CancelSignal, BeforeMainEndsTheJobLikeALaterSignal) {
  ChildSetup setup = under_cups();
  setup.environment["LD_PRELOAD"] = K905_BINARY_DIR "/tests/libk905_early_signal.so";
  setup.environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";
  setup.environment["K905_EARLY_SIGNAL"] = std::to_string(GetParam());
  InteractiveProcess process(setup);
  process.write_input(job_of(1));
  expect_canceled(process);
  EXPECT_EQ(process.output(), "");
}

TEST_P(CancelSignal, EndsAQuery) {
  // A terminal that gives no reply takes the place of the printer.
  const int printer = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(printer, 0);
  ASSERT_EQ(grantpt(printer), 0);
  ASSERT_EQ(unlockpt(printer), 0);
  ChildSetup setup = under_cups();
  setup.arguments = {"rastertok905", "--info", ptsname(printer)};
  InteractiveProcess process(setup);
  ASSERT_TRUE(process.wait_for_line("query printer info"));
  process.send_signal(GetParam());
  EXPECT_EQ(process.finish().signal, GetParam());
  close(printer);
}

INSTANTIATE_TEST_SUITE_P(Cli, CancelSignal, ::testing::Values(SIGTERM, SIGINT, SIGHUP), name_of);

class IgnoredCancelSignal : public ::testing::TestWithParam<int> {};

TEST_P(IgnoredCancelSignal, CancelsNothing) {
  const IgnoredSignal ignored(GetParam());
  InteractiveProcess process(under_cups());
  process.write_input(job_of(2));
  ASSERT_TRUE(process.wait_for_output(1000));
  process.send_signal(GetParam());
  process.end_input();
  EXPECT_EQ(process.finish().status, 0);
  EXPECT_TRUE(process.output() == output_of(2)) << process.output().size();
}

// nohup ignores SIGHUP, a shell ignores SIGINT in background jobs.
INSTANTIATE_TEST_SUITE_P(Cli, IgnoredCancelSignal, ::testing::Values(SIGINT, SIGHUP), name_of);

TEST(FileSizeLimit, LosesImagesAndLogLinesButNoSheet) {
  if (!private_tmp_possible()) {
    GTEST_SKIP() << "needs the right to make a mount namespace";
  }
  const ScratchFolder tmp;
  ChildSetup setup = under_cups();
  setup.environment.clear();
  setup.private_tmp = tmp.path();
  setup.input = job_of(2);
  ChildResult result;
  {
    const FileSizeLimit limit(5000);
    result = run_child(setup);
  }
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.signal, 0);
  EXPECT_TRUE(result.output == output_of(2)) << result.output.size();
  EXPECT_EQ(std::filesystem::file_size(tmp.path() + "/rastertok905_debug.log"), 5000U);
}

}  // namespace
