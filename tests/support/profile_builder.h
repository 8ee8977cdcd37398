// Color profiles made on the spot, so that no test depends on what a machine has installed.
#pragma once

#include <string>

// Each returns the bytes of a profile file.
[[nodiscard]] std::string rgb_matrix_profile();  // wide primaries, gamma 1.8
[[nodiscard]] std::string cmyk_table_profile();  // a printer with four inks, by tables
[[nodiscard]] std::string gray_profile();        // one channel, gamma 2.2
[[nodiscard]] std::string lab_profile();         // no device at all
// Says RGB, but has nothing a transform could be made from.
[[nodiscard]] std::string hollow_rgb_profile();
