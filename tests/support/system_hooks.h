// Replaces system calls in a test: short writes, signals, closed pipes, no memory. For programs
// with k905_hook_system_calls().
#pragma once

#include <cstddef>
#include <deque>
#include <vector>

namespace hooks {

// The result of the next call.
struct Step {
  int error = 0;            // not 0: the call fails with this errno
  std::size_t at_most = 0;  // otherwise: the maximum number of bytes; with 0 the call returns 0
};

// Each call on `descriptor` uses one step; after the last one, calls are those of the system again.
struct Script {
  int descriptor = -1;
  std::deque<Step> steps;
};

extern Script write_script;
extern Script read_script;

// For calls of poll with one descriptor: their errors, one per call, and the timeouts that were
// requested.
extern std::deque<int> poll_errors;
extern std::vector<int> poll_timeouts;

extern bool malloc_fails;

// The number of bytes that descriptor 1 had accepted at each fsync.
extern std::vector<std::size_t> synced_after;
// The size of every write to descriptor 1 by the code under test.
extern std::vector<std::size_t> writes_to_output;

// Restores the behavior of the system and clears the records.
void reset();

// Resets at the beginning and the end of a test.
struct Guard {
  Guard() { reset(); }
  ~Guard() { reset(); }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;
};

}  // namespace hooks
