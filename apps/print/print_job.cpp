#include "apps/print/print_job.h"

#include <signal.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "apps/base/text.h"
#include "apps/layout/page_in_child.h"
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
  std::optional<Prepared> prepared = k905::page_in_child(
      path, sheet_place(setup.destination->choices()), setup.preparation, error);
  if (!prepared) {
    return std::nullopt;
  }
  if (!prepared->warning.empty()) {
    complain(name + ": " + prepared->warning);
  }
  return std::move(prepared->page);
}

JobResult print_job(const JobSetup& setup, const std::vector<std::string>& files,
                    Progress& progress, int done, const Complaint& complain) {
  JobResult result;
  result.outcomes.resize(files.size(), PictureOutcome::not_reached);
  Destination& destination = *setup.destination;
  bool begun = false;
  std::string error;
  const auto given_up = [&] {
    complain(error);
    return result;
  };
  for (std::size_t i = 0; i < files.size() && (i == 0 || !stop_asked()); ++i) {
    progress.show(done + static_cast<int>(i) + 1);
    const std::optional<Picture> page = read_page(setup, files[i], files[i], complain, error);
    if (!page) {
      complain(files[i] + ": " + std::exchange(error, ""));
      result.outcomes[i] = PictureOutcome::unreadable;
      continue;
    }
    Destination::Begun number;
    if (!begun && !destination.begin({job_title(files), ""}, number, error)) {
      return given_up();
    }
    begun = true;
    if (!send(destination, *page, setup.copies, error)) {
      return given_up();
    }
    result.outcomes[i] = PictureOutcome::sent;
  }
  result.taken = begun && destination.end(result.word, error);
  return begun && !result.taken ? given_up() : result;
}

bool JobResult::all_printed() const {
  return taken && std::ranges::all_of(outcomes, [](PictureOutcome outcome) {
           return outcome == PictureOutcome::sent;
         });
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
