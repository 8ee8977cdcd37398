// Start-up before the first page: the start banner and the ribbon.
#pragma once

// Logs "=== rastertok905 start ===", the process id and the argument list.
void log_start(int argc, char** argv);

// Takes the ribbon from the environment variable K905_RIBBON when it is exactly "6x4" or "6x8"; any
// other value is ignored.
void take_ribbon_from_environment();

// Sets ribbon_size to "6x4" unless the environment set it. The printer is never asked.
void detect_ribbon();
