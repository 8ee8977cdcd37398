// Makes text from printers, files and users safe to show; formats times and names.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

// Valid UTF-8: every byte that is not part of a character (including overlong forms, surrogates and
// code points above U+10FFFF) becomes U+FFFD.
[[nodiscard]] std::string valid_utf8(std::string_view bytes);

// The same as one line: control characters become spaces. At most `limit` bytes, cut between
// characters.
[[nodiscard]] std::string one_line_of_text(std::string_view bytes, std::size_t limit);

// Appends to a list such as "a, b".
inline void append_to_list(std::string& list, std::string_view item,
                           std::string_view separator = ", ") {
  list.append(list.empty() ? "" : separator).append(item);
}

// Such as "2026-11-22 10:05:00", in the local time zone.
[[nodiscard]] std::string local_time(std::time_t time);

// The name or path with a number before its extension: "sheet.png" stays unchanged for 1 and
// becomes "sheet-2.png" for 2.
[[nodiscard]] std::string numbered_name(const std::string& name, std::size_t number);
