// The two processes of a job, and their privileges.
#pragma once

#include <csignal>
#include <functional>
#include <string>

namespace k905::backend {

// The user that the backend becomes when it no longer needs root.
struct Account {
  int user = -1;  // -1: unchanged
  int group = -1;
  std::string name;
};

// The print system's account, if this process runs as root; otherwise an empty one.
[[nodiscard]] Account print_account();

// Gives up root permanently, with all supplementary groups except those of the account. False with
// errno on failure; the process must then end.
[[nodiscard]] bool drop_privileges(const Account& account);

// The signals that cancel a job, and SIGCHLD.
[[nodiscard]] sigset_t awaited_signals();

// Runs `work` in another process with its own session, so that the signals by which the print
// system ends a job do not reach it: it can finish the current sheet. `work` gets the read end of a
// pipe, which is closed when it must stop after that sheet, and returns the exit status. This
// process gives up root, closes the pipe on SIGTERM, SIGINT and SIGHUP, and returns the exit status
// of the other process. The caller must have blocked the signals of awaited_signals().
[[nodiscard]] int run_detached(const Account& account, const std::function<int(int)>& work);

}  // namespace k905::backend
