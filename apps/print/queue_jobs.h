// Jobs that a queue holds until they are complete and recorded: finding out how far one is,
// releasing and canceling it.
//
//   created, held      the ledger knows the ticket; then the job's number
//
//   all pages sent     the ledger knows that the job is complete
//
//   released           the queue prints it; the ledger records it as printed
//
// Only a job that is complete in the ledger is released, so an incomplete one was never printed,
// and a complete one is never sent again.
#pragma once

#include <string>

namespace k905 {

enum class QueueJobState {
  held,      // by us, not released yet
  released,  // waiting, printing or printed
  ended,     // canceled or aborted
  missing,   // the print system has no such job
  unknown    // the print system does not answer
};
[[nodiscard]] QueueJobState state_of_queue_job(int number, const std::string& ticket);

// The options by which a job is held and can be found again.
inline constexpr char kHoldOption[] = "job-hold-until";
inline constexpr char kHeld[] = "indefinite";
inline constexpr char kTicketOption[] = "job-message-to-operator";

// The state of a job that this program does not hold.
struct QueueJobProgress {
  enum class State { active, printed, failed, missing, unknown };
  State state = State::unknown;
  std::string message;  // why it is not printed; "" if there is no reason
};
[[nodiscard]] QueueJobProgress progress_of_queue_job(int number);

// Releases a held job, or leaves it held until `hold` if the queue holds its jobs. False with the
// reason in `error`.
[[nodiscard]] bool release_queue_job(int number, const std::string& hold, std::string& error);

// True if the job will not be printed any more.
[[nodiscard]] bool cancel_queue_job(int number);

// Cancels the jobs with this ticket, whatever their number. False if that is not certain.
[[nodiscard]] bool cancel_queue_jobs_of(const std::string& ticket);

}  // namespace k905
