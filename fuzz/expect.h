// Checks an invariant of the target: reports a violation and ends the run so that the engine sees
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
