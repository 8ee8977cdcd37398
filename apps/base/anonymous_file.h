// Anonymous files (memfd): they have no name in any folder and are deleted with their last
// descriptor.
#pragma once

#include <string_view>

// Returns the descriptor of a file with these bytes and position 0; the caller closes it, or an
// exec does. `label` is shown by tools that list the open files of a process. Negative with errno
// set on failure.
[[nodiscard]] int anonymous_file_with(const char* label, std::string_view bytes);
