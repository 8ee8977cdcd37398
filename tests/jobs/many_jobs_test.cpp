// Many random jobs for the nightly tests, or a single job for debugging.
//
// K905_JOB_SEED and K905_JOB_COUNT set the first seed and the number of jobs. A failing job reports
// its seed: K905_JOB_SEED with that seed and a count of 1 runs it alone.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/jobs/random_job.h"

namespace {

unsigned from_environment(const char* name, unsigned otherwise) {
  const char* text = std::getenv(name);
  return text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

TEST(ManyRandomJobs, AreLikeTheReference) {
  expect_random_jobs_like_reference(from_environment("K905_JOB_SEED", 5000),
                                    from_environment("K905_JOB_COUNT", 150));
}

}  // namespace
