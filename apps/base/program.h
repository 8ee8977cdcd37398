// What all programs share at their command line: --help, --version, exit statuses,
// errors.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

// 0 all well, 1 the work failed, 2 wrong usage.
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;

// Adds --version, reads the command line. Null when the program shall run; otherwise the help, the
// version or the usage error has been written and the exit status is returned.
[[nodiscard]] std::optional<int> parse_command_line(CLI::App& app, int argc, char** argv);

// "<program>: <message>" on standard error.
void report_error(const CLI::App& app, const std::string& message);

// A usage error found after parsing: complains, points at --help, and returns the exit status.
[[nodiscard]] int wrong_usage(const CLI::App& app, const std::string& message);

// What is left of main: start_process(), then the program. Turns whatever it throws into a word and
// exit status 1.
[[nodiscard]] int guarded_main(const char* program, int (*body)(int, char**), int argc,
                               char** argv) noexcept;
