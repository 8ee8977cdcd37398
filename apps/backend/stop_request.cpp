// Polls the pipe, the blocked signals and the other watched descriptors.

#include "apps/backend/stop_request.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "filter/cancel_signals.h"

namespace k905::backend {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kIdle{100};

}  // namespace

StopRequest::StopRequest(int pipe_end) : pipe_end_(pipe_end) {
  const sigset_t signals = cancel_signals();
  signals_ = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

StopRequest::~StopRequest() {
  close(pipe_end_);
  if (signals_ >= 0) {
    close(signals_);
  }
}

bool StopRequest::requested() { return requested_at_ || poll_request(Milliseconds(0), {}); }

StopRequest::Milliseconds StopRequest::age() {
  return requested() ? std::chrono::duration_cast<Milliseconds>(Clock::now() - *requested_at_)
                     : Milliseconds(0);
}

// After a request, further requests change nothing, so the full time is waited for.
void StopRequest::pause(Milliseconds time) {
  if (requested()) {
    std::this_thread::sleep_for(time);
    return;
  }
  const Clock::time_point end = Clock::now() + time;
  for (Milliseconds left = time; left > Milliseconds(0) && !requested_at_;
       left = std::chrono::ceil<Milliseconds>(end - Clock::now())) {
    wait(left, -1);
  }
}

bool StopRequest::wait_readable(int descriptor) {
  bool readable = !requested() && wait(kIdle, descriptor);
  if (!readable && idle_task_) {
    idle_task_();
  }
  while (!requested() && !readable) {
    readable = wait(Milliseconds(-1), descriptor);
  }
  return readable && !requested();
}

bool StopRequest::wait(Milliseconds time, int descriptor) {
  pollfd others[] = {{.fd = descriptor, .events = POLLIN, .revents = 0},
                     {.fd = watched_, .events = POLLIN, .revents = 0}};
  (void)poll_request(time, others);
  if (others[1].revents != 0 && !watch_task_()) {
    watched_ = -1;
  }
  return others[0].revents != 0;
}

// Nothing is ever written to the pipe: any event that poll reports means that it was closed.
bool StopRequest::poll_request(Milliseconds time, std::span<pollfd> others) {
  std::vector<pollfd> waits{{.fd = pipe_end_, .events = POLLIN, .revents = 0},
                            {.fd = signals_, .events = POLLIN, .revents = 0}};
  waits.insert(waits.end(), others.begin(), others.end());
  if (poll(waits.data(), waits.size(), static_cast<int>(time.count())) > 0) {
    if (waits[0].revents != 0 || waits[1].revents != 0) {
      requested_at_ = Clock::now();
    }
    std::copy(waits.begin() + 2, waits.end(), others.begin());
  }
  return requested_at_.has_value();
}

}  // namespace k905::backend
