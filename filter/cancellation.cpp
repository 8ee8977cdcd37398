#include "filter/cancellation.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "filter/cancel_signals.h"

namespace {

volatile std::sig_atomic_t cancel_seen = 0;

void note_cancel(int) { cancel_seen = 1; }

void ignore(int signal) {
  struct sigaction action = {};
  action.sa_handler = SIG_IGN;
  sigaction(signal, &action, nullptr);
}

}  // namespace

void set_up_signals() {
  ignore(SIGPIPE);
  ignore(SIGXFSZ);
  // Blocked except while waiting for input: otherwise a signal that arrives just before a blocking
  // read would not be noticed until the next bytes arrive, and there may be none.
  const sigset_t cancel = cancel_signals();
  sigprocmask(SIG_BLOCK, &cancel, nullptr);
  handle_cancel_signals(note_cancel);
}

void restore_signals() {
  handle_cancel_signals(SIG_DFL);
  const sigset_t cancel = cancel_signals();
  sigprocmask(SIG_UNBLOCK, &cancel, nullptr);
}

bool job_canceled() {
  sigset_t pending;
  if (cancel_seen == 0 && sigpending(&pending) == 0) {
    for (const int signal : kCancelSignals) {
      if (sigismember(&pending, signal) == 1) {
        cancel_seen = 1;
      }
    }
  }
  return cancel_seen != 0;
}

ssize_t read_unless_canceled(int descriptor, void* buffer, size_t bytes) {
  sigset_t while_waiting;
  sigprocmask(SIG_SETMASK, nullptr, &while_waiting);
  for (const int signal : kCancelSignals) {
    sigdelset(&while_waiting, signal);
  }

  while (cancel_seen == 0) {
    pollfd input = {.fd = descriptor, .events = POLLIN, .revents = 0};
    if (ppoll(&input, 1, nullptr, &while_waiting) < 0) {
      if (errno == EINTR) {
        continue;
      }
      return -1;
    }
    const ssize_t count = read(descriptor, buffer, bytes);
    if (count >= 0 || (errno != EINTR && errno != EAGAIN)) {
      return count;
    }
  }
  return -1;
}
