// Text from outside, made fit to be shown or sent on.
#pragma once

#include <string>
#include <string_view>

// Valid UTF-8: every byte that belongs to no character (over-long forms, surrogates and what lies
// above U+10FFFF included) becomes U+FFFD.
[[nodiscard]] std::string valid_utf8(std::string_view bytes);

// The same on one line: control characters become blanks. At most `limit` bytes, cut between
// characters.
[[nodiscard]] std::string one_line_of_text(std::string_view bytes, std::size_t limit);

// "sheet.png" as it is for 1, "sheet-2.png" for 2 and so on; also of a path.
[[nodiscard]] std::string numbered_name(const std::string& name, std::size_t number);
