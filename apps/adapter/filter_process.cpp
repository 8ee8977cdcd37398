#include "apps/adapter/filter_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "apps/adapter/cups_log.h"
#include "apps/adapter/log_relay.h"
#include "apps/base/descriptor.h"
#include "apps/base/spawn.h"
#include "filter/cancel_signals.h"

namespace {

// How long a canceled job waits for a log whose reader has stalled.
constexpr timespec kLogTimeout{.tv_sec = 2, .tv_nsec = 0};

volatile sig_atomic_t cancel_seen = 0;

void note_cancel(int) { cancel_seen = 1; }
void wake_up(int) {}

// Does not return if the filter could be started.
int exec_filter(const std::string& program, char** argv) {
  execv(program.c_str(), argv);
  const int reason = errno;
  log_to_cups("ERROR", "The print filter rastertok905 could not be started.");
  log_to_cups("DEBUG", "rastertok905job: " + one_line(program.empty() ? "rastertok905" : program) +
                           ": " + std::strerror(reason));
  return 1;
}

// The backend k905 counts a sheet when the printer has made it.
bool backend_counts_sheets() {
  const char* const device = std::getenv("DEVICE_URI");
  return device != nullptr && std::string_view(device).starts_with("k905:");
}

// Closes this process's ends of the pipes. Only the filter keeps its ends, so that the processes at
// the other ends see when it ends.
void close_own_pipe_ends() {
  const k905::Descriptor null_device(open("/dev/null", O_RDWR | O_CLOEXEC));
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO}) {
    if (null_device) {
      dup2(null_device.get(), standard);
    } else {
      close(standard);
    }
  }
}

// The filter's log on its way to standard error. It is buffered without a limit, so that a reader
// that stalls never delays the sheet.
class FilterLog {
 public:
  explicit FilterLog(k905::Descriptor source) : source_(std::move(source)) {
    fcntl(source_.get(), F_SETFL, O_NONBLOCK);
  }

  [[nodiscard]] bool at_end() const { return !source_; }
  [[nodiscard]] bool all_written() const { return relay_.pending().empty(); }
  [[nodiscard]] int source() const { return source_.get(); }

  // At most the capacity of the largest pipe, so that this loop ends even if the filter writes
  // without pause.
  void read_available() {
    char block[16384];
    for (int round = 0; round < kMaxReads; ++round) {
      const ssize_t count = read(source_.get(), block, sizeof block);
      if (count > 0) {
        relay_.take({block, static_cast<std::size_t>(count)});
      } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        end();
        return;
      } else if (errno == EAGAIN) {
        return;
      }
    }
  }

  void end() {
    source_.reset();
    relay_.finish();
  }

  // After the log was closed, its lines are discarded; the filter must not notice.
  void write_some() {
    const std::string_view pending = relay_.pending();
    if (is_closed_) {
      relay_.written(pending.size());
      return;
    }
    // A pipe that poll reports as writable accepts this many bytes at once, so that lines of other
    // filters can only be written between two of these blocks.
    const std::size_t count = std::min<std::size_t>(pending.size(), PIPE_BUF);
    const ssize_t done = write(STDERR_FILENO, pending.data(), count);
    if (done >= 0) {
      relay_.written(static_cast<std::size_t>(done));
    } else if (errno != EINTR && errno != EAGAIN) {
      is_closed_ = true;
    }
  }

 private:
  static constexpr int kMaxReads = 64;

  k905::Descriptor source_;
  LogRelay relay_{!backend_counts_sheets()};
  bool is_closed_ = false;
};

// The handlers for the end of a child and for the signals that cancel a job. The signals are
// blocked except while this process waits.
class WaitingMask {
 public:
  WaitingMask() {
    struct sigaction action = {};
    action.sa_handler = wake_up;
    sigaction(SIGCHLD, &action, nullptr);
    handle_cancel_signals(note_cancel);
    sigset_t handled = cancel_signals();
    sigaddset(&handled, SIGCHLD);
    sigprocmask(SIG_BLOCK, &handled, &while_waiting_);
    for (const int signal : kCancelSignals) sigdelset(&while_waiting_, signal);
    sigdelset(&while_waiting_, SIGCHLD);
  }
  [[nodiscard]] const sigset_t& while_waiting() const { return while_waiting_; }

 private:
  sigset_t while_waiting_{};
};

// Waits for data to read, for space to write, or for a signal. False if a canceled job has only log
// left, and its reader has stalled.
bool wait_for_log(const FilterLog& log, bool may_give_up, const sigset_t& mask,
                  pollfd (&ready)[2]) {
  ready[0] = {log.source(), POLLIN, 0};
  ready[1] = {log.all_written() ? -1 : STDERR_FILENO, POLLOUT, 0};
  const int count = ppoll(ready, 2, may_give_up ? &kLogTimeout : nullptr, &mask);
  if (count < 0) {
    ready[0].revents = ready[1].revents = 0;
  }
  return count != 0;
}

// Passes the log on until the filter has ended and its log is written or given up; returns how the
// filter ended. Signals are delivered only inside wait_for_log().
k905::ChildEnd pass_log_on(FilterLog& log, k905::Child& filter, const sigset_t& mask) {
  k905::ChildEnd end;
  bool cancel_passed_on = false;
  pollfd ready[2];
  while (filter || !log.at_end() || !log.all_written()) {
    const bool may_give_up = cancel_seen != 0 && !filter && log.at_end();
    if (!wait_for_log(log, may_give_up, mask, ready)) break;
    if (cancel_seen != 0 && !cancel_passed_on) {
      filter.send(SIGTERM);
      cancel_passed_on = true;
    }
    // Check for the end of the filter first, then read: its last lines are in the pipe by then. A
    // process that the filter started may keep the pipe open.
    const bool just_ended = filter && filter.ended(end);
    if (!log.at_end() && (just_ended || ready[0].revents != 0)) log.read_available();
    if (just_ended && !log.at_end()) log.end();
    if (ready[1].revents != 0) log.write_some();
  }
  return end;
}

int exit_like_filter(const k905::ChildEnd& end) {
  if (end.signal == 0) return end.status;
  const rlimit no_core{0, 0};
  setrlimit(RLIMIT_CORE, &no_core);
  signal(end.signal, SIG_DFL);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, end.signal);
  sigprocmask(SIG_UNBLOCK, &only, nullptr);
  raise(end.signal);
  return end.code();
}

}  // namespace

int run_filter(const std::string& program, char** argv) {
  k905::SpawnSetup setup;
  setup.program = program;
  for (char** argument = argv; *argument != nullptr; ++argument) {
    setup.arguments.emplace_back(*argument);
  }
  k905::Pipe log;
  if (!log.open()) return exec_filter(program, argv);
  setup.input = STDIN_FILENO;
  setup.output = STDOUT_FILENO;
  setup.error = log.write_end.get();
  // The signals that cancel a job are blocked when the filter starts, so that one that arrives
  // while it is loaded cancels the job too.
  sigprocmask(SIG_SETMASK, nullptr, &setup.blocked);

  const WaitingMask mask;
  k905::Child filter = k905::spawn(setup);
  if (!filter) {
    sigprocmask(SIG_SETMASK, &setup.blocked, nullptr);
    return exec_filter(program, argv);
  }
  log.write_end.reset();
  close_own_pipe_ends();
  FilterLog filter_log(std::move(log.read_end));
  return exit_like_filter(pass_log_on(filter_log, filter, mask.while_waiting()));
}
