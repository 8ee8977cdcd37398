// The filter's arguments, such that none is taken for a setting.
#pragma once

#include <string>
#include <vector>

namespace k905 {

// `argv` without its null. The filter reads every argument that holds "=" as a setting and some
// that begin with "--" as a flag; a document's title or a user's name must not be one. What was
// changed is reported, with the text as it came.
[[nodiscard]] std::vector<std::string> harmless_arguments(int argc, char** argv);

}  // namespace k905
