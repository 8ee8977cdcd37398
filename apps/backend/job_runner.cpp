// The loop over the sheets of a job; what it shows while it waits, and when it stops waiting.

#include "apps/backend/job_runner.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <ctime>
#include <optional>
#include <utility>

#include "apps/backend/sheet_bytes.h"
#include "apps/backend/side_channel.h"
#include "device/media_check.h"
#include "device/status_reasons.h"

namespace k905::backend {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Kind = Obstacle::Kind;

constexpr milliseconds kLockPause{250};       // another process is finishing its sheet
constexpr milliseconds kLateStopPause{1000};  // for a stop request after the end of the stream

// After a stop request: how long to wait for the outcome of a sent sheet, and for a printer that
// accepts no data inside a sheet. After that, the next process decides the outcome from the sheet's
// record.
constexpr seconds kOutcomeAfterStop{25};
constexpr seconds kStallAfterStop{600};

std::string sheet_name(unsigned number) { return "sheet " + std::to_string(number); }

std::string with_capital(std::string sentence) {
  if (!sentence.empty()) {
    sentence.front() =
        static_cast<char>(std::toupper(static_cast<unsigned char>(sentence.front())));
  }
  return sentence;
}

}  // namespace

JobRunner::JobRunner(JobOptions options, SheetSource& source, RecordFolder& records,
                     StopRequest& stop, std::function<void()> on_connected)
    : options_(std::move(options)),
      source_(source),
      records_(records),
      stop_(stop),
      on_connected_(std::move(on_connected)),
      session_(options_.printer,
               {.wait = [this](Phase phase, const Obstacle& obstacle,
                               milliseconds pause) { return wait(phase, obstacle, pause); },
                .opened =
                    [this] {
                      if (on_connected_) {
                        std::exchange(on_connected_, nullptr)();
                      }
                    },
                .sent = [this](int error) { show_sent(error); }}) {}

int JobRunner::run() {
  stop_.set_idle_task([this] { (void)records_.sync(); });
  stop_.watch(options_.side_channel,
              [this] { return answer_request([this] { return session_.loaded_media(); }); });
  if (!lock_printer() || !session_.wait_until_connected(Phase::kBeforeSheet) || !lock_job()) {
    return end_stopped_job();
  }
  if (!load_record()) {
    return kStopQueue;
  }
  is_reprint_ = is_reprint_requested();
  if (const int status = decide_undecided_sheets()) {
    return status;
  }
  if (is_reprint_) {
    record_ = {.job = options_.number,
               .identity = options_.identity,
               .printer = "",
               .ended = options_.ended.value_or(0)};
  }
  if (record_.printed > 0) {
    info("Continuing with " + sheet_name(record_.printed + 1));
  }
  report_sheets();
  show_first_state();
  return print_sheets();
}

bool JobRunner::wait(Phase phase, const Obstacle& obstacle, milliseconds pause) {
  show(obstacle);
  (void)records_.sync();
  if (phase == Phase::kInSheet) {
    return stop_.age() < kStallAfterStop;
  }
  stop_.pause(pause);
  const bool may_still_come_out = phase == Phase::kAfterSheet && obstacle.kind != Kind::kOffline;
  return may_still_come_out ? stop_.age() < kOutcomeAfterStop : !stop_.requested();
}

// A single question without an answer does not change the messages.
void JobRunner::show(const Obstacle& obstacle) {
  if (obstacle.kind == Kind::kUnanswered) {
    return;
  }
  if (*obstacle.keyword == '\0') {
    reason_.clear();
  } else {
    reason_.show(obstacle.keyword, with_capital(obstacle.sentence));
  }
  publish_report();
}

void JobRunner::show_sent(int error) {
  if (error == 0) {
    reason_.clear();
    info("Printing " + sheet_name(record_.sending));
  } else {
    debug("Sending was interrupted: " + problem_text(error));
  }
}

// While this process uses the printer, k905-status shows this report and does not ask the printer.
void JobRunner::publish_report() {
  std::string note = to_note(session_.report());
  if (note != published_) {
    write_line("ATTR: ", "printer-alert='" + note + "'");
    published_ = std::move(note);
  }
}

// Publishes the state of the printer while the filters make the first sheet, which can take long.
// Obstacles are shown only when that sheet has arrived.
void JobRunner::show_first_state() {
  SheetCounters ignored;
  (void)session_.find_obstacle("", ignored);
  supplies_.report(session_.printer(), session_.report());
  publish_report();
}

// Reports the sheets that came out, for the page log. If the scheduler was stopped in the middle of
// a sheet, the report cannot be written: the next process reports that sheet.
void JobRunner::report_sheets() {
  if (record_.printed > record_.reported &&
      write_line("PAGE: ", std::to_string(record_.printed) + " " +
                               std::to_string(record_.printed - record_.reported))) {
    record_.reported = record_.printed;
  }
}

// The process of a job that was stopped may still be finishing its sheet: on this printer, or a
// sheet of this job on another one.
bool JobRunner::lock_printer() {
  while (!records_.try_lock_printer(options_.printer.address)) {
    if (!wait_for_lock()) {
      return false;
    }
  }
  reason_.clear();
  return true;
}

// Only when the printer is connected: other jobs may have to wait for this lock.
bool JobRunner::lock_job() {
  while (!records_.try_lock_job(options_.number)) {
    if (!wait_for_lock()) {
      return false;
    }
  }
  reason_.clear();
  return true;
}

bool JobRunner::wait_for_lock() {
  reason_.show(kConnecting, "Waiting for the sheet of an earlier job");
  stop_.pause(kLockPause);
  return !stop_.requested();
}

// Decides the outcome of sheets that earlier processes left undecided on this printer, before a new
// sheet increases the counter. Returns kDone, or the exit status of the job.
int JobRunner::decide_undecided_sheets() {
  for (;;) {
    decided_printer_ = session_.identity();
    // First, so that no two processes wait for each other's jobs.
    if (const int status = decide_own_sheet()) {
      return status;
    }
    std::vector<JobRecord> undecided;
    if (!is_read(records_.find_undecided_sheets(decided_printer_, undecided))) {
      return kStopQueue;
    }
    if (undecided.empty()) {
      return kDone;
    }
    if (const int status = decide_sheet_of(undecided.front().job)) {
      return status;
    }
  }
}

// Handles a sheet of this job whose outcome the counter of this printer cannot decide.
int JobRunner::decide_own_sheet() {
  if (record_.sending == 0 || (record_.printer == decided_printer_ && record_.life >= 0)) {
    return kDone;
  }
  if (!is_reprint_ && !record_.asked) {
    return hold_for_operator();
  }
  if (!is_reprint_) {
    warn("It is not known whether " + sheet_name(record_.sending) + " came out of printer " +
         record_.printer + "; the job was released, so it is printed here");
  }
  record_.sending = 0;
  return is_saved(records_.save(record_)) ? kDone : kStopQueue;
}

int JobRunner::decide_sheet_of(int job) {
  const bool is_own = job == options_.number;
  if (!is_own && !records_.try_lock_job(job)) {
    return wait_for_lock() ? kDone : end_stopped_job();
  }
  // Before this process had the lock, the job may have been continued on another printer.
  std::vector<JobRecord> undecided;
  if (!is_read(records_.find_undecided_sheets(decided_printer_, undecided))) {
    return kStopQueue;
  }
  const auto found = std::find_if(undecided.begin(), undecided.end(),
                                  [job](const JobRecord& record) { return record.job == job; });
  const int status = found == undecided.end() ? kDone : decide(*found);
  if (is_own) {
    return load_record() ? status : kStopQueue;
  }
  records_.unlock_job(job);
  return status;
}

int JobRunner::decide(JobRecord record) {
  const Outcome outcome = session_.find_outcome({.life = record.life, .buffers = record.buffers},
                                                decided_printer_, true);
  if (outcome == Outcome::kUndecided) {
    return end_stopped_job();
  }
  if (session_.identity() != decided_printer_) {
    return kDone;  // the counter of the first printer can still decide later
  }
  if (outcome == Outcome::kUnknown) {
    record.life = -1;  // the next sheet increases the counter
  } else {
    record.printed = outcome == Outcome::kPrinted ? record.sending : record.printed;
    record.sending = 0;
  }
  return is_saved(records_.save(record)) ? kDone : kStopQueue;
}

// Holds the job until the operator has checked the printer. When the job is released, the counter
// of the same printer decides if it can; if not, the sheet is printed again.
int JobRunner::hold_for_operator() {
  error("It is not known whether " + sheet_name(record_.sending) + " came out of printer " +
        record_.printer +
        ". Look at that printer: a released job prints this sheet again, unless the printer has "
        "counted it");
  record_.asked = true;
  return is_saved(records_.save(record_)) ? kHoldJob : kStopQueue;
}

int JobRunner::print_sheets() {
  Sheet sheet;
  for (unsigned number = 1;; ++number) {
    switch (source_.next(sheet, stop_)) {
      case SheetSource::Next::kSheet:
        break;
      case SheetSource::Next::kEnd:
        return end_completed_job();
      case SheetSource::Next::kStopped:
        return end_stopped_job();
      case SheetSource::Next::kInvalid:
        // When a job is stopped, the end of the filter may be seen before the request.
        stop_.pause(kLateStopPause);
        if (stop_.requested()) {
          return end_stopped_job();
        }
        error("Invalid print data, " + sheet_name(number) +
              " and what follows it are not printed (" + source_.problem() + ")");
        return kHoldJob;
      case SheetSource::Next::kFailed:
        error("Print data cannot be read: " + source_.problem());
        return kHoldJob;
    }
    if (number <= record_.printed) {
      continue;
    }
    const int status = print_sheet(sheet, number);
    if (status != kDone) {
      return status;
    }
  }
}

int JobRunner::print_sheet(const Sheet& sheet, unsigned number) {
  const std::string media = media_for_sheet(sheet.width, sheet.height);
  const SheetBytes bytes(sheet);
  for (;;) {
    SheetCounters counters;
    if (stop_.requested() || !session_.wait_until_ready(media, counters)) {
      return end_stopped_job();
    }
    reason_.clear();
    if (session_.identity() != decided_printer_) {
      if (const int status = decide_undecided_sheets()) {
        return status;
      }
      continue;
    }
    record_.sending = number;
    record_.asked = false;
    record_.life = counters.life;
    record_.buffers = counters.buffers;
    record_.printer = session_.identity();
    if (!is_saved(records_.save(record_))) {
      return kStopQueue;
    }
    publish_report();
    info("Sending " + sheet_name(number));
    const Outcome outcome = session_.send(bytes.pieces(), counters);
    if (outcome != Outcome::kNotPrinted) {
      return end_sheet(outcome, number);
    }
    record_.sending = 0;
    if (!is_saved(records_.save(record_))) {
      return kStopQueue;
    }
    info("Sending " + sheet_name(number) + " again: the printer did not print it");
  }
}

int JobRunner::end_sheet(Outcome outcome, unsigned number) {
  if (outcome == Outcome::kUndecided) {
    return end_stopped_job();  // the next process decides from the record
  }
  if (outcome == Outcome::kUnknown) {
    return hold_for_operator();
  }
  record_.sending = 0;
  record_.printed = number;
  report_sheets();
  // The record need not be on disk before the record of the next sheet is: until then the record on
  // disk says that this sheet is being sent, and the life counter decides that it came out. If no
  // next sheet has arrived, it is written to disk while the job waits.
  if (!is_saved(records_.save_unsynced(record_))) {
    return kStopQueue;
  }
  supplies_.report(session_.printer(), session_.report());
  publish_report();
  return kDone;
}

// The record is kept for a while: the scheduler saves the completed state of the job some time
// later, and prints the job again if it is killed, or the power fails, before that.
int JobRunner::end_completed_job() {
  if (record_.printed > 0) {
    record_.completed = std::time(nullptr);
    (void)records_.save(record_);
  }
  records_.remove_old();
  info("Ready to print");
  return kDone;
}

// Whether the scheduler ended the job after its record began: then the operator wants all sheets
// again. A job that is completed here but was not ended by the scheduler is a different case: the
// scheduler was killed before it saved that state, and no sheet must be printed again.
bool JobRunner::is_reprint_requested() const {
  if (!options_.ended) {
    return record_.completed != 0;
  }
  return *options_.ended != record_.ended ||
         (record_.completed != 0 && *options_.ended >= record_.completed);
}

// The next process continues the job.
int JobRunner::end_stopped_job() {
  (void)records_.sync();
  return kTryAgain;
}

bool JobRunner::load_record() {
  return is_read(records_.load(options_.number, options_.identity, record_));
}

bool JobRunner::is_read(const std::string& problem) {
  if (!problem.empty()) {
    error("The record of printed sheets cannot be read, so nothing is sent: " + problem);
  }
  return problem.empty();
}

bool JobRunner::is_saved(int error_number) {
  if (error_number != 0) {
    error(std::string("The record of printed sheets cannot be saved, so nothing is sent: ") +
          std::strerror(error_number));
  }
  return error_number == 0;
}

}  // namespace k905::backend
