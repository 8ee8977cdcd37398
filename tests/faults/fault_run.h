// The raster job inside the test program, with faults, in a process of its own for each try.
#pragma once

#include <string>
#include <vector>

#include "tests/faults/fault_hooks.h"

struct FaultRun {
  bool came_to_an_end = false;  // neither crashed nor hung
  int status = -1;
  int process_id = 0;
  std::string output;
  std::vector<std::string> log;
  FaultCounts counts;
};

// Forks, puts `input` on descriptor 0 and empty files on 1 and 2, starts up as the program does, in
// undisturbed, and runs run_raster_job() under the faults.
[[nodiscard]] FaultRun run_with_faults(const std::string& input,
                                       const std::vector<std::string>& arguments,
                                       const Faults& faults);
