// fork, setsid, and a pipe between the two processes.

#include "apps/backend/process.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "apps/backend/job_runner.h"
#include "apps/backend/messages.h"

namespace k905::backend {

namespace {

constexpr char kPrintAccount[] = "lp";

sigset_t awaited_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGCHLD}) {
    sigaddset(&signals, number);
  }
  return signals;
}

int exit_status_of(pid_t worker) {
  int status = 0;
  while (waitpid(worker, &status, 0) < 0) {
    if (errno != EINTR) {
      return kFailed;
    }
  }
  if (WIFEXITED(status)) {
    return WEXITSTATUS(status);
  }
  error("The process that prints ended unexpectedly");
  return kTryAgain;
}

// The worker has its own copies; the stream must have no other reader.
void release_streams() {
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  if (nothing >= 0) {
    dup2(nothing, STDIN_FILENO);
    close(nothing);
  }
}

int supervise(pid_t worker, int pipe_end) {
  const sigset_t signals = awaited_signals();
  for (;;) {
    const int number = sigwaitinfo(&signals, nullptr);
    if (number == SIGCHLD) {
      return exit_status_of(worker);
    }
    if (number > 0 && pipe_end >= 0) {
      close(pipe_end);
      pipe_end = -1;
    }
  }
}

}  // namespace

Account print_account() {
  // cppcheck-suppress getpwnamCalled
  const passwd* entry = geteuid() == 0 ? getpwnam(kPrintAccount) : nullptr;
  if (entry == nullptr) {
    return {};
  }
  return {.user = static_cast<int>(entry->pw_uid),
          .group = static_cast<int>(entry->pw_gid),
          .name = entry->pw_name};
}

bool become(const Account& account) {
  if (account.user < 0) {
    return true;
  }
  const auto user = static_cast<uid_t>(account.user);
  const auto group = static_cast<gid_t>(account.group);
  return initgroups(account.name.c_str(), group) == 0 && setresgid(group, group, group) == 0 &&
         setresuid(user, user, user) == 0 && (user == 0 || setuid(0) != 0);
}

int run_detached(const Account& account, const std::function<int(int)>& work) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    error(std::string("No pipe: ") + std::strerror(errno));
    return kFailed;
  }
  const pid_t worker = fork();
  if (worker < 0) {
    error(std::string("No process: ") + std::strerror(errno));
    return kFailed;
  }
  if (worker == 0) {
    close(ends[1]);
    setsid();
    _exit(work(ends[0]));
  }
  close(ends[0]);
  release_streams();
  if (!become(account)) {
    error(std::string("Root rights cannot be given up: ") + std::strerror(errno));
    close(ends[1]);
    return exit_status_of(worker);
  }
  // The scheduler can be killed as well. Set after the change of user, which would undo it.
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  return supervise(worker, ends[1]);
}

}  // namespace k905::backend
