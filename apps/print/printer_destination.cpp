#include "apps/print/printer_destination.h"

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
#include "apps/print/print_job.h"
#include "device/media_check.h"

namespace k905 {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Kind = Obstacle::Kind;

constexpr milliseconds kStopPause{100};  // between two checks of stop_requested()
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

bool printer_named(const std::string& to, std::optional<PrinterSetup>& setup, std::string& error) {
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

namespace {

class PrinterDestination final : public Destination {
 public:
  PrinterDestination(FilterDestinationSetup filter, PrinterSetup setup)
      : setup_(std::move(setup)),
        session_(setup_.printer,
                 {.wait = [this](Phase phase, const Obstacle& obstacle,
                                 milliseconds time) { return wait(phase, obstacle, time); },
                  .opened = nullptr,
                  .sent =
                      [this](int error) {
                        show(error == 0 ? "" : problem_text(error));
                        start_ = Clock::now();
                      }}) {
    const PaperConfig& paper = *sheet_place(filter.choices).paper;
    media_ = media_for_sheet(static_cast<std::uint32_t>(paper.canvas_width),
                             static_cast<std::uint32_t>(paper.canvas_height));
    filter.on_sheet = [this](const Sheet& sheet) { return print(sheet); };
    filter_ = make_filter_destination(std::move(filter));
  }
  ~PrinterDestination() override { abandon(); }

  [[nodiscard]] const Choices& choices() const override { return filter_->choices(); }

  [[nodiscard]] SheetTarget target() const override {
    SheetTarget target;
    target.device = setup_.target;
    return target;
  }

  [[nodiscard]] std::string obstacle() override {
    SheetCounters ignored;
    const Obstacle obstacle = session_.find_obstacle(media_, ignored);
    close();
    return obstacle.kind == Kind::kNone || obstacle.kind == Kind::kBusy
               ? ""
               : setup_.name + ": " + obstacle.sentence;
  }

  [[nodiscard]] bool begin(const JobName& name, StartedJob& started, std::string& error) override {
    printed_ = 0;
    printer_ = {};
    is_in_doubt_ = false;
    was_connected_ = false;
    SheetCounters ignored;
    error = wait_until_ready(media_, ignored);
    const bool is_started = error.empty() && filter_->begin(name, started, error);
    if (!is_started) {
      close();
    }
    return is_started;
  }

  [[nodiscard]] bool page(const Picture& page, std::string& error) override {
    return filter_->page(page, error) || explain(error);
  }

  [[nodiscard]] bool end(std::string& place, std::string& error) override {
    if (!filter_->end(place, error)) {
      return explain(error);
    }
    close();
    place =
        setup_.name + (prints_left_ < 0 ? ""
                                        : ", " + std::to_string(prints_left_) +
                                              (prints_left_ == 1 ? " print left" : " prints left"));
    return true;
  }

  void abandon() override {
    filter_->abandon();
    close();
  }

  [[nodiscard]] KnownPrinter printer() const override { return printer_; }

  [[nodiscard]] bool may_have_printed() const override { return printed_ > 0 || is_in_doubt_; }

 private:
  using Clock = std::chrono::steady_clock;
  using Phase = PrinterSession::Phase;

  void close() { session_.printer().close(); }

  // Always returns false. Adds the number of sheets that came out and need not be printed again.
  bool explain(std::string& error) {
    close();
    if (printed_ > 0) {
      error += "; sheets printed before: " + std::to_string(printed_);
    }
    return false;
  }

  void show(const std::string& reason) {
    if (reason != std::exchange(shown_, reason) && !reason.empty()) {
      setup_.print_message(setup_.name + ": " + reason + "; waiting");
    }
  }

  static void pause(milliseconds time) {
    const Clock::time_point end = Clock::now() + time;
    do {
      std::this_thread::sleep_for(std::min(kStopPause, time));
    } while (Clock::now() < end && !stop_requested());
  }

  bool wait(Phase phase, const Obstacle& obstacle, milliseconds time) {
    if (phase == Phase::kBeforeSheet) {
      return wait_before_sheet(obstacle, time);
    }
    if (obstacle.kind != Kind::kUnanswered) {
      show(obstacle.sentence);
    }
    const bool is_stopped = stop_requested();
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

  bool wait_before_sheet(const Obstacle& obstacle, milliseconds time) {
    const auto waited = Clock::now() - start_;
    problem_ = obstacle.sentence;
    was_connected_ = was_connected_ || obstacle.kind != Kind::kOffline || obstacle.error == EBUSY;
    if (stop_requested() || (!was_connected_ && setup_.must_be_connected) ||
        (setup_.before_sheet && waited >= *setup_.before_sheet)) {
      return false;
    }
    if (obstacle.kind != Kind::kBusy && obstacle.kind != Kind::kUnanswered) {
      show(obstacle.sentence);
    }
    pause(time);
    return true;
  }

  // Returns why no sheet can be sent; "" if one can.
  std::string wait_until_ready(const std::string& media, SheetCounters& counters) {
    start_ = Clock::now();
    if (!session_.wait_until_ready(media, counters)) {
      return setup_.name + ": " + problem_;
    }
    was_connected_ = true;
    printer_ = {session_.report().serial_number, counters.life};
    show("");
    return "";
  }

  // Prints one sheet. Returns why it was not printed, or may not have been (is_in_doubt_); "" if it
  // was.
  std::string print(const Sheet& sheet) {
    const std::string media = media_for_sheet(sheet.width, sheet.height);
    const backend::SheetBytes bytes(sheet);
    for (;;) {
      SheetCounters before;
      if (std::string error = wait_until_ready(media, before); !error.empty()) {
        return error;
      }
      stopped_.reset();
      switch (session_.send(bytes.pieces(), before)) {
        case PrinterSession::Outcome::kPrinted:
          ++printed_;
          printer_.life_counter = session_.report().life_counter.value_or(0);
          show("");
          prints_left_ = session_.printer().ask(QuestionId::kRemainingMedia).number;
          return "";
        case PrinterSession::Outcome::kNotPrinted:
          setup_.print_message(setup_.name +
                               ": the printer did not print the sheet; it is sent again");
          continue;
        case PrinterSession::Outcome::kUndecided:  // waiting was stopped
        case PrinterSession::Outcome::kUnknown:
          is_in_doubt_ = true;
          return setup_.name + ": it is not known whether the sheet came out" +
                 (shown_.empty() ? "" : ": " + shown_);
      }
    }
  }

  PrinterSetup setup_;
  PrinterSession session_;
  std::string media_;                         // for a sheet of one page
  Clock::time_point start_;                   // of the wait before or after a sheet
  std::optional<Clock::time_point> stopped_;  // when stop_requested() was seen inside a sheet
  std::string problem_;                       // the last reason for waiting
  std::string shown_;                         // the reason that was printed last
  bool was_connected_ = false;                // since begin()
  int printed_ = 0;                           // sheets since begin()
  KnownPrinter printer_;                      // of the last sheet; before it, the one of begin()
  bool is_in_doubt_ = false;
  int prints_left_ = -1;  // -1: not known
  std::unique_ptr<Destination> filter_;
};

}  // namespace

std::unique_ptr<Destination> make_printer_destination(FilterDestinationSetup filter,
                                                      PrinterSetup printer) {
  return std::make_unique<PrinterDestination>(std::move(filter), std::move(printer));
}

}  // namespace k905
