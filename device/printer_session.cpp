#include "device/printer_session.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "device/media_check.h"
#include "device/status_reasons.h"

namespace k905 {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;
using Kind = Obstacle::Kind;

constexpr milliseconds kOpenTimeout{5000};
constexpr milliseconds kStall{5000};
constexpr milliseconds kRetryPause{1000};   // not connected or not ready
constexpr milliseconds kBusyPause{250};     // ready, but printing or without a buffer
constexpr milliseconds kOutcomePause{100};  // sheet sent, printing

constexpr int kUnansweredMeansOffline = 2;

}  // namespace

std::string problem_text(int error) {
  switch (error) {
    case ENODEV:
    case ENOENT:
    case ENXIO:
    case EIO:
    case ENOTCONN:
    case ECONNRESET:
    case EPIPE:
      return "the printer is not connected";
    case ETIMEDOUT:
    case EPROTO:
      return "the printer does not answer";
    case ENOTTY:
      return "this is not a printer device";
    case EBUSY:
      return "another program is using the printer";
    default:
      return std::string("the printer cannot be reached: ") + std::strerror(error);
  }
}

int PrinterSession::connect() {
  if (printer_.is_open()) {
    return 0;
  }
  if (const int error = printer_.open(kOpenTimeout)) {
    return error;
  }
  unanswered_ = 0;
  was_idle_ = false;
  if (owner_.opened) {
    owner_.opened();
  }
  if (!read_identity()) {
    printer_.close();
    return ETIMEDOUT;
  }
  return 0;
}

// False if the printer does not answer, or does not report the serial number that it reported
// before: it would be treated as another printer, and the outcome of the current sheet would be
// lost.
bool PrinterSession::read_identity() {
  Reply serial = printer_.ask(QuestionId::kSerialNumber);
  if (serial.error != 0) {
    if (printer_.ask(QuestionId::kStatus).error != 0) {
      return false;
    }
    // One reply can be lost; a printer without a serial number never replies.
    serial = printer_.ask(QuestionId::kSerialNumber);
  }
  const std::string number = serial.error == 0 ? serial.text : "";
  if (!printer_.is_open() || (number.empty() && !report_.serial_number.empty())) {
    return false;
  }
  identity_ = number.empty() ? to_string(setup_.address) : number;
  report_.serial_number = number;
  return true;
}

// Closes a printer that repeatedly does not answer.
Reply PrinterSession::ask(QuestionId id) {
  Reply reply = printer_.ask(id);
  unanswered_ = reply.error == 0 ? 0 : unanswered_ + 1;
  if (unanswered_ >= kUnansweredMeansOffline) {
    printer_.close();
  }
  return reply;
}

// After an unanswered question or a broken connection.
Obstacle PrinterSession::connection_obstacle(int error) {
  if (printer_.is_open()) {
    return {Kind::kUnanswered, error, "", problem_text(error)};
  }
  report_.status_code.reset();
  return {Kind::kOffline, error, kOffline, problem_text(error)};
}

Obstacle PrinterSession::status_obstacle(const Reply& status) {
  if (status.error != 0) {
    return connection_obstacle(status.error);
  }
  report_.status_code = status.number;
  report_.model = printer_.model();
  const StatusReason& row = status_reason(status.number);
  return row.ready ? Obstacle{}
                   : Obstacle{Kind::kStatus, 0, row.keyword, status_sentence(status.number)};
}

Reply PrinterSession::ask_media() {
  Reply reply = ask(QuestionId::kMedia);
  report_.media = reply.error == 0 ? find_media(reply.text.c_str()) : "";
  return reply;
}

std::string PrinterSession::loaded_media() {
  return printer_.is_open() && ask_media().error == 0 ? report_.media : "";
}

bool PrinterSession::wait_until_connected(Phase phase) {
  while (const int error = connect()) {
    if (!owner_.wait(phase, connection_obstacle(error), kRetryPause)) {
      return false;
    }
  }
  return true;
}

Obstacle PrinterSession::find_obstacle(const std::string& media, SheetCounters& counters) {
  if (const int error = connect()) {
    return connection_obstacle(error);
  }
  const Reply status = ask(QuestionId::kStatus);
  Obstacle obstacle = status_obstacle(status);
  if (obstacle.kind != Kind::kNone) {
    return obstacle;
  }
  if (setup_.check_media) {
    const Reply loaded = ask_media();
    if (loaded.error != 0) {
      return connection_obstacle(loaded.error);
    }
    if (!media_fits_sheet(report_.media, media)) {
      return {Kind::kMedia, 0, kMediaNeeded,
              "the sheet needs " + media + " media, " + report_.media + " is loaded"};
    }
  }
  // A sheet of another program that is still being printed would increase the counter too.
  was_idle_ = was_idle_ || is_idle_status(status.number);
  for (const auto& [question, number] : {std::pair{QuestionId::kLifeCounter, &counters.life},
                                         std::pair{QuestionId::kFreeBuffers, &counters.buffers}}) {
    const Reply reply = ask(question);
    if (reply.error != 0) {
      return connection_obstacle(reply.error);
    }
    *number = reply.number;
  }
  report_.life_counter = counters.life;
  report_.free_buffers = counters.buffers;
  return was_idle_ && counters.buffers > 0
             ? Obstacle{}
             : Obstacle{Kind::kBusy, 0, "", "the printer is printing another sheet"};
}

bool PrinterSession::wait_until_ready(const std::string& media, SheetCounters& counters) {
  for (int unanswered = 0;;) {
    Obstacle obstacle = find_obstacle(media, counters);
    if (obstacle.kind == Kind::kNone) {
      return true;
    }
    // The printer answers some questions, but repeatedly not one that is needed for the sheet.
    unanswered = obstacle.kind == Kind::kUnanswered ? unanswered + 1 : 0;
    if (unanswered >= kUnansweredMeansOffline) {
      printer_.close();
      obstacle = connection_obstacle(obstacle.error);
    }
    const bool is_short = obstacle.kind == Kind::kBusy || obstacle.kind == Kind::kUnanswered;
    if (!owner_.wait(Phase::kBeforeSheet, obstacle, is_short ? kBusyPause : kRetryPause)) {
      return false;
    }
  }
}

PrinterSession::Outcome PrinterSession::send(const Pieces& sheet, const SheetCounters& before) {
  const std::string identity = identity_;
  const SendResult result = printer_.send(sheet, kStall, [this] {
    return owner_.wait(
        Phase::kInSheet,
        {Kind::kStalled, 0, kOffline, "the printer stopped taking data inside a sheet"},
        milliseconds(0));
  });
  owner_.sent(result.error);
  return find_outcome(before, identity, result.error != 0);
}

PrinterSession::Outcome PrinterSession::find_outcome(const SheetCounters& before,
                                                     const std::string& identity,
                                                     bool interrupted) {
  SheetOutcome sheet(before, setup_.settle, interrupted, Clock::now());
  for (int unanswered = 0;;) {
    if (!printer_.is_open()) {
      if (!wait_until_connected(Phase::kAfterSheet)) {
        return Outcome::kUndecided;
      }
      sheet.interrupt(Clock::now());
    }
    if (identity_ != identity) {
      return Outcome::kUnknown;  // another printer: its counter does not help
    }
    const Reply life = ask(QuestionId::kLifeCounter);
    if (life.error == 0 && life.number > before.life) {
      report_.life_counter = life.number;
      return Outcome::kPrinted;
    }
    const Reply status = ask(QuestionId::kStatus);
    Obstacle obstacle = status_obstacle(status);
    const Outcome outcome = sheet.observe(
        life.valid_number(), status.valid_number(), obstacle.kind == Kind::kNone, Clock::now(),
        [this] { return ask(QuestionId::kFreeBuffers).valid_number().value_or(0); });
    if (outcome != Outcome::kUndecided) {
      return outcome;
    }
    // The printer answers, but repeatedly not the question that decides. It is not closed: opened
    // again, it would get only a short time to count the sheet.
    unanswered = life.error == 0 ? 0 : unanswered + 1;
    if (obstacle.kind == Kind::kNone && unanswered >= kUnansweredMeansOffline) {
      obstacle = {Kind::kStalled, 0, kOffline, problem_text(life.error)};
    }
    if (!owner_.wait(Phase::kAfterSheet, obstacle, kOutcomePause)) {
      return Outcome::kUndecided;
    }
  }
}

}  // namespace k905
