// The loop over the sheets of a job and the waits in it.

#include "apps/backend/job_runner.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "device/media_check.h"
#include "apps/backend/scheduler.h"
#include "apps/backend/sheet_bytes.h"
#include "device/status_reasons.h"

namespace k905::backend {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds kOpenTimeout{5000};
constexpr milliseconds kRetryPause{1000};   // printer not connected or not ready
constexpr milliseconds kBufferPause{250};   // printer ready, buffers full
constexpr milliseconds kOutcomePause{100};  // sheet sent, printing
constexpr milliseconds kTurnPause{250};     // another process is finishing its sheet
constexpr milliseconds kStall{5000};

// After a stop request: how long the outcome of a sent sheet is waited for, and how long a printer
// that takes no data inside a sheet is given. The sheet's record decides later.
constexpr seconds kOutcomeAfterStop{25};
constexpr seconds kStallAfterStop{600};

constexpr int kUnansweredMeansOffline = 2;

std::string text_of_error(int error) {
  switch (error) {
    case ENODEV:
    case ENOENT:
    case ENXIO:
    case EIO:
      return "The printer is not connected";
    case ETIMEDOUT:
    case EPROTO:
      return "The printer does not answer";
    case EBUSY:
      return "Another program is using the printer";
    default:
      return std::string("The printer cannot be reached: ") + std::strerror(error);
  }
}

std::string sheet_name(unsigned number) { return "sheet " + std::to_string(number); }

}  // namespace

JobRunner::JobRunner(JobOptions options, Printer& printer, SheetSource& source,
                     RecordFolder& records, StopRequest& stop, std::function<void()> on_connected)
    : options_(std::move(options)),
      printer_(printer),
      source_(source),
      records_(records),
      stop_(stop),
      on_connected_(std::move(on_connected)) {}

int JobRunner::run() {
  if (!take_turn() || !connect() || !settle_open_sheets()) {
    return stopped();
  }
  record_ = records_.load(options_.job, options_.identity);
  if (record_.sending != 0) {
    warn("The outcome of " + sheet_name(record_.sending) + " on printer " + record_.printer +
         " is not known; it is printed here");
  } else if (record_.printed > 0) {
    info("Continuing with " + sheet_name(record_.printed + 1));
  }
  report_sheets();
  supplies_.report(printer_, seen_);
  publish_seen();
  return print_sheets();
}

// While this process has the printer, k905-status shows this and asks nothing.
void JobRunner::publish_seen() {
  std::string note = to_note(seen_);
  if (note != published_) {
    published_ = std::move(note);
    write_line("ATTR: ", "printer-alert='" + published_ + "'");
  }
}

// Counts the sheets that came out, for the log of pages. The scheduler is not there to read that
// when it was stopped in the middle of a sheet: the next process counts that sheet.
void JobRunner::report_sheets() {
  if (record_.printed > record_.reported &&
      write_line("PAGE: ", std::to_string(record_.printed) + " " +
                               std::to_string(record_.printed - record_.reported))) {
    record_.reported = record_.printed;
  }
}

// A process whose job was taken away may still be finishing its sheet: on this printer, or a sheet
// of this job on another.
bool JobRunner::take_turn() {
  while (!records_.try_lock_printer(to_string(printer_.address())) ||
         !records_.try_lock_job(options_.job)) {
    reason_.show(kConnecting, "Waiting for the sheet of an earlier job");
    stop_.pause(kTurnPause);
    if (stop_.requested()) {
      return false;
    }
  }
  reason_.clear();
  return true;
}

// Opens the printer, however long it takes to appear. False when stopped.
bool JobRunner::connect() {
  while (!stop_.requested()) {
    const int error = printer_.open(kOpenTimeout);
    if (error == 0) {
      if (on_connected_) {
        std::exchange(on_connected_, nullptr)();
      }
      unanswered_ = 0;
      counter_is_ours_ = false;
      read_identity();
      if (printer_.is_open()) {
        return true;
      }
      show_offline(ETIMEDOUT);
    } else {
      show_offline(error);
    }
    stop_.pause(kRetryPause);
  }
  return false;
}

// The serial number tells printers apart; one that has none is known by its address. A printer that
// does not answer at all is closed, and so is one that answered with its serial number before: it
// would be taken for another printer, and nobody would know about the sheet in hand.
void JobRunner::read_identity() {
  const Reply serial = printer_.ask(QuestionId::kSerialNumber);
  const bool answers = serial.error == 0 || printer_.ask(QuestionId::kStatus).error == 0;
  if (!answers || (serial.text.empty() && !seen_.serial_number.empty())) {
    printer_.close();
    return;
  }
  identity_ = serial.text.empty() ? to_string(printer_.address()) : serial.text;
  seen_.serial_number = serial.text;
}

void JobRunner::show_offline(int error) {
  reason_.show(kOffline, text_of_error(error));
  seen_.status_code.reset();
  publish_seen();
}

// Shows why the printer is not ready. False when it did not answer.
bool JobRunner::show_status(const Reply& status) {
  if (status.error != 0) {
    ++unanswered_;
    if (!printer_.is_open() || unanswered_ >= kUnansweredMeansOffline) {
      show_offline(status.error);
      printer_.close();
    }
    return false;
  }
  unanswered_ = 0;
  seen_.status_code = status.number;
  seen_.model = printer_.model();
  publish_seen();
  const StatusReason& row = status_reason(status.number);
  if (!row.ready) {
    reason_.show(row.keyword, status_sentence(status.number));
  }
  return true;
}

JobRunner::Wait JobRunner::wait_until_ready(const Sheet& sheet) {
  while (!stop_.requested()) {
    if (!printer_.is_open() && !connect()) {
      break;
    }
    const Reply status = printer_.ask(QuestionId::kStatus);
    if (!show_status(status)) {
      continue;
    }
    // A sheet of somebody else that is still being printed would move the counter for ours.
    counter_is_ours_ = counter_is_ours_ || is_idle_status(status.number);
    const bool ready = status_reason(status.number).ready;
    if (ready && has_media_for(sheet)) {
      reason_.clear();
      if (counter_is_ours_ && free_buffers() > 0) {
        return Wait::kReady;
      }
    }
    stop_.pause(ready ? kBufferPause : kRetryPause);
  }
  return Wait::kStopped;
}

bool JobRunner::has_media_for(const Sheet& sheet) {
  if (!options_.check_media) {
    return true;
  }
  const std::string needed = media_for_sheet(sheet.width, sheet.height);
  const std::string loaded = find_media(printer_.ask(QuestionId::kMedia).text.c_str());
  seen_.media = loaded;
  if (takes_sheet(loaded, needed)) {
    return true;
  }
  reason_.show(kMediaNeeded, "The job needs " + needed + " media, " + loaded + " is loaded");
  return false;
}

// 0 when the printer does not answer.
int JobRunner::free_buffers() {
  const Reply buffers = printer_.ask(QuestionId::kFreeBuffers);
  return buffers.error == 0 ? buffers.number : 0;
}

// Decides sheets that earlier processes left open on this printer, before a new sheet moves the
// counter. False when stopped.
bool JobRunner::settle_open_sheets() {
  for (JobRecord& record : records_.open_sheets_on(identity_)) {
    const Outcome outcome = find_outcome(record, true);
    if (outcome == Outcome::kOpen) {
      return false;
    }
    if (outcome == Outcome::kPrinted) {
      record.printed = record.sending;
    }
    record.sending = 0;
    if (const int error = records_.save(record)) {
      warn(std::string("The record of job ") + std::to_string(record.job) +
           " cannot be saved: " + std::strerror(error));
    }
  }
  return true;
}

int JobRunner::print_sheets() {
  Sheet sheet;
  for (unsigned number = 1;; ++number) {
    switch (source_.next(sheet, stop_)) {
      case SheetSource::Next::kSheet:
        break;
      case SheetSource::Next::kEnd:
        records_.remove(options_.job);
        info("Ready to print");
        return kDone;
      case SheetSource::Next::kStopped:
        return stopped();
      case SheetSource::Next::kInvalid:
        // When a job is stopped, the end of the filter may be seen before the request.
        stop_.pause(kRetryPause);
        if (stop_.requested()) {
          return stopped();
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
  for (;;) {
    if (wait_until_ready(sheet) == Wait::kStopped) {
      return stopped();
    }
    const int buffers = free_buffers();
    const Reply life = printer_.ask(QuestionId::kLifeCounter);
    if (buffers == 0 || life.error != 0) {
      show_offline(life.error != 0 ? life.error : ETIMEDOUT);
      printer_.close();
      continue;
    }
    seen_.life_counter = life.number;
    seen_.free_buffers = buffers;
    record_.sending = number;
    record_.life = life.number;
    record_.buffers = buffers;
    record_.printer = identity_;
    if (!save_record()) {
      return kStopQueue;
    }
    const SendResult sent = send(sheet, number);
    const Outcome outcome = find_outcome(record_, sent.error != 0);
    if (outcome == Outcome::kOpen) {
      return stopped();  // the record stays open; the next process decides
    }
    if (outcome == Outcome::kUnknown) {
      error("It is not known whether " + sheet_name(number) +
            " came out. Look at the printer; a released job continues with this sheet if the "
            "printer did not count it");
      return kHoldJob;
    }
    record_.sending = 0;
    if (outcome == Outcome::kPrinted) {
      record_.printed = number;
      report_sheets();
    }
    if (!save_record()) {
      return kStopQueue;
    }
    if (outcome == Outcome::kPrinted) {
      supplies_.report(printer_, seen_);
      return kDone;
    }
    info("Sending " + sheet_name(number) + " again: the printer did not print it");
  }
}

SendResult JobRunner::send(const Sheet& sheet, unsigned number) {
  info("Sending " + sheet_name(number));
  const SheetBytes bytes(sheet);
  SendResult sent = printer_.send(bytes.pieces(), kStall, [this] {
    reason_.show(kOffline, "The printer stopped taking data inside a sheet");
    return stop_.age() < kStallAfterStop;
  });
  if (sent.error != 0) {
    show_offline(sent.error);
  } else {
    reason_.clear();
    info("Printing " + sheet_name(number));
  }
  return sent;
}

// Waits until it is known what became of the record's sheet. `interrupted`: it may not have arrived
// whole.
JobRunner::Outcome JobRunner::find_outcome(const JobRecord& record, bool interrupted) {
  SheetOutcome sheet({.life = record.life, .buffers = record.buffers}, options_.settle, interrupted,
                     Clock::now());
  while (stop_.age() < kOutcomeAfterStop) {
    if (!printer_.is_open()) {
      if (!connect()) {
        return Outcome::kOpen;
      }
      sheet.interrupt(Clock::now());
    }
    if (identity_ != record.printer) {
      return Outcome::kUnknown;  // another printer: its counter says nothing
    }
    const Reply life = printer_.ask(QuestionId::kLifeCounter);
    if (life.error == 0 && life.number > record.life) {
      return Outcome::kPrinted;
    }
    const Reply status = printer_.ask(QuestionId::kStatus);
    const bool answered = show_status(status);
    const bool is_ready = answered && status_reason(status.number).ready;
    if (is_ready) {
      reason_.clear();
    }
    const Outcome outcome = sheet.observe(life.valid_number(), status.valid_number(), is_ready,
                                          Clock::now(), [this] { return free_buffers(); });
    if (outcome != Outcome::kOpen) {
      return outcome;
    }
    stop_.pause(kOutcomePause);
  }
  return Outcome::kOpen;
}

// A job that is held, or whose scheduler ends, is printed again from where it stopped; one that was
// canceled starts anew if it is ever printed again.
int JobRunner::stopped() {
  if (record_.job != 0 && record_.sending == 0 && job_was_canceled(options_.job)) {
    records_.remove(options_.job);
  }
  return kTryAgain;
}

bool JobRunner::save_record() {
  const int error_number = records_.save(record_);
  if (error_number != 0) {
    error(std::string("The record of printed sheets cannot be saved, nothing is sent: ") +
          std::strerror(error_number));
  }
  return error_number == 0;
}

}  // namespace k905::backend
