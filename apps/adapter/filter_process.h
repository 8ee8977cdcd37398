// The filter as a child: started with our arguments, its log passed on, its end given back.
#pragma once

#include <string>

// Starts `program` with `argv` and environment as they are, standard input and output inherited,
// and passes its log on to standard error until it ends. The signals that cancel a job are passed
// on to it as SIGTERM, one that came before the filter was started too; to be called with them
// blocked. Returns the filter's exit status; when a signal ended the filter, the same signal ends
// this process. When no child can be had, the filter takes this process' place and only the sheet
// count is lost. Returns 1 when the filter cannot be started at all, and says so.
//
// A log that nobody reads holds nothing up: a canceled job ends without what is left of its log.
[[nodiscard]] int run_filter(const std::string& program, char** argv);
