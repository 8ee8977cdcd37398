// A file that has no name in any folder and is gone with its last descriptor.
#pragma once

#include <string_view>

// The descriptor of an empty one; the caller closes it, or an exec does. `label` is for people who
// look at what a process holds. Negative with errno set when there is no room for it.
[[nodiscard]] int anonymous_file(const char* label);

// The same with these bytes, at the first of them.
[[nodiscard]] int anonymous_file_with(const char* label, std::string_view bytes);
