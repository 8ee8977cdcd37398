// The filter as a child: started with our arguments, its log passed on, its end given back.
#pragma once

// Puts a dead descriptor in the place of each standard one that is closed, so that no file opened
// later becomes the filter's input or output.
void keep_standard_descriptors_taken();

// Holds SIGTERM back until the filter runs, so that a cancelled job always reaches it. To be called
// first of all.
void hold_signals();

// Starts `program` with `argv` and environment as they are, standard input and output inherited,
// and passes its log on to standard error until it ends. SIGTERM is passed on to it. Returns its
// exit status; when a signal ended the filter, the same signal ends this process. When no child can
// be had, the filter takes this process' place and only the sheet count is lost. Returns 1 when the
// filter cannot be started at all, and says so.
[[nodiscard]] int run_filter(const char* program, char** argv);
