// The signals that cancel a job: SIGTERM from the print system, SIGINT and SIGHUP from a terminal.
// All three mean the same: finish the sheet that is being sent and start no other.
#pragma once

#include <array>
#include <csignal>

inline constexpr std::array kCancelSignals{SIGTERM, SIGINT, SIGHUP};

// The same as a set.
[[nodiscard]] sigset_t cancel_signals();

// Installs `handler` for each of them. SIGINT and SIGHUP that are ignored stay ignored, as nohup
// and the background jobs of a shell need. `flags` are those of sigaction.
void handle_cancel_signals(void (*handler)(int), int flags = 0);
