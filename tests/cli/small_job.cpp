#include "tests/cli/small_job.h"

#include <gtest/gtest.h>

#include <random>

RasterPage small_page(unsigned seed) {
  std::mt19937 random(seed);
  cups_page_header2_t header = page_header(40, 30);
  header.PageSize[0] = 461;
  header.PageSize[1] = 261;
  RasterPage page = blank_page(header);
  fill_with_gradient(page, random);
  return page;
}

std::string job_of(unsigned pages) {
  std::vector<RasterPage> all;
  for (unsigned i = 0; i < pages; ++i) {
    all.push_back(small_page(i));
  }
  return raster_stream(all);
}

ReferenceResult reference_of(const ChildSetup& setup, int process_id, const std::string& input) {
  ReferenceJob job;
  job.arguments = setup.arguments;
  job.ppd_path = kMissingPpd;
  job.process_id = process_id;
  job.input = input;
  return reference_run(job);
}

ChildSetup under_cups() {
  ChildSetup setup;
  setup.program = filter_program();
  setup.arguments = {"K905", "1", "me", "t", "1", ""};
  setup.environment = {{"PPD", kMissingPpd}};
  return setup;
}

std::string output_of(unsigned pages) {
  return reference_of(under_cups(), 0, job_of(pages)).output;
}

void expect_complete_log(const std::vector<std::string>& log) {
  ASSERT_FALSE(log.empty());
  EXPECT_EQ(log.front(), "=== rastertok905 start ===");
  EXPECT_EQ(log.back(), "=== rastertok905 end ===");
}

void expect_canceled(InteractiveProcess& process) {
  const ChildEnd end = process.finish();
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.signal, 0);
  expect_complete_log(process.log());
}
