// The interface of the built program: exit status, streams, signals, the log file.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "apps/base/write_all.h"
#include "tests/cli/interactive_process.h"
#include "tests/cli/small_job.h"
#include "tests/support/captured_log.h"

namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// ---- exit status ----

TEST(ExitStatus, IsZeroForAPrintedJob) {
  ChildSetup setup = under_cups();
  setup.input = job_of(2);
  const ChildResult result = run_child(setup);
  EXPECT_EQ(result.status, 0);
  expect_complete_log(lines_of(result.log));
  EXPECT_TRUE(result.output == output_of(2));
}

TEST(ExitStatus, IsOneWhenThereIsNoRasterAtAll) {
  const ChildResult result = run_child(under_cups());
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output, "");
  const std::vector<std::string> log = lines_of(result.log);
  ASSERT_GT(log.size(), 2U);
  EXPECT_EQ(log[log.size() - 2], "K905-1: cupsRasterOpen failed (no raster data from upstream).");
  EXPECT_EQ(log.back(),
            "K905-1: Tip: In print dialog choose Color/RGB, not Grayscale or Black only.");
}

TEST(ExitStatus, IsOneWhenTheInputIsTheNullDevice) {
  const ScratchFolder scratch;
  const std::string log_file = scratch.write("log", "");
  const int null_device = open("/dev/null", O_RDWR | O_CLOEXEC);
  const int log = open(log_file.c_str(), O_WRONLY | O_CLOEXEC);
  EXPECT_EQ(wait_for_child(start_child(under_cups(), null_device, null_device, log)).status, 1);
  close(null_device);
  close(log);
  EXPECT_THAT(lines_of(read_file(log_file)),
              Contains("K905-1: cupsRasterOpen failed (no raster data from upstream)."));
}

TEST(ExitStatus, IsZeroForAJobWithoutPages) {
  ChildSetup setup = under_cups();
  setup.input = job_of(1).substr(0, 4);
  const ChildResult result = run_child(setup);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "");
  const std::vector<std::string> log = lines_of(result.log);
  expect_complete_log(log);
  EXPECT_EQ(log[log.size() - 2], "  Cache Optimization: ENABLED");
}

TEST(ExitStatus, IsZeroWhenThePagesCannotBeRead) {
  ChildSetup setup = under_cups();
  setup.input = job_of(1);
  setup.input.pop_back();
  const ChildResult result = run_child(setup);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(lines_of(result.log), Contains("K905-1: cupsRasterReadPixels failed at line 29"));
}

TEST(ExitStatus, IsOneWhenTheQueryHasNoPrinter) {
  ChildSetup setup = under_cups();
  setup.arguments = {"rastertok905", "--info", "/nonexistent/lp7"};
  const ChildResult result = run_child(setup);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(lines_of(result.log), Contains("K905-1: query printer info from /nonexistent/lp7"));
  EXPECT_EQ(lines_of(result.log).back(),
            "K905-1: open('/nonexistent/lp7') failed: No such file or directory");
}

// /dev/null accepts every question and returns end of file at once.
constexpr char kReportWithoutReplies[] =
    "Version = v1.0\r\nPrintStatus =  (-1)\r\nPrintVersion = \r\nPrintMediaInfo = \r\n"
    "PrintHorResolution = \r\nPrintVerResolution = \r\nPrintFreeBuff =  (-1)\r\n"
    "PrintInitMediaCount =  (-1)\r\nPrintRemainQuantity =  (-1)\r\nPrintSerialNO = \r\n"
    "PrintVolumeLifeCounter =  (-1)\r\nPrintHalfSizeMediaCounter =  (-1)\r\n"
    "PrintVolumeMatteCounter =  (-1)\r\nPrintColorControlDataVersion = \r\n"
    "PrintColorControlDataChecksum = \r\n";

TEST(ExitStatus, IsZeroForAReportWithoutReplies) {
  ChildSetup setup = under_cups();
  setup.arguments = {"rastertok905", "--info", "/dev/null"};
  const ChildResult result = run_child(setup);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, StartsWith(kReportWithoutReplies));
  EXPECT_THAT(lines_of(result.log), Not(Contains(HasSubstr("ribbon detection"))));
}

TEST(ExitStatus, AnInfoFlagWithAValueIsAQueryToo) {
  // The argument is cut at its "=" before the mode is chosen.
  ChildSetup setup = under_cups();
  setup.arguments = {"rastertok905", "--info=x", "/dev/null"};
  const ChildResult result = run_child(setup);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, StartsWith(kReportWithoutReplies));
}

TEST(Arguments, WithoutAnyTheJobHasTheDefaults) {
  ChildSetup setup = under_cups();
  setup.arguments = {"rastertok905"};
  setup.input = job_of(1);
  const ChildResult result = run_child(setup);
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(result.output == output_of(1));
  EXPECT_THAT(lines_of(result.log), Not(Contains(HasSubstr("Arg["))));
}

// ---- the log file ----

// Runs the filter by hand with a private /tmp.
class ByHandLog : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!private_tmp_possible()) {
      GTEST_SKIP() << "needs the right to make a mount namespace";
    }
    setup_ = under_cups();
    setup_.environment.clear();
    setup_.private_tmp = tmp_.path();
    setup_.input = job_of(1);
  }
  [[nodiscard]] std::string log_path() const { return tmp_.path() + "/rastertok905_debug.log"; }

  ScratchFolder tmp_;
  ChildSetup setup_;
};

TEST_F(ByHandLog, HasEveryLineAndStandardErrorHasNone) {
  const ChildResult result = run_child(setup_);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.log, "");
  expect_complete_log(lines_of(read_file(log_path())));
  EXPECT_TRUE(fs::is_directory(tmp_.path() + "/k905_debug"));
}

TEST_F(ByHandLog, IsEmptiedAtEveryStart) {
  tmp_.write("rastertok905_debug.log", std::string(100000, 'x'));
  (void)run_child(setup_);
  const std::string log = read_file(log_path());
  expect_complete_log(lines_of(log));
  EXPECT_EQ(log.find("xxx"), std::string::npos);
}

TEST_F(ByHandLog, DoesNotFollowASymbolicLink) {
  tmp_.write("precious", "keep me");
  fs::create_symlink("precious", log_path());
  const ChildResult result = run_child(setup_);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(read_file(tmp_.path() + "/precious"), "keep me");
  expect_complete_log(lines_of(result.log));  // the log stays on standard error
  EXPECT_TRUE(result.output == output_of(1));
}

TEST_F(ByHandLog, ThatCannotBeOpenedLeavesTheLogOnStandardError) {
  fs::create_directory(log_path());
  const ChildResult result = run_child(setup_);
  EXPECT_EQ(result.status, 0);
  expect_complete_log(lines_of(result.log));
  EXPECT_TRUE(result.output == output_of(1));
}

TEST_F(ByHandLog, IsNotCreatedIfPpdIsSetEvenToAnEmptyText) {
  for (const char* ppd : {"", kMissingPpd}) {
    setup_.environment["PPD"] = ppd;
    const ChildResult result = run_child(setup_);
    expect_complete_log(lines_of(result.log));
    EXPECT_THAT(lines_of(result.log),
                Contains(std::string("K905-1: Failed to open PPD file: ") + ppd));
    EXPECT_TRUE(fs::is_empty(tmp_.path()));
  }
}

TEST_F(ByHandLog, IsNeverOpenedAsStandardOutput) {
  // The first file opened would get descriptor 1, and receive the sheets.
  const Pipe in = make_pipe();
  const Pipe err = make_pipe();
  const int child = start_child(setup_, in.read_end, -1, err.write_end);
  close(in.read_end);
  close(err.write_end);
  ASSERT_TRUE(write_all(in.write_end, setup_.input));
  close(in.write_end);
  EXPECT_EQ(wait_for_child(child).status, 0);
  close(err.read_end);
  const std::string log = read_file(log_path());
  expect_complete_log(lines_of(log));
  EXPECT_EQ(log.find('\x1b'), std::string::npos);
  EXPECT_THAT(lines_of(log), Contains("K905-1: send Y plane failed"));
  for (const auto& picture : fs::directory_iterator(tmp_.path() + "/k905_debug")) {
    EXPECT_EQ(read_file(picture.path()).substr(0, 2), "P6") << picture.path();
  }
}

TEST_F(ByHandLog, IsNeverOpenedAsStandardInput) {
  const Pipe out = make_pipe();
  const Pipe err = make_pipe();
  const int child = start_child(setup_, -1, out.write_end, err.write_end);
  close(out.write_end);
  close(err.write_end);
  EXPECT_EQ(wait_for_child(child).status, 1);
  close(out.read_end);
  close(err.read_end);
  EXPECT_THAT(lines_of(read_file(log_path())),
              Contains("K905-1: cupsRasterOpen failed (no raster data from upstream)."));
}

// ---- closed descriptors under CUPS ----

TEST(ClosedDescriptors, JobIsPrintedWithoutStandardError) {
  const ScratchFolder scratch;
  const std::string input_file = scratch.write("input", job_of(1));
  const std::string output_file = scratch.write("output", "");
  const int in = open(input_file.c_str(), O_RDONLY | O_CLOEXEC);
  const int out = open(output_file.c_str(), O_WRONLY | O_CLOEXEC);
  const int child = start_child(under_cups(), in, out, -1);
  EXPECT_EQ(wait_for_child(child).status, 0);
  close(in);
  close(out);
  EXPECT_TRUE(read_file(output_file) == output_of(1));
}

TEST(ClosedDescriptors, AllThreeClosedEndTheJobWithStatusOne) {
  const int child = start_child(under_cups(), -1, -1, -1);
  EXPECT_EQ(wait_for_child(child).status, 1);
}

// ---- closed pipes ----

// A log with the additional lines for a closed standard output.
std::vector<std::string> with_write_errors(const std::vector<std::string>& log,
                                           const std::string& error) {
  std::vector<std::string> with;
  for (const std::string& line : log) {
    with.push_back(line);
    const bool image = line.rfind("K905-1: send IMAGE ", 0) == 0;
    if (image || line.rfind("K905-1: send CNTRL ", 0) == 0) {
      with.push_back("K905-1: write error: " + error);
    }
    if (image) {
      with.push_back("K905-1: send " + line.substr(19, 1) + " plane failed");
    }
  }
  return with;
}

TEST(ClosedPipe, IsAWriteErrorForEveryBlockAndTheJobSucceeds) {
  const ChildSetup setup = under_cups();
  const ScratchFolder scratch;
  const std::string log_file = scratch.write("log", "");
  const std::string input_file = scratch.write("input", job_of(2));
  const int in = open(input_file.c_str(), O_RDONLY | O_CLOEXEC);
  const int err = open(log_file.c_str(), O_WRONLY | O_CLOEXEC);
  const Pipe out = make_pipe();
  close(out.read_end);
  const int child = start_child(setup, in, out.write_end, err);
  close(in);
  close(out.write_end);
  close(err);
  const ChildEnd end = wait_for_child(child);
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.signal, 0);
  EXPECT_EQ(lines_of(read_file(log_file)),
            with_write_errors(reference_of(setup, child, job_of(2)).log, "Broken pipe"));
}

TEST(ClosedPipe, InTheMiddleOfASheetDoesNotFailTheJob) {
  InteractiveProcess process(under_cups());
  process.write_input(job_of(2));
  process.end_input();
  ASSERT_TRUE(process.wait_for_output(70000));
  process.close_output();
  const ChildEnd end = process.finish();
  EXPECT_EQ(end.status, 0);
  expect_complete_log(process.log());
  EXPECT_THAT(process.log(), Contains("K905-1: write error: Broken pipe"));
  EXPECT_THAT(process.log(), Contains("K905-1: Single page printed successfully (print call #2)"));
}

int pipe_without_reader() {
  const Pipe pipe = make_pipe();
  close(pipe.read_end);
  return pipe.write_end;
}

// Runs the filter with these descriptors, and closes them in this process.
void expect_undisturbed_end(const ChildSetup& setup, int in, int out, int err) {
  const int child = start_child(setup, in, out, err);
  for (const int descriptor : {in, out, err}) {
    close(descriptor);
  }
  const ChildEnd end = wait_for_child(child);
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.signal, 0);
}

TEST(ClosedPipe, OfTheLogLosesOnlyTheLog) {
  const ScratchFolder scratch;
  const std::string input_file = scratch.write("input", job_of(1));
  const std::string output_file = scratch.write("output", "");
  const int in = open(input_file.c_str(), O_RDONLY | O_CLOEXEC);
  const int out = open(output_file.c_str(), O_WRONLY | O_CLOEXEC);
  expect_undisturbed_end(under_cups(), in, out, pipe_without_reader());
  EXPECT_TRUE(read_file(output_file) == output_of(1));
}

// A query to /dev/null, which returns end of file at once.
ChildSetup query_without_printer() {
  ChildSetup setup = under_cups();
  setup.arguments = {"rastertok905", "--info", "/dev/null"};
  return setup;
}

TEST(ClosedPipe, OfTheReportDoesNotFailTheQuery) {
  const ScratchFolder scratch;
  const std::string log_file = scratch.write("log", "");
  const int err = open(log_file.c_str(), O_WRONLY | O_CLOEXEC);
  expect_undisturbed_end(query_without_printer(), -1, pipe_without_reader(), err);
  EXPECT_THAT(lines_of(read_file(log_file)), Contains("K905-1: write error: Broken pipe"));
}

TEST(ClosedPipe, OfTheLogOfAQueryLosesOnlyTheLog) {
  const ScratchFolder scratch;
  const std::string report_file = scratch.write("report", "");
  const int out = open(report_file.c_str(), O_WRONLY | O_CLOEXEC);
  expect_undisturbed_end(query_without_printer(), -1, out, pipe_without_reader());
  const ChildResult undisturbed = run_child(query_without_printer());
  EXPECT_EQ(read_file(report_file), undisturbed.output);
  EXPECT_THAT(undisturbed.output, HasSubstr(" = \r\n"));
}

// ---- canceled jobs ----

TEST(Cancel, BeforeAnyInputEndsTheJobAtOnce) {
  InteractiveProcess process(under_cups());
  ASSERT_TRUE(process.wait_for_line("Cache Optimization"));
  process.send_signal(SIGTERM);
  expect_canceled(process);
  EXPECT_EQ(process.output(), "");
  EXPECT_THAT(process.log(), Not(Contains(HasSubstr("cupsRasterOpen failed"))));
}

TEST(Cancel, DuringASheetFinishesOnlyThatSheet) {
  InteractiveProcess process(under_cups());
  process.write_input(job_of(3));
  process.end_input();
  ASSERT_TRUE(process.wait_for_output(1000));  // the rest of the sheet is not read yet
  process.send_signal(SIGTERM);
  expect_canceled(process);
  EXPECT_TRUE(process.output() == output_of(1)) << process.output().size();
}

TEST(Cancel, WhileAPageArrivesPrintsNoSheetForIt) {
  InteractiveProcess process(under_cups());
  const std::string two = job_of(2);
  process.write_input(two.substr(0, two.size() - 100));
  ASSERT_TRUE(process.wait_for_output(output_of(1).size()));
  ASSERT_TRUE(process.wait_for_line("Processing page 2"));
  process.send_signal(SIGTERM);
  expect_canceled(process);
  EXPECT_TRUE(process.output() == output_of(1)) << process.output().size();
}

TEST(Cancel, BetweenPagesEndsTheJob) {
  InteractiveProcess process(under_cups());
  process.write_input(job_of(1));
  ASSERT_TRUE(process.wait_for_output(output_of(1).size()));
  ASSERT_TRUE(process.wait_for_line("Single page printed successfully"));
  process.send_signal(SIGTERM);
  expect_canceled(process);
  EXPECT_TRUE(process.output() == output_of(1));
}

TEST(Cancel, LeavesAHeldPageUnprinted) {
  ChildSetup setup = under_cups();
  setup.environment["K905_RIBBON"] = "6x8";
  InteractiveProcess process(setup);
  RasterPage page = small_page(1);
  page.header.PageSize[1] = 298;  // two pages of this paper share a sheet
  process.write_input(raster_stream({page}));
  ASSERT_TRUE(process.wait_for_line("storing in buffer"));
  process.send_signal(SIGTERM);
  expect_canceled(process);
  EXPECT_EQ(process.output(), "");
  EXPECT_THAT(process.log(), Not(Contains(HasSubstr("found buffered ODD page"))));
}

TEST(Cancel, BetweenCopiesStartsNoFurtherCopy) {
  ChildSetup setup = under_cups();
  setup.arguments.insert(setup.arguments.end(), {"--copies", "5"});
  InteractiveProcess process(setup);
  process.write_input(job_of(1));
  process.end_input();
  ASSERT_TRUE(process.wait_for_output(1000));
  process.send_signal(SIGTERM);
  expect_canceled(process);
  EXPECT_TRUE(process.output() == output_of(1)) << process.output().size();
}

TEST(Cancel, DuringTheMaximumOfCopiesEndsTheJob) {
  // 4294967296 does not fit into the copy count of the settings, so the largest value is used.
  ChildSetup setup = under_cups();
  setup.arguments.insert(setup.arguments.end(), {"--copies", "4294967296"});
  InteractiveProcess process(setup);
  process.write_input(job_of(1));
  process.end_input();
  ASSERT_TRUE(process.wait_for_output(2 * output_of(1).size() + 1000));
  process.send_signal(SIGTERM);
  expect_canceled(process);
  const std::string sheet = output_of(1);
  EXPECT_TRUE(process.output() == sheet + sheet + sheet) << process.output().size();
  EXPECT_THAT(process.log(), Contains("K905-1: === Processing page 1, copy 3/2147483647 ==="));
  EXPECT_THAT(process.log(), Not(Contains(HasSubstr("copy 4/"))));
}

class CancelAtLine : public ::testing::TestWithParam<std::size_t> {};

TEST_P(CancelAtLine, EndsTheJobWithCompleteSheetsOnly) {
  InteractiveProcess process(under_cups());
  const std::string two = job_of(2);
  process.write_input(two.substr(0, two.size() - 1));  // would wait indefinitely for the last byte
  ASSERT_TRUE(process.wait_for_lines(GetParam()));
  process.send_signal(SIGTERM);
  expect_canceled(process);
  const std::string& output = process.output();
  EXPECT_TRUE(output.empty() || output == output_of(1)) << output.size();
}

INSTANTIATE_TEST_SUITE_P(Cli, CancelAtLine,
                         ::testing::Values(1, 2, 10, 20, 30, 40, 41, 42, 60, 100, 120, 200));

// ---- slow, non-blocking and named pipes ----

TEST(Ppd, FifoIsNotWaitedFor) {
  const ScratchFolder scratch;
  ChildSetup setup = under_cups();
  setup.environment["PPD"] = scratch.path() + "/queue.ppd";
  ASSERT_EQ(mkfifo(setup.environment["PPD"].c_str(), 0600), 0);
  setup.input = job_of(1);
  const ChildResult result = run_child(setup);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(lines_of(result.log),
              Contains("K905-1: Failed to open PPD file: " + setup.environment["PPD"]));
  EXPECT_TRUE(result.output == output_of(1));
}

TEST(SlowInput, InSmallPiecesWithPausesGivesTheSameJob) {
  InteractiveProcess process(under_cups());
  const std::string input = job_of(1);
  for (std::size_t at = 0; at < input.size(); at += 497) {
    process.write_input(input.substr(at, 497));
    std::this_thread::sleep_for(std::chrono::milliseconds(3));
  }
  process.end_input();
  EXPECT_EQ(process.finish().status, 0);
  EXPECT_TRUE(process.output() == output_of(1));
}

TEST(NonBlocking, InputWithoutDataIsWaitedFor) {
  const Pipe in = make_pipe();
  fcntl(in.read_end, F_SETFL, O_NONBLOCK);
  const ScratchFolder scratch;
  const std::string output_file = scratch.write("output", "");
  const std::string log_file = scratch.write("log", "");
  const int output = open(output_file.c_str(), O_WRONLY | O_CLOEXEC);
  const int log = open(log_file.c_str(), O_WRONLY | O_CLOEXEC);
  const int child = start_child(under_cups(), in.read_end, output, log);
  close(in.read_end);
  const std::string input = job_of(1);
  for (std::size_t at = 0; at < input.size(); at += 1000) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_TRUE(write_all(in.write_end, input.substr(at, 1000)));
  }
  close(in.write_end);
  EXPECT_EQ(wait_for_child(child).status, 0);
  close(output);
  close(log);
  EXPECT_TRUE(read_file(output_file) == output_of(1));
  expect_complete_log(lines_of(read_file(log_file)));
}

TEST(NonBlocking, InputCanBeCanceledWhileItIsWaitedFor) {
  const Pipe in = make_pipe();
  fcntl(in.read_end, F_SETFL, O_NONBLOCK);
  const Pipe err = make_pipe();
  const int child = start_child(under_cups(), in.read_end, err.write_end, err.write_end);
  close(in.read_end);
  close(err.write_end);
  std::string log;
  std::array<char, 4096> piece;
  while (log.find("Cache Optimization") == std::string::npos) {
    const ssize_t got = read(err.read_end, piece.data(), piece.size());
    ASSERT_GT(got, 0);
    log.append(piece.data(), static_cast<std::size_t>(got));
  }
  kill(child, SIGTERM);
  EXPECT_EQ(wait_for_child(child, std::chrono::seconds(20)).status, 0);
  close(in.write_end);
  close(err.read_end);
}

// Any process that shares the pipe can make it non-blocking at any time.
TEST(NonBlocking, OutputThatBecomesNonBlockingInASheetIsWaitedFor) {
  const Pipe in = make_pipe();
  const Pipe out = make_pipe();
  const ScratchFolder scratch;
  const std::string log_file = scratch.write("log", "");
  const int log = open(log_file.c_str(), O_WRONLY | O_CLOEXEC);
  const int child = start_child(under_cups(), in.read_end, out.write_end, log);
  close(in.read_end);
  close(log);
  ASSERT_TRUE(write_all(in.write_end, job_of(1)));
  close(in.write_end);
  std::array<char, 4096> piece;
  ssize_t got = read(out.read_end, piece.data(), piece.size());
  fcntl(out.write_end, F_SETFL, O_NONBLOCK);
  close(out.write_end);
  std::string output;
  for (; got > 0; got = read(out.read_end, piece.data(), piece.size())) {
    output.append(piece.data(), static_cast<std::size_t>(got));
  }
  EXPECT_EQ(wait_for_child(child).status, 0);
  close(out.read_end);
  EXPECT_TRUE(output == output_of(1)) << output.size();
  EXPECT_THAT(read_file(log_file), Not(HasSubstr("write error")));
}

TEST(NonBlocking, OutputIsSetToBlockingSoThatNoPlaneIsTruncated) {
  const Pipe in = make_pipe();
  const Pipe out = make_pipe();
  fcntl(out.write_end, F_SETFL, O_NONBLOCK);
  const ScratchFolder scratch;
  const std::string log_file = scratch.write("log", "");
  const int log = open(log_file.c_str(), O_WRONLY | O_CLOEXEC);
  const int child = start_child(under_cups(), in.read_end, out.write_end, log);
  close(in.read_end);
  close(out.write_end);
  close(log);
  ASSERT_TRUE(write_all(in.write_end, job_of(1)));
  close(in.write_end);
  std::string output;
  std::array<char, 65536> piece;
  for (;;) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));  // a slow printer
    const ssize_t got = read(out.read_end, piece.data(), piece.size());
    if (got <= 0) {
      break;
    }
    output.append(piece.data(), static_cast<std::size_t>(got));
  }
  EXPECT_EQ(wait_for_child(child).status, 0);
  close(out.read_end);
  EXPECT_TRUE(output == output_of(1)) << output.size();
  expect_complete_log(lines_of(read_file(log_file)));
}

}  // namespace
