// What the filter has to make of a write to the printer that the system answers oddly.
#pragma once

#include "tests/support/reference.h"

// One write of the job's, counted from 1, that takes nothing (a result of 0) or fails with an error
// (a negative one); with `from_there_on` all the later ones do so as well.
struct OddWrite {
  long number = 1;
  long result = -1;
  int error = 0;
  bool from_there_on = false;
};

// The undisturbed job's output and log with that write. A command is one write, a plane is three:
// its block, the image's header and its pixels.
[[nodiscard]] ReferenceResult with_odd_write(const ReferenceResult& undisturbed,
                                             const OddWrite& odd);
