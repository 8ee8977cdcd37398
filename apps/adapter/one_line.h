// What this program says to CUPS itself.
#pragma once

#include <string>
#include <string_view>

// A text from outside as part of one line of the log: control characters become blanks and its
// length is bounded, because CUPS obeys lines that begin with "ATTR:" and the like, and takes the
// rest of an over-long line for a new one.
[[nodiscard]] std::string one_line(std::string_view text);

// Writes "<prefix>: <words>\n" on standard error at once, or drops it when standard error
// takes nothing. `words` are our own; anything from
// outside goes through one_line first.
void tell_cups(std::string_view prefix, std::string_view words);
