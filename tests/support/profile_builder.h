// Makes color profiles, so that no test depends on installed ones.
#pragma once

#include <string>

// Each returns the bytes of a profile file.
[[nodiscard]] std::string rgb_matrix_profile();  // wide primaries, gamma 1.8
[[nodiscard]] std::string cmyk_table_profile();  // a CMYK printer profile with tables
[[nodiscard]] std::string gray_profile();        // one channel, gamma 2.2
[[nodiscard]] std::string lab_profile();         // no device at all
// Claims to be RGB, but has no data for a transform.
[[nodiscard]] std::string hollow_rgb_profile();
