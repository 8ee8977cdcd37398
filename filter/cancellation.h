// How a job is canceled: SIGTERM, SIGINT or SIGHUP. A sheet that is being sent is finished, so that
// the printer never waits for the rest of a block; no further sheet is begun.
#pragma once

#include <sys/types.h>

// From here on the signals that cancel a job are blocked and only noticed where job_canceled looks
// for them; SIGINT and SIGHUP that were ignored stay ignored. SIGPIPE and SIGXFSZ are ignored, so
// that a closed pipe and a file that may not grow are ordinary write errors. To be called before
// anything else.
void set_up_signals();

// Gives the signals that cancel a job their usual meaning back, for the status query: whoever waits
// for a silent printer can stop. A reader of the report or of the log that went away stays an
// ordinary write error.
void restore_signals();

// True once one of the signals has come.
[[nodiscard]] bool job_canceled();

// read() that waits for bytes also on a non-blocking descriptor, goes on after EINTR and gives up
// when the job is canceled. Returns what read() returns, -1 when canceled.
[[nodiscard]] ssize_t read_unless_canceled(int descriptor, void* buffer, size_t bytes);
