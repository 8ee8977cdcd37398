// Runs the built program with one failing call; see preload/failing_calls.cpp.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/support/child_process.h"

// The call that fails, and its error. With the number 0 no call fails.
struct CallFault {
  std::string function;  // "read", "memory" and so on, see failing_calls.cpp
  long number = 0;       // from 1
  int error = 0;         // errno
  bool and_later = false;
};

struct FaultedProgram {
  ChildResult result;
  std::map<std::string, long> calls;  // by function
  bool failed = false;                // the call was reached
  int descriptor = -1;                // of the last failed call
  std::string caller;                 // program or library of the last failed call
};

// Runs the program as run_child() does, with this fault.
[[nodiscard]] FaultedProgram run_with_fault(ChildSetup setup, const CallFault& fault);

// The numbers of the calls to fail, of `calls` calls: all of them if the environment variable
// K905_EVERY_CALL is set, otherwise at most `most`, evenly distributed, including the first and the
// last.
[[nodiscard]] std::vector<long> calls_to_fail(long calls, long most);

// The bytes of each sheet of a printer stream. Fails the test if the stream has any other bytes.
[[nodiscard]] std::vector<std::string> complete_sheets(const std::string& stream);
