#include "apps/print/watch_job.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <map>
#include <set>
#include <utility>

#include "apps/layout/page_in_child.h"
#include "apps/print/finished_files.h"
#include "apps/print/folder_watch.h"
#include "apps/print/ledger_place.h"
#include "apps/print/order_printer.h"
#include "apps/print/photo_file.h"

namespace k905 {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds kWaitForPhoto{500};
constexpr seconds kTryAgain{15};
constexpr seconds kAskAgain{1};
constexpr milliseconds kFirstRetry{1000};
constexpr milliseconds kMaxRetryDelay{300000};

class FolderPrinter {
 public:
  FolderPrinter(const WatchSetup& setup, std::string folder, Ledger& ledger,
                const Reporter& reporter)
      : setup_(setup),
        folder_(std::move(folder)),
        ledger_(ledger),
        reporter_(reporter),
        printer_(setup.job, ledger, folder_, setup.limit, reporter) {}

  void watch() {
    is_watching_ = true;
    start();
    FolderWatch watch({.folder = folder_});
    while (!stop_requested()) {
      check_folder(watch);
      if (!stop_requested()) {
        watch.wait(kWaitForPhoto);
        // A growing file causes many events; ten checks a second are enough.
        usleep(100000);
      }
    }
  }

  // True if the newest sheet of that photo was printed. It is the last one: an earlier sheet that
  // is not printed stops those that follow.
  bool print_now(const std::string& name) {
    todo_[name] = {};
    if (printer_.resolve_unfinished()) {
      print_due();
    } else {
      reporter_.report_error(kOutcomeUnknown);
    }
    const std::optional<SheetEntry> newest = ledger_.newest_sheet(folder_, name);
    return newest && newest->outcome == Outcome::printed;
  }

 private:
  static constexpr char kOutcomeUnknown[] =
      "the print system does not report the outcome of the last job; nothing is printed until it "
      "does";

  // A file that must be checked.
  struct Todo {
    bool arrived = false;
    Clock::time_point when{};
    milliseconds delay = kFirstRetry;
    std::string problem;  // that was reported
    // The time since which it waits for another photo to share its sheet.
    std::optional<Clock::time_point> waiting_since;
  };
  void start() {
    skips_existing_ = setup_.new_only && !ledger_.is_folder_known(folder_);
    if (!skips_existing_) {
      ledger_.add_folder(folder_);
    }
    if (setup_.move && access(folder_.c_str(), W_OK | X_OK) != 0) {
      reporter_.report_error(folder_ + ": " + std::strerror(errno) +
                             "; finished files are not moved");
      moves_ = false;
    }
  }

  // Records all files of the folder as known, so that they are not printed. False if that fails
  // now.
  bool skip_existing() {
    FolderWatch watch({.folder = folder_, .quiet_time = milliseconds(0)});
    const auto found = watch.take();
    if (!found) {
      report_once(folder_ + ": " + std::strerror(errno));
      return false;
    }
    for (const auto& [name, arrived] : found->ready) {
      if (!skip(name)) {
        return false;
      }
    }
    ledger_.add_folder(folder_);
    skips_existing_ = false;
    return true;
  }

  bool skip(const std::string& name) {
    PhotoFile photo;
    std::string error;
    const PhotoRead result = photo.read(path_of(name), error);
    if (result == PhotoRead::complete || result == PhotoRead::too_large) {
      ledger_.set_file(folder_, name, {photo.stamp(), photo.content()});
    } else if (result == PhotoRead::failed) {
      // It may be readable later.
      const auto stamp = stamp_of_file(path_of(name));
      if (!stamp) {
        report_once(path_of(name) + ": " + error + "; nothing is printed before");
        return false;
      }
      ledger_.set_file(folder_, name, {*stamp, {stamp->size, kNotRead}});
    }
    return true;
  }

  // Adds the photos of sheets that are left from an earlier run or that another program ordered.
  void add_orders() {
    for (const std::string& name : ledger_.names_waiting(folder_)) {
      const bool is_added = todo_.try_emplace(name).second;
      // A second copy of a photo can share the sheet with the first, which waits for another photo.
      if (is_added || ledger_.waiting(folder_, name).size() > 1) {
        retry_single_photos();
      }
    }
  }

  void check_folder(FolderWatch& watch) {
    if (const std::int64_t version = ledger_.data_version();
        std::exchange(last_ledger_version_, version) != version) {
      add_orders();
    }
    if (skips_existing_ && !skip_existing()) {
      return;
    }
    const auto events = watch.take();
    if (!events) {
      report_once(folder_ + ": " + std::strerror(errno));
      return;
    }
    take_events(*events);
    if (Clock::now() < try_again_) {
      return;
    }
    if (!printer_.resolve_unfinished()) {
      report_once(kOutcomeUnknown);
      try_again_ = Clock::now() + kTryAgain;
      return;
    }
    if (!std::exchange(was_resolved_, true)) {
      add_orders();
    }
    print_due();
  }

  // Checked before a photo is read: a photo that is removed before the printer is ready is not
  // printed.
  bool is_destination_ready() {
    const std::string obstacle = is_watching_ ? setup_.job.destination->obstacle() : "";
    if (!obstacle.empty()) {
      report_once(obstacle + "; waiting");
      try_again_ = Clock::now() + kAskAgain;
    }
    return obstacle.empty();
  }

  void take_events(const FolderEvents& events) {
    for (const auto& [name, renamed_to] : events.removed) {
      todo_.erase(name);
      refused_names_.erase(name);
      if (renamed_to.empty()) {
        ledger_.forget_file(folder_, name);
      } else {
        ledger_.rename_file(folder_, name, renamed_to);
      }
    }
    if (!events.ready.empty()) {
      retry_single_photos();
    }
    for (const auto& [name, arrived] : events.ready) {
      Todo& todo = todo_[name];
      todo.arrived = todo.arrived || arrived;
      todo.when = {};
      todo.delay = kFirstRetry;
    }
    for (const std::string& name : events.unsupported_files) {
      reporter_.report_error(path_of(name) +
                             ": files of this type are not read; others of it are not reported");
    }
  }

  // The files that are due, by name.
  [[nodiscard]] std::vector<std::string> due() const {
    std::vector<std::string> names;
    for (const auto& [name, todo] : todo_) {
      if (todo.when <= Clock::now()) {
        names.push_back(name);
      }
    }
    return names;
  }

  // The same without files that are known and unchanged. These are removed from the list at once,
  // whether or not the printer is ready.
  std::vector<std::string> due_to_read() {
    std::vector<std::string> names = due();
    std::erase_if(names, [this](const std::string& name) {
      const std::optional<KnownFile> known = ledger_.find_file(folder_, name);
      const bool is_done = known && !is_retry(name, *known) &&
                           stamp_of_file(path_of(name)) == known->stamp &&
                           ledger_.waiting(folder_, name).empty();
      if (is_done) {
        finish_known(name, *known);
      }
      return is_done;
    });
    return names;
  }

  // A refused file is read once in each run.
  [[nodiscard]] bool is_retry(const std::string& name, const KnownFile& known) const {
    return known.refused && !refused_names_.contains(name);
  }

  // To be called when a photo is added that may share the sheet of one that waits.
  void retry_single_photos() {
    for (auto& [name, todo] : todo_) {
      if (todo.waiting_since) {
        todo.when = {};
      }
    }
  }

  // Whether this photo, which would leave half of its sheet empty, waits for another one.
  bool waits_for_partner(const std::string& name) {
    const auto alone = todo_.find(name);
    if (!is_watching_ || alone == todo_.end()) {
      return false;
    }
    Todo& todo = alone->second;
    const auto now = Clock::now();
    if (!todo.waiting_since && setup_.partner_wait.count() > 0) {
      todo.waiting_since = now;
      reporter_.report_error(path_of(name) + ": waits for another photo on its sheet");
    }
    todo.when = todo.waiting_since.value_or(now) + setup_.partner_wait;
    return now < todo.when;
  }

  // Files that cannot be printed now stay in the list.
  void print_due() {
    OrderPrinter orders(
        setup_.job, printer_,
        [this](const std::string& name, const std::string& place) { finish(name, place); });
    std::string error;
    bool continues = true;
    for (const std::string& name : due_to_read()) {
      // When the limit is reached, photos are not even read.
      continues = printer_.is_within_limit(error);
      if (continues && !is_destination_ready()) {
        return;
      }
      if (std::optional<PhotoOrder> order = continues ? read_order(name) : std::nullopt) {
        continues = orders.add(std::move(*order), error);
      }
      if (!continues) {
        break;
      }
    }
    if (continues && waits_for_partner(orders.unpaired())) {
      return;
    }
    if ((!continues || !orders.finish(error)) && !error.empty()) {
      report_once(error);
      try_again_ = Clock::now() + kTryAgain;
    }
  }

  // Called after each accepted job of the photo; after its last sheet the photo is done.
  void finish(const std::string& name, const std::string& place) {
    last_error_.clear();
    const auto todo = todo_.find(name);
    if (todo == todo_.end() || !ledger_.waiting(folder_, name).empty()) {
      return;
    }
    todo_.erase(todo);
    if (const auto file = ledger_.find_file(folder_, name)) {
      move_finished(name, file->stamp, Outcome::printed);
    }
    if (const auto sheet = ledger_.newest_sheet(folder_, name)) {
      PhotoReport report = report_of(*sheet);
      report.outcome = report.target.queue.empty() ? report.outcome : kSent;
      report.place = place;
      reporter_.report(report);
    }
  }

  // The sheets of the file that are to be printed now, if any. Files that need no further check
  // leave the list.
  std::optional<PhotoOrder> read_order(const std::string& name) {
    const std::optional<KnownFile> known = ledger_.find_file(folder_, name);
    const std::vector<SheetEntry> waiting = ledger_.waiting(folder_, name);
    PhotoFile photo;
    std::string error;
    switch (photo.read(path_of(name), error)) {
      case PhotoRead::complete:
        break;
      case PhotoRead::missing:
        withdraw(waiting, "the file is missing");
        todo_.erase(name);
        return std::nullopt;
      case PhotoRead::too_large:
        return refuse(name, known, waiting, {photo.stamp(), photo.content()}, error);
      case PhotoRead::changing:
        return retry_later(name, "");
      case PhotoRead::failed:
        return retry_later(name, error);
    }
    if (photo.content().size == 0) {
      todo_.erase(name);  // no bytes yet
      return std::nullopt;
    }
    return order_of(name, photo, known, waiting);
  }

  std::optional<PhotoOrder> order_of(const std::string& name, const PhotoFile& photo,
                                     const std::optional<KnownFile>& known,
                                     const std::vector<SheetEntry>& waiting) {
    const Content& content = photo.content();
    const bool is_known =
        known && (known->content == content ||
                  (known->content.hash == kNotRead && has_same_bytes(known->stamp, photo.stamp())));
    const KnownFile now{photo.stamp(), content, is_known && known->refused};
    std::vector<SheetEntry> same_content;
    std::vector<SheetEntry> other_content;
    std::ranges::partition_copy(waiting, std::back_inserter(same_content),
                                std::back_inserter(other_content),
                                [&](const SheetEntry& sheet) { return sheet.content == content; });
    withdraw(other_content, "the file was changed");
    if (is_known && known->stamp != now.stamp) {
      ledger_.set_file(folder_, name, now);
    }
    const bool is_new = is_in_folder(name) && (!is_known || is_retry(name, *known));
    if (!is_new && same_content.empty()) {
      report_known(name, content);
      return finish_known(name, now);
    }
    std::string error;
    std::optional<Picture> page =
        read_page(setup_.job, photo.copy(), path_of(name), reporter_.report_error, error);
    if (!page) {
      return error == kNotEnoughMemory ? retry_later(name, error)
                                       : refuse(name, known, same_content, now, error);
    }
    if (is_new) {
      withdraw(same_content, "it was ordered a second time");
      const KnownFile accepted{now.stamp, content};
      ledger_.order(folder_, name, content, &accepted, setup_.job.copies);
      same_content = ledger_.waiting(folder_, name);
    }
    PhotoOrder order{name, {}, std::move(*page)};
    for (const SheetEntry& sheet : same_content) {
      order.sheets.push_back(sheet.id);
    }
    return order;
  }

  std::nullopt_t finish_known(const std::string& name, const KnownFile& file) {
    todo_.erase(name);
    // The program may have ended before it moved the file.
    if (moves_ && file.refused) {
      move_finished(name, file.stamp, Outcome::refused,
                    "it cannot be read; see k905-print --history");
    } else if (const auto sheet =
                   moves_ ? ledger_.last_printed(folder_, name, file.content) : std::nullopt) {
      move_finished(name, file.stamp, sheet->outcome, sheet->reason);
    }
    return std::nullopt;
  }

  std::nullopt_t refuse(const std::string& name, const std::optional<KnownFile>& known,
                        const std::vector<SheetEntry>& waiting, KnownFile file,
                        const std::string& reason) {
    const bool is_recorded = known && known->refused && known->content == file.content;
    file.refused = true;
    withdraw(waiting, reason);
    if (is_recorded || !is_in_folder(name)) {
      ledger_.set_file(folder_, name, file);
    } else {
      ledger_.refuse(folder_, name, file, reason);
    }
    refused_names_.insert(name);
    todo_.erase(name);
    reporter_.report_error(path_of(name) + ": " + reason);
    reporter_.report(report_of(path_of(name), text_of(Outcome::refused),
                               setup_.job.destination->target(), reason));
    move_finished(name, file.stamp, Outcome::refused, reason);
    return std::nullopt;
  }

  // A file that cannot be read now may be readable later, or after a change of its permissions.
  std::nullopt_t retry_later(const std::string& name, const std::string& problem) {
    Todo& todo = todo_[name];
    todo.when = Clock::now() + todo.delay;
    todo.delay = std::min(2 * todo.delay, kMaxRetryDelay);
    if (!problem.empty() && problem != std::exchange(todo.problem, problem)) {
      reporter_.report_error(path_of(name) + ": " + problem + "; the program will try again");
    }
    return std::nullopt;
  }

  // The operator added the file on purpose, so a message is printed.
  void report_known(const std::string& name, const Content& content) {
    const auto todo = todo_.find(name);
    if (todo == todo_.end() || !todo->second.arrived) {
      return;
    }
    if (const auto sheet = ledger_.last_printed(folder_, name, content)) {
      reporter_.report_error(path_of(name) +
                             ": printed before; to print it again: k905-print --reprint " +
                             std::to_string(sheet->id));
    } else {
      reporter_.report_error(
          path_of(name) + ": known, so it is not printed; to print it, remove it and put it back");
    }
  }

  void withdraw(const std::vector<SheetEntry>& sheets, const std::string& reason) {
    for (const SheetEntry& sheet : sheets) {
      ledger_.withdraw(sheet.id, reason);
      reporter_.report_error(path_of(sheet.name) + ": sheet " + std::to_string(sheet.id) +
                             " is not printed: " + reason);
      PhotoReport report = report_of(sheet);
      report.outcome = text_of(Outcome::withdrawn);
      report.reason = reason;
      reporter_.report(report);
    }
  }

  void move_finished(const std::string& name, const FileStamp& stamp, Outcome outcome,
                     const std::string& reason = "") {
    const bool is_printed = outcome == Outcome::printed;
    std::string error;
    if (moves_ && is_in_folder(name) &&
        !move_finished_file(folder_, name, stamp, is_printed ? "printed" : "failed",
                            is_printed ? "" : reason, error)) {
      report_once(error);
    }
  }

  // False for files in a subfolder, such as moved ones.
  static bool is_in_folder(const std::string& name) { return name.find('/') == std::string::npos; }

  void report_once(const std::string& message) {
    if (message != last_error_) {
      reporter_.report_error(message);
      last_error_ = message;
    }
  }

  [[nodiscard]] std::string path_of(const std::string& name) const { return folder_ + "/" + name; }

  const WatchSetup& setup_;
  bool moves_ = setup_.move;  // files that are done
  std::string folder_;
  Ledger& ledger_;
  const Reporter& reporter_;
  SheetPrinter printer_;
  std::map<std::string, Todo> todo_;
  std::set<std::string> refused_names_;  // the files that were refused in this run
  std::string last_error_;
  Clock::time_point try_again_{};
  std::int64_t last_ledger_version_ = 0;
  bool skips_existing_ = false;  // files that are in the folder at the start
  bool was_resolved_ = false;
  bool is_watching_ = false;
};

// The canonical path of the folder, as in the ledger; "" with the reason in `error`.
std::string canonical_folder(const std::string& folder, std::string& error) {
  std::error_code problem;
  std::string path = std::filesystem::canonical(folder, problem).string();
  if (problem) {
    error = folder + ": " + problem.message();
    return "";
  }
  return path;
}

// Opens the ledger, locks the folder and calls `use`, or `if_held` if another process holds the
// lock; returns the exit status.
template <typename Use, typename IfHeld>
int with_folder(const WatchSetup& setup, const Reporter& reporter, const Use& use,
                const IfHeld& if_held) {
  std::string error;
  Ledger ledger;
  try {
    const std::string folder = canonical_folder(setup.folder, error);
    FolderLock lock;
    if (folder.empty() || !open_ledger(ledger, setup.ledger, folder, error)) {
      reporter.report_error(error);
      return 1;
    }
    switch (lock.take(setup.ledger, folder, error)) {
      case FolderLock::Result::taken: {
        FolderPrinter printer(setup, folder, ledger, reporter);
        return use(printer);
      }
      case FolderLock::Result::held_by_another:
        return if_held(folder);
      case FolderLock::Result::failed:
        reporter.report_error(error);
        return 1;
    }
  } catch (const LedgerError& problem) {
    reporter.report_error(
        setup.ledger + ": " + problem.what() +
        "; stopped, because a photo that cannot be recorded would be printed again");
  }
  return 1;
}

}  // namespace

int watch_folder(const WatchSetup& setup, const Reporter& reporter) {
  return with_folder(
      setup, reporter,
      [](FolderPrinter& printer) {
        printer.watch();
        return 0;
      },
      [&](const std::string& folder) {
        reporter.report_error(folder + ": another k905-print watches this folder");
        return 1;
      });
}

int print_waiting(const WatchSetup& setup, const std::string& name, const Reporter& reporter) {
  return with_folder(
      setup, reporter, [&](FolderPrinter& printer) { return printer.print_now(name) ? 0 : 1; },
      [&](const std::string& folder) {
        PhotoReport report = report_of(folder + "/" + name, text_of(Outcome::waiting), {});
        report.place = "the k905-print that watches " + folder;
        reporter.report(report);
        return 0;
      });
}

}  // namespace k905
