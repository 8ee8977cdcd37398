// Files the filter leaves in /tmp, which is everybody's.
#pragma once

// Opens the file at `path`, from the open `folder` on as openat does, for writing, made if need be
// and emptied, and returns its descriptor; -1 when there is none to be had. What somebody else
// planted there (a link of either kind, a FIFO, a device) is neither followed nor written to nor
// waited for.
[[nodiscard]] int open_plain_file(int folder, const char* path);
