// A few random jobs for every test run, divided into tests that run in parallel.
#include <gtest/gtest.h>

#include "tests/jobs/random_job.h"

namespace {

class RandomJobs : public ::testing::TestWithParam<unsigned> {};

TEST_P(RandomJobs, AreLikeTheReference) {
  expect_random_jobs_like_reference(1000 + GetParam() * 2, 2);
}

INSTANTIATE_TEST_SUITE_P(Few, RandomJobs, ::testing::Range(0U, 6U));

}  // namespace
