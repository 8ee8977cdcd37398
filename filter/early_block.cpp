// Before main and before the constructors of the libraries run, blocks the signals that cancel a
// job. Linked into the programs that the print system starts, so that even a job that is canceled
// right after its start ends with the end banner and exit status 0. Only the dynamic loader runs
// earlier, and it neither reads nor writes data of the job.
#include "filter/cancel_signals.h"

namespace {

void block_cancel_signals() {
  const sigset_t signals = cancel_signals();
  sigprocmask(SIG_BLOCK, &signals, nullptr);
}

[[gnu::used,
  gnu::section(".preinit_array")]] void (*const before_constructors)() = block_cancel_signals;

}  // namespace
