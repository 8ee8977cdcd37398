// Complete jobs, from the image to the bytes for the printer and the last line of the log, compared
// with accepted results (tools/accept_goldens.sh) and with the reference of tests/support.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "tests/golden/golden_job.h"
#include "tests/support/build_paths.h"
#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"
#include "tests/support/reference.h"

namespace {

constexpr const char* kPpd = "queue.ppd";

// A run with a PPD file searches for sRGB.icc. The folder of the job has one, so that the log does
// not depend on the machine, unless a folder that is searched earlier has one too.
bool profile_is_installed() {
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
    if (profile_is_installed()) {
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
  // Compared by lines, so that a failure shows the difference.
  EXPECT_EQ(lines_of(text), lines_of(accepted_text(job, file))) << job << "/" << file;
  EXPECT_TRUE(text == accepted_text(job, file)) << job << "/" << file << " differs in line ends";
}

TEST_P(GoldenTest, GivesTheAcceptedDumpAndTheLogOfTheReference) {
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
  // A job that fails before its first sheet has an empty stream, which k905-preview refuses.
  EXPECT_EQ(dump.status, run.output.empty() ? 1 : 0) << dump.log;
  expect_accepted(job_.name, "dump", dump.output);
  const std::string log = redacted(run.log, run.process_id);
  if (has_accepted_log(job_.name)) {
    expect_accepted(job_.name, "log", log);
  }

  ReferenceJob job;
  job.arguments = job_.filter_arguments;
  job.ppd_path = kPpd;
  job.ppd_file = job_.ppd;
  job.ribbon = job_.ribbon;
  job.working_folder = folder_.path();
  job.process_id = run.process_id;
  job.input = raster_;
  const ReferenceResult wanted = reference_run(job);
  EXPECT_EQ(run.status, wanted.status);
  EXPECT_TRUE(run.output == wanted.output) << "the output differs from that of the reference";
  EXPECT_EQ(lines_of(run.log), wanted.log);
}

INSTANTIATE_TEST_SUITE_P(Jobs, GoldenTest, testing::ValuesIn(golden_job_names()),
                         [](const auto& job) {
                           std::string name = job.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

}  // namespace
