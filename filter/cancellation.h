// How a job is canceled: SIGTERM, SIGINT or SIGHUP. A sheet that is being sent is completed, so
// that the printer never waits for the rest of a block; no further sheet is started.
#pragma once

#include <sys/types.h>

// Blocks the signals that cancel a job, so that only job_canceled and read_unless_canceled notice
// them. SIGINT and SIGHUP that were ignored stay ignored. SIGPIPE and SIGXFSZ are ignored, so that
// a closed pipe and a file size limit are ordinary write errors. Must be called before anything
// else.
void set_up_signals();

// Restores the default action of the signals that cancel a job, for the status query: a user can
// interrupt the wait for a printer that does not answer. A closed pipe stays an ordinary write
// error.
void restore_signals();

// True once one of the signals has arrived.
[[nodiscard]] bool job_canceled();

// Like read(), but waits for bytes even on a non-blocking descriptor, continues after EINTR and
// stops if the job is canceled. Returns the result of read(), or -1 if canceled.
[[nodiscard]] ssize_t read_unless_canceled(int descriptor, void* buffer, size_t bytes);
