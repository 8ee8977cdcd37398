#include "apps/print/printer_output.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <thread>
#include <utility>

#include "device/media_check.h"
#include "apps/backend/sheet_bytes.h"
#include "device/status_reasons.h"

namespace k905 {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds kOpenTimeout{5000};
constexpr milliseconds kStall{5000};
constexpr milliseconds kPause{1000};        // printer not connected or not ready
constexpr milliseconds kBusyPause{250};     // printer ready, buffers full
constexpr milliseconds kOutcomePause{100};  // sheet sent, printing
constexpr milliseconds kStopPause{100};     // between two looks at is_stopped

constexpr seconds kBusyPatience{3};  // the other program may be at its end, or ask a question
// For the sheet in hand, after the end was asked for.
constexpr seconds kAfterStop{30};

constexpr int kUnansweredMeansOffline = 2;

constexpr char kBusy[] = "the printer is printing another sheet";
constexpr char kNoData[] = "the printer stopped taking data inside a sheet";

std::string text_of_error(int error) {
  switch (error) {
    case ENODEV:
    case ENOENT:
    case ENXIO:
    case EIO:
      return "the printer is not connected";
    case ETIMEDOUT:
    case EPROTO:
      return "the printer does not answer";
    case EBUSY:
      return "another program is printing to it";
    default:
      return std::strerror(error);
  }
}

bool is_standard_stream(const struct stat& status) {
  return std::ranges::any_of(std::initializer_list<int>{STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO},
                             [&](int number) {
                               struct stat stream {};
                               return fstat(number, &stream) == 0 && S_ISCHR(stream.st_mode) &&
                                      stream.st_rdev == status.st_rdev;
                             });
}

bool is_device_file(const std::string& path) {
  constexpr unsigned kMemoryDevices = 1;  // /dev/null and its like
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    return path.starts_with("/dev/");
  }
  return S_ISCHR(status.st_mode) && major(status.st_rdev) != kMemoryDevices &&
         !is_standard_stream(status);
}

}  // namespace

bool printer_named(const std::string& to, std::optional<PrinterOutputSetup>& setup,
                   std::string& error) {
  setup.reset();
  if (!to.starts_with("k905:")) {
    if (is_device_file(to)) {
      setup.emplace().address = {.kind = PrinterAddress::Kind::kPath, .name = to, .port = ""};
      setup->name = to;
    }
    return true;
  }
  const std::optional<PrinterAddress> address = parse_device_uri(to);
  if (!address) {
    error = "the device must be k905://usb/SERIAL, k905://HOST:PORT or k905:/dev/usb/lp0: " + to;
    return false;
  }
  setup.emplace().address = *address;
  setup->name = to_string(*address);
  setup->check_media = device_uri_option(to, "check-media") != "no";
  if (const auto settle = device_uri_option(to, "settle")) {
    int number = 0;
    std::from_chars(settle->data(), settle->data() + settle->size(), number);
    setup->settle = seconds(std::clamp(number, 1, 600));
  }
  return true;
}

void PrinterOutput::show(const std::string& reason) {
  if (reason != std::exchange(shown_, reason) && !reason.empty()) {
    setup_.say(setup_.name + ": " + reason + "; waiting");
  }
}

void PrinterOutput::pause(milliseconds time) const {
  const Clock::time_point end = Clock::now() + time;
  do {
    std::this_thread::sleep_for(std::min(kStopPause, time));
  } while (Clock::now() < end && !setup_.is_stopped());
}

// The serial number tells printers apart; one that has none is known by its address.
int PrinterOutput::open() {
  const Clock::time_point start = Clock::now();
  int error = printer_.open(kOpenTimeout);
  while (error == EBUSY && Clock::now() - start < kBusyPatience && !setup_.is_stopped()) {
    pause(kStopPause);
    error = printer_.open(kOpenTimeout);
  }
  was_connected_ = was_connected_ || error == EBUSY;
  if (error != 0) {
    return error;
  }
  unanswered_ = 0;
  was_idle_ = false;
  const Reply serial = printer_.ask(QuestionId::kSerialNumber);
  if (serial.error != 0 && printer_.ask(QuestionId::kStatus).error != 0) {
    printer_.close();
    return ETIMEDOUT;
  }
  identity_ = serial.text.empty() ? setup_.name : serial.text;
  was_connected_ = true;
  return 0;
}

// Opens the printer where that is needed. False, with what is wrong in `problem`, when it did not
// answer all questions.
bool PrinterOutput::ask(Answers& answers) {
  int error = printer_.is_open() ? 0 : open();
  for (const auto& [question, number] :
       {std::pair{QuestionId::kStatus, &answers.status},
        std::pair{QuestionId::kLifeCounter, &answers.counters.life},
        std::pair{QuestionId::kFreeBuffers, &answers.counters.buffers}}) {
    if (error == 0) {
      const Reply reply = printer_.ask(question);
      error = reply.error;
      *number = reply.number;
    }
  }
  if (error == 0) {
    unanswered_ = 0;
    return true;
  }
  if (printer_.is_open() && ++unanswered_ >= kUnansweredMeansOffline) {
    printer_.close();
  }
  answers.problem = text_of_error(error);
  return false;
}

// Why no sheet for this media can be sent now; "" when one can.
std::string PrinterOutput::obstacle(const std::string& media, SheetCounters& counters) {
  Answers now;
  if (!ask(now)) {
    return now.problem;
  }
  if (!status_reason(now.status).ready) {
    return status_sentence(now.status);
  }
  if (setup_.check_media) {
    const std::string loaded = find_media(printer_.ask(QuestionId::kMedia).text.c_str());
    if (!takes_sheet(loaded, media)) {
      return "the sheet needs " + media + " media, " + loaded + " is loaded";
    }
  }
  // A sheet of somebody else that is still being printed would move the counter for ours.
  was_idle_ = was_idle_ || is_idle_status(now.status);
  counters = now.counters;
  return was_idle_ && counters.buffers > 0 ? "" : kBusy;
}

std::string PrinterOutput::obstacle_now(const std::string& media) {
  SheetCounters ignored;
  const std::string reason = obstacle(media, ignored);
  printer_.close();
  return reason.empty() || reason == kBusy ? "" : setup_.name + ": " + reason;
}

bool PrinterOutput::wait_until_ready(const std::string& media, SheetCounters& counters,
                                     std::string& error) {
  const Clock::time_point start = Clock::now();
  for (;;) {
    const std::string reason = obstacle(media, counters);
    if (reason.empty()) {
      show("");
      return true;
    }
    error = setup_.name + ": " + reason;
    if (setup_.is_stopped()) {
      return false;
    }
    const bool is_missing = !was_connected_ && setup_.must_be_connected;
    if (is_missing || (setup_.before_sheet && Clock::now() - start >= *setup_.before_sheet)) {
      return false;
    }
    if (reason != kBusy) {
      show(reason);
    }
    pause(reason == kBusy ? kBusyPause : kPause);
  }
}

bool PrinterOutput::begin(const std::string& media, std::string& error) {
  printed_ = 0;
  is_in_doubt_ = false;
  was_connected_ = false;
  SheetCounters ignored;
  return wait_until_ready(media, ignored, error);
}

bool PrinterOutput::print(const Sheet& sheet, std::string& error) {
  const std::string media = media_for_sheet(sheet.width, sheet.height);
  for (;;) {
    SheetCounters before;
    if (!wait_until_ready(media, before, error)) {
      return false;
    }
    switch (send(sheet, before)) {
      case Outcome::kPrinted:
        ++printed_;
        prints_left_ = printer_.ask(QuestionId::kRemainingMedia).number;
        return true;
      case Outcome::kNotPrinted:
        setup_.say(setup_.name + ": the printer did not print the sheet; it is sent again");
        continue;
      case Outcome::kOpen:  // not waited for any longer
      case Outcome::kUnknown:
        is_in_doubt_ = true;
        error = setup_.name + ": it is not known whether the sheet came out" +
                (shown_.empty() ? "" : ": " + shown_);
        return false;
    }
  }
}

PrinterOutput::Outcome PrinterOutput::send(const Sheet& sheet, const SheetCounters& before) {
  const backend::SheetBytes bytes(sheet);
  std::optional<Clock::time_point> stopped;
  const SendResult sent = printer_.send(bytes.pieces(), kStall, [&] {
    show(kNoData);
    if (!stopped && setup_.is_stopped()) {
      stopped = Clock::now();
    }
    return !stopped || Clock::now() - *stopped < kAfterStop;
  });
  show(sent.error != 0 ? text_of_error(sent.error) : "");
  return find_outcome(before, sent.error != 0);
}

// Waits until it is known what became of a sheet that was sent. `interrupted`: it may not have
// arrived whole.
PrinterOutput::Outcome PrinterOutput::find_outcome(const SheetCounters& before, bool interrupted) {
  const std::string identity = identity_;
  const Clock::time_point start = Clock::now();
  SheetOutcome sheet(before, setup_.settle, interrupted, start);
  for (;;) {
    Answers now;
    const bool answered = ask(now);
    if (answered && identity_ != identity) {
      return Outcome::kUnknown;  // another printer: its counter says nothing
    }
    if (!printer_.is_open()) {
      sheet.interrupt(Clock::now());
    }
    const bool is_ready = answered && status_reason(now.status).ready;
    const Outcome outcome =
        sheet.observe(answered ? std::optional(now.counters.life) : std::nullopt,
                      answered ? std::optional(now.status) : std::nullopt, is_ready, Clock::now(),
                      [&now] { return now.counters.buffers; });
    if (answered) {
      show(is_ready || outcome == Outcome::kPrinted ? "" : status_sentence(now.status));
    }
    if (outcome != Outcome::kOpen) {
      return outcome;
    }
    const auto waited = Clock::now() - start;
    if ((setup_.after_sheet && waited >= *setup_.after_sheet) ||
        (setup_.is_stopped() && waited >= kAfterStop)) {
      return Outcome::kOpen;
    }
    pause(printer_.is_open() ? kOutcomePause : kPause);
  }
}

}  // namespace k905
