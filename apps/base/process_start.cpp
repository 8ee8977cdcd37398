#include "apps/base/process_start.h"

#include <csignal>
#include <initializer_list>

#include "diag/standard_descriptors.h"

namespace {

// A handler instead of SIG_IGN: an exec resets it, so that child programs do not ignore the signal.
void do_nothing(int) {}

}  // namespace

void start_process() {
  reserve_standard_descriptors();
  struct sigaction action = {};
  action.sa_handler = do_nothing;
  action.sa_flags = SA_RESTART;
  for (const int signal : {SIGPIPE, SIGXFSZ}) {
    struct sigaction current = {};
    if (sigaction(signal, nullptr, &current) == 0 && current.sa_handler != SIG_IGN) {
      sigaction(signal, &action, nullptr);
    }
  }
}
