// Random jobs in which all settings vary.
#pragma once

// Compares `count` jobs with the reference; each is generated from its own seed, the first from
// `first`. Stops at the first failure, which reports the seed.
void expect_random_jobs_like_reference(unsigned first, unsigned count);
