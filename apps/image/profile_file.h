// Where a color profile is, told as the filter would find it but without its log.
#pragma once

#include <string>

// The file of a profile named by path or by a name in one of the filter's profile folders; "" when
// there is none.
[[nodiscard]] std::string find_profile_file(const std::string& name);
