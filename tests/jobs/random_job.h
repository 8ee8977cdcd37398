// Jobs drawn at random, all settings at once.
#pragma once

// Compares `count` jobs with the reference; each is drawn from its own number, beginning with
// `first`. Stops at the first that fails, whose number the failure shows.
void expect_random_jobs_like_reference(unsigned first, unsigned count);
