// What every program does before anything else.
#pragma once

// Reserves the standard descriptors that are closed, so that no file becomes one of them, and makes
// a closed pipe (SIGPIPE) and a file that may not grow (SIGXFSZ) errors of the write that met them.
// Programs that are started from here find both signals as this process found them.
void start_process();
