// The filter's arguments, changed so that none is read as a setting and all copies are printed.
#pragma once

#include <string>
#include <vector>

namespace k905 {

// `argv` without its null. The filter reads every argument that contains "=" as a setting and some
// that begin with "--" as a flag; a document's title or a user's name must not be one. Changes are
// logged, with the original text.
//
// No other program has repeated the pages of a document that arrives as a file, so the filter is
// asked to make its copies.
[[nodiscard]] std::vector<std::string> safe_arguments(int argc, char** argv);

}  // namespace k905
