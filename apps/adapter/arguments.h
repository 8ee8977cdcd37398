// The filter's arguments, such that none is taken for a setting and all copies are printed.
#pragma once

#include <string>
#include <vector>

namespace k905 {

// `argv` without its null. The filter reads every argument that holds "=" as a setting and some
// that begin with "--" as a flag; a document's title or a user's name must not be one. What was
// changed is reported, with the text as it came.
//
// A document that comes as a file has not passed another program, which would have repeated its
// pages for every copy: the filter is told to do it.
[[nodiscard]] std::vector<std::string> harmless_arguments(int argc, char** argv);

}  // namespace k905
