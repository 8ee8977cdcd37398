// Finds the filter rastertok905.
#pragma once

#include <string>

// The program that the environment variable K905_FILTER names; otherwise the one in the folder of
// this program (a build), in the prefix this program was installed to, or in the folder of the CUPS
// filters. Empty if there is none.
[[nodiscard]] std::string find_filter();
