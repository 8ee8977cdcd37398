#include "apps/base/progress.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

Progress::Progress(std::string what, int total)
    : what_(std::move(what)),
      total_(total),
      on_terminal_(total != 1 && isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() { erase(); }

void Progress::show(int done) {
  const std::lock_guard lock(mutex_);
  using std::chrono::milliseconds;
  const auto now = std::chrono::steady_clock::now();
  if (!on_terminal_ || (shown_ && now - last_ < milliseconds(100))) {
    return;
  }
  last_ = now;
  shown_ = true;
  const std::string of_total = total_ > 0 ? " of " + std::to_string(total_) : "";
  std::fprintf(stderr, "\r%s %d%s\033[K", what_.c_str(), done, of_total.c_str());
}

void Progress::erase() {
  const std::lock_guard lock(mutex_);
  if (shown_) {
    std::fprintf(stderr, "\r\033[K");
    shown_ = false;
  }
}
