// The filter as a child process: where it is, how it is started, how it ended.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

// The filter's program: the one that the environment variable K905_FILTER names, else the one
// beside this program (a build), below the prefix this program was installed under, or in CUPS' own
// folder. Empty when there is none.
[[nodiscard]] std::string find_filter();

struct FilterStart {
  std::string program;
  std::vector<std::string> arguments;              // argv[0] included
  std::map<std::string, std::string> environment;  // set over our own; "" takes a variable away
  // Descriptors for the child's standard input, output and error; -1: /dev/null.
  int input = -1;
  int output = -1;
  int log = -1;
  // Ends when this process ends, by the terminal's interrupt too. Otherwise that is not for the
  // child: the sheet in hand must reach the printer whole.
  bool ends_with_us = false;
};

// Starts the filter with no other descriptors than these three and `inherited` (-1: none), which
// keeps its number. Returns the process id, or -1 with errno set.
[[nodiscard]] pid_t start_filter(const FilterStart& start, int inherited = -1);

// Waits for its end. The exit status, or 128 and the signal that ended it.
[[nodiscard]] int wait_for_filter(pid_t filter);
