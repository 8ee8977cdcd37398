#include "filter/cancellation.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace {

volatile std::sig_atomic_t sigterm_seen = 0;

void note_sigterm(int) { sigterm_seen = 1; }

}  // namespace

void set_up_signals() {
  struct sigaction ignore = {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, nullptr);

  struct sigaction note = {};
  note.sa_handler = note_sigterm;
  sigaction(SIGTERM, &note, nullptr);

  // Blocked except while waiting for input: a signal that came just before a blocking read would
  // otherwise be forgotten until the next bytes arrive, which may be never.
  sigset_t sigterm;
  sigemptyset(&sigterm);
  sigaddset(&sigterm, SIGTERM);
  sigprocmask(SIG_BLOCK, &sigterm, nullptr);
}

void restore_sigterm() {
  struct sigaction usual = {};
  usual.sa_handler = SIG_DFL;
  sigaction(SIGTERM, &usual, nullptr);
  sigset_t sigterm;
  sigemptyset(&sigterm);
  sigaddset(&sigterm, SIGTERM);
  sigprocmask(SIG_UNBLOCK, &sigterm, nullptr);
}

bool job_cancelled() {
  sigset_t pending;
  if (sigterm_seen == 0 && sigpending(&pending) == 0 && sigismember(&pending, SIGTERM) == 1) {
    sigterm_seen = 1;
  }
  return sigterm_seen != 0;
}

ssize_t read_unless_cancelled(int descriptor, void* buffer, size_t bytes) {
  sigset_t while_waiting;
  sigprocmask(SIG_SETMASK, nullptr, &while_waiting);
  sigdelset(&while_waiting, SIGTERM);

  while (sigterm_seen == 0) {
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
