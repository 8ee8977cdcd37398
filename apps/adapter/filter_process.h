// Runs the filter as a child process: starts it, passes its log on and returns its exit status.
#pragma once

#include <string>

// Starts `program` with `argv` and the environment, standard input and output inherited, and passes
// its log on to standard error until it ends. Passes the signals that cancel a job on to it as
// SIGTERM, including one that arrived before the filter was started; the caller must have blocked
// them. Returns the filter's exit status; if a signal ended the filter, the same signal ends this
// process. If no child process can be created, the filter replaces this process, and only the sheet
// count is lost. Returns 1 and reports the error if the filter cannot be started at all.
//
// A log that is not read does not delay the end of a canceled job: the rest of the log is dropped.
[[nodiscard]] int run_filter(const std::string& program, char** argv);
