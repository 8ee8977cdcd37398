// Makes color profiles, so that no test depends on installed ones.
#pragma once

#include <lcms2.h>

#include <string>

// Each returns the bytes of a profile file.
[[nodiscard]] std::string wide_rgb_profile();    // wide primaries, gamma 1.8
[[nodiscard]] std::string cmyk_table_profile();  // a printer with four inks, by tables
[[nodiscard]] std::string rgb_matrix_profile(double gamma);
[[nodiscard]] std::string rgb_table_profile();  // a printer with a different table for each intent
[[nodiscard]] std::string gray_profile();       // one channel, gamma 2.2
[[nodiscard]] std::string lab_profile();        // not a device profile
// The header names `space`, but the profile has no data for a transform.
[[nodiscard]] std::string hollow_profile(cmsColorSpaceSignature space);
[[nodiscard]] std::string hollow_rgb_profile();
