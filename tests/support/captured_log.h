// Captures standard error or standard output of a piece of code as text.
#pragma once

#include <functional>
#include <string>
#include <vector>

// Runs `code` with descriptor 2 redirected to a scratch file and returns its content.
std::string captured_log(const std::function<void()>& code);

// The same for descriptor 1.
std::string captured_output(const std::function<void()>& code);

// Splits `text` at its newlines; a last line without one counts too.
std::vector<std::string> lines_of(const std::string& text);
