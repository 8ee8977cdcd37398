// What only the scheduler knows.
#pragma once

namespace k905::backend {

// Whether the job was canceled, as opposed to held, stopped with its queue, or interrupted by the
// end of the scheduler. Both begin with the same signal, but a canceled job that is printed again
// starts at its first sheet. False when the scheduler does not answer within a second.
[[nodiscard]] bool job_was_canceled(int job);

}  // namespace k905::backend
