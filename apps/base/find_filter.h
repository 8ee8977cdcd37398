// Finds the filter rastertok905.
#pragma once

#include <string>

// The path of the filter: the value of the environment variable K905_FILTER if it is set; otherwise
// the filter in the folder of this program (a build), in the prefix to which this program was
// installed, or in the folder of the CUPS filters. Empty if there is none.
[[nodiscard]] std::string find_filter();
