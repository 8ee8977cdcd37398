// The request to stop after the current sheet, as the process that prints receives it.
//
// The process that CUPS started holds the other end of a pipe. When that process closes it, or is
// killed in any way, the pipe is closed; no signal and no permission to send one is needed. A
// SIGTERM, SIGINT or SIGHUP to this process means the same: a service manager signals all processes
// of a service.
#pragma once

#include <poll.h>

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <utility>

namespace k905::backend {

class StopRequest {
 public:
  // Takes over the read end of the pipe. The signals must be blocked.
  explicit StopRequest(int pipe_end);
  ~StopRequest();
  StopRequest(const StopRequest&) = delete;
  StopRequest& operator=(const StopRequest&) = delete;

  using Milliseconds = std::chrono::milliseconds;

  // Once true, always true.
  [[nodiscard]] bool requested();

  // How long ago requested() first became true; 0 before that.
  [[nodiscard]] Milliseconds age();

  // Waits for this time or until the request comes, and serves the watched descriptor meanwhile.
  // After a request, waits for the full time and serves nothing.
  void pause(Milliseconds time);

  // Sets a task that pause() and wait_readable() call when the descriptor is readable, until the
  // task returns false. requested() and age(), which are called inside a sheet, never call it.
  void watch(int descriptor, std::function<bool()> task) {
    watched_ = descriptor;
    watch_task_ = std::move(task);
  }

  // Sets a task that each wait_readable() calls once if there is no data within 100 ms, and
  // immediately after a request.
  void set_idle_task(std::function<void()> task) { idle_task_ = std::move(task); }

  // Waits until the descriptor is readable or the request comes. True when it is readable.
  [[nodiscard]] bool wait_readable(int descriptor);

 private:
  // Waits for the request and for the descriptor, and serves the watched one. True when the
  // descriptor is readable.
  bool wait(Milliseconds time, int descriptor);
  // Polls for the request and `others`; serves nothing. True if the request has come.
  bool poll_request(Milliseconds time, std::span<pollfd> others);

  int pipe_end_;
  int signals_;
  std::optional<std::chrono::steady_clock::time_point> requested_at_;
  int watched_ = -1;
  std::function<bool()> watch_task_;
  std::function<void()> idle_task_;
};

}  // namespace k905::backend
