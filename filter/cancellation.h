// How the print system cancels a job: SIGTERM. A sheet that is being sent is finished, so that the
// printer never waits for the rest of a block; no further sheet is begun.
#pragma once

#include <sys/types.h>

// SIGTERM stays blocked from here on and is only noticed where it is looked for; SIGPIPE is
// ignored, so that a reader that went away is an ordinary write error. To be called before anything
// else.
void set_up_signals();

// Gives SIGTERM its usual meaning back, for the status query: whoever waits for a silent printer
// can stop. A reader of the report or of the log that went away stays an ordinary write error.
void restore_sigterm();

// True once SIGTERM has come.
[[nodiscard]] bool job_cancelled();

// read() that waits for bytes also on a non-blocking descriptor, goes on after EINTR and gives up
// when the job is cancelled. Returns what read() returns, -1 when cancelled.
[[nodiscard]] ssize_t read_unless_cancelled(int descriptor, void* buffer, size_t bytes);
