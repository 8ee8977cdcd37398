// The two processes of a job, and the rights they run with.
#pragma once

#include <functional>
#include <string>

namespace k905::backend {

// Who the backend becomes once it does not need root any more.
struct Account {
  int user = -1;  // -1: stays what it is
  int group = -1;
  std::string name;
};

// The print system's account, when this process runs as root; otherwise an empty one.
[[nodiscard]] Account print_account();

// Gives up root for good, with all supplementary groups but the account's. False with errno when
// that failed; the process must not go on then.
[[nodiscard]] bool become(const Account& account);

// Runs `work` in a process of its own with a session of its own, so that the signals by which the
// print system ends the processes of a job do not reach it: it can finish the sheet in hand. `work`
// gets the read end of a pipe that hangs up when it shall stop after that sheet, and returns the
// exit status. This process gives up root, passes SIGTERM, SIGINT and SIGHUP on as the end of the
// pipe, and returns the exit status of the other. The signals must be blocked.
[[nodiscard]] int run_detached(const Account& account, const std::function<int(int)>& work);

}  // namespace k905::backend
