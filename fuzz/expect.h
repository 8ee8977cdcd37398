// What must hold whatever the input is: says what did not, and ends the run where the engine sees
// it.
#pragma once

#include <cstdio>
#include <cstdlib>

inline void expect(bool holds, const char* what) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
  }
}
