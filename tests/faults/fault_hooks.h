// Faults in the system calls and allocations of the raster job, and counts of these calls. The
// linker redirects malloc, free, read, write and poll to these hooks; they have no effect until
// they are armed.
#pragma once

#include <cstddef>

struct Faults {
  // Memory: the allocation with this number (from 1) fails; 0: none. With `later_ones_too` all
  // later ones fail too.
  long failing_allocation = 0;
  bool later_ones_too = false;

  // Standard output: maximum number of bytes per call; every second call is interrupted; the call
  // with this number (from 1) returns `write_result`, with `write_errno` if that is negative. With
  // `later_writes_too` all later ones do too.
  std::size_t max_written = 0;
  bool interrupt_writes = false;
  long faulty_write = 0;
  bool later_writes_too = false;
  long write_result = 0;
  int write_errno = 0;

  // Standard error: maximum number of bytes per call; SIGTERM is raised in the call with this
  // number.
  std::size_t max_logged = 0;
  long canceling_log_write = 0;

  // Standard input: maximum number of bytes per call; every second call is interrupted; every third
  // call returns EAGAIN and every second wait is interrupted; the call with this number fails.
  std::size_t max_read = 0;
  bool interrupt_reads = false;
  bool delay_reads = false;
  long failing_read = 0;
};

// Counts of the hooks while they were armed.
struct FaultCounts {
  long allocations = 0;
  long still_allocated = 0;
  long invalid_frees = 0;  // of memory that was freed before or never allocated
  long writes = 0;
  long log_writes = 0;
  long reads = 0;
  long waits = 0;
};

void arm_faults(const Faults& faults);
FaultCounts disarm_faults();
