// Asks the scheduler about a job.
#pragma once

#include <ctime>
#include <optional>

namespace k905::backend {

struct JobState {
  // As opposed to held, stopped with its queue, or interrupted by the end of the scheduler. All
  // start with the same signal, but a canceled job that is printed again starts at its first sheet.
  bool is_canceled = false;
  // When the scheduler last completed the job; nothing when it never did.
  std::optional<std::time_t> completed;
};

// Nothing when the scheduler does not answer in time.
[[nodiscard]] std::optional<JobState> ask_scheduler(int job, int timeout_ms);

}  // namespace k905::backend
