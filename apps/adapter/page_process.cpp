#include "apps/adapter/page_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "apps/adapter/one_line.h"

#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace k905 {

namespace {

// In the new process: a cancel reaches the filter, which finishes the sheet and reads no further.
[[noreturn]] void run_adapter(pid_t parent, int out, const AdapterSettings& settings) {
#ifdef __linux__
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
#endif
  // The printer's stream is the filter's alone: whoever reads it must see it end.
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  if (nothing >= 0) dup2(nothing, STDOUT_FILENO);
  _exit(adapt_pages(STDIN_FILENO, out, settings) ? 0 : 1);
}

}  // namespace

PageProcess::PageProcess(const AdapterSettings& settings) {
  int pages[2];
  if (pipe2(pages, O_CLOEXEC) != 0) return;
  const pid_t parent = getpid();
  process_ = fork();
  if (process_ == 0) {
    close(pages[0]);
    run_adapter(parent, pages[1], settings);
  }
  if (process_ > 0) dup2(pages[0], STDIN_FILENO);
  close(pages[0]);
  close(pages[1]);
}

bool PageProcess::finish() {
  if (!started()) return true;
  int status = 0;
  if (waitpid(process_, &status, WNOHANG) == 0) {
    // Its pages are written, or nobody wants them: it may still wait for more.
    kill(process_, SIGKILL);
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) status = 0;
  }
  process_ = -1;
  const bool failed = WIFSIGNALED(status) || WEXITSTATUS(status) != 0;
  if (failed) tell_cups("ERROR", "Not all pages of the job could be laid out on the paper.");
  return !failed;
}

}  // namespace k905
