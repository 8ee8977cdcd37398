// Jobs that are held in a queue until all of them is there and the ledger says so: what became of
// one, and what is done about it.
//
//   created, held      the ledger knows the ticket; then the job's number
//   all pages sent     the ledger knows that the job is complete
//   released           the queue prints it; the ledger notes it as printed
//
// Only a job that the ledger knows as complete is released, so a job that is not complete there was
// never printed, and one that is complete is never sent again.
#pragma once

#include <string>

enum class QueueJobState {
  held,      // by us, not released yet
  released,  // waits for its turn, is printed, or was
  ended,     // canceled or aborted
  gone,      // the print system does not know such a job
  unknown    // the print system does not answer
};
[[nodiscard]] QueueJobState state_of_queue_job(int number, const std::string& ticket);

// What a job is created with, so that it is held and can be found again.
inline constexpr char kHoldOption[] = "job-hold-until";
inline constexpr char kHeld[] = "indefinite";
inline constexpr char kTicketOption[] = "job-message-to-operator";

// How far a job is that is not held by us.
struct QueueJobProgress {
  enum class State { active, printed, failed, gone, unknown };
  State state = State::unknown;
  std::string message;  // why it is not printed yet, or was not; "" when there is nothing to say
};
[[nodiscard]] QueueJobProgress progress_of_queue_job(int number);

// Prints a held job, or leaves it held until `hold` where that is what the queue does with its
// jobs. False with the reason in `error`.
[[nodiscard]] bool release_queue_job(int number, const std::string& hold, std::string& error);

// True when the job will not be printed any more.
[[nodiscard]] bool cancel_queue_job(int number);

// Cancels the jobs of that ticket, whatever their number. False when that is not certain.
[[nodiscard]] bool cancel_queue_jobs_of(const std::string& ticket);
