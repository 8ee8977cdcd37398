// Descriptors 0 to 2, which may be closed when a program starts.
#pragma once

// Opens /dev/null in place of each of the three that is closed, so that no file opened later
// becomes standard input, output or error. Reading a missing input and writing to a missing output
// still fail; messages to a missing standard error are dropped. Must be called before anything is
// opened.
void reserve_standard_descriptors();
