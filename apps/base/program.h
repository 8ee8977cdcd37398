// The command line of the programs that users start: --help, --version, exit statuses, errors.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

// 0 success, 1 failure, 2 wrong usage.
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;

// Adds --version and parses the command line. Returns nothing if the program is to continue;
// otherwise the help, the version or the usage error was printed, and the exit status is returned.
[[nodiscard]] std::optional<int> parse_command_line(CLI::App& app, int argc, char** argv);

// Prints "<program>: <message>" to standard error.
void print_message(const CLI::App& app, const std::string& message);

// Reports a usage error that was found after parsing, points to --help, and returns the exit
// status.
[[nodiscard]] int wrong_usage(const CLI::App& app, const std::string& message);

// The body of main(): start_process(), then the program. Reports any exception and returns exit
// status 1.
[[nodiscard]] int guarded_main(const char* program, int (*body)(int, char**), int argc,
                               char** argv) noexcept;
