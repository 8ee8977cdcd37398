#include "apps/print/print_job.h"

#include <signal.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "apps/base/text.h"
#include "apps/layout/page_in_child.h"
#include "apps/layout/test_page.h"
#include "filter/cancel_signals.h"

namespace {

volatile sig_atomic_t stop_wanted = 0;

void note_stop(int) { stop_wanted = 1; }

bool send(Destination& destination, const Picture& page, int copies, std::string& error) {
  for (int copy = 0; copy < copies; ++copy) {
    if (!destination.page(page, error)) {
      return false;
    }
  }
  return true;
}

}  // namespace

std::string job_title(const std::vector<std::string>& files) {
  const std::string& first = files.front();
  const std::string file = first == "-" ? "photo" : first.substr(first.rfind('/') + 1);
  // The print system refuses what is no text.
  constexpr std::size_t longest = 120;
  const std::string name = one_line_of_text(file, longest);
  return files.size() == 1 ? name : name + " and " + std::to_string(files.size() - 1) + " more";
}

std::optional<Picture> read_page(const JobSetup& setup, const std::string& path,
                                 const std::string& name, const Complaint& complain,
                                 std::string& error) {
  const SheetPlace place = sheet_place(setup.destination->choices());
  if (setup.test_page) {
    return k905::test_page(place);
  }
  std::optional<Prepared> prepared = k905::page_in_child(path, place, setup.preparation, error);
  if (!prepared) {
    return std::nullopt;
  }
  if (!prepared->warning.empty()) {
    complain(name + ": " + prepared->warning);
  }
  return std::move(prepared->page);
}

std::vector<k905::PhotoReport> print_job(const JobSetup& setup,
                                         const std::vector<std::string>& files, Progress& progress,
                                         int done, const Complaint& complain) {
  Destination& destination = *setup.destination;
  std::vector<k905::PhotoReport> photos;
  for (const std::string& file : files) {
    photos.push_back(k905::report_of(file, k905::kStopped, destination.target()));
  }
  Destination::Begun begun;
  bool is_begun = false;
  bool is_taken = true;
  int pages = 0;
  std::string error;
  for (std::size_t i = 0; i < files.size() && is_taken && (i == 0 || !stop_asked()); ++i) {
    k905::PhotoReport& photo = photos[i];
    progress.show(done + static_cast<int>(i) + 1);
    const std::optional<Picture> page =
        read_page(setup, files[i], files[i], complain, photo.reason);
    if (!page) {
      photo.outcome = text_of(Outcome::refused);
      complain(files[i] + ": " + photo.reason);
      continue;
    }
    photo.outcome.clear();
    photo.sheet = pages / setup.pages_per_sheet + 1;
    pages += setup.copies;
    is_taken = is_begun || destination.begin({job_title(files), ""}, begun, error);
    is_begun = true;
    is_taken = is_taken && send(destination, *page, setup.copies, error);
  }
  std::string place;
  is_taken = is_begun && is_taken && destination.end(place, error);
  if (is_begun && !is_taken) {
    complain(error);
  }
  for (k905::PhotoReport& photo : photos) {
    photo.job = begun.number;
    if (photo.outcome == text_of(Outcome::refused)) {
      continue;
    }
    if (is_begun && !is_taken) {
      photo.outcome = destination.may_have_printed() ? text_of(Outcome::in_doubt) : k905::kFailed;
      photo.reason = error;
    } else if (photo.outcome == k905::kStopped) {
      photo.reason = "stopped";
    } else {
      photo.outcome = photo.target.queue.empty() ? text_of(Outcome::printed) : k905::kSent;
      photo.place = place;
    }
  }
  return photos;
}

void stop_on_signals() {
  // A service manager may signal both the process and its group, so a repeated SIGTERM is no
  // request to stop at once.
  handle_cancel_signals(note_stop, SA_RESTART);
  struct sigaction interrupt = {};
  sigaction(SIGINT, nullptr, &interrupt);
  if (interrupt.sa_handler == note_stop) {
    interrupt.sa_flags |= static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &interrupt, nullptr);
  }
}

bool stop_asked() { return stop_wanted != 0; }
