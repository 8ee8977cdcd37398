// Cancels a job many times: whatever the filter is doing when SIGTERM, SIGINT or SIGHUP arrives,
// its stream ends at the end of a sheet, no other sheet is started, and the printer accepts the
// next job.
//
// The moments are random. K905_CANCEL_SEED selects others (the output shows the seed),
// K905_CANCEL_MOMENTS sets their number.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <random>

#include "apps/wire/printer_stream.h"
#include "filter/cancel_signals.h"
#include "tests/cli/interactive_process.h"
#include "tests/support/captured_log.h"
#include "tests/support/raster_builder.h"

namespace {

unsigned from_environment(const char* name, unsigned otherwise) {
  const char* text = std::getenv(name);
  return text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

// Different pages, of which two share a sheet of the larger ribbon.
std::string job_of(unsigned pages) {
  std::mt19937 random(3);
  std::vector<RasterPage> all;
  for (unsigned i = 0; i < pages; ++i) {
    all.push_back(blank_page(page_header(40, 30)));
    fill_with_gradient(all.back(), random);
  }
  return raster_stream(all);
}

struct JobVariant {
  const char* name;
  std::vector<std::string> arguments;
  const char* ribbon;
};

ChildSetup setup_of(const JobVariant& variant) {
  ChildSetup setup;
  setup.program = filter_program();
  setup.arguments = {"K905", "1", "me", "t", "1", ""};
  setup.arguments.insert(setup.arguments.end(), variant.arguments.begin(), variant.arguments.end());
  setup.environment = {{"PPD", "/nonexistent/queue.ppd"}, {"K905_RIBBON", variant.ribbon}};
  return setup;
}

// The printer, which receives the jobs in sequence.
class Printer {
 public:
  // Parses the bytes of a job and returns the number of its sheets. Fails the test if they are not
  // complete sheets.
  std::size_t receive(const std::string& job) {
    const std::size_t before = sheets_;
    parser_.feed(reinterpret_cast<const std::uint8_t*>(job.data()), job.size());
    EXPECT_FALSE(parser_.error().has_value());
    EXPECT_TRUE(parser_.at_sheet_boundary()) << "an incomplete sheet";
    return sheets_ - before;
  }

 private:
  std::size_t sheets_ = 0;
  k905::PrinterStreamParser parser_{[this](k905::Sheet&& /*sheet*/) { ++sheets_; }};
};

class CancelAtAnyMoment : public ::testing::TestWithParam<JobVariant> {
 protected:
  void SetUp() override {
    setup_.input = input_;
    const auto begin = std::chrono::steady_clock::now();
    const ChildResult undisturbed = run_child(setup_);
    const auto length = std::chrono::steady_clock::now() - begin;
    length_ms_ = std::chrono::duration_cast<std::chrono::milliseconds>(length).count() + 1;
    ASSERT_EQ(undisturbed.status, 0);
    undisturbed_output_ = undisturbed.output;
    lines_ = lines_of(undisturbed.log).size();
    sheets_ = Printer().receive(undisturbed_output_);
    ASSERT_GE(sheets_, 2U);
  }

  // Waits for one of three conditions: a time, a number of log lines, a number of bytes of output.
  void wait_for_a_random_moment(InteractiveProcess& process) {
    using std::chrono::milliseconds;
    const auto timeout = milliseconds(2000);
    switch (random_() % 3) {
      case 0:
        process.read_until(lines_, undisturbed_output_.size(),
                           milliseconds(random_() % length_ms_));
        break;
      case 1:
        process.read_until(random_() % lines_, 0, timeout);
        break;
      default:
        process.read_until(0, random_() % undisturbed_output_.size(), timeout);
    }
  }

  void cancel_once(Printer& printer) {
    InteractiveProcess process(setup_);
    process.write_input(input_);
    if (random_() % 2 == 0) {
      process.end_input();  // otherwise the filter waits for another page
    }
    wait_for_a_random_moment(process);
    const int signal = kCancelSignals.at(random_() % kCancelSignals.size());
    process.send_signal(signal);
    const ChildEnd end = process.finish();
    // While the dynamic loader runs, the program has no signal handler yet, and has sent nothing.
    if (end.signal == signal) {
      EXPECT_EQ(process.log().size(), 0U);
    } else {
      EXPECT_EQ(end.status, 0);
      EXPECT_EQ(end.signal, 0);
      EXPECT_EQ(process.log().back(), "=== rastertok905 end ===");
    }
    EXPECT_EQ(undisturbed_output_.compare(0, process.output().size(), process.output()), 0)
        << "not the beginning of the undisturbed output";
    ++seen_.at(printer.receive(process.output()));
  }

  const std::string input_ = job_of(4);
  ChildSetup setup_ = setup_of(GetParam());
  long length_ms_ = 1;
  std::string undisturbed_output_;
  std::size_t lines_ = 0;
  std::size_t sheets_ = 0;
  std::array<unsigned, 16> seen_{};  // number of attempts, by printed sheets
  std::mt19937 random_;
};

TEST_P(CancelAtAnyMoment, LeavesCompleteSheetsAndAPrinterThatAcceptsTheNextJob) {
  const unsigned seed = from_environment("K905_CANCEL_SEED", std::random_device()());
  const unsigned moments = from_environment("K905_CANCEL_MOMENTS", 34);
  std::cout << "K905_CANCEL_SEED=" << seed << "\n";
  random_.seed(seed);
  Printer printer;
  for (unsigned i = 0; i < moments && !HasFailure(); ++i) {
    SCOPED_TRACE("moment " + std::to_string(i));
    cancel_once(printer);
  }
  EXPECT_EQ(printer.receive(run_child(setup_).output), sheets_) << "the next job";
  for (std::size_t i = 0; i <= sheets_; ++i) {
    std::cout << i << " sheets: " << seen_.at(i) << " times\n";
  }
}

INSTANTIATE_TEST_SUITE_P(Cli, CancelAtAnyMoment,
                         ::testing::Values(JobVariant{"Pages", {}, "6x4"},
                                           JobVariant{"Copies", {"--copies", "2"}, "6x4"},
                                           JobVariant{"Pairs", {}, "6x8"}),
                         [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
