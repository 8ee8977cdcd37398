// Percent escapes, as in URIs.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace k905 {

// Everything but letters, digits and "-._~" becomes an escape.
[[nodiscard]] std::string with_escapes(std::string_view text);

// Nothing for an escape that is cut or no number, and for a NUL.
[[nodiscard]] std::optional<std::string> without_escapes(std::string_view text);

}  // namespace k905
