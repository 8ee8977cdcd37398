// Runs the raster job inside the test program with faults, each run in its own process.
#pragma once

#include <string>
#include <vector>

#include "tests/faults/fault_hooks.h"

struct FaultRun {
  bool ended_normally = false;  // did not crash or hang
  int status = -1;
  int process_id = 0;
  std::string output;
  std::vector<std::string> log;
  FaultCounts counts;
};

// Forks, sets descriptor 0 to `input` and descriptors 1 and 2 to empty files, initializes as the
// program does, without faults, and calls run_raster_job() with the faults.
[[nodiscard]] FaultRun run_with_faults(const std::string& input,
                                       const std::vector<std::string>& arguments,
                                       const Faults& faults);
