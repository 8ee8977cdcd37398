// How the programs except the filter and the backend start.
#pragma once

// Reserves the standard descriptors that are closed, so that no file gets their numbers, and turns
// a closed pipe (SIGPIPE) and a file size limit (SIGXFSZ) into errors of the write call. Child
// processes start with both signals as this process found them.
void start_process();
