// fork, setsid, and a pipe between the two processes.

#include "apps/backend/process.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include "apps/backend/job_runner.h"
#include "apps/backend/messages.h"
#include "apps/base/descriptor.h"
#include "apps/base/spawn.h"
#include "filter/cancel_signals.h"

namespace k905::backend {

namespace {

constexpr char kPrintAccount[] = "lp";

int exit_status_of(Child& worker) {
  const ChildEnd end = worker.wait();
  if (end.signal != 0) {
    error("The process that prints ended unexpectedly");
    return kTryAgain;
  }
  return end.status;
}

// Only the worker reads the print data. If this process kept the pipe open, the filter would not
// notice that the worker has ended.
void release_input() {
  const Descriptor null_device(open("/dev/null", O_RDWR | O_CLOEXEC));
  if (null_device) {
    dup2(null_device.get(), STDIN_FILENO);
  }
}

int supervise(Child& worker, Descriptor pipe_end) {
  const sigset_t signals = awaited_signals();
  for (;;) {
    const int number = sigwaitinfo(&signals, nullptr);
    if (number == SIGCHLD) {
      return exit_status_of(worker);
    }
    if (number > 0) {
      pipe_end.reset();
    }
  }
}

}  // namespace

sigset_t awaited_signals() {
  sigset_t signals = cancel_signals();
  sigaddset(&signals, SIGCHLD);
  return signals;
}

Account print_account() {
  // cppcheck-suppress getpwnamCalled
  const passwd* entry = geteuid() == 0 ? getpwnam(kPrintAccount) : nullptr;
  if (entry == nullptr) {
    if (geteuid() == 0) {
      warn(std::string("There is no user ") + kPrintAccount + ": the backend keeps root rights");
    }
    return {};
  }
  return {.user = static_cast<int>(entry->pw_uid),
          .group = static_cast<int>(entry->pw_gid),
          .name = entry->pw_name};
}

bool drop_privileges(const Account& account) {
  if (account.user < 0) {
    return true;
  }
  const auto user = static_cast<uid_t>(account.user);
  const auto group = static_cast<gid_t>(account.group);
  return initgroups(account.name.c_str(), group) == 0 && setresgid(group, group, group) == 0 &&
         setresuid(user, user, user) == 0 && (user == 0 || setuid(0) != 0);
}

// Not spawn(), which starts another program that ends with this process: the worker continues this
// program, with the data that it has already read, and outlives this process.
int run_detached(const Account& account, const std::function<int(int)>& work) {
  Pipe pipe;
  if (!pipe.open()) {
    error(std::string("Cannot create a pipe: ") + std::strerror(errno));
    return kFailed;
  }
  const pid_t id = fork();
  if (id < 0) {
    error(std::string("Cannot start a process: ") + std::strerror(errno));
    return kFailed;
  }
  if (id == 0) {
    pipe.write_end.reset();
    setsid();
    _exit(work(pipe.read_end.release()));
  }
  Child worker(id);
  pipe.read_end.reset();
  release_input();
  if (!drop_privileges(account)) {
    error(std::string("Cannot drop root privileges: ") + std::strerror(errno));
    pipe.write_end.reset();
    return exit_status_of(worker);
  }
  // The scheduler can be killed too. Set after the change of user, which would reset it.
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  return supervise(worker, std::move(pipe.write_end));
}

}  // namespace k905::backend
