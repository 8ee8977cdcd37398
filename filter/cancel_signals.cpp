#include "filter/cancel_signals.h"

namespace {

bool is_ignored(int signal) {
  struct sigaction current = {};
  return sigaction(signal, nullptr, &current) == 0 && current.sa_handler == SIG_IGN;
}

}  // namespace

sigset_t cancel_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : kCancelSignals) {
    sigaddset(&signals, signal);
  }
  return signals;
}

void handle_cancel_signals(void (*handler)(int), int flags) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  for (const int signal : kCancelSignals) {
    if (signal == SIGTERM || !is_ignored(signal)) {
      sigaction(signal, &action, nullptr);
    } else {
      // A blocked signal becomes pending even if it is ignored, and would look like a cancel.
      sigset_t only;
      sigemptyset(&only);
      sigaddset(&only, signal);
      sigprocmask(SIG_UNBLOCK, &only, nullptr);
    }
  }
}
