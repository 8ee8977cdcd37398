// The filter's arguments, changed so that no user text is read as a setting and all copies are
// printed.
#pragma once

#include <string>
#include <vector>

namespace k905 {

// Returns `argv` without its terminating null pointer. The filter reads every argument with a "=",
// except that of the options, as a setting, and some that begin with "--" as flags; the title of a
// document or the name of a user must not be read so. Changes are logged with the original text.
//
// If the document arrives as a file, no other program has repeated its pages; a flag then makes the
// filter print the copies.
[[nodiscard]] std::vector<std::string> safe_arguments(int argc, char** argv);

}  // namespace k905
