// Where the filter rastertok905 is.
#pragma once

#include <string>

// The program that the environment variable K905_FILTER names, else the one beside this program (a
// build), below the prefix this program was installed under, or in CUPS' own folder. Empty when
// there is none.
[[nodiscard]] std::string find_filter();
