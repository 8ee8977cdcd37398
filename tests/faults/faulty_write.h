// The expected result of the filter when a write to the printer returns 0 or fails.
#pragma once

#include "tests/support/reference.h"

// One write of the job, counted from 1, that returns 0 or fails with an error (a negative result);
// with `and_later` all later ones do too.
struct FaultyWrite {
  long number = 1;
  long result = -1;
  int error = 0;
  bool and_later = false;
};

// Output and log of the undisturbed job, changed by that write. A command is one write, a plane is
// three: its block, the image's header and its pixels.
[[nodiscard]] ReferenceResult with_faulty_write(const ReferenceResult& undisturbed,
                                                const FaultyWrite& fault);
