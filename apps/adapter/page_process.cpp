#include "apps/adapter/page_process.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include "apps/adapter/cups_log.h"

#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace k905 {

namespace {

// Runs in the new process, where the signals that cancel a job stay blocked: if it is canceled, the
// filter finishes its sheet and stops reading, which ends this process.
[[noreturn]] void run_adapter(pid_t parent, int out, const AdapterSettings& settings) {
#ifdef __linux__
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
#endif
  // Only the filter keeps the stream to the printer (standard output) open, so that the backend
  // sees its end when the filter ends.
  const int null_device = open("/dev/null", O_RDWR | O_CLOEXEC);
  if (null_device >= 0) dup2(null_device, STDOUT_FILENO);
  _exit(adapt_pages(STDIN_FILENO, out, settings) ? 0 : 1);
}

}  // namespace

PageProcess::PageProcess(const AdapterSettings& settings) {
  int pages[2];
  if (pipe2(pages, O_CLOEXEC) != 0) return;
  make_children_waitable();
  const pid_t parent = getpid();
  const pid_t process = fork();
  if (process == 0) {
    close(pages[0]);
    run_adapter(parent, pages[1], settings);
  }
  if (process > 0) {
    process_ = Child(process);
    dup2(pages[0], STDIN_FILENO);
  }
  close(pages[0]);
  close(pages[1]);
}

bool PageProcess::finish() {
  if (!started()) return true;
  ChildEnd end;
  if (!process_.ended(end)) {
    // Its pages are written, or no longer needed, but it may still wait for input.
    process_.send(SIGKILL);
    end = process_.wait();
    if (end.signal == SIGKILL) return true;
  }
  if (end.code() == 0) return true;
  log_to_cups("ERROR", "Not all pages of the job could be laid out on the paper.");
  return false;
}

}  // namespace k905
