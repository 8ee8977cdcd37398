// What goes wrong, and what was counted, in the system calls and allocations of the core. The
// linker puts these hooks in front of malloc, free, read, write and poll; they do nothing until
// armed.
#pragma once

#include <cstddef>

struct Faults {
  // Memory: the allocation with this number (from 1) fails; 0 means none. With `all_from_there` all
  // the later ones fail as well.
  long failing_allocation = 0;
  bool all_from_there = false;

  // Standard output: at most so many bytes a call; every second call interrupted; the call with
  // this number (from 1) answers `write_result`, with `write_errno` when that is negative.
  std::size_t most_written = 0;
  bool interrupt_writes = false;
  long odd_write = 0;
  bool odd_from_there = false;
  long write_result = 0;
  int write_errno = 0;

  // Standard error: at most so many bytes a call; SIGTERM comes with the call with this number.
  std::size_t most_logged = 0;
  long canceling_log_write = 0;

  // Standard input: at most so many bytes a call; every second call interrupted; every third call
  // has nothing yet and wants to be waited for; the call with this number fails.
  std::size_t most_read = 0;
  bool interrupt_reads = false;
  bool starve_reads = false;
  long failing_read = 0;
};

// What the hooks saw while they were armed.
struct FaultCounts {
  long allocations = 0;
  long still_allocated = 0;
  long frees_of_nothing = 0;  // memory freed twice, or that nobody allocated
  long writes = 0;
  long log_writes = 0;
  long reads = 0;
  long waits = 0;
};

void arm_faults(const Faults& faults);
FaultCounts disarm_faults();
