// Anonymous files (memfd): they have no name in any folder and are deleted with their last
// descriptor.
#pragma once

#include <string_view>

// Returns the descriptor of a file with these bytes, positioned at its beginning. The caller closes
// it; an exec closes it too. Tools that list the open files of a process show `label`. Negative
// with errno set on failure.
[[nodiscard]] int anonymous_file_with(const char* label, std::string_view bytes);
