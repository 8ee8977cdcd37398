#include "apps/adapter/filter_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include "apps/adapter/log_relay.h"
#include "apps/adapter/one_line.h"

#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace {

// As they were when this process was started; the filter gets them back.
sigset_t original_mask;
struct sigaction original_pipe_action;
struct sigaction original_file_size_action;

volatile sig_atomic_t terminate_asked = 0;

void note_terminate(int) { terminate_asked = 1; }
void wake_up(int) {}

struct Child {
  pid_t pid = -1;
  int status = 0;
  bool ended = false;
};

void restore_signals_for_filter() {
  sigaction(SIGPIPE, &original_pipe_action, nullptr);
  sigaction(SIGXFSZ, &original_file_size_action, nullptr);
  sigprocmask(SIG_SETMASK, &original_mask, nullptr);
}

// Does not return when the filter could be started.
int become_filter(const char* program, char** argv) {
  restore_signals_for_filter();
  execv(program, argv);
  tell_cups("ERROR", "The print filter rastertok905 could not be started.");
  tell_cups("DEBUG", "rastertok905job: " + one_line(program) + ": " + std::strerror(errno));
  return 1;
}

// CUPS kills outright what does not end within half a minute; the filter shall not outlive us then.
void end_with_parent([[maybe_unused]] pid_t parent) {
#ifdef __linux__
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
#endif
}

// The filter alone holds the ends of its pipes: whoever reads or writes the other ends sees it end.
void let_go_of_pipes() {
  const int nothing = open("/dev/null", O_RDWR);
  if (nothing < 0) {
    close(STDIN_FILENO);
    close(STDOUT_FILENO);
    return;
  }
  dup2(nothing, STDIN_FILENO);
  dup2(nothing, STDOUT_FILENO);
  if (nothing > STDERR_FILENO) close(nothing);
}

// A log that is gone swallows the lines; the filter must not notice.
void write_pending(LogRelay& relay, bool& log_is_gone) {
  const std::string_view pending = relay.pending();
  if (log_is_gone) {
    relay.written(pending.size());
    return;
  }
  // Up to this size a pipe that poll calls writable takes it whole, unbroken by other filters'
  // lines.
  const std::size_t count = std::min<std::size_t>(pending.size(), PIPE_BUF);
  const ssize_t done = write(STDERR_FILENO, pending.data(), count);
  if (done >= 0) {
    relay.written(static_cast<std::size_t>(done));
  } else if (errno != EINTR && errno != EAGAIN) {
    log_is_gone = true;
  }
}

enum class LogRead { bytes, nothing_now, end };

LogRead read_log(int log, LogRelay& relay) {
  char block[16384];
  const ssize_t count = read(log, block, sizeof block);
  if (count == 0) return LogRead::end;
  if (count < 0) return errno == EINTR || errno == EAGAIN ? LogRead::nothing_now : LogRead::end;
  relay.take({block, static_cast<std::size_t>(count)});
  return LogRead::bytes;
}

void collect(Child& child) {
  child.ended = child.ended || waitpid(child.pid, &child.status, WNOHANG) == child.pid;
}

void pass_terminate_on(const Child& child, bool& passed_on) {
  if (terminate_asked == 0 || passed_on || child.ended) return;
  kill(child.pid, SIGTERM);
  passed_on = true;
}

// Signals arrive only while this waits. What is read is kept without a limit, so that a log that
// stalls never holds up the sheet.
void pass_log_on(int log, Child& child) {
  sigset_t mask_while_waiting = original_mask;
  sigdelset(&mask_while_waiting, SIGTERM);
  sigdelset(&mask_while_waiting, SIGCHLD);
  LogRelay relay;
  bool log_is_gone = false;
  bool terminate_passed_on = false;
  while (log >= 0 || !child.ended || !relay.pending().empty()) {
    pollfd ready[2] = {{log, POLLIN, 0},
                       {relay.pending().empty() ? -1 : STDERR_FILENO, POLLOUT, 0}};
    if (ppoll(ready, 2, nullptr, &mask_while_waiting) < 0) ready[0].revents = ready[1].revents = 0;
    pass_terminate_on(child, terminate_passed_on);
    // First learn of the filter's end, then read: what it said is in the pipe by then.
    collect(child);
    if (log >= 0 && (child.ended || ready[0].revents != 0)) {
      LogRead outcome = LogRead::bytes;
      do {
        outcome = read_log(log, relay);
      } while (child.ended && outcome == LogRead::bytes);
      if (child.ended || outcome == LogRead::end) {
        close(log);
        log = -1;
        relay.finish();
      }
    }
    if (log_is_gone || ready[1].revents != 0) write_pending(relay, log_is_gone);
  }
}

int give_back(const Child& child) {
  if (!WIFSIGNALED(child.status)) return WEXITSTATUS(child.status);
  const int number = WTERMSIG(child.status);
  const rlimit no_core{0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
  signal(number, SIG_DFL);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, number);
  sigprocmask(SIG_UNBLOCK, &only, nullptr);
  raise(number);
  return 128 + number;
}

}  // namespace

void keep_standard_descriptors_taken() {
  int descriptor = 0;
  do {
    descriptor = open("/dev/null", O_RDWR);
  } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  if (descriptor >= 0) close(descriptor);
}

void hold_signals() {
  sigset_t held;
  sigemptyset(&held);
  sigaddset(&held, SIGTERM);
  sigaddset(&held, SIGCHLD);
  sigprocmask(SIG_BLOCK, &held, &original_mask);

  struct sigaction action {};
  sigemptyset(&action.sa_mask);
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, &original_pipe_action);
  sigaction(SIGXFSZ, &action, &original_file_size_action);
}

int run_filter(const char* program, char** argv) {
  int log[2];
  if (pipe2(log, O_CLOEXEC) != 0) return become_filter(program, argv);
  fcntl(log[0], F_SETFL, O_NONBLOCK);
  const pid_t parent = getpid();
  Child child;
  child.pid = fork();
  if (child.pid < 0) {
    close(log[0]);
    close(log[1]);
    return become_filter(program, argv);
  }
  if (child.pid == 0) {
    dup2(log[1], STDERR_FILENO);
    end_with_parent(parent);
    _exit(become_filter(program, argv));
  }
  close(log[1]);
  struct sigaction action {};
  sigemptyset(&action.sa_mask);
  action.sa_handler = note_terminate;
  sigaction(SIGTERM, &action, nullptr);
  action.sa_handler = wake_up;
  sigaction(SIGCHLD, &action, nullptr);
  let_go_of_pipes();
  pass_log_on(log[0], child);
  return give_back(child);
}
