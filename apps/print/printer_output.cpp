#include "apps/print/printer_output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <thread>
#include <utility>

#include "apps/backend/sheet_bytes.h"
#include "apps/print/output_file.h"
#include "device/media_check.h"

namespace k905 {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Kind = Obstacle::Kind;

constexpr milliseconds kStopPause{100};  // between two checks of is_stopped
// For the current sheet, after a stop request.
constexpr seconds kAfterStop{30};

bool is_standard_stream(const struct stat& status) {
  return std::ranges::any_of(std::initializer_list<int>{STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO},
                             [&](int number) {
                               struct stat stream {};
                               return fstat(number, &stream) == 0 && S_ISCHR(stream.st_mode) &&
                                      stream.st_rdev == status.st_rdev;
                             });
}

bool is_device_file(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    return path.starts_with("/dev/");
  }
  return S_ISCHR(status.st_mode) && !is_memory_device(status) && !is_standard_stream(status);
}

}  // namespace

bool printer_named(const std::string& to, std::optional<PrinterOutputSetup>& setup,
                   std::string& error) {
  setup.reset();
  if (!to.starts_with("k905:")) {
    if (is_device_file(to)) {
      setup.emplace().printer.address = {
          .kind = PrinterAddress::Kind::kPath, .name = to, .port = ""};
      setup->name = to;
      setup->target = std::filesystem::absolute(to);
    }
    return true;
  }
  const std::optional<PrinterAddress> address = parse_device_uri(to);
  if (!address) {
    error = "the device must be k905://usb/SERIAL, k905://HOST:PORT or k905:/dev/usb/lp0: " + to;
    return false;
  }
  setup.emplace().printer.address = *address;
  setup->name = to_string(*address);
  setup->target = to;
  setup->printer.check_media = device_uri_option(to, "check-media") != "no";
  if (const auto settle = device_uri_option(to, "settle")) {
    int number = 0;
    std::from_chars(settle->data(), settle->data() + settle->size(), number);
    setup->printer.settle = seconds(std::clamp(number, 1, 600));
  }
  return true;
}

PrinterOutput::PrinterOutput(PrinterOutputSetup setup)
    : setup_(std::move(setup)),
      session_(setup_.printer,
               {.wait = [this](Phase phase, const Obstacle& obstacle,
                               milliseconds time) { return wait(phase, obstacle, time); },
                .opened = nullptr,
                .sent =
                    [this](int error) {
                      show(error == 0 ? "" : problem_text(error));
                      start_ = Clock::now();
                    }}) {}

void PrinterOutput::show(const std::string& reason) {
  if (reason != std::exchange(shown_, reason) && !reason.empty()) {
    setup_.print_message(setup_.name + ": " + reason + "; waiting");
  }
}

void PrinterOutput::pause(milliseconds time) const {
  const Clock::time_point end = Clock::now() + time;
  do {
    std::this_thread::sleep_for(std::min(kStopPause, time));
  } while (Clock::now() < end && !setup_.is_stopped());
}

bool PrinterOutput::wait(Phase phase, const Obstacle& obstacle, milliseconds time) {
  if (phase == Phase::kBeforeSheet) {
    return wait_before_sheet(obstacle, time);
  }
  if (obstacle.kind != Kind::kUnanswered) {
    show(obstacle.sentence);
  }
  const bool is_stopped = setup_.is_stopped();
  if (phase == Phase::kInSheet) {
    stopped_ = is_stopped && !stopped_ ? Clock::now() : stopped_;
    return !stopped_ || Clock::now() - *stopped_ < kAfterStop;
  }
  const auto waited = Clock::now() - start_;
  if ((setup_.after_sheet && waited >= *setup_.after_sheet) ||
      (is_stopped && waited >= kAfterStop)) {
    return false;
  }
  pause(time);
  return true;
}

bool PrinterOutput::wait_before_sheet(const Obstacle& obstacle, milliseconds time) {
  const auto waited = Clock::now() - start_;
  problem_ = obstacle.sentence;
  was_connected_ = was_connected_ || obstacle.kind != Kind::kOffline || obstacle.error == EBUSY;
  if (setup_.is_stopped() || (!was_connected_ && setup_.must_be_connected) ||
      (setup_.before_sheet && waited >= *setup_.before_sheet)) {
    return false;
  }
  if (obstacle.kind != Kind::kBusy && obstacle.kind != Kind::kUnanswered) {
    show(obstacle.sentence);
  }
  pause(time);
  return true;
}

std::string PrinterOutput::obstacle_now(const std::string& media) {
  SheetCounters ignored;
  const Obstacle obstacle = session_.find_obstacle(media, ignored);
  close();
  return obstacle.kind == Kind::kNone || obstacle.kind == Kind::kBusy
             ? ""
             : setup_.name + ": " + obstacle.sentence;
}

bool PrinterOutput::wait_until_ready(const std::string& media, SheetCounters& counters,
                                     std::string& error) {
  start_ = Clock::now();
  if (!session_.wait_until_ready(media, counters)) {
    error = setup_.name + ": " + problem_;
    return false;
  }
  was_connected_ = true;
  printer_ = {session_.report().serial_number, counters.life};
  show("");
  return true;
}

bool PrinterOutput::begin(const std::string& media, std::string& error) {
  printed_ = 0;
  printer_ = {};
  is_in_doubt_ = false;
  was_connected_ = false;
  SheetCounters ignored;
  return wait_until_ready(media, ignored, error);
}

bool PrinterOutput::print(const Sheet& sheet, std::string& error) {
  const std::string media = media_for_sheet(sheet.width, sheet.height);
  const backend::SheetBytes bytes(sheet);
  for (;;) {
    SheetCounters before;
    if (!wait_until_ready(media, before, error)) {
      return false;
    }
    stopped_.reset();
    switch (session_.send(bytes.pieces(), before)) {
      case Outcome::kPrinted:
        ++printed_;
        printer_.life_counter = session_.report().life_counter.value_or(0);
        show("");
        prints_left_ = session_.printer().ask(QuestionId::kRemainingMedia).number;
        return true;
      case Outcome::kNotPrinted:
        setup_.print_message(setup_.name +
                             ": the printer did not print the sheet; it is sent again");
        continue;
      case Outcome::kUndecided:  // waiting was stopped
      case Outcome::kUnknown:
        is_in_doubt_ = true;
        error = setup_.name + ": it is not known whether the sheet came out" +
                (shown_.empty() ? "" : ": " + shown_);
        return false;
    }
  }
}

}  // namespace k905
