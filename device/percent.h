// Percent escapes, as in URIs.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace k905 {

// Escapes everything except letters, digits and "-._~".
[[nodiscard]] std::string percent_encoded(std::string_view text);

// Nothing for a truncated or invalid escape, and for a NUL.
[[nodiscard]] std::optional<std::string> percent_decoded(std::string_view text);

}  // namespace k905
