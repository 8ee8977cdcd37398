// Messages from this program to CUPS.
#pragma once

#include <string>
#include <string_view>

// Makes text from outside safe inside one line of the log: control characters become spaces and its
// length is limited, because CUPS interprets lines that begin with "ATTR:" and the like, and reads
// the rest of an overlong line as a new one.
[[nodiscard]] std::string one_line(std::string_view text);

// Writes "<prefix>: <words>\n" to standard error at once, or discards it if standard error cannot
// take it. `words` must be our own text; text from outside goes through one_line first.
void log_to_cups(std::string_view prefix, std::string_view words);
