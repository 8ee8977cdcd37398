// Files that the filter writes in /tmp, where every user can create files.
#pragma once

// Opens the file at `path` for writing, relative to the open `folder` as openat does, and returns
// its descriptor, or -1 on failure. Creates the file if it is missing, truncates it if it exists. A
// symbolic or hard link, a FIFO or a device that another user put there is not followed, not
// written to and not waited for.
[[nodiscard]] int open_plain_file(int folder, const char* path);
