// k905-print: prints photos, through a queue or through the filter without one.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <thread>

#include "apps/base/find_filter.h"
#include "apps/base/program.h"
#include "apps/base/text.h"
#include "apps/image/sheet_picture.h"
#include "apps/image/write_png.h"
#include "apps/layout/cells.h"
#include "apps/layout/page_in_child.h"
#include "apps/print/command_line.h"
#include "apps/print/filter_destination.h"
#include "apps/print/history.h"
#include "apps/print/ledger_place.h"
#include "apps/print/output_file.h"
#include "apps/print/printer_destination.h"
#include "apps/print/queue_destination.h"
#include "apps/print/queue_jobs.h"
#include "apps/print/sheet_printer.h"
#include "apps/print/watch_job.h"

namespace k905 {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds kAskQueue{300};

bool is_two_up_paper(const std::string& page_size) { return page_size == "w288h432"; }

class PrintProgram {
 public:
  PrintProgram(const CLI::App& app, const CommandLineOptions& options)
      : app_(app),
        options_(options),
        progress_("photo", static_cast<int>(options.photos.size())),
        queue_(options.queue),
        to_(options.to),
        reporter_{.report = [this](const PhotoReport& photo) { report(photo); },
                  .report_error = [this](const std::string& message) { print_error(message); }} {}

  int run() {
    Choices choices;
    std::string error;
    std::optional<std::string> problem = check(options_);
    if (!problem) {
      problem = collect_choices(options_, choices);
    }
    if (!problem && !printer_named(to_, printer_, error)) {
      problem = error;
    }
    if (problem) {
      return wrong_usage(app_, *problem);
    }
    setup_.prepare_options = {options_.fit, !options_.no_turn};
    setup_.caption = options_.caption;
    setup_.copies = options_.copies;
    setup_.frame_file = options_.frame.empty() ? "" : std::filesystem::absolute(options_.frame);
    setup_.test_page = options_.test_page;
    setup_.pages_per_sheet = options_.two_up ? 2 : 1;
    if (options_.history) {
      return show_history();
    }
    if ((options_.reprint != 0 && !find_reprint(choices, error)) ||
        !open_destination(choices, error) || !open_frame(error)) {
      return report_failure(error);
    }
    setup_.layout = layout();
    if (options_.two_up && !is_two_up_paper(setup_.destination->choices().at("PageSize"))) {
      return wrong_usage(app_, "--two-up is for 6x4 pictures; choose --paper 6x4");
    }
    if (photos_per_page(setup_) == 0) {
      return wrong_usage(
          app_, "--layout strips needs a paper that is cut into strips, such as --paper 6x2*2");
    }
    stop_on_signals();
    return !options_.folder.empty() ? watch() : options_.reprint != 0 ? reprint() : print_photos();
  }

 private:
  [[nodiscard]] bool prints_through_queue() const {
    return to_.empty() && options_.preview.empty();
  }

  int report_failure(const std::string& error) {
    print_error(error);
    return kExitFailed;
  }

  bool open_destination(const Choices& chosen, std::string& error) {
    Choices choices = default_choices();
    if (prints_through_queue() || !queue_.empty()) {
      destination_ = make_queue_destination(queue_, chosen, error);
      if (!destination_) {
        return false;
      }
      choices = destination_->choices();
    }
    for (const auto& [keyword, choice] : chosen) {
      choices[keyword] = choice;
    }
    if (!apply_cut(choices, error) || (!prints_through_queue() && !open_filter(choices, error))) {
      return false;
    }
    setup_.destination = destination_.get();
    return true;
  }

  bool open_filter(const Choices& choices, std::string& error) {
    FilterDestinationSetup setup;
    setup.choices = choices;
    setup.filter = find_filter();
    if (setup.filter.empty()) {
      error = "the filter rastertok905 is not found; set K905_FILTER to its path";
      return false;
    }
    setup.show_log = options_.verbose;
    if (printer_) {
      set_waits(*printer_);
      destination_ = make_printer_destination(std::move(setup), *printer_);
      return true;
    }
    setup.to = to_;
    setup.append = options_.photos.empty();
    if (!options_.preview.empty()) {
      const SheetView view = options_.canvas ? SheetView::canvas : SheetView::paper;
      setup.on_sheet = [this, view](const Sheet& sheet) { return write_preview(sheet, view); };
    }
    destination_ = make_filter_destination(std::move(setup));
    return true;
  }

  // A photo that covers a paper of strips would be cut through its middle.
  [[nodiscard]] std::string layout() const {
    const std::string layout = options_.layout.empty() ? setup_.layout : options_.layout;
    const SheetPlace place = sheet_place(setup_.destination->choices());
    const bool is_undecided = layout.empty() && !options_.test_page;
    return is_undecided && strips_of(*place.paper) != 0 ? kStrips : layout;
  }

  bool open_frame(std::string& error) {
    if (!setup_.frame_file.empty()) {
      const SheetPlace place = sheet_place(setup_.destination->choices());
      setup_.frame = read_overlay(setup_.frame_file, picture_size(place), error);
      error = setup_.frame_file + ": " + error;
    }
    return setup_.frame_file.empty() || setup_.frame.has_value();
  }

  // What is wrong, or "".
  std::string write_preview(const Sheet& sheet, SheetView view) {
    const std::string file = numbered_name(options_.preview, previews_.size() + 1);
    std::string error;
    const ShownSheet shown = shown_sheet(sheet, view);
    if (!write_png(file, shown.picture, shown.density, error)) {
      return file + ": " + error;
    }
    previews_.push_back(file);
    return "";
  }

  void set_waits(PrinterSetup& printer) {
    const auto limit = options_.timeout ? std::optional(seconds(*options_.timeout)) : std::nullopt;
    // A watched folder asks the printer before it reads a photo, and waits.
    printer.before_sheet = options_.folder.empty() ? limit : seconds(0);
    printer.after_sheet = limit;
    printer.must_be_connected = !limit;
    printer.print_message = reporter_.report_error;
  }

  // A queue and a printer get a job for each photo, so that an error in one does not affect the
  // others. For a file one run of the filter prints all; two photos for one sheet must be in one
  // job anyway.
  int print_photos() {
    const bool one_job = (!prints_through_queue() && !printer_) || options_.two_up;
    const std::vector<std::string>& files = options_.photos;
    const std::size_t files_per_job = one_job ? files.size() : photos_per_page(setup_);
    std::vector<PhotoReport> sent;
    for (std::size_t i = 0; i < files.size(); i += files_per_job) {
      if (stop_requested()) {
        report_stopped(i);
        break;
      }
      const auto first = files.begin() + static_cast<std::ptrdiff_t>(i);
      const auto last =
          files.begin() + static_cast<std::ptrdiff_t>(std::min(i + files_per_job, files.size()));
      for (PhotoReport& photo : print_job(setup_, {first, last}, progress_, static_cast<int>(i),
                                          reporter_.report_error)) {
        if (options_.wait && photo.outcome == kSent) {
          sent.push_back(photo);
        } else {
          if (photo.outcome == kStopped) {
            print_error("stopped; not printed: " + photo.file);
          }
          finish(photo);
        }
      }
    }
    for (PhotoReport& photo : sent) {
      wait_until_printed(photo);
      finish(photo);
    }
    for (const std::string& file : previews_) {
      show(options_.json ? "" : file);
    }
    return all_printed_ ? 0 : kExitFailed;
  }

  void report_stopped(std::size_t first) {
    const std::vector<std::string>& files = options_.photos;
    print_error("stopped; not printed: " + files[first] +
                (first + 1 < files.size() ? " and the following photos" : ""));
    for (std::size_t i = first; i < files.size(); ++i) {
      finish(report_of(files[i], kStopped, destination_->target(), "stopped"));
    }
  }

  // Waits for the photo's job and sets its outcome; reports why if it was not printed.
  void wait_until_printed(PhotoReport& photo) {
    using State = QueueJobProgress::State;
    const Clock::time_point start = Clock::now();
    std::string shown;
    for (;;) {
      const QueueJobProgress job = progress_of_queue_job(photo.job);
      photo.reason = job.message;
      if (job.state == State::printed) {
        photo.outcome = text_of(Outcome::printed);
        return;
      }
      const bool is_over = job.state == State::failed || job.state == State::missing;
      const bool gives_up =
          stop_requested() ||
          (options_.timeout && Clock::now() - start >= seconds(*options_.timeout));
      if (is_over || gives_up) {
        photo.outcome = job.state == State::failed    ? kFailed
                        : job.state == State::missing ? text_of(Outcome::in_doubt)
                                                      : kSent;
        print_error(photo.file + ": " + photo.place + (is_over ? "" : ", not printed yet") +
                    (job.message.empty() ? "" : ": " + job.message));
        all_printed_ = false;
        return;
      }
      if (!job.message.empty() && shown != job.message) {
        shown = job.message;
        print_error(photo.place + ": " + shown + "; waiting");
      }
      std::this_thread::sleep_for(kAskQueue);
    }
  }

  void finish(PhotoReport photo) {
    const auto sheet = static_cast<std::size_t>(photo.sheet);
    const bool is_good = photo.outcome == text_of(Outcome::printed) || photo.outcome == kSent;
    if (is_good && !options_.preview.empty()) {
      photo.outcome = kShown;
      photo.preview = sheet <= previews_.size() ? previews_[sheet - 1] : "";
    }
    all_printed_ = all_printed_ && is_good;
    report(photo);
  }

  // The path of the ledger; "" with the reason in `error`.
  std::string ledger_path(std::string& error) {
    return options_.ledger.empty() ? default_ledger(error) : options_.ledger;
  }

  std::optional<WatchSetup> watch_setup(const std::string& folder, std::string& error) {
    const std::string ledger = ledger_path(error);
    if (ledger.empty()) {
      return std::nullopt;
    }
    WatchSetup setup{.job = setup_,
                     .folder = folder,
                     .ledger = ledger,
                     .limit = {options_.limit, reprinted_ ? reprinted_->event : options_.event},
                     .new_only = options_.new_only,
                     .move = !options_.leave};
    if (options_.partner_wait) {
      setup.partner_wait = std::chrono::seconds(*options_.partner_wait);
    }
    return setup;
  }

  int watch() {
    std::string error;
    const auto setup = watch_setup(options_.folder, error);
    return setup ? watch_folder(*setup, reporter_) : report_failure(error);
  }

  bool open(Ledger& ledger, std::string& error) {
    const std::string path = ledger_path(error);
    return !path.empty() && ledger.open(path, error);
  }

  int show_history() {
    Ledger ledger;
    std::string error;
    if (!open(ledger, error)) {
      return report_failure(error);
    }
    for (const SheetEntry& sheet : ledger.history()) {
      std::printf("%s\n", options_.json ? json_line(sheet).c_str() : history_line(sheet).c_str());
    }
    return std::fflush(stdout) == 0 ? 0 : kExitFailed;
  }

  // The settings of the sheet, except those that the command line changes.
  bool find_reprint(Choices& choices, std::string& error) {
    Ledger ledger;
    if (!open(ledger, error)) {
      return false;
    }
    reprinted_ = ledger.find_sheet(options_.reprint);
    if (!reprinted_) {
      error = "no sheet has the number " + std::to_string(options_.reprint) +
              "; see k905-print --history";
      return false;
    }
    add_settings(reprinted_->target.settings, choices, setup_);
    if (queue_.empty() && to_.empty()) {
      queue_ = reprinted_->target.queue;
      to_ = reprinted_->target.device;
      return printer_named(to_, printer_, error);
    }
    return true;
  }

  int reprint() {
    std::string error;
    const auto setup = watch_setup(reprinted_->folder, error);
    {
      Ledger ledger;
      if (!setup || !open(ledger, error)) {
        return report_failure(error);
      }
      reprinted_ = order_reprint(ledger, *reprinted_, options_.copies, error);
    }
    return reprinted_ ? print_waiting(*setup, reprinted_->name, reporter_) : report_failure(error);
  }

  void report(const PhotoReport& photo) {
    show(options_.json ? json_line(photo) : printable(text_line(photo)));
  }

  void show(const std::string& line) {
    if (!line.empty()) {
      progress_.erase();
      // On standard output the line would become part of the printer stream.
      FILE* const stream = is_standard_output(to_) ? stderr : stdout;
      std::fprintf(stream, "%s\n", line.c_str());
      std::fflush(stream);
    }
  }

  // File names come from outside, and a terminal interprets control characters in them.
  static std::string printable(const std::string& message) {
    constexpr std::size_t max_bytes = 5000;
    return one_line_of_text(message, max_bytes);
  }

  void print_error(const std::string& message) {
    progress_.erase();
    print_message(app_, printable(message));
  }

  const CLI::App& app_;
  const CommandLineOptions& options_;
  Progress progress_;
  std::vector<std::string> previews_;  // files
  std::string queue_;
  std::string to_;
  Reporter reporter_;
  std::optional<SheetEntry> reprinted_;  // the sheet that is printed again
  std::optional<PrinterSetup> printer_;  // the printer of to_
  std::unique_ptr<Destination> destination_;
  JobSetup setup_;
  bool all_printed_ = true;
};

int print_program(int argc, char** argv) {
  CLI::App app("Prints photos on a K905, RV-40, RV-40W or RS-30, cropped to the sheet.",
               "k905-print");
  CommandLineOptions options;
  describe(app, options);
  const auto status = parse_command_line(app, argc, argv);
  if (status) {
    return *status;
  }
  if (options.test_page) {
    options.photos = {"test page"};
  }
  return PrintProgram(app, options).run();
}

}  // namespace

}  // namespace k905

int main(int argc, char** argv) {
  if (const auto status = k905::make_page_as_child(argc, argv)) {
    return *status;
  }
  return guarded_main("k905-print", k905::print_program, argc, argv);
}
