// System calls bent by a test: short writes, signals, dead lines, no memory. For programs with
// k905_bend_system_calls().
#pragma once

#include <cstddef>
#include <deque>
#include <vector>

namespace hooks {

// What the next call does instead of its usual work.
struct Step {
  int error = 0;            // not 0: the call fails with this errno
  std::size_t at_most = 0;  // otherwise: the call is asked for at most so many bytes; 0 gives 0
};

// Steps are used up one per call on `descriptor`; when none is left, calls are the system's again.
struct Script {
  int descriptor = -1;
  std::deque<Step> steps;
};

extern Script write_script;
extern Script read_script;

// Of the waits for one descriptor: poll fails with these, one per call; the time-outs asked for.
extern std::deque<int> poll_errors;
extern std::vector<int> poll_timeouts;

extern bool malloc_fails;

// How many bytes descriptor 1 had taken at each fsync of it.
extern std::vector<std::size_t> synced_after;
// The size of every write to descriptor 1 that the code under test asked for.
extern std::vector<std::size_t> writes_to_output;

// Back to the system's own behavior, records emptied.
void reset();

// Resets when a test begins and when it ends.
struct Guard {
  Guard() { reset(); }
  ~Guard() { reset(); }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;
};

}  // namespace hooks
