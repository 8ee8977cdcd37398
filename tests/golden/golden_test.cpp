// Whole jobs, from the image to the printer's bytes and to the last line of the log, compared
// with what was accepted on purpose (tools/accept_goldens.sh), and with the plain filter of
// tests/support.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "apps/wire/stream_dump.h"
#include "tests/golden/golden_job.h"
#include "tests/support/build_paths.h"
#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"
#include "tests/support/reference.h"

namespace {

constexpr const char* kPpd = "queue.ppd";

// A run of the filter with a PPD looks for sRGB.icc. One lies in its working folder, so that the
// log does not depend on the machine, unless one of the folders searched earlier has it.
bool machine_has_its_own_profile() {
  const std::vector<std::string> searched_first = {
      "/Library/ColorSync/Profiles", "/usr/local/share/color/icc", "/opt/homebrew/share/color/icc"};
  return std::any_of(searched_first.begin(), searched_first.end(), [](const std::string& folder) {
    return std::filesystem::exists(folder + "/sRGB.icc");
  });
}

ChildResult run_program(const std::string& program, std::vector<std::string> arguments,
                        const std::string& input) {
  ChildSetup setup;
  setup.program = K905_BINARY_DIR "/" + program;
  setup.arguments = std::move(arguments);
  setup.arguments.insert(setup.arguments.begin(), program);
  setup.input = input;
  return run_child(setup);
}

class GoldenTest : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (machine_has_its_own_profile()) {
      GTEST_SKIP() << "an sRGB.icc installed on this machine would show in the log";
    }
    std::string error;
    const auto job = read_golden_job(GetParam(), error);
    ASSERT_TRUE(job) << error;
    job_ = *job;
    folder_.write(kPpd, ppd_text(job_.ppd));
    folder_.write("sRGB.icc", "never opened: no profile was chosen\n");
    if (!job_.raster.empty()) {
      const ChildResult drawn = run_program("k905-raster", job_.raster, "");
      ASSERT_EQ(drawn.status, 0) << drawn.log;
      raster_ = drawn.output;
    }
  }

  GoldenJob job_;
  ScratchFolder folder_;
  std::string raster_;
};

void expect_accepted(const std::string& job, const std::string& file, const std::string& text) {
  if (std::getenv("K905_ACCEPT_GOLDENS") != nullptr) {
    accept_text(job, file, text);
  }
  // Line by line, so that a difference is seen where it is.
  EXPECT_EQ(lines_of(text), lines_of(accepted_text(job, file))) << job << "/" << file;
  EXPECT_TRUE(text == accepted_text(job, file)) << job << "/" << file << " differs in line ends";
}

TEST_P(GoldenTest, DumpAndLogAreAsAccepted) {
  ChildSetup setup;
  setup.program = filter_program();
  setup.arguments = job_.filter_arguments;
  setup.environment["PPD"] = kPpd;
  if (!job_.ribbon.empty()) {
    setup.environment["K905_RIBBON"] = job_.ribbon;
  }
  setup.working_folder = folder_.path();
  setup.input = raster_;
  const ChildResult run = run_child(setup);
  EXPECT_EQ(run.status, job_.status);
  const ChildResult dump = run_program("k905-preview", {"--check", "--dump"}, run.output);
  // A job that fails before its first sheet leaves an empty stream, which is no print job.
  EXPECT_EQ(dump.status, run.output.empty() ? 1 : 0) << dump.log;
  expect_accepted(job_.name, "dump", dump.output);
  expect_accepted(job_.name, "log", redacted(run.log, run.process_id));
}

TEST_P(GoldenTest, ThePlainFilterSaysTheSame) {
  ReferenceJob job;
  job.arguments = job_.filter_arguments;
  job.ppd_path = kPpd;
  job.ppd_file = job_.ppd;
  job.ribbon = job_.ribbon;
  job.working_folder = folder_.path();
  job.process_id = 4711;
  job.input = raster_;
  const ReferenceResult run = reference_run(job);
  EXPECT_EQ(run.status, job_.status);
  const ParsedStream stream = parse_printer_stream(
      reinterpret_cast<const std::uint8_t*>(run.output.data()), run.output.size());
  EXPECT_FALSE(stream.error);
  std::string dump;
  for (std::size_t i = 0; i < stream.sheets.size(); ++i) {
    dump += dump_sheet(stream.sheets[i], static_cast<int>(i) + 1);
  }
  EXPECT_EQ(lines_of(dump), lines_of(accepted_text(job_.name, "dump")));
  std::string log;
  for (const std::string& line : run.log) {
    log += line + "\n";
  }
  EXPECT_EQ(lines_of(redacted(log, 4711)), lines_of(accepted_text(job_.name, "log")));
}

INSTANTIATE_TEST_SUITE_P(Jobs, GoldenTest, testing::ValuesIn(golden_job_names()),
                         [](const auto& job) {
                           std::string name = job.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

TEST(GoldenJob, AProcessIdIsRedactedWhereItIsLogged) {
  EXPECT_EQ(redacted("a\nK905-1: Process ID: 12\n12\n", 12),
            "a\nK905-1: Process ID: (redacted)\n12\n");
}

}  // namespace
