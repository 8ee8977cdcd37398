// The built program with one call of its own failing; see preload/failing_calls.cpp.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/support/child_process.h"

// Which call fails, and how. A number of 0 lets none fail.
struct CallFault {
  std::string function;  // "read", "memory" and so on, as failing_calls.cpp calls them
  long number = 0;       // from 1
  int error = 0;         // the errno it fails with
  bool from_there_on = false;
};

struct FaultedProgram {
  ChildResult result;
  std::map<std::string, long> calls;  // by function
  bool failed = false;                // whether the call came at all
  int descriptor = -1;                // the one it was made on, the last time
  std::string caller;                 // the program or library that made it, the last time
};

// Runs the program as run_child() does, with that fault.
[[nodiscard]] FaultedProgram run_with_fault(ChildSetup setup, const CallFault& fault);

// Which of `calls` calls to let fail, one after another: all of them when the environment variable
// K905_EVERY_CALL is set, else at most `most`, evenly spread, the first and the last among them.
[[nodiscard]] std::vector<long> calls_to_fail(long calls, long most);

// The bytes of each sheet of a printer stream. Fails the test when anything else is in it.
[[nodiscard]] std::vector<std::string> whole_sheets(const std::string& stream);
