// Pictures printed as one job: read, prepared, sent page by page.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "apps/base/progress.h"
#include "apps/layout/prepare.h"
#include "apps/print/destination.h"

struct JobSetup {
  Destination* destination = nullptr;
  Preparation preparation;
  int copies = 1;  // of each picture, one behind the other
};

// What is said to the user on the way: a picture by name, and what is wrong with it.
using Complaint = std::function<void(const std::string& words)>;

// A photo as the page of a job. `path` is read; messages call it `name`. Null with the reason in
// `error` when it cannot be read.
[[nodiscard]] std::optional<Picture> read_page(const JobSetup& setup, const std::string& path,
                                               const std::string& name, const Complaint& complain,
                                               std::string& error);

// What a job of these files is called.
[[nodiscard]] std::string job_title(const std::vector<std::string>& files);

enum class PictureOutcome { not_reached, unreadable, sent };

struct JobResult {
  std::vector<PictureOutcome> outcomes;  // one for each picture
  bool taken = false;                    // the job was taken, with all that was sent
  std::string word;                      // where it is now

  // Whether every picture is in a job that was taken.
  [[nodiscard]] bool all_printed() const;
};

// A picture that cannot be read is complained of and left out. When nothing can be read there is no
// job. `progress` is shown each picture, counted on from `done`.
[[nodiscard]] JobResult print_job(const JobSetup& setup, const std::vector<std::string>& files,
                                  Progress& progress, int done, const Complaint& complain);

// SIGTERM, SIGINT and SIGHUP: the picture in hand is printed, no further one is begun. A second
// SIGINT, from somebody who cannot wait, ends the program at once. SIGINT and SIGHUP that were
// ignored at the start stay ignored.
void stop_on_signals();
[[nodiscard]] bool stop_asked();
